#pragma once

#include <array>

namespace quenstal {

/// What the ways of capture tell the user: what stands in their way, and what helps. All of it, in as many words as the
/// set-up guide has room for.
struct KeyAdvice {
    static constexpr const char* keysTaken
        = "Another program uses the volume keys, most often the desktop itself. Open the keyboard shortcuts in the "
          "desktop's settings and free \"Raise volume\", \"Lower volume\" and \"Mute\". Quenstal takes the keys as "
          "soon as they are free.";
    static constexpr const char* noKeysInLayout
        = "The keyboard layout has no volume keys. Choose one that has, or connect a keyboard with volume keys.";
    static constexpr const char* noKeyboard = "No keyboard with volume keys is connected.";
    static constexpr const char* keyboardTaken
        = "Another program has taken the keyboard over. Quenstal tries again when it has ended.";
    static constexpr const char* notCloned
        = "The system refuses to make a copy of the keyboard (uinput), by which all other keys would reach the "
          "desktop. "
          "\"journalctl --dmesg\" may say why. Quenstal tries again in half a minute.";
    static constexpr const char* unguarded
        = "The system is out of processes or open files, and Quenstal takes no keyboard without a process that guards "
          "it. Close some programs; Quenstal tries again in half a minute.";
    static constexpr const char* keyHeld
        = "A key of the keyboard is held down, or stuck. Quenstal takes the volume keys when it is let go of.";
    static constexpr const char* lostAtOnce
        = "The volume keys are lost again as soon as they are captured. Quenstal tries again in half a minute at the "
          "latest.";
    static constexpr const char* noAccess
        = "Quenstal may not use the keyboard. Install its package (\"./package install\"), whose service hands the "
          "volume keys, and nothing else you type, to the session at the screen. Do not join the group \"input\": "
          "every program could then read all you type.";

    // Of the key service.
    static constexpr const char* noAnswer
        = "Quenstal's key service does not answer. \"systemctl status quenstal-keyd\" says why. Quenstal tries again "
          "in half a minute.";
    static constexpr const char* notActive
        = "The volume keys belong to the session at the screen, and this is not it. Quenstal takes them when you are "
          "back.";
    static constexpr const char* notAuthorized
        = "This computer's administrator does not allow this session to use the volume keys. Ask for the action "
          "\"app.quenstal.capture-volume-keys\" to be allowed in polkit.";
    static constexpr const char* undecided = "The system's polkit service, which decides who may use the volume keys, "
                                             "did not answer. Quenstal tries again "
                                             "in half a minute.";
    static constexpr const char* inUse
        = "Another program of this session already has the volume keys. Quit it; Quenstal tries again in half a "
          "minute.";
    static constexpr const char* serviceWithoutAccess
        = "Quenstal's key service may not use the keyboard. Install Quenstal's package again, or restart the computer "
          "if you have just installed it.";
    static constexpr const char* tooMany = "Quenstal's key service is busy. Quenstal tries again in half a minute.";

    static constexpr std::array all{keysTaken, noKeysInLayout, noKeyboard, keyboardTaken, notCloned, unguarded, keyHeld,
        lostAtOnce, noAccess, noAnswer, notActive, notAuthorized, undecided, inUse, serviceWithoutAccess, tooMany};
};

} // namespace quenstal
