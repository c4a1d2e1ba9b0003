#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"

#include <bitset>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include <libevdev/libevdev-uinput.h>
#include <libevdev/libevdev.h>

namespace quenstal {

/// What the desktop reads in place of a grabbed keyboard. One thread.
class KeyboardClone {
public:
    /// Its readers have this long to read the last events.
    static constexpr auto readingTime = std::chrono::milliseconds(200);

    /// Offers what the keyboard offers. Null if the system cannot create one. The keyboard outlives it.
    static std::unique_ptr<KeyboardClone> of(libevdev& keyboard);
    /// Releases all keys, and removes the clone once that can have been read: unread events are lost with it.
    ~KeyboardClone();
    KeyboardClone(const KeyboardClone&) = delete;
    KeyboardClone& operator=(const KeyboardClone&) = delete;

    /// Its folder below /sys; empty if the system does not report it.
    std::string place() const;
    /// Readable when the system sets its lights.
    int descriptor() const { return uinput_.get(); }

    void write(const input_event& event);
    bool isAnyKeyDown() const { return keys_.any(); }
    bool isKeyDown(std::uint16_t key) const { return keys_[key]; }
    /// Sets lights and switches as they are on the keyboard.
    void matchState();
    /// Sets those lights of the keyboard that the system has set here.
    void passLights();
    /// Sets all of them as they are here.
    void passAllLights() const;

private:
    struct Destroy {
        void operator()(libevdev_uinput* clone) const { libevdev_uinput_destroy(clone); }
    };
    using Handle = std::unique_ptr<libevdev_uinput, Destroy>;
    using Bits = std::bitset<KEY_CNT>;

    KeyboardClone(libevdev& keyboard, FileDescriptor uinput, Handle clone);
    void releaseKeys();
    void write(std::uint16_t type, std::uint16_t code, std::int32_t value) const;
    void matchState(std::uint16_t type, Bits& state) const;
    /// Those that were set since the last call.
    Bits readLights();
    void passLights(const Bits& lights) const;

    libevdev& keyboard_;
    FileDescriptor uinput_;
    Handle clone_;
    Bits keys_;
    Bits lights_;
    Bits switches_;
    std::chrono::steady_clock::time_point typedAt_{};
};

} // namespace quenstal
