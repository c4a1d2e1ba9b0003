#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalLinux/Keyboards/KeyboardClone.hpp"
#include "QuenstalLinux/Keyboards/VolumeKeyFilter.hpp"

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <libevdev/libevdev.h>

namespace quenstal {

/// One keyboard, taken over: its volume keys are swallowed, everything else goes to a clone of it. Grabbed only while
/// no key is held, since the release of a held key would never reach anyone. One thread.
class GrabbedKeyboard {
public:
    enum class State {
        /// Not grabbed: everyone hears it.
        waiting,
        grabbed,
        /// Unplugged, or no longer ours to read.
        gone,
        /// Another program has grabbed it.
        busy,
    };

    /// Opens the node and grabs nothing yet. `gone` when it cannot be opened.
    GrabbedKeyboard(const std::string& node, VolumeKeyFilter::Press press);
    /// The keyboard is given back, and then the clone goes.
    ~GrabbedKeyboard();
    GrabbedKeyboard(const GrabbedKeyboard&) = delete;
    GrabbedKeyboard& operator=(const GrabbedKeyboard&) = delete;

    State state() const { return state_; }
    int descriptor() const { return file_.get(); }
    bool isAnyKeyHeld() const;

    /// False when the system makes none.
    bool makeClone();
    /// Null before it is made.
    KeyboardClone* clone() const { return clone_.get(); }

    /// Grabs when no key is held. Needs the clone.
    void tryToGrab();
    /// Reads what is there, and passes or swallows it.
    void readEvents();
    /// Gives the keyboard back to everyone. Nothing happens when it is not grabbed.
    void letGo();

private:
    struct FreeDevice {
        void operator()(libevdev* device) const { libevdev_free(device); }
    };
    using Events = std::vector<input_event>;
    using Keys = std::set<std::uint16_t>;

    void grab();
    bool passUntilOthersHear();
    Keys pressOwedReleases();
    void inject(std::uint16_t key, bool isDown);
    void handle(Events::const_iterator begin, Events::const_iterator end);
    void othersHear(const input_event& event);
    Events unread();
    /// What everyone else has heard of the keyboard since the last call.
    Events heardByOthers() const;

    FileDescriptor bystander_;
    FileDescriptor file_;
    std::unique_ptr<libevdev, FreeDevice> device_;
    std::unique_ptr<KeyboardClone> clone_;
    VolumeKeyFilter filter_;
    /// Others heard these go down before the grab, and they are down still.
    Keys heldForOthers_;
    /// These have come up since, and others have not heard it.
    Keys owedReleases_;
    State state_ = State::gone;
};

} // namespace quenstal
