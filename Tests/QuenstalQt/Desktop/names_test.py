#!/usr/bin/env python3
"""The whole program in front of an output with a hostile name, at every place where the name leaves it."""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import unicodedata
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "Support"))
import script_suite  # noqa: E402
from service import PYTHON, Service  # noqa: E402
from session import LIMIT, Missing, Session, wait_for  # noqa: E402

PROGRAM = sys.argv.pop(1)
HERE = pathlib.Path(__file__).parent
NAME = "B&O <b>27</b>\nKeys:     forged\r\x1b[2J\u009b31m\u202etfel\u2066\u2028."
SHOWN = "B&O <b>27</b> Keys:     forged  [2J 31mtfel ."


class Names(unittest.TestCase):
    def setUp(self):
        for program in ("pipewire", "wireplumber", "pw-cli", "xclip"):
            if not shutil.which(program):
                self.skipTest(f"{program} is not installed")
        if subprocess.run([PYTHON, "-c", "import dbus, gi.repository.GLib"], capture_output=True).returncode:
            self.skipTest("the system's Python has no modules for the session bus")
        try:
            self.session = Session()
        except Missing as program:
            self.skipTest(f"{program} is not installed")
        self.addCleanup(self.session.close)

    def start_sound(self):
        self.session.start("pipewire")
        wait_for(lambda: pathlib.Path(self.session.folder.name, "pipewire-0").exists(), "sound server")
        self.session.start("wireplumber")
        self.session.run("pw-cli", "create-node", "adapter",
                         "{ factory.name=support.null-audio-sink node.name=hostile media.class=Audio/Sink "
                         f"object.linger=true audio.position=[ FL FR ] node.description={json.dumps(NAME)} }}")

    def start(self):
        """The program with what it tells, and the tray that it is in."""
        self.start_sound()
        self.session.finish_setup_guide()
        self.watcher = Service(self.session, "watcher.py")
        self.program = self.session.start(PROGRAM, "--tell", stdout=subprocess.PIPE, bufsize=0)
        os.set_blocking(self.program.stdout.fileno(), False)
        self.watcher.expect("registered")
        self.told = b""
        wait_for(lambda: "B&O" in self.tells(), "the output told")

    def tells(self):
        self.told += self.program.stdout.read() or b""
        return self.told.decode()

    def check(self, text):
        """Nothing is in it but what can be seen."""
        for character in text:
            self.assertNotIn(unicodedata.category(character), ("Cc", "Cf", "Zl", "Zp"), repr(text))

    def check_findings(self, text):
        lines = text.splitlines()
        for line in lines:
            self.check(line)
        self.assertEqual(sum(line.startswith("Keys:") for line in lines), sum(
            line.startswith("Output:") for line in lines), text)
        self.assertIn(f"Output:   {SHOWN}, ", text)

    def read_panel(self, *words):
        reader = self.session.start(sys.executable, str(HERE / "read_accessibility.py"), *words,
                                    stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        output, problems = reader.communicate(timeout=60)
        if "ModuleNotFoundError" in problems:
            self.skipTest(problems.strip().splitlines()[-1])
        self.assertEqual(reader.returncode, 0, problems)
        return [text for entry in json.loads(output)["tree"] for text in (entry["name"], entry["description"])]

    def test_it_forges_no_line_of_what_is_told_and_reported(self):
        self.start()
        self.check_findings(self.tells())
        self.check_findings(self.session.run(PROGRAM, "--report"))

    def test_it_is_plain_in_the_tray_in_the_panel_and_in_the_titles_of_windows(self):
        self.start()
        self.watcher.command("properties")
        properties = self.watcher.expect("label")
        for text in ("label", "tooltip", "title"):
            self.check(properties[text])
        self.watcher.command("activate 640 12")
        wait_for(lambda: self.session.windows("Quenstal"), "panel")
        names = self.read_panel("look")
        self.assertIn(SHOWN, names)
        for text in names:
            self.check(text)
        for line in self.session.run("xwininfo", "-root", "-tree").splitlines():
            self.check(line)

    def test_it_forges_no_line_of_the_copied_report(self):
        self.start()
        self.watcher.command("activate 640 12")
        wait_for(lambda: self.session.windows("Quenstal"), "panel")
        self.read_panel("press", "More", "Copy Diagnostics")
        report = wait_for(lambda: self.session.run("xclip", "-out", "-selection", "clipboard"), "report")
        for line in report.splitlines():
            self.check(line)
            self.assertTrue(line.startswith("["), line)

    def test_whoever_answers_in_the_programs_place_steers_no_terminal(self):
        Service(self.session, "impostor.py", "Keys:     \x1b[2Jcaptured\u009b31m\n          more\n")
        self.assertEqual(self.session.run(PROGRAM, "--report"), "Keys:      [2Jcaptured 31m\n          more\n")

    def test_an_unknown_option_steers_no_terminal(self):
        finished = subprocess.run([PROGRAM, "--\x1b[2J"], env=self.session.environment, capture_output=True,
                                  text=True, timeout=LIMIT, check=False)
        self.assertEqual(finished.stderr, "quenstal: unexpected argument \"-- [2J\"; see quenstal --help\n")


if __name__ == "__main__":
    script_suite.run()
