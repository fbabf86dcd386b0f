#pragma once

#include <aws/core/utils/DateTime.h>
#include <aws/core/utils/memory/stl/AWSString.h>

#include <chrono>
#include <utility>

namespace Aws::Auth {

class AWSCredentials
{
public:
    AWSCredentials() = default;
    /// Credentials that never expire on the client's side.
    AWSCredentials(const Aws::String& accessKeyId, const Aws::String& secretKey,
        const Aws::String& sessionToken = {})
        : AWSCredentials(accessKeyId, secretKey, sessionToken,
            Aws::Utils::DateTime((std::chrono::system_clock::time_point::max)()))
    {
    }
    AWSCredentials(const Aws::String& accessKeyId, const Aws::String& secretKey,
        const Aws::String& sessionToken, Aws::Utils::DateTime expiration)
        : m_accessKeyId(accessKeyId)
        , m_secretKey(secretKey)
        , m_sessionToken(sessionToken)
        , m_expiration(expiration)
    {
    }

    const Aws::String& GetAWSAccessKeyId() const { return m_accessKeyId; }
    const Aws::String& GetAWSSecretKey() const { return m_secretKey; }
    const Aws::String& GetSessionToken() const { return m_sessionToken; }
    Aws::Utils::DateTime GetExpiration() const { return m_expiration; }
    bool IsEmpty() const { return m_accessKeyId.empty() && m_secretKey.empty(); }

private:
    Aws::String m_accessKeyId;
    Aws::String m_secretKey;
    Aws::String m_sessionToken;
    Aws::Utils::DateTime m_expiration;
};

} // namespace Aws::Auth
