#pragma once

#include <QNetworkReply>
#include <QString>

#include <chrono>

/// What keeps a server from holding a request, or the memory, for ever.
namespace ReplyLimits {

/// Far above what the service (1 KB) or a switcher (some dozen KB) answers; harmless in memory.
constexpr qint64 maxBodySize = 1024 * 1024;

/// Aborts @p reply, which nobody may have read from yet, after @p timeLimit or as soon as its body
/// exceeds maxBodySize. The limits belong to the reply and hold without any other object.
void apply(QNetworkReply* reply, std::chrono::milliseconds timeLimit);

/// The outcome of a finished reply of which @p bodySize bytes could be read. Qt takes a body for
/// complete when the connection ends in the middle of it; here that is a RemoteHostClosedError.
[[nodiscard]] QNetworkReply::NetworkError outcome(const QNetworkReply* reply, qint64 bodySize);

/// The reply's own error text; for a reply that was cut off, the reason, because Qt's "Operation
/// canceled" would tell nobody why. @p code is the reply's error() or its outcome().
[[nodiscard]] QString errorString(const QNetworkReply* reply, QNetworkReply::NetworkError code);

} // namespace ReplyLimits
