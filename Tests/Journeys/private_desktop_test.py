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
NEEDED = ("Xvfb", "xdotool", "xev", "setxkbmap", "pipewire", "wireplumber", "dbus-daemon", "umockdev-wrapper")


class Story(unittest.TestCase):
    COMMAND: tuple[str, ...]

    @classmethod
    def setUpClass(cls):
        missing = [program for program in NEEDED if not shutil.which(program)]
        if missing:
            raise unittest.SkipTest("not installed: " + ", ".join(missing))
        environment = {name: value for name, value in os.environ.items() if name not in ("DISPLAY", "WAYLAND_DISPLAY")}
        story = subprocess.run(cls.COMMAND, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               check=False, timeout=240)
        cls.told = story.stdout.decode(errors="replace")
        cls.status = story.returncode

    def number(self, pattern):
        found = re.search(pattern, self.told)
        self.assertTrue(found, f"no {pattern!r} in:\n{self.told}")
        return float(found.group(1))


class PrivateDesktop(Story):
    COMMAND = (str(ROOT / "Examples/PrivateDesktop/private_desktop.sh"), BUILD)

    def test_the_program_ends_in_order_both_times(self):
        self.assertEqual(self.status, 0, self.told)
        self.assertEqual(self.told.count("exit status 0"), 2, self.told)

    def test_three_presses_raise_the_monitors_own_volume_by_three_sixteenths(self):
        # From 50 of 100, with the monitor's whole numbers in between.
        self.assertIn(self.number(r"Simulated 27: volume (\d+)"), (68, 69))

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
