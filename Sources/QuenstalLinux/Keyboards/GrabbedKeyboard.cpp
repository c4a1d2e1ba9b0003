#include "QuenstalLinux/Keyboards/GrabbedKeyboard.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace quenstal {

namespace {

/// At one time, of a device that never stops: many times what the kernel keeps.
constexpr std::size_t mostEvents = 4096;

FileDescriptor openNode(const std::string& node, int mode)
{
    return FileDescriptor(open(node.c_str(), mode | O_NONBLOCK | O_CLOEXEC));
}

auto isSameAs(const input_event& one)
{
    return [one](const input_event& other) {
        return one.input_event_sec == other.input_event_sec && one.input_event_usec == other.input_event_usec
            && one.type == other.type && one.code == other.code && one.value == other.value;
    };
}

bool isDrop(const input_event& event)
{
    return event.type == EV_SYN && event.code == SYN_DROPPED;
}

template <typename Iterator>
std::set<std::uint16_t> keysLeftDown(Iterator begin, Iterator end)
{
    std::set<std::uint16_t> down;
    for (; begin != end; ++begin) {
        if (begin->type == EV_KEY && begin->value != 0)
            down.insert(begin->code);
        else if (begin->type == EV_KEY)
            down.erase(begin->code);
    }
    return down;
}

} // namespace

// The bystander is open before the file, so that the kernel tells it first: what the file has told it has heard.
GrabbedKeyboard::GrabbedKeyboard(const std::string& node, VolumeKeyFilter::Press press)
    : bystander_(openNode(node, O_RDONLY))
    , file_(openNode(node, O_RDWR))
    , filter_([this](const input_event& event) { clone_->write(event); }, std::move(press))
{
    libevdev* device = nullptr;
    if (!bystander_ || !file_ || libevdev_new_from_fd(file_.get(), &device) != 0)
        return;
    device_.reset(device);
    state_ = State::waiting;
}

GrabbedKeyboard::~GrabbedKeyboard()
{
    letGo();
}

bool GrabbedKeyboard::isAnyKeyHeld() const
{
    for (unsigned key = 0; key < KEY_CNT; ++key) {
        if (libevdev_get_event_value(device_.get(), EV_KEY, key) != 0)
            return true;
    }
    return false;
}

bool GrabbedKeyboard::makeClone()
{
    clone_ = KeyboardClone::of(*device_);
    return clone_ != nullptr;
}

void GrabbedKeyboard::tryToGrab()
{
    do {
        heardByOthers();
        readEvents();
        if (state_ == State::waiting && !isAnyKeyHeld())
            grab();
    } while (state_ == State::waiting && !owedReleases_.empty() && !isAnyKeyHeld());
}

void GrabbedKeyboard::grab()
{
    if (const int status = libevdev_grab(device_.get(), LIBEVDEV_GRAB); status != 0) {
        state_ = status == -EBUSY ? State::busy : State::gone;
        return;
    }
    state_ = State::grabbed;
    const Events events = unread();
    const Events heard = heardByOthers();
    clone_->matchState();
    // Others heard the keyboard until the grab took effect.
    const auto ours
        = heard.empty() ? events.begin() : std::find_if(events.rbegin(), events.rend(), isSameAs(heard.back())).base();
    heldForOthers_ = keysLeftDown(events.begin(), ours);
    handle(ours, events.end());
    if (!heldForOthers_.empty() || !owedReleases_.empty())
        letGo();
}

void GrabbedKeyboard::letGo()
{
    if (state_ != State::grabbed)
        return;
    // To end the grab takes the kernel a while, in which others type on: what is ours goes first.
    const bool doOthersHear = passUntilOthersHear();
    const Keys owed = doOthersHear ? Keys() : pressOwedReleases();
    libevdev_grab(device_.get(), LIBEVDEV_UNGRAB);
    for (const std::uint16_t key : owed)
        inject(key, false);
    if (!doOthersHear)
        passUntilOthersHear();
    // The kernel gives a keyboard that is freed the lights of the console.
    clone_->passAllLights();
    if (state_ == State::grabbed)
        state_ = State::waiting;
}

/// Nobody else hears the keyboard until the grab ends, which the guard may have done already. True when they do.
bool GrabbedKeyboard::passUntilOthersHear()
{
    const Events events = unread();
    const Events heard = heardByOthers();
    auto theirs = heard.empty() ? events.end() : std::find_if(events.begin(), events.end(), isSameAs(heard.front()));
    // More than the kernel keeps can only have come afterwards.
    theirs = std::min(theirs, std::find_if(events.begin(), events.end(), isDrop));
    handle(events.begin(), theirs);
    std::for_each(theirs, events.end(), [this](const input_event& event) { othersHear(event); });
    return !heard.empty();
}

/// A key that went down before the grab and came up since would stay down for everyone else. The kernel tells of a
/// release only when the key is down: it goes down again while nobody hears it, to come up when they do.
GrabbedKeyboard::Keys GrabbedKeyboard::pressOwedReleases()
{
    Keys keys = std::exchange(owedReleases_, {});
    for (const std::uint16_t key : keys)
        inject(key, true);
    if (keys.empty())
        return keys;
    Events events = unread();
    std::erase_if(events, [&](const input_event& event) { return event.type == EV_KEY && keys.contains(event.code); });
    handle(events.begin(), events.end());
    return keys;
}

void GrabbedKeyboard::inject(std::uint16_t key, bool isDown)
{
    const std::array events{input_event{{}, EV_KEY, key, isDown ? 1 : 0}, input_event{{}, EV_SYN, SYN_REPORT, 0}};
    if (write(file_.get(), events.data(), sizeof events) != sizeof events)
        state_ = State::gone;
}

void GrabbedKeyboard::readEvents()
{
    const bool isOurs = state_ == State::grabbed;
    const Events events = unread();
    if (isOurs)
        handle(events.begin(), events.end());
    else
        std::ranges::for_each(events, [this](const input_event& event) { othersHear(event); });
}

void GrabbedKeyboard::othersHear(const input_event& event)
{
    if (event.type != EV_KEY || event.value != 0)
        return;
    heldForOthers_.erase(event.code);
    owedReleases_.erase(event.code);
    // What went down when the keyboard was ours must come up on the clone.
    if (!clone_ || !clone_->isKeyDown(event.code))
        return;
    clone_->write(event);
    clone_->write({{}, EV_SYN, SYN_REPORT, 0});
}

void GrabbedKeyboard::handle(Events::const_iterator begin, Events::const_iterator end)
{
    std::for_each(begin, end, [this](const input_event& event) {
        if (isDrop(event))
            return;
        if (event.type == EV_KEY && event.value == 0 && heldForOthers_.erase(event.code) > 0)
            owedReleases_.insert(event.code);
        filter_.handle(event);
    });
}

GrabbedKeyboard::Events GrabbedKeyboard::unread()
{
    Events events;
    unsigned flags = LIBEVDEV_READ_FLAG_NORMAL;
    while (events.size() < mostEvents) {
        input_event event{};
        const int status = libevdev_next_event(device_.get(), flags, &event);
        if (status == LIBEVDEV_READ_STATUS_SYNC && flags == LIBEVDEV_READ_FLAG_NORMAL) {
            // Events were lost: what follows is the difference to the keyboard's present state.
            flags = LIBEVDEV_READ_FLAG_SYNC;
            events.push_back(event);
            continue;
        }
        if (status == -EAGAIN && flags == LIBEVDEV_READ_FLAG_SYNC) {
            flags = LIBEVDEV_READ_FLAG_NORMAL;
            continue;
        }
        if (status < 0) {
            if (status != -EAGAIN)
                state_ = State::gone;
            return events;
        }
        events.push_back(event);
    }
    return events;
}

GrabbedKeyboard::Events GrabbedKeyboard::heardByOthers() const
{
    Events events;
    for (input_event event{};
         events.size() < mostEvents && read(bystander_.get(), &event, sizeof event) == sizeof event;)
        events.push_back(event);
    return events;
}

} // namespace quenstal
