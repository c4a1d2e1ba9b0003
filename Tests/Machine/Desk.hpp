#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalLinux/Keyboards/InputNodes.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <libevdev/libevdev-uinput.h>
#include <linux/input.h>

namespace quenstal {

/// A keyboard of the machine that the test types on, as fast as it likes. Plugged in while this lives.
class Typewriter {
public:
    static constexpr const char* name = "Test typewriter";

    Typewriter();

    void key(std::uint16_t code, bool isDown);
    std::string node() const { return libevdev_uinput_get_devnode(device_.get()); }

private:
    struct Destroy {
        void operator()(libevdev_uinput* device) const { libevdev_uinput_destroy(device); }
    };

    std::unique_ptr<libevdev_uinput, Destroy> device_;
};

/// The key of a small letter.
std::uint16_t keyOf(char letter);

/// What a desktop makes of typewriters and their clones: it opens each a while after it was announced, hears all of
/// them at once, and keeps what is typed. It has a thread of its own.
class Desk {
public:
    Desk();
    ~Desk();
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    /// In the order in which it was typed; in capitals what was typed with the shift key.
    std::string text() const;
    /// The letters of the text.
    std::size_t typed() const { return typed_; }
    /// Of all keyboards together.
    std::size_t keysDown() const;
    /// Each with its node.
    std::string namesOfKeysDown() const;
    /// How many keyboards it has open.
    std::size_t keyboards() const;

private:
    using Clock = std::chrono::steady_clock;

    struct Keyboard {
        FileDescriptor file;
        std::set<std::uint16_t> down;
    };
    struct Event {
        std::string node;
        input_event event;
    };

    void run();
    void hearAnnouncements();
    void openDue();
    void hearKeyboards();
    /// False once it is gone.
    static bool read(const std::string& node, const Keyboard& keyboard, std::vector<Event>& events);
    void take(const Event& event);

    std::unique_ptr<udev, ReleaseUdev> udev_;
    std::unique_ptr<udev_monitor, ReleaseUdev> monitor_;
    FileDescriptor end_;
    /// Announced, and when to open them.
    std::map<std::string, Clock::time_point> announced_;
    unsigned announcements_ = 0;
    std::atomic<std::size_t> typed_ = 0;
    mutable std::mutex mutex_; // guards what follows
    std::map<std::string, Keyboard> keyboards_;
    std::string text_;
    std::thread thread_;
};

} // namespace quenstal
