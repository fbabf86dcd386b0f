#include "recording/SlideRecorder.h"

#include "processing/SlideProcessor.h"
#include "processing/SlideSaver.h"
#include "processing/WorkerEnd.h"
#include "recording/Presentation.h"
#include "settings/RecorderSettings.h"
#include "slidesource/SlideSource.h"
#include "web/LiveStream.h"

#include <QCoreApplication>
#include <QDebug>
#include <QThreadPool>
#include <QTimer>

#include <utility>

using namespace Qt::StringLiterals;

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
        const bool sourceEnded = WorkerEnd::wait(m_slideSource);
        QCoreApplication::sendPostedEvents(m_slideProcessor, QEvent::MetaCall);
        m_slideProcessor->requestStop();
        const bool processorEnded = WorkerEnd::wait(m_slideProcessor);
        QCoreApplication::sendPostedEvents(m_slideSaver, QEvent::MetaCall);
        m_slideSaver->requestStop();
        if (WorkerEnd::wait(m_slideSaver))
            delete m_slideSaver;
        else // what is only encoded for it; the application's end waits for the pool
            QThreadPool::globalInstance()->clear();
        if (sourceEnded)
            delete m_slideSource;
        if (processorEnded)
            delete m_slideProcessor;
    }
    delete m_liveStream; // gives up what is not uploaded; the files are there
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
    // Should it vanish before the pipeline is built, then opening it fails in words; the source
    // that takes its place in the settings is not what the operator chose.
    m_sourceInfo = RecorderSettings::instance()->selectedSlideSource();
    if (presentation->isLiveStream())
        createLiveStream();
    else
        QTimer::singleShot(100, this, &SlideRecorder::start);
}

void SlideRecorder::createLiveStream()
{
    m_liveStream = new LiveStream(m_presentation, m_presentation->connectToExistingLiveStream(),
        m_presentation->livestreamPresentationId());
    connect(m_liveStream, &LiveStream::started, this, &SlideRecorder::start);
    connect(m_liveStream, &LiveStream::stopped, this, &SlideRecorder::liveStreamStopped);
    connect(m_liveStream, &LiveStream::startFailed, this, &SlideRecorder::onLiveStreamStartFailed);
    connect(m_liveStream, &LiveStream::slideUploadError, this, &SlideRecorder::recordingError);
    connect(m_liveStream, &LiveStream::slidesToUploadChanged, this,
        &SlideRecorder::slidesToUploadChanged);
    connect(m_liveStream, &LiveStream::slidesUploadedChanged, this,
        &SlideRecorder::slidesUploadedChanged);
    connect(m_liveStream, &LiveStream::slidesUploadFailedChanged, this,
        &SlideRecorder::slidesUploadFailedChanged);
    connect(m_liveStream, &LiveStream::slideInfoWebSuccessCountChanged, this,
        &SlideRecorder::slideInfoWebSuccessCountChanged);
    connect(m_liveStream, &LiveStream::slideInfoWebFailCountChanged, this,
        &SlideRecorder::slideInfoWebFailCountChanged);
    connect(m_liveStream, &LiveStream::lastSlideInfoWebSuccessChanged, this,
        &SlideRecorder::lastSlideInfoWebSuccessChanged);
    connect(m_liveStream, &LiveStream::lastSlideInfoWebErrorChanged, this,
        &SlideRecorder::lastSlideInfoWebErrorChanged);
    connect(m_liveStream, &LiveStream::lastSlideInfoWebErrorStringChanged, this,
        &SlideRecorder::lastSlideInfoWebErrorStringChanged);
    m_liveStream->requestStart();
}

void SlideRecorder::retireLiveStream()
{
    if (!m_liveStream)
        return;
    // The last slides' reports may still fail, and the operator must hear of it.
    m_liveStream->disconnect(this);
    connect(m_liveStream, &LiveStream::slideUploadError, this, &SlideRecorder::recordingError);
    m_liveStream->setParent(this);
    std::exchange(m_liveStream, nullptr)->retire();
}

void SlideRecorder::onLiveStreamStartFailed(const QString& message)
{
    retireLiveStream();
    m_presentation = nullptr;
    setState(Stopped);
    emit stopped();
    emit liveStreamStartFailed(message);
}

QDir SlideRecorder::saveDirectory() const
{
    if (!m_liveStream)
        return m_presentation->dir();
    // Each version of a joined stream keeps its slides apart.
    const QDir dir(m_presentation->dir().filePath(
        u"slides_%1"_s.arg(m_liveStream->presentationStreamVersion())));
    if (!dir.mkpath(u"."_s))
        qWarning() << "[SlideRecorder]"
                   << "creating" << dir.path() << "failed";
    return dir;
}

void SlideRecorder::start()
{
    m_slideSource = SlideSource::create(m_sourceInfo);
    if (!m_slideSource) {
        retireLiveStream();
        m_presentation = nullptr;
        setState(Stopped);
        emit stopped();
        return;
    }
    m_slideProcessor = new SlideProcessor();
    m_slideSaver = new SlideSaver(saveDirectory());
    m_sourceFinished = m_processorFinished = m_saverFinished = false;
    m_savingErrorTold = m_processingErrorTold = false;
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
        m_slideProcessor, &SlideProcessor::processingError, this, [this](const QString& message) {
            // What one capture is refused for, the next one mostly is as well.
            if (!std::exchange(m_processingErrorTold, true))
                emit recordingError(message);
        });

    connect(m_slideSaver, &SlideSaver::slideSavingError, this, &SlideRecorder::reportSavingError);
    connect(m_slideSaver, &SlideSaver::slidesWaiting, this, &SlideRecorder::recordingError);
    connect(m_slideSaver, &SlideSaver::stopped, this, &SlideRecorder::slideSaverStopped);
    connect(m_slideSaver, &SlideSaver::savedSlideCountChanged, this,
        &SlideRecorder::slidesSavedChanged);
    connect(m_slideSaver, &SlideSaver::slideSavingRecovered, this,
        [this] { m_savingErrorTold = false; });
    if (m_liveStream)
        connect(m_slideSaver, &SlideSaver::slideSaved, m_liveStream,
            [stream = m_liveStream](int screen, qint64 time, const QString&, const QString& path) {
                stream->uploadSlide(screen, time, path);
            });

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

void SlideRecorder::liveStreamStopped()
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
    if (m_liveStream && m_liveStream->isRunning()) {
        m_liveStream->requestStop();
        return;
    }
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
    retireLiveStream();
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

int SlideRecorder::liveStreamPresentationStreamVersion() const
{
    return m_liveStream ? m_liveStream->presentationStreamVersion() : 0;
}

qint64 SlideRecorder::liveStreamPresentationStreamStart() const
{
    return m_liveStream ? m_liveStream->presentationStreamStart() : 0;
}

qint64 SlideRecorder::slidesToUpload() const
{
    return m_liveStream ? m_liveStream->slidesToUpload() : 0;
}

qint64 SlideRecorder::slidesUploaded() const
{
    return m_liveStream ? m_liveStream->slidesUploaded() : 0;
}

qint64 SlideRecorder::slidesUploadFailed() const
{
    return m_liveStream ? m_liveStream->slidesUploadFailed() : 0;
}

qint64 SlideRecorder::slideInfoWebSuccessCount() const
{
    return m_liveStream ? m_liveStream->slideInfoWebSuccessCount() : 0;
}

qint64 SlideRecorder::slideInfoWebFailCount() const
{
    return m_liveStream ? m_liveStream->slideInfoWebFailCount() : 0;
}

bool SlideRecorder::lastSlideInfoWebSuccess() const
{
    return m_liveStream && m_liveStream->lastSlideInfoWebSuccess();
}

QNetworkReply::NetworkError SlideRecorder::lastSlideInfoWebError() const
{
    return m_liveStream ? m_liveStream->lastSlideInfoWebError() : QNetworkReply::NoError;
}

QString SlideRecorder::lastSlideInfoWebErrorString() const
{
    return m_liveStream ? m_liveStream->lastSlideInfoWebErrorString() : QString();
}
