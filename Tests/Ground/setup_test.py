#!/usr/bin/env python3
"""What the commands at the root do before they build, on machines made of a few programs that only take notes."""

import itertools
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "Tests" / "Support"))
import script_suite  # noqa: E402

PACKAGES = """# Prose that names no package.

# build: what everything needs
compiler

# panel: toolkit
toolkit

# fuzz: tests only; fuzz targets
?sanitizer
witness
"""
COMMANDS = ["bench", "package", "run", "soak", "test"]
ORDINARY_PROGRAMS = ["awk", "bash", "cat", "dirname", "env", "grep", "mkdir", "touch"]


class Machine(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="a machine ")
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        (self.root / "tools").mkdir()
        (self.root / "bin").mkdir()
        shutil.copy(ROOT / "tools" / "setup.sh", self.root / "tools")
        (self.root / "tools" / "packages.txt").write_text(PACKAGES)
        for name in ORDINARY_PROGRAMS:
            (self.root / "bin" / name).symlink_to(shutil.which(name))
        self.notes = self.root / "notes"
        self.machine(installed=[])

    def program(self, name, script):
        file = self.root / "bin" / name
        file.write_text(f"#!{shutil.which('bash')}\n{script}\n")
        file.chmod(0o755)

    def machine(self, installed, available=("compiler", "toolkit", "sanitizer", "witness"), user=0):
        self.program("id", f"echo {user}")
        self.program("dpkg-query", "".join(f"echo 'installed {name}';" for name in installed) + ":")
        known = " | ".join(available)
        self.program("apt-get", f"""echo "apt-get $*" >>'{self.notes}'
            [ "$1" = install ] || exit 0
            for name in "$@"; do
                case $name in -* | install | DPkg*) ;; {known}) ;; *) echo "no such package: $name"; exit 100 ;; esac
            done""")

    def started(self, *command, **streams):
        return subprocess.run([shutil.which("bash"), *command], env={"PATH": str(self.root / "bin")}, cwd=os.sep,
                              stdout=subprocess.PIPE, text=True, check=False, **streams)

    def installed_by_apt(self):
        notes = self.notes.read_text().splitlines() if self.notes.exists() else []
        calls = [note.split() for note in notes if note.startswith("apt-get install")]
        return [[word for word in call[2:] if not word.startswith(("-", "DPkg"))] for call in calls]


class Packages(Machine):
    def ensure(self, what="all"):
        script = f'set -euo pipefail; source "{self.root}/tools/setup.sh"; ensure_packages {what}; echo ready'
        finished = self.started("-c", script, stderr=subprocess.STDOUT)
        self.assertEqual(finished.returncode == 0, finished.stdout.endswith("ready\n"), finished.stdout)
        return finished.stdout

    def test_a_machine_with_everything_is_left_alone(self):
        self.machine(installed=["compiler", "toolkit", "sanitizer", "witness"])
        self.assertEqual(self.ensure(), "ready\n")
        self.assertFalse(self.notes.exists())

    def test_only_what_is_missing_is_named_and_installed(self):
        self.machine(installed=["compiler", "sanitizer"])
        self.assertIn("Installing with apt: toolkit witness", self.ensure())
        self.assertEqual(self.installed_by_apt(), [["toolkit", "witness"]])

    def test_the_application_alone_needs_no_package_of_the_tests(self):
        self.ensure("app")
        self.assertEqual(self.installed_by_apt(), [["compiler", "toolkit"]])

    def test_one_group_can_be_asked_for_alone(self):
        self.ensure("panel")
        self.assertEqual(self.installed_by_apt(), [["toolkit"]])

    def test_a_package_that_cannot_be_had_ends_the_run_with_its_reason(self):
        self.machine(installed=[], available=["compiler"])
        output = self.ensure()
        self.assertIn("no such package: toolkit", output)
        self.assertIn("Could not install: compiler toolkit witness", output)

    def test_an_optional_package_that_cannot_be_had_is_told_once(self):
        installed = ["compiler", "toolkit", "witness"]
        self.machine(installed=installed, available=installed)
        self.assertIn("Not available: sanitizer. Whatever needs it is skipped.", self.ensure())
        self.assertEqual(self.ensure(), "ready\n")

    def test_without_root_and_sudo_the_missing_packages_are_named(self):
        self.machine(installed=["compiler"], user=1000)
        output = self.ensure()
        self.assertIn("cannot be installed without root or sudo: toolkit witness sanitizer", output)
        self.assertEqual(self.installed_by_apt(), [])

    def test_without_root_but_with_sudo_they_are_installed(self):
        self.machine(installed=["compiler"], user=1000)
        self.program("sudo", f'echo "sudo $*" >>"{self.notes}"; exec "$@"')
        self.ensure()
        self.assertIn(["toolkit", "witness"], self.installed_by_apt())

    def test_a_system_without_dpkg_is_trusted_to_have_what_is_needed(self):
        (self.root / "bin" / "dpkg-query").unlink()
        self.assertIn("No dpkg here", self.ensure())


class Commands(Machine):
    """Nothing is installed or built before a question is answered: apt, the first to be called, takes notes."""

    def setUp(self):
        super().setUp()
        for name in COMMANDS:
            shutil.copy(ROOT / name, self.root)

    def answer(self, *words):
        return self.started(self.root / words[0], *words[1:], stderr=subprocess.PIPE)

    def assert_refused(self, *words):
        answer = self.answer(*words)
        self.assertEqual((answer.returncode, answer.stdout), (2, ""))
        self.assertEqual(len(answer.stderr.splitlines()), 1, answer.stderr)
        self.assertIn(words[-1], answer.stderr)
        self.assertIn("--help", answer.stderr)
        self.assertFalse(self.notes.exists())

    def test_every_command_is_among_these(self):
        scripts = [file.name for file in ROOT.iterdir() if file.is_file() and os.access(file, os.X_OK)]
        self.assertEqual(sorted(scripts), COMMANDS)

    def test_help_shows_the_use_and_does_nothing_else(self):
        for name, option in itertools.product(COMMANDS, ("--help", "-h")):
            with self.subTest(name=name, option=option):
                answer = self.answer(name, option)
                self.assertEqual((answer.returncode, answer.stderr), (0, ""))
                self.assertIn(f"  ./{name} ", answer.stdout)
                self.assertNotIn("#", answer.stdout)
                self.assertNotIn("pipefail", answer.stdout)
                self.assertFalse(self.notes.exists())

    def test_help_is_found_after_other_words(self):
        self.assertIn("  ./test asan", self.answer("test", "asan", "core", "--help").stdout)

    def test_an_unknown_option_is_refused(self):
        for name, option in itertools.product(COMMANDS, ("--unknown", "-x")):
            with self.subTest(name=name, option=option):
                self.assert_refused(name, option)

    def test_unexpected_arguments_are_refused(self):
        for words in (("test", "coverage", "core"), ("run", "galery"), ("run", "gallery more"), ("package", "remove"),
                      ("soak", "an hour"), ("soak", "60", "seed"), ("soak", "60", "1", "more")):
            with self.subTest(words=words):
                self.assert_refused(*words)

    def test_without_arguments_a_command_starts_with_the_packages(self):
        self.answer("run")
        self.assertEqual(self.installed_by_apt(), [["compiler", "toolkit"]])


if __name__ == "__main__":
    script_suite.run()
