#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalLinux/Keys/GrabWatchdog.hpp"
#include "QuenstalLinux/Keys/GrabbedKeyboard.hpp"

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace quenstal {

/// The thread that owns the grabbed keyboards. It waits for nothing but its descriptors. Made and destroyed on the
/// main thread; the handlers are called on the thread.
class KeyGrabber {
public:
    enum class Loss {
        /// No keyboard is left.
        allGone,
        /// Another program has grabbed what there is.
        busy,
        /// The system makes no clones of what there is.
        notCloned,
        /// There is no process to guard them, without which nothing is grabbed.
        unguarded,
        /// This program did not keep up, and the keyboards were freed.
        stalled,
    };
    struct Handlers {
        VolumeKeyFilter::Press press;
        /// Told once; nothing is grabbed any more.
        std::function<void(Loss)> lost;
    };

    KeyGrabber(std::vector<std::string> nodes, Handlers handlers);
    /// Ends the thread and frees the keyboards.
    ~KeyGrabber();
    KeyGrabber(const KeyGrabber&) = delete;
    KeyGrabber& operator=(const KeyGrabber&) = delete;

private:
    using Keyboards = std::vector<std::unique_ptr<GrabbedKeyboard>>;

    void run(const std::vector<std::string>& nodes);
    void open(const std::vector<std::string>& nodes);
    /// False when the thread is to end.
    bool waitForEvents();
    bool isAny(GrabbedKeyboard::State state) const;
    bool isAnyUnusable() const;
    bool dropUnusable();
    bool tendWatchdog();
    bool grabAll();

    Handlers handlers_;
    FileDescriptor wake_;
    Keyboards keyboards_;
    std::unique_ptr<GrabWatchdog> watchdog_;
    /// How many keyboards the watchdog watches.
    std::size_t watched_ = 0;
    std::thread thread_;
};

} // namespace quenstal
