#pragma once

#include "QuenstalPlatform/EventTaps.hpp"

#include <string>
#include <vector>

namespace quenstal {

/// A keyboard and the event stream behind it. Events reach the taps at once; what no tap swallows reaches the system.
class SimulatedEventTaps final : public EventTaps {
public:
    std::unique_ptr<EventTap> createEventTap(EventTapLocation location, EventTapPlacement placement,
        EventTapOptions options, EventMask mask, EventTapCallback callback, void* userInfo) override;

    /// The system refuses to make taps, as it does to a program that is not trusted.
    void refuseTaps(bool refuse) { refusesTaps_ = refuse; }
    void refuseSources(bool refuse) { refusesSources_ = refuse; }

    /// Sends an event down the stream. True when it reached the system.
    bool send(const TapEvent& event);
    /// Presses or releases one auxiliary button. True when it reached the system.
    bool sendButton(std::int64_t button, std::int64_t state, bool isRepeat = false);
    /// Presses a button and lets it go.
    void press(std::int64_t button);
    /// Stops delivery to the taps and tells them so.
    void disableTaps(EventType reason);

    /// Taps that exist, and those of them that are enabled and on the run loop.
    int tapCount() const { return static_cast<int>(taps_.size()); }
    int listeningCount() const;
    /// What was asked of this, in order, for example "create session headInsert active 0x4000".
    const std::vector<std::string>& calls() const { return calls_; }

private:
    class Tap;
    class Source;

    std::vector<Tap*> taps_;
    std::vector<std::string> calls_;
    bool refusesTaps_ = false;
    bool refusesSources_ = false;
};

} // namespace quenstal
