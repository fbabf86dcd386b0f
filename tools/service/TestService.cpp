#include "service/TestService.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;

using StatusCode = QHttpServerResponder::StatusCode;

namespace {

bool isInteger(const QJsonValue& value)
{
    double whole = 0;
    return value.isDouble() && std::modf(value.toDouble(), &whole) == 0;
}

/// Every difference between @p value and its @p shape: objects with exactly these keys, else one of
/// "string", "integer", "boolean", "strings".
QStringList mismatches(const QJsonValue& value, const QJsonValue& shape, const QString& where)
{
    if (shape.isString()) {
        const QString type = shape.toString();
        bool right = (type == "string"_L1 && value.isString())
            || (type == "integer"_L1 && isInteger(value))
            || (type == "boolean"_L1 && value.isBool());
        if (type == "strings"_L1 && value.isArray()) {
            right = true;
            for (const QJsonValue& entry : value.toArray())
                right = right && entry.isString();
        }
        return right ? QStringList() : QStringList(u"%1 is not of type %2"_s.arg(where, type));
    }
    if (!value.isObject())
        return { where + u" is not an object"_s };
    QStringList result;
    const QJsonObject object = value.toObject();
    const QJsonObject keys = shape.toObject();
    for (auto it = keys.begin(); it != keys.end(); ++it) {
        const QString path = where + u'/' + it.key();
        if (!object.contains(it.key()))
            result += path + u" is missing"_s;
        else
            result += mismatches(object.value(it.key()), it.value(), path);
    }
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (!keys.contains(it.key()))
            result += u"%1/%2 does not belong there"_s.arg(where, it.key());
    }
    return result;
}

QJsonObject shapeOf(const char* json)
{
    return QJsonDocument::fromJson(json).object();
}

QJsonObject pingShape()
{
    return shapeOf(R"({
        "presentation_id": "string", "presentation_stream_version": "integer",
        "presentation_stream_start": "integer",
        "recording_app": { "name": "string", "version": "string", "recording": {
            "started_at": "string", "error_messages": "strings", "slides_source": "string",
            "audio_source": "string", "use_native_slide_source_resolution": "boolean",
            "slides_frozen": "boolean", "slides_source_width": "integer",
            "slides_source_height": "integer", "audio_channels": "integer",
            "slides_stats": { "resolutions": "strings", "captured_count": "integer",
                "saved_count": "integer", "to_upload_count": "integer",
                "uploaded_count": "integer", "upload_failed_count": "integer",
                "web_success_count": "integer", "web_failed_count": "integer",
                "web_success_for_last_slide": "boolean",
                "web_error_for_last_slide": "string" } } },
        "vmix": { "polling_enabled": "boolean", "polling_endpoint": "string",
            "polling_interval": "integer", "polling_last_error": "string",
            "last_poll_at": "string", "last_poll_success_at": "string", "xml": "string" } })");
}

HttpTestServer::Answer jsonAnswer(const QJsonObject& json, StatusCode status = StatusCode::Ok)
{
    return { status, QJsonDocument(json).toJson(QJsonDocument::Compact) };
}

HttpTestServer::Answer refuse(
    HttpTestServer::Request& request, StatusCode status, const QStringList& problems)
{
    request.problems += problems;
    return jsonAnswer({ { u"message"_s, problems.join(u"; "_s) } }, status);
}

} // namespace

TestService::TestService(const Account& account, QObject* parent)
    : HttpTestServer(parent)
    , m_account(account)
{
}

void TestService::addStream(const QString& presentationId, const QString& title, int version)
{
    m_streams.insert(presentationId,
        { 9'000'000'000 + m_streams.size(), title, version - 1, 1'700'000'000'000 });
    m_latestPresentation = presentationId;
}

HttpTestServer::Answer TestService::answer(Request& request)
{
    struct Endpoint
    {
        QLatin1StringView path;
        Answer (TestService::*handler)(Request&);
        QJsonObject shape;
    };
    static const Endpoint endpoints[] = {
        { QLatin1StringView(loginPath), &TestService::login,
            shapeOf(R"({ "user_email": "string", "user_password": "string" })") },
        { QLatin1StringView(streamsPath), &TestService::createStream,
            shapeOf(R"({ "presentation_stream": { "title": "string",
                "connect_to_existing_live_stream": "boolean" } })") },
        { QLatin1StringView(slidesPath), &TestService::addSlide,
            shapeOf(R"({ "presentation_stream_slide": { "presentation_stream_id": "integer",
                "version": "integer", "app_start": "integer", "screen": "integer",
                "timestamp": "integer", "bucket": "string", "path": "string" } })") },
        { QLatin1StringView(pingsPath), &TestService::takePing,
            QJsonObject{ { u"presentation_stream_ping_data"_s, pingShape() } } },
    };
    for (const Endpoint& endpoint : endpoints) {
        if (request.path != endpoint.path)
            continue;
        if (request.method != "POST"_L1)
            return refuse(request, StatusCode::MethodNotAllowed, { request.method });
        if (!request.problems.isEmpty())
            return refuse(request, StatusCode::UnsupportedMediaType, {});

        QJsonObject shape = endpoint.shape;
        shape.insert("recording_app_version"_L1, u"string"_s);
        if (endpoint.path != QLatin1StringView(loginPath)) {
            shape.insert("user_email"_L1, u"string"_s);
            shape.insert("user_token"_L1, u"string"_s);
            if (request.json.value("user_email"_L1) != m_account.email
                || request.json.value("user_token"_L1) != m_account.token)
                return refuse(request, StatusCode::Unauthorized, { u"wrong identity"_s });
        }
        if (request.json.value("presentation_stream"_L1)
                .toObject()
                .contains("presentation_id"_L1)) {
            QJsonObject stream = shape.value("presentation_stream"_L1).toObject();
            stream.insert("presentation_id"_L1, u"string"_s);
            shape.insert("presentation_stream"_L1, stream);
        }
        QStringList problems = mismatches(request.json, shape, u"body"_s);
        if (request.json.value("recording_app_version"_L1) != "130"_L1)
            problems += u"recording_app_version is not \"130\""_s;
        if (!problems.isEmpty())
            return refuse(request, StatusCode::BadRequest, problems);
        return (this->*endpoint.handler)(request);
    }
    return refuse(request, StatusCode::NotFound, { u"no such path: "_s + request.path });
}

HttpTestServer::Answer TestService::login(Request& request)
{
    const bool right = request.json.value("user_email"_L1) == m_account.email
        && request.json.value("user_password"_L1) == m_account.password;
    // The record shows that a password came, and not which.
    request.json.insert("user_password"_L1, right ? u"(right)"_s : u"(wrong)"_s);
    if (!right)
        return jsonAnswer(
            { { u"message"_s, u"Wrong e-mail or password."_s } }, StatusCode::Unauthorized);
    return jsonAnswer(
        { { u"user_email"_s, m_account.email }, { u"user_token"_s, m_account.token } });
}

HttpTestServer::Answer TestService::createStream(Request& request)
{
    const QJsonObject asked = request.json.value("presentation_stream"_L1).toObject();
    QString id = asked.value("presentation_id"_L1).toString();
    if (asked.value("connect_to_existing_live_stream"_L1).toBool()) {
        if (id.isEmpty())
            id = m_latestPresentation;
        if (!m_streams.contains(id))
            return jsonAnswer({ { u"message"_s, u"There is no live stream to connect to."_s } },
                StatusCode::UnprocessableEntity);
    } else {
        id = QString::number(1000 + m_streams.size());
        addStream(id, asked.value("title"_L1).toString(), 1);
    }
    Stream& stream = m_streams[id];
    ++stream.version;
    stream.appStart = QDateTime::currentMSecsSinceEpoch();
    m_latestPresentation = id;
    return jsonAnswer({
        { u"presentation"_s,
            QJsonObject{ { u"id"_s, id.toInt() > 0 ? QJsonValue(id.toInt()) : QJsonValue(id) },
                { u"title"_s, stream.title } } },
        { u"presentation_stream"_s,
            QJsonObject{ { u"id"_s, stream.id }, { u"app_start"_s, stream.appStart },
                { u"current_slide_version"_s, stream.version } } },
        { u"upload"_s,
            QJsonObject{ { u"bucket"_s, m_account.bucket },
                { u"prefix"_s, m_account.prefix.arg(id).arg(stream.version) },
                { u"credentials"_s,
                    QJsonObject{ { u"access_key_id"_s, m_account.accessKeyId },
                        { u"secret_access_key"_s, m_account.secretAccessKey },
                        { u"session_token"_s, m_account.sessionToken } } } } },
    });
}

HttpTestServer::Answer TestService::addSlide(Request& request)
{
    const QJsonObject slide = request.json.value("presentation_stream_slide"_L1).toObject();
    for (auto it = m_streams.cbegin(); it != m_streams.cend(); ++it) {
        if (slide.value("presentation_stream_id"_L1).toInteger() != it->id)
            continue;
        QStringList problems;
        if (slide.value("version"_L1).toInt() != it->version)
            problems += u"wrong version"_s;
        if (slide.value("app_start"_L1).toInteger() != it->appStart)
            problems += u"wrong app_start"_s;
        if (slide.value("screen"_L1).toInt() < 0 || slide.value("timestamp"_L1).toInteger() < 0)
            problems += u"negative screen or timestamp"_s;
        if (slide.value("bucket"_L1) != m_account.bucket
            || !slide.value("path"_L1).toString().startsWith(
                m_account.prefix.arg(it.key()).arg(it->version)))
            problems += u"not in the stream's bucket and prefix"_s;
        return problems.isEmpty() ? jsonAnswer({})
                                  : refuse(request, StatusCode::UnprocessableEntity, problems);
    }
    return refuse(request, StatusCode::UnprocessableEntity, { u"no such stream"_s });
}

HttpTestServer::Answer TestService::takePing(Request& request)
{
    const QJsonObject ping = request.json.value("presentation_stream_ping_data"_L1).toObject();
    const auto stream = m_streams.constFind(ping.value("presentation_id"_L1).toString());
    if (stream == m_streams.cend()
        || ping.value("presentation_stream_version"_L1).toInt() != stream->version
        || ping.value("presentation_stream_start"_L1).toInteger() != stream->appStart)
        return refuse(request, StatusCode::UnprocessableEntity, { u"no such stream"_s });
    return jsonAnswer({});
}

HttpTestServer::Answer TestSwitcher::answer(Request& request)
{
    if (request.method != "GET"_L1 || request.path != "/api/"_L1)
        return { StatusCode::NotFound, {} };
    return { StatusCode::Ok, QString(m_xml).replace("%1"_L1, QString::number(++m_reads)).toUtf8(),
        "application/xml" };
}

HttpTestServer::Answer TestBucket::answer(Request& request)
{
    request.problems.clear(); // slides are no JSON
    return { request.method == "PUT"_L1 ? StatusCode::Ok : StatusCode::MethodNotAllowed, {} };
}
