#include <aws/transfer/TransferHandle.h>

#include <chrono>

namespace Aws::Transfer {

TransferHandle::TransferHandle(const Aws::String& bucketName, const Aws::String& keyName,
    const Aws::String& targetFilePath, const Aws::String& contentType,
    const Aws::Map<Aws::String, Aws::String>& metadata,
    const std::shared_ptr<const Aws::Client::AsyncCallerContext>& context)
    : m_bucketName(bucketName)
    , m_keyName(keyName)
    , m_targetFilePath(targetFilePath)
    , m_contentType(contentType)
    , m_metadata(metadata)
    , m_context(context)
{
}

TransferStatus TransferHandle::GetStatus() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_status;
}

Aws::Client::AWSError<Aws::S3::S3Errors> TransferHandle::GetLastError() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_lastError;
}

void TransferHandle::WaitUntilFinished() const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] {
        return m_status != TransferStatus::NOT_STARTED && m_status != TransferStatus::IN_PROGRESS;
    });
}

void TransferHandle::Cancel()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_cancelled = true;
    m_changed.notify_all();
}

void TransferHandle::UpdateStatus(TransferStatus status)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_status = status;
    m_changed.notify_all();
}

void TransferHandle::SetError(const Aws::Client::AWSError<Aws::S3::S3Errors>& error)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_lastError = error;
}

bool TransferHandle::waitForCancel(int milliseconds) const
{
    if (milliseconds == 0)
        return m_cancelled;
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(
        lock, std::chrono::milliseconds(milliseconds), [this] { return m_cancelled.load(); });
}

} // namespace Aws::Transfer
