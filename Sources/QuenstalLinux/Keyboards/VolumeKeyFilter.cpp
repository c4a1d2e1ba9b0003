#include "QuenstalLinux/Keyboards/VolumeKeyFilter.hpp"

#include "QuenstalPlatform/EventTaps.hpp"

#include <algorithm>
#include <utility>

namespace quenstal {

namespace {

constexpr std::int32_t released = 0;
constexpr std::int32_t repeated = 2;

/// The key's number in the keyboard's own wiring: says nothing without its key.
bool isScanCode(const input_event& event)
{
    return event.type == EV_MSC && event.code == MSC_SCAN;
}

} // namespace

std::int64_t volumeButton(std::uint16_t code)
{
    switch (code) {
    case KEY_VOLUMEUP:
        return AuxiliaryButton::soundUp;
    case KEY_VOLUMEDOWN:
        return AuxiliaryButton::soundDown;
    case KEY_MUTE:
        return AuxiliaryButton::mute;
    default:
        return -1;
    }
}

VolumeKeyFilter::VolumeKeyFilter(Pass pass, Press press)
    : pass_(std::move(pass))
    , press_(std::move(press))
{
}

void VolumeKeyFilter::handle(const input_event& event)
{
    if (event.type == EV_SYN && event.code == SYN_REPORT) {
        endFrame(event);
        return;
    }
    const std::int64_t button = event.type == EV_KEY ? volumeButton(event.code) : -1;
    if (button < 0 || event.value == released) {
        frame_.push_back(event);
        return;
    }
    hasSwallowed_ = true;
    press_(button, event.value == repeated);
}

void VolumeKeyFilter::endFrame(const input_event& report)
{
    const bool isEmpty = hasSwallowed_ && std::ranges::all_of(frame_, isScanCode);
    if (!isEmpty) {
        std::ranges::for_each(frame_, pass_);
        pass_(report);
    }
    frame_.clear();
    hasSwallowed_ = false;
}

} // namespace quenstal
