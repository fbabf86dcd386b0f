#pragma once

#include "processing/BlockingQueue.h"
#include "web/LiveStreamUploaderConfig.h"

#include <QMutex>
#include <QThread>

#include <memory>

#include <aws/core/Aws.h>
#include <aws/core/client/AWSError.h>
#include <aws/s3/S3Errors.h>

namespace Aws::S3 {
class S3Client;
}
namespace Aws::Transfer {
class TransferHandle;
class TransferManager;
}
namespace Aws::Utils::Threading {
class DefaultExecutor;
}
class LiveStreamUploaderContext;

[[nodiscard]] QString awsStringToQString(const Aws::String& string);
[[nodiscard]] Aws::String awsStringFromQString(const QString& string);

/// Copies the slide files of one live stream to the object store, one at a time, newest first, and
/// reports each outcome once. A failed upload is counted and never repeated; the file stays on
/// disk.
///
/// The object belongs to the main thread, which calls its members and owns the counters; run() is
/// the worker thread; the SDK's threads report on the transfers. The owner calls start() once, asks
/// for the end with requestStop(), and deletes the object after stopped().
///
/// Deleting it earlier, or the application's quitting, gives up what is queued and the transfer
/// under way, and waits until no SDK thread can call back: Aws::ShutdownAPI() is safe after that.
/// Where one sits in a call that does not return, see shutDown().
class LiveStreamUploader : public QThread
{
    Q_OBJECT

public:
    struct SlideToUpload
    {
        int screen = 0;
        qint64 time = 0; ///< milliseconds on the slide clock
        QString filePath;
    };

    explicit LiveStreamUploader(const LiveStreamUploaderConfig& config);
    ~LiveStreamUploader() override;

    /// Queues a slide file; ignored after requestStop().
    Q_INVOKABLE void addSlide(int screen, qint64 time, const QString& filePath);
    /// No more slides; what is queued is still uploaded, then stopped() comes.
    Q_INVOKABLE void requestStop();
    /// Gives up what is queued and the transfer under way. False when a thread does not end, which
    /// reads from a disk that hangs: then this object must not be deleted, nor the SDK shut down.
    bool shutDown();

    [[nodiscard]] qint64 slidesToUpload() const { return m_slidesToUpload; }
    [[nodiscard]] qint64 slidesUploaded() const { return m_slidesUploaded; }
    [[nodiscard]] qint64 slidesUploadFailed() const { return m_slidesUploadFailed; }

signals:
    void slidesToUploadChanged();
    void slidesUploadedChanged();
    void slidesUploadFailedChanged();
    void slideAdded();
    void slideUploaded(
        int screen, qint64 time, const QString& remoteBucket, const QString& remotePath);
    void slideUploadFailed(int screen, qint64 time, const QString& name);
    void slideUploadError(const QString& message);
    void stopped();

protected:
    void run() override;

private:
    using HandlePointer = std::shared_ptr<const Aws::Transfer::TransferHandle>;

    void createTransferStack();
    void connectCounters();
    void uploadSlide(const SlideToUpload& slide);

    void handleTransferInitiated(const HandlePointer& handle) const;
    void handleTransferError(
        const HandlePointer& handle, const Aws::Client::AWSError<Aws::S3::S3Errors>& error) const;
    void handleTransferStatus(const HandlePointer& handle);
    [[nodiscard]] QString foreignText(const Aws::String& text) const;
    [[nodiscard]] QString errorText(const Aws::Client::AWSError<Aws::S3::S3Errors>& error) const;
    void reportOutcome(const Aws::Transfer::TransferHandle& handle);

    const LiveStreamUploaderConfig m_config;
    BlockingQueue<SlideToUpload> m_queue{ BlockingQueue<SlideToUpload>::Order::NewestFirst };
    qint64 m_slidesToUpload = 0;
    qint64 m_slidesUploaded = 0;
    qint64 m_slidesUploadFailed = 0;
    std::shared_ptr<Aws::Utils::Threading::DefaultExecutor> m_transferExecutor;
    std::shared_ptr<Aws::S3::S3Client> m_s3Client;
    std::shared_ptr<Aws::Transfer::TransferManager> m_transferManager;

    /// Guards the members below: main, worker and SDK threads.
    QMutex m_transferMutex;
    bool m_shuttingDown = false;
    std::shared_ptr<Aws::Transfer::TransferHandle> m_transfer; ///< the one in flight
    std::shared_ptr<const LiveStreamUploaderContext> m_unreported; ///< its slide, until reported
};
