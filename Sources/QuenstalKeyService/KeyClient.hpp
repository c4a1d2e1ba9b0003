#pragma once

#include "QuenstalLinux/Bus/NameOwner.hpp"
#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalLinux/Keyboards/KeyServiceProtocol.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <functional>
#include <optional>
#include <string>

namespace quenstal {

/// A program that was given its session's volume keys: the service's end of its socket. Main thread.
class KeyClient {
public:
    /// Packets that stay unread for this long mean that the client has stopped responding. Longer than the longest
    /// time for which a client that lives may keep its main thread busy.
    static constexpr auto patience = std::chrono::seconds(2);
    /// Called once, on a later turn: the client went away, stopped responding or broke the protocol.
    using Gone = std::function<void(const char* reason)>;

    /// `name` is the client's unique name on the bus. Run loop and bus outlive this.
    KeyClient(RunLoop& runLoop, DBusConnection& bus, const std::string& name, FileDescriptor socket, Gone gone);
    /// The client sees the end of its socket at once.
    ~KeyClient();
    KeyClient(const KeyClient&) = delete;
    KeyClient& operator=(const KeyClient&) = delete;

    const std::string& name() const { return name_; }
    /// Never waits. What does not fit into the socket any more is lost: the client is then far behind.
    void send(const VolumeKeyPress& press);

private:
    bool hasUnread() const;
    void lookForUnread();
    void leave(const char* reason);

    RunLoop& runLoop_;
    std::string name_;
    FileDescriptor socket_;
    Gone gone_;
    /// While anything is unread: the time since when.
    std::optional<RunLoop::SteadyTime> unreadSince_;
    Cancellation unreadCheck_;
    Cancellation socketWatch_;
    /// A copy of the client's end may be left in a process that was forked meanwhile: its name tells for certain.
    NameOwner presence_;
    Cancellation leaving_;
};

} // namespace quenstal
