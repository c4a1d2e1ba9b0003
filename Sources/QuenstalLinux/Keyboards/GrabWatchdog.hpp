#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>

#include <sys/types.h>

namespace quenstal {

/// A process of its own that frees a grabbed keyboard when its reader stalls: a stopped reader must never leave the
/// user without a keyboard. It shares the open file, sleeps until a key is pressed, and exits with its owner, however
/// that ends. Any one thread.
class GrabWatchdog {
public:
    /// Events that stay unread for this long, while the reader does not turn, mean that it has stalled.
    static constexpr auto patience = std::chrono::milliseconds(1000);

    /// Counted by the reader, checked by the guard.
    using Turns = std::atomic<std::uint32_t>;
    static_assert(Turns::is_always_lock_free, "it is shared with another process");

    explicit GrabWatchdog(int device);
    GrabWatchdog(const GrabWatchdog&) = delete;
    GrabWatchdog& operator=(const GrabWatchdog&) = delete;
    ~GrabWatchdog();

    /// False if the system could not start the process, or lacks what it needs.
    bool isWatching() const { return process_ > 0; }
    /// The reader is still running. A queue that is not empty then does not mean that it has stalled.
    void readerTurns() { ++*turns_; }
    /// Readable once the guard has ended the grab, or has been killed.
    int releasedDescriptor() const { return released_.get(); }

private:
    struct Unmap {
        void operator()(Turns* turns) const;
    };

    FileDescriptor released_;
    /// The end of the last copy ends the watchdog.
    FileDescriptor lifeline_;
    std::unique_ptr<Turns, Unmap> turns_;
    pid_t process_ = -1;
};

} // namespace quenstal
