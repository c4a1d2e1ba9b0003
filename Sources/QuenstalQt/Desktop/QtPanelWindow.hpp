#pragma once

#include "QuenstalPlatform/Desktop.hpp"
#include "QuenstalPlatform/WindowSystem.hpp"
#include "QuenstalQt/Desktop/PanelContent.hpp"

#include <functional>
#include <list>
#include <memory>
#include <optional>

#include <QByteArray>
#include <QQuickWindow>

namespace quenstal {

/// The panel as a window of the toolkit: glass and shadow, shaped so that the shadow takes no clicks. Main thread.
class QtPanelWindow final : public PanelWindow {
public:
    /// Without a window system the panel takes the focus as any window does, and loses it as any window does.
    QtPanelWindow(const PanelSettings& settings, WindowSystem* windowSystem);
    ~QtPanelWindow() override;

    bool isVisible() override;
    Rect frame() override { return frame_; }
    void setFrame(const Rect& frame) override;
    void orderFrontRegardless() override;
    void makeKey() override;
    void orderOut() override;

    /// The views live until the result is destroyed. They and their window are made when the panel is first shown: with
    /// no screen there can be no window.
    std::unique_ptr<Interface> host(GlassDialViewState& viewState);
    void setMotion(bool motion);

    /// Asks in front of the views; answered with the button's number. Questions wait for one another, and the last
    /// button answers when the panel is hidden.
    void ask(const QString& title, const QString& text, const QStringList& buttons, std::function<void(int)> answered);
    /// Shows an explanation until it is closed; replaces one that is still shown.
    void explain(const QString& title, const QString& text);
    bool isAsking() const { return !questions_.empty(); }

    /// The compositor's permission to take the keyboard from the program that has it, for the next `makeKey`.
    void setActivationToken(const QByteArray& token) { activationToken_ = token; }

    WindowID windowID() const;
    /// Whether the last mouse press in the panel happened at this time.
    bool wasPressedAt(std::uint32_t time) const { return lastPress_ == time; }

    /// Hears every key-down; the answer true keeps it from the views.
    std::function<bool(const KeyEvent&)> onKeyDown;
    std::function<void()> onShown;
    /// The panel lost the keyboard to another window.
    std::function<void()> onDeactivated;
    std::function<void()> onDestroyed;

private:
    class Window;

    void makeWindow();
    void keyDown(QKeyEvent& event);
    int margin() const;
    void activate();
    void applyFrame();
    void shape();
    void push(const QString& title, const QString& text, const QStringList& buttons, bool isExplanation,
        std::function<void(int)> answered);
    void showQuestion();

    PanelSettings settings_;
    WindowSystem* windowSystem_;
    bool isComposited_ = true;
    Rect frame_;
    WindowID focusBefore_ = 0;
    std::optional<std::uint32_t> lastPress_;
    QByteArray activationToken_;
    /// None before the views are hosted and after.
    GlassDialViewState* viewState_ = nullptr;
    bool motion_ = true;
    std::unique_ptr<Window> window_;
    std::unique_ptr<PanelContent> content_;
    struct Asked {
        std::unique_ptr<Question> question;
        int lastButton = 0;
        bool isExplanation = false;
    };
    /// The first is shown; the others wait. A list: each keeps its place until it is answered.
    std::list<Asked> questions_;
};

} // namespace quenstal
