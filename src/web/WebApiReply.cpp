#include "web/WebApiReply.h"

#include "web/ReplyLimits.h"

#include <QDebug>
#include <QJsonDocument>

#include <utility>

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
            qWarning() << "[WebApiReply]" << ReplyLimits::errorString(reply) << reply->error();
        reply->deleteLater();
    });
}

QString WebApiReply::errorString() const
{
    return m_reply ? ReplyLimits::errorString(m_reply) : QString();
}

void WebApiReply::onNetworkReplyError(QNetworkReply::NetworkError code)
{
    if (std::exchange(m_errorReported, true))
        return;
    readBody();
    qWarning() << "[WebApiReply]" << errorString() << code;
    emit error(code);
}

void WebApiReply::onNetworkReplyFinished()
{
    const QPointer<WebApiReply> self(this);
    if (m_reply->error() == QNetworkReply::NoError) {
        readBody();
        emit finished();
    } else {
        onNetworkReplyError(m_reply->error());
        if (self)
            readBody();
    }
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
