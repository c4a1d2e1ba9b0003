#pragma once

#include "QuenstalFreedesktop/NotifierMenu.hpp"
#include "QuenstalFreedesktop/SessionBus.hpp"
#include "QuenstalPlatform/WheelNotches.hpp"

#include <QDBusObjectPath>
#include <QDBusServiceWatcher>
#include <QImage>
#include <QList>
#include <QObject>
#include <QString>
#include <QVariantList>

namespace quenstal {

/// A picture in the protocol's format: ARGB, 32 bits per pixel, most significant byte first.
struct NotifierPixmap {
    int width = 0;
    int height = 0;
    QByteArray bytes;
};
using NotifierPixmaps = QList<NotifierPixmap>;

struct NotifierToolTip {
    QString iconName;
    NotifierPixmaps icon;
    QString title;
    QString text;
};

/// The status item on the session bus, by the StatusNotifierItem protocol. It registers with the watcher whenever one
/// appears. Main thread.
class StatusNotifierItem : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_PROPERTY(QString Category READ category)
    Q_PROPERTY(QString Id READ id)
    Q_PROPERTY(QString Title READ title)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(int WindowId READ windowID)
    Q_PROPERTY(QString IconName READ iconName)
    Q_PROPERTY(quenstal::NotifierPixmaps IconPixmap READ icon)
    Q_PROPERTY(quenstal::NotifierToolTip ToolTip READ toolTip)
    Q_PROPERTY(QString IconAccessibleDesc READ accessibleDescription)
    Q_PROPERTY(bool ItemIsMenu READ itemIsMenu)
    Q_PROPERTY(QDBusObjectPath Menu READ menu)
    Q_PROPERTY(QString XAyatanaLabel READ label)
    Q_PROPERTY(QString XAyatanaLabelGuide READ labelGuide)

public:
    /// The bus outlives it.
    explicit StatusNotifierItem(SessionBus& bus);
    ~StatusNotifierItem() override;

    /// A watcher has taken the item.
    bool isRegistered() const { return isRegistered_; }

    void setIcon(const QList<QImage>& images);
    /// `label` stands beside the icon on hosts that show text, `toolTip` elsewhere. Both are plain text.
    void setTexts(const QString& label, const QString& toolTip);

    QString category() const { return QStringLiteral("Hardware"); }
    QString id() const { return QStringLiteral("quenstal"); }
    QString title() const { return QStringLiteral("Quenstal"); }
    QString status() const { return QStringLiteral("Active"); }
    int windowID() const { return 0; }
    QString iconName() const { return {}; }
    NotifierPixmaps icon() const { return icon_; }
    /// The protocol's tool tips are markup, except for the title.
    NotifierToolTip toolTip() const { return {{}, {}, title(), toolTip_.toHtmlEscaped()}; }
    QString accessibleDescription() const { return title() + QLatin1Char(' ') + toolTip_; }
    bool itemIsMenu() const { return false; }
    QDBusObjectPath menu() const { return QDBusObjectPath(QLatin1String(NotifierMenu::path)); }
    QString label() const { return label_; }
    QString labelGuide() const { return QStringLiteral(" 100%"); }

public slots:
    Q_SCRIPTABLE void Activate(int x, int y) { emit activated(x, y); }
    Q_SCRIPTABLE void ContextMenu(int x, int y) { emit activated(x, y); }
    Q_SCRIPTABLE void SecondaryActivate(int x, int y);
    Q_SCRIPTABLE void Scroll(int delta, const QString& orientation);
    /// Comes before the activation that it is for.
    Q_SCRIPTABLE void ProvideXdgActivationToken(const QString& token);

signals:
    // The protocol's signals.
    Q_SCRIPTABLE void NewTitle();
    Q_SCRIPTABLE void NewIcon();
    Q_SCRIPTABLE void NewToolTip();
    Q_SCRIPTABLE void NewStatus(const QString& status);
    Q_SCRIPTABLE void XAyatanaNewLabel(const QString& label, const QString& guide);

    // For the program.
    void activated(int x, int y);
    void secondaryActivated();
    /// Up positive, at most `WheelNotches::most` either way.
    void scrolled(int notches);
    /// Lets the window that is activated next have the keyboard. Printable, at most 512 characters.
    void activationTokenProvided(const QByteArray& token);
    void registered();
    /// The watcher went away, or there was none.
    void unregistered();

private:
    void appearOnBus();
    void tellBusOfName(const char* member, const QVariantList& arguments);
    void registerWithWatcher();
    void forgetWatcher();

    SessionBus& bus_;
    QString serviceName_;
    QDBusServiceWatcher watcher_;
    bool isRegistered_ = false;
    NotifierPixmaps icon_;
    QString label_;
    QString toolTip_;
    WheelNotches wheel_;
};

} // namespace quenstal

Q_DECLARE_METATYPE(quenstal::NotifierPixmap)
Q_DECLARE_METATYPE(quenstal::NotifierPixmaps)
Q_DECLARE_METATYPE(quenstal::NotifierToolTip)
