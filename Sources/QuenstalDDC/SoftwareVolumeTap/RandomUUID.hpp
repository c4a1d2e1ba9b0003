#pragma once

#include <string>

namespace quenstal {

/// A random identifier (version 4) in upper case, "F81D4FAE-7DEC-41D0-A765-00A0C91E6BF6"; another one every time.
std::string randomUUID();

} // namespace quenstal
