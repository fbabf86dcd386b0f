#include "service/HttpTestServer.h"

#include <QDebug>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMetaEnum>
#include <QSslServer>
#include <QSslSocket>
#include <QTcpSocket>
#include <QTimer>

#include <memory>

using namespace Qt::StringLiterals;

using StatusCode = QHttpServerResponder::StatusCode;

HttpTestServer::HttpTestServer(QObject* parent)
    : QAbstractHttpServer(parent)
{
}

bool HttpTestServer::serve(QTcpServer* server, quint16 port)
{
    if (!server->listen(QHostAddress::LocalHost, port)) {
        qWarning() << "[HttpTestServer]"
                   << "cannot listen:" << server->errorString();
        delete server;
        return false;
    }
    m_server = server;
    m_port = server->serverPort();
    bind(server);
    return true;
}

bool HttpTestServer::listenPlain(quint16 port)
{
    return serve(new QTcpServer(this), port);
}

bool HttpTestServer::listenTls(const QSslConfiguration& configuration, quint16 port)
{
    auto* server = new QSslServer(this);
    server->setSslConfiguration(configuration);
    return serve(server, port);
}

void HttpTestServer::shutDown()
{
    if (!m_server)
        return;
    m_server->close();
    for (QTcpSocket* socket : m_server->findChildren<QTcpSocket*>())
        socket->abort();
    m_server->deleteLater();
    m_server = nullptr;
}

void HttpTestServer::setFault(const QString& path, Fault fault, int times)
{
    m_faults.insert(path, { fault, times });
}

bool HttpTestServer::recordTo(const QString& path)
{
    m_record.setFileName(path);
    return m_record.open(QIODevice::WriteOnly | QIODevice::Append);
}

QList<HttpTestServer::Request> HttpTestServer::requestsTo(const QString& path) const
{
    QList<Request> result;
    for (const Request& request : m_requests) {
        if (request.path == path)
            result.append(request);
    }
    return result;
}

QStringList HttpTestServer::problems() const
{
    QStringList result;
    for (const Request& request : m_requests)
        result += request.problems;
    return result;
}

bool HttpTestServer::handleRequest(const QHttpServerRequest& request, QTcpSocket* socket)
{
    Request record;
    record.at = QDateTime::currentDateTimeUtc();
    record.method = QString::fromLatin1(
        QMetaEnum::fromType<QHttpServerRequest::Method>().valueToKey(int(request.method())))
                        .toUpper();
    record.path = request.url().path();
    record.body = request.body();
    record.json = QJsonDocument::fromJson(record.body).object();
    const QByteArray contentType = request.value("content-type");
    if (!record.body.isEmpty() && contentType != "application/json")
        record.problems += u"content type '%1'"_s.arg(QString::fromLatin1(contentType));

    Fault fault = Fault::None;
    const auto pending = m_faults.find(record.path);
    if (pending != m_faults.end() && pending->times != 0) {
        fault = pending->fault;
        --pending->times;
    }
    if (fault == Fault::None || fault == Fault::Late) {
        const Answer reply = answer(record);
        record.status = int(reply.status);
        if (fault == Fault::None)
            respond(request, socket, reply);
        else
            QTimer::singleShot(m_lateMs, socket, [socket, reply] {
                socket->write("HTTP/1.1 " + QByteArray::number(int(reply.status))
                    + " Late\r\nConnection: close\r\nContent-Type: " + reply.contentType
                    + "\r\nContent-Length: " + QByteArray::number(reply.body.size()) + "\r\n\r\n"
                    + reply.body);
                socket->disconnectFromHost();
            });
    } else {
        fail(fault, request, socket, record);
    }

    m_requests.append(record);
    if (m_record.isOpen()) {
        m_record.write(
            QJsonDocument(QJsonObject{
                              { u"at"_s, record.at.toString(Qt::ISODateWithMs) },
                              { u"method"_s, record.method },
                              { u"path"_s, record.path },
                              { u"status"_s, record.status },
                              { u"problems"_s, QJsonArray::fromStringList(record.problems) },
                              { u"json"_s, record.json },
                          })
                .toJson(QJsonDocument::Compact)
            + '\n');
        m_record.flush();
    }
    emit requestReceived(record.path);
    return true;
}

void HttpTestServer::missingHandler(const QHttpServerRequest& request, QTcpSocket* socket)
{
    respond(request, socket, { StatusCode::NotFound, {} });
}

void HttpTestServer::respond(
    const QHttpServerRequest& request, QTcpSocket* socket, const Answer& answer)
{
    makeResponder(request, socket).write(answer.body, answer.contentType, answer.status);
}

void HttpTestServer::fail(
    Fault fault, const QHttpServerRequest& request, QTcpSocket* socket, Request& record)
{
    constexpr qint64 hugeSize = 50LL * 1024 * 1024;
    const auto answerWith = [&](StatusCode status, const QByteArray& body,
                                const QByteArray& type = "application/json") {
        record.status = int(status);
        respond(request, socket, { status, body, type });
    };
    switch (fault) {
    case Fault::Unauthorized:
        return answerWith(StatusCode::Unauthorized, "{}");
    case Fault::Unprocessable:
        return answerWith(StatusCode::UnprocessableEntity, R"({"message":"Not this stream."})");
    case Fault::ServerErrorJson:
        return answerWith(StatusCode::InternalServerError, R"({"message":"Out of coffee."})");
    case Fault::ServerError:
        record.status = 500;
        makeResponder(request, socket).write(StatusCode::InternalServerError);
        return;
    case Fault::NotJson:
        return answerWith(StatusCode::Ok, "<html>Welcome to the hotel</html>", "text/html");
    case Fault::Redirect:
        record.status = 307;
        makeResponder(request, socket)
            .write({ { "Location", m_redirectTarget } }, StatusCode::TemporaryRedirect);
        return;
    case Fault::Huge: {
        socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: "
            + QByteArray::number(hugeSize) + "\r\n\r\n");
        // Fed as the client takes it: what a client reads in vain is not our memory either.
        auto left = std::make_shared<qint64>(hugeSize);
        const auto feed = [socket, left] {
            const auto* ssl = qobject_cast<QSslSocket*>(socket);
            while (*left > 0
                && socket->bytesToWrite() + (ssl ? ssl->encryptedBytesToWrite() : 0) < 256 * 1024) {
                const qint64 written
                    = socket->write(QByteArray(qMin<qint64>(*left, 64 * 1024), ' '));
                if (written <= 0)
                    return;
                *left -= written;
            }
        };
        connect(socket, &QTcpSocket::bytesWritten, socket, feed);
        if (auto* ssl = qobject_cast<QSslSocket*>(socket))
            connect(ssl, &QSslSocket::encryptedBytesWritten, ssl, feed);
        connect(socket, &QTcpSocket::disconnected, this, [this, left] {
            if (*left > 0)
                ++m_disconnectedEarly;
        });
        feed();
        return;
    }
    case Fault::Trickle: {
        socket->write("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n");
        auto* timer = new QTimer(socket);
        connect(timer, &QTimer::timeout, socket, [socket] { socket->write(" "); });
        timer->start(50);
        return;
    }
    case Fault::Reset:
        socket->write("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n{\"user_token\":");
        socket->flush();
        QTimer::singleShot(20, socket, &QTcpSocket::abort);
        return;
    case Fault::Hang:
    case Fault::Late:
    case Fault::None:
        return;
    }
}
