#pragma once

#include "QuenstalLinux/Keyboards/KeyCapture.hpp"
#include "QuenstalPlatform/EventTaps.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <vector>

namespace quenstal {

/// Event taps over the ways of capture, the first possible one at the time of creation. All of them outlive this.
class LinuxEventTaps final : public EventTaps {
public:
    LinuxEventTaps(RunLoop& runLoop, std::vector<KeyCapture*> ways);

    /// Null for everything but active taps of system-defined events: the keyboard offers nothing else to swallow.
    std::unique_ptr<EventTap> createEventTap(EventTapLocation location, EventTapPlacement placement,
        EventTapOptions options, EventMask mask, EventTapCallback callback, void* userInfo) override;

private:
    class Tap;
    class Source;

    RunLoop& runLoop_;
    std::vector<KeyCapture*> ways_;
};

} // namespace quenstal
