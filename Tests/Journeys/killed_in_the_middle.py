"""Stops and kills the program while it makes the volume in software, and tells what is left. Within a private audio
session.

    killed_in_the_middle.py BUILD_FOLDER
"""

import json
import os
import pathlib
import signal
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "Examples" / "PrivateDesktop"))
from desktop import Desktop, output_of, settled, wait_for  # noqa: E402
from frozen_servers import Watch  # noqa: E402
from sound import Sound  # noqa: E402

TONE = -6
HALF = -6.02
LONGEST_SILENCE = 2


def tell_level(sound, what, expected):
    """What the monitor is sent, relative to the tone; waits for what is expected."""
    def heard():
        return sound.levels("monitor", (440,))[0] - TONE
    def is_right(shown):
        return abs(shown - expected) < 0.1
    shown = settled(heard, is_right, limit=5)
    print(f"{what}: {shown:.2f} dB, {'as expected' if is_right(shown) else f'{expected} dB was expected'}")


def stop_for_a_while(desktop, sound, quenstal):
    """Tells what is heard of the tone while the program is stopped, and when it goes on."""
    watch = Watch(desktop, sound.probe)
    wait_for(lambda: watch.has_heard(TONE + HALF), "what is heard")
    quenstal.send_signal(signal.SIGSTOP)
    began = time.monotonic()
    wait_for(lambda: watch.heard[-1][1] < -60, "silence")
    wait_for(lambda: watch.heard[-1][1] > -60, "sound")
    silence = watch.heard[-1][0] - began
    print(f"stopped: silent for {silence:.2f} s{'' if silence < LONGEST_SILENCE else ', which is NOT in time'}")
    tell_level(sound, "stopped", HALF)
    quenstal.send_signal(signal.SIGCONT)
    wait_for(lambda: output_of("wpctl", "get-volume", "@DEFAULT_AUDIO_SINK@").strip() == "Volume: 1.00",
             "the output's own volume")
    tell_level(sound, "going on", HALF)
    loudest = max(level for _, level in watch.heard) - TONE
    print(f"loudest meanwhile: {loudest:.2f} dB{'' if loudest < HALF + 0.2 else ', which is NOT as quiet as it was'}")
    desktop.stop(watch.child)


def key_reaches_another_program(desktop, key):
    """Whether a window that has the keyboard's focus sees the key."""
    watcher = desktop.start("xev", "-event", "keyboard", stdout=subprocess.PIPE, text=True)
    window = wait_for(lambda: desktop.windows("Event Tester"), "the watcher's window")[0]
    desktop.hands("windowfocus", "--sync", window)
    # The second key is nobody's: when it has come, the first one has or never will.
    desktop.press(key)
    desktop.press("a")
    seen = ""
    for line in watcher.stdout:
        seen += line
        if "keysym 0x61, a" in line:
            break
    desktop.stop(watcher)
    return key in seen


def preferences_saved_since(moment):
    """What is saved, once the keys pressed after the moment are part of it."""
    path = pathlib.Path(os.environ["XDG_CONFIG_HOME"]) / "quenstal" / "preferences.json"
    saved = json.loads(path.read_text()) if path.exists() else {}
    return saved if saved.get("QuenstalLastMediaKeyTimestamp", 0) >= moment else None


def main():
    build = pathlib.Path(sys.argv[1])
    desktop = Desktop()
    sound = Sound(desktop, build / "Examples/AudioSession/audio_session_probe")
    sound.session("plug", "monitor")
    quenstal = desktop.start(build / "Sources/quenstal")
    wait_for(lambda: desktop.windows("Quenstal"), "the set-up guide")
    sound.play((440,), TONE)
    wait_for(lambda: sound.levels("monitor", (440,))[0] is not None, "the tone")
    desktop.press("XF86AudioLowerVolume", 8)
    tell_level(sound, "halved", HALF)
    last_press = time.time()
    stop_for_a_while(desktop, sound, quenstal)
    print(f"another program sees the key: {key_reaches_another_program(desktop, 'XF86AudioLowerVolume')}")
    before = wait_for(lambda: preferences_saved_since(last_press), "the preferences with the last key")
    quenstal.kill()
    quenstal.wait()
    print(f"preferences kept: {preferences_saved_since(last_press) == before}")
    tell_level(sound, "without it", 0)
    print(f"another program sees the key now: {key_reaches_another_program(desktop, 'XF86AudioLowerVolume')}")
    desktop.close()


if __name__ == "__main__":
    main()
