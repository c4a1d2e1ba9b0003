#include "QuenstalQt/Tray/TrayStatusItem.hpp"

#include "QuenstalQt/Artwork/Symbols.hpp"
#include "QuenstalQt/Panel/CoreTexts.hpp"

#include <chrono>
#include <utility>

#include <QGuiApplication>
#include <QScreen>

namespace quenstal {

namespace {

/// Trays may start after us: how long to wait for one before the panel opens without it.
constexpr auto trayPatience = std::chrono::seconds(3);

/// In points.
constexpr int iconSize = 22;

/// A light symbol with a faint dark contour can be read on dark and on light bars alike.
const QColor standardColor(246, 247, 250);
const QColor secondaryColor(160, 164, 174);
const QColor contourColor(0, 0, 0, 88);

/// Trays report pixels, the program uses points. Each screen begins at the same place in both, and its size in points
/// depends on its density.
Rect inPoints(const WindowSystem::PixelRect& rect)
{
    const auto screens = QGuiApplication::screens();
    for (const QScreen* screen : screens) {
        const QRect points = screen->geometry();
        const qreal density = screen->devicePixelRatio();
        if (QRectF(points.topLeft(), QSizeF(points.size()) * density).contains(rect.x, rect.y))
            return {points.x() + (rect.x - points.x()) / density, points.y() + (rect.y - points.y()) / density,
                rect.width / density, rect.height / density};
    }
    return {qreal(rect.x), qreal(rect.y), qreal(rect.width), qreal(rect.height)};
}

/// Hosts that do not know where they were clicked report the corner.
std::optional<Point> placeOfClick(int x, int y)
{
    if (x == 0 && y == 0)
        return std::nullopt;
    const Rect place = inPoints({x, y, 0, 0});
    return Point{place.x, place.y};
}

std::vector<std::uint32_t> pixelsOf(const QImage& image)
{
    const auto* first = reinterpret_cast<const std::uint32_t*>(image.constBits());
    return {first, first + image.sizeInBytes() / qsizetype{sizeof *first}};
}

} // namespace

QImage statusImage(int pixels, const StatusButtonAppearance& appearance)
{
    const QColor& color = appearance.tint == StatusTint::standard ? standardColor : secondaryColor;
    return symbolImage(pixels, QString::fromStdString(appearance.symbolName), color, contourColor);
}

TrayStatusItem::TrayStatusItem(StatusItemHandler& handler, WindowSystem* windowSystem, SessionBus& bus)
    : handler_(handler)
    , windowSystem_(windowSystem)
    , menu_(bus)
    , notifier_(bus)
{
    QObject::connect(
        &notifier_, &StatusNotifierItem::activated, this, [this](int x, int y) { activate(placeOfClick(x, y)); });
    QObject::connect(
        &notifier_, &StatusNotifierItem::secondaryActivated, this, [this] { handler_.statusItemSecondaryActivated(); });
    QObject::connect(
        &notifier_, &StatusNotifierItem::scrolled, this, [this](int notches) { handler_.statusItemScrolled(notches); });
    QObject::connect(&notifier_, &StatusNotifierItem::activationTokenProvided, this, [this](const QByteArray& token) {
        if (onActivationToken)
            onActivationToken(token);
    });
    QObject::connect(&notifier_, &StatusNotifierItem::registered, this, [this] { embedded_.reset(); });
    QObject::connect(&notifier_, &StatusNotifierItem::unregistered, this, [this] { embed(); });
    if (!bus.isThere())
        QTimer::singleShot(0, this, [this] { embed(); });
    showMenu();
    missingTray_.setSingleShot(true);
    QObject::connect(&missingTray_, &QTimer::timeout, this, [this] { reportMissingTray(); });
    missingTray_.start(trayPatience);
}

TrayStatusItem::~TrayStatusItem() = default;

void TrayStatusItem::activate(std::optional<Point> at)
{
    stopWaitingForTray();
    handler_.statusItemActivated(at);
}

void TrayStatusItem::reportMissingTray()
{
    if (!isPlaced())
        handler_.statusItemActivated(std::nullopt);
}

void TrayStatusItem::embed()
{
    if (embedded_ || !windowSystem_ || QGuiApplication::platformName() != QLatin1String("xcb"))
        return;
    WindowSystem::TrayIconUser user;
    user.activated = [this] { activate(std::nullopt); };
    user.secondaryActivated = [this] { handler_.statusItemSecondaryActivated(); };
    user.scrolled = [this](int notches) { handler_.statusItemScrolled(notches); };
    user.paint = [this](int pixels) { return pixelsOf(statusImage(pixels, appearance_)); };
    embedded_ = windowSystem_->createTrayIcon(std::move(user), qRound(iconSize * qGuiApp->devicePixelRatio()));
    showAppearance();
}

bool TrayStatusItem::isPlaced()
{
    return notifier_.isRegistered() || frame().has_value();
}

std::optional<Rect> TrayStatusItem::frame()
{
    if (!embedded_)
        return std::nullopt;
    const auto pixels = embedded_->frame();
    return pixels ? std::optional(inPoints(*pixels)) : std::nullopt;
}

void TrayStatusItem::setAppearance(const StatusButtonAppearance& appearance)
{
    // It is set ten times a second while the meters move: only changes are painted and sent to the bar.
    if (appearance == appearance_)
        return;
    appearance_ = appearance;
    showAppearance();
}

void TrayStatusItem::showAppearance()
{
    showMenu();
    notifier_.setIcon(images());
    const QString title = shownText(QString::fromStdString(appearance_.title).trimmed().toStdString());
    notifier_.setTexts(QLatin1Char(' ') + title, title);
    if (embedded_)
        embedded_->show("Quenstal " + title.toStdString());
}

void TrayStatusItem::showMenu()
{
    const NotifierMenu::Entry separator;
    menu_.show({
        {tr("_Open"), [this] { handler_.statusItemOpenChosen(); }, {}},
        {tr("_Mute"), [this] { handler_.statusItemSecondaryActivated(); }, appearance_.isMuted},
        separator,
        {tr("_Quit"), [this] { handler_.statusItemQuitChosen(); }, {}},
    });
}

QList<QImage> TrayStatusItem::images() const
{
    QList<QImage> pictures;
    for (const int pixels : {iconSize, 2 * iconSize})
        pictures << statusImage(pixels, appearance_);
    return pictures;
}

} // namespace quenstal
