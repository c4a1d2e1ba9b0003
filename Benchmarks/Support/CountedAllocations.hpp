#pragma once

#include <cstdint>

namespace quenstal {

/// How often this process has asked for memory since it started. Linking the source file replaces operator new.
std::uint64_t allocationCount();

} // namespace quenstal
