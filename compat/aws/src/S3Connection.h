#pragma once

#include "HttpExchange.h"
#include "S3Reply.h"

#include <aws/core/utils/memory/stl/AWSMap.h>
#include <aws/s3/S3Client.h>

#include <optional>
#include <string>
#include <vector>

/// The outcome of one operation: nothing when it worked.
using S3Failure = std::optional<S3Error>;

/// What is sent along with an object.
struct S3ObjectInfo
{
    std::string bucket;
    std::string key;
    std::string contentType;
    Aws::Map<Aws::String, Aws::String> metadata;
};

/// The operations of an object store that an upload needs. Each blocks until it has worked, failed
/// for good after the retries, or was cancelled. Any thread.
class Aws::S3::S3Client::Connection
{
public:
    Connection(const Aws::Auth::AWSCredentials& credentials,
        const Aws::Client::ClientConfiguration& configuration,
        Aws::Client::AWSAuthV4Signer::PayloadSigningPolicy signPayloads, bool useVirtualAddressing);

    S3Failure putObject(const S3ObjectInfo& object, Payload& payload, const WaitForCancel& cancel);
    S3Failure createMultipartUpload(
        const S3ObjectInfo& object, std::string& uploadId, const WaitForCancel& cancel);
    S3Failure uploadPart(const S3ObjectInfo& object, const std::string& uploadId, int partNumber,
        Payload& payload, std::string& etag, const WaitForCancel& cancel);
    S3Failure completeMultipartUpload(const S3ObjectInfo& object, const std::string& uploadId,
        const std::vector<std::string>& etags, const WaitForCancel& cancel);
    /// Tried once and not for long: it only tidies up, possibly while the program is quitting.
    void abortMultipartUpload(const S3ObjectInfo& object, const std::string& uploadId);

private:
    std::string url(const S3ObjectInfo& object, const std::string& query) const;
    HttpRequest request(const std::string& method, const S3ObjectInfo& object,
        const std::string& query, Payload* payload) const;
    S3Failure perform(const S3ObjectInfo& object, const HttpRequest& request,
        const WaitForCancel& cancel, HttpResponse* response = nullptr);

    bool m_isHttps = true;
    std::string m_authority; ///< host and, when it is not the scheme's own, port
    std::string m_basePath; ///< what the endpoint has behind the host
    const std::string m_sessionToken;
    const bool m_hashPayloads;
    const bool m_useVirtualAddressing;
    HttpExchange m_http;
};
