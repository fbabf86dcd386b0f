#include "recording/Recorder.h"

#include "BuildConfig.h"
#include "recording/Presentation.h"
#include "recording/RecordingKeeper.h"
#include "settings/LiveStreamSettings.h"
#include "settings/RecorderSettings.h"
#include "web/WebApi.h"

#include <QRandomGenerator>
#include <QTimer>

#include <utility>

using namespace Qt::StringLiterals;

Recorder::Recorder(QObject* parent)
    : QObject(parent)
{
    qRegisterMetaType<Recorder::State>("Recorder::State");

    connect(this, &Recorder::recordingError, this,
        [this](const QString& message) { m_recordingErrors.append(message); });
    m_pingTimer.setSingleShot(true);
    m_pingTimer.setInterval(5000);
    connect(&m_pingTimer, &QTimer::timeout, this, &Recorder::sendWebApiPingData);
    connectSlideRecorder();
    connectSideRecorders();
    connect(&m_vMixApiPoller, &VMixApiPoller::pollingError, this, &Recorder::recordingError);
}

void Recorder::connectSlideRecorder()
{
    connect(&m_slideRecorder, &SlideRecorder::started, this, &Recorder::slideRecorderStarted);
    connect(&m_slideRecorder, &SlideRecorder::stopped, this, &Recorder::slideRecorderStopped);
    connect(&m_slideRecorder, &SlideRecorder::slidesCapturedSignal, this,
        &Recorder::slidesCapturedSignal);
    connect(&m_slideRecorder, &SlideRecorder::liveStreamStartFailed, this,
        &Recorder::liveStreamStartFailed);
    connect(&m_slideRecorder, &SlideRecorder::recordingError, this, &Recorder::recordingError);
    connect(&m_slideRecorder, &SlideRecorder::slidesFrozenChanged, this,
        &Recorder::slidesFrozenChanged);
    connect(&m_slideRecorder, &SlideRecorder::slidesResolutionsChanged, this,
        &Recorder::slidesResolutionsChanged);
    connect(&m_slideRecorder, &SlideRecorder::slidesCapturedChanged, this,
        &Recorder::slidesCapturedChanged);
    connect(
        &m_slideRecorder, &SlideRecorder::slidesSavedChanged, this, &Recorder::slidesSavedChanged);
    connect(&m_slideRecorder, &SlideRecorder::slidesToUploadChanged, this,
        &Recorder::slidesToUploadChanged);
    connect(&m_slideRecorder, &SlideRecorder::slidesUploadedChanged, this,
        &Recorder::slidesUploadedChanged);
    connect(&m_slideRecorder, &SlideRecorder::slidesUploadFailedChanged, this,
        &Recorder::slidesUploadFailedChanged);
    connect(&m_slideRecorder, &SlideRecorder::slideInfoWebSuccessCountChanged, this,
        &Recorder::slideInfoWebSuccessCountChanged);
    connect(&m_slideRecorder, &SlideRecorder::slideInfoWebFailCountChanged, this,
        &Recorder::slideInfoWebFailCountChanged);
    connect(&m_slideRecorder, &SlideRecorder::lastSlideInfoWebSuccessChanged, this,
        &Recorder::lastSlideInfoWebSuccessChanged);
    connect(&m_slideRecorder, &SlideRecorder::lastSlideInfoWebErrorChanged, this,
        &Recorder::lastSlideInfoWebErrorChanged);
    connect(&m_slideRecorder, &SlideRecorder::lastSlideInfoWebErrorStringChanged, this,
        &Recorder::lastSlideInfoWebErrorStringChanged);
}

void Recorder::connectSideRecorders()
{
    connect(&m_audioRecorder, &AudioRecorder::started, this, &Recorder::audioRecorderStarted);
    connect(&m_audioRecorder, &AudioRecorder::stopped, this, &Recorder::audioRecorderStopped);
    connect(&m_mouseRecorder, &MouseRecorder::mousePositionChanged, this,
        &Recorder::mousePositionChanged);
    connect(&m_mouseRecorder, &MouseRecorder::stopped, this, &Recorder::mouseRecorderStopped);
    connect(&m_screenGeometryRecorder, &ScreenGeometryRecorder::stopped, this,
        &Recorder::screenGeometryRecorderStopped);

    // Both start on a timer: a recording that ends before that must stop them afterwards.
    connect(&m_mouseRecorder, &MouseRecorder::started, this, &Recorder::sideRecorderStarted);
    connect(&m_screenGeometryRecorder, &ScreenGeometryRecorder::started, this,
        &Recorder::sideRecorderStarted);

    connect(&m_audioRecorder, &AudioRecorder::soundSaved, this, &Recorder::moreSaved);
    connect(&m_mouseRecorder, &MouseRecorder::positionSaved, this, &Recorder::moreSaved);
    connect(&m_audioRecorder, &AudioRecorder::recordingError, this, &Recorder::recordingError);
    connect(&m_mouseRecorder, &MouseRecorder::recordingError, this, &Recorder::recordingError);
    connect(&m_screenGeometryRecorder, &ScreenGeometryRecorder::recordingError, this,
        &Recorder::recordingError);
}

void Recorder::setState(State state)
{
    m_state = state;
    emit property_stateChanged(state);
}

void Recorder::requestStart(
    bool liveStream, bool connectToExistingLiveStream, const QString& livestreamPresentationId)
{
    if (m_state != Stopped)
        return;
    m_presentation
        = Presentation::create(liveStream, connectToExistingLiveStream, livestreamPresentationId);
    if (!m_presentation)
        return;
    // Others may still hold it when the recording has ended, so it goes with this object.
    m_presentation->setParent(this);
    m_recordingErrors.clear();
    m_keeper = new RecordingKeeper(m_presentation->dir(), this);
    connect(m_keeper, &RecordingKeeper::recordingError, this, &Recorder::recordingError);
    m_keeper->start();
    emit presentationCreated(m_presentation);
    m_slideRecorder.requestStart(m_presentation);

    // Pointer positions mean something only together with the layout of the recorded screens.
    const RecorderSettings* settings = RecorderSettings::instance();
    if (settings->pointerRecordingEnabled()
        && settings->selectedSlideSource().type() == SlidesSourceInfo::IntervalScreenCapture) {
        m_screenGeometryRecorder.requestStart(m_presentation);
        m_mouseRecorder.requestStart(m_presentation);
    }
    setState(Starting);
}

bool Recorder::isEnding() const
{
    return m_state == Stopping || m_slideRecorder.state() == SlideRecorder::Stopped;
}

void Recorder::slideRecorderStarted()
{
    if (m_state == Starting)
        m_audioRecorder.requestStart(m_presentation);
    else
        checkStop();
}

void Recorder::audioRecorderStarted()
{
    if (m_state != Starting) {
        checkStop();
        return;
    }
    m_slideRecorder.restartSlideTimer();
    m_mouseRecorder.restartMouseTimer();
    m_screenGeometryRecorder.restartRecordingTimer();
    checkStart();
}

void Recorder::sideRecorderStarted()
{
    if (isEnding())
        checkStop();
}

void Recorder::checkStart()
{
    QTimer::singleShot(0, this, &Recorder::start);
}

void Recorder::start()
{
    // A stop may have been requested since the audio started.
    if (m_state != Starting)
        return;
    m_recordingStart = QDateTime::currentDateTimeUtc();
    if (m_presentation->isLiveStream()) {
        const LiveStreamSettings* settings = LiveStreamSettings::instance();
        if (settings->pollVMixApi())
            m_vMixApiPoller.start(settings->vMixApiEndpoint(), settings->vMixApiPollInterval());
        m_pingTimer.start(0);
    }
    setState(Started);
    emit started();
}

void Recorder::requestStop()
{
    if (m_state != Started && m_state != Starting)
        return;
    m_slideRecorder.requestStop();
    m_audioRecorder.requestStop();
    if (m_screenGeometryRecorder.state() != ScreenGeometryRecorder::Stopped)
        m_screenGeometryRecorder.requestStop();
    if (m_mouseRecorder.state() != MouseRecorder::Stopped)
        m_mouseRecorder.requestStop();
    m_vMixApiPoller.stop();
    m_pingTimer.stop();
    // While the stream is still being created there is nothing to report on.
    if (m_presentation->isLiveStream() && m_slideRecorder.state() != SlideRecorder::Starting)
        sendWebApiPingData();
    setState(Stopping);
}

void Recorder::slideRecorderStopped()
{
    checkStop();
}

void Recorder::audioRecorderStopped()
{
    checkStop();
}

void Recorder::mouseRecorderStopped()
{
    checkStop();
}

void Recorder::screenGeometryRecorderStopped()
{
    checkStop();
}

bool Recorder::isWriting() const
{
    return m_slideRecorder.isWriting() || m_audioRecorder.state() != AudioRecorder::Stopped
        || m_mouseRecorder.state() != MouseRecorder::Stopped || m_mouseRecorder.isSaving()
        || m_screenGeometryRecorder.state() != ScreenGeometryRecorder::Stopped
        || m_screenGeometryRecorder.isSaving();
}

void Recorder::waitForKeepers(std::chrono::milliseconds timeout)
{
    const QDeadlineTimer deadline(timeout);
    const auto keepers = findChildren<RecordingKeeper*>(Qt::FindDirectChildrenOnly);
    for (RecordingKeeper* keeper : keepers) {
        if (keeper != m_keeper)
            keeper->waitForEnd(deadline);
    }
}

void Recorder::checkStop()
{
    QTimer::singleShot(0, this, &Recorder::stop);
}

void Recorder::stop()
{
    if (m_state == Stopped)
        return;
    // A recorder that stopped by itself brings the others down.
    if (m_slideRecorder.state() == SlideRecorder::Started)
        m_slideRecorder.requestStop();
    if (m_audioRecorder.state() == AudioRecorder::Started)
        m_audioRecorder.requestStop();
    if (m_mouseRecorder.state() == MouseRecorder::Started)
        m_mouseRecorder.requestStop();
    if (m_screenGeometryRecorder.state() == ScreenGeometryRecorder::Started)
        m_screenGeometryRecorder.requestStop();

    if (m_slideRecorder.state() != SlideRecorder::Stopped
        || m_audioRecorder.state() != AudioRecorder::Stopped
        || m_mouseRecorder.state() != MouseRecorder::Stopped || m_mouseRecorder.isSaving()
        || m_screenGeometryRecorder.state() != ScreenGeometryRecorder::Stopped
        || m_screenGeometryRecorder.isSaving())
        return;
    // A recording that ended by itself has not come through requestStop().
    m_vMixApiPoller.stop();
    m_pingTimer.stop();
    std::exchange(m_keeper, nullptr)->retire();
    m_presentation = nullptr;
    m_recordingStart = QDateTime();
    m_recordingErrors.clear();
    setState(Stopped);
    emit stopped();
}

void Recorder::freezeSlides()
{
    m_slideRecorder.freezeSlides();
}

void Recorder::captureSlide()
{
    m_slideRecorder.captureSlide();
}

QString Recorder::liveStreamPresentationId() const
{
    return m_slideRecorder.liveStreamPresentationId();
}

QString Recorder::liveStreamPresentationTitle() const
{
    return m_slideRecorder.liveStreamPresentationTitle();
}

QVariantList Recorder::slidesResolutions() const
{
    return m_slideRecorder.slidesResolutions();
}

bool Recorder::lastSlideInfoWebSuccess() const
{
    return m_slideRecorder.lastSlideInfoWebSuccess();
}

QNetworkReply::NetworkError Recorder::lastSlideInfoWebError() const
{
    return m_slideRecorder.lastSlideInfoWebError();
}

QString Recorder::lastSlideInfoWebErrorString() const
{
    return m_slideRecorder.lastSlideInfoWebErrorString();
}

void Recorder::sendWebApiPingData()
{
    if (!m_presentation)
        return;
    WebApi::RecordingAppPingData app;
    for (const QVariant& resolution : m_slideRecorder.slidesResolutions()) {
        const QVariantMap size = resolution.toMap();
        app.resolutions
            += u"%1x%2"_s.arg(size.value(u"width"_s).toInt()).arg(size.value(u"height"_s).toInt());
    }
    app.name = u"Podiumcast Recorder"_s;
    app.version = QStringLiteral(PODIUMCAST_VERSION);
    app.startedAt = m_recordingStart;
    app.errorMessages = m_recordingErrors;

    const RecorderSettings* settings = RecorderSettings::instance();
    app.slidesSource = m_slideRecorder.slidesSourceInfo().name();
    app.useNativeSlideSourceResolution = settings->useNativeSlideSourceResolution();
    app.slidesSourceWidth = settings->slideWidth();
    app.slidesSourceHeight = settings->slideHeight();
    app.audioSource = settings->selectedAudioInput().name();
    app.audioChannels = settings->audioChannelCount();

    app.slidesFrozen = m_slideRecorder.slidesFrozen();
    app.capturedCount = int(m_slideRecorder.slidesCaptured());
    app.savedCount = int(m_slideRecorder.slidesSaved());
    app.toUploadCount = int(m_slideRecorder.slidesToUpload());
    app.uploadedCount = int(m_slideRecorder.slidesUploaded());
    app.uploadFailedCount = int(m_slideRecorder.slidesUploadFailed());
    app.webSuccessCount = int(m_slideRecorder.slideInfoWebSuccessCount());
    app.webFailedCount = int(m_slideRecorder.slideInfoWebFailCount());
    app.webSuccessForLastSlide = m_slideRecorder.lastSlideInfoWebSuccess();
    if (m_slideRecorder.lastSlideInfoWebError() != QNetworkReply::NoError)
        app.webErrorForLastSlide = u"%1 (%2)"_s.arg(int(m_slideRecorder.lastSlideInfoWebError()))
                                       .arg(m_slideRecorder.lastSlideInfoWebErrorString());

    const LiveStreamSettings* liveStreamSettings = LiveStreamSettings::instance();
    WebApi::VMixPingData vMix;
    vMix.pollingEnabled = liveStreamSettings->pollVMixApi();
    vMix.pollingEndpoint = liveStreamSettings->vMixApiEndpoint();
    vMix.pollingInterval = int(liveStreamSettings->vMixApiPollInterval());
    vMix.lastPollAt = m_vMixApiPoller.lastPollAt();
    vMix.lastPollSuccessAt = m_vMixApiPoller.lastPollSuccessAt();
    vMix.pollingLastError = m_vMixApiPoller.lastError();
    vMix.xml = m_vMixApiPoller.xml();

    WebApiReply* reply
        = WebApi::instance()->sendPingData(m_presentation->livestreamPresentationId(),
            m_slideRecorder.liveStreamPresentationStreamVersion(),
            m_slideRecorder.liveStreamPresentationStreamStart(), app, vMix);
    // An answer for an earlier recording must not touch the schedule of this one.
    const auto stillRecording = [this, presentation = m_presentation] {
        return m_state == Started && m_presentation == presentation;
    };
    connect(reply, &WebApiReply::finished, this, [this, stillRecording] {
        if (stillRecording())
            schedulePing();
    });
    connect(reply, &WebApiReply::error, this,
        [this, stillRecording, reply](QNetworkReply::NetworkError error) {
            if (!stillRecording())
                return;
            emit recordingError(
                tr("Sending ping failed: %1 (%2).").arg(int(error)).arg(reply->errorString()));
            schedulePing();
        });
}

void Recorder::schedulePing()
{
    // Every station adds its own part of a second, so that they do not ping in step.
    const quint64 random = quint32(QRandomGenerator64::global()->generate());
    m_pingTimer.start(4000 + int(random * 1000 >> 32));
}
