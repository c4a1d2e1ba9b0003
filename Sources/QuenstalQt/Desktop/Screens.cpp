#include "QuenstalQt/Desktop/Screens.hpp"

#include <QGuiApplication>

namespace quenstal {

bool canShowWindows()
{
    // Twice the most of today's screens. The panel's pixels grow with its square.
    constexpr qreal mostDensity = 8;
    if (!QGuiApplication::primaryScreen()) {
        qWarning("Nothing can be shown: there is no screen.");
        return false;
    }
    if (qGuiApp->devicePixelRatio() > mostDensity) {
        qWarning("Nothing can be shown: the desktop's settings say that there are %g pixels to a point.",
            qGuiApp->devicePixelRatio());
        return false;
    }
    return true;
}

} // namespace quenstal
