#include "QuenstalQt/Desktop/QtDesktop.hpp"

#include "QuenstalCore/MenuPresenter.hpp"
#include "QuenstalFreedesktop/MotionPreference.hpp"
#include "QuenstalFreedesktop/SessionBus.hpp"
#include "QuenstalFreedesktop/SoundSettings.hpp"
#include "QuenstalPlatform/Handlers.hpp"
#include "QuenstalQt/Desktop/QtPanelWindow.hpp"
#include "QuenstalQt/Feedback/KeyFeedbackPresenter.hpp"
#include "QuenstalQt/Panel/CoreTexts.hpp"
#include "QuenstalQt/Tray/TrayStatusItem.hpp"

#include <utility>

#include <QClipboard>
#include <QCursor>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QPointer>
#include <QScreen>
#include <QUrl>

namespace quenstal {

namespace {

Rect rectOf(const QRect& rect)
{
    return {static_cast<double>(rect.x()), static_cast<double>(rect.y()), static_cast<double>(rect.width()),
        static_cast<double>(rect.height())};
}

QString fromUtf8(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

struct QtDesktop::State : QObject {
    explicit State(WindowSystem* windowSystem)
        : windowSystem(windowSystem)
        , notifications(bus)
        , feedback(windowSystem, bus, notifications)
        , motion(bus)
    {
        connect(&motion, &MotionPreference::changed, this, [this] {
            if (panel)
                panel->setMotion(motion.isWanted());
        });
    }

    /// Presses on the panel, and on the item where it is known to be, are inside.
    bool isInside(const WindowSystem::MousePress& press) const
    {
        // The panel may have shrunk by what the press has done.
        if (panel && (press.under == panel->windowID() || panel->wasPressedAt(press.time)))
            return true;
        const std::optional<Rect> item = statusItem ? statusItem->frame() : std::nullopt;
        const QPoint pointer = QCursor::pos();
        return item && item->contains({static_cast<double>(pointer.x()), static_cast<double>(pointer.y())});
    }

    WindowSystem* windowSystem;
    /// Both belong to the program; they announce their destruction.
    QtPanelWindow* panel = nullptr;
    TrayStatusItem* statusItem = nullptr;
    Handlers<std::function<bool(const KeyEvent&)>> keyMonitors;
    Handlers<std::function<void()>> mouseMonitors;
    SessionBus bus;
    NotificationServer notifications;
    KeyFeedbackPresenter feedback;
    MotionPreference motion;
};

QtDesktop::QtDesktop(WindowSystem* windowSystem)
    : state_(std::make_unique<State>(windowSystem))
{
}

QtDesktop::~QtDesktop() = default;

void QtDesktop::sessionBusAppeared(const std::string& address)
{
    state_->bus.appearAt(QString::fromStdString(address));
}

std::unique_ptr<StatusItem> QtDesktop::createStatusItem(StatusItemHandler& handler)
{
    auto item = std::make_unique<TrayStatusItem>(handler, state_->windowSystem, state_->bus);
    item->onActivationToken = [state = state_.get()](const QByteArray& token) {
        if (state->panel)
            state->panel->setActivationToken(token);
    };
    state_->statusItem = item.get();
    QObject::connect(
        item.get(), &QObject::destroyed, state_.get(), [state = state_.get()] { state->statusItem = nullptr; });
    return item;
}

std::unique_ptr<PanelWindow> QtDesktop::createPanel(const PanelSettings& settings)
{
    auto panel = std::make_unique<QtPanelWindow>(settings, state_->windowSystem);
    panel->onKeyDown = [state = state_.get()](const KeyEvent& event) { return state->keyMonitors.anyOf(event); };
    panel->onShown = [state = state_.get()] {
        if (state->statusItem)
            state->statusItem->stopWaitingForTray();
    };
    // Where clicks elsewhere cannot be observed, losing the keyboard focus reveals them.
    if (!state_->windowSystem)
        panel->onDeactivated = [state = state_.get()] { state->mouseMonitors.call(); };
    panel->onDestroyed = [state = QPointer<State>(state_.get())] {
        if (State* alive = state.data())
            alive->panel = nullptr;
    };
    state_->panel = panel.get();
    return panel;
}

std::unique_ptr<Interface> QtDesktop::host(PanelWindow&, GlassDialViewState& viewState)
{
    auto hosting = state_->panel->host(viewState);
    state_->panel->setMotion(state_->motion.isWanted());
    return hosting;
}

Cancellation QtDesktop::addLocalKeyDownMonitor(std::function<bool(const KeyEvent&)> handler)
{
    return state_->keyMonitors.add(std::move(handler));
}

Cancellation QtDesktop::addGlobalMouseMonitor(std::uint32_t mask, std::function<void()> handler)
{
    if (!state_->windowSystem)
        return state_->mouseMonitors.add(std::move(handler));
    return state_->windowSystem->onMouseDown(
        mask, [state = state_.get(), handler = std::move(handler)](const WindowSystem::MousePress& press) {
            if (!state->isInside(press))
                handler();
        });
}

std::vector<DesktopScreen> QtDesktop::screens()
{
    std::vector<DesktopScreen> screens;
    const QScreen* primary = QGuiApplication::primaryScreen();
    for (const QScreen* screen : QGuiApplication::screens()) {
        const DesktopScreen record{rectOf(screen->geometry()), rectOf(screen->availableGeometry())};
        screens.insert(screen == primary ? screens.begin() : screens.end(), record);
    }
    return screens;
}

std::optional<Point> QtDesktop::pointerLocation()
{
    // Without a window system of our own the toolkit knows the pointer only over its own windows.
    if (!state_->windowSystem)
        return std::nullopt;
    const QPoint pointer = QCursor::pos();
    return Point{static_cast<double>(pointer.x()), static_cast<double>(pointer.y())};
}

void QtDesktop::showAlert(const Alert& alert, std::function<void(AlertResponse)> answered)
{
    QStringList buttons;
    for (const std::string& button : alert.buttons)
        buttons << shownText(button);
    // On a later turn, whichever way it is answered.
    const auto answer = [state = state_.get(), answered = std::move(answered)](int button) {
        QMetaObject::invokeMethod(
            state, [answered, button] { answered(alertFirstButtonReturn + button); }, Qt::QueuedConnection);
    };
    if (state_->panel)
        state_->panel->ask(shownText(alert.message), shownText(alert.informativeText), buttons, answer);
    else
        answer(static_cast<int>(buttons.size()) - 1);
}

void QtDesktop::showNotice(std::string_view title, std::string_view text)
{
    const QString heading = shownText(std::string(title));
    const QString explanation = shownText(std::string(text));
    if (state_->panel && state_->panel->isVisible())
        state_->panel->explain(heading, explanation);
    else
        state_->notifications.notify(heading, explanation);
}

void QtDesktop::showKeyFeedback(const KeyFeedback& feedback)
{
    state_->feedback.show(feedback);
}

void QtDesktop::clearPasteboard()
{
    QGuiApplication::clipboard()->clear();
}

void QtDesktop::setPasteboardString(std::string_view text)
{
    QGuiApplication::clipboard()->setText(fromUtf8(text));
}

bool QtDesktop::open(std::string_view url)
{
    if (url == GlassDialSettingsDestination::soundSettingsURLString)
        return openSoundSettings();
    // No desktop has a page for who may read the keyboard: the panel's own advice says what to do.
    if (url == GlassDialSettingsDestination::accessibilitySettingsURLString)
        return false;
    return QDesktopServices::openUrl(QUrl(fromUtf8(url)));
}

void QtDesktop::terminate()
{
    QGuiApplication::quit();
}

} // namespace quenstal
