#include "web/LiveStreamUploader.h"

#include "processing/WorkerEnd.h"
#include "recording/DiskAccess.h"
#include "web/LiveStreamUploaderContext.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDebug>
#include <QDebugStateSaver>
#include <QMutexLocker>

#include <exception>

#include <aws/core/auth/AWSCredentials.h>
#include <aws/core/client/ClientConfiguration.h>
#include <aws/core/utils/threading/Executor.h>
#include <aws/s3/S3Client.h>
#include <aws/transfer/TransferHandle.h>
#include <aws/transfer/TransferManager.h>

using namespace Qt::StringLiterals;

namespace {

constexpr const char* AllocationTag = "LiveStreamUploader";
constexpr long RequestTimeoutMs = 20'000;
constexpr long ConnectTimeoutMs = 10'000;
constexpr int CallbackEndMs = 2000;
constexpr quint64 TransferBufferMaxHeapSize = 52'428'800; // 50 MiB, the SDK's own default
/// Longer files go up in parts of this size. Slides are shorter: each is one request.
constexpr quint64 PartSize = 15'728'640; // 15 MiB

/// Another S3-compatible store than Amazon's, named in the environment with its scheme.
void applyEndpointFromEnvironment(Aws::Client::ClientConfiguration& configuration)
{
    QString endpoint = qEnvironmentVariable("AWS_ENDPOINT_URL_S3").trimmed();
    while (endpoint.endsWith(u'/'))
        endpoint.chop(1);
    if (endpoint.isEmpty())
        return;
    configuration.scheme
        = endpoint.startsWith("https://"_L1) ? Aws::Http::Scheme::HTTPS : Aws::Http::Scheme::HTTP;
    configuration.endpointOverride = awsStringFromQString(endpoint);
}

std::shared_ptr<const LiveStreamUploaderContext> contextOf(
    const Aws::Transfer::TransferHandle& handle)
{
    return std::static_pointer_cast<const LiveStreamUploaderContext>(handle.GetContext());
}

/// Waits until the SDK's threads have let go of @p object, then releases it on this thread. The
/// SDK's threads hold it while they call back, and offer no other sign of having ended. The
/// transfers are over by then: it is the last lines of callbacks that are waited for.
template <typename T> bool releaseAfterSdkThreads(std::shared_ptr<T>& object)
{
    const QDeadlineTimer deadline(CallbackEndMs);
    while (object.use_count() > 1 && !deadline.hasExpired())
        QThread::msleep(1);
    if (object.use_count() > 1) {
        qWarning() << "[LiveStreamUploader]"
                   << "a thread of the SDK does not end";
        WorkerEnd::noteLeftAlone();
        return false;
    }
    object.reset();
    return true;
}

QDebug operator<<(QDebug debug, const Aws::Transfer::TransferHandle& handle)
{
    const QDebugStateSaver saver(debug);
    debug.nospace() << "Aws::Transfer::TransferHandle{key=" << awsStringToQString(handle.GetKey())
                    << ", targetFilePath=" << awsStringToQString(handle.GetTargetFilePath())
                    << ", contentType=" << awsStringToQString(handle.GetContentType()) << "}";
    return debug;
}

} // namespace

QString awsStringToQString(const Aws::String& string)
{
    return QString::fromUtf8(string.data(), qsizetype(string.size()));
}

Aws::String awsStringFromQString(const QString& string)
{
    const QByteArray utf8 = string.toUtf8();
    return Aws::String(utf8.constData(), size_t(utf8.size()));
}

LiveStreamUploader::LiveStreamUploader(const LiveStreamUploaderConfig& config)
    : m_config(config)
{
    createTransferStack();
    connectCounters();
    // The SDK is shut down when the event loop has ended, before this object is deleted.
    if (QCoreApplication* application = QCoreApplication::instance())
        connect(application, &QCoreApplication::aboutToQuit, this, &LiveStreamUploader::shutDown);
}

LiveStreamUploader::~LiveStreamUploader()
{
    shutDown();
}

void LiveStreamUploader::addSlide(int screen, qint64 time, const QString& filePath)
{
    if (m_queue.push({ screen, time, filePath }))
        emit slideAdded();
}

void LiveStreamUploader::requestStop()
{
    m_queue.close();
}

void LiveStreamUploader::run()
{
    qsizetype remaining = 0;
    while (const auto slide = m_queue.pop(&remaining)) {
        qDebug() << "[LiveStreamUploader]" << remaining << "slides in queue";
        try {
            uploadSlide(*slide);
        } catch (const std::exception& exception) {
            qWarning() << "[LiveStreamUploader]"
                       << "upload of" << slide->filePath << "failed:" << exception.what();
            const QString name = slide->filePath.section(u'/', -1);
            emit slideUploadError(
                tr("Uploading slide %1 failed (%2: %3).")
                    .arg(name, u"std::exception"_s, QString::fromLocal8Bit(exception.what())));
            emit slideUploadFailed(slide->screen, slide->time, name);
        }
    }
    emit stopped();
}

void LiveStreamUploader::createTransferStack()
{
    m_transferExecutor = Aws::MakeShared<Aws::Utils::Threading::DefaultExecutor>(AllocationTag);
    qDebug() << "[LiveStreamUploader]" << m_config.accessKeyId;
    // Credentials of this form never expire on our side: nothing could renew them.
    const Aws::Auth::AWSCredentials credentials(awsStringFromQString(m_config.accessKeyId),
        awsStringFromQString(m_config.secretAccessKey),
        awsStringFromQString(m_config.sessionToken));

    Aws::Client::ClientConfiguration clientConfiguration;
    clientConfiguration.scheme = Aws::Http::Scheme::HTTP;
    clientConfiguration.region = "us-east-1";
    clientConfiguration.requestTimeoutMs = RequestTimeoutMs;
    clientConfiguration.connectTimeoutMs = ConnectTimeoutMs;
    applyEndpointFromEnvironment(clientConfiguration);
    m_s3Client = Aws::MakeShared<Aws::S3::S3Client>(AllocationTag, credentials, clientConfiguration,
        Aws::Client::AWSAuthV4Signer::PayloadSigningPolicy::Never, true);

    Aws::Transfer::TransferManagerConfiguration configuration(m_transferExecutor.get());
    configuration.s3Client = m_s3Client;
    configuration.transferBufferMaxHeapSize = TransferBufferMaxHeapSize;
    configuration.bufferSize = PartSize;
    configuration.uploadProgressCallback
        = [](const Aws::Transfer::TransferManager*, const HandlePointer&) {};
    configuration.transferStatusUpdatedCallback
        = [this](const Aws::Transfer::TransferManager*, const HandlePointer& handle) {
              handleTransferStatus(handle);
          };
    configuration.errorCallback
        = [this](const Aws::Transfer::TransferManager*, const HandlePointer& handle,
              const Aws::Client::AWSError<Aws::S3::S3Errors>& error) {
              handleTransferError(handle, error);
          };
    configuration.transferInitiatedCallback
        = [this](const Aws::Transfer::TransferManager*, const HandlePointer& handle) {
              handleTransferInitiated(handle);
          };
    m_transferManager = Aws::Transfer::TransferManager::Create(configuration);
}

void LiveStreamUploader::connectCounters()
{
    // With the object as context: emitted on any thread, counted on the main thread.
    connect(this, &LiveStreamUploader::slideAdded, this, [this] {
        ++m_slidesToUpload;
        emit slidesToUploadChanged();
    });
    connect(this, &LiveStreamUploader::slideUploaded, this, [this] {
        --m_slidesToUpload;
        ++m_slidesUploaded;
        emit slidesToUploadChanged();
        emit slidesUploadedChanged();
    });
    connect(this, &LiveStreamUploader::slideUploadFailed, this, [this] {
        --m_slidesToUpload;
        ++m_slidesUploadFailed;
        emit slidesToUploadChanged();
        emit slidesUploadFailedChanged();
    });
}

/// Worker thread. Blocks until the transfer has ended and its outcome is reported.
void LiveStreamUploader::uploadSlide(const SlideToUpload& slide)
{
    const QString fileName = slide.filePath.section(u'/', -1);
    const QString key = u"%1%2"_s.arg(m_config.prefix, fileName.toLower());
    const auto context = Aws::MakeShared<LiveStreamUploaderContext>(
        AllocationTag, slide.screen, slide.time, slide.filePath, m_config.bucket, key);
    {
        const QMutexLocker lock(&m_transferMutex);
        if (m_shuttingDown)
            return;
        m_unreported = context;
    }
    const auto transfer = m_transferManager->UploadFile(
        awsStringFromQString(DiskAccess::nativePath(slide.filePath)),
        awsStringFromQString(m_config.bucket), awsStringFromQString(key),
        awsStringFromQString(context->contentType()), Aws::Map<Aws::String, Aws::String>(),
        context);
    {
        const QMutexLocker lock(&m_transferMutex);
        m_transfer = transfer;
        if (m_shuttingDown)
            m_transfer->Cancel();
    }
    qDebug() << "[LiveStreamUploader]"
             << "upload slide" << *transfer << *context;
    transfer->WaitUntilFinished();
    // The wait can end before the callback has run: whoever is first reports, so that nothing is
    // left to report when the worker ends.
    reportOutcome(*transfer);
    const QMutexLocker lock(&m_transferMutex);
    m_transfer.reset();
}

/// Main thread. After true no other thread of this uploader exists.
bool LiveStreamUploader::shutDown()
{
    m_queue.close();
    if (const qsizetype left = m_queue.takeAll().size())
        qWarning() << "[LiveStreamUploader]" << left << "slides not uploaded, they remain on disk";
    {
        const QMutexLocker lock(&m_transferMutex);
        m_shuttingDown = true;
        if (m_transfer)
            m_transfer->Cancel();
    }
    if (!WorkerEnd::wait(this) || !releaseAfterSdkThreads(m_transferManager)
        || !releaseAfterSdkThreads(m_s3Client))
        return false;
    m_transferExecutor.reset(); // joins
    return true;
}

void LiveStreamUploader::handleTransferInitiated(const HandlePointer& handle) const
{
    qDebug() << "[LiveStreamUploader]"
             << "AWS transfer initiated" << *handle << *contextOf(*handle);
}

void LiveStreamUploader::handleTransferError(
    const HandlePointer& handle, const Aws::Client::AWSError<Aws::S3::S3Errors>& error) const
{
    qDebug() << "[LiveStreamUploader]"
             << "AWS error" << *contextOf(*handle) << qUtf8Printable(errorText(error));
}

void LiveStreamUploader::handleTransferStatus(const HandlePointer& handle)
{
    switch (handle->GetStatus()) {
    case Aws::Transfer::TransferStatus::CANCELED:
        qWarning() << "[LiveStreamUploader]"
                   << "upload CANCELED" << *contextOf(*handle);
        break;
    case Aws::Transfer::TransferStatus::ABORTED:
        qWarning() << "[LiveStreamUploader]"
                   << "upload ABORTED" << *contextOf(*handle);
        break;
    case Aws::Transfer::TransferStatus::FAILED:
    case Aws::Transfer::TransferStatus::COMPLETED:
        reportOutcome(*handle);
        break;
    default:
        break;
    }
}

/// Text from the store for the log and the operator: short, on one line, and without our secrets,
/// which a store can quote back in its error messages.
QString LiveStreamUploader::foreignText(const Aws::String& text) const
{
    QString result = awsStringToQString(text).simplified();
    for (const QString& secret : { m_config.secretAccessKey, m_config.sessionToken }) {
        if (!secret.isEmpty())
            result.replace(secret, u"***"_s);
    }
    return result.left(500);
}

QString LiveStreamUploader::errorText(const Aws::Client::AWSError<Aws::S3::S3Errors>& error) const
{
    return u"Aws::Client::AWSError<Aws::S3::S3Errors>{%1: %2}"_s.arg(
        foreignText(error.GetExceptionName()), foreignText(error.GetMessage()));
}

/// SDK and worker threads. The signals go out under the lock: when the worker gets it, the report
/// is complete, whoever made it.
void LiveStreamUploader::reportOutcome(const Aws::Transfer::TransferHandle& handle)
{
    const Aws::Transfer::TransferStatus status = handle.GetStatus();
    if (status != Aws::Transfer::TransferStatus::FAILED
        && status != Aws::Transfer::TransferStatus::COMPLETED)
        return;
    const auto context = contextOf(handle);
    const QMutexLocker lock(&m_transferMutex);
    if (m_unreported != context)
        return;
    m_unreported.reset();
    if (status == Aws::Transfer::TransferStatus::COMPLETED) {
        emit slideUploaded(
            context->screen(), context->time(), context->remoteBucket(), context->remotePath());
        return;
    }
    const auto error = handle.GetLastError();
    qWarning() << "[LiveStreamUploader]"
               << "upload FAILED" << *context << qUtf8Printable(errorText(error));
    emit slideUploadError(tr("Uploading slide %1 failed (%2: %3).")
                              .arg(context->localName(), foreignText(error.GetExceptionName()),
                                  foreignText(error.GetMessage())));
    emit slideUploadFailed(context->screen(), context->time(), context->localName());
}
