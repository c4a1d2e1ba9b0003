#pragma once

// The representable values next to a boundary.

#include <cmath>
#include <limits>

namespace quenstal::test {

inline constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
inline constexpr double infinity = std::numeric_limits<double>::infinity();
inline constexpr double largestDouble = std::numeric_limits<double>::max();
inline constexpr double smallestDouble = std::numeric_limits<double>::denorm_min();

/// The next double towards minus infinity.
inline double justBelow(double value)
{
    return std::nextafter(value, -infinity);
}

/// The next double towards infinity.
inline double justAbove(double value)
{
    return std::nextafter(value, infinity);
}

} // namespace quenstal::test
