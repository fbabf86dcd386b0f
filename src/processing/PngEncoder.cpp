#include "processing/PngEncoder.h"

#include <QBuffer>
#include <QDebug>
#include <QRunnable>
#include <QThreadPool>

#include <exception>
#include <utility>

class PngEncoder::Helper : public QRunnable
{
public:
    explicit Helper(std::shared_ptr<PngEncoder> encoder)
        : m_encoder(std::move(encoder))
    {
    }

    void run() override
    {
        std::unique_lock lock(m_encoder->m_mutex);
        while (m_encoder->encodeNext(lock)) { }
    }

private:
    const std::shared_ptr<PngEncoder> m_encoder;
};

PngEncoder::PngEncoder(const QList<SlideImage>& slides)
{
    m_jobs.reserve(size_t(slides.size()));
    for (const SlideImage& slide : slides)
        m_jobs.push_back({ slide.image, {}, false });
}

// Encoded in memory first: an encoder that writes straight to a full disk hides the reason and
// leaks, and one write of known length is easily checked. Empty: it failed.
QByteArray PngEncoder::encode(const QImage& image)
{
    try {
        QBuffer png;
        png.open(QIODevice::WriteOnly);
        if (image.save(&png, "PNG"))
            return png.data();
    } catch (const std::exception& exception) {
        qWarning() << "[SlideSaver]"
                   << "encoding failed" << exception.what();
    }
    return {};
}

void PngEncoder::recruitHelpers()
{
    for (size_t helper = 1; helper < m_jobs.size(); ++helper) {
        auto task = std::make_unique<Helper>(shared_from_this());
        if (!QThreadPool::globalInstance()->tryStart(task.get()))
            return;
        task.release(); // the pool deletes it
    }
}

// Leaves the lock while it encodes. Returns false when every job was begun.
bool PngEncoder::encodeNext(std::unique_lock<std::mutex>& lock)
{
    if (m_next == m_jobs.size())
        return false;
    Job& job = m_jobs[m_next++];
    lock.unlock();
    QByteArray png = encode(job.image);
    lock.lock();
    job.png = std::move(png);
    job.image = {};
    job.done = true;
    m_jobDone.notify_all();
    return true;
}

void PngEncoder::encodeInBackground()
{
    for (size_t helper = 0; helper < m_jobs.size(); ++helper)
        QThreadPool::globalInstance()->start(new Helper(shared_from_this()));
}

QByteArray PngEncoder::take(qsizetype index)
{
    std::unique_lock lock(m_mutex);
    Job& job = m_jobs[size_t(index)];
    while (!job.done && encodeNext(lock)) { }
    m_jobDone.wait(lock, [&job] { return job.done; });
    return std::move(job.png);
}
