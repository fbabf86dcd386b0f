#pragma once

#include <memory>
#include <utility>

namespace Aws {

/// @p allocationTag names the owner for the SDK's memory accounting; there is none here.
template <typename T, typename... Arguments>
std::shared_ptr<T> MakeShared([[maybe_unused]] const char* allocationTag, Arguments&&... arguments)
{
    return std::make_shared<T>(std::forward<Arguments>(arguments)...);
}

} // namespace Aws
