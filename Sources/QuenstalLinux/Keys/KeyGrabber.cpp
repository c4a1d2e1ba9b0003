#include "QuenstalLinux/Keys/KeyGrabber.hpp"

#include <algorithm>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>

namespace quenstal {

namespace {

/// How soon to look again whether a held key was let go. Runs only while one is held at the start.
constexpr int releasePollMilliseconds = 20;
constexpr int forever = -1;

bool isUnusable(const std::unique_ptr<GrabbedKeyboard>& keyboard)
{
    return keyboard->state() != GrabbedKeyboard::State::waiting && keyboard->state() != GrabbedKeyboard::State::grabbed;
}

} // namespace

KeyGrabber::KeyGrabber(std::vector<std::string> nodes, Handlers handlers)
    : handlers_(std::move(handlers))
    , wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , thread_([this, nodes = std::move(nodes)] { run(nodes); })
{
}

KeyGrabber::~KeyGrabber()
{
    eventfd_write(wake_.get(), 1);
    thread_.join();
}

void KeyGrabber::run(const std::vector<std::string>& nodes)
{
    open(nodes);
    // The guard stands before anything is grabbed.
    while (dropUnusable() && tendWatchdog()) {
        if (grabAll() && !waitForEvents())
            break;
    }
    // The watchdog shares the open files: it goes first, so that closing them ends the grabs.
    watchdog_.reset();
    keyboards_.clear();
}

void KeyGrabber::open(const std::vector<std::string>& nodes)
{
    for (const std::string& node : nodes)
        keyboards_.push_back(std::make_unique<GrabbedKeyboard>(node, handlers_.press));
}

bool KeyGrabber::isAny(GrabbedKeyboard::State state) const
{
    return std::ranges::any_of(keyboards_, [state](const auto& keyboard) { return keyboard->state() == state; });
}

bool KeyGrabber::isAnyUnusable() const
{
    return std::ranges::any_of(keyboards_, isUnusable);
}

/// False, with the reason told, when no keyboard is left.
bool KeyGrabber::dropUnusable()
{
    using State = GrabbedKeyboard::State;
    const Loss loss = isAny(State::busy) ? Loss::busy : isAny(State::notCloned) ? Loss::notCloned : Loss::allGone;
    std::erase_if(keyboards_, isUnusable);
    if (!keyboards_.empty())
        return true;
    handlers_.lost(loss);
    return false;
}

/// False, with the reason told, when there is none to guard the keyboards.
bool KeyGrabber::tendWatchdog()
{
    if (keyboards_.size() == watched_)
        return true;
    watched_ = keyboards_.size();
    std::vector<int> devices;
    for (const auto& keyboard : keyboards_)
        devices.push_back(keyboard->descriptor());
    auto next = std::make_unique<GrabWatchdog>(devices, watchdog_.get());
    watchdog_ = std::move(next);
    if (watchdog_->isWatching())
        return true;
    handlers_.lost(Loss::unguarded);
    return false;
}

/// False when one of them turns out to be unusable.
bool KeyGrabber::grabAll()
{
    for (const auto& keyboard : keyboards_)
        keyboard->tryToGrab();
    return !isAnyUnusable();
}

bool KeyGrabber::waitForEvents()
{
    std::vector<pollfd> descriptors{{wake_.get(), POLLIN, 0}, {watchdog_->releasedDescriptor(), POLLIN, 0}};
    bool isWaiting = false;
    for (const auto& keyboard : keyboards_) {
        descriptors.push_back({keyboard->descriptor(), POLLIN, 0});
        descriptors.push_back({keyboard->cloneDescriptor(), POLLIN, 0});
        isWaiting = isWaiting || keyboard->state() == GrabbedKeyboard::State::waiting;
    }
    poll(descriptors.data(), descriptors.size(), isWaiting ? releasePollMilliseconds : forever);
    if (descriptors[0].revents != 0)
        return false;
    if (descriptors[1].revents != 0) {
        handlers_.lost(Loss::stalled);
        return false;
    }
    for (std::size_t i = 0; i < keyboards_.size(); ++i) {
        if (descriptors[2 + 2 * i].revents != 0)
            keyboards_[i]->readEvents();
        if (descriptors[3 + 2 * i].revents != 0)
            keyboards_[i]->readLights();
    }
    return true;
}

} // namespace quenstal
