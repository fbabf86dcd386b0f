#pragma once

#include <string>

namespace Aws {

using String = std::string;

} // namespace Aws
