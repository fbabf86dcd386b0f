#include "app/Application.h"

#include "app/Desktop.h"
#include "app/Logging.h"
#include "app/WorkDirectory.h"
#include "recording/Presentation.h"
#include "settings/LiveStreamSettings.h"
#include "settings/LoginSettings.h"
#include "settings/NetworkSettings.h"
#include "settings/RecorderSettings.h"
#include "ui/MainWindow.h"
#include "web/WebApi.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDebug>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QGuiApplication>
#include <QQuickWindow>
#include <QTimer>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

Application* applicationInstance = nullptr;

// At quit a recording is finished first. Local files take a second or two; the bound is for a
// storage server that does not answer while slides wait for their upload.
constexpr std::chrono::seconds FinishTimeout(60);
// Without a slide that is written. A drive that wakes up answers sooner; one that hangs must not
// keep the program from ending.
constexpr std::chrono::seconds DiskTimeout(8);
// The wait after an operator who asked twice, or after the one above: for what is local.
constexpr std::chrono::seconds LastWait(5);
// At the end of the session: systems kill, or ask the user about, a program that needs longer.
constexpr std::chrono::seconds SessionEndTimeout(10);
// For the last bytes to reach the disk when everything is written.
constexpr std::chrono::seconds KeeperTimeout(2);

QString workDir()
{
    return QCoreApplication::instance()->property("workDir").toString();
}

} // namespace

Application::Application(QObject* parent)
    : QObject(parent)
    , m_recorder(nullptr)
{
    applicationInstance = this;
}

Application::~Application() = default;

Application* Application::instance()
{
    return applicationInstance;
}

void Application::run()
{
    initializeWorkDir();
    LiveStreamSettings::instance()->load();
    LoginSettings::instance()->load();
    RecorderSettings::instance()->load();
    NetworkSettings::instance()->load();

    m_mainWindow = new MainWindow(this);
    m_mainWindow->run();
    if (QWindow* window = m_mainWindow->window())
        m_mainWindow->setLeftOutOfCapture(Desktop::leaveOutOfCapture(window));

    connectRecorder();
    connectWindow();
    connectDisk();
    connectQuit();
    m_mainWindow->reloadPresentations();
}

void Application::initializeWorkDir()
{
    QCoreApplication* application = QCoreApplication::instance();
    application->setProperty(
        "workDir", WorkDirectory::settle(QCoreApplication::applicationDirPath()));
    Logging::instance()->setLogDirectory(workDir());
    qDebug() << "[Application]"
             << "working directory set to" << application->property("workDir");
}

void Application::connectRecorder()
{
    connect(&m_recorder, &Recorder::property_stateChanged, this, [this](Recorder::State state) {
        if (state == Recorder::Stopped) {
            m_systemHold.end();
            m_mainWindow->setRecordedSlideSource({});
        } else {
            m_systemHold.begin(m_mainWindow->window(), tr("A recording is running."));
            m_mainWindow->setRecordedSlideSource(m_recorder.slidesSourceInfo());
        }
    });
    connect(&m_recorder, &Recorder::recordingError, m_mainWindow, &MainWindow::errorMessage);
    // The window clears its messages when the recording ends; those of the end itself, such as a
    // last slide that found the disk full, are said once more after that.
    connect(&m_recorder, &Recorder::recordingError, this, [this](const QString& message) {
        if (m_recorder.state() == Recorder::Stopping)
            m_errorsAtEnd.append(message);
    });
    connect(&m_recorder, &Recorder::started, this, [this] {
        m_recorderStarted = true;
        m_mainWindow->setRecording(true);
        m_mainWindow->showSlides({});
        if (m_recorder.isLiveStream()) {
            m_mainWindow->setLiveStream(true);
            m_mainWindow->setLiveStreamDetails(
                m_recorder.liveStreamPresentationId(), m_recorder.liveStreamPresentationTitle());
        } else {
            m_mainWindow->setLiveStreamDetails(QString(), m_recorder.liveStreamPresentationTitle());
            m_mainWindow->setLiveStream(false);
        }
    });
    connect(&m_recorder, &Recorder::stopped, this, [this] { onRecorderStopped(); });
    connect(&m_recorder, &Recorder::slidesCapturedSignal, this,
        [this](const QList<QImage>& images) { m_mainWindow->showSlides(images); });
    connect(&m_recorder, &Recorder::liveStreamStartFailed, this, [this](const QString& message) {
        m_startFailureTold = true;
        m_mainWindow->showLiveStreamStartFailed(message);
    });
    connect(&m_recorder, &Recorder::slidesFrozenChanged, this,
        [this] { m_mainWindow->setSlidesFrozen(m_recorder.slidesFrozen()); });
    connect(&m_recorder, &Recorder::slidesResolutionsChanged, this,
        [this] { m_mainWindow->setSlidesResolutions(m_recorder.slidesResolutions()); });
    connect(&m_recorder, &Recorder::slidesCapturedChanged, this,
        [this] { m_mainWindow->setSlidesCaptured(m_recorder.slidesCaptured()); });
    connect(&m_recorder, &Recorder::slidesSavedChanged, this,
        [this] { m_mainWindow->setSlidesSaved(m_recorder.slidesSaved()); });
    connect(&m_recorder, &Recorder::slidesToUploadChanged, this,
        [this] { m_mainWindow->setSlidesToUpload(m_recorder.slidesToUpload()); });
    connect(&m_recorder, &Recorder::slidesUploadedChanged, this,
        [this] { m_mainWindow->setSlidesUploaded(m_recorder.slidesUploaded()); });
    connect(&m_recorder, &Recorder::slidesUploadFailedChanged, this,
        [this] { m_mainWindow->setSlidesUploadFailed(m_recorder.slidesUploadFailed()); });
    connect(&m_recorder, &Recorder::slideInfoWebSuccessCountChanged, this, [this] {
        m_mainWindow->setSlideInfoWebSuccessCount(m_recorder.slideInfoWebSuccessCount());
    });
    connect(&m_recorder, &Recorder::slideInfoWebFailCountChanged, this,
        [this] { m_mainWindow->setSlideInfoWebFailCount(m_recorder.slideInfoWebFailCount()); });
    connect(&m_recorder, &Recorder::lastSlideInfoWebSuccessChanged, this,
        [this] { m_mainWindow->setLastSlideInfoWebSuccess(m_recorder.lastSlideInfoWebSuccess()); });
    connect(&m_recorder, &Recorder::lastSlideInfoWebErrorChanged, this,
        [this] { m_mainWindow->setLastSlideInfoWebError(m_recorder.lastSlideInfoWebError()); });
    connect(&m_recorder, &Recorder::lastSlideInfoWebErrorStringChanged, this, [this] {
        m_mainWindow->setLastSlideInfoWebErrorString(m_recorder.lastSlideInfoWebErrorString());
    });
    connect(&m_recorder, &Recorder::mousePositionChanged, this, [this] {
        m_mainWindow->setMousePositionX(m_recorder.mousePositionX());
        m_mainWindow->setMousePositionY(m_recorder.mousePositionY());
    });

    // Whatever went wrong before the start was told by whoever met it.
    connect(&m_recorder, &Recorder::recordingError, this, [this] {
        if (!m_recorderStarted)
            m_startFailureTold = true;
    });
}

void Application::connectWindow()
{
    connect(m_mainWindow, &MainWindow::startLiveStream, this,
        [this](bool connectToExisting, const QString& presentationId) {
            start(true, connectToExisting, presentationId);
        });
    connect(m_mainWindow, &MainWindow::startRecording, this,
        [this] { start(false, false, QString()); });
    connect(m_mainWindow, &MainWindow::stopRecording, this, [this] {
        m_stopRequested = true;
        m_recorder.requestStop();
        tellWhenDiskHangs();
    });
    // The window forgets its messages with the next recording; the log keeps them.
    connect(m_mainWindow, &MainWindow::errorMessage, this, [](const QString& message) {
        qWarning() << "[Application]"
                   << "told the operator" << message;
    });
    connect(m_mainWindow, &MainWindow::freezeSlides, this, [this] { m_recorder.freezeSlides(); });
    connect(m_mainWindow, &MainWindow::captureSlide, this, [this] { m_recorder.captureSlide(); });

    WebApi* webApi = WebApi::instance();
    connect(webApi, &WebApi::loginFailed, m_mainWindow, &MainWindow::loginFailed);
    connect(webApi, &WebApi::loginSuccessful, m_mainWindow, &MainWindow::loginSuccessful);
    connect(m_mainWindow, &MainWindow::login, webApi, &WebApi::login);
}

void Application::connectDisk()
{
    connect(&m_diskMonitor, &DiskMonitor::minutesLeftChanged, m_mainWindow,
        &MainWindow::setDiskMinutesLeft);
    connect(&m_diskMonitor, &DiskMonitor::levelChanged, m_mainWindow, &MainWindow::setDiskLevel);
    connect(&m_diskMonitor, &DiskMonitor::levelChanged, this, &Application::stopWhenDiskIsFull);
    // The disk may have become full between the press of the button and the recorder's start.
    connect(&m_recorder, &Recorder::started, this, &Application::stopWhenDiskIsFull);
    connect(&m_recorder, &Recorder::presentationCreated, &m_diskMonitor,
        [this](const Presentation* presentation) {
            m_diskMonitor.recordingStarted(presentation->dir());
        });
    connect(&m_recorder, &Recorder::stopped, &m_diskMonitor, &DiskMonitor::recordingStopped);
    m_diskMonitor.watch(workDir());
}

void Application::stopWhenDiskIsFull()
{
    if (m_diskMonitor.level() != DiskMonitor::Exhausted
        || (m_recorder.state() != Recorder::Started && m_recorder.state() != Recorder::Starting))
        return;
    // Said when the recording has ended: until then the window would forget it.
    m_errorsAtEnd.append(
        tr("The recording was stopped because the disk is full: less than 50 MB are free in %1. "
           "What was recorded is complete. Delete or move files until at least 500 MB are free, "
           "then start a new recording.")
            .arg(QDir::toNativeSeparators(workDir())));
    m_mainWindow->qml_stopRecording();
}

void Application::connectQuit()
{
    connect(m_mainWindow, &MainWindow::quitRequested, this, &Application::quit);
    connect(qGuiApp, &QGuiApplication::commitDataRequest, this, &Application::finishForSessionEnd);
    // Before the settings are saved and the window goes: quit() does this earlier and with the
    // window open, but a session may also end the event loop directly.
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this,
        &Application::finishRecording);
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, LoginSettings::instance(),
        [] { LoginSettings::instance()->save(); });
}

void Application::start(
    bool liveStream, bool connectToExistingLiveStream, const QString& presentationId)
{
    m_recorderStarted = false;
    m_stopRequested = false;
    m_startFailureTold = false;
    m_diskHangs = false;
    m_recorder.requestStart(liveStream, connectToExistingLiveStream, presentationId);
    if (m_recorder.state() != Recorder::Stopped)
        return;

    const QString directory = QDir::toNativeSeparators(workDir());
    if (!QFileInfo(workDir()).isDir())
        m_mainWindow->showStartFailed(
            tr("The recording was not started: the folder %1 does not exist.").arg(directory));
    else
        m_mainWindow->showStartFailed(
            tr("The recording was not started: no folder for it could be made in %1. Check that "
               "you may write there and that the disk is not full, wait a second and try again.")
                .arg(directory));
}

void Application::onRecorderStopped()
{
    if (!m_recorderStarted && !m_stopRequested && !std::exchange(m_startFailureTold, true)) {
        const SlidesSourceInfo source = RecorderSettings::instance()->selectedSlideSource();
        emit m_mainWindow->errorMessage(source.isValid()
                ? tr("The recording was not started: the slide source \"%1\" cannot be used. "
                     "Choose another slide source in the settings.")
                      .arg(source.name())
                : tr("The recording was not started: the slide sources are still being looked "
                     "for. Try again in a few seconds."));
    }
    m_mainWindow->setRecording(false);
    for (const QString& message : std::exchange(m_errorsAtEnd, {}))
        emit m_mainWindow->errorMessage(message);
    m_mainWindow->showSlides({});
    m_mainWindow->reloadPresentations();
    if (m_quitting)
        QCoreApplication::exit(0);
}

void Application::requestQuit()
{
    if (m_mainWindow)
        m_mainWindow->qml_quit();
    else
        QCoreApplication::exit(0);
}

void Application::quit()
{
    // exit() and not quit(), which would ask the window again whether it may be closed. Asked for a
    // second time: the operator does not want to wait for what is left.
    if (m_recorder.state() == Recorder::Stopped || std::exchange(m_quitting, true)) {
        QCoreApplication::exit(0);
        return;
    }
    m_stopRequested = true;
    giveUpAfter(FinishTimeout, this, [] { QCoreApplication::exit(0); });
    m_recorder.requestStop();
}

/// Calls @p giveUp when the recorder does not come to its end: after @p timeout, but not, where
/// there is time, while what was recorded is still written bit by bit; sooner when the disk does
/// not answer.
void Application::giveUpAfter(
    std::chrono::seconds timeout, QObject* context, const std::function<void()>& giveUp)
{
    auto* watch = new QTimer(context);
    connect(&m_recorder, &Recorder::slidesSavedChanged, watch, [this] { m_lastProgress.start(); });
    connect(&m_recorder, &Recorder::moreSaved, watch, [this] { m_lastProgress.start(); });
    m_lastProgress.start();
    m_diskHangs = false;
    const bool hasTime = timeout >= FinishTimeout;
    const QDeadlineTimer deadline(timeout);
    connect(watch, &QTimer::timeout, context, [=] {
        const bool isWriting = m_recorder.isWriting();
        m_diskHangs = isWriting
            && m_lastProgress.hasExpired(std::chrono::milliseconds(DiskTimeout).count());
        if (!m_diskHangs && (!deadline.hasExpired() || (isWriting && hasTime)))
            return;
        watch->stop();
        if (m_diskHangs)
            qCritical() << "[Application] the recording waits for a disk that does not answer";
        giveUp();
    });
    watch->start(250);
}

/// A stop ends when everything is written, however late; the operator must know what it waits for.
void Application::tellWhenDiskHangs()
{
    if (m_recorder.state() != Recorder::Stopping)
        return;
    auto* context = new QObject(this);
    connect(&m_recorder, &Recorder::stopped, context, &QObject::deleteLater);
    giveUpAfter(FinishTimeout, context, [this] {
        if (m_diskHangs)
            emit m_mainWindow->errorMessage(
                tr("The recording cannot be finished, because nothing more can be written. Check "
                   "that the disk is connected, and leave the program open: what is missing is "
                   "written when the disk answers again. Closing the window gives it up."));
    });
}

void Application::show()
{
    QWindow* window = m_mainWindow ? m_mainWindow->window() : nullptr;
    if (window)
        Desktop::bringToFront(window);
}

// The session ends, or is asked to: another program may still refuse. Then this one goes on as
// after a stop; otherwise the system ends it when this returns.
void Application::finishForSessionEnd()
{
    if (m_recorder.state() != Recorder::Stopped) {
        qInfo() << "[Application] the session ends, finishing the recording";
        m_mainWindow->setLoading(true);
        waitForRecorder(SessionEndTimeout);
    }
    // Otherwise the recording would be taken for one that was cut off.
    m_recorder.waitForKeepers(KeeperTimeout);
}

void Application::finishRecording()
{
    m_mainWindow->setQuitting();
    // After quit() it has been waited for already.
    const bool waited = std::exchange(m_quitting, true);
    if (m_recorder.state() != Recorder::Stopped && !m_diskHangs)
        waitForRecorder(waited ? LastWait : FinishTimeout);
    WebApi::instance()->finishRequests(LastWait);
}

void Application::waitForRecorder(std::chrono::seconds timeout)
{
    m_stopRequested = true;
    QEventLoop loop;
    connect(&m_recorder, &Recorder::stopped, &loop, &QEventLoop::quit);
    giveUpAfter(timeout, &loop, [&loop] { loop.quit(); });
    m_recorder.requestStop();
    loop.exec();
}
