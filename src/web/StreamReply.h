#pragma once

#include "web/LiveStreamUploaderConfig.h"

#include <QJsonObject>
#include <QNetworkReply>
#include <QString>

/// What the service answers when a stream is created or joined: a plain value. Whatever is missing
/// in the answer, or of another kind than expected, is empty or 0 here.
struct StreamReply
{
    QString presentationTitle;
    LiveStreamUploaderConfig uploader; ///< holds the ids and the version, too; secret

    [[nodiscard]] static StreamReply read(const QJsonObject& json);

    /// Why the service refused, in words for one label of the window.
    [[nodiscard]] static QString failure(
        const QJsonObject& json, QNetworkReply::NetworkError error);

    /// @p json for the log, without the values of keys that name a secret: an error answer may
    /// quote the request.
    [[nodiscard]] static QJsonObject printable(const QJsonObject& json);
};
