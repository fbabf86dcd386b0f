#include "web/LiveStream.h"

#include "recording/Presentation.h"
#include "web/LiveStreamUploader.h"
#include "web/StreamReply.h"
#include "web/WebApi.h"

#include <QCoreApplication>
#include <QDebug>
#include <QJsonObject>

#include <utility>

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
    // Left alone with its thread.
    if (m_uploader && !m_uploader->shutDown())
        static_cast<void>(m_uploader.release());
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
    const StreamReply reply
        = StreamReply::read(m_createReply ? m_createReply->jsonResponse() : QJsonObject());
    m_uploaderConfig = reply.uploader;
    m_confirmedPresentationId = reply.uploader.presentationId;
    m_presentationStreamId = reply.uploader.presentationStreamId;
    m_presentationStreamStart = reply.uploader.presentationStreamStart;
    m_presentationStreamVersion = reply.uploader.presentationStreamVersion;
    if (m_presentation) {
        m_presentation->setLivestreamPresentationId(m_confirmedPresentationId);
        m_presentation->setTitle(reply.presentationTitle);
    }
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
    qDebug() << "[LiveStream]" << error << StreamReply::printable(json);
    m_running = false;
    emit startFailed(StreamReply::failure(json, error));
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
