// Which presses of the mouse are inside the panel, as a window system tells of them after the panel has had its part.

#include "QuenstalQt/Desktop/QtDesktop.hpp"
#include "ViewFixture.hpp"

#include <functional>
#include <optional>
#include <utility>

namespace quenstal {
namespace {

/// Knows nothing of the toolkit's windows.
class ToldWindowSystem final : public WindowSystem {
public:
    bool isCompositing() override { return false; }
    WindowID focusedWindow() override { return 0; }
    void focusWindow(WindowID) override { }
    void setInputRegion(WindowID, const PixelRect&) override { }
    Cancellation onMouseDown(std::uint32_t, std::function<void(const MousePress&)> handler) override
    {
        tell = std::move(handler);
        return nullptr;
    }
    std::unique_ptr<TrayIcon> createTrayIcon(TrayIconUser, int) override { return nullptr; }

    std::function<void(const MousePress&)> tell;
};

TEST(OutsideClicks, areNotThoseThatThePanelHadBeforeItChangedItsSize)
{
    sharedEngine();
    const gallery::Scene& scene = sceneNamed("setup-done");
    GlassDialViewState viewState{GlassDialSnapshot(scene.state), SetupGuideSnapshot(scene.state)};
    ToldWindowSystem system;
    QtDesktop desktop(&system);
    const auto panel = desktop.createPanel({.contentRect = {0, 0, 344, 481}, .canBecomeKey = true});
    const auto hosting = desktop.host(*panel, viewState);
    panel->orderFrontRegardless();
    int clicks = 0;
    const auto monitor = desktop.addGlobalMouseMonitor(MouseEventMask::leftMouseDown, [&] { ++clicks; });

    const QWindowList windows = QGuiApplication::topLevelWindows();
    const auto window = std::ranges::find(windows, "Quenstal", &QWindow::title);
    ASSERT_NE(window, windows.end());
    QTest::mousePress(*window, Qt::LeftButton, {}, {172, 460});
    const auto timeOfPress = static_cast<std::uint32_t>(QTest::lastMouseTimestamp);
    panel->setFrame({0, 0, 344, 383});
    constexpr WindowID noWindow = 0;
    system.tell({noWindow, timeOfPress});
    EXPECT_EQ(clicks, 0);
    system.tell({noWindow, timeOfPress + 1});
    EXPECT_EQ(clicks, 1);
}

} // namespace
} // namespace quenstal
