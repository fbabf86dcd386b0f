#include "slidesource/SlideSource.h"

#include "slidesource/SlideSourceCamera.h"
#include "slidesource/SlideSourceNDI.h"
#include "slidesource/SlideSourceScreenInterval.h"

#include <QCoreApplication>
#include <QDebug>
#include <QMutexLocker>
#include <QTimer>
#include <QVariantMap>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// The same monotonic clock that QElapsedTimer reads; kept as one number so that a restart from the
// main thread needs no lock in the capture path.
qint64 monotonicNs()
{
    using namespace std::chrono;
    return duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

SlideSource::SlideSource(const SlidesSourceInfo& info)
    : m_slidesSourceInfo(info)
    , m_creationNs(monotonicNs())
    , m_clockStartNs(m_creationNs)
{
    moveToThread(this);
}

SlideSource::~SlideSource()
{
    qDebug() << "[SlideSource::~SlideSource]";
}

QList<QVariant> SlideSource::slidesResolutions() const
{
    const QMutexLocker lock(&m_resolutionsMutex);
    return m_slidesResolutions;
}

void SlideSource::setSlidesResolutions(QList<QVariant>& resolutions)
{
    {
        const QMutexLocker lock(&m_resolutionsMutex);
        m_slidesResolutions = resolutions;
    }
    emit slidesResolutionsChanged();
}

qint64 SlideSource::currentSlideTime() const
{
    return (monotonicNs() - m_clockStartNs) / 1'000'000;
}

void SlideSource::requestStop()
{
    // The flag covers a stop before start(), which forgets an exit; exit() covers everything later,
    // also when the loop does not run yet (exec() then returns at once).
    m_stopRequested = true;
    exit(0);
}

void SlideSource::restartTimer()
{
    m_clockStartNs = monotonicNs();
}

void SlideSource::freezeSlides()
{
    m_slidesFrozen = !m_slidesFrozen;
    emit slidesFrozenChanged();
}

void SlideSource::updateSlidesResolutions(const QList<SlideImage>& slides)
{
    QList<QVariant> resolutions;
    resolutions.reserve(slides.size());
    for (const SlideImage& slide : slides) {
        const QSizeF size = slide.image.deviceIndependentSize();
        resolutions.append(
            QVariantMap{ { u"width"_s, size.width() }, { u"height"_s, size.height() } });
    }
    setSlidesResolutions(resolutions);
}

std::unique_ptr<QTimer> SlideSource::newCaptureTimer(std::function<void()> capture)
{
    auto timer = std::make_unique<QTimer>();
    timer->setInterval(CaptureIntervalMs);
    // A coarse timer may come 5 % late, and lateness is lost time in the slides' times.
    timer->setTimerType(Qt::PreciseTimer);
    connect(timer.get(), &QTimer::timeout, timer.get(), [this, capture = std::move(capture)] {
        if (!slidesFrozen())
            capture();
    });
    return timer;
}

void SlideSource::runCaptureLoop(QTimer& captureTimer)
{
    captureTimer.start();
    qint64 untouched = m_creationNs;
    m_clockStartNs.compare_exchange_strong(untouched, monotonicNs());
    emit ready();
    if (!m_stopRequested)
        exec();
    // A slide that was asked for while a capture kept this thread busy, just before the stop.
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
}

SlideSource* SlideSource::create(const SlidesSourceInfo& info)
{
    switch (info.type()) {
    case SlidesSourceInfo::IntervalScreenCapture:
        return new SlideSourceScreenInterval(info);
    case SlidesSourceInfo::VideoInput:
        return new SlideSourceCamera(info);
    case SlidesSourceInfo::NDISource:
        return new SlideSourceNDI(info);
    default:
        qWarning() << "[SlideSource]"
                   << "unhandled slide source type" << int(info.type());
        return nullptr;
    }
}
