#pragma once

// Capturing everything that other programs play on an output: process taps, private aggregate devices, IO procedures.

#include "QuenstalPlatform/AudioBuffers.hpp"
#include "QuenstalPlatform/Interface.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace quenstal {

/// Whether the tapped programs are still heard directly.
enum class TapMuteBehavior : std::uint32_t {
    unmuted = 0,
    muted = 1,
    /// Silent on the device as long as someone reads the tap.
    mutedWhenTapped = 2,
};

/// What a process tap captures. The initial values have no meaning: the caller sets every field.
struct ProcessTapDescription {
    /// Process objects that are left alone: they are neither captured nor silenced.
    std::vector<AudioObjectID> excludedProcesses;
    /// The output whose sound is captured.
    std::string deviceUID;
    std::uint32_t stream = 0;
    std::string name;
    /// Visible to this program only.
    bool isPrivate = false;
    TapMuteBehavior muteBehavior = TapMuteBehavior::unmuted;
    bool mixdown = false;
    bool mono = false;

    bool operator==(const ProcessTapDescription&) const = default;
};

struct AggregateDeviceKey {
    static constexpr const char* name = "name";
    static constexpr const char* uid = "uid";
    static constexpr const char* isPrivate = "private";
    static constexpr const char* isStacked = "stacked";
    static constexpr const char* subdevices = "subdevices";
    /// The subdevice whose properties stand for the whole.
    static constexpr const char* main = "master";
    static constexpr const char* clock = "clock";
    static constexpr const char* taps = "taps";
    static constexpr const char* tapAutoStart = "tapautostart";
    /// In the dictionary of a subdevice or of a tap.
    static constexpr const char* memberUID = "uid";
    /// In the dictionary of a tap: follow the clock of the device.
    static constexpr const char* driftCompensation = "drift";
};

/// One entry of the lists `subdevices` and `taps`.
using AggregateMember = std::map<std::string, std::variant<bool, std::string>>;
/// Describes an aggregate device, by the keys above.
using AggregateDeviceDescription = std::map<std::string, std::variant<bool, std::string, std::vector<AggregateMember>>>;

enum class TapChange {
    /// The tap's format has changed: read it again.
    format,
    /// The tap has stopped delivering and the direct path is back. Its owner should release it.
    ended,
    /// Concerns no tap, and comes with the number 0: creating one that was refused may succeed now.
    refusalOver,
};

/// Process taps and the devices built on them. Main thread, except the IO procedure, which runs on the audio thread.
///
/// Every create call leaves its result alone and creates nothing unless it returns 0. What was created is released by
/// the caller, in the reverse order. Objects of a server that went away are still released by the same calls.
class AudioTaps : public Interface {
public:
    /// The audio object of a process; 0 when it has none.
    virtual PlatformStatus translateProcessID(std::int32_t processID, AudioObjectID& processObject) const = 0;

    virtual PlatformStatus createProcessTap(const ProcessTapDescription& description, AudioObjectID& tap) = 0;
    virtual PlatformStatus destroyProcessTap(AudioObjectID tap) = 0;
    /// Success may yield no text at all.
    virtual PlatformStatus tapUID(AudioObjectID tap, std::optional<std::string>& uid) const = 0;
    virtual PlatformStatus tapFormat(AudioObjectID tap, AudioStreamBasicDescription& format) const = 0;

    virtual PlatformStatus createAggregateDevice(const AggregateDeviceDescription& description, AudioObjectID& device)
        = 0;
    virtual PlatformStatus destroyAggregateDevice(AudioObjectID device) = 0;

    /// Registers the procedure; it is not called before `startDevice`. The client data stays the caller's.
    virtual PlatformStatus createIOProcID(
        AudioObjectID device, AudioIOProc procedure, void* clientData, AudioIOProcID& procedureID)
        = 0;
    virtual PlatformStatus destroyIOProcID(AudioObjectID device, AudioIOProcID procedureID) = 0;

    /// The procedure is called once a cycle from now on, with input and output buffers of the same number and sizes,
    /// outputs zeroed, finite input samples. A start that fails later is reported as `ended`, and creating a tap on the
    /// same output returns the reason if trying again is of no use. If that is only temporary, `refusalOver` follows;
    /// once, and not again if the next try fails too.
    virtual PlatformStatus startDevice(AudioObjectID device, AudioIOProcID procedureID) = 0;
    /// How loud the tapped sound may be on its direct path, 0 to 1, and whether at all, should this program be held up
    /// and its procedure not be called any more. Nothing of it is heard until this is told. For as long as the tap
    /// lives.
    virtual void setDirectGain(AudioObjectID tap, float gain, bool isHeard) = 0;
    /// When this returns, the procedure is not running and will not be called again.
    virtual PlatformStatus stopDevice(AudioObjectID device, AudioIOProcID procedureID) = 0;

    /// Runs the handler on a later turn after a tap changed.
    [[nodiscard]] virtual Cancellation onTapChanged(std::function<void(AudioObjectID tap, TapChange)> handler) = 0;

    /// Waits until the sound that devices redirected is on its direct path again, for half a second at most. For the
    /// end of the program, when every device is destroyed and no turn of the run loop follows.
    virtual void giveSoundBack() = 0;
};

} // namespace quenstal
