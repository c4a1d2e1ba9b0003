#pragma once

// What a volume operation is about: the control path in force, what the user asked for, and the volume.

#include "QuenstalCore/Models/Device.hpp"
#include "QuenstalCore/Models/Overloaded.hpp"

#include <algorithm>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace quenstal {

/// The control path in force for the current output.
class ControlMode {
public:
    struct SystemVolume {
        std::string deviceID;
        bool operator==(const SystemVolume&) const = default;
    };
    struct HardwareDDC {
        std::string displayID;
        bool operator==(const HardwareDDC&) const = default;
    };
    struct SoftwareTap {
        std::string deviceID;
        bool operator==(const SoftwareTap&) const = default;
    };
    struct Unavailable {
        UnavailableReason reason;
        bool operator==(const Unavailable&) const = default;
    };
    struct Disabled {
        bool operator==(const Disabled&) const = default;
    };
    using Case = std::variant<SystemVolume, HardwareDDC, SoftwareTap, Unavailable, Disabled>;

    /// The mode `disabled`.
    ControlMode()
        : case_(Disabled{})
    {
    }

    static ControlMode systemVolume(std::string deviceID) { return ControlMode(SystemVolume{std::move(deviceID)}); }
    static ControlMode hardwareDDC(std::string displayID) { return ControlMode(HardwareDDC{std::move(displayID)}); }
    static ControlMode softwareTap(std::string deviceID) { return ControlMode(SoftwareTap{std::move(deviceID)}); }
    static ControlMode unavailable(UnavailableReason reason) { return ControlMode(Unavailable{reason}); }
    static ControlMode disabled() { return ControlMode(); }

    template <typename T>
    bool is() const
    {
        return std::holds_alternative<T>(case_);
    }

    /// Calls the arm for the case in force. Every case needs its arm.
    template <typename... Arms>
    decltype(auto) match(Arms&&... arms) const
    {
        return std::visit(Overloaded{std::forward<Arms>(arms)...}, case_);
    }

    /// Whether volume commands can be carried out in this mode.
    bool isControllable() const;

    /// The mode's name for the user; the payload does not enter into it.
    std::string_view userFacingName() const;

    bool operator==(const ControlMode&) const = default;

private:
    explicit ControlMode(Case value)
        : case_(std::move(value))
    {
    }

    Case case_;
};

/// One request of the user.
class VolumeCommand {
public:
    struct SetLevel {
        /// Wanted level, 0 to 1; the reducer clamps it.
        double level;
        bool operator==(const SetLevel&) const = default;
    };
    struct SetMuted {
        bool muted;
        bool operator==(const SetMuted&) const = default;
    };
    struct StepUp {
        bool operator==(const StepUp&) const = default;
    };
    struct StepDown {
        bool operator==(const StepDown&) const = default;
    };
    struct ToggleMute {
        bool operator==(const ToggleMute&) const = default;
    };
    using Case = std::variant<SetLevel, SetMuted, StepUp, StepDown, ToggleMute>;

    static VolumeCommand setLevel(double level) { return VolumeCommand(SetLevel{level}); }
    static VolumeCommand setMuted(bool muted) { return VolumeCommand(SetMuted{muted}); }
    static VolumeCommand stepUp() { return VolumeCommand(StepUp{}); }
    static VolumeCommand stepDown() { return VolumeCommand(StepDown{}); }
    static VolumeCommand toggleMute() { return VolumeCommand(ToggleMute{}); }

    /// Calls the arm for the request. Every request needs its arm.
    template <typename... Arms>
    decltype(auto) match(Arms&&... arms) const
    {
        return std::visit(Overloaded{std::forward<Arms>(arms)...}, case_);
    }

    /// Levels are compared as numbers: a NaN level never equals itself.
    bool operator==(const VolumeCommand&) const = default;

private:
    explicit VolumeCommand(Case value)
        : case_(value)
    {
    }

    Case case_;
};

/// The volume of an output.
struct VolumeSnapshot {
    /// 0 is silent, 1 is full scale. Decoding and assignment may leave it outside that range.
    double level = 0;
    bool isMuted = false;

    constexpr VolumeSnapshot() = default;
    /// Clamps the level.
    constexpr VolumeSnapshot(double level, bool isMuted)
        : level(clamp(level))
        , isMuted(isMuted)
    {
    }

    /// Limits to [0, 1]. A value that is not finite is silence: infinity gives 0, not 1.
    static constexpr double clamp(double value)
    {
        // A comparison with NaN is false; std::isfinite would not be constexpr.
        const bool isAudible = value > 0 && value <= std::numeric_limits<double>::max();
        return isAudible ? std::min(value, 1.0) : 0;
    }

    /// The volume the application starts from.
    static constexpr VolumeSnapshot defaultAudible() { return {0.5, false}; }
    static constexpr VolumeSnapshot fullScale() { return {1.0, false}; }

    bool operator==(const VolumeSnapshot&) const = default;
};

} // namespace quenstal
