#pragma once

#include "processing/BlockingQueue.h"
#include "slidesource/SlideImage.h"

#include <QDir>
#include <QMetaType>
#include <QThread>

#include <atomic>
#include <memory>

class PngEncoder;

/// Writes every new slide into one directory: a PNG file per screen ("0-0001.png": screen, hyphen,
/// slide number) and one line in "timestamps_ms.txt" ("1 1002": slide number, time in ms).
/// The screens of a slide are encoded side by side on Qt's thread pool and written in their order.
/// A slide that has to wait for the disk is encoded while it waits: a backlog costs the memory of
/// PNGs.
///
/// addSlides() and requestStop() may be called from any thread and never wait. The signals are
/// emitted on the worker thread. A stop drains: slides that were accepted before it are written
/// first, then stopped() follows; later ones are refused and their matrices deleted.
class SlideSaver : public QThread
{
    Q_OBJECT

public:
    struct SavedSlide
    {
        qint64 time = 0; ///< ms on the slide clock
        QString name; ///< "0-0001"
        QString pngFilePath; ///< absolute
    };

    explicit SlideSaver(const QDir& directory);
    /// Stops and waits, should the thread still run.
    ~SlideSaver() override;

    /// Slides written, also the number of the last one. Any thread.
    [[nodiscard]] qint64 savedSlideCount() const { return m_savedSlideCount; }

public slots:
    /// Takes over the matrices of @p slides.
    void addSlides(qint64 time, const QList<SlideImage>& slides);
    void requestStop();

signals:
    /// Once for every file and every line that could not be written, in words for the operator.
    void slideSavingError(const QString& message);
    /// After slideSavingError(): a slide was written completely again. Whoever shows the first
    /// error of a row only can start anew.
    void slideSavingRecovered();
    /// The disk does not keep up: slides wait in memory. In words for the operator; again only
    /// after all of them were written. Emitted on the thread that adds slides.
    void slidesWaiting(const QString& message);
    /// Also after a failure: the slide keeps its number and its line.
    void slideSaved(int screen, qint64 time, const QString& name, const QString& pngFilePath);
    void slidesSaved(const QList<SlideSaver::SavedSlide>& savedSlides);
    void stopped();
    void savedSlideCountChanged();

protected:
    void run() override;

    SavedSlide saveSlide(qint64 number, qint64 screen, qint64 time, const SlideImage& slide);
    void saveSlides(qint64 time, const QList<SlideImage>& slides);

private:
    struct SlidesToSave
    {
        qint64 time = 0;
        std::shared_ptr<PngEncoder> slides;
    };

    void saveQueued(const SlidesToSave& slide);
    SavedSlide saveEncoded(qint64 number, qint64 screen, qint64 time, const QByteArray& png);
    [[nodiscard]] QString writePng(const QByteArray& png, const QString& path);
    [[nodiscard]] bool appendTimestamp(qint64 number, qint64 time);
    void reportError(const QString& message);

    std::atomic<qint64> m_savedSlideCount = 0;
    std::atomic<bool> m_waitingTold = false;
    std::atomic<bool> m_isSaving = false; ///< a slide that comes now has to wait
    BlockingQueue<SlidesToSave> m_queue;
    const QDir m_directory;
    bool m_slideFailed = false; ///< the slide being written; worker thread only
    QString m_syncError; ///< of the slide being written: the disk could not store it
    bool m_failing = false; ///< an error was reported since the last complete slide
};
Q_DECLARE_METATYPE(SlideSaver::SavedSlide)
