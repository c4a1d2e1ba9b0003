#pragma once

#include <array>

namespace quenstal {

/// What the ways of capture show the user: the obstacle and the remedy, in as many words as the setup guide has room
/// for.
struct KeyAdvice {
    static constexpr const char* keysTaken
        = "Another program, usually the desktop itself, is using the volume keys. In the desktop's settings, remove "
          "the keyboard shortcuts for \"Raise volume\", \"Lower volume\" and \"Mute\". Quenstal will capture the keys "
          "as soon as they are free.";
    static constexpr const char* noKeysInLayout
        = "The keyboard layout has no volume keys. Choose one that does, or connect a keyboard with volume keys.";
    static constexpr const char* noKeyboard = "No keyboard with volume keys is connected.";
    static constexpr const char* keyboardTaken
        = "Another program has taken over the keyboard. Quenstal will try again when that program exits.";
    static constexpr const char* notCloned
        = "The system cannot create a copy of the keyboard (uinput), which Quenstal needs to pass all other keys on to "
          "the desktop. \"journalctl --dmesg\" may show why. Quenstal will try again in half a minute.";
    static constexpr const char* unguarded
        = "The system has run out of processes or open files, so Quenstal cannot start the process that guards the "
          "keyboard. Close some programs. Quenstal will try again in half a minute.";
    static constexpr const char* keyHeld
        = "A key is being held down or is stuck. Quenstal will capture the volume keys when it is released.";
    static constexpr const char* lostAtOnce
        = "The volume keys are lost again as soon as they are captured. Quenstal will try again within half a minute.";
    static constexpr const char* noAccess
        = "Quenstal does not have access to the keyboard. Install its package (\"./package install\"): its service "
          "passes the volume keys, and nothing else you type, to the active session. Do not join the group \"input\": "
          "every program could then read everything you type.";

    // Of the key service.
    static constexpr const char* noAnswer = "Quenstal's key service is not responding. \"systemctl status "
                                            "quenstal-keyd\" shows why. Quenstal will try again in half a minute.";
    static constexpr const char* notActive = "The volume keys belong to the active session; this one is in the "
                                             "background. Quenstal will capture them when you return.";
    static constexpr const char* notAuthorized
        = "This computer's administrator does not allow this session to use the volume keys. Ask them to allow the "
          "polkit action \"app.quenstal.capture-volume-keys\".";
    static constexpr const char* undecided = "The system's polkit service, which decides who may use the volume keys, "
                                             "did not respond. Quenstal will try again in half a minute.";
    static constexpr const char* inUse = "Another program in this session has already captured the volume keys. Quit "
                                         "it; Quenstal will try again in half a minute.";
    static constexpr const char* serviceWithoutAccess
        = "Quenstal's key service does not have access to the keyboard. Reinstall Quenstal's package, or restart the "
          "computer if you have just installed it.";
    static constexpr const char* tooMany = "Quenstal's key service is busy. Quenstal will try again in half a minute.";

    static constexpr std::array all{keysTaken, noKeysInLayout, noKeyboard, keyboardTaken, notCloned, unguarded, keyHeld,
        lostAtOnce, noAccess, noAnswer, notActive, notAuthorized, undecided, inUse, serviceWithoutAccess, tooMany};
};

} // namespace quenstal
