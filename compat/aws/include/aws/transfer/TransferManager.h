#pragma once

#include <aws/core/utils/memory/stl/AWSAllocator.h>
#include <aws/core/utils/threading/Executor.h>
#include <aws/s3/S3Client.h>
#include <aws/transfer/TransferHandle.h>

#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>

namespace Aws::Transfer {

class TransferManager;

using UploadProgressCallback
    = std::function<void(const TransferManager*, const std::shared_ptr<const TransferHandle>&)>;
using TransferStatusUpdatedCallback = UploadProgressCallback;
using TransferInitiatedCallback = UploadProgressCallback;
using ErrorCallback = std::function<void(const TransferManager*,
    const std::shared_ptr<const TransferHandle>&, const Aws::Client::AWSError<Aws::S3::S3Errors>&)>;

struct TransferManagerConfiguration
{
    explicit TransferManagerConfiguration(Aws::Utils::Threading::Executor* executor)
        : transferExecutor(executor)
    {
    }

    std::shared_ptr<Aws::S3::S3Client> s3Client;
    Aws::Utils::Threading::Executor* transferExecutor; ///< must outlive the manager's transfers
    /// The memory for part buffers; there are none here, files are read as they are sent.
    std::uint64_t transferBufferMaxHeapSize = 10 * 5 * 1024 * 1024;
    std::uint64_t bufferSize = 5 * 1024 * 1024; ///< bytes; longer files go up in parts of this size
    UploadProgressCallback uploadProgressCallback; ///< after each part
    TransferStatusUpdatedCallback transferStatusUpdatedCallback;
    TransferInitiatedCallback transferInitiatedCallback; ///< never called for single files
    ErrorCallback errorCallback;
};

/// Uploads files, each on a thread of the executor. The callbacks run on these threads.
class TransferManager : public std::enable_shared_from_this<TransferManager>
{
public:
    static std::shared_ptr<TransferManager> Create(const TransferManagerConfiguration& config);

    /// Returns at once; a file that cannot be opened gives a handle that has FAILED already, and
    /// its status callback has run on the calling thread.
    std::shared_ptr<TransferHandle> UploadFile(const Aws::String& fileName,
        const Aws::String& bucketName, const Aws::String& keyName, const Aws::String& contentType,
        const Aws::Map<Aws::String, Aws::String>& metadata,
        const std::shared_ptr<const Aws::Client::AsyncCallerContext>& context = nullptr);

private:
    using Error = Aws::Client::AWSError<Aws::S3::S3Errors>;
    struct Upload;

    explicit TransferManager(const TransferManagerConfiguration& config);
    void run(Upload& upload);
    void runSinglePut(Upload& upload);
    void runMultipart(Upload& upload);
    void updateStatus(const std::shared_ptr<TransferHandle>& handle, TransferStatus status);
    void fail(const std::shared_ptr<TransferHandle>& handle, const Error& error);

    const TransferManagerConfiguration m_config;
};

} // namespace Aws::Transfer
