#pragma once

#include <QColor>

namespace quenstal {

/// The same colour, as opaque as that: 0 is transparent, 1 opaque.
inline QColor withAlpha(QColor color, qreal alpha)
{
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

} // namespace quenstal
