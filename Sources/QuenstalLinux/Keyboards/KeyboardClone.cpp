#include "QuenstalLinux/Keyboards/KeyboardClone.hpp"

#include "QuenstalLinux/Keyboards/InputNodes.hpp"

#include <thread>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace quenstal {

std::unique_ptr<KeyboardClone> KeyboardClone::of(libevdev& keyboard)
{
    libevdev_set_name(&keyboard, (cloneNamePrefix + std::string(libevdev_get_name(&keyboard))).c_str());
    // Repeats are passed on as they arrive; a clone with its own repeat would double them.
    libevdev_disable_event_type(&keyboard, EV_REP);
    const char* const node = uinputNode();
    // Not blocking: the thread would wait for the next light as soon as it has read one.
    FileDescriptor uinput(node ? open(node, O_RDWR | O_NONBLOCK | O_CLOEXEC) : -1);
    libevdev_uinput* clone = nullptr;
    if (!uinput || libevdev_uinput_create_from_device(&keyboard, uinput.get(), &clone) != 0)
        return nullptr;
    return std::unique_ptr<KeyboardClone>(new KeyboardClone(keyboard, std::move(uinput), Handle(clone)));
}

KeyboardClone::KeyboardClone(libevdev& keyboard, FileDescriptor uinput, Handle clone)
    : keyboard_(keyboard)
    , uinput_(std::move(uinput))
    , clone_(std::move(clone))
{
    // The kernel gives a new keyboard the lights of the console. A desktop may have them otherwise.
    readLights();
    matchState();
}

KeyboardClone::~KeyboardClone()
{
    releaseKeys();
    std::this_thread::sleep_until(typedAt_ + readingTime);
}

void KeyboardClone::releaseKeys()
{
    if (keys_.none())
        return;
    for (std::uint16_t key = 0; key < KEY_CNT; ++key) {
        if (keys_[key])
            write(input_event{{}, EV_KEY, key, 0});
    }
    write(EV_SYN, SYN_REPORT, 0);
}

std::string KeyboardClone::place() const
{
    const char* const place = libevdev_uinput_get_syspath(clone_.get());
    return place ? place : "";
}

void KeyboardClone::write(const input_event& event)
{
    write(event.type, event.code, event.value);
    if (event.type == EV_KEY)
        keys_[event.code] = event.value != 0;
    typedAt_ = std::chrono::steady_clock::now();
}

void KeyboardClone::write(std::uint16_t type, std::uint16_t code, std::int32_t value) const
{
    libevdev_uinput_write_event(clone_.get(), type, code, value);
}

void KeyboardClone::matchState()
{
    matchState(EV_LED, lights_);
    matchState(EV_SW, switches_);
}

void KeyboardClone::matchState(std::uint16_t type, Bits& state) const
{
    const Bits before = state;
    for (std::uint16_t code = 0; code < KEY_CNT; ++code) {
        state[code] = libevdev_get_event_value(&keyboard_, type, code) != 0;
        if (state[code] != before[code])
            write(type, code, state[code] ? 1 : 0);
    }
    if (state != before)
        write(EV_SYN, SYN_REPORT, 0);
}

KeyboardClone::Bits KeyboardClone::readLights()
{
    Bits set;
    for (input_event event{}; read(uinput_.get(), &event, sizeof event) == sizeof event;) {
        if (event.type != EV_LED || event.code >= LED_CNT)
            continue;
        lights_[event.code] = event.value != 0;
        set[event.code] = true;
    }
    return set;
}

void KeyboardClone::passLights()
{
    passLights(readLights());
}

void KeyboardClone::passAllLights() const
{
    passLights(Bits().set());
}

void KeyboardClone::passLights(const Bits& lights) const
{
    for (std::uint16_t light = 0; light < LED_CNT; ++light) {
        if (lights[light] && libevdev_has_event_code(&keyboard_, EV_LED, light))
            libevdev_kernel_set_led_value(&keyboard_, light, lights_[light] ? LIBEVDEV_LED_ON : LIBEVDEV_LED_OFF);
    }
}

} // namespace quenstal
