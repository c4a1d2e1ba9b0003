"""The short form of the soak: the same script every time, and what must hold holds."""

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
NEEDED = ("Xvfb", "openbox", "trayer", "xdotool", "setxkbmap", "pipewire", "wireplumber", "dbus-daemon",
          "umockdev-wrapper")
MINUTES, SEED = "3", "7"


class Soak(unittest.TestCase):
    def test_keys_sound_and_volume_survive_half_a_minute_of_everything(self):
        missing = [program for program in NEEDED if not shutil.which(program)]
        if missing:
            self.skipTest("not installed: " + ", ".join(missing))
        if any(SANITIZERS):
            self.skipTest("the emulation of the monitor preloads a library, as the sanitizer does")
        environment = {name: value for name, value in os.environ.items() if name not in ("DISPLAY", "WAYLAND_DISPLAY")}
        soak = subprocess.run([str(ROOT / "Tests/Soak/run.sh"), BUILD, MINUTES, SEED], env=environment, check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=230)
        told = soak.stdout.decode(errors="replace")
        self.assertEqual(soak.returncode, 0, told)
        self.assertTrue(re.search(r"^30 events in \d+ s", told, re.MULTILINE), told)


if __name__ == "__main__":
    script_suite.run()
