#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QNetworkReply>
#include <QObject>
#include <QPointer>

#include <chrono>

/// The outcome of one request to the service. Main thread; made by WebApi and deletes itself.
///
/// Emits exactly one of error() and finished(), also when the service never answers, trickles, or
/// sends a body that is too large (ReplyLimits). Read the body and errorString() inside the
/// handler: the object is gone after the event loop turns. Deleting it earlier silences it, while
/// the request itself still runs to its end within its limits.
class WebApiReply : public QObject
{
    Q_OBJECT

public:
    /// @p reply, which becomes the parent, is deleted when it has ended; after @p timeLimit it is
    /// aborted.
    WebApiReply(QNetworkReply* reply, std::chrono::milliseconds timeLimit);
    ~WebApiReply() override;

    /// The network reply's text, or the reason why it was cut off or not accepted here.
    [[nodiscard]] QString errorString() const;
    [[nodiscard]] QByteArray response() const { return m_response; }
    /// The body as a JSON object; empty when it is none.
    [[nodiscard]] QJsonObject jsonResponse() const { return m_jsonResponse; }

signals:
    void error(QNetworkReply::NetworkError code);
    void finished();

private slots:
    void onNetworkReplyError(QNetworkReply::NetworkError code);
    void onNetworkReplyFinished();

private:
    void readBody();

    QPointer<QNetworkReply> m_reply;
    QByteArray m_response;
    QJsonObject m_jsonResponse;
    QNetworkReply::NetworkError m_error = QNetworkReply::NoError;
};
