#include <aws/s3/S3Client.h>

#include "S3Connection.h"

namespace Aws::S3 {

S3Client::S3Client(const Aws::Auth::AWSCredentials& credentials,
    const Aws::Client::ClientConfiguration& clientConfiguration,
    Aws::Client::AWSAuthV4Signer::PayloadSigningPolicy signPayloads, bool useVirtualAddressing,
    US_EAST_1_REGIONAL_ENDPOINT_OPTION)
    : m_connection(std::make_unique<Connection>(
        credentials, clientConfiguration, signPayloads, useVirtualAddressing))
{
}

S3Client::~S3Client() = default;

} // namespace Aws::S3
