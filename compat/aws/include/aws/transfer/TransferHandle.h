#pragma once

#include <aws/core/client/AsyncCallerContext.h>
#include <aws/core/utils/memory/stl/AWSMap.h>
#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/s3/S3Errors.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace Aws::Transfer {

enum class TransferStatus {
    EXACT_OBJECT_ALREADY_EXISTS,
    NOT_STARTED,
    IN_PROGRESS,
    CANCELED,
    FAILED,
    COMPLETED,
    ABORTED,
};

/// One upload, from its submission to its last status. Any thread.
class TransferHandle
{
public:
    TransferHandle(const Aws::String& bucketName, const Aws::String& keyName,
        const Aws::String& targetFilePath, const Aws::String& contentType,
        const Aws::Map<Aws::String, Aws::String>& metadata,
        const std::shared_ptr<const Aws::Client::AsyncCallerContext>& context);

    const Aws::String& GetBucketName() const { return m_bucketName; }
    const Aws::String& GetKey() const { return m_keyName; }
    const Aws::String& GetTargetFilePath() const { return m_targetFilePath; }
    const Aws::String& GetContentType() const { return m_contentType; }
    const Aws::Map<Aws::String, Aws::String>& GetMetadata() const { return m_metadata; }
    std::shared_ptr<const Aws::Client::AsyncCallerContext> GetContext() const { return m_context; }

    TransferStatus GetStatus() const;
    Aws::Client::AWSError<Aws::S3::S3Errors> GetLastError() const;
    /// Blocks until the status is a last one; its callback may still be running then.
    void WaitUntilFinished() const;

    /// Ends the transfer as soon as the network lets go of it, within about a second.
    void Cancel();
    bool ShouldContinue() const { return !m_cancelled; }

private:
    friend class TransferManager;

    void UpdateStatus(TransferStatus status);
    void SetError(const Aws::Client::AWSError<Aws::S3::S3Errors>& error);
    /// True when cancelled before @p milliseconds have passed.
    bool waitForCancel(int milliseconds) const;

    const Aws::String m_bucketName;
    const Aws::String m_keyName;
    const Aws::String m_targetFilePath;
    const Aws::String m_contentType;
    const Aws::Map<Aws::String, Aws::String> m_metadata;
    const std::shared_ptr<const Aws::Client::AsyncCallerContext> m_context;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    TransferStatus m_status = TransferStatus::NOT_STARTED;
    Aws::Client::AWSError<Aws::S3::S3Errors> m_lastError;
    std::atomic<bool> m_cancelled = false;
};

} // namespace Aws::Transfer
