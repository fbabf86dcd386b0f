#include "web/LiveStream.h"

#include "recording/Presentation.h"
#include "web/LiveStreamUploader.h"
#include "web/WebApi.h"

#include <QCoreApplication>
#include <QDebug>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>

#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype maxMessageLength = 500;

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

/// @p value without the texts of keys that name a secret: an error answer may quote the request.
QJsonValue withoutSecrets(const QJsonValue& value)
{
    if (value.isArray()) {
        QJsonArray result;
        for (const QJsonValue& entry : value.toArray())
            result.append(withoutSecrets(entry));
        return result;
    }
    if (!value.isObject())
        return value;
    QJsonObject result = value.toObject();
    for (auto it = result.begin(); it != result.end(); ++it) {
        bool secret = false;
        for (const auto word : { "token"_L1, "password"_L1, "secret"_L1, "credential"_L1 })
            secret = secret || it.key().contains(word, Qt::CaseInsensitive);
        it.value() = secret ? QJsonValue(u"***"_s) : withoutSecrets(it.value());
    }
    return result;
}

} // namespace

LiveStream::LiveStream(
    Presentation* presentation, bool connectToExistingLiveStream, const QString& presentationId)
    : m_presentation(presentation)
    , m_connectToExistingLiveStream(connectToExistingLiveStream)
    , m_presentationId(presentationId)
{
    if (const QCoreApplication* application = QCoreApplication::instance())
        connect(application, &QCoreApplication::aboutToQuit, this,
            [this] { m_applicationQuits = true; });
}

LiveStream::~LiveStream()
{
    for (WebApiReply* reply : std::exchange(m_replies, {})) {
        reply->disconnect();
        reply->deleteLater();
    }
}

void LiveStream::requestStart()
{
    m_running = true;
    createLiveStream();
}

void LiveStream::requestStop()
{
    if (m_uploader)
        m_uploader->requestStop();
}

qint64 LiveStream::slidesToUpload() const
{
    return m_uploader ? m_uploader->slidesToUpload() : 0;
}

qint64 LiveStream::slidesUploaded() const
{
    return m_uploader ? m_uploader->slidesUploaded() : 0;
}

qint64 LiveStream::slidesUploadFailed() const
{
    return m_uploader ? m_uploader->slidesUploadFailed() : 0;
}

void LiveStream::retire()
{
    m_retired = true;
    if (m_replies.isEmpty())
        deleteLater();
}

void LiveStream::track(WebApiReply* reply)
{
    m_replies.append(reply);
    connect(reply, &QObject::destroyed, this, [this, reply] {
        m_replies.removeOne(reply);
        if (m_retired && m_replies.isEmpty())
            deleteLater();
    });
}

void LiveStream::createLiveStream()
{
    qDebug() << "[LiveStream]"
             << "creating live stream";
    m_createReply
        = WebApi::instance()->createLiveStream(m_presentation ? m_presentation->title() : QString(),
            m_connectToExistingLiveStream, m_presentationId);
    track(m_createReply);
    connect(m_createReply, &WebApiReply::error, this, &LiveStream::handleLiveStreamCreateError);
    connect(m_createReply, &WebApiReply::finished, this, &LiveStream::createLiveStreamUploader);
}

void LiveStream::readCreateReply()
{
    const QJsonObject json = m_createReply ? m_createReply->jsonResponse() : QJsonObject();
    const QJsonObject presentation = json.value("presentation"_L1).toObject();
    const QJsonObject stream = json.value("presentation_stream"_L1).toObject();
    const QJsonObject upload = json.value("upload"_L1).toObject();
    const QJsonObject credentials = upload.value("credentials"_L1).toObject();

    m_confirmedPresentationId = scalarToString(presentation.value("id"_L1));
    if (m_presentation) {
        m_presentation->setLivestreamPresentationId(m_confirmedPresentationId);
        m_presentation->setTitle(presentation.value("title"_L1).toString());
    }
    m_presentationStreamId = stream.value("id"_L1).toInteger();
    m_presentationStreamStart = stream.value("app_start"_L1).toInteger();
    m_presentationStreamVersion = stream.value("current_slide_version"_L1).toInt();

    m_uploaderConfig.presentationId = m_confirmedPresentationId;
    m_uploaderConfig.presentationStreamId = m_presentationStreamId;
    m_uploaderConfig.presentationStreamStart = m_presentationStreamStart;
    m_uploaderConfig.presentationStreamVersion = m_presentationStreamVersion;
    m_uploaderConfig.bucket = upload.value("bucket"_L1).toString();
    m_uploaderConfig.prefix = upload.value("prefix"_L1).toString();
    m_uploaderConfig.accessKeyId = credentials.value("access_key_id"_L1).toString();
    m_uploaderConfig.secretAccessKey = credentials.value("secret_access_key"_L1).toString();
    m_uploaderConfig.sessionToken = credentials.value("session_token"_L1).toString();
}

void LiveStream::createLiveStreamUploader()
{
    if (m_applicationQuits) {
        // An uploader made now would outlive the SDK.
        m_running = false;
        emit startFailed(tr("The program is ending."));
        return;
    }
    readCreateReply();
    qDebug() << "[LiveStream]"
             << "creating live stream uploader for" << m_confirmedPresentationId << "with prefix"
             << m_uploaderConfig.prefix;
    m_uploader = std::make_unique<LiveStreamUploader>(m_uploaderConfig);
    auto* uploader = m_uploader.get();
    connect(
        uploader, &LiveStreamUploader::stopped, this, &LiveStream::handleLiveStreamUploaderStopped);
    connect(uploader, &LiveStreamUploader::slideUploaded, this,
        &LiveStream::sendLiveStreamSlideInfoToWeb);
    connect(uploader, &LiveStreamUploader::slideUploadError, this, &LiveStream::slideUploadError);
    connect(uploader, &LiveStreamUploader::slidesToUploadChanged, this,
        &LiveStream::slidesToUploadChanged);
    connect(uploader, &LiveStreamUploader::slidesUploadedChanged, this,
        &LiveStream::slidesUploadedChanged);
    connect(uploader, &LiveStreamUploader::slidesUploadFailedChanged, this,
        &LiveStream::slidesUploadFailedChanged);
    uploader->start();

    emit slidesToUploadChanged();
    emit slidesUploadedChanged();
    emit slidesUploadFailedChanged();
    emit slideInfoWebSuccessCountChanged();
    emit slideInfoWebFailCountChanged();
    emit lastSlideInfoWebSuccessChanged();
    emit lastSlideInfoWebErrorChanged();
    emit lastSlideInfoWebErrorStringChanged();
    emit started();
}

void LiveStream::handleLiveStreamCreateError(QNetworkReply::NetworkError error)
{
    const QJsonObject json = m_createReply ? m_createReply->jsonResponse() : QJsonObject();
    qDebug() << "[LiveStream]" << error << withoutSecrets(json).toObject();
    m_running = false;
    // For one label: a service that answers with a novel must not fill the window.
    QString message = json.value("message"_L1).toString().left(maxMessageLength);
    if (message.isEmpty())
        message = error == QNetworkReply::InternalServerError ? tr("Internal server error.")
                                                              : tr("Unknown error.");
    emit startFailed(message);
}

void LiveStream::uploadSlide(int screen, qint64 time, const QString& filePath)
{
    if (m_uploader)
        m_uploader->addSlide(screen, time, filePath);
    else
        qWarning() << "[LiveStream]"
                   << "uploadSlide called without uploader";
}

void LiveStream::sendLiveStreamSlideInfoToWeb(
    int screen, qint64 time, const QString& remoteBucket, const QString& remotePath)
{
    WebApiReply* reply = WebApi::instance()->sendLiveStreamSlideInfo(m_presentationStreamId,
        m_presentationStreamVersion, m_presentationStreamStart, screen, time, remoteBucket,
        remotePath);
    track(reply);
    connect(reply, &WebApiReply::finished, this, [this] {
        ++m_slideInfoWebSuccessCount;
        setLastSlideInfo(true, QNetworkReply::NoError, QString());
    });
    connect(reply, &WebApiReply::error, this, [this, reply](QNetworkReply::NetworkError error) {
        const QString text = reply->errorString();
        ++m_slideInfoWebFailCount;
        setLastSlideInfo(false, error, text);
        emit slideUploadError(tr("Sending slide info failed: %1 (%2).").arg(int(error)).arg(text));
    });
}

void LiveStream::setLastSlideInfo(
    bool success, QNetworkReply::NetworkError error, const QString& text)
{
    m_lastSlideInfoWebSuccess = success;
    m_lastSlideInfoWebError = error;
    m_lastSlideInfoWebErrorString = text;
    if (success)
        emit slideInfoWebSuccessCountChanged();
    else
        emit slideInfoWebFailCountChanged();
    emit lastSlideInfoWebSuccessChanged();
    emit lastSlideInfoWebErrorChanged();
    emit lastSlideInfoWebErrorStringChanged();
}

void LiveStream::handleLiveStreamUploaderStopped()
{
    m_running = false;
    if (m_uploader)
        m_uploader.release()->deleteLater();
    emit stopped();
}
