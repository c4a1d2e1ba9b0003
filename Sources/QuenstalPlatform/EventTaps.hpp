#pragma once

#include "QuenstalPlatform/Interface.hpp"

#include <cstdint>
#include <memory>

namespace quenstal {

/// Number of an event's kind. Taps select kinds by the bit with that number in their mask.
using EventType = std::uint32_t;
using EventMask = std::uint64_t;

/// Media keys, among others.
inline constexpr EventType eventTypeSystemDefined = 14;
/// Sent to a tap's callback when the system has stopped delivering to it.
inline constexpr EventType eventTypeTapDisabledByTimeout = 0xFFFFFFFE;
inline constexpr EventType eventTypeTapDisabledByUserInput = 0xFFFFFFFF;

/// Subtype of the system-defined events that stand for the keyboard's auxiliary buttons.
inline constexpr std::int16_t eventSubtypeAuxiliaryControlButtons = 8;

/// What the auxiliary buttons put into `data1`: the button's number in bits 16 to 31, its state in bits 8 to 15,
/// and 1 in the low byte when the press is an auto-repeat.
struct AuxiliaryButton {
    static constexpr std::int64_t soundUp = 0;
    static constexpr std::int64_t soundDown = 1;
    static constexpr std::int64_t mute = 7;
    static constexpr std::int64_t down = 0x0A;
    static constexpr std::int64_t up = 0x0B;
};

/// One event of the input stream.
struct TapEvent {
    EventType type = 0;
    std::int16_t subtype = 0;
    std::int64_t data1 = 0;

    bool operator==(const TapEvent&) const = default;
};

enum class EventTapLocation { hid = 0, session = 1, annotatedSession = 2 };
enum class EventTapPlacement { headInsert = 0, tailAppend = 1 };
/// An active tap may swallow events, a listener may not.
enum class EventTapOptions { active = 0, listenOnly = 1 };

/// Gives the event back to let it pass, or null to swallow it. Called on the main thread. Where events cannot wait for
/// the main thread, the key-downs of the three volume keys are swallowed before the callback runs, everything else
/// passes, and the answer is ignored. `event` lives until the callback returns.
using EventTapCallback = const TapEvent* (*)(EventType type, const TapEvent* event, void* userInfo);

/// Brings a tap's events to the main run loop. Destroying it takes it off the loop.
class EventTapSource : public Interface {
public:
    virtual void addToMainRunLoop() = 0;
    /// Nothing happens when it is not on the loop. No callback runs after this.
    virtual void removeFromMainRunLoop() = 0;
};

/// One tap; disabled at first. Destroying it returns its events to the system, by the next turn of the run loop.
/// Destroy the source first.
class EventTap : public Interface {
public:
    /// While disabled the callback is not called, and by the next turn nothing is swallowed.
    virtual void enable(bool enabled) = 0;
    /// Null if it cannot be created.
    virtual std::unique_ptr<EventTapSource> createRunLoopSource() = 0;
};

/// The system's input stream. Main thread.
class EventTaps : public Interface {
public:
    /// Null if the system does not allow it, or if another program already holds what the tap needs.
    virtual std::unique_ptr<EventTap> createEventTap(EventTapLocation location, EventTapPlacement placement,
        EventTapOptions options, EventMask mask, EventTapCallback callback, void* userInfo)
        = 0;
};

} // namespace quenstal
