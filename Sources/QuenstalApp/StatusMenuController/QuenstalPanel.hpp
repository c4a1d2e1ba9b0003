#pragma once

#include "QuenstalPlatform/Desktop.hpp"

namespace quenstal {

/// The floating panel: it takes the keyboard but never becomes the main window.
struct QuenstalPanel {
    static constexpr int popUpMenuWindowLevel = 101;

    static PanelSettings settings(Size contentSize)
    {
        return {
            .contentRect = {0, 0, contentSize.width, contentSize.height},
            .styleMask = PanelFlag::nonactivatingPanel | PanelFlag::fullSizeContentView,
            .isBuffered = true,
            .isDeferred = false,
            .hasClearBackground = true,
            .isOpaque = false,
            .hasShadow = true,
            .isFloatingPanel = true,
            .isReleasedWhenClosed = false,
            .hidesOnDeactivate = false,
            .windowLevel = popUpMenuWindowLevel,
            .collectionBehavior = PanelFlag::collectionTransient | PanelFlag::collectionIgnoresCycle
                | PanelFlag::collectionFullScreenAuxiliary,
            .canBecomeKey = true,
            .canBecomeMain = false,
        };
    }
};

static_assert((PanelFlag::nonactivatingPanel | PanelFlag::fullSizeContentView) == 32896);
static_assert(
    (PanelFlag::collectionTransient | PanelFlag::collectionIgnoresCycle | PanelFlag::collectionFullScreenAuxiliary)
    == 328);

} // namespace quenstal
