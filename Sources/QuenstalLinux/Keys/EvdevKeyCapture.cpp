#include "QuenstalLinux/Keys/EvdevKeyCapture.hpp"

#include "QuenstalLinux/Keys/KeyAdvice.hpp"

#include <algorithm>

#include <unistd.h>

namespace quenstal {

namespace {

/// None where the next try may do better at once.
EvdevKeyCapture::Obstacle reasonToWait(KeyGrabber::Loss loss)
{
    switch (loss) {
    case KeyGrabber::Loss::busy:
        return EvdevKeyCapture::Obstacle::takenByOther;
    case KeyGrabber::Loss::notCloned:
        return EvdevKeyCapture::Obstacle::notCloned;
    case KeyGrabber::Loss::unguarded:
        return EvdevKeyCapture::Obstacle::unguarded;
    case KeyGrabber::Loss::allGone:
    case KeyGrabber::Loss::stalled:
        break;
    }
    return EvdevKeyCapture::Obstacle::none;
}

} // namespace

struct EvdevKeyCapture::Session {
    EvdevKeyCapture& capture;
};

EvdevKeyCapture::EvdevKeyCapture(RunLoop& runLoop, std::string seat)
    : runLoop_(runLoop)
    , seat_(std::move(seat))
    , changes_(runLoop)
    , udev_(udev_new())
{
    if (!udev_)
        return;
    nodes_ = findVolumeKeyNodes(*udev_, seat_);
    watchHotplug();
}

EvdevKeyCapture::~EvdevKeyCapture()
{
    stop();
}

void EvdevKeyCapture::watchHotplug()
{
    monitor_.reset(udev_monitor_new_from_netlink(udev_.get(), "udev"));
    if (!monitor_)
        return;
    udev_monitor_filter_add_match_subsystem_devtype(monitor_.get(), "input", nullptr);
    if (udev_monitor_enable_receiving(monitor_.get()) < 0)
        return;
    watch_ = runLoop_.watchReadable(udev_monitor_get_fd(monitor_.get()), [this] {
        while (udev_device* device = udev_monitor_receive_device(monitor_.get()))
            udev_device_unref(device);
        nodesMayHaveChanged();
    });
}

void EvdevKeyCapture::nodesMayHaveChanged()
{
    const std::vector<InputNode> nodes = findVolumeKeyNodes(*udev_, seat_);
    if (nodes == nodes_)
        return;
    nodes_ = nodes;
    changes_.notify();
    // The same keyboards are left as they are: taking them anew would drop keys that are held.
    if (listener_ && accessibleNodes() != grabbedNodes_)
        grab();
}

std::vector<std::string> EvdevKeyCapture::accessibleNodes() const
{
    std::vector<std::string> paths;
    for (const InputNode& node : nodes_) {
        // Asked anew: access is given and withdrawn without an event.
        if (access(node.path.c_str(), R_OK | W_OK) == 0)
            paths.push_back(node.path);
    }
    return paths;
}

EvdevKeyCapture::Obstacle EvdevKeyCapture::obstacleKind() const
{
    if (listener_)
        return Obstacle::none;
    // One that was just pulled out is still in the list until its removal is announced.
    const auto isThere = [](const InputNode& node) { return access(node.path.c_str(), F_OK) == 0; };
    if (std::ranges::none_of(nodes_, isThere))
        return Obstacle::noKeyboard;
    if (pause_)
        return pauseReason_;
    if (!uinputNode() || accessibleNodes().empty())
        return Obstacle::noAccess;
    return Obstacle::none;
}

bool EvdevKeyCapture::isPossible()
{
    return obstacleKind() == Obstacle::none;
}

std::string EvdevKeyCapture::obstacle()
{
    switch (obstacleKind()) {
    case Obstacle::none:
        return {};
    case Obstacle::noKeyboard:
        return KeyAdvice::noKeyboard;
    case Obstacle::takenByOther:
        return KeyAdvice::keyboardTaken;
    case Obstacle::notCloned:
        return KeyAdvice::notCloned;
    case Obstacle::unguarded:
        return KeyAdvice::unguarded;
    case Obstacle::noAccess:
        break;
    }
    return KeyAdvice::noAccess;
}

bool EvdevKeyCapture::start(KeyCaptureListener& listener)
{
    if (!isPossible())
        return false;
    listener_ = &listener;
    grab();
    return true;
}

void EvdevKeyCapture::grab()
{
    grabber_.reset();
    session_ = std::make_shared<Session>(Session{*this});
    grabbedNodes_ = accessibleNodes();
    const auto onMain = [&loop = runLoop_, weak = std::weak_ptr(session_)](auto task) {
        loop.post([weak, task] {
            if (const auto session = weak.lock())
                task(session->capture);
        });
    };
    const auto press = [onMain](std::int64_t button, bool isRepeat) {
        onMain([button, isRepeat](EvdevKeyCapture& capture) { capture.listener_->volumeKeyDown(button, isRepeat); });
    };
    const auto lost
        = [onMain](KeyGrabber::Loss loss) { onMain([loss](EvdevKeyCapture& capture) { capture.lost(loss); }); };
    grabber_ = std::make_unique<KeyGrabber>(grabbedNodes_, KeyGrabber::Handlers{press, lost});
}

void EvdevKeyCapture::lost(KeyGrabber::Loss loss)
{
    if (const Obstacle reason = reasonToWait(loss); reason != Obstacle::none)
        leaveAloneBecauseOf(reason);
    KeyCaptureListener* const listener = listener_;
    stop();
    changes_.notify();
    listener->captureLost();
}

/// Whoever waits for the keyboards hears of the end: nothing else tells that they are free.
void EvdevKeyCapture::leaveAloneBecauseOf(Obstacle reason)
{
    pauseReason_ = reason;
    pause_ = runLoop_.after(pause, [this] {
        pause_.reset();
        changes_.notify();
    });
}

void EvdevKeyCapture::stop()
{
    listener_ = nullptr;
    session_.reset();
    grabber_.reset();
    grabbedNodes_.clear();
}

} // namespace quenstal
