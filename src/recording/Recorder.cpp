#include "recording/Recorder.h"

#include "recording/Presentation.h"
#include "settings/RecorderSettings.h"

#include <QTimer>

Recorder::Recorder(QObject* parent)
    : QObject(parent)
{
    qRegisterMetaType<Recorder::State>("Recorder::State");

    connect(this, &Recorder::recordingError, this,
        [this](const QString& message) { m_recordingErrors.append(message); });
    connectSlideRecorder();
    connectSideRecorders();
}

void Recorder::connectSlideRecorder()
{
    connect(&m_slideRecorder, &SlideRecorder::started, this, &Recorder::slideRecorderStarted);
    connect(&m_slideRecorder, &SlideRecorder::stopped, this, &Recorder::slideRecorderStopped);
    connect(&m_slideRecorder, &SlideRecorder::slidesCapturedSignal, this,
        &Recorder::slidesCapturedSignal);
    connect(&m_slideRecorder, &SlideRecorder::recordingError, this, &Recorder::recordingError);
    connect(&m_slideRecorder, &SlideRecorder::slidesFrozenChanged, this,
        &Recorder::slidesFrozenChanged);
    connect(&m_slideRecorder, &SlideRecorder::slidesResolutionsChanged, this,
        &Recorder::slidesResolutionsChanged);
    connect(&m_slideRecorder, &SlideRecorder::slidesCapturedChanged, this,
        &Recorder::slidesCapturedChanged);
    connect(
        &m_slideRecorder, &SlideRecorder::slidesSavedChanged, this, &Recorder::slidesSavedChanged);
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
        || m_mouseRecorder.state() != MouseRecorder::Stopped
        || m_screenGeometryRecorder.state() != ScreenGeometryRecorder::Stopped)
        return;
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
