#pragma once

#include "QuenstalPlatform/Desktop.hpp"
#include "QuenstalQt/Tray/StatusNotifierItem.hpp"

#include <memory>

#include <QImage>
#include <QObject>
#include <QSystemTrayIcon>
#include <QTimer>

namespace quenstal {

/// What the bar shows, for light and for dark bars alike: a program is not told which it is.
QImage statusImage(int pixels, const StatusButtonAppearance& appearance);

/// The status item in whatever tray there is: by the StatusNotifierItem protocol where a watcher takes it, else
/// embedded in the bar's window. Without any tray the item reports one activation. Main thread.
class TrayStatusItem final : public QObject, public StatusItem {
    Q_OBJECT
public:
    explicit TrayStatusItem(StatusItemHandler& handler);
    ~TrayStatusItem() override;

    void setAppearance(const StatusButtonAppearance& appearance) override;
    bool isPlaced() override;
    std::optional<Rect> frame() override;

    /// As when the user clicked it.
    void activate(std::optional<Point> at);
    /// The user has the panel, so the item need not open it when there is no tray.
    void stopWaitingForTray() { missingTray_.stop(); }

private:
    /// The embedded item's window keeps the wheel to itself.
    bool eventFilter(QObject* watched, QEvent* event) override;
    void embed();
    void leaveEmbedding();
    void reportMissingTray();
    void embeddedActivated(QSystemTrayIcon::ActivationReason reason);
    void showAppearance();
    QList<QImage> images() const;

    StatusItemHandler& handler_;
    StatusButtonAppearance appearance_;
    StatusNotifierItem notifier_;
    std::unique_ptr<QSystemTrayIcon> embedded_;
    QTimer missingTray_;
    int turned_ = 0;
};

} // namespace quenstal
