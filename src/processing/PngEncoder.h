#pragma once

#include "slidesource/SlideImage.h"

#include <QByteArray>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

/// Encodes the images of one slide as PNG, side by side.
///
/// The thread that calls take() works too, and threads of Qt's pool help it: a pool that is busy
/// with something else never delays a slide. Helpers share the ownership, so one that starts late
/// finds nothing left to do and harms nobody. The pixels are let go of as soon as they are encoded.
class PngEncoder : public std::enable_shared_from_this<PngEncoder>
{
public:
    explicit PngEncoder(const QList<SlideImage>& slides);

    /// At Qt's default quality; empty when it failed, for example for a null image. Any thread.
    [[nodiscard]] static QByteArray encode(const QImage& image);

    [[nodiscard]] qsizetype size() const { return qsizetype(m_jobs.size()); }

    /// Asks the pool for one thread for each image but the first, where they are free at once.
    void recruitHelpers();
    /// Has the pool encode everything as soon as it can: for a slide that has to wait for the disk,
    /// which then keeps its PNGs and not its pixels.
    void encodeInBackground();
    /// The encoded image @p index, once each; helps until it is done. One thread.
    [[nodiscard]] QByteArray take(qsizetype index);

private:
    class Helper;
    struct Job
    {
        QImage image;
        QByteArray png;
        bool done = false;
    };

    bool encodeNext(std::unique_lock<std::mutex>& lock);

    // Standard primitives, which the thread sanitizer sees through.
    std::mutex m_mutex;
    std::condition_variable m_jobDone;
    std::vector<Job> m_jobs;
    size_t m_next = 0; ///< the first job that nobody has begun
};
