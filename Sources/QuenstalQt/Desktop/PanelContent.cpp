#include "QuenstalQt/Desktop/PanelContent.hpp"

#include "QuenstalQt/Desktop/Views.hpp"

namespace quenstal {

PanelContent::PanelContent(QQuickWindow& window, GlassDialViewState& viewState)
    : window_(window)
    , model_(viewState)
{
}

PanelContent::~PanelContent() = default;

void PanelContent::show(int margin, bool translucent)
{
    // Where it was left plays no part: the panel opens as it is, without movement.
    model_.setMotion(false);
    model_.setKeyboardInUse(false);
    if (root_) {
        root_->setProperty("margin", margin);
        root_->setProperty("translucent", translucent);
    } else {
        load(margin, translucent);
    }
    resize();
    model_.setMotion(motion_);
}

void PanelContent::hide()
{
    model_.setMotion(false);
}

void PanelContent::setQuestion(Question* question)
{
    if (root_)
        root_->setProperty("question", QVariant::fromValue<QObject*>(question));
}

void PanelContent::resize()
{
    if (root_)
        root_->setSize(window_.size());
}

void PanelContent::setMotion(bool motion)
{
    motion_ = motion;
    model_.setMotion(motion && window_.isVisible());
}

void PanelContent::load(int margin, bool translucent)
{
    engine_ = std::make_unique<QQmlEngine>();
    root_ = createView(*engine_, "PanelRoot",
        {{QStringLiteral("panel"), QVariant::fromValue(&model_)}, {QStringLiteral("margin"), margin},
            {QStringLiteral("translucent"), translucent}});
    root_->setParentItem(window_.contentItem());
}

} // namespace quenstal
