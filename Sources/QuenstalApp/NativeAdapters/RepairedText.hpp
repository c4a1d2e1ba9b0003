#pragma once

#include <string>
#include <string_view>

namespace quenstal {

/// The text as valid UTF-8: each longest piece that no character begins with becomes U+FFFD.
std::string repairedText(std::string_view bytes);

} // namespace quenstal
