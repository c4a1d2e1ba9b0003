#include "QuenstalApp/MediaKeyTap.hpp"

#include "QuenstalApp/StatusMenuController.hpp"

#include <optional>
#include <utility>

namespace quenstal {

namespace {

constexpr EventMask systemDefinedMask = EventMask{1} << eventTypeSystemDefined;

/// The low byte, which tells a repeat, does not matter: a held key keeps stepping.
std::optional<MediaKeyRouter::Key> mediaKeyFrom(const TapEvent& event)
{
    if (event.type != eventTypeSystemDefined || event.subtype != eventSubtypeAuxiliaryControlButtons)
        return std::nullopt;
    if ((event.data1 >> 8 & 0xFF) != AuxiliaryButton::down)
        return std::nullopt;
    switch (event.data1 >> 16 & 0xFFFF) {
    case AuxiliaryButton::soundUp:
        return MediaKeyRouter::Key::volumeUp;
    case AuxiliaryButton::soundDown:
        return MediaKeyRouter::Key::volumeDown;
    case AuxiliaryButton::mute:
        return MediaKeyRouter::Key::mute;
    default:
        return std::nullopt;
    }
}

} // namespace

MediaKeyTap::MediaKeyTap(EventTaps& eventTaps, RunLoop& runLoop, std::shared_ptr<VolumeDesk> desk,
    std::weak_ptr<StatusMenuController> statusController)
    : eventTaps_(eventTaps)
    , tasks_(runLoop)
    , desk_(std::move(desk))
    , statusController_(std::move(statusController))
{
}

void MediaKeyTap::start()
{
    reportCapture(eventTap_ || createTap());
}

bool MediaKeyTap::createTap()
{
    eventTap_ = eventTaps_.createEventTap(EventTapLocation::session, EventTapPlacement::headInsert,
        EventTapOptions::active, systemDefinedMask, quenstalMediaKeyCallback, this);
    if (!eventTap_)
        return false;
    runLoopSource_ = eventTap_->createRunLoopSource();
    if (!runLoopSource_) {
        eventTap_.reset();
        return false;
    }
    runLoopSource_->addToMainRunLoop();
    eventTap_->enable(true);
    return true;
}

void MediaKeyTap::stop()
{
    release();
    reportCapture(false);
}

void MediaKeyTap::release()
{
    if (eventTap_)
        eventTap_->enable(false);
    if (runLoopSource_)
        runLoopSource_->removeFromMainRunLoop();
    runLoopSource_.reset();
    eventTap_.reset();
}

void MediaKeyTap::restart()
{
    stop();
    start();
}

void MediaKeyTap::restartIfRunning()
{
    // Stopped meanwhile, on purpose: a late restart must not take the keys again.
    if (eventTap_)
        restart();
}

const TapEvent* MediaKeyTap::quenstalMediaKeyCallback(EventType type, const TapEvent* event, void* userInfo)
{
    auto* tap = static_cast<MediaKeyTap*>(userInfo);
    if (!tap)
        return event;
    if (type == eventTypeTapDisabledByTimeout || type == eventTypeTapDisabledByUserInput) {
        tap->tasks_.post([tap] { tap->restartIfRunning(); });
        return event;
    }
    const auto key = type == eventTypeSystemDefined && event ? mediaKeyFrom(*event) : std::nullopt;
    if (!key)
        return event;
    tap->tasks_.post([tap, key = *key] { tap->handle(key); });
    return nullptr;
}

void MediaKeyTap::handle(MediaKeyRouter::Key mediaKey)
{
    if (onKeyDown)
        onKeyDown();
    if (const auto statusController = statusController_.lock())
        statusController->recordMediaKeyCapture(mediaKey);
    const auto commands = [this, mediaKey](const QuenstalState& state) {
        const auto command = router_.command(mediaKey, state.permissions);
        return command ? std::vector{*command} : std::vector<VolumeCommand>();
    };
    desk_->carryOut({VolumeDesk::Origin::key, tasks_.whileOwned(commands)});
}

void MediaKeyTap::reportCapture(bool isActive)
{
    if (const auto statusController = statusController_.lock())
        statusController->updateMediaKeyCapture(isActive);
}

} // namespace quenstal
