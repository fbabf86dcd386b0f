#pragma once

#include "web/WebApiReply.h"

#include <QDateTime>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QObject>
#include <QStringList>

#include <chrono>

/// The client of the service's REST interface: JSON in POST requests over TLS. Main thread only.
///
/// The address is https, the host that the build was configured with, port 443; the environment
/// variable PODIUMCAST_SERVICE_URL replaces scheme, host and port (http and https only).
/// Certificates are always verified. Redirects are not followed, so that no identity travels to
/// another host: they arrive as errors. Nothing is retried here.
class WebApi : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool loggedIn READ loggedIn NOTIFY property_loggedInChanged)

public:
    /// What the recording side of a status ping reports.
    struct RecordingAppPingData
    {
        QString name;
        QString version;
        QDateTime startedAt; ///< UTC
        QStringList errorMessages;
        QString slidesSource;
        bool useNativeSlideSourceResolution = false;
        int slidesSourceWidth = 0;
        int slidesSourceHeight = 0;
        QString audioSource;
        int audioChannels = 0;
        bool slidesFrozen = false;
        QStringList resolutions; ///< "1920x1080", one for each screen
        int capturedCount = 0;
        int savedCount = 0;
        int toUploadCount = 0;
        int uploadedCount = 0;
        int uploadFailedCount = 0;
        int webSuccessCount = 0;
        int webFailedCount = 0;
        bool webSuccessForLastSlide = false;
        QString webErrorForLastSlide;
    };

    /// What the video switcher's side of a status ping reports.
    struct VMixPingData
    {
        bool pollingEnabled = false;
        QString pollingEndpoint;
        int pollingInterval = 0; ///< milliseconds
        QDateTime lastPollAt;
        QDateTime lastPollSuccessAt;
        QString pollingLastError;
        QString xml;
    };

    static WebApi* instance();

    [[nodiscard]] bool loggedIn() const { return m_loggedIn; }

    [[nodiscard]] QNetworkRequest createRequest(const QString& path) const;
    WebApiReply* get(const QNetworkRequest& request);
    /// Sends @p body with the identity, when there is one, and the program's version added.
    WebApiReply* post(const QNetworkRequest& request, const QJsonObject& body);

    /// Forgets the identity at once; the new one counts from loginSuccessful() on. The answer of
    /// an earlier login that is still under way is ignored.
    Q_INVOKABLE WebApiReply* login(const QString& email, const QString& password);
    WebApiReply* createLiveStream(
        const QString& title, bool connectToExistingLiveStream, const QString& presentationId);
    /// @p timestamp in milliseconds on the slide clock.
    WebApiReply* sendLiveStreamSlideInfo(qint64 presentationStreamId, int version, qint64 appStart,
        int screen, qint64 timestamp, const QString& bucket, const QString& path);
    WebApiReply* sendPingData(const QString& presentationId, int presentationStreamVersion,
        qint64 presentationStreamStart, const RecordingAppPingData& recordingApp,
        const VMixPingData& vMix);

    /// Waits in a local event loop until no request is under way, at most @p timeLimit: at the end
    /// of the program the last slide's report is still to be sent.
    void finishRequests(std::chrono::milliseconds timeLimit);

signals:
    void property_loggedInChanged(bool loggedIn);
    void loginSuccessful();
    void loginFailed();

public slots:
    void storeLoginInformation();

protected:
    WebApi();
    /// @p silence: the longest time without a byte; @p total: the longest request altogether.
    void setTimeLimits(std::chrono::milliseconds silence, std::chrono::milliseconds total);
    /// Requests that have not ended, whether or not anybody waits for them.
    [[nodiscard]] qsizetype requestsInFlight() const;

private:
    /// Ends all requests and connections without a word.
    void closeNetwork();
    void setLoggedIn(bool loggedIn);

    QString m_scheme;
    QString m_host;
    qint32 m_port = 443;
    QNetworkAccessManager m_network;
    bool m_loggedIn = false;
    QString m_email;
    QString m_token;
    QPointer<WebApiReply> m_loginReply;
    // 30 s outlasts every pause of a busy service, and an operator still waits for it. The largest
    // ping (a switcher's 1 MB) takes the second 30 s on a line of 256 kbit/s.
    std::chrono::milliseconds m_silenceLimit = std::chrono::seconds(30);
    std::chrono::milliseconds m_totalLimit = std::chrono::seconds(60);
};
