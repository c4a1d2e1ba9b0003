#pragma once

#include "QuenstalLinux/Audio/SoundGuardRecord.hpp"
#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <memory>
#include <optional>
#include <string>

#include <sys/types.h>

namespace quenstal {

/// A process of its own that gives the sound of other programs back when this one is held up: stopped, in the hands of
/// a debugger, or writing its core. It first lowers the output to what was heard, and then closes this program's
/// connection to the server, which leads the sound over its direct path. When this program goes on, it finds its
/// connection lost, makes another one, and takes the volume back once the sound is led through it again.
///
/// The process ends with this object and with this program, however that ends. One that is ended by others is replaced.
/// Main thread.
class SoundGuard {
public:
    /// An empty program, or one that cannot be started, guards nothing. The run loop outlives it.
    SoundGuard(RunLoop& runLoop, std::string program, std::string nodeName, std::string targetName);
    ~SoundGuard();
    SoundGuard(const SoundGuard&) = delete;
    SoundGuard& operator=(const SoundGuard&) = delete;

    /// How loud the direct path is to be, 0 to 1, and whether it is to be heard at all. Not at all until it is told.
    void setDirectGain(float gain, bool isHeard);

    /// The sound is about to be led away from its direct path, for the first time or again.
    void pathBegins();

    struct Lowered {
        AudioVolume before;
        AudioVolume lowered;
    };
    /// What the guard has made of the output's volume; none while it has left it alone, and none before another path
    /// has begun: what the lost connection still has to tell is from before.
    std::optional<Lowered> lowered() const;
    /// The volume is no longer the guard's.
    void forgetLowered();

    /// None when no process runs.
    std::optional<pid_t> process() const { return process_ > 0 ? std::optional(process_) : std::nullopt; }

private:
    void start();
    void end();

    RunLoop& runLoop_;
    const std::string program_;
    const std::string nodeName_;
    const std::string targetName_;
    FileDescriptor memory_;
    SoundGuardRecord* record_ = nullptr;
    /// Closing it ends the guard; it is readable when the guard has ended.
    FileDescriptor lifeline_;
    pid_t process_ = -1;
    Cancellation watch_;
    Cancellation restart_;
};

/// The guard's program beside this one, as it is built or as it is installed.
std::string soundGuardProgram();

} // namespace quenstal
