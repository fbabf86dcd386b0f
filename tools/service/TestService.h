#pragma once

#include "service/HttpTestServer.h"

#include <QMap>

/// The service that the recorder talks to: login, presentation streams, slides, status pings. Holds
/// every request to the exact shape that it must have; what is wrong is answered with 400, 401,
/// 404, 405, 415 or 422 and kept in the request's problems.
class TestService : public HttpTestServer
{
    Q_OBJECT

public:
    static constexpr auto loginPath = "/api/v1/login";
    static constexpr auto streamsPath = "/api/v1/presentation_streams";
    static constexpr auto slidesPath = "/api/v1/presentation_stream_slides";
    static constexpr auto pingsPath = "/api/v1/presentation_stream_ping_data";

    /// Who may log in, and where that user's slides go.
    struct Account
    {
        QString email;
        QString password;
        QString token;
        QString bucket;
        QString prefix; ///< %1: the presentation's id, %2: the stream's version
        QString accessKeyId;
        QString secretAccessKey;
        QString sessionToken;
    };

    explicit TestService(const Account& account, QObject* parent = nullptr);

    /// Adds an existing stream, for recordings that join one; its next version is @p version.
    void addStream(const QString& presentationId, const QString& title, int version);

protected:
    Answer answer(Request& request) override;

private:
    struct Stream
    {
        qint64 id = 0;
        QString title;
        int version = 0;
        qint64 appStart = 0;
    };

    Answer login(Request& request);
    Answer createStream(Request& request);
    Answer addSlide(Request& request);
    Answer takePing(Request& request);

    Account m_account;
    QMap<QString, Stream> m_streams;
    QString m_latestPresentation;
};

/// The HTTP interface of a video switcher: one XML document, which counts its readers.
class TestSwitcher : public HttpTestServer
{
    Q_OBJECT

public:
    using HttpTestServer::HttpTestServer;

    /// Answers with @p xml from now on; "%1" in it is replaced by the number of the request.
    void setXml(const QString& xml) { m_xml = xml; }

protected:
    Answer answer(Request& request) override;

private:
    QString m_xml = QStringLiteral("<vmix><version>26.0</version><active>1</active>"
                                   "<title>Übergang</title><reads>%1</reads></vmix>");
    int m_reads = 0;
};

/// Takes every upload as it comes, for tests in which the store itself is not the point.
class TestBucket : public HttpTestServer
{
    Q_OBJECT

public:
    using HttpTestServer::HttpTestServer;

protected:
    Answer answer(Request& request) override;
};
