#pragma once

#include "QuenstalLinux/Keys/InputNodes.hpp"
#include "QuenstalLinux/Keys/KeyCapture.hpp"
#include "QuenstalLinux/Keys/KeyGrabber.hpp"
#include "QuenstalPlatform/Notifier.hpp"

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quenstal {

/// Volume keys from the keyboards themselves, for desktops that offer no other way. Needs access to the keyboards'
/// nodes and to uinput.
class EvdevKeyCapture final : public KeyCapture {
public:
    /// Keyboards that could not be had are left alone for this long.
    static constexpr auto pause = std::chrono::seconds(30);

    enum class Obstacle {
        none,
        noKeyboard,
        takenByOther,
        /// The system makes no clones of the keyboards.
        notCloned,
        /// There is no process to guard them.
        unguarded,
        noAccess,
    };

    /// The run loop outlives this. Keyboards of another seat are not looked at.
    explicit EvdevKeyCapture(RunLoop& runLoop, std::string seat = firstSeat);
    ~EvdevKeyCapture() override;

    std::string_view name() const override { return "from the keyboards themselves"; }
    bool isPossible() override;
    std::string obstacle() override;
    /// The same as a kind. Cheap.
    Obstacle obstacleKind() const;
    bool start(KeyCaptureListener& listener) override;
    void stop() override;
    [[nodiscard]] Cancellation onMayHaveChanged(RunLoop::Task task) override { return changes_.add(std::move(task)); }

private:
    /// What the grabber's thread may post to: gone once the capture has stopped.
    struct Session;

    std::vector<std::string> accessibleNodes() const;
    void watchHotplug();
    void nodesMayHaveChanged();
    void grab();
    void lost(KeyGrabber::Loss loss);
    void leaveAloneBecauseOf(Obstacle reason);

    RunLoop& runLoop_;
    std::string seat_;
    Notifier<> changes_;
    std::unique_ptr<udev, ReleaseUdev> udev_;
    std::unique_ptr<udev_monitor, ReleaseUdev> monitor_;
    Cancellation watch_;
    std::vector<InputNode> nodes_;
    /// While it waits the keyboards are left alone, for the reason below.
    Cancellation pause_;
    Obstacle pauseReason_ = Obstacle::none;
    KeyCaptureListener* listener_ = nullptr;
    std::shared_ptr<Session> session_;
    std::vector<std::string> grabbedNodes_;
    std::unique_ptr<KeyGrabber> grabber_;
};

} // namespace quenstal
