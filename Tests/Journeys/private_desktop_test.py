"""The real program on a private desktop: its whole story, its sudden end, and that nothing is left of either."""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import uuid

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "Tests" / "Support"))
import script_suite  # noqa: E402

BUILD = sys.argv.pop(1)
SANITIZERS = sys.argv.pop(1).removeprefix("--sanitizers=").split(",")
EXAMPLES = ROOT / "Examples" / "PrivateDesktop"
NEEDED = ("Xvfb", "openbox", "trayer", "xdotool", "xclip", "xev", "setxkbmap", "pipewire", "wireplumber", "dbus-daemon",
          "umockdev-wrapper")
MARK = "QUENSTAL_TEST_RUN"


def processes_of(run):
    found = []
    for environment in pathlib.Path("/proc").glob("[0-9]*/environ"):
        try:
            if f"{MARK}={run}".encode() in environment.read_bytes():
                found.append((environment.parent / "cmdline").read_bytes().replace(b"\0", b" ").decode())
        except OSError:
            pass
    return found


class PrivateDesktopTest(unittest.TestCase):
    # Sanitizers under which it cannot be told, and why.
    IMPOSSIBLE_UNDER = {"thread": "the thread sanitizer does not know the toolkit's own locks"}

    def setUp(self):
        missing = [program for program in NEEDED if not shutil.which(program)]
        if missing:
            self.skipTest("not installed: " + ", ".join(missing))
        for sanitizer, reason in self.IMPOSSIBLE_UNDER.items():
            if sanitizer in SANITIZERS:
                self.skipTest(reason)

    def start(self, *command):
        """A run of its own, whose processes and files can be told from all others."""
        self.folder = tempfile.TemporaryDirectory(prefix="quenstal-test-")
        self.addCleanup(self.folder.cleanup)
        self.run_name = uuid.uuid4().hex
        environment = {name: value for name, value in os.environ.items() if name not in ("DISPLAY", "WAYLAND_DISPLAY")}
        environment.update({MARK: self.run_name, "TMPDIR": self.folder.name})
        return subprocess.Popen([str(word) for word in command], env=environment, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT)

    def start_story(self):
        pictures = tempfile.TemporaryDirectory(prefix="quenstal-pictures-")
        self.addCleanup(pictures.cleanup)
        self.pictures = pathlib.Path(pictures.name)
        return self.start(EXAMPLES / "private_desktop.sh", BUILD, self.pictures)

    def told_by(self, run):
        with run:
            return run.communicate(timeout=200)[0].decode(errors="replace")

    def assert_nothing_is_left(self):
        self.assertEqual(processes_of(self.run_name), [])
        self.assertEqual(os.listdir(self.folder.name), [])


class Story(PrivateDesktopTest):
    IMPOSSIBLE_UNDER = PrivateDesktopTest.IMPOSSIBLE_UNDER | {
        "address": "the emulation of the monitor preloads a library, as the sanitizer does"}

    def test_all_is_as_expected_and_nothing_is_left(self):
        run = self.start_story()
        told = self.told_by(run)
        self.assertEqual(run.returncode, 0, told)
        self.assertNotIn("WRONG", told)
        counts = re.search(r"(\d+) of (\d+) as expected", told)
        self.assertTrue(counts, told)
        self.assertGreaterEqual(int(counts.group(1)), 30, told)
        for picture in ("set-up-guide", "tray-and-panel", "equalizer"):
            self.assertTrue((self.pictures / f"{picture}.png").read_bytes().startswith(b"\x89PNG"))
        self.assert_nothing_is_left()


class Interrupted(PrivateDesktopTest):
    IMPOSSIBLE_UNDER = PrivateDesktopTest.IMPOSSIBLE_UNDER | {
        "address": "the emulation of the monitor preloads a library, as the sanitizer does"}

    def interrupt(self, ending, moment):
        run = self.start_story()
        told = b""
        while moment.encode() not in told:
            piece = os.read(run.stdout.fileno(), 4096)
            self.assertTrue(piece, told.decode())
            told += piece
        run.send_signal(ending)
        began = time.monotonic()
        told += self.told_by(run).encode()
        self.assertEqual(run.returncode, 128 + ending, told.decode(errors="replace"))
        self.assertLess(time.monotonic() - began, 15)
        self.assert_nothing_is_left()

    def test_nothing_is_left_whenever_it_is_interrupted(self):
        for ending, moment in ((signal.SIGINT, "Quenstal on"), (signal.SIGTERM, " 1. "), (signal.SIGINT, " 3. "),
                               (signal.SIGTERM, " 5. ")):
            with self.subTest(moment=moment, ending=ending):
                self.interrupt(ending, moment)

    def test_a_process_that_went_its_own_way_is_ended_too(self):
        run = self.start(EXAMPLES / "guarded.py", "sh", "-c", "setsid sleep 600 & trap '' TERM; echo on its way; cat")
        self.assertEqual(run.stdout.readline(), b"on its way\n")
        run.send_signal(signal.SIGTERM)
        self.told_by(run)
        self.assert_nothing_is_left()

    def test_the_status_is_the_commands_own(self):
        run = self.start(EXAMPLES / "guarded.py", "sh", "-c", "exit 7")
        self.told_by(run)
        self.assertEqual(run.returncode, 7)


class KilledInTheMiddle(PrivateDesktopTest):
    def test_keys_sound_and_preferences_are_as_they_were(self):
        run = self.start(EXAMPLES / "guarded.py", ROOT / "tools/audio_session.sh", "run",
                         f"{BUILD}/Examples/AudioSession/audio_session_card", "/usr/bin/python3",
                         ROOT / "Tests/Journeys/killed_in_the_middle.py", BUILD)
        told = self.told_by(run)
        self.assertEqual(run.returncode, 0, told)
        self.assertRegex(told, "halved: .* as expected")
        print(told)
        self.assertNotIn("NOT", told)
        self.assertRegex(told, "stopped: .* as expected")
        self.assertRegex(told, "going on: .* as expected")
        self.assertIn("another program sees the key: False", told)
        self.assertIn("preferences kept: True", told)
        self.assertRegex(told, "without it: .* as expected")
        self.assertIn("another program sees the key now: True", told)
        self.assert_nothing_is_left()


class FrozenServers(PrivateDesktopTest):
    def test_the_end_waits_for_none_and_gives_the_sound_back(self):
        run = self.start(EXAMPLES / "guarded.py", ROOT / "tools/audio_session.sh", "run",
                         f"{BUILD}/Examples/AudioSession/audio_session_card", "/usr/bin/python3",
                         ROOT / "Tests/Journeys/frozen_servers.py", BUILD)
        told = self.told_by(run)
        self.assertEqual(run.returncode, 0, told)
        print(told)
        self.assertNotIn("NOT", told)
        self.assertEqual(len(re.findall("frozen: ended in .* s with status 0", told)), 6, told)
        self.assertIn("silent system bus: started in", told)
        self.assertIn("silent session bus: started in", told)
        self.assertIn("frozen session bus: started in", told)
        self.assertIn("thawed session bus: has the program", told)
        self.assert_nothing_is_left()


class HardwarePath(PrivateDesktopTest):
    IMPOSSIBLE_UNDER = PrivateDesktopTest.IMPOSSIBLE_UNDER | {
        "address": "the emulation of the monitor preloads a library, as the sanitizer does"}

    def test_the_keys_move_the_monitor_whatever_is_frozen_or_sent(self):
        run = self.start(EXAMPLES / "guarded.py", ROOT / "tools/audio_session.sh", "run",
                         f"{BUILD}/Examples/AudioSession/audio_session_card", "/usr/bin/python3",
                         ROOT / "Tests/Journeys/hardware_path.py", BUILD)
        told = self.told_by(run)
        self.assertEqual(run.returncode, 0, told)
        print(told)
        self.assertNotIn("NOT", told)
        self.assertEqual(len(re.findall("a key moves the monitor's volume", told)), 3, told)
        self.assertEqual(len(re.findall("ended in .* s with status 0", told)), 4, told)
        self.assertRegex(told, "[1-9] connections sent 30,000,000 bytes")
        self.assert_nothing_is_left()


if __name__ == "__main__":
    script_suite.run()
