#include "web/ReplyLimits.h"

#include <QCoreApplication>
#include <QTimer>
#include <QVariant>

namespace {

constexpr auto tooLargeProperty = "podiumcastTooLarge";

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

QString ReplyLimits::errorString(const QNetworkReply* reply)
{
    // Nothing but the limits cancels a request.
    if (reply->error() != QNetworkReply::OperationCanceledError)
        return reply->errorString();
    return reply->property(tooLargeProperty).toBool()
        ? QCoreApplication::translate("ReplyLimits", "the answer is too large")
        : QCoreApplication::translate("ReplyLimits", "no complete answer in time");
}
