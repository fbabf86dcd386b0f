#include <aws/transfer/TransferManager.h>

#include "S3Connection.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <vector>

using Aws::S3::S3Errors;

namespace Aws::Transfer {

/// What the thread of one upload works on.
struct TransferManager::Upload
{
    std::shared_ptr<TransferHandle> handle;
    std::ifstream file;
    std::uint64_t fileSize = 0;

    S3ObjectInfo object() const
    {
        return { handle->GetBucketName(), handle->GetKey(), handle->GetContentType(),
            handle->GetMetadata() };
    }
};

namespace {

/// An object store takes at most so many parts.
constexpr std::uint64_t MaximumPartCount = 10000;

bool openFile(const Aws::String& fileName, std::ifstream& file, std::uint64_t& size)
{
    // Names are UTF-8 on every platform. Some libraries open a directory like a file.
    const std::filesystem::path path = std::filesystem::u8path(fileName);
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored))
        return false;
    file.open(path, std::ios::binary);
    file.seekg(0, std::ios::end);
    const std::streamoff end = file.tellg();
    size = end < 0 ? 0 : static_cast<std::uint64_t>(end);
    return file.good() && end >= 0;
}

} // namespace

TransferManager::TransferManager(const TransferManagerConfiguration& config)
    : m_config(config)
{
}

std::shared_ptr<TransferManager> TransferManager::Create(const TransferManagerConfiguration& config)
{
    return std::shared_ptr<TransferManager>(new TransferManager(config));
}

std::shared_ptr<TransferHandle> TransferManager::UploadFile(const Aws::String& fileName,
    const Aws::String& bucketName, const Aws::String& keyName, const Aws::String& contentType,
    const Aws::Map<Aws::String, Aws::String>& metadata,
    const std::shared_ptr<const Aws::Client::AsyncCallerContext>& context)
{
    const auto upload = std::make_shared<Upload>();
    upload->handle = std::make_shared<TransferHandle>(
        bucketName, keyName, fileName, contentType, metadata, context);
    if (!openFile(fileName, upload->file, upload->fileSize)) {
        upload->handle->SetError(Error(S3Errors::VALIDATION, "NoSuchUpload",
            "The requested file could not be opened.", false));
        updateStatus(upload->handle, TransferStatus::FAILED);
        return upload->handle;
    }
    // The manager lives until its last callback has returned.
    const bool submitted = m_config.transferExecutor->Submit(
        [self = shared_from_this(), upload] { self->run(*upload); });
    if (!submitted) {
        fail(upload->handle,
            Error(S3Errors::INTERNAL_FAILURE, "InternalFailure", "No thread to upload on.", false));
    }
    return upload->handle;
}

void TransferManager::run(Upload& upload)
{
    try {
        if (upload.fileSize <= m_config.bufferSize)
            runSinglePut(upload);
        else
            runMultipart(upload);
    } catch (const std::exception& exception) {
        fail(upload.handle,
            Error(S3Errors::INTERNAL_FAILURE, "InternalFailure", exception.what(), false));
    }
}

void TransferManager::runSinglePut(Upload& upload)
{
    updateStatus(upload.handle, TransferStatus::IN_PROGRESS);
    Payload payload(upload.file, 0, upload.fileSize);
    const S3Failure failure = m_config.s3Client->m_connection->putObject(
        upload.object(), payload, [&upload](int ms) { return upload.handle->waitForCancel(ms); });
    if (failure)
        fail(upload.handle, *failure);
    else
        updateStatus(upload.handle, TransferStatus::COMPLETED);
}

void TransferManager::runMultipart(Upload& upload)
{
    S3::S3Client::Connection& store = *m_config.s3Client->m_connection;
    const WaitForCancel cancel = [&upload](int ms) { return upload.handle->waitForCancel(ms); };
    const S3ObjectInfo object = upload.object();
    const std::uint64_t partSize = std::max(
        m_config.bufferSize, (upload.fileSize + MaximumPartCount - 1) / MaximumPartCount);

    updateStatus(upload.handle, TransferStatus::IN_PROGRESS);
    std::string uploadId;
    S3Failure failure = store.createMultipartUpload(object, uploadId, cancel);
    std::vector<std::string> etags;
    for (std::uint64_t offset = 0; !failure && offset < upload.fileSize; offset += partSize) {
        Payload part(upload.file, offset, std::min(partSize, upload.fileSize - offset));
        etags.emplace_back();
        const int partNumber = static_cast<int>(etags.size());
        failure = store.uploadPart(object, uploadId, partNumber, part, etags.back(), cancel);
        if (!failure) {
            updateStatus(upload.handle, TransferStatus::IN_PROGRESS);
            if (m_config.uploadProgressCallback)
                m_config.uploadProgressCallback(this, upload.handle);
        }
    }
    if (!failure)
        failure = store.completeMultipartUpload(object, uploadId, etags, cancel);
    if (!failure) {
        updateStatus(upload.handle, TransferStatus::COMPLETED);
        return;
    }
    // Parts that nobody completes would be stored, and paid for, for ever.
    if (!uploadId.empty())
        store.abortMultipartUpload(object, uploadId);
    fail(upload.handle, *failure);
}

void TransferManager::updateStatus(
    const std::shared_ptr<TransferHandle>& handle, TransferStatus status)
{
    handle->UpdateStatus(status);
    if (m_config.transferStatusUpdatedCallback)
        m_config.transferStatusUpdatedCallback(this, handle);
}

void TransferManager::fail(const std::shared_ptr<TransferHandle>& handle, const Error& error)
{
    if (!handle->ShouldContinue()) {
        updateStatus(handle, TransferStatus::CANCELED);
        return;
    }
    handle->SetError(error);
    if (m_config.errorCallback)
        m_config.errorCallback(this, handle, error);
    updateStatus(handle, TransferStatus::FAILED);
}

} // namespace Aws::Transfer
