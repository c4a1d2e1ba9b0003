#pragma once

#include "QuenstalLinux/Keyboards/Backoff.hpp"
#include "QuenstalLinux/Keyboards/InputNodes.hpp"
#include "QuenstalLinux/Keyboards/KeyCapture.hpp"
#include "QuenstalLinux/Keyboards/KeyGrabber.hpp"
#include "QuenstalPlatform/Notifier.hpp"
#include "QuenstalPlatform/OwnedTasks.hpp"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quenstal {

/// Volume keys directly from the keyboards, for desktops that offer no other way. Needs access to the keyboards' nodes
/// and to uinput. Each keyboard is captured, or left alone, independently of the others.
class EvdevKeyCapture final : public KeyCapture {
public:
    /// A keyboard that could not be captured is left alone for this long.
    static constexpr auto pause = std::chrono::seconds(30);

    enum class Obstacle {
        none,
        noKeyboard,
        takenByOther,
        /// The system cannot create clones of the keyboards.
        notCloned,
        /// The guard process cannot be started.
        unguarded,
        /// A key is being held, and not released.
        keyHeld,
        /// They were lost again and again.
        lostAtOnce,
        noAccess,
    };

    /// The run loop outlives this. Keyboards of another seat are not looked at.
    explicit EvdevKeyCapture(RunLoop& runLoop, std::string seat = firstSeat, KeyGrabber::Patience patience = {});
    ~EvdevKeyCapture() override;

    std::string_view name() const override { return "directly from the keyboards"; }
    bool isPossible() override;
    std::string obstacle() override;
    /// The same as a kind. Cheap.
    Obstacle obstacleKind() const;
    bool start(KeyCaptureListener& listener) override;
    /// Waits a fraction of a second, until the keyboards' readers have read the last events.
    void stop() override;
    [[nodiscard]] Cancellation onMayHaveChanged(RunLoop::Task task) override { return changes_.add(std::move(task)); }

private:
    struct Keyboard {
        Backoff backoff;
        /// What the grabber has posted; gone with it.
        std::unique_ptr<OwnedTasks> tasks;
        std::unique_ptr<KeyGrabber> grabber;
        /// While it waits the keyboard is left alone, for the reason below.
        Cancellation wait;
        Obstacle reason = Obstacle::none;
    };

    std::vector<std::string> accessibleNodes() const;
    void watchHotplug();
    void nodesMayHaveChanged();
    void captureAll();
    void capture(const std::string& node);
    void lost(const std::string& node, KeyGrabber::Loss loss);
    Cancellation waitAfter(const std::string& node, Keyboard& keyboard, KeyGrabber::Loss loss);
    void waitEnded(const std::string& node);
    void loseIfNothingIsCaptured();

    RunLoop& runLoop_;
    std::string seat_;
    KeyGrabber::Patience patience_;
    Notifier<> changes_;
    std::unique_ptr<udev, ReleaseUdev> udev_;
    std::unique_ptr<udev_monitor, ReleaseUdev> monitor_;
    Cancellation watch_;
    std::vector<InputNode> nodes_;
    KeyCaptureListener* listener_ = nullptr;
    /// By their nodes.
    std::map<std::string, Keyboard> keyboards_;
};

} // namespace quenstal
