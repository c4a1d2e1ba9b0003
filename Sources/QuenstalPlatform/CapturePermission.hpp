#pragma once

#include "QuenstalPlatform/Interface.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <string>

namespace quenstal {

/// Whether the system lets this program see and swallow the volume keys. Main thread.
class CapturePermission : public Interface {
public:
    /// Asked on every refresh: cheap, and without side effects.
    virtual bool mayCaptureKeys() = 0;
    /// If it may not, shows the user what to allow and how. Does not wait for the user.
    virtual void explainIfMissing() = 0;
    /// What prevents the keys from being captured and what the user can do about it, in a few sentences; empty if
    /// nothing does. As cheap as the question itself.
    virtual std::string advice() = 0;
    /// How the keys are captured, or would be, as it continues "captured": "through the X server". Empty when they
    /// cannot be.
    virtual std::string wayOfCapture() = 0;
    /// Runs the task on a later turn when the answer may have changed, as far as the system reports it.
    [[nodiscard]] virtual Cancellation onMayHaveChanged(RunLoop::Task task) = 0;
};

} // namespace quenstal
