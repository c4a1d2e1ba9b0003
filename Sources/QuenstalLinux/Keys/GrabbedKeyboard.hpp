#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalLinux/Keys/VolumeKeyFilter.hpp"

#include <memory>
#include <string>

#include <libevdev/libevdev-uinput.h>
#include <libevdev/libevdev.h>

namespace quenstal {

/// One keyboard, taken over: its volume keys are swallowed, everything else goes to a clone of it. Grabbed only while
/// no key is held, since the release of a held key would never reach anyone. One thread.
class GrabbedKeyboard {
public:
    enum class State {
        /// Not grabbed yet, or not while a key is held.
        waiting,
        grabbed,
        /// Unplugged, or no longer ours to read.
        gone,
        /// Another program has grabbed it.
        busy,
        /// The system makes no clone of it.
        notCloned,
    };

    /// Opens the node and grabs nothing yet. `gone` when it cannot be opened.
    GrabbedKeyboard(const std::string& node, VolumeKeyFilter::Press press);
    /// The clone outlives the grab, so that no key is lost between them.
    ~GrabbedKeyboard();
    GrabbedKeyboard(const GrabbedKeyboard&) = delete;
    GrabbedKeyboard& operator=(const GrabbedKeyboard&) = delete;

    State state() const { return state_; }
    const std::string& node() const { return node_; }
    int descriptor() const { return file_.get(); }
    /// Readable when the system sets the clone's lights; -1 without a clone.
    int cloneDescriptor() const;

    /// Grabs when no key is held.
    void tryToGrab();
    /// Reads what is there, and passes or swallows it.
    void readEvents();
    /// Passes the lights on to the real keyboard.
    void readLights();

private:
    struct FreeDevice {
        void operator()(libevdev* device) const { libevdev_free(device); }
    };
    struct DestroyClone {
        void operator()(libevdev_uinput* clone) const { libevdev_uinput_destroy(clone); }
    };

    bool isAnyKeyHeld() const;
    bool makeClone();
    void pass(const input_event& event);

    std::string node_;
    FileDescriptor file_;
    std::unique_ptr<libevdev, FreeDevice> device_;
    FileDescriptor uinput_;
    std::unique_ptr<libevdev_uinput, DestroyClone> clone_;
    VolumeKeyFilter filter_;
    State state_ = State::gone;
};

} // namespace quenstal
