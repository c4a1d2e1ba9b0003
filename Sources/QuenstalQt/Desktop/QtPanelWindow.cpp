#include "QuenstalQt/Desktop/QtPanelWindow.hpp"

#include "QuenstalPlatform/Undo.hpp"
#include "QuenstalQt/Desktop/KeyEvents.hpp"
#include "QuenstalQt/Desktop/Screens.hpp"
#include "QuenstalQt/Panel/CoreTexts.hpp"

#include <utility>

#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainterPath>
#include <QRegion>
#include <QScreen>

namespace quenstal {

namespace {

/// Room for the shadow, in points.
constexpr int shadowMargin = 26;
constexpr int cornerRadius = 24;

constexpr const char* activationVariable = "XDG_ACTIVATION_TOKEN";

Qt::WindowFlags windowFlags()
{
    Qt::WindowFlags flags = Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint;
    // A window manager would place it, decorate it and list it.
    if (QGuiApplication::platformName() == QLatin1String("xcb"))
        flags |= Qt::X11BypassWindowManagerHint;
    return flags;
}

} // namespace

class QtPanelWindow::Window final : public QQuickWindow {
public:
    explicit Window(QtPanelWindow& owner)
        : owner_(owner)
    {
    }

protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        owner_.keyDown(*event);
        if (!event->isAccepted())
            QQuickWindow::keyPressEvent(event);
    }

    void mousePressEvent(QMouseEvent* event) override
    {
        if (owner_.content_)
            owner_.content_->setKeyboardInUse(false);
        owner_.lastPress_ = static_cast<std::uint32_t>(event->timestamp());
        QQuickWindow::mousePressEvent(event);
    }

    void focusOutEvent(QFocusEvent* event) override
    {
        QQuickWindow::focusOutEvent(event);
        if (isVisible() && owner_.onDeactivated)
            owner_.onDeactivated();
    }

private:
    QtPanelWindow& owner_;
};

QtPanelWindow::QtPanelWindow(const PanelSettings& settings, WindowSystem* windowSystem)
    : settings_(settings)
    , windowSystem_(windowSystem)
    , frame_(settings.contentRect)
{
}

QtPanelWindow::~QtPanelWindow()
{
    if (onDestroyed)
        onDestroyed();
}

bool QtPanelWindow::isVisible()
{
    return window_ && window_->isVisible();
}

std::unique_ptr<Interface> QtPanelWindow::host(GlassDialViewState& viewState)
{
    viewState_ = &viewState;
    return std::make_unique<Undo>([this] {
        content_.reset();
        viewState_ = nullptr;
    });
}

void QtPanelWindow::makeWindow()
{
    window_ = std::make_unique<Window>(*this);
    window_->setFlags(windowFlags());
    window_->setColor(Qt::transparent);
    window_->setTitle(QStringLiteral("Quenstal"));
    content_ = std::make_unique<PanelContent>(*window_, *viewState_);
    content_->setMotion(motion_);
}

void QtPanelWindow::setMotion(bool motion)
{
    motion_ = motion;
    if (content_)
        content_->setMotion(motion);
}

int QtPanelWindow::margin() const
{
    return settings_.hasShadow && isComposited_ ? shadowMargin : 0;
}

void QtPanelWindow::setFrame(const Rect& frame)
{
    frame_ = frame;
    if (isVisible())
        applyFrame();
}

void QtPanelWindow::applyFrame()
{
    const int room = margin();
    const QRect glass(qRound(frame_.x), qRound(frame_.y), qRound(frame_.width), qRound(frame_.height));
    const QRect place = glass.adjusted(-room, -room, room, room);
    // A tiling compositor leaves a window with a fixed size alone.
    window_->setMinimumSize(place.size());
    window_->setMaximumSize(place.size());
    window_->setGeometry(place);
    content_->resize();
    shape();
}

void QtPanelWindow::orderFrontRegardless()
{
    if (!viewState_ || !canShowWindows())
        return;
    if (!content_)
        makeWindow();
    isComposited_ = !windowSystem_ || windowSystem_->isCompositing();
    content_->show(margin(), isComposited_);
    applyFrame();
    window_->show();
    window_->raise();
    shape();
    if (onShown)
        onShown();
}

void QtPanelWindow::makeKey()
{
    if (!isVisible() || !settings_.canBecomeKey)
        return;
    if (windowSystem_) {
        const WindowID focused = windowSystem_->focusedWindow();
        if (focused != windowID())
            focusBefore_ = focused;
    }
    activate();
}

/// The toolkit takes the token from the environment, which programs that are started later must not inherit.
void QtPanelWindow::activate()
{
    const QByteArray token = std::exchange(activationToken_, {});
    if (!token.isEmpty())
        qputenv(activationVariable, token);
    window_->requestActivate();
    qunsetenv(activationVariable);
}

void QtPanelWindow::orderOut()
{
    if (!isVisible())
        return;
    // The window that the user has turned to meanwhile keeps the keyboard.
    const bool hasKeyboard = windowSystem_ && windowSystem_->focusedWindow() == windowID();
    window_->hide();
    content_->hide();
    if (hasKeyboard)
        windowSystem_->focusWindow(focusBefore_);
    focusBefore_ = 0;
    // It was for the click that closed the panel.
    activationToken_.clear();
    while (isAsking())
        questions_.front().question->answer(questions_.front().lastButton);
}

WindowID QtPanelWindow::windowID() const
{
    return window_ && window_->handle() ? static_cast<WindowID>(window_->winId()) : 0;
}

/// The shadow takes no clicks; where nothing can be blended, the corners are cut.
void QtPanelWindow::shape()
{
    if (!windowSystem_ || !window_->handle())
        return;
    const int room = margin();
    if (room > 0) {
        const qreal density = window_->devicePixelRatio();
        const auto pixels = [density](int points) { return qRound(points * density); };
        windowSystem_->setInputRegion(windowID(),
            {pixels(room), pixels(room), pixels(window_->width() - 2 * room), pixels(window_->height() - 2 * room)});
        return;
    }
    QPainterPath glass;
    glass.addRoundedRect(QRectF(QPointF(), window_->size()), cornerRadius, cornerRadius);
    window_->setMask(QRegion(glass.toFillPolygon().toPolygon()));
}

void QtPanelWindow::keyDown(QKeyEvent& event)
{
    const bool movesFocus = event.key() == Qt::Key_Tab || event.key() == Qt::Key_Backtab;
    if (movesFocus && content_)
        content_->setKeyboardInUse(true);
    const bool isConsumed = !isAsking() && onKeyDown && onKeyDown(keyEventOf(event));
    event.setAccepted(isConsumed);
}

void QtPanelWindow::ask(
    const QString& title, const QString& text, const QStringList& buttons, std::function<void(int)> answered)
{
    push(title, text, buttons, false, std::move(answered));
}

void QtPanelWindow::explain(const QString& title, const QString& text)
{
    if (isAsking() && questions_.back().isExplanation)
        questions_.back().question->answer(0);
    push(title, text, {shownText("OK")}, true, [](int) {});
}

void QtPanelWindow::push(const QString& title, const QString& text, const QStringList& buttons, bool isExplanation,
    std::function<void(int)> answered)
{
    const auto asked = questions_.emplace(questions_.end());
    auto finish = [this, asked, answered = std::move(answered)](int button) {
        // The question's own button is on the stack: it goes on a later turn.
        asked->question.release()->deleteLater();
        questions_.erase(asked);
        showQuestion();
        answered(button);
    };
    asked->question = std::make_unique<Question>(title, text, buttons, std::move(finish));
    asked->lastButton = static_cast<int>(buttons.size()) - 1;
    asked->isExplanation = isExplanation;
    if (isVisible())
        showQuestion();
    else
        asked->question->answer(asked->lastButton);
}

void QtPanelWindow::showQuestion()
{
    if (content_)
        content_->setQuestion(questions_.empty() ? nullptr : questions_.front().question.get());
}

} // namespace quenstal
