#include "ui/MainWindow.h"

#include "BuildConfig.h"
#include "recording/Presentation.h"
#include "settings/LiveStreamSettings.h"
#include "settings/LoginSettings.h"
#include "settings/NetworkSettings.h"
#include "settings/RecorderSettings.h"
#include "slidesource/ScreenGrabber.h"
#include "ui/ImageItem.h"
#include "ui/SlideSourcePreview.h"

#include <QCoreApplication>
#include <QDebug>
#include <QGuiApplication>
#include <QPixmap>
#include <QQmlContext>
#include <QQuickWindow>
#include <QScreen>
#include <QUrl>

#include <utility>

using namespace Qt::StringLiterals;

// The screens lie in a static library, whose resources nothing else would link in. The macro wants
// to stand outside of any namespace.
static void registerScreens()
{
    Q_INIT_RESOURCE(qml);
}

namespace {

constexpr int DurationIntervalMs = 100;

} // namespace

MainWindow::MainWindow(QObject* parent)
    : QObject(parent)
    , m_presentationModel(nullptr)
{
    setObjectName("Podiumcast Recorder"_L1);
    qmlRegisterType<SlideSourcePreview>("Podiumcast", 1, 0, "SlideSourcePreview");
    qmlRegisterType<ImageItem>("Podiumcast", 1, 0, "ImageItem");

    m_presentationProxy.setSourceModel(&m_presentationModel);
    m_presentationProxy.setSortRole(PresentationModel::TitleRole);
    m_presentationProxy.sort(0, Qt::DescendingOrder);
    connect(&m_presentationModel, &PresentationModel::rowsInserted, this, &MainWindow::watchTitles);

    connect(&m_presentationModel, &PresentationModel::presentationRecovered, this,
        &MainWindow::tellRecovery);

    connect(RecorderSettings::instance(), &RecorderSettings::property_selectedSlideSourceChanged,
        this, &MainWindow::slideSourceChanged);

    m_durationTimer.setInterval(DurationIntervalMs);
}

MainWindow::~MainWindow()
{
    // The screens go before everything that they show.
    qDeleteAll(m_engine.rootObjects());
}

void MainWindow::run()
{
    connect(&m_durationTimer, &QTimer::timeout, this, &MainWindow::updateRecordingDuration);

    QQmlContext* context = m_engine.rootContext();
    context->setContextProperty(u"liveStreamSettings"_s, LiveStreamSettings::instance());
    context->setContextProperty(u"loginSettings"_s, LoginSettings::instance());
    context->setContextProperty(u"networkSettings"_s, NetworkSettings::instance());
    context->setContextProperty(u"recorderSettings"_s, RecorderSettings::instance());
    context->setContextProperty(u"mainWindow"_s, this);
    context->setContextProperty(u"presentationModel"_s, &m_presentationProxy);

    registerScreens();
    m_engine.load(QUrl(u"qrc:/main.qml"_s));
    if (m_engine.rootObjects().isEmpty()) {
        qCritical() << "[MainWindow]"
                    << "the screens cannot be loaded";
        QCoreApplication::exit(1);
    }
}

QString MainWindow::version() const
{
    return QStringLiteral(PODIUMCAST_VERSION);
}

QQuickWindow* MainWindow::window() const
{
    return qobject_cast<QQuickWindow*>(m_engine.rootObjects().value(0));
}

SlideSourcePreview* MainWindow::findSlideSourcePreview() const
{
    const QList<QObject*> roots = m_engine.rootObjects();
    for (const QObject* root : roots) {
        if (auto* preview = root->findChild<SlideSourcePreview*>(u"slideSourcePreview"_s))
            return preview;
    }
    return nullptr;
}

QString MainWindow::durationString(qint64 milliseconds)
{
    const qint64 seconds = milliseconds / 1000;
    const QChar zero = u'0';
    return u"%1:%2:%3.%4"_s.arg(seconds / 3600, 2, 10, zero)
        .arg((seconds % 3600) / 60, 2, 10, zero)
        .arg(seconds % 60, 2, 10, zero)
        .arg(milliseconds % 1000, 3, 10, zero);
}

bool MainWindow::refuseStart()
{
    const QString problem = m_diskExhausted
        ? tr("The recording was not started: the disk is full. Delete or move files until at least "
             "500 MB are free, then try again.")
        : RecorderSettings::instance()->slideSourceProblem();
    if (!problem.isEmpty())
        emit errorMessage(problem);
    return !problem.isEmpty();
}

void MainWindow::qml_startLiveStream(
    bool connectToExistingLiveStream, const QString& livestreamPresentationId)
{
    if (refuseStart())
        return;
    setLoading(true);
    stopPreview();
    if (m_quitting) // the window was closed while the preview's device wound down
        return;
    emit startLiveStream(connectToExistingLiveStream, livestreamPresentationId.trimmed());
}

void MainWindow::qml_startRecording()
{
    if (refuseStart())
        return;
    setLoading(true);
    stopPreview();
    if (m_quitting)
        return;
    emit startRecording();
}

void MainWindow::qml_stopRecording()
{
    setLoading(true);
    emit stopRecording();
}

void MainWindow::qml_freezeSlides()
{
    emit freezeSlides();
}

void MainWindow::qml_captureSlide()
{
    emit captureSlide();
}

void MainWindow::qml_login(const QString& email, const QString& password)
{
    emit login(email, password);
}

void MainWindow::qml_quit()
{
    setQuitting();
    emit quitRequested();
}

void MainWindow::setQuitting()
{
    if (m_quitting)
        return;
    m_quitting = true;
    emit quittingChanged();
    setLoading(true);
}

SlidesSourceInfo MainWindow::slideSource() const
{
    return m_recordedSlideSource.isValid() ? m_recordedSlideSource
                                           : RecorderSettings::instance()->selectedSlideSource();
}

void MainWindow::setRecordedSlideSource(const SlidesSourceInfo& source)
{
    m_recordedSlideSource = source;
    emit slideSourceChanged();
}

void MainWindow::setLeftOutOfCapture(bool leftOut)
{
    m_leftOutOfCapture = leftOut;
    emit property_leftOutOfCaptureChanged();
}

void MainWindow::setLoading(bool isLoading)
{
    if (m_isLoading == isLoading)
        return;
    m_isLoading = isLoading;
    emit property_loadingChanged(m_isLoading);
}

void MainWindow::setRecording(bool isRecording)
{
    const bool changed = m_isRecording != isRecording;
    if (changed) {
        m_isRecording = isRecording;
        emit property_recordingChanged(m_isRecording);
    }
    if (changed && m_isRecording) {
        m_previewHeld = false;
        m_recordingClock.restart();
        updateRecordingDuration();
        m_durationTimer.start();
    }
    if (changed && !m_isRecording)
        m_durationTimer.stop();
    // Also after a start that never became a recording, such as a refused live stream.
    if (!m_isRecording && (changed || m_previewHeld))
        restartPreview();
    setLoading(false);
}

void MainWindow::loginFailed()
{
    emit internal_loginFailed();
}

void MainWindow::loginSuccessful()
{
    emit internal_loginSuccessful();
}

void MainWindow::showSlides(const QList<QImage>& slides)
{
    emit internal_showSlides(slides);
    if (!slides.isEmpty() || !m_isRecording)
        setStandIn({}, m_isRecording ? m_standInResolutions : QVariantList());
}

void MainWindow::showLiveStreamStartFailed(const QString& message)
{
    emit internal_showLiveStreamStartFailed(message);
}

void MainWindow::setLiveStream(bool isLiveStream)
{
    if (m_isLiveStream == isLiveStream)
        return;
    m_isLiveStream = isLiveStream;
    emit property_liveStreamChanged();
}

void MainWindow::setLiveStreamDetails(
    const QString& presentationId, const QString& presentationTitle)
{
    m_liveStreamPresentationId = presentationId;
    m_liveStreamPresentationTitle = presentationTitle;
    emit property_liveStreamPresentationChanged();
}

void MainWindow::setSlidesFrozen(bool frozen)
{
    m_slidesFrozen = frozen;
    emit slidesFrozenChanged();
}

void MainWindow::setSlidesResolutions(const QVariantList& resolutions)
{
    m_slidesResolutions = resolutions;
    emit slidesResolutionsChanged();
}

void MainWindow::setSlidesCaptured(qint64 count)
{
    m_slidesCaptured = count;
    emit slidesCapturedChanged();
}

void MainWindow::setSlidesSaved(qint64 count)
{
    m_slidesSaved = count;
    emit slidesSavedChanged();
}

void MainWindow::setSlidesToUpload(qint64 count)
{
    m_slidesToUpload = count;
    emit slidesToUploadChanged();
}

void MainWindow::setSlidesUploaded(qint64 count)
{
    m_slidesUploaded = count;
    emit slidesUploadedChanged();
}

void MainWindow::setSlidesUploadFailed(qint64 count)
{
    m_slidesUploadFailed = count;
    emit slidesUploadFailedChanged();
}

void MainWindow::setSlideInfoWebSuccessCount(qint64 count)
{
    m_slideInfoWebSuccessCount = count;
    emit slideInfoWebSuccessCountChanged();
}

void MainWindow::setSlideInfoWebFailCount(qint64 count)
{
    m_slideInfoWebFailCount = count;
    emit slideInfoWebFailCountChanged();
}

void MainWindow::setLastSlideInfoWebSuccess(bool success)
{
    m_lastSlideInfoWebSuccess = success;
    emit lastSlideInfoWebSuccessChanged();
}

void MainWindow::setLastSlideInfoWebError(QNetworkReply::NetworkError error)
{
    m_lastSlideInfoWebError = error;
    emit lastSlideInfoWebErrorChanged();
}

void MainWindow::setLastSlideInfoWebErrorString(const QString& errorString)
{
    m_lastSlideInfoWebErrorString = errorString;
    emit lastSlideInfoWebErrorStringChanged();
}

void MainWindow::setMousePositionX(qint64 x)
{
    m_mousePositionX = x;
    emit mousePositionXChanged();
}

void MainWindow::setMousePositionY(qint64 y)
{
    m_mousePositionY = y;
    emit mousePositionYChanged();
}

void MainWindow::reloadPresentations()
{
    m_presentationModel.reload();
}

void MainWindow::setDiskMinutesLeft(int minutes)
{
    if (std::exchange(m_diskMinutesLeft, minutes) != minutes)
        emit diskChanged();
}

void MainWindow::setDiskLevel(DiskMonitor::Level level)
{
    m_diskExhausted = level == DiskMonitor::Exhausted;
    const bool low = m_diskExhausted || level == DiskMonitor::Low;
    if (std::exchange(m_diskLow, low) != low)
        emit diskChanged();
}

void MainWindow::tellRecovery(const QString& title, bool repaired)
{
    emit errorMessage(repaired
            ? tr("\"%1\" was cut off: the recorder or the computer ended in the middle of it. It "
                 "has "
                 "been repaired; at most its last two seconds are missing.")
                  .arg(title)
            : tr("\"%1\" was cut off and could not be repaired. Check that you may write to its "
                 "folder and that the disk is not full, then start the recorder again.")
                  .arg(title));
}

void MainWindow::showStartFailed(const QString& message)
{
    emit errorMessage(message);
    if (!m_isRecording)
        restartPreview();
    setLoading(false);
}

void MainWindow::updateRecordingDuration()
{
    m_recordingDurationString = durationString(m_recordingClock.elapsed());
    emit property_recordingDurationStringChanged(m_recordingDurationString);
}

void MainWindow::stopPreview()
{
    m_previewHeld = true;
    grabStandIn();
    if (SlideSourcePreview* preview = findSlideSourcePreview()) {
        preview->stop();
    }
}

/// What the first slide will show, as far as anybody can know: a screen at rest then looks the same
/// before and after that slide has appeared in this window. A camera does not see this window.
void MainWindow::grabStandIn()
{
    if (RecorderSettings::instance()->selectedSlideSource().type()
        != SlidesSourceInfo::IntervalScreenCapture)
        return;
    QList<QImage> frames;
    QVariantList resolutions;
    const auto screens = QGuiApplication::screens();
    ScreenGrabber grabber;
    for (QScreen* screen : screens) {
        frames.append(grabber.grab(screen));
        const QSizeF size = frames.constLast().deviceIndependentSize();
        resolutions.append(
            QVariantMap{ { u"width"_s, size.width() }, { u"height"_s, size.height() } });
    }
    setStandIn(frames, resolutions);
}

void MainWindow::setStandIn(const QList<QImage>& frames, const QVariantList& resolutions)
{
    m_standInFrames = frames;
    m_standInResolutions = resolutions;
    emit standInFramesChanged();
}

void MainWindow::restartPreview()
{
    m_previewHeld = false;
    if (m_quitting)
        return;
    SlideSourcePreview* preview = findSlideSourcePreview();
    if (!preview)
        return;
    if (!preview->stopping()) {
        preview->restart();
        return;
    }
    // Its stop is further up this stack, and it refuses until that has returned.
    const auto type = Qt::ConnectionType(Qt::QueuedConnection | Qt::SingleShotConnection);
    const auto retry = [this] {
        if (!m_previewHeld && !m_isRecording)
            restartPreview();
    };
    connect(preview, &SlideSourcePreview::stoppingChanged, this, retry, type);
}

/// A title that changes moves its row in the sorted list.
void MainWindow::watchTitles(const QModelIndex& parent, int first, int last)
{
    for (int row = first; row <= last; ++row) {
        const QModelIndex index = m_presentationModel.index(row, 0, parent);
        auto* presentation
            = index.data(PresentationModel::PresentationObjectRole).value<Presentation*>();
        connect(presentation, &Presentation::property_titleChanged, &m_presentationModel,
            &PresentationModel::onPresentationTitleChanged, Qt::UniqueConnection);
    }
}
