#include "QuenstalQt/Desktop/Screens.hpp"

#include <QGuiApplication>

namespace quenstal {

bool canShowWindows()
{
    // Twice the highest density of today's screens. The panel's pixels grow with its square.
    constexpr qreal mostDensity = 8;
    if (!QGuiApplication::primaryScreen()) {
        qWarning("Quenstal cannot open a window: there is no screen.");
        return false;
    }
    if (qGuiApp->devicePixelRatio() > mostDensity) {
        qWarning(
            "Quenstal cannot open a window: the desktop is set to %g pixels per point.", qGuiApp->devicePixelRatio());
        return false;
    }
    return true;
}

} // namespace quenstal
