#pragma once

// The seven ports as one small machine: knobs say what it has and where it breaks, and one journal keeps every
// call that it was asked, in order.

#include "QuenstalCore/Ports.hpp"
#include "QuenstalCore/QuenstalController.hpp"

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quenstal {

enum class Call {
    defaultOutputDevice,
    displayTarget,
    currentPermissionState,
    systemReadVolume,
    systemSetVolume,
    ddcReadVolume,
    ddcSetVolume,
    isAvailable,
    softwareReadVolume,
    softwareSetVolume,
    setEQProfile,
    readLevels,
    stopAll,
    profile,
    saveProfile,
    softwareProcessingPreferred,
    setSoftwareProcessingPreferred,
};

inline constexpr auto everyCall
    = std::to_array<Call>({Call::defaultOutputDevice, Call::displayTarget, Call::currentPermissionState,
        Call::systemReadVolume, Call::systemSetVolume, Call::ddcReadVolume, Call::ddcSetVolume, Call::isAvailable,
        Call::softwareReadVolume, Call::softwareSetVolume, Call::setEQProfile, Call::readLevels, Call::stopAll,
        Call::profile, Call::saveProfile, Call::softwareProcessingPreferred, Call::setSoftwareProcessingPreferred});

/// "displayTarget(monitor)", "ddc.setVolume(0 muted, panel)", …
using Calls = std::vector<std::string>;

inline Calls operator+(Calls first, const Calls& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

inline std::string shortNumber(double value)
{
    std::string text = std::to_string(value);
    text.erase(text.find_last_not_of('0') + 1);
    return text.ends_with('.') ? text.substr(0, text.size() - 1) : text;
}

inline std::string described(const VolumeSnapshot& volume)
{
    return shortNumber(volume.level) + (volume.isMuted ? " muted" : "");
}

/// Preset and preamp: enough to tell one test's profiles apart.
inline std::string described(const EQProfile& profile)
{
    return std::string(rawValue(profile.preset)) + " " + shortNumber(profile.preampDB);
}

class FakePorts {
public:
    FakePorts() = default;
    FakePorts(const FakePorts&) = delete;
    FakePorts& operator=(const FakePorts&) = delete;

    // What the machine has. A written volume is the one read back.
    std::optional<AudioOutputDevice> device;
    std::optional<DisplayControlTarget> display;
    PermissionState permissions = PermissionState::allGranted();
    bool softwareAvailable = true;
    VolumeSnapshot systemVolume = VolumeSnapshot::defaultAudible();
    VolumeSnapshot ddcVolume = VolumeSnapshot::defaultAudible();
    VolumeSnapshot softwareVolume = VolumeSnapshot::defaultAudible();
    SoundLevelSnapshot levels;
    std::optional<InMemoryEQProfileStore> store{std::in_place};

    /// The call does this from now on before it does its own work. An action that throws is a port that throws.
    void on(Call call, std::function<void()> action) { actions_[call] = std::move(action); }
    template <typename Thrown>
    void failWith(Call call, Thrown thrown)
    {
        on(call, [thrown] { throw thrown; });
    }
    void behave() { actions_.clear(); }

    /// Everything asked since the last time, in order.
    Calls takeCalls() { return std::exchange(calls_, {}); }

    /// A controller over this machine, which must outlive it.
    std::unique_ptr<QuenstalController> makeController(
        VolumeSnapshot initialVolume = VolumeSnapshot::defaultAudible(), double stepSize = 0.0625);

private:
    template <typename Port>
    struct Of;
    struct AudioDevices;
    struct Displays;
    struct Permissions;
    struct SystemVolume;
    struct DDCVolume;
    struct SoftwareVolume;
    struct Store;

    void asked(Call call, std::string entry)
    {
        calls_.push_back(std::move(entry));
        if (const auto action = actions_.find(call); action != actions_.end())
            action->second();
    }

    std::map<Call, std::function<void()>> actions_;
    Calls calls_;
};

template <typename Port>
struct FakePorts::Of : Port {
    explicit Of(FakePorts& machine)
        : machine(machine)
    {
    }
    FakePorts& machine;
};

struct FakePorts::AudioDevices final : Of<AudioDeviceProviding> {
    using Of::Of;
    std::optional<AudioOutputDevice> defaultOutputDevice() override
    {
        machine.asked(Call::defaultOutputDevice, "defaultOutputDevice");
        return machine.device;
    }
};

struct FakePorts::Displays final : Of<DisplayTargetProviding> {
    using Of::Of;
    std::optional<DisplayControlTarget> displayTarget(const AudioOutputDevice& output) override
    {
        machine.asked(Call::displayTarget, "displayTarget(" + output.id + ")");
        return machine.display;
    }
};

struct FakePorts::Permissions final : Of<PermissionProviding> {
    using Of::Of;
    PermissionState currentPermissionState() override
    {
        machine.asked(Call::currentPermissionState, "currentPermissionState");
        return machine.permissions;
    }
};

struct FakePorts::SystemVolume final : Of<SystemVolumeControlling> {
    using Of::Of;
    VolumeSnapshot readVolume(const AudioOutputDevice& output) override
    {
        machine.asked(Call::systemReadVolume, "system.readVolume(" + output.id + ")");
        return machine.systemVolume;
    }
    void setVolume(const VolumeSnapshot& snapshot, const AudioOutputDevice& output) override
    {
        machine.asked(Call::systemSetVolume, "system.setVolume(" + described(snapshot) + ", " + output.id + ")");
        machine.systemVolume = snapshot;
    }
};

struct FakePorts::DDCVolume final : Of<DDCVolumeControlling> {
    using Of::Of;
    VolumeSnapshot readVolume(const DisplayControlTarget& target) override
    {
        machine.asked(Call::ddcReadVolume, "ddc.readVolume(" + target.id + ")");
        return machine.ddcVolume;
    }
    void setVolume(const VolumeSnapshot& snapshot, const DisplayControlTarget& target) override
    {
        machine.asked(Call::ddcSetVolume, "ddc.setVolume(" + described(snapshot) + ", " + target.id + ")");
        machine.ddcVolume = snapshot;
    }
};

struct FakePorts::SoftwareVolume final : Of<SoftwareVolumeControlling> {
    using Of::Of;
    bool isAvailable(const AudioOutputDevice& output) override
    {
        machine.asked(Call::isAvailable, "isAvailable(" + output.id + ")");
        return machine.softwareAvailable;
    }
    VolumeSnapshot readVolume(const AudioOutputDevice& output) override
    {
        machine.asked(Call::softwareReadVolume, "software.readVolume(" + output.id + ")");
        return machine.softwareVolume;
    }
    void setVolume(const VolumeSnapshot& snapshot, const AudioOutputDevice& output) override
    {
        machine.asked(Call::softwareSetVolume, "software.setVolume(" + described(snapshot) + ", " + output.id + ")");
        machine.softwareVolume = snapshot;
    }
    void setEQProfile(const EQProfile& profile, const AudioOutputDevice& output) override
    {
        machine.asked(Call::setEQProfile, "setEQProfile(" + described(profile) + ", " + output.id + ")");
    }
    SoundLevelSnapshot readLevels(const AudioOutputDevice& output) override
    {
        machine.asked(Call::readLevels, "readLevels(" + output.id + ")");
        return machine.levels;
    }
    void stopAll() override { machine.asked(Call::stopAll, "stopAll"); }
};

struct FakePorts::Store final : Of<EQProfileStoring> {
    using Of::Of;
    std::optional<EQProfile> profile(std::string_view key) override
    {
        machine.asked(Call::profile, "profile(" + std::string(key) + ")");
        return machine.store->profile(key);
    }
    void saveProfile(const EQProfile& profile, std::string_view key) override
    {
        machine.asked(Call::saveProfile, "saveProfile(" + described(profile) + ", " + std::string(key) + ")");
        machine.store->saveProfile(profile, key);
    }
    bool softwareProcessingPreferred(std::string_view key) override
    {
        machine.asked(Call::softwareProcessingPreferred, "softwareProcessingPreferred(" + std::string(key) + ")");
        return machine.store->softwareProcessingPreferred(key);
    }
    void setSoftwareProcessingPreferred(bool preferred, std::string_view key) override
    {
        machine.asked(Call::setSoftwareProcessingPreferred,
            std::string("setSoftwareProcessingPreferred(") + (preferred ? "true, " : "false, ") + std::string(key)
                + ")");
        machine.store->setSoftwareProcessingPreferred(preferred, key);
    }
};

inline std::unique_ptr<QuenstalController> FakePorts::makeController(VolumeSnapshot initialVolume, double stepSize)
{
    return std::make_unique<QuenstalController>(std::make_shared<AudioDevices>(*this),
        std::make_shared<Displays>(*this), std::make_shared<Permissions>(*this), std::make_shared<SystemVolume>(*this),
        std::make_shared<DDCVolume>(*this), std::make_shared<SoftwareVolume>(*this), std::make_shared<Store>(*this),
        ModeSelector(), VolumeReducer(stepSize), initialVolume);
}

} // namespace quenstal
