#include "web/WebApiReply.h"

#include "web/ReplyLimits.h"

#include <QDebug>
#include <QJsonDocument>

WebApiReply::WebApiReply(QNetworkReply* reply, std::chrono::milliseconds timeLimit)
    : QObject(reply)
    , m_reply(reply)
{
    connect(reply, &QNetworkReply::errorOccurred, this, &WebApiReply::onNetworkReplyError);
    connect(reply, &QNetworkReply::finished, this, &WebApiReply::onNetworkReplyFinished);

    ReplyLimits::apply(reply, timeLimit);
}

WebApiReply::~WebApiReply()
{
    if (!m_reply)
        return;
    disconnect(m_reply, nullptr, this, nullptr);
    QNetworkReply* reply = m_reply;
    if (reply->isFinished()) {
        reply->deleteLater();
        return;
    }
    connect(reply, &QNetworkReply::finished, reply, [reply] {
        if (reply->error() != QNetworkReply::NoError)
            qWarning() << "[WebApiReply]" << ReplyLimits::errorString(reply, reply->error())
                       << reply->error();
        reply->deleteLater();
    });
}

QString WebApiReply::errorString() const
{
    return m_reply ? ReplyLimits::errorString(m_reply, m_error) : QString();
}

void WebApiReply::onNetworkReplyError(QNetworkReply::NetworkError code)
{
    if (m_error != QNetworkReply::NoError) // one error is enough
        return;
    m_error = code;
    readBody();
    qWarning() << "[WebApiReply]" << errorString() << code;
    emit error(code);
}

void WebApiReply::onNetworkReplyFinished()
{
    const QPointer<WebApiReply> self(this);
    readBody();
    const QNetworkReply::NetworkError code = ReplyLimits::outcome(m_reply, m_response.size());
    if (code != QNetworkReply::NoError)
        onNetworkReplyError(code);
    else
        emit finished();
    if (!self) // deleted by a handler, and the destructor has seen to the network reply
        return;
    m_reply->deleteLater();
    deleteLater();
}

void WebApiReply::readBody()
{
    // An aborted reply is closed.
    m_response = m_reply->isOpen() ? m_reply->readAll() : QByteArray();
    m_jsonResponse = QJsonDocument::fromJson(m_response).object();
}
