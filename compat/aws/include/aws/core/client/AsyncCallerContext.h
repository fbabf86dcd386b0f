#pragma once

namespace Aws::Client {

/// Whatever a caller wants to find again in the callbacks of its own transfer.
class AsyncCallerContext
{
public:
    virtual ~AsyncCallerContext() = default;
};

} // namespace Aws::Client
