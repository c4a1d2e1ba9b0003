#pragma once

#include "QuenstalPlatform/Geometry.hpp"

#include <ostream>

namespace quenstal {

inline void PrintTo(const Rect& rect, std::ostream* out)
{
    *out << '(' << rect.x << ", " << rect.y << ", " << rect.width << ", " << rect.height << ')';
}

} // namespace quenstal
