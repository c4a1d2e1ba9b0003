#include "QuenstalSimulation/SimulatedEventTaps.hpp"

#include <algorithm>
#include <array>
#include <cstdio>

namespace quenstal {

class SimulatedEventTaps::Tap final : public EventTap {
public:
    Tap(SimulatedEventTaps& taps, EventMask mask, EventTapCallback callback, void* userInfo)
        : taps_(taps)
        , mask_(mask)
        , callback_(callback)
        , userInfo_(userInfo)
    {
        taps_.taps_.push_back(this);
    }
    ~Tap() override
    {
        taps_.calls_.emplace_back("release tap");
        std::erase(taps_.taps_, this);
    }

    void enable(bool enabled) override
    {
        taps_.calls_.emplace_back(enabled ? "enable" : "disable");
        isEnabled_ = enabled;
    }
    std::unique_ptr<EventTapSource> createRunLoopSource() override;

    bool isListening() const { return isEnabled_ && isOnRunLoop_; }
    /// Whether the event passed.
    bool deliver(const TapEvent& event) const
    {
        return !isListening() || (mask_ >> event.type & 1) == 0 || callback_(event.type, &event, userInfo_) != nullptr;
    }
    void disable(EventType reason)
    {
        if (!isListening())
            return;
        isEnabled_ = false;
        const TapEvent notice{reason, 0, 0};
        callback_(reason, &notice, userInfo_);
    }

private:
    friend class Source;

    SimulatedEventTaps& taps_;
    EventMask mask_;
    EventTapCallback callback_;
    void* userInfo_;
    bool isEnabled_ = false;
    bool isOnRunLoop_ = false;
};

class SimulatedEventTaps::Source final : public EventTapSource {
public:
    Source(SimulatedEventTaps& taps, Tap& tap)
        : taps_(taps)
        , tap_(tap)
    {
    }
    ~Source() override
    {
        taps_.calls_.emplace_back("release source");
        tap_.isOnRunLoop_ = false;
    }

    void addToMainRunLoop() override
    {
        taps_.calls_.emplace_back("add source");
        tap_.isOnRunLoop_ = true;
    }
    void removeFromMainRunLoop() override
    {
        taps_.calls_.emplace_back("remove source");
        tap_.isOnRunLoop_ = false;
    }

private:
    SimulatedEventTaps& taps_;
    Tap& tap_;
};

std::unique_ptr<EventTapSource> SimulatedEventTaps::Tap::createRunLoopSource()
{
    taps_.calls_.emplace_back("create source");
    if (taps_.refusesSources_)
        return nullptr;
    return std::make_unique<Source>(taps_, *this);
}

std::unique_ptr<EventTap> SimulatedEventTaps::createEventTap(EventTapLocation location, EventTapPlacement placement,
    EventTapOptions options, EventMask mask, EventTapCallback callback, void* userInfo)
{
    constexpr std::array locations{"hid", "session", "annotatedSession"};
    std::array<char, 80> call{};
    std::snprintf(call.data(), call.size(), "create %s %s %s 0x%llx", locations[static_cast<std::size_t>(location)],
        placement == EventTapPlacement::headInsert ? "headInsert" : "tailAppend",
        options == EventTapOptions::active ? "active" : "listenOnly", static_cast<unsigned long long>(mask));
    calls_.emplace_back(call.data());
    if (refusesTaps_)
        return nullptr;
    return std::make_unique<Tap>(*this, mask, callback, userInfo);
}

bool SimulatedEventTaps::send(const TapEvent& event)
{
    const std::vector<Tap*> taps = taps_;
    return std::ranges::all_of(taps, [&](const Tap* tap) { return tap->deliver(event); });
}

bool SimulatedEventTaps::sendButton(std::int64_t button, std::int64_t state, bool isRepeat)
{
    return send(
        {eventTypeSystemDefined, eventSubtypeAuxiliaryControlButtons, button << 16 | state << 8 | (isRepeat ? 1 : 0)});
}

void SimulatedEventTaps::press(std::int64_t button)
{
    sendButton(button, AuxiliaryButton::down);
    sendButton(button, AuxiliaryButton::up);
}

void SimulatedEventTaps::disableTaps(EventType reason)
{
    const std::vector<Tap*> taps = taps_;
    for (Tap* tap : taps)
        tap->disable(reason);
}

int SimulatedEventTaps::listeningCount() const
{
    return static_cast<int>(std::ranges::count_if(taps_, [](const Tap* tap) { return tap->isListening(); }));
}

} // namespace quenstal
