#pragma once

#include <map>

namespace Aws {

template <typename Key, typename Value> using Map = std::map<Key, Value>;

} // namespace Aws
