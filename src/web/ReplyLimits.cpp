#include "web/ReplyLimits.h"

#include <QCoreApplication>
#include <QTimer>
#include <QVariant>

namespace {

constexpr auto tooLargeProperty = "podiumcastTooLarge";
constexpr qsizetype maxErrorLength = 500; // a few lines of the window

} // namespace

void ReplyLimits::apply(QNetworkReply* reply, std::chrono::milliseconds timeLimit)
{
    // Without the read buffer a fast sender could fill the memory before the event loop gets to
    // the test below.
    reply->setReadBufferSize(maxBodySize + 1);
    QObject::connect(reply, &QNetworkReply::readyRead, reply, [reply] {
        if (reply->bytesAvailable() <= maxBodySize)
            return;
        reply->setProperty(tooLargeProperty, true);
        reply->abort();
    });
    // Qt's transfer time-out starts again with every byte; this one ends a trickling answer.
    QTimer::singleShot(timeLimit, reply, [reply] { reply->abort(); });
}

QNetworkReply::NetworkError ReplyLimits::outcome(const QNetworkReply* reply, qint64 bodySize)
{
    const QVariant announced = reply->header(QNetworkRequest::ContentLengthHeader);
    const bool asSent = !reply->hasRawHeader("Content-Encoding"); // else the lengths differ
    if (reply->error() == QNetworkReply::NoError && announced.isValid() && asSent
        && bodySize < announced.toLongLong())
        return QNetworkReply::RemoteHostClosedError;
    return reply->error();
}

QString ReplyLimits::errorString(const QNetworkReply* reply, QNetworkReply::NetworkError code)
{
    // Nothing but the limits cancels a request.
    if (code == QNetworkReply::OperationCanceledError)
        return reply->property(tooLargeProperty).toBool()
            ? QCoreApplication::translate("ReplyLimits", "the answer is too large")
            : QCoreApplication::translate("ReplyLimits", "no complete answer in time");
    if (code != reply->error())
        return QCoreApplication::translate("ReplyLimits", "the answer ended in the middle");
    // The server's own words are a part of it.
    return reply->errorString().left(maxErrorLength);
}
