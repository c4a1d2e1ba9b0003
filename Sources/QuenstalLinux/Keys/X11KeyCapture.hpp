#pragma once

#include "QuenstalLinux/Keyboards/KeyCapture.hpp"
#include "QuenstalLinux/Xcb.hpp"
#include "QuenstalPlatform/Notifier.hpp"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <xcb/xcb_keysyms.h>

namespace quenstal {

/// Volume keys by passive grabs of an X server, over a connection of its own. The server delivers a grabbed key,
/// including its release, to no other program: the release cannot be passed on.
class X11KeyCapture final : public KeyCapture {
public:
    /// How long the answer of a trial grab holds.
    static constexpr auto probeLifetime = std::chrono::seconds(1);
    /// How soon to look again whether another program has freed the keys, which the server does not report.
    static constexpr auto retryPause = std::chrono::seconds(5);

    /// Connects to the display, "" for the one of the environment. Without a server nothing is possible, now or later.
    /// The run loop outlives this.
    X11KeyCapture(RunLoop& runLoop, const std::string& display = {});
    ~X11KeyCapture() override;

    std::string_view name() const override { return "through the X server"; }
    /// While idle this grabs the keys for a moment, at most once a second.
    bool isPossible() override;
    std::string obstacle() override;
    bool start(KeyCaptureListener& listener) override;
    void stop() override;
    [[nodiscard]] Cancellation onMayHaveChanged(RunLoop::Task task) override { return changes_.add(std::move(task)); }

private:
    enum class Obstacle { none, noServer, noKeys, ownedByOther };
    struct FreeSymbols {
        void operator()(xcb_key_symbols_t* symbols) const { xcb_key_symbols_free(symbols); }
    };
    struct Grab {
        xcb_keycode_t keycode = 0;
        std::int64_t button = 0;
    };

    std::vector<Grab> volumeKeys() const;
    Obstacle grab();
    void ungrab();
    void probe();
    void awaitFreeKeys();
    void dispatch();
    void handle(const xcb_generic_event_t& event);
    void keyPressed(xcb_keycode_t keycode);
    void keyReleased(xcb_keycode_t keycode);
    void keymapChanged();
    void loseServer();
    void lose();

    RunLoop& runLoop_;
    Notifier<> changes_;
    XcbConnection connection_;
    std::unique_ptr<xcb_key_symbols_t, FreeSymbols> symbols_;
    xcb_window_t root_ = 0;
    std::uint8_t xkbEvent_ = 0;
    std::vector<Grab> grabs_;
    std::optional<xcb_keycode_t> heldKey_;
    KeyCaptureListener* listener_ = nullptr;
    Obstacle obstacle_ = Obstacle::noServer;
    std::optional<RunLoop::SteadyTime> probedAt_;
    /// While another program owns the keys.
    Cancellation retry_;
    Cancellation watch_;
    Cancellation queuedEvents_;
};

} // namespace quenstal
