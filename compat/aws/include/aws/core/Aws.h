#pragma once

#include <aws/core/utils/memory/stl/AWSAllocator.h>
#include <aws/core/utils/memory/stl/AWSMap.h>
#include <aws/core/utils/memory/stl/AWSString.h>

namespace Aws {

/// Nothing of it can be chosen here: there is no SDK log, memory manager or crypto factory.
struct SDKOptions
{
};

/// Before the first client, on the main thread, once.
void InitAPI(const SDKOptions& options);
/// After the last client and every transfer have ended.
void ShutdownAPI(const SDKOptions& options);

} // namespace Aws
