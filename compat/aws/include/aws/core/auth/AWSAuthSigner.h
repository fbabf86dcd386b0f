#pragma once

namespace Aws::Client {

class AWSAuthV4Signer
{
public:
    enum class PayloadSigningPolicy {
        RequestDependent, ///< as Never for the requests that exist here
        Always,
        Never, ///< hashed all the same over plain HTTP, where nothing else guards the payload
    };
};

} // namespace Aws::Client
