#pragma once

#include <aws/core/http/Scheme.h>
#include <aws/core/utils/memory/stl/AWSString.h>

namespace Aws::Client {

struct ClientConfiguration
{
    Aws::Http::Scheme scheme = Aws::Http::Scheme::HTTPS;
    Aws::String region = "us-east-1";
    /// How long a transfer may stand still, ms; counted in whole seconds, at least one.
    long requestTimeoutMs = 3000;
    long connectTimeoutMs = 1000;
    /// "host:port", or with a scheme in front that then replaces @c scheme; empty: Amazon's own.
    Aws::String endpointOverride;
    bool verifySSL = true;
    /// PEM file with the certificate authorities to trust; empty: the system's.
    Aws::String caFile;
};

} // namespace Aws::Client
