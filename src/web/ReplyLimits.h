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

/// The reply's own error text; for a reply that was cut off, the reason, because Qt's "Operation
/// canceled" would tell nobody why.
[[nodiscard]] QString errorString(const QNetworkReply* reply);

} // namespace ReplyLimits
