#pragma once

#include <QAbstractHttpServer>
#include <QByteArray>
#include <QDateTime>
#include <QFile>
#include <QHash>
#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QJsonObject>
#include <QList>
#include <QSslConfiguration>
#include <QStringList>

/// An HTTP(S) server on loopback that records every request, answers through answer(), and can be
/// told to fail in the ways that servers and networks fail.
class HttpTestServer : public QAbstractHttpServer
{
    Q_OBJECT

public:
    enum class Fault {
        None,
        Unauthorized, ///< 401
        Unprocessable, ///< 422 with {"message": …}
        ServerError, ///< 500 without a body
        ServerErrorJson, ///< 500 with {"message": …}
        NotJson, ///< 200 with text
        Huge, ///< 200 with a body of 50 MB
        Hang, ///< no answer at all
        Trickle, ///< one byte every 50 ms, for ever
        Reset, ///< the connection is reset in the middle of the body
        Late, ///< the right answer, after lateMs
        Redirect, ///< 307 to redirectTarget
    };
    Q_ENUM(Fault)

    struct Request
    {
        QDateTime at; ///< UTC
        QString method;
        QString path;
        QByteArray body;
        QJsonObject json;
        int status = 0; ///< 0: a fault, no proper answer
        QStringList problems; ///< what was wrong with it
    };

    struct Answer
    {
        QHttpServerResponder::StatusCode status = QHttpServerResponder::StatusCode::Ok;
        QByteArray body;
        QByteArray contentType = "application/json";
    };

    explicit HttpTestServer(QObject* parent = nullptr);

    /// A port of 0 takes a free one. False (and a line in the log) when it cannot listen.
    [[nodiscard]] bool listenPlain(quint16 port = 0);
    [[nodiscard]] bool listenTls(const QSslConfiguration& configuration, quint16 port = 0);
    [[nodiscard]] quint16 port() const { return m_port; }
    /// Refuses new connections and cuts the existing ones, like a server that died. It may listen
    /// again later, and then still knows what it knew.
    void shutDown();

    /// The next @p times requests to @p path (-1: all) meet @p fault.
    void setFault(const QString& path, Fault fault, int times = -1);
    void setLateMs(int milliseconds) { m_lateMs = milliseconds; }
    void setRedirectTarget(const QByteArray& target) { m_redirectTarget = target; }
    /// Also writes every request to @p path, one JSON object a line.
    [[nodiscard]] bool recordTo(const QString& path);

    [[nodiscard]] const QList<Request>& requests() const { return m_requests; }
    [[nodiscard]] QList<Request> requestsTo(const QString& path) const;
    [[nodiscard]] QStringList problems() const;
    [[nodiscard]] int disconnectedEarly() const { return m_disconnectedEarly; }

signals:
    void requestReceived(const QString& path);

protected:
    /// Judges @p request, adding to its problems, and answers it.
    virtual Answer answer(Request& request) = 0;

    bool handleRequest(const QHttpServerRequest& request, QTcpSocket* socket) override;
    void missingHandler(const QHttpServerRequest& request, QTcpSocket* socket) override;

private:
    void respond(const QHttpServerRequest& request, QTcpSocket* socket, const Answer& answer);
    void fail(Fault fault, const QHttpServerRequest& request, QTcpSocket* socket, Request& record);
    [[nodiscard]] bool serve(QTcpServer* server, quint16 port);

    struct PendingFault
    {
        Fault fault = Fault::None;
        int times = 0;
    };

    QTcpServer* m_server = nullptr;
    quint16 m_port = 0;
    QHash<QString, PendingFault> m_faults;
    int m_lateMs = 300;
    QByteArray m_redirectTarget;
    QList<Request> m_requests;
    QFile m_record;
    int m_disconnectedEarly = 0;
};
