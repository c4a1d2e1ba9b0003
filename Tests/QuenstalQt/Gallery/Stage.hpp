#pragma once

// Shows a scene in a window without a screen, and takes its picture.

#include "Gallery/Scenes.hpp"
#include "QuenstalQt/Panel/PanelModel.hpp"
#include "QuenstalQt/Panel/Question.hpp"

#include <memory>

#include <QImage>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>

namespace quenstal::gallery {

/// Width of the shadow's room around the glass.
inline constexpr int shadowMargin = 26;

/// To be called before the application object is made: no screen, software rendering, the fonts of the tests.
void prepareEnvironment(double scale);

/// One panel with its own view state.
class Stage {
public:
    Stage(QQmlEngine& engine, const Scene& scene);
    ~Stage();

    QImage picture();
    QQuickWindow& window() { return window_; }
    /// The glass and the room for its shadow, in points.
    QSize size() const;
    GlassDialViewState& viewState() { return viewState_; }
    QQuickItem& root() { return *root_; }

private:
    int margin_;
    GlassDialViewState viewState_;
    PanelModel model_;
    std::unique_ptr<Question> question_;
    QQuickWindow window_;
    std::unique_ptr<QQuickItem> root_;
};

/// The feedback bar.
class FeedbackStage {
public:
    FeedbackStage(QQmlEngine& engine, const KeyFeedback& feedback);

    QImage picture();
    QQuickWindow& window() { return window_; }
    QQuickItem& root() { return *root_; }

private:
    QQuickWindow window_;
    std::unique_ptr<QQuickItem> root_;
};

} // namespace quenstal::gallery
