#include "recording/SlideRecorder.h"

#include "processing/SlideProcessor.h"
#include "processing/SlideSaver.h"
#include "recording/Presentation.h"
#include "settings/RecorderSettings.h"
#include "slidesource/SlideSource.h"

#include <QCoreApplication>
#include <QTimer>

#include <utility>

SlideRecorder::SlideRecorder(QObject* parent)
    : QObject(parent)
{
}

SlideRecorder::~SlideRecorder()
{
    // Only when the program ends in mid-recording without a turn of the event loop: the same order
    // as a stop, with the queued captures and slides delivered by hand.
    if (m_slideSource) {
        m_slideSource->requestStop();
        m_slideSource->wait();
        QCoreApplication::sendPostedEvents(m_slideProcessor, QEvent::MetaCall);
        m_slideProcessor->requestStop();
        m_slideProcessor->wait();
        QCoreApplication::sendPostedEvents(m_slideSaver, QEvent::MetaCall);
        m_slideSaver->requestStop();
        m_slideSaver->wait();
    }
    delete m_slideSource;
    delete m_slideProcessor;
    delete m_slideSaver;
}

void SlideRecorder::setState(State state)
{
    m_state = state;
    emit property_stateChanged(state);
}

void SlideRecorder::requestStart(Presentation* presentation)
{
    setState(Starting);
    m_presentation = presentation;
    QTimer::singleShot(100, this, &SlideRecorder::start);
}

void SlideRecorder::start()
{
    m_slideSource = SlideSource::create(RecorderSettings::instance()->selectedSlideSource());
    if (!m_slideSource) {
        m_presentation = nullptr;
        setState(Stopped);
        emit stopped();
        return;
    }
    m_slideProcessor = new SlideProcessor();
    m_slideSaver = new SlideSaver(m_presentation->dir());
    m_sourceFinished = m_processorFinished = m_saverFinished = false;
    m_savingErrorTold = false;
    connectPipeline();

    // Consumers first, so that nothing is emitted into a thread that does not run yet.
    m_slideProcessor->start(QThread::InheritPriority);
    m_slideSaver->start(QThread::InheritPriority);
    m_slideSource->start(QThread::InheritPriority);
    m_slideSource->restartTimer();

    setState(Started);
    emit started();
}

void SlideRecorder::connectPipeline()
{
    connect(m_slideSource, &SlideSource::captureError, this, &SlideRecorder::recordingError);
    connect(
        m_slideSource, &SlideSource::slidesCaptured, m_slideProcessor, &SlideProcessor::addSlides);
    connect(m_slideSource, &SlideSource::slidesFrozenChanged, this,
        &SlideRecorder::slidesFrozenChanged);
    connect(m_slideSource, &SlideSource::slidesResolutionsChanged, this,
        &SlideRecorder::slidesResolutionsChanged);
    connect(m_slideSource, &SlideSource::stopped, this, &SlideRecorder::slideSourceStopped);

    connect(
        m_slideProcessor, &SlideProcessor::slidesProcessed, m_slideSaver, &SlideSaver::addSlides);
    connect(m_slideProcessor, &SlideProcessor::slidesProcessed, this,
        [this](qint64, const QList<SlideImage>& slides) {
            QList<QImage> images;
            images.reserve(slides.size());
            for (const SlideImage& slide : slides)
                images.append(slide.image.copy());
            emit slidesCapturedSignal(images);
        });
    connect(
        m_slideProcessor, &SlideProcessor::stopped, this, &SlideRecorder::slideProcessorStopped);
    connect(m_slideProcessor, &SlideProcessor::capturedSlideCountChanged, this,
        &SlideRecorder::slidesCapturedChanged);
    connect(
        m_slideProcessor, &SlideProcessor::processingError, this, &SlideRecorder::recordingError);

    connect(m_slideSaver, &SlideSaver::slideSavingError, this, &SlideRecorder::reportSavingError);
    connect(m_slideSaver, &SlideSaver::stopped, this, &SlideRecorder::slideSaverStopped);
    connect(m_slideSaver, &SlideSaver::savedSlideCountChanged, this,
        &SlideRecorder::slidesSavedChanged);
    connect(m_slideSaver, &SlideSaver::slideSavingRecovered, this,
        [this] { m_savingErrorTold = false; });

    // A source that could not be opened ends without stopped(); and stopped() is emitted before a
    // thread has ended. Only finished() says that nothing more will come.
    connect(m_slideSource, &QThread::finished, this, [this] {
        m_sourceFinished = true;
        checkStop();
    });
    connect(m_slideProcessor, &QThread::finished, this, [this] {
        m_processorFinished = true;
        checkStop();
    });
    connect(m_slideSaver, &QThread::finished, this, [this] {
        m_saverFinished = true;
        checkStop();
    });
}

void SlideRecorder::reportSavingError(const QString& message)
{
    if (!std::exchange(m_savingErrorTold, true))
        emit recordingError(message);
}

void SlideRecorder::freezeSlides()
{
    if (m_slideSource)
        QTimer::singleShot(0, m_slideSource, &SlideSource::freezeSlides);
}

void SlideRecorder::captureSlide()
{
    if (m_slideSource)
        QTimer::singleShot(0, m_slideSource, &SlideSource::captureSlide);
}

void SlideRecorder::restartSlideTimer()
{
    if (m_slideSource)
        m_slideSource->restartTimer();
}

void SlideRecorder::requestStop()
{
    if (m_state != Started)
        return;
    setState(Stopping);
    m_slideSource->requestStop();
    checkStop();
}

void SlideRecorder::slideSourceStopped()
{
    checkStop();
}

void SlideRecorder::slideProcessorStopped()
{
    checkStop();
}

void SlideRecorder::slideSaverStopped()
{
    checkStop();
}

void SlideRecorder::checkStop()
{
    if (m_state != Stopping || !m_sourceFinished)
        return;
    m_slideProcessor->requestStop();
    if (!m_processorFinished)
        return;
    m_slideSaver->requestStop();
    if (!m_saverFinished)
        return;
    stop();
}

void SlideRecorder::stop()
{
    // finished() is emitted from the ending thread; the wait is for its last few instructions.
    for (QThread* thread :
        std::initializer_list<QThread*>{ m_slideSource, m_slideProcessor, m_slideSaver })
        thread->wait();
    delete std::exchange(m_slideSource, nullptr);
    delete std::exchange(m_slideProcessor, nullptr);
    delete std::exchange(m_slideSaver, nullptr);
    m_presentation = nullptr;
    setState(Stopped);
    emit stopped();
}

bool SlideRecorder::isLiveStream() const
{
    return m_presentation && m_presentation->isLiveStream();
}

QString SlideRecorder::liveStreamPresentationId() const
{
    return isLiveStream() ? m_presentation->livestreamPresentationId() : QString();
}

QString SlideRecorder::liveStreamPresentationTitle() const
{
    return m_presentation ? m_presentation->title() : QString();
}

bool SlideRecorder::slidesFrozen() const
{
    return m_slideSource && m_slideSource->slidesFrozen();
}

QVariantList SlideRecorder::slidesResolutions() const
{
    return m_slideSource ? m_slideSource->slidesResolutions() : QVariantList();
}

qint64 SlideRecorder::slidesCaptured() const
{
    return m_slideProcessor ? m_slideProcessor->capturedSlideCount() : 0;
}

qint64 SlideRecorder::slidesSaved() const
{
    return m_slideProcessor ? m_slideSaver->savedSlideCount() : 0;
}
