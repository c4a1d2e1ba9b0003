#pragma once

#include "QuenstalPlatform/Interface.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace quenstal {

/// Receives what a way of capture reports. Main thread.
class KeyCaptureListener {
public:
    /// A volume key went down, or repeats; `button` is a number of `AuxiliaryButton`.
    virtual void volumeKeyDown(std::int64_t button, bool isRepeat) = 0;
    /// The capture ended without a request. Nothing is captured any more.
    virtual void captureLost() = 0;

protected:
    ~KeyCaptureListener() = default;
};

/// One way in which Linux lets a program see and swallow the volume keys. Main thread.
class KeyCapture : public Interface {
public:
    /// As it continues "captured", for example "through the X server".
    virtual std::string_view name() const = 0;
    /// Whether the keys can be captured now, by this process. True while they are. Cheap enough for every refresh.
    virtual bool isPossible() = 0;
    /// Why not, and what the user can do, in a few sentences; empty if it is possible.
    virtual std::string obstacle() = 0;
    /// Swallows the keys from now on. False if it is not possible after all; then nothing is held. The listener
    /// stays until `stop`.
    virtual bool start(KeyCaptureListener& listener) = 0;
    /// Releases the keys. The listener is not called again.
    virtual void stop() = 0;
    /// Runs the task on a later turn when `isPossible` may have changed, as far as the system reports it.
    [[nodiscard]] virtual Cancellation onMayHaveChanged(RunLoop::Task task) = 0;
};

} // namespace quenstal
