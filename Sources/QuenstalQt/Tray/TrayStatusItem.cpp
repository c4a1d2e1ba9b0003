#include "QuenstalQt/Tray/TrayStatusItem.hpp"

#include "QuenstalQt/Artwork/Symbols.hpp"
#include "QuenstalQt/Panel/PanelModel.hpp"

#include <chrono>

#include <QEvent>
#include <QGuiApplication>
#include <QIcon>
#include <QPixmap>
#include <QScreen>
#include <QWheelEvent>

namespace quenstal {

namespace {

/// Trays may start after us: this long we wait for one before the panel opens without it.
constexpr auto trayPatience = std::chrono::seconds(3);

/// A light symbol with a faint dark contour can be read on dark and on light bars alike.
const QColor standardColor(246, 247, 250);
const QColor secondaryColor(160, 164, 174);
const QColor contourColor(0, 0, 0, 88);

/// Hosts report pixels; the program thinks in points.
std::optional<Point> inPoints(int x, int y)
{
    if (x == 0 && y == 0)
        return std::nullopt;
    const QScreen* screen = QGuiApplication::primaryScreen();
    const qreal density = screen ? screen->devicePixelRatio() : 1;
    return Point{x / density, y / density};
}

} // namespace

QImage statusImage(int pixels, const StatusButtonAppearance& appearance)
{
    const QColor& color = appearance.tint == StatusTint::standard ? standardColor : secondaryColor;
    return symbolImage(pixels, QString::fromStdString(appearance.symbolName), color, contourColor);
}

TrayStatusItem::TrayStatusItem(StatusItemHandler& handler)
    : handler_(handler)
{
    QObject::connect(
        &notifier_, &StatusNotifierItem::activated, this, [this](int x, int y) { activate(inPoints(x, y)); });
    QObject::connect(
        &notifier_, &StatusNotifierItem::secondaryActivated, this, [this] { handler_.statusItemSecondaryActivated(); });
    QObject::connect(
        &notifier_, &StatusNotifierItem::scrolled, this, [this](int notches) { handler_.statusItemScrolled(notches); });
    QObject::connect(&notifier_, &StatusNotifierItem::registered, this, [this] { leaveEmbedding(); });
    QObject::connect(&notifier_, &StatusNotifierItem::unregistered, this, [this] { embed(); });
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
    if (embedded_ || QGuiApplication::platformName() != QLatin1String("xcb"))
        return;
    embedded_ = std::make_unique<QSystemTrayIcon>();
    QObject::connect(embedded_.get(), &QSystemTrayIcon::activated, this,
        [this](QSystemTrayIcon::ActivationReason reason) { embeddedActivated(reason); });
    showAppearance();
    embedded_->show();
    QGuiApplication::instance()->installEventFilter(this);
}

void TrayStatusItem::leaveEmbedding()
{
    embedded_.reset();
    QGuiApplication::instance()->removeEventFilter(this);
}

bool TrayStatusItem::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::Wheel || !watched->inherits("QSystemTrayIconSys"))
        return false;
    turned_ += static_cast<QWheelEvent*>(event)->angleDelta().y();
    const int notches = turned_ / QWheelEvent::DefaultDeltasPerStep;
    turned_ -= notches * QWheelEvent::DefaultDeltasPerStep;
    if (notches != 0)
        handler_.statusItemScrolled(notches);
    return true;
}

void TrayStatusItem::embeddedActivated(QSystemTrayIcon::ActivationReason reason)
{
    if (reason == QSystemTrayIcon::MiddleClick)
        handler_.statusItemSecondaryActivated();
    else
        activate(std::nullopt);
}

bool TrayStatusItem::isPlaced()
{
    return notifier_.isRegistered() || frame().has_value();
}

std::optional<Rect> TrayStatusItem::frame()
{
    if (!embedded_)
        return std::nullopt;
    const QRect geometry = embedded_->geometry();
    // In the screen's very corner it is until the bar has taken it in.
    if (geometry.isEmpty() || geometry.topLeft().isNull())
        return std::nullopt;
    return Rect{static_cast<double>(geometry.x()), static_cast<double>(geometry.y()),
        static_cast<double>(geometry.width()), static_cast<double>(geometry.height())};
}

void TrayStatusItem::setAppearance(const StatusButtonAppearance& appearance)
{
    // It is set ten times a second while the meters move: only a change is painted and told to the bar.
    if (appearance == appearance_)
        return;
    appearance_ = appearance;
    showAppearance();
}

void TrayStatusItem::showAppearance()
{
    const QList<QImage> pictures = images();
    notifier_.setIcon(pictures);
    const QString title = PanelModel::shown(QString::fromStdString(appearance_.title).trimmed().toStdString());
    notifier_.setTexts(QLatin1Char(' ') + title, title);
    if (!embedded_)
        return;
    QIcon icon;
    for (const QImage& picture : pictures)
        icon.addPixmap(QPixmap::fromImage(picture));
    embedded_->setIcon(icon);
    embedded_->setToolTip(QStringLiteral("Quenstal %1").arg(title));
}

QList<QImage> TrayStatusItem::images() const
{
    QList<QImage> pictures;
    for (const int pixels : {22, 44})
        pictures << statusImage(pixels, appearance_);
    return pictures;
}

} // namespace quenstal
