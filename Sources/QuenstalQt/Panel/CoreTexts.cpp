#include "QuenstalQt/Panel/CoreTexts.hpp"

#include <array>

#include <QCoreApplication>

namespace quenstal {

namespace {

constexpr std::array texts{
    QT_TRANSLATE_NOOP("Core", "Muted"),
    QT_TRANSLATE_NOOP("Core", "Off"),
    QT_TRANSLATE_NOOP("Core", "System volume"),
    QT_TRANSLATE_NOOP("Core", "Monitor hardware"),
    QT_TRANSLATE_NOOP("Core", "Software volume"),
    QT_TRANSLATE_NOOP("Core", "Unavailable"),
    QT_TRANSLATE_NOOP("Core", "Disabled"),
    QT_TRANSLATE_NOOP("Core", "No Output"),
    QT_TRANSLATE_NOOP("Core", "No output"),
    QT_TRANSLATE_NOOP("Core", "Unknown Output"),
    QT_TRANSLATE_NOOP("Core", "Flat"),
    QT_TRANSLATE_NOOP("Core", "Voice"),
    QT_TRANSLATE_NOOP("Core", "Movie"),
    QT_TRANSLATE_NOOP("Core", "Music"),
    QT_TRANSLATE_NOOP("Core", "Night"),
    QT_TRANSLATE_NOOP("Core", "Custom"),
    QT_TRANSLATE_NOOP("Core", "LOW"),
    QT_TRANSLATE_NOOP("Core", "L-MID"),
    QT_TRANSLATE_NOOP("Core", "MID"),
    QT_TRANSLATE_NOOP("Core", "H-MID"),
    QT_TRANSLATE_NOOP("Core", "HIGH"),
    QT_TRANSLATE_NOOP("Core", "DDC/CI hardware mode"),
    QT_TRANSLATE_NOOP("Core", "system volume mode"),
    QT_TRANSLATE_NOOP("Core", "the current output does not support software processing"),
    QT_TRANSLATE_NOOP("Core", "audio capture permission"),
    QT_TRANSLATE_NOOP("Core", "an unknown mode"),
    QT_TRANSLATE_NOOP("Core", "No output device is selected."),
    QT_TRANSLATE_NOOP("Core", "Keyboard volume keys cannot be captured yet."),
    QT_TRANSLATE_NOOP("Core", "This fixed-volume output is not an HDMI or DisplayPort monitor."),
    QT_TRANSLATE_NOOP("Core", "This display does not expose DDC/CI volume control."),
    QT_TRANSLATE_NOOP("Core", "Software volume fallback is not available for this output."),
    QT_TRANSLATE_NOOP("Core", "Software volume needs system audio capture permission."),
    QT_TRANSLATE_NOOP("Core", "Software processing is active for this HDMI or DisplayPort output."),
    QT_TRANSLATE_NOOP("Core", "Software volume fallback is active for this HDMI or DisplayPort output."),
    QT_TRANSLATE_NOOP("Core", "Volume command ignored because this output is not controllable."),
    QT_TRANSLATE_NOOP("Core", "Volume command failed."),
    QT_TRANSLATE_NOOP("Core", "Monitor hardware volume failed, so Quenstal switched to software volume."),
    QT_TRANSLATE_NOOP("Core", "Software processing could not be started for EQ."),
    QT_TRANSLATE_NOOP("Core", "Software volume could not be restored after enabling Quenstal."),
    QT_TRANSLATE_NOOP("Core", "This display exposes DDC/CI hardware volume."),
    QT_TRANSLATE_NOOP("Core", "This display may not expose DDC/CI volume."),
    QT_TRANSLATE_NOOP("Core", "Built-in, USB, Bluetooth, and AirPlay outputs use normal system volume."),
    QT_TRANSLATE_NOOP("Core", "Software volume and EQ are available for this output."),
    QT_TRANSLATE_NOOP("Core", "EQ needs software mode; hardware volume can still be used without EQ."),
    QT_TRANSLATE_NOOP("Core", "Software mode is not needed for this output."),
    QT_TRANSLATE_NOOP("Core", "Software mode is used only for supported HDMI/DisplayPort outputs."),
    QT_TRANSLATE_NOOP("Core", "Software mode needs System Audio Capture permission."),
    QT_TRANSLATE_NOOP("Core", "Permission granted, waiting for F-key test"),
    QT_TRANSLATE_NOOP("Core", "Needed for F10/F11/F12"),
    QT_TRANSLATE_NOOP("Core", "Accessibility Settings"),
    QT_TRANSLATE_NOOP("Core", "Not needed for this output"),
    QT_TRANSLATE_NOOP("Core", "Active"),
    QT_TRANSLATE_NOOP("Core", "Ready when software mode starts"),
    QT_TRANSLATE_NOOP("Core", "Needed for software mode"),
    QT_TRANSLATE_NOOP("Core", "Try Software Mode"),
    QT_TRANSLATE_NOOP("Core", "Open Sound Settings"),
    QT_TRANSLATE_NOOP("Core", "No F-key events captured yet"),
    QT_TRANSLATE_NOOP("Core", "F10 mute"),
    QT_TRANSLATE_NOOP("Core", "F11 volume down"),
    QT_TRANSLATE_NOOP("Core", "F12 volume up"),
    QT_TRANSLATE_NOOP("Core", "Other media key"),
    QT_TRANSLATE_NOOP("Core", "Reset equalizer?"),
    QT_TRANSLATE_NOOP("Core", "This restores the Flat preset for the current output."),
    QT_TRANSLATE_NOOP("Core", "Reset"),
    QT_TRANSLATE_NOOP("Core", "Cancel"),
    QT_TRANSLATE_NOOP("Core", "OK"),
    QT_TRANSLATE_NOOP("Core", "Let Quenstal use the volume keys"),
    QT_TRANSLATE_NOOP("Core",
        "Another program, usually the desktop itself, is using the volume keys. In the desktop's settings, remove the "
        "keyboard shortcuts for \"Raise volume\", \"Lower volume\" and \"Mute\". Quenstal will capture the keys as "
        "soon as they are free."),
    QT_TRANSLATE_NOOP("Core",
        "The keyboard layout has no volume keys. Choose one that does, or connect a keyboard with volume keys."),
    QT_TRANSLATE_NOOP("Core", "No keyboard with volume keys is connected."),
    QT_TRANSLATE_NOOP(
        "Core", "Another program has taken over the keyboard. Quenstal will try again when that program exits."),
    QT_TRANSLATE_NOOP("Core",
        "The system cannot create a copy of the keyboard (uinput), which Quenstal needs to pass all other keys on to "
        "the desktop. \"journalctl --dmesg\" may show why. Quenstal will try again in half a minute."),
    QT_TRANSLATE_NOOP("Core",
        "The system has run out of processes or open files, so Quenstal cannot start the process that guards the "
        "keyboard. Close some programs. Quenstal will try again in half a minute."),
    QT_TRANSLATE_NOOP(
        "Core", "A key is being held down or is stuck. Quenstal will capture the volume keys when it is released."),
    QT_TRANSLATE_NOOP("Core",
        "The volume keys are lost again as soon as they are captured. Quenstal will try again within half a minute."),
    QT_TRANSLATE_NOOP("Core",
        "Quenstal does not have access to the keyboard. Install its package (\"./package install\"): its service "
        "passes the volume keys, and nothing else you type, to the active session. Do not join the group \"input\": "
        "every program could then read everything you type."),
    QT_TRANSLATE_NOOP("Core",
        "Quenstal's key service is not responding. \"systemctl status quenstal-keyd\" shows why. Quenstal will try "
        "again in half a minute."),
    QT_TRANSLATE_NOOP("Core",
        "The volume keys belong to the active session; this one is in the background. Quenstal will capture them when "
        "you return."),
    QT_TRANSLATE_NOOP("Core",
        "This computer's administrator does not allow this session to use the volume keys. Ask them to allow the "
        "polkit action \"app.quenstal.capture-volume-keys\"."),
    QT_TRANSLATE_NOOP("Core",
        "The system's polkit service, which decides who may use the volume keys, did not respond. Quenstal will try "
        "again in half a minute."),
    QT_TRANSLATE_NOOP("Core",
        "Another program in this session has already captured the volume keys. Quit it; Quenstal will try again in "
        "half a minute."),
    QT_TRANSLATE_NOOP("Core",
        "Quenstal's key service does not have access to the keyboard. Reinstall Quenstal's package, or restart the "
        "computer if you have just installed it."),
    QT_TRANSLATE_NOOP("Core", "Quenstal's key service is busy. Quenstal will try again in half a minute."),
    QT_TRANSLATE_NOOP("Core", "Quenstal's preferences"),
    QT_TRANSLATE_NOOP("Core",
        "Your preferences file is not valid. Quenstal is using its defaults and has kept the old file as "
        "preferences.json.broken."),
    QT_TRANSLATE_NOOP("Core",
        "Your preferences file cannot be read. Quenstal will leave it unchanged and try again; until then, changes are "
        "lost when Quenstal quits."),
    QT_TRANSLATE_NOOP("Core",
        "Your preferences cannot be saved. Quenstal will try again; until then, changes are lost when Quenstal quits."),
    QT_TRANSLATE_NOOP("Core", "%1: no access to %2."),
    QT_TRANSLATE_NOOP("Core", "%1 does not report its volume on %2."),
    QT_TRANSLATE_NOOP("Core", "%1 does not accept volume changes on %2."),
    QT_TRANSLATE_NOOP("Core", "%1: the driver for %2 is not responding."),
    QT_TRANSLATE_NOOP(
        "Core", "%1 cannot be reached over DDC/CI. Left alone because not known to lead to a display: %2."),
    QT_TRANSLATE_NOOP("Core", "%1 cannot be reached over DDC/CI."),
    QT_TRANSLATE_NOOP("Core",
        "Install the package: its udev rule 70-quenstal-i2c.rules gives access to the user of the active session."),
    QT_TRANSLATE_NOOP("Core", "Turn on DDC/CI in the monitor's own menu."),
    QT_TRANSLATE_NOOP("Core", "Unplug the monitor and plug it in again."),
    QT_TRANSLATE_NOOP("Core", "Load the kernel module i2c-dev."),
};

} // namespace

QString shownText(const std::string& text)
{
    return QCoreApplication::translate("Core", text.c_str());
}

std::span<const char* const> coreTexts()
{
    return texts;
}

} // namespace quenstal
