#pragma once

#include <aws/core/auth/AWSAuthSigner.h>
#include <aws/core/auth/AWSCredentials.h>
#include <aws/core/client/ClientConfiguration.h>
#include <aws/s3/S3Errors.h>

#include <memory>

namespace Aws::Transfer {
class TransferManager;
}

namespace Aws::S3 {

enum class US_EAST_1_REGIONAL_ENDPOINT_OPTION { NOT_SET, LEGACY, REGIONAL };

/// The connections and the identity for one object store. Any thread.
class S3Client
{
public:
    S3Client(const Aws::Auth::AWSCredentials& credentials,
        const Aws::Client::ClientConfiguration& clientConfiguration,
        Aws::Client::AWSAuthV4Signer::PayloadSigningPolicy signPayloads,
        bool useVirtualAddressing = true,
        US_EAST_1_REGIONAL_ENDPOINT_OPTION regionalEndpoint
        = US_EAST_1_REGIONAL_ENDPOINT_OPTION::NOT_SET);
    ~S3Client();
    S3Client(const S3Client&) = delete;
    S3Client& operator=(const S3Client&) = delete;

    class Connection;

private:
    friend class Aws::Transfer::TransferManager;

    std::unique_ptr<Connection> m_connection;
};

} // namespace Aws::S3
