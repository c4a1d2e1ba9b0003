#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalLinux/Keyboards/CloneDebut.hpp"
#include "QuenstalLinux/Keyboards/VolumeKeyFilter.hpp"

#include <chrono>
#include <functional>
#include <string>
#include <thread>

namespace quenstal {

/// The thread that owns one grabbed keyboard. It waits for nothing but its descriptors. Made and destroyed on the main
/// thread; the handlers are called on the thread.
///
/// What is typed reaches the desktop throughout: the keyboard is grabbed once the desktop has its clone, and the clone
/// goes once what was typed last has been read.
class KeyGrabber {
public:
    enum class Loss {
        /// The keyboard is not there any more, or not ours to read.
        gone,
        /// Another program has grabbed it.
        busy,
        /// The system makes no clone of it, or announces none.
        notCloned,
        /// There is no process to guard it, without which it is not grabbed.
        unguarded,
        /// A key of it is held and not let go of.
        keyHeld,
        /// This program did not keep up, and the keyboard was freed.
        stalled,
    };
    struct Handlers {
        VolumeKeyFilter::Press press;
        /// Told once, when the keyboard is free and its clone is gone.
        std::function<void(Loss)> lost;
    };
    struct Patience {
        CloneDebut::Patience debut;
        /// For the device manager to announce the clone.
        std::chrono::milliseconds announcement{30000};
        /// Whoever types lets go of all keys more often than that.
        std::chrono::milliseconds heldKey{10000};
    };

    KeyGrabber(const std::string& node, const Patience& patience, Handlers handlers);
    /// Waits for the thread, which frees the keyboard and leaves the desktop the time to read what was typed last.
    ~KeyGrabber();
    KeyGrabber(const KeyGrabber&) = delete;
    KeyGrabber& operator=(const KeyGrabber&) = delete;

    /// Has the thread free the keyboard and end, and does not wait for it.
    void end();

private:
    FileDescriptor wake_;
    std::thread thread_;
};

} // namespace quenstal
