"""The real program on a private desktop: real key events, real device nodes, a real audio session, measured sound."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "Tests" / "Support"))
import script_suite  # noqa: E402

BUILD = sys.argv.pop(1)
SANITIZERS = sys.argv.pop(1).removeprefix("--sanitizers=").split(",")
NEEDED = ("Xvfb", "xdotool", "xev", "setxkbmap", "pipewire", "wireplumber", "dbus-daemon", "umockdev-wrapper")
DESKTOP = str(ROOT / "Examples/PrivateDesktop/private_desktop.sh")


class Story(unittest.TestCase):
    COMMAND: tuple[str, ...]
    # Sanitizers under which it cannot be told, and why.
    IMPOSSIBLE_UNDER = {"thread": "the thread sanitizer does not know the toolkit's own locks"}

    @classmethod
    def obstacle(cls):
        missing = [program for program in NEEDED if not shutil.which(program)]
        if missing:
            return "not installed: " + ", ".join(missing)
        return next((why for name, why in cls.IMPOSSIBLE_UNDER.items() if name in SANITIZERS), None)

    @classmethod
    def setUpClass(cls):
        if cls.obstacle():
            return
        environment = {name: value for name, value in os.environ.items() if name not in ("DISPLAY", "WAYLAND_DISPLAY")}
        story = subprocess.run(cls.COMMAND, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               check=False, timeout=240)
        cls.told = story.stdout.decode(errors="replace")
        cls.status = story.returncode

    def setUp(self):
        if obstacle := self.obstacle():
            self.skipTest(obstacle)

    def number(self, pattern):
        found = re.search(pattern, self.told)
        self.assertTrue(found, f"no {pattern!r} in:\n{self.told}")
        return float(found.group(1))

    def assert_ends_in_order(self):
        self.assertEqual(self.status, 0, self.told)
        self.assertIn("exit status 0", self.told)


class MonitorWithDDC(Story):
    COMMAND = (DESKTOP, BUILD, "hardware")
    IMPOSSIBLE_UNDER = Story.IMPOSSIBLE_UNDER | {
        "address": "the emulation of the monitor preloads a library, as the sanitizer does"}

    def test_the_program_ends_in_order(self):
        self.assert_ends_in_order()

    def test_three_presses_raise_the_monitors_own_volume_by_three_sixteenths(self):
        # From 50 of 100, with the monitor's whole numbers in between.
        self.assertIn(self.number(r"Simulated 27: volume (\d+)"), (68, 69))


class MonitorWithoutDDC(Story):
    COMMAND = (DESKTOP, BUILD, "software")

    def test_the_program_ends_in_order(self):
        self.assert_ends_in_order()

    def test_eight_presses_halve_what_the_monitor_gets(self):
        self.assertAlmostEqual(self.number(r"before any key +([\d.]+)"), 0.5, delta=0.005)
        self.assertAlmostEqual(self.number(r"volume down 8 times +([\d.]+)"), 0.25, delta=0.005)

    def test_mute_is_silence_and_the_next_mute_brings_the_level_back(self):
        self.assertEqual(self.number(r"mute  +([\d.]+)   \(silence"), 0)
        self.assertAlmostEqual(self.number(r"mute again +([\d.]+)"), 0.25, delta=0.005)


class KilledInTheMiddle(Story):
    COMMAND = (str(ROOT / "tools/audio_session.sh"), "run", f"{BUILD}/Examples/AudioSession/audio_session_card",
               "python3", str(ROOT / "Examples/PrivateDesktop/story.py"), "crash", f"{BUILD}/Sources/quenstal")

    def test_no_preference_is_lost(self):
        self.assertIn("preferences kept: True", self.told)

    def test_the_keys_are_the_desktops_again(self):
        self.assertIn("another program sees the key: False", self.told)
        self.assertIn("another program sees the key now: True", self.told)

    def test_the_sound_goes_on_at_its_own_level(self):
        self.assertAlmostEqual(self.number(r"volume down 8 times +([\d.]+)"), 0.25, delta=0.005)
        self.assertAlmostEqual(self.number(r"the tone without it +([\d.]+)"), 0.5, delta=0.005)


if __name__ == "__main__":
    script_suite.run()
