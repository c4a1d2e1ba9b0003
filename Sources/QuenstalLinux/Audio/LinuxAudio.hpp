#pragma once

#include "QuenstalLinux/MonitorIdentity.hpp"
#include "QuenstalPlatform/AudioObjects.hpp"
#include "QuenstalPlatform/AudioTaps.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <memory>
#include <optional>
#include <string>

namespace quenstal {

/// The sound of the machine over its PipeWire server, which may come and go. Main thread.
class LinuxAudio {
public:
    /// The run loop outlives it. Works without a server, and connects when one comes. Throws std::runtime_error when
    /// the server's library cannot be used at all.
    explicit LinuxAudio(RunLoop& runLoop);
    /// With another program as the sound's guard.
    LinuxAudio(RunLoop& runLoop, const std::string& guardProgram);
    /// Gives the sound of other programs back to its direct path.
    ~LinuxAudio();
    LinuxAudio(const LinuxAudio&) = delete;
    LinuxAudio& operator=(const LinuxAudio&) = delete;

    AudioObjects& objects();
    AudioTaps& taps();
    /// The monitor that plays the default output; none when that cannot be told.
    std::optional<MonitorIdentity> currentMonitor() const;

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

} // namespace quenstal
