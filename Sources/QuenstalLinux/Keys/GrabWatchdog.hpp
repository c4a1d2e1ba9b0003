#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"

#include <chrono>
#include <vector>

#include <sys/types.h>

namespace quenstal {

/// A process of its own that frees grabbed keyboards when their reader stalls: a stopped reader must never leave the
/// user without a keyboard. It shares the open files, sleeps until a key is pressed, and ends with its owner, however
/// that ends. Any one thread.
class GrabWatchdog {
public:
    /// Events that stay unread for this long mean that the reader has stalled.
    static constexpr auto patience = std::chrono::milliseconds(1000);

    /// Watches these open devices. The one that it takes over from may stand until this one does.
    explicit GrabWatchdog(const std::vector<int>& devices, const GrabWatchdog* former = nullptr);
    GrabWatchdog(const GrabWatchdog&) = delete;
    GrabWatchdog& operator=(const GrabWatchdog&) = delete;
    ~GrabWatchdog();

    /// False when the system had no process, no pipe or nothing to wait on to give.
    bool isWatching() const { return process_ > 0; }
    /// Readable once the grabs were taken away, or when the watchdog was ended by others.
    int releasedDescriptor() const { return released_.get(); }

private:
    FileDescriptor released_;
    /// Closing it ends the watchdog.
    FileDescriptor lifeline_;
    pid_t process_ = -1;
};

} // namespace quenstal
