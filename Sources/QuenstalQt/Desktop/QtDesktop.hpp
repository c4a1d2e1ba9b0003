#pragma once

#include "QuenstalApp/StatusMenuController/PanelViewHosting.hpp"
#include "QuenstalPlatform/Desktop.hpp"
#include "QuenstalPlatform/WindowSystem.hpp"

#include <memory>
#include <string>

namespace quenstal {

/// The desktop through the toolkit, and the panel's views. The application object must exist. Main thread.
class QtDesktop final : public Desktop, public PanelViewHosting {
public:
    /// The window system may be null: then the panel closes when it loses the focus, and clicks elsewhere are not
    /// heard. It outlives the desktop.
    explicit QtDesktop(WindowSystem* windowSystem);
    ~QtDesktop() override;

    /// The session bus, silent when the toolkit was made, is now available at this address.
    void sessionBusAppeared(const std::string& address);

    std::unique_ptr<StatusItem> createStatusItem(StatusItemHandler& handler) override;
    std::unique_ptr<PanelWindow> createPanel(const PanelSettings& settings) override;
    [[nodiscard]] Cancellation addLocalKeyDownMonitor(std::function<bool(const KeyEvent&)> handler) override;
    [[nodiscard]] Cancellation addGlobalMouseMonitor(std::uint32_t mask, std::function<void()> handler) override;
    std::vector<DesktopScreen> screens() override;
    std::optional<Point> pointerLocation() override;
    void showAlert(const Alert& alert, std::function<void(AlertResponse)> answered) override;
    void showNotice(std::string_view title, std::string_view text) override;
    void showKeyFeedback(const KeyFeedback& feedback) override;
    void clearPasteboard() override;
    void setPasteboardString(std::string_view text) override;
    bool open(std::string_view url) override;
    void terminate() override;

    std::unique_ptr<Interface> host(PanelWindow& panel, GlassDialViewState& viewState) override;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace quenstal
