#include "web/WebApi.h"

#include "BuildConfig.h"

#include <QCoreApplication>
#include <QDebug>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTimer>
#include <QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

WebApi* WebApi::instance()
{
    static WebApi webApi;
    // A kept-alive TLS connection must not outlive Qt's own globals, which are destroyed before
    // this object: it is closed together with the application object.
    static const bool registered = [] {
        qAddPostRoutine([] { webApi.closeNetwork(); });
        return true;
    }();
    Q_UNUSED(registered)
    return &webApi;
}

WebApi::WebApi()
    : m_scheme(u"https"_s)
    , m_host(QStringLiteral(PODIUMCAST_SERVICE_HOST))
{
    const QString variable = qEnvironmentVariable("PODIUMCAST_SERVICE_URL");
    if (variable.isEmpty())
        return;
    const QUrl url(variable, QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty()
        || (url.scheme() != "https"_L1 && url.scheme() != "http"_L1)) {
        // The text is not repeated: it may hold a password.
        qWarning() << "[WebApi]"
                   << "PODIUMCAST_SERVICE_URL is not an http or https address and is ignored";
        return;
    }
    m_scheme = url.scheme();
    m_host = url.host();
    m_port = url.port(m_scheme == "https"_L1 ? 443 : 80);
    qInfo() << "[WebApi]"
            << "service at" << m_scheme << m_host << m_port;
}

void WebApi::setTimeLimits(std::chrono::milliseconds silence, std::chrono::milliseconds total)
{
    m_silenceLimit = silence;
    m_totalLimit = total;
}

void WebApi::closeNetwork()
{
    qDeleteAll(m_network.findChildren<QNetworkReply*>());
    m_network.clearConnectionCache();
}

void WebApi::finishRequests(std::chrono::milliseconds timeLimit)
{
    const auto underWay = [this] {
        const auto replies = m_network.findChildren<QNetworkReply*>();
        return std::any_of(replies.begin(), replies.end(),
            [](const QNetworkReply* reply) { return !reply->isFinished(); });
    };
    if (!underWay())
        return;
    QEventLoop loop;
    connect(&m_network, &QNetworkAccessManager::finished, &loop, [&] {
        if (!underWay())
            loop.quit();
    });
    QTimer::singleShot(timeLimit, &loop, &QEventLoop::quit);
    loop.exec();
}

qsizetype WebApi::requestsInFlight() const
{
    return m_network.findChildren<QNetworkReply*>().size();
}

QNetworkRequest WebApi::createRequest(const QString& path) const
{
    QUrl url;
    url.setScheme(m_scheme);
    url.setHost(m_host);
    if (m_port != 0)
        url.setPort(m_port);
    url.setPath(path);
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    request.setTransferTimeout(int(m_silenceLimit.count()));
    // A followed redirect would carry e-mail and token, or the password, along with it.
    request.setMaximumRedirectsAllowed(0);
    return request;
}

WebApiReply* WebApi::get(const QNetworkRequest& request)
{
    qDebug() << "[WebApi]"
             << "GET" << request.url();
    return new WebApiReply(m_network.get(request), m_totalLimit);
}

WebApiReply* WebApi::post(const QNetworkRequest& request, const QJsonObject& body)
{
    qDebug() << "[WebApi]"
             << "POST" << request.url();
    QJsonObject fullBody = body;
    if (!m_email.isEmpty() && !m_token.isEmpty()) {
        fullBody.insert("user_email"_L1, m_email);
        fullBody.insert("user_token"_L1, m_token);
    }
    fullBody.insert("recording_app_version"_L1, QStringLiteral(PODIUMCAST_VERSION));
    return new WebApiReply(
        m_network.post(request, QJsonDocument(fullBody).toJson(QJsonDocument::Compact)),
        m_totalLimit);
}

WebApiReply* WebApi::login(const QString& email, const QString& password)
{
    m_email.clear();
    m_token.clear();
    setLoggedIn(false);
    if (m_loginReply)
        disconnect(m_loginReply, nullptr, this, nullptr);

    m_loginReply = post(createRequest(u"/api/v1/login"_s),
        { { u"user_email"_s, email }, { u"user_password"_s, password } });
    connect(m_loginReply, &WebApiReply::error, this, &WebApi::loginFailed);
    connect(m_loginReply, &WebApiReply::finished, this, &WebApi::storeLoginInformation);
    return m_loginReply;
}

void WebApi::storeLoginInformation()
{
    const auto* reply = qobject_cast<WebApiReply*>(sender());
    if (!reply)
        return;
    const QJsonObject json = reply->jsonResponse();
    m_email = json.value("user_email"_L1).toString();
    m_token = json.value("user_token"_L1).toString();
    qDebug() << "[WebApi]"
             << "logged in " << m_email;
    setLoggedIn(true);
    emit loginSuccessful();
}

void WebApi::setLoggedIn(bool loggedIn)
{
    m_loggedIn = loggedIn;
    emit property_loggedInChanged(loggedIn);
}

WebApiReply* WebApi::createLiveStream(
    const QString& title, bool connectToExistingLiveStream, const QString& presentationId)
{
    qDebug() << "[WebApi]"
             << "create livestream " << title << connectToExistingLiveStream << presentationId;
    QJsonObject stream{
        { u"title"_s, title },
        { u"connect_to_existing_live_stream"_s, connectToExistingLiveStream },
    };
    if (!presentationId.isEmpty())
        stream.insert("presentation_id"_L1, presentationId);
    return post(
        createRequest(u"/api/v1/presentation_streams"_s), { { u"presentation_stream"_s, stream } });
}

WebApiReply* WebApi::sendLiveStreamSlideInfo(qint64 presentationStreamId, int version,
    qint64 appStart, int screen, qint64 timestamp, const QString& bucket, const QString& path)
{
    const QJsonObject slide{
        { u"presentation_stream_id"_s, presentationStreamId },
        { u"version"_s, version },
        { u"app_start"_s, appStart },
        { u"screen"_s, screen },
        { u"timestamp"_s, timestamp },
        { u"bucket"_s, bucket },
        { u"path"_s, path },
    };
    return post(createRequest(u"/api/v1/presentation_stream_slides"_s),
        { { u"presentation_stream_slide"_s, slide } });
}

WebApiReply* WebApi::sendPingData(const QString& presentationId, int presentationStreamVersion,
    qint64 presentationStreamStart, const RecordingAppPingData& recordingApp,
    const VMixPingData& vMix)
{
    const QJsonObject slidesStats{
        { u"resolutions"_s, QJsonArray::fromStringList(recordingApp.resolutions) },
        { u"captured_count"_s, recordingApp.capturedCount },
        { u"saved_count"_s, recordingApp.savedCount },
        { u"to_upload_count"_s, recordingApp.toUploadCount },
        { u"uploaded_count"_s, recordingApp.uploadedCount },
        { u"upload_failed_count"_s, recordingApp.uploadFailedCount },
        { u"web_success_count"_s, recordingApp.webSuccessCount },
        { u"web_failed_count"_s, recordingApp.webFailedCount },
        { u"web_success_for_last_slide"_s, recordingApp.webSuccessForLastSlide },
        { u"web_error_for_last_slide"_s, recordingApp.webErrorForLastSlide },
    };
    const QJsonObject recording{
        { u"started_at"_s, recordingApp.startedAt.toString(Qt::ISODate) },
        { u"error_messages"_s, QJsonArray::fromStringList(recordingApp.errorMessages) },
        { u"slides_source"_s, recordingApp.slidesSource },
        { u"use_native_slide_source_resolution"_s, recordingApp.useNativeSlideSourceResolution },
        { u"slides_source_width"_s, recordingApp.slidesSourceWidth },
        { u"slides_source_height"_s, recordingApp.slidesSourceHeight },
        { u"audio_source"_s, recordingApp.audioSource },
        { u"audio_channels"_s, recordingApp.audioChannels },
        { u"slides_frozen"_s, recordingApp.slidesFrozen },
        { u"slides_stats"_s, slidesStats },
    };
    const QJsonObject vMixData{
        { u"polling_enabled"_s, vMix.pollingEnabled },
        { u"polling_endpoint"_s, vMix.pollingEndpoint },
        { u"polling_interval"_s, vMix.pollingInterval },
        { u"polling_last_error"_s, vMix.pollingLastError },
        { u"last_poll_at"_s, vMix.lastPollAt.toString(Qt::ISODate) },
        { u"last_poll_success_at"_s, vMix.lastPollSuccessAt.toString(Qt::ISODate) },
        { u"xml"_s, vMix.xml },
    };
    const QJsonObject data{
        { u"presentation_id"_s, presentationId },
        { u"presentation_stream_version"_s, presentationStreamVersion },
        { u"presentation_stream_start"_s, presentationStreamStart },
        { u"recording_app"_s,
            QJsonObject{
                { u"name"_s, recordingApp.name },
                { u"version"_s, recordingApp.version },
                { u"recording"_s, recording },
            } },
        { u"vmix"_s, vMixData },
    };
    return post(createRequest(u"/api/v1/presentation_stream_ping_data"_s),
        { { u"presentation_stream_ping_data"_s, data } });
}
