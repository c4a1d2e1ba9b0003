#include "QuenstalFreedesktop/SoundSettings.hpp"

#include <array>

#include <QProcess>
#include <QStandardPaths>
#include <QStringList>

namespace quenstal {

namespace {

struct Page {
    /// A word of XDG_CURRENT_DESKTOP; empty fits every desktop.
    const char* desktop;
    const char* program;
    /// Null starts it without.
    const char* argument;
};

/// Each desktop's own sound page first, then stand-alone mixers.
constexpr std::array<Page, 10> soundPages{{
    {"GNOME", "gnome-control-center", "sound"},
    {"KDE", "systemsettings", "kcm_pulseaudio"},
    {"KDE", "systemsettings5", "kcm_pulseaudio"},
    {"Cinnamon", "cinnamon-settings", "sound"},
    {"MATE", "mate-volume-control", nullptr},
    {"Budgie", "budgie-control-center", "sound"},
    {"", "pavucontrol", nullptr},
    {"", "pavucontrol-qt", nullptr},
    {"", "pwvucontrol", nullptr},
    {"", "gnome-control-center", "sound"},
}};

bool fits(const Page& page, const QString& desktops)
{
    return page.desktop[0] == '\0' || desktops.contains(QLatin1String(page.desktop), Qt::CaseInsensitive);
}

bool start(const Page& page)
{
    const QString program = QStandardPaths::findExecutable(QLatin1String(page.program));
    if (program.isEmpty())
        return false;
    const QStringList arguments = page.argument ? QStringList(QLatin1String(page.argument)) : QStringList();
    return QProcess::startDetached(program, arguments);
}

} // namespace

bool openSoundSettings()
{
    const QString desktops = qEnvironmentVariable("XDG_CURRENT_DESKTOP");
    for (const Page& page : soundPages) {
        if (fits(page, desktops) && start(page))
            return true;
    }
    return false;
}

} // namespace quenstal
