#include "QuenstalLinux/Keys/LinuxEventTaps.hpp"

#include <algorithm>
#include <utility>

namespace quenstal {

class LinuxEventTaps::Tap final : public EventTap, private KeyCaptureListener {
public:
    Tap(RunLoop& runLoop, KeyCapture& way, EventTapCallback callback, void* userInfo)
        : runLoop_(runLoop)
        , way_(way)
        , callback_(callback)
        , userInfo_(userInfo)
    {
    }
    ~Tap() override { enable(false); }

    void enable(bool enabled) override
    {
        if (enabled == isEnabled_)
            return;
        isEnabled_ = enabled;
        if (!enabled)
            way_.stop();
        else if (!way_.start(*this))
            lose();
    }
    std::unique_ptr<EventTapSource> createRunLoopSource() override;

private:
    friend class Source;

    void volumeKeyDown(std::int64_t button, bool isRepeat) override
    {
        const std::int64_t data = button << 16 | AuxiliaryButton::down << 8 | (isRepeat ? 1 : 0);
        call({eventTypeSystemDefined, eventSubtypeAuxiliaryControlButtons, data});
    }
    void captureLost() override { lose(); }
    void lose()
    {
        isEnabled_ = false;
        // Not from within the caller, who may still be setting the tap up.
        lossNotice_ = runLoop_.after(RunLoop::Duration::zero(), [this] {
            call({eventTypeTapDisabledByTimeout, 0, 0});
        });
    }
    void call(const TapEvent& event)
    {
        if (isOnRunLoop_)
            callback_(event.type, &event, userInfo_);
    }

    RunLoop& runLoop_;
    KeyCapture& way_;
    EventTapCallback callback_;
    void* userInfo_;
    bool isEnabled_ = false;
    bool isOnRunLoop_ = false;
    Cancellation lossNotice_;
};

class LinuxEventTaps::Source final : public EventTapSource {
public:
    explicit Source(Tap& tap)
        : tap_(tap)
    {
    }
    ~Source() override { removeFromMainRunLoop(); }

    void addToMainRunLoop() override { tap_.isOnRunLoop_ = true; }
    void removeFromMainRunLoop() override { tap_.isOnRunLoop_ = false; }

private:
    Tap& tap_;
};

std::unique_ptr<EventTapSource> LinuxEventTaps::Tap::createRunLoopSource()
{
    return std::make_unique<Source>(*this);
}

LinuxEventTaps::LinuxEventTaps(RunLoop& runLoop, std::vector<KeyCapture*> ways)
    : runLoop_(runLoop)
    , ways_(std::move(ways))
{
}

std::unique_ptr<EventTap> LinuxEventTaps::createEventTap(EventTapLocation, EventTapPlacement, EventTapOptions options,
    EventMask mask, EventTapCallback callback, void* userInfo)
{
    if (options != EventTapOptions::active || (mask >> eventTypeSystemDefined & 1) == 0)
        return nullptr;
    const auto way = std::ranges::find_if(ways_, [](KeyCapture* candidate) { return candidate->isPossible(); });
    if (way == ways_.end())
        return nullptr;
    return std::make_unique<Tap>(runLoop_, **way, callback, userInfo);
}

} // namespace quenstal
