#pragma once

#include "QuenstalPlatform/Desktop.hpp"

#include <QKeyEvent>

namespace quenstal {

/// The toolkit's key-down as the panel's monitors hear it.
KeyEvent keyEventOf(const QKeyEvent& event);

} // namespace quenstal
