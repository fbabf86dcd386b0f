#pragma once

#include "recording/DiskMonitor.h"
#include "slidesource/SlidesSourceInfo.h"
#include "ui/ExternalLinks.h"
#include "ui/PresentationModel.h"

#include <QElapsedTimer>
#include <QImage>
#include <QList>
#include <QNetworkReply>
#include <QObject>
#include <QQmlApplicationEngine>
#include <QSortFilterProxyModel>
#include <QTimer>
#include <QVariantList>

class QQuickWindow;
class SlideSourcePreview;

/// The one object through which the QML screens see and drive the recorder: mirrors what they show
/// and turns their actions into signals. Knows no recorder; the application wires the two.
/// Main thread.
class MainWindow : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString version READ version CONSTANT)
    Q_PROPERTY(
        bool isRecording READ isRecording WRITE setRecording NOTIFY property_recordingChanged)
    Q_PROPERTY(bool isLoading READ isLoading WRITE setLoading NOTIFY property_loadingChanged)
    Q_PROPERTY(QString recordingDurationString MEMBER m_recordingDurationString NOTIFY
            property_recordingDurationStringChanged)
    Q_PROPERTY(bool isLiveStream MEMBER m_isLiveStream WRITE setLiveStream NOTIFY
            property_liveStreamChanged)
    Q_PROPERTY(QString liveStreamPresentationId MEMBER m_liveStreamPresentationId NOTIFY
            property_liveStreamPresentationChanged)
    Q_PROPERTY(QString liveStreamPresentationTitle MEMBER m_liveStreamPresentationTitle NOTIFY
            property_liveStreamPresentationChanged)
    Q_PROPERTY(
        bool slidesFrozen MEMBER m_slidesFrozen WRITE setSlidesFrozen NOTIFY slidesFrozenChanged)
    Q_PROPERTY(QVariantList slidesResolutions MEMBER m_slidesResolutions WRITE setSlidesResolutions
            NOTIFY slidesResolutionsChanged)
    Q_PROPERTY(qint64 slidesCaptured MEMBER m_slidesCaptured WRITE setSlidesCaptured NOTIFY
            slidesCapturedChanged)
    Q_PROPERTY(
        qint64 slidesSaved MEMBER m_slidesSaved WRITE setSlidesSaved NOTIFY slidesSavedChanged)
    Q_PROPERTY(qint64 slidesToUpload MEMBER m_slidesToUpload WRITE setSlidesToUpload NOTIFY
            slidesToUploadChanged)
    Q_PROPERTY(qint64 slidesUploaded MEMBER m_slidesUploaded WRITE setSlidesUploaded NOTIFY
            slidesUploadedChanged)
    Q_PROPERTY(qint64 slidesUploadFailed MEMBER m_slidesUploadFailed WRITE setSlidesUploadFailed
            NOTIFY slidesUploadFailedChanged)
    Q_PROPERTY(qint64 slideInfoWebSuccessCount MEMBER m_slideInfoWebSuccessCount WRITE
            setSlideInfoWebSuccessCount NOTIFY slideInfoWebSuccessCountChanged)
    Q_PROPERTY(qint64 slideInfoWebFailCount MEMBER m_slideInfoWebFailCount WRITE
            setSlideInfoWebFailCount NOTIFY slideInfoWebFailCountChanged)
    Q_PROPERTY(bool lastSlideInfoWebSuccess MEMBER m_lastSlideInfoWebSuccess WRITE
            setLastSlideInfoWebSuccess NOTIFY lastSlideInfoWebSuccessChanged)
    Q_PROPERTY(QNetworkReply::NetworkError lastSlideInfoWebError MEMBER m_lastSlideInfoWebError
            WRITE setLastSlideInfoWebError NOTIFY lastSlideInfoWebErrorChanged)
    Q_PROPERTY(QString lastSlideInfoWebErrorString MEMBER m_lastSlideInfoWebErrorString WRITE
            setLastSlideInfoWebErrorString NOTIFY lastSlideInfoWebErrorStringChanged)
    Q_PROPERTY(qint64 mousePositionX MEMBER m_mousePositionX WRITE setMousePositionX NOTIFY
            mousePositionXChanged)
    Q_PROPERTY(qint64 mousePositionY MEMBER m_mousePositionY WRITE setMousePositionY NOTIFY
            mousePositionYChanged)
    Q_PROPERTY(bool mouseListenerEnabled READ mouseListenerEnabled NOTIFY never)
    Q_PROPERTY(bool screenRecordingEnabled READ screenRecordingEnabled NOTIFY never)
    Q_PROPERTY(int diskMinutesLeft MEMBER m_diskMinutesLeft NOTIFY diskChanged)
    Q_PROPERTY(bool diskLow MEMBER m_diskLow NOTIFY diskChanged)
    Q_PROPERTY(bool quitting MEMBER m_quitting NOTIFY quittingChanged)
    Q_PROPERTY(QList<QImage> standInFrames MEMBER m_standInFrames NOTIFY standInFramesChanged)
    Q_PROPERTY(
        QVariantList standInResolutions MEMBER m_standInResolutions NOTIFY standInFramesChanged)
    Q_PROPERTY(SlidesSourceInfo slideSource READ slideSource NOTIFY slideSourceChanged)
    Q_PROPERTY(
        bool leftOutOfCapture MEMBER m_leftOutOfCapture NOTIFY property_leftOutOfCaptureChanged)

public:
    explicit MainWindow(QObject* parent = nullptr);
    ~MainWindow() override;

    /// Shows the window. Called once; ends the application with code 1 when the screens do not
    /// load.
    void run();

    [[nodiscard]] QString version() const;
    [[nodiscard]] bool isRecording() const { return m_isRecording; }
    [[nodiscard]] bool isLoading() const { return m_isLoading; }
    [[nodiscard]] bool mouseListenerEnabled() const { return true; }
    [[nodiscard]] bool screenRecordingEnabled() const { return true; }

    /// What is recorded, even if it has gone meanwhile; while nothing is, what would be.
    [[nodiscard]] SlidesSourceInfo slideSource() const;

    /// The one window; null when the screens did not load.
    [[nodiscard]] QQuickWindow* window() const;
    /// The preview on the screens, or null.
    [[nodiscard]] SlideSourcePreview* findSlideSourcePreview() const;
    /// "00:05:07.123"; from 100 hours on with three digits for the hours.
    [[nodiscard]] static QString durationString(qint64 milliseconds);

    Q_INVOKABLE void qml_startLiveStream(
        bool connectToExistingLiveStream, const QString& livestreamPresentationId);
    Q_INVOKABLE void qml_startRecording();
    Q_INVOKABLE void qml_stopRecording();
    Q_INVOKABLE void qml_freezeSlides();
    Q_INVOKABLE void qml_captureSlide();
    Q_INVOKABLE void qml_login(const QString& email, const QString& password);
    /// The operator closes the window during a recording: asks for an orderly end, and when called
    /// again, for a quick one.
    Q_INVOKABLE void qml_quit();
    Q_INVOKABLE bool qml_openDirectory(const QString& directory) const
    {
        return ExternalLinks::openDirectory(directory);
    }
    Q_INVOKABLE bool qml_openLink(const QUrl& url) const { return ExternalLinks::open(url); }
    Q_INVOKABLE QUrl qml_serviceUrl(const QString& path) const
    {
        return ExternalLinks::service(path);
    }
    Q_INVOKABLE QUrl qml_presentationUrl(const QString& id, const QString& page) const
    {
        return ExternalLinks::presentation(id, page);
    }

signals:
    void errorMessage(const QString& message);
    void property_loadingChanged(bool isLoading);
    void property_recordingChanged(bool isRecording);
    void property_recordingDurationStringChanged(const QString& duration);
    void property_liveStreamChanged();
    void property_liveStreamPresentationChanged();
    void slidesFrozenChanged();
    void slidesResolutionsChanged();
    void slidesCapturedChanged();
    void slidesSavedChanged();
    void slidesToUploadChanged();
    void slidesUploadedChanged();
    void slidesUploadFailedChanged();
    void slideInfoWebSuccessCountChanged();
    void slideInfoWebFailCountChanged();
    void lastSlideInfoWebSuccessChanged();
    void lastSlideInfoWebErrorChanged();
    void lastSlideInfoWebErrorStringChanged();
    void mousePositionXChanged();
    void mousePositionYChanged();
    void internal_loginFailed();
    void internal_loginSuccessful();
    void internal_showSlides(const QList<QImage>& slides);
    void internal_showLiveStreamStartFailed(const QString& message);
    void startLiveStream(bool connectToExistingLiveStream, const QString& livestreamPresentationId);
    void startRecording();
    void stopRecording();
    void freezeSlides();
    void captureSlide();
    void login(const QString& email, const QString& password);
    void never();
    /// The recording is to be ended and then the application.
    void quitRequested();
    void quittingChanged();
    void standInFramesChanged();
    void property_leftOutOfCaptureChanged();
    void slideSourceChanged();
    void diskChanged();

public slots:
    void setLoading(bool isLoading);
    void setRecording(bool isRecording);
    void loginFailed();
    void loginSuccessful();
    void showSlides(const QList<QImage>& slides);
    void showLiveStreamStartFailed(const QString& message);
    void setLiveStream(bool isLiveStream);
    void setLiveStreamDetails(const QString& presentationId, const QString& presentationTitle);
    void setSlidesFrozen(bool frozen);
    void setSlidesResolutions(const QVariantList& resolutions);
    void setSlidesCaptured(qint64 count);
    void setSlidesSaved(qint64 count);
    void setSlidesToUpload(qint64 count);
    void setSlidesUploaded(qint64 count);
    void setSlidesUploadFailed(qint64 count);
    void setSlideInfoWebSuccessCount(qint64 count);
    void setSlideInfoWebFailCount(qint64 count);
    void setLastSlideInfoWebSuccess(bool success);
    void setLastSlideInfoWebError(QNetworkReply::NetworkError error);
    void setLastSlideInfoWebErrorString(const QString& errorString);
    void setMousePositionX(qint64 x);
    void setMousePositionY(qint64 y);
    void reloadPresentations();
    /// Minutes for which the disk lasts; -1 when unknown.
    void setDiskMinutesLeft(int minutes);
    /// With an exhausted disk no recording is started.
    void setDiskLevel(DiskMonitor::Level level);
    /// A requested start came to nothing: tells the operator why and returns to idle.
    void showStartFailed(const QString& message);
    /// Shows that the program is ending; the preview is not started again.
    void setQuitting();
    /// Invalid: nothing is recorded.
    void setRecordedSlideSource(const SlidesSourceInfo& source);
    /// Slides show what lies below the window, not the window.
    void setLeftOutOfCapture(bool leftOut);

private slots:
    void updateRecordingDuration();

private:
    /// Tells the operator when nothing can be recorded now; true: do not start.
    bool refuseStart();
    void stopPreview();
    void restartPreview();
    void grabStandIn();
    void setStandIn(const QList<QImage>& frames, const QVariantList& resolutions);
    void tellRecovery(const QString& title, bool repaired);
    void watchTitles(const QModelIndex& parent, int first, int last);

    QQmlApplicationEngine m_engine;
    PresentationModel m_presentationModel;
    QSortFilterProxyModel m_presentationProxy;
    QElapsedTimer m_recordingClock;
    QTimer m_durationTimer;
    bool m_isLoading = false;
    bool m_isRecording = false;
    QString m_recordingDurationString;
    bool m_isLiveStream = false;
    QString m_liveStreamPresentationId;
    QString m_liveStreamPresentationTitle;
    bool m_slidesFrozen = false;
    QVariantList m_slidesResolutions;
    qint64 m_slidesCaptured = 0;
    qint64 m_slidesSaved = 0;
    qint64 m_slidesToUpload = 0;
    qint64 m_slidesUploaded = 0;
    qint64 m_slidesUploadFailed = 0;
    qint64 m_slideInfoWebSuccessCount = 0;
    qint64 m_slideInfoWebFailCount = 0;
    bool m_lastSlideInfoWebSuccess = false;
    QNetworkReply::NetworkError m_lastSlideInfoWebError = QNetworkReply::NoError;
    QString m_lastSlideInfoWebErrorString;
    qint64 m_mousePositionX = 0;
    qint64 m_mousePositionY = 0;
    int m_diskMinutesLeft = -1;
    bool m_diskLow = false;
    bool m_diskExhausted = false;
    bool m_quitting = false;
    bool m_leftOutOfCapture = false;
    SlidesSourceInfo m_recordedSlideSource;
    /// Pictures of the screens from when a start was requested; until the first slide is there.
    QList<QImage> m_standInFrames;
    QVariantList m_standInResolutions;
    /// The preview gave the device away for a start that has not become a recording yet.
    bool m_previewHeld = false;
};
