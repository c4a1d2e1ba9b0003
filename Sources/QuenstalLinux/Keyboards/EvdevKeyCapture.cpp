#include "QuenstalLinux/Keyboards/EvdevKeyCapture.hpp"

#include "QuenstalLinux/Keyboards/KeyAdvice.hpp"
#include "QuenstalLinux/Keyboards/KeyRelease.hpp"

#include <algorithm>

#include <system_error>
#include <unistd.h>

namespace quenstal {

namespace {

using Obstacle = EvdevKeyCapture::Obstacle;

Obstacle obstacleAfter(KeyGrabber::Loss loss)
{
    switch (loss) {
    case KeyGrabber::Loss::busy:
        return Obstacle::takenByOther;
    case KeyGrabber::Loss::notCloned:
        return Obstacle::notCloned;
    case KeyGrabber::Loss::unguarded:
        return Obstacle::unguarded;
    case KeyGrabber::Loss::keyHeld:
        return Obstacle::keyHeld;
    case KeyGrabber::Loss::gone:
    case KeyGrabber::Loss::stalled:
        break;
    }
    return Obstacle::lostAtOnce;
}

bool isThere(const std::string& node)
{
    return access(node.c_str(), F_OK) == 0;
}

} // namespace

EvdevKeyCapture::EvdevKeyCapture(RunLoop& runLoop, std::string seat, KeyGrabber::Patience patience)
    : runLoop_(runLoop)
    , seat_(std::move(seat))
    , patience_(patience)
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
    std::vector<InputNode> nodes = findVolumeKeyNodes(*udev_, seat_);
    if (nodes == nodes_)
        return;
    nodes_ = std::move(nodes);
    changes_.notify();
    // The others stay as they are: capturing them again would disturb anyone typing on them.
    std::erase_if(keyboards_,
        [this](const auto& entry) { return std::ranges::find(nodes_, entry.first, &InputNode::path) == nodes_.end(); });
    if (!listener_)
        return;
    captureAll();
    loseIfNothingIsCaptured();
}

std::vector<std::string> EvdevKeyCapture::accessibleNodes() const
{
    std::vector<std::string> paths;
    for (const InputNode& node : nodes_) {
        // Checked again: access is granted and revoked without an event.
        if (access(node.path.c_str(), R_OK | W_OK) == 0)
            paths.push_back(node.path);
    }
    return paths;
}

EvdevKeyCapture::Obstacle EvdevKeyCapture::obstacleKind() const
{
    if (listener_)
        return Obstacle::none;
    // One that was just unplugged stays in the list until its removal is announced.
    if (std::ranges::none_of(nodes_, isThere, &InputNode::path))
        return Obstacle::noKeyboard;
    const std::vector<std::string> nodes = accessibleNodes();
    if (!uinputNode() || nodes.empty())
        return Obstacle::noAccess;
    const auto isLeftAlone = [this](const std::string& node) {
        const auto keyboard = keyboards_.find(node);
        return keyboard != keyboards_.end() && keyboard->second.wait;
    };
    return std::ranges::all_of(nodes, isLeftAlone) ? keyboards_.at(nodes.front()).reason : Obstacle::none;
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
    case Obstacle::keyHeld:
        return KeyAdvice::keyHeld;
    case Obstacle::lostAtOnce:
        return KeyAdvice::lostAtOnce;
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
    captureAll();
    return true;
}

/// Those that are captured, and those that are left alone, stay as they are.
void EvdevKeyCapture::captureAll()
{
    for (const std::string& node : accessibleNodes()) {
        if (const Keyboard& keyboard = keyboards_[node]; !keyboard.grabber && !keyboard.wait)
            capture(node);
    }
}

void EvdevKeyCapture::capture(const std::string& node)
{
    Keyboard& keyboard = keyboards_[node];
    keyboard.backoff.began(runLoop_.steadyNow());
    // Posted by a former grabber, not about this one.
    keyboard.tasks = std::make_unique<OwnedTasks>(runLoop_);
    const auto onMain = keyboard.tasks->poster();
    const auto press = [this, onMain](std::int64_t button, bool isRepeat) {
        onMain([this, button, isRepeat] {
            if (listener_)
                listener_->volumeKeyDown(button, isRepeat);
        });
    };
    const auto lose = [this, onMain, node](KeyGrabber::Loss loss) { onMain([this, node, loss] { lost(node, loss); }); };
    try {
        keyboard.grabber = std::make_unique<KeyGrabber>(node, patience_, KeyGrabber::Handlers{press, lose});
    } catch (const std::system_error&) {
        // If no thread can be started, no process can be either.
        lose(KeyGrabber::Loss::unguarded);
    }
}

void EvdevKeyCapture::lost(const std::string& node, KeyGrabber::Loss loss)
{
    Keyboard& keyboard = keyboards_.at(node);
    keyboard.grabber.reset();
    keyboard.reason = obstacleAfter(loss);
    keyboard.wait = waitAfter(node, keyboard, loss);
    if (!keyboard.wait && isThere(node))
        capture(node);
    loseIfNothingIsCaptured();
}

/// Null if it may be captured again at once.
Cancellation EvdevKeyCapture::waitAfter(const std::string& node, Keyboard& keyboard, KeyGrabber::Loss loss)
{
    const auto end = [this, node] { waitEnded(node); };
    if (loss == KeyGrabber::Loss::keyHeld) {
        if (Cancellation wait = whenReleased(runLoop_, node, end))
            return wait;
    }
    const bool isSudden = loss == KeyGrabber::Loss::gone || loss == KeyGrabber::Loss::stalled;
    const auto duration = isSudden ? keyboard.backoff.lost(runLoop_.steadyNow()) : pause;
    return duration > RunLoop::Duration::zero() ? runLoop_.after(duration, end) : nullptr;
}

/// Notifies those who wait for the keyboards: nothing else reports that they may be available.
void EvdevKeyCapture::waitEnded(const std::string& node)
{
    keyboards_.at(node).wait.reset();
    if (listener_)
        capture(node);
    else
        changes_.notify();
}

void EvdevKeyCapture::loseIfNothingIsCaptured()
{
    const auto isCaptured = [](const auto& entry) { return entry.second.grabber != nullptr; };
    if (!listener_ || std::ranges::any_of(keyboards_, isCaptured))
        return;
    KeyCaptureListener* const listener = std::exchange(listener_, nullptr);
    changes_.notify();
    listener->captureLost();
}

void EvdevKeyCapture::stop()
{
    listener_ = nullptr;
    // All at once, so that none waits for another.
    for (auto& [node, keyboard] : keyboards_) {
        if (keyboard.grabber)
            keyboard.grabber->end();
    }
    for (auto& [node, keyboard] : keyboards_) {
        keyboard.grabber.reset();
        keyboard.tasks.reset();
    }
}

} // namespace quenstal
