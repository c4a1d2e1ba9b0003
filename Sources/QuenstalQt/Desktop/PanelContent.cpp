#include "QuenstalQt/Desktop/PanelContent.hpp"

#include "QuenstalQt/Desktop/Views.hpp"

#include <chrono>
#include <utility>

namespace quenstal {

namespace {

/// A panel that is opened again within this time appears at once; after it its memory is free for others.
constexpr auto keepHiddenViews = std::chrono::seconds(30);

} // namespace

PanelContent::PanelContent(QQuickWindow& window, GlassDialViewState& viewState, std::function<void()> released)
    : window_(window)
    , released_(std::move(released))
    , model_(viewState)
{
    release_.setSingleShot(true);
    QObject::connect(&release_, &QTimer::timeout, &model_, [this] { release(); });
}

PanelContent::~PanelContent() = default;

void PanelContent::show(int margin, bool translucent)
{
    release_.stop();
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
    if (root_)
        release_.start(keepHiddenViews);
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

void PanelContent::release()
{
    root_.reset();
    engine_.reset();
    window_.releaseResources();
    released_();
}

} // namespace quenstal
