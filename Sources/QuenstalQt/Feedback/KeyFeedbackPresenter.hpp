#pragma once

#include "QuenstalFreedesktop/FeedbackServices.hpp"
#include "QuenstalPlatform/Desktop.hpp"
#include "QuenstalPlatform/WindowSystem.hpp"

#include <memory>

#include <QObject>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>

namespace quenstal {

/// Shows what a volume key did while the panel is closed: on the desktop's own display where programs can
/// use it, as a notification where windows cannot be placed, otherwise as a small bar of glass. Each value replaces the
/// previous one in place, so a held key neither queues nor flickers. Main thread.
class KeyFeedbackPresenter : public QObject {
    Q_OBJECT

public:
    /// The window system may be null. All outlive the presenter.
    KeyFeedbackPresenter(WindowSystem* windowSystem, SessionBus& bus, NotificationServer& notificationServer);
    ~KeyFeedbackPresenter() override;

    /// The texts are untranslated ones from the rooms below.
    void show(const KeyFeedback& english);

private:
    void showOtherwise(const KeyFeedback& feedback);
    void showBar(const KeyFeedback& feedback);
    void loadBar();

    WindowSystem* windowSystem_;
    PlasmaFeedback plasma_;
    NotificationFeedback notifications_;
    std::unique_ptr<QQuickWindow> window_;
    std::unique_ptr<QQmlEngine> engine_;
    std::unique_ptr<QQuickItem> bar_;
    QTimer hide_;
};

} // namespace quenstal
