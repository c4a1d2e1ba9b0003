#pragma once

#include "QuenstalApp/StatusMenuController/GlassDialViewState.hpp"
#include "QuenstalPlatform/Desktop.hpp"

#include <memory>

namespace quenstal {

/// Fills the panel's window with the views. Main thread.
class PanelViewHosting : public Interface {
public:
    /// The views render the state and call its operations until the result is destroyed, which happens before
    /// `panel` and `viewState` go. Heavy work waits until the panel is first shown.
    virtual std::unique_ptr<Interface> host(PanelWindow& panel, GlassDialViewState& viewState) = 0;
};

} // namespace quenstal
