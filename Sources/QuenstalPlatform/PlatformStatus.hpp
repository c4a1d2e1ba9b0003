#pragma once

#include <cstdint>

namespace quenstal {

/// 0 is success, anything else the platform's own number.
using PlatformStatus = std::int32_t;

} // namespace quenstal
