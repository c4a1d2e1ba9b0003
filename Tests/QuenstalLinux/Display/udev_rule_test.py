#!/usr/bin/env python3
"""Which buses the device manager gives to the user at the machine by the package's rule: its own verdict on buses that
are not there, in a name space where it has no other rule and leaves nothing behind."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[2]
sys.path.insert(0, str(ROOT / "Tests/Support"))
import script_suite  # noqa: E402

RULE = ROOT / "packaging/udev/70-quenstal-i2c.rules"
VERDICT = "QUENSTAL_VERDICT=given"
AS_ROOT = [] if os.geteuid() == 0 else ["--map-root-user"]
# Its rules, and where it keeps what it knows.
SCRIPT = """
mount -t tmpfs none /run
mount --bind "$1/none" /usr/lib/udev/rules.d
mount --bind "$1/rules" /etc/udev/rules.d
exec umockdev-run --device "$1/devices" -- sh -c '
    while read -r device; do echo "$device"; udevadm test "$device" 2>&1; done <"$1/paths"' sh "$1"
"""


def named_buses():
    """Whether a display is behind, the driver above, the name."""
    lines = (HERE / "buses.txt").read_text(encoding="utf-8").splitlines()
    return [line.split(" ", 2) for line in lines if not line.startswith("#")]


def device_text(number, driver, name):
    parent = f"/devices/device-{number}"
    bus = f"{parent}/i2c-{number}"
    return (f"P: {parent}\nE: SUBSYSTEM=pci\nA: class=0x030000\\n\nL: driver=../../bus/pci/drivers/{driver}\n\n"
            f"P: {bus}\nE: SUBSYSTEM=i2c\nE: DEVTYPE=i2c_adapter\nA: name={name}\\n\n\n"
            f"P: {bus}/i2c-dev/i2c-{number}\nE: SUBSYSTEM=i2c-dev\nA: name={name}\\n\n\n")


def verdicts(buses):
    """For each bus whether it is given to the user at the machine."""
    with tempfile.TemporaryDirectory() as name:
        directory = pathlib.Path(name)
        (directory / "none").mkdir()
        (directory / "rules").mkdir()
        shutil.copy(RULE, directory / "rules")
        (directory / "rules/99-verdict.rules").write_text(
            f'TAG=="uaccess", ENV{{{VERDICT.split("=")[0]}}}="{VERDICT.split("=")[1]}"\n')
        (directory / "devices").write_text("".join(device_text(number, *bus) for number, bus in enumerate(buses)))
        paths = [f"/devices/device-{number}/i2c-{number}/i2c-dev/i2c-{number}" for number in range(len(buses))]
        (directory / "paths").write_text("\n".join(paths) + "\n")
        said = subprocess.run(["unshare", "--mount", "--propagation", "private", *AS_ROOT, "sh", "-ec", SCRIPT, "sh", name],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=True).stdout
    parts = re.split(r"^(?=/devices/device-\d+/)", said, flags=re.MULTILINE)[1:]
    assert [part.split("\n", 1)[0] for part in parts] == paths, said
    return [re.search(rf"^\s*{VERDICT}$", part, re.MULTILINE) is not None for part in parts]


class UdevRule(unittest.TestCase):
    def setUp(self):
        for program in ("umockdev-run", "udevadm"):
            if not shutil.which(program):
                self.skipTest(f"{program} is missing")
        if subprocess.run(["unshare", "--mount", *AS_ROOT, "true"], check=False).returncode != 0:
            self.skipTest("this machine gives no name spaces")

    def test_buses_with_a_display_behind_are_given_and_no_others(self):
        buses = named_buses()
        self.assertTrue(buses)
        given = verdicts([(driver, name) for _, driver, name in buses])
        for (answer, driver, name), is_given in zip(buses, given):
            with self.subTest(driver=driver, name=name):
                self.assertEqual(is_given, answer == "yes")


if __name__ == "__main__":
    script_suite.run()
