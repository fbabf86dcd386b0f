#include "web/StreamReply.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonValue>
#include <QLocale>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// For one label, one directory's file or one link: a service that answers with a novel must not
// fill the window, nor make a presentation.xml that is taken for rubbish at the next start.
constexpr qsizetype MaxTextLength = 500; // UTF-16 code units

/// A scalar as the text that a person would write for it: whole numbers without point or exponent.
QString scalarToString(const QJsonValue& value)
{
    if (value.isBool())
        return value.toBool() ? u"true"_s : u"false"_s;
    if (!value.isDouble())
        return value.toString();
    // Integers of 64 bits are exact in JSON values, larger ones are not.
    constexpr qint64 none = -1;
    const qint64 integer = value.toInteger(none);
    if (integer != none || value.toInteger(0) == none)
        return QString::number(integer);
    const double number = value.toDouble();
    return QString::number(
        number, 'f', std::trunc(number) == number ? 0 : QLocale::FloatingPointShortest);
}

QJsonValue withoutSecrets(const QJsonValue& value)
{
    if (value.isArray()) {
        QJsonArray result;
        for (const QJsonValue& entry : value.toArray())
            result.append(withoutSecrets(entry));
        return result;
    }
    return value.isObject() ? StreamReply::printable(value.toObject()) : value;
}

} // namespace

StreamReply StreamReply::read(const QJsonObject& json)
{
    const QJsonObject presentation = json.value("presentation"_L1).toObject();
    const QJsonObject stream = json.value("presentation_stream"_L1).toObject();
    const QJsonObject upload = json.value("upload"_L1).toObject();
    const QJsonObject credentials = upload.value("credentials"_L1).toObject();

    StreamReply reply;
    reply.presentationTitle = presentation.value("title"_L1).toString().left(MaxTextLength);
    reply.uploader.presentationId = scalarToString(presentation.value("id"_L1)).left(MaxTextLength);
    reply.uploader.presentationStreamId = stream.value("id"_L1).toInteger();
    reply.uploader.presentationStreamStart = stream.value("app_start"_L1).toInteger();
    reply.uploader.presentationStreamVersion = stream.value("current_slide_version"_L1).toInt();
    reply.uploader.bucket = upload.value("bucket"_L1).toString();
    reply.uploader.prefix = upload.value("prefix"_L1).toString();
    reply.uploader.accessKeyId = credentials.value("access_key_id"_L1).toString();
    reply.uploader.secretAccessKey = credentials.value("secret_access_key"_L1).toString();
    reply.uploader.sessionToken = credentials.value("session_token"_L1).toString();
    return reply;
}

QString StreamReply::failure(const QJsonObject& json, QNetworkReply::NetworkError error)
{
    const QString message = json.value("message"_L1).toString().left(MaxTextLength);
    if (!message.isEmpty())
        return message;
    return error == QNetworkReply::InternalServerError
        ? QCoreApplication::translate("LiveStream", "Internal server error.")
        : QCoreApplication::translate("LiveStream", "Unknown error.");
}

QJsonObject StreamReply::printable(const QJsonObject& json)
{
    QJsonObject result = json;
    for (auto it = result.begin(); it != result.end(); ++it) {
        bool secret = false;
        for (const auto word : { "token"_L1, "password"_L1, "secret"_L1, "credential"_L1 })
            secret = secret || it.key().contains(word, Qt::CaseInsensitive);
        it.value() = secret ? QJsonValue(u"***"_s) : withoutSecrets(it.value());
    }
    return result;
}
