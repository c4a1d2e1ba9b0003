#pragma once

#include "QuenstalQt/Panel/PanelModel.hpp"
#include "QuenstalQt/Panel/Question.hpp"

#include <functional>
#include <memory>

#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>

namespace quenstal {

/// The views in the panel's window: loaded when the panel is first shown, given back some time after it was hidden.
/// Main thread.
class PanelContent {
public:
    /// `released` is called after the views were given back.
    PanelContent(QQuickWindow& window, GlassDialViewState& viewState, std::function<void()> released);
    ~PanelContent();

    /// The room for the shadow in points, and whether the desktop shines through.
    void show(int margin, bool translucent);
    void hide();
    /// Loads nothing: without views there is nothing to ask in.
    void setQuestion(Question* question);
    void resize();
    void setKeyboardInUse(bool inUse) { model_.setKeyboardInUse(inUse); }
    void setMotion(bool motion);

private:
    void load(int margin, bool translucent);
    void release();

    QQuickWindow& window_;
    std::function<void()> released_;
    PanelModel model_;
    bool motion_ = true;
    std::unique_ptr<QQmlEngine> engine_;
    std::unique_ptr<QQuickItem> root_;
    QTimer release_;
};

} // namespace quenstal
