// The core at work on outputs that exist in memory only: no sound card, monitor or keyboard is touched.

#include "QuenstalCore/MenuPresenter.hpp"
#include "QuenstalCore/QuenstalController.hpp"

#include <cstdio>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace {

using namespace quenstal;
using Key = MediaKeyRouter::Key;

/// An output with the display behind it.
struct Output {
    AudioOutputDevice device;
    std::optional<DisplayControlTarget> display;
};

/// The outputs one could choose in the sound settings, one of which is chosen.
class Desk final : public AudioDeviceProviding, public DisplayTargetProviding, public PermissionProviding {
public:
    void choose(Output output) { output_ = std::move(output); }

    std::optional<AudioOutputDevice> defaultOutputDevice() override { return output_.device; }
    std::optional<DisplayControlTarget> displayTarget(const AudioOutputDevice&) override { return output_.display; }
    PermissionState currentPermissionState() override { return PermissionState::allGranted(); }

private:
    Output output_;
};

/// Remembers the volume of every target. When broken, every operation throws.
template <typename VolumePort, typename Target>
class VolumeInMemory : public VolumePort {
public:
    void setBroken(bool broken) { isBroken_ = broken; }

    VolumeSnapshot readVolume(const Target& target) override
    {
        throwIfBroken();
        return volumes_.try_emplace(target.id, VolumeSnapshot::defaultAudible()).first->second;
    }

    void setVolume(const VolumeSnapshot& snapshot, const Target& target) override
    {
        throwIfBroken();
        volumes_[target.id] = snapshot;
    }

private:
    void throwIfBroken() const
    {
        if (isBroken_)
            throw QuenstalError::commandFailed("The monitor does not answer.");
    }

    std::unordered_map<std::string, VolumeSnapshot> volumes_;
    bool isBroken_ = false;
};

using SystemVolumeInMemory = VolumeInMemory<SystemVolumeControlling, AudioOutputDevice>;
using MonitorsInMemory = VolumeInMemory<DDCVolumeControlling, DisplayControlTarget>;

class SoftwareVolumeInMemory final : public VolumeInMemory<SoftwareVolumeControlling, AudioOutputDevice> {
public:
    bool isAvailable(const AudioOutputDevice&) override { return true; }
    void stopAll() override { }
};

void show(std::string_view event, const QuenstalState& state)
{
    const MenuSnapshot menu(state);
    std::printf("  %-18s %-6s %-22s", std::string(event).c_str(), menu.title.c_str(), menu.modeName.c_str());
    std::puts(menu.primaryDiagnostic.value_or("").c_str());
}

void press(QuenstalController& controller, std::initializer_list<Key> keys)
{
    for (const Key key : keys) {
        if (const auto command = MediaKeyRouter().command(key, controller.refresh().permissions)) {
            controller.handle(*command);
            show(captureLabel(key), controller.state());
        }
    }
}

} // namespace

int main()
{
    const auto desk = std::make_shared<Desk>();
    const auto monitors = std::make_shared<MonitorsInMemory>();
    const Output laptop{{"laptop", "Built-in speakers", AudioTransport::builtIn, true, {}}, {}};
    const Output screen{{"screen", "Studio monitor", AudioTransport::displayPort, false, "screen-uid"},
        DisplayControlTarget{"DP-1", "Studio monitor", true, true}};
    const Output television{{"tv", "Television", AudioTransport::hdmi, false, "tv-uid"}, {}};

    desk->choose(laptop);
    QuenstalController controller(desk, desk, desk, std::make_shared<SystemVolumeInMemory>(), monitors,
        std::make_shared<SoftwareVolumeInMemory>(), std::make_shared<InMemoryEQProfileStore>(), ModeSelector(),
        VolumeReducer(0.0625), VolumeSnapshot::defaultAudible());

    std::puts("Quenstal's core on outputs that exist in memory only.\n\nBuilt-in speakers: the system's own volume");
    press(controller, {Key::volumeUp, Key::mute, Key::volumeUp});

    std::puts("\nA monitor that takes volume commands: its own speaker volume");
    desk->choose(screen);
    press(controller, {Key::volumeUp, Key::volumeUp});

    std::puts("\nThe same monitor stops answering: this command falls back to software");
    monitors->setBroken(true);
    press(controller, {Key::volumeDown});
    monitors->setBroken(false);

    std::puts("\nA television without volume commands: software volume");
    desk->choose(television);
    press(controller, {Key::volumeDown, Key::mute});

    std::printf("\nDiagnostics report:\n%s\n", controller.exportedDiagnostics().c_str());
}
