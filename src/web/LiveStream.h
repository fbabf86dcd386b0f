#pragma once

#include "web/LiveStreamUploaderConfig.h"

#include <QList>
#include <QNetworkReply>
#include <QObject>
#include <QPointer>
#include <QString>

#include <memory>

class LiveStreamUploader;
class Presentation;
class WebApiReply;

/// One live-streaming session of one recording: creates or joins the stream at the service, has
/// the slide files uploaded, and reports every uploaded slide to the service. Main thread only.
///
/// requestStart() ends in started() or in startFailed(); after started(), requestStop() ends in
/// stopped() once everything queued has been tried. Failed uploads and reports are counted and
/// announced, never repeated; the slide files stay where they are. Answers that arrive after the
/// session was deleted change nothing; a report under way then still reaches the service.
class LiveStream : public QObject
{
    Q_OBJECT

public:
    /// Does not take @p presentation, which receives the id and the title that the service gives.
    LiveStream(Presentation* presentation, bool connectToExistingLiveStream,
        const QString& presentationId);
    ~LiveStream() override;

    void requestStart();
    /// Does nothing while there is no uploader (still creating, or failed).
    void requestStop();
    /// Deletes the session when the reports that are still under way have ended; of their failures
    /// slideUploadError() still tells.
    void retire();

    [[nodiscard]] bool isRunning() const { return m_running; }
    [[nodiscard]] int presentationStreamVersion() const { return m_presentationStreamVersion; }
    [[nodiscard]] qint64 presentationStreamStart() const { return m_presentationStreamStart; }
    [[nodiscard]] qint64 slidesToUpload() const;
    [[nodiscard]] qint64 slidesUploaded() const;
    [[nodiscard]] qint64 slidesUploadFailed() const;
    [[nodiscard]] qint64 slideInfoWebSuccessCount() const { return m_slideInfoWebSuccessCount; }
    [[nodiscard]] qint64 slideInfoWebFailCount() const { return m_slideInfoWebFailCount; }
    [[nodiscard]] bool lastSlideInfoWebSuccess() const { return m_lastSlideInfoWebSuccess; }
    [[nodiscard]] QNetworkReply::NetworkError lastSlideInfoWebError() const
    {
        return m_lastSlideInfoWebError;
    }
    [[nodiscard]] QString lastSlideInfoWebErrorString() const
    {
        return m_lastSlideInfoWebErrorString;
    }

signals:
    void started();
    void stopped();
    void startFailed(const QString& message);
    void slideUploadError(const QString& message);
    void slidesToUploadChanged();
    void slidesUploadedChanged();
    void slidesUploadFailedChanged();
    void slideInfoWebSuccessCountChanged();
    void slideInfoWebFailCountChanged();
    void lastSlideInfoWebSuccessChanged();
    void lastSlideInfoWebErrorChanged();
    void lastSlideInfoWebErrorStringChanged();

public slots:
    /// Hands a written slide file on; dropped, with a warning, while there is no uploader.
    void uploadSlide(int screen, qint64 time, const QString& filePath);
    void handleLiveStreamCreateError(QNetworkReply::NetworkError error);
    void createLiveStreamUploader();
    void handleLiveStreamUploaderStopped();
    void sendLiveStreamSlideInfoToWeb(
        int screen, qint64 time, const QString& remoteBucket, const QString& remotePath);

private:
    void createLiveStream();
    void readCreateReply();
    void track(WebApiReply* reply);
    /// The last report's outcome, after its count was raised; emits what changed.
    void setLastSlideInfo(bool success, QNetworkReply::NetworkError error, const QString& text);

    bool m_running = false;
    QPointer<Presentation> m_presentation;
    const bool m_connectToExistingLiveStream;
    const QString m_presentationId;
    QString m_confirmedPresentationId;
    qint64 m_presentationStreamId = 0;
    qint64 m_presentationStreamStart = 0;
    int m_presentationStreamVersion = 0;
    LiveStreamUploaderConfig m_uploaderConfig;
    std::unique_ptr<LiveStreamUploader> m_uploader;
    qint64 m_slideInfoWebSuccessCount = 0;
    qint64 m_slideInfoWebFailCount = 0;
    bool m_lastSlideInfoWebSuccess = false;
    QNetworkReply::NetworkError m_lastSlideInfoWebError = QNetworkReply::NoError;
    QString m_lastSlideInfoWebErrorString;
    QPointer<WebApiReply> m_createReply;
    QList<WebApiReply*> m_replies; ///< outstanding; nothing may call back after the destructor
    bool m_retired = false;
    bool m_applicationQuits = false;
};
