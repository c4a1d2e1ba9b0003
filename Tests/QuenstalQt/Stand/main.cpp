// quenstal_stand: the real desktop and panel over an output that lives in memory, for tests on a real X server. Reports
// every change on its output and takes commands on its input: "feedback PERCENT", "feedback muted", "feedback ignored",
// "feedback on OUTPUT", "motion", "notice TEXT", "open", "quit". Started with "--no-window-system" it has what a
// Wayland session without an X server has.

#include "QuenstalApp/StatusMenuController.hpp"
#include "QuenstalLinux/Desktop/X11WindowSystem.hpp"
#include "QuenstalLinux/Session/SingleInstance.hpp"
#include "QuenstalQt/Desktop/QtDesktop.hpp"
#include "QuenstalQt/Panel/PanelModel.hpp"
#include "QuenstalQt/QtRunLoop.hpp"
#include "QuenstalQt/QtToolkit.hpp"
#include "QuenstalSimulation/SimulatedCapturePermission.hpp"
#include "QuenstalSimulation/SimulatedMonitorWatch.hpp"
#include "QuenstalSimulation/SimulatedPreferences.hpp"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickWindow>

namespace {

using namespace quenstal;

class Monitor final : public AudioDeviceProviding,
                      public DisplayTargetProviding,
                      public PermissionProviding,
                      public SoftwareVolumeControlling {
public:
    std::optional<AudioOutputDevice> defaultOutputDevice() override
    {
        return AudioOutputDevice{"hdmi", "Desk Monitor 27", AudioTransport::hdmi, false, "hdmi"};
    }
    std::optional<DisplayControlTarget> displayTarget(const AudioOutputDevice&) override { return std::nullopt; }
    PermissionState currentPermissionState() override { return PermissionState::allGranted(); }
    bool isAvailable(const AudioOutputDevice&) override { return true; }
    VolumeSnapshot readVolume(const AudioOutputDevice&) override { return volume_; }
    void setVolume(const VolumeSnapshot& snapshot, const AudioOutputDevice&) override { volume_ = snapshot; }
    SoundLevelSnapshot readLevels(const AudioOutputDevice&) override
    {
        phase_ += 0.3;
        const double level = 0.3 + 0.25 * std::sin(phase_);
        return {level, level * 0.8, 0.6, 0.5, false};
    }
    void stopAll() override { }

private:
    VolumeSnapshot volume_{0.42, false};
    double phase_ = 0;
};

/// The system has no volume of its own for this output, and its monitor takes no commands.
class NoVolume final : public SystemVolumeControlling, public DDCVolumeControlling {
public:
    VolumeSnapshot readVolume(const AudioOutputDevice&) override { throw QuenstalError::unsupportedDevice(); }
    void setVolume(const VolumeSnapshot&, const AudioOutputDevice&) override
    {
        throw QuenstalError::unsupportedDevice();
    }
    VolumeSnapshot readVolume(const DisplayControlTarget&) override { throw QuenstalError::unsupportedDevice(); }
    void setVolume(const VolumeSnapshot&, const DisplayControlTarget&) override
    {
        throw QuenstalError::unsupportedDevice();
    }
};

void report(const QuenstalState& state)
{
    const GlassDialSnapshot snapshot(state);
    std::printf("state percent=%lld muted=%d enabled=%d eq=%d\n", static_cast<long long>(snapshot.levelPercent),
        snapshot.isMuted, snapshot.isEnabled, snapshot.eqEnabled);
    std::fflush(stdout);
}

/// Opens the panel, and reports the time to its first frame.
void openAndTime(StatusMenuController& statusMenu)
{
    QElapsedTimer sinceClick;
    sinceClick.start();
    statusMenu.showPanel();
    for (QWindow* window : QGuiApplication::allWindows()) {
        auto* panel = qobject_cast<QQuickWindow*>(window);
        if (!panel || !panel->isVisible())
            continue;
        const auto reportFrame = [sinceClick] {
            std::printf("frame=%lld\n", static_cast<long long>(sinceClick.elapsed()));
            std::fflush(stdout);
        };
        QObject::connect(panel, &QQuickWindow::frameSwapped, panel, reportFrame, Qt::SingleShotConnection);
    }
}

KeyFeedback feedbackNamed(const std::string& name)
{
    if (name == "muted")
        return {"speaker.slash.fill", "Muted", 48, "Desk Monitor 27"};
    if (name == "ignored")
        return {"speaker.fill", "Off", std::nullopt, "Enable Quenstal to control volume."};
    if (const std::string on = "on "; name.starts_with(on))
        return {"speaker.wave.2.fill", "48%", 48, name.substr(on.size())};
    return {"speaker.wave.2.fill", name + "%", std::stoi(name), "Desk Monitor 27"};
}

/// Whether the open panel moves things.
void reportMotion()
{
    for (QWindow* window : QGuiApplication::allWindows()) {
        auto* panel = qobject_cast<QQuickWindow*>(window);
        if (!panel || !panel->isVisible())
            continue;
        for (const QQuickItem* view : panel->contentItem()->childItems()) {
            if (const auto* model = view->property("panel").value<PanelModel*>())
                std::printf("motion=%d\n", model->motion());
        }
    }
    std::fflush(stdout);
}

void obey(const std::string& command, QtDesktop& desktop, StatusMenuController& statusMenu)
{
    const std::string feedback = "feedback ";
    if (command.starts_with(feedback))
        desktop.showKeyFeedback(feedbackNamed(command.substr(feedback.size())));
    else if (command == "motion")
        reportMotion();
    else if (const std::string notice = "notice "; command.starts_with(notice))
        desktop.showNotice("Volume keys", command.substr(notice.size()));
    else if (command == "open")
        openAndTime(statusMenu);
    else if (command == "quit")
        desktop.terminate();
}

} // namespace

int main(int argc, char** argv)
{
    // The input's own buffer then tells whether there is more to read.
    std::ios::sync_with_stdio(false);
    QtToolkit toolkit(argc, argv);
    QtRunLoop runLoop;
    DBusConnection sessionBus(runLoop, DBusConnection::Which::session);
    SingleInstance instance(sessionBus);
    if (!instance.isFirst())
        return instance.activateFirst() ? EXIT_SUCCESS : EXIT_FAILURE;
    const bool hasWindowSystem = argc < 2 || std::string_view(argv[1]) != "--no-window-system";
    const auto windowSystem = hasWindowSystem ? connectToX11(runLoop) : nullptr;
    QtDesktop desktop(windowSystem.get());
    SimulatedPreferences preferences;
    preferences.setBoolean("Quenstal.SetupGuideCompleted", true);
    SimulatedCapturePermission permission;
    SimulatedMonitorWatch monitorWatch;
    auto monitor = std::make_shared<Monitor>();
    auto noVolume = std::make_shared<NoVolume>();
    auto controller = std::make_shared<QuenstalController>(monitor, monitor, monitor, noVolume, noVolume, monitor,
        std::make_shared<InMemoryEQProfileStore>(), ModeSelector(), VolumeReducer(0.0625),
        VolumeSnapshot::defaultAudible());
    auto desk = std::make_shared<VolumeDesk>(runLoop, monitorWatch, controller);
    StatusMenuController statusMenu({runLoop, desktop, preferences, permission, monitorWatch, desktop}, desk);
    const Cancellation reporting = desk->onPublished(report);
    instance.onActivated([&statusMenu] { statusMenu.showPanel(); });
    const Cancellation input = runLoop.watchReadable(0, [&] {
        // Several lines may have come at once.
        do {
            std::string command;
            if (!std::getline(std::cin, command))
                return desktop.terminate();
            obey(command, desktop, statusMenu);
        } while (std::cin.rdbuf()->in_avail() > 0);
    });
    report(controller->state());
    return toolkit.run();
}
