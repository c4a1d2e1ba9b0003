#!/usr/bin/env python3
"""How the limits of the emulated machine follow its speed, and what one that is met says. This machine stands in: it has
been up for a while, and is told that others take longer or shorter."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "Tests" / "Support"))
import script_suite  # noqa: E402

UPTIME = int(float(pathlib.Path("/proc/uptime").read_text().split()[0]))


class MachineLimits(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="quenstal-limits-")
        self.addCleanup(folder.cleanup)
        self.place = pathlib.Path(folder.name)

    def output_of(self, command, usual_boot, usual_limit=60):
        (self.place / "command").write_text(command + "\n")
        return subprocess.run([ROOT / "tools/machine/run_command.sh", self.place, str(usual_boot), str(usual_limit)],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=True).stdout

    def status(self):
        return int((self.place / "status").read_text())

    def slowness(self, usual_boot):
        return int(self.output_of("echo $QUENSTAL_MACHINE_SLOWNESS", usual_boot).splitlines()[-1])

    def test_limits_grow_with_the_time_that_the_machine_took_to_boot(self):
        self.assertGreaterEqual(self.slowness(1), UPTIME)

    def test_limits_never_shrink(self):
        self.assertEqual(self.slowness(100 * UPTIME + 1000), 1)

    def test_the_commands_status_is_kept(self):
        self.output_of("exit 3", 1)
        self.assertEqual(self.status(), 3)

    def test_a_limit_that_is_met_says_which_how_long_and_at_what(self):
        output = self.output_of("echo the last test; exec sleep 60", 100 * UPTIME + 1000, usual_limit=1)
        self.assertIn("the last test\nThe command reached its limit of 1 s (1 times 1 s)", output)
        self.assertIn("exec sleep 60", output)
        self.assertEqual(output.splitlines()[-1], "0 passed, 1 failed")
        self.assertNotEqual(self.status(), 0)


if __name__ == "__main__":
    script_suite.run()
