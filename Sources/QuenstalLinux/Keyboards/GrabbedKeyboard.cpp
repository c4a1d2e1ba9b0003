#include "QuenstalLinux/Keyboards/GrabbedKeyboard.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <set>
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
bool leavesAKeyDown(Iterator begin, Iterator end)
{
    std::set<std::uint16_t> down;
    for (; begin != end; ++begin) {
        if (begin->type == EV_KEY && begin->value != 0)
            down.insert(begin->code);
        else if (begin->type == EV_KEY)
            down.erase(begin->code);
    }
    return !down.empty();
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
    heardByOthers();
    readEvents();
    if (state_ != State::waiting || isAnyKeyHeld())
        return;
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
    handle(ours, events.end());
    // A key that went down before that must come up for them.
    if (leavesAKeyDown(events.begin(), ours))
        letGo();
}

void GrabbedKeyboard::letGo()
{
    if (state_ != State::grabbed)
        return;
    // To end the grab takes the kernel a while, in which others type on: what is ours goes first.
    const bool doOthersHear = passUntilOthersHear();
    libevdev_grab(device_.get(), LIBEVDEV_UNGRAB);
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
    std::for_each(theirs, events.end(), [this](const input_event& event) { passRelease(event); });
    return !heard.empty();
}

void GrabbedKeyboard::readEvents()
{
    const bool isOurs = state_ == State::grabbed;
    const Events events = unread();
    if (isOurs)
        handle(events.begin(), events.end());
    else if (clone_)
        std::ranges::for_each(events, [this](const input_event& event) { passRelease(event); });
}

/// Of a key that went down when the keyboard was ours: it is the clone that must let go of it.
void GrabbedKeyboard::passRelease(const input_event& event)
{
    if (event.type != EV_KEY || event.value != 0 || !clone_->isKeyDown(event.code))
        return;
    clone_->write(event);
    clone_->write({{}, EV_SYN, SYN_REPORT, 0});
}

void GrabbedKeyboard::handle(Events::const_iterator begin, Events::const_iterator end)
{
    std::for_each(begin, end, [this](const input_event& event) {
        if (!isDrop(event))
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
