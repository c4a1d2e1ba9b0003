#pragma once

// How well one colour can be told from another, as the guidelines for accessible content count it.

#include <algorithm>
#include <cmath>

#include <QColor>

namespace quenstal {

inline double linear(double channel)
{
    return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

inline double luminance(const QColor& color)
{
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

/// 1 for the same colour, 21 for black on white.
inline double contrast(const QColor& one, const QColor& other)
{
    const auto [darker, lighter] = std::minmax(luminance(one), luminance(other));
    return (lighter + 0.05) / (darker + 0.05);
}

} // namespace quenstal
