#pragma once

#include "QuenstalFreedesktop/NotifierMenu.hpp"
#include "QuenstalFreedesktop/StatusNotifierItem.hpp"
#include "QuenstalPlatform/Desktop.hpp"
#include "QuenstalPlatform/WindowSystem.hpp"

#include <functional>
#include <memory>

#include <QImage>
#include <QObject>
#include <QTimer>

namespace quenstal {

/// The icon for light and dark bars alike: programs cannot find out which it is.
QImage statusImage(int pixels, const StatusButtonAppearance& appearance);

/// The status item in whatever tray there is: by the StatusNotifierItem protocol where a watcher takes it, else
/// embedded in the bar by the window system. Without any tray the item reports one activation. Main thread.
class TrayStatusItem final : public QObject, public StatusItem {
    Q_OBJECT
public:
    /// Without a window system it cannot be embedded. All outlive the item.
    TrayStatusItem(StatusItemHandler& handler, WindowSystem* windowSystem, SessionBus& bus);
    ~TrayStatusItem() override;

    void setAppearance(const StatusButtonAppearance& appearance) override;
    bool isPlaced() override;
    std::optional<Rect> frame() override;

    /// As when the user clicked it.
    void activate(std::optional<Point> at);
    /// The user has the panel, so the item need not open it when there is no tray.
    void stopWaitingForTray() { missingTray_.stop(); }

    /// The tray lets the panel have the keyboard: see `QtPanelWindow::setActivationToken`.
    std::function<void(const QByteArray& token)> onActivationToken;

private:
    void embed();
    void reportMissingTray();
    void showAppearance();
    void showMenu();
    QList<QImage> images() const;

    StatusItemHandler& handler_;
    WindowSystem* windowSystem_;
    StatusButtonAppearance appearance_;
    /// Before the item, which hosts ask where its menu is.
    NotifierMenu menu_;
    StatusNotifierItem notifier_;
    std::unique_ptr<WindowSystem::TrayIcon> embedded_;
    QTimer missingTray_;
};

} // namespace quenstal
