#pragma once

#include <string_view>

namespace quenstal {

/// How the names of this program's own nodes begin.
inline constexpr std::string_view softwareNodePrefix = "quenstal.software.";

constexpr bool isSoftwareNodeName(std::string_view nodeName)
{
    return nodeName.starts_with(softwareNodePrefix);
}

} // namespace quenstal
