#pragma once

#include <QString>
#include <QtGlobal>

/// Where the slides of one stream go and with which credentials, as the service handed it out.
/// Holds secrets: never stream it into a log or a message.
struct LiveStreamUploaderConfig
{
    QString presentationId;
    qint64 presentationStreamId = 0;
    qint64 presentationStreamStart = 0;
    qint32 presentationStreamVersion = 0;
    QString bucket;
    QString prefix; ///< put in front of the file name as it stands, so it usually ends with "/"
    QString accessKeyId;
    QString secretAccessKey;
    QString sessionToken;
};
