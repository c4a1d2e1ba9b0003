#include "QuenstalLinux/Keys/GrabbedKeyboard.hpp"

#include "QuenstalLinux/Keys/InputNodes.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace quenstal {

GrabbedKeyboard::GrabbedKeyboard(const std::string& node, VolumeKeyFilter::Press press)
    : node_(node)
    , file_(open(node.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC))
    , filter_([this](const input_event& event) { pass(event); }, std::move(press))
{
    libevdev* device = nullptr;
    if (!file_ || libevdev_new_from_fd(file_.get(), &device) != 0)
        return;
    device_.reset(device);
    state_ = State::waiting;
}

GrabbedKeyboard::~GrabbedKeyboard()
{
    if (state_ == State::grabbed)
        libevdev_grab(device_.get(), LIBEVDEV_UNGRAB);
}

int GrabbedKeyboard::cloneDescriptor() const
{
    return clone_ ? libevdev_uinput_get_fd(clone_.get()) : -1;
}

bool GrabbedKeyboard::isAnyKeyHeld() const
{
    std::array<unsigned char, KEY_MAX / 8 + 1> held{};
    // A device that cannot be asked is not grabbed.
    if (ioctl(file_.get(), EVIOCGKEY(held.size()), held.data()) < 0)
        return true;
    return std::ranges::any_of(held, [](unsigned char bits) { return bits != 0; });
}

bool GrabbedKeyboard::makeClone()
{
    libevdev_set_name(device_.get(), (cloneNamePrefix + std::string(libevdev_get_name(device_.get()))).c_str());
    // Repeats are passed on as they come; a clone that repeats by itself would double them.
    libevdev_disable_event_type(device_.get(), EV_REP);
    const char* const node = uinputNode();
    // Not blocking: the thread would wait for the next light as soon as it has read one.
    uinput_ = FileDescriptor(node ? open(node, O_RDWR | O_NONBLOCK | O_CLOEXEC) : -1);
    libevdev_uinput* clone = nullptr;
    if (!uinput_ || libevdev_uinput_create_from_device(device_.get(), uinput_.get(), &clone) != 0)
        return false;
    clone_.reset(clone);
    return true;
}

void GrabbedKeyboard::tryToGrab()
{
    if (state_ != State::waiting || isAnyKeyHeld())
        return;
    if (!clone_ && !makeClone()) {
        state_ = State::notCloned;
        return;
    }
    const int status = libevdev_grab(device_.get(), LIBEVDEV_GRAB);
    if (status == 0)
        state_ = State::grabbed;
    else
        state_ = status == -EBUSY ? State::busy : State::gone;
    if (state_ == State::grabbed && isAnyKeyHeld()) {
        // Pressed in between: its release belongs to whoever saw the press.
        libevdev_grab(device_.get(), LIBEVDEV_UNGRAB);
        state_ = State::waiting;
    }
}

void GrabbedKeyboard::readEvents()
{
    unsigned flags = LIBEVDEV_READ_FLAG_NORMAL;
    for (;;) {
        input_event event{};
        const int status = libevdev_next_event(device_.get(), flags, &event);
        if (status == LIBEVDEV_READ_STATUS_SYNC && flags == LIBEVDEV_READ_FLAG_NORMAL) {
            // Events were lost: what follows is the difference to the keyboard's present state.
            flags = LIBEVDEV_READ_FLAG_SYNC;
            continue;
        }
        if (status == -EAGAIN && flags == LIBEVDEV_READ_FLAG_SYNC) {
            flags = LIBEVDEV_READ_FLAG_NORMAL;
            continue;
        }
        if (status == -EAGAIN)
            return;
        if (status < 0) {
            state_ = State::gone;
            return;
        }
        // Before the grab others hear the keyboard themselves.
        if (state_ == State::grabbed)
            filter_.handle(event);
    }
}

void GrabbedKeyboard::pass(const input_event& event)
{
    libevdev_uinput_write_event(clone_.get(), event.type, event.code, event.value);
}

void GrabbedKeyboard::readLights()
{
    input_event event{};
    while (read(cloneDescriptor(), &event, sizeof event) == sizeof event) {
        if (event.type == EV_LED)
            libevdev_kernel_set_led_value(device_.get(), event.code, event.value ? LIBEVDEV_LED_ON : LIBEVDEV_LED_OFF);
    }
}

} // namespace quenstal
