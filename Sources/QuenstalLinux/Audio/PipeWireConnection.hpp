#pragma once

#include "QuenstalLinux/Audio/PipeWireHandles.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <cerrno>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace quenstal {

/// Whether the server refused because this program is not allowed to, and not because something went wrong.
constexpr bool isDenial(int status)
{
    return status == -EACCES || status == -EPERM;
}

/// The connection to the audio server. Its control loop runs on the run loop; the only thread besides is the
/// server library's data thread. While the server is away, the connection is tried again and again. Main thread.
class PipeWireConnection {
public:
    /// Hears of the connection. Called on the run loop.
    class Listener {
    public:
        virtual void connected(pw_core& core) = 0;
        /// Everything that was made with the core is to be destroyed now. Later listeners hear it first.
        virtual void disconnected() = 0;
        /// The server refused something that was asked of the object with that number on this connection.
        virtual void refused(std::uint32_t proxyID, int status) = 0;

    protected:
        ~Listener() = default;
    };

    /// A program with streams needs real-time priority, and asks for it over the system's message bus.
    enum class Purpose { streams, questions };
    /// The run loop outlives it.
    explicit PipeWireConnection(RunLoop& runLoop, Purpose purpose = Purpose::streams);
    ~PipeWireConnection();
    PipeWireConnection(const PipeWireConnection&) = delete;
    PipeWireConnection& operator=(const PipeWireConnection&) = delete;

    /// The listener hears of the present connection at once, and outlives the listening.
    void addListener(Listener& listener);
    void removeListener(Listener& listener);

    /// Null while the server is away.
    pw_core* core() const { return core_.get(); }
    pw_loop& loop() const { return *loop_; }
    /// Another connection to the server, served by the same loop; null while the server is away.
    PipeWireCore connectAgain() const;
    /// The number that the server gave this program; none until it is known.
    std::optional<std::uint32_t> clientNumber() const;
    /// Called on the run loop when the server has dealt with all that was asked of it up to now: what it has not read
    /// when the connection ends is lost. The later of two replaces the earlier; never called when the server has gone.
    void whenServed(RunLoop::Task task);
    /// Serves the connection without the run loop until it holds, or until the limit: for the last words of the program
    /// only.
    bool runUntil(const std::function<bool()>& holds, RunLoop::Duration limit);

private:
    struct Events;

    void tryToConnect();
    void lose();
    void retryLater();

    RunLoop& runLoop_;
    PipeWireLibrary library_;
    PipeWireLoop loop_;
    PipeWireContext context_;
    PipeWireHook coreHook_;
    PipeWireCore core_;
    std::vector<Listener*> listeners_;
    Cancellation loopWatch_;
    RunLoop::Task served_;
    int servedSequence_ = 0;
    Cancellation pendingService_;
    Cancellation pendingLoss_;
    Cancellation retry_;
    int attempts_ = 0;
};

} // namespace quenstal
