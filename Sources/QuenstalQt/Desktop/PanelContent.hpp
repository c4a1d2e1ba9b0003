#pragma once

#include "QuenstalQt/Panel/PanelModel.hpp"
#include "QuenstalQt/Panel/Question.hpp"

#include <memory>

#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>

namespace quenstal {

/// The views in the panel's window: loaded when the panel is first shown, then kept, since unloading them would free
/// little memory and the panel would no longer appear at once. Main thread.
class PanelContent {
public:
    PanelContent(QQuickWindow& window, GlassDialViewState& viewState);
    ~PanelContent();

    /// The room for the shadow in points, and whether the desktop shines through.
    void show(int margin, bool translucent);
    void hide();
    /// Loads nothing: without views there is nowhere to ask.
    void setQuestion(Question* question);
    void resize();
    void setKeyboardInUse(bool inUse) { model_.setKeyboardInUse(inUse); }
    void setMotion(bool motion);

private:
    void load(int margin, bool translucent);

    QQuickWindow& window_;
    PanelModel model_;
    bool motion_ = true;
    std::unique_ptr<QQmlEngine> engine_;
    std::unique_ptr<QQuickItem> root_;
};

} // namespace quenstal
