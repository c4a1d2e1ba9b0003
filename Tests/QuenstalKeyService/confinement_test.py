"""What keeps the key service in its place: its unit, the bus's policy, polkit's action and the account it runs as."""

import argparse
import os
import pathlib
import pwd
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
FILES = ROOT / "packaging/keyservice"
sys.path.insert(0, str(ROOT / "Tests/Support"))
import script_suite  # noqa: E402

BUS_NAME = "app.quenstal.KeyService"
INTERFACE = "app.quenstal.KeyService1"
OBJECT = "/app/quenstal/KeyService"
# As Debian's system bus: nobody may own a name or call anyone unless a policy says so.
BUS = """<busconfig>
  <type>system</type><listen>unix:tmpdir={folder}</listen><auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/><deny own="*"/><deny send_type="method_call"/>
    <allow send_type="signal"/><allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/><allow receive_type="method_call"/>
    <allow receive_type="method_return"/><allow receive_type="error"/><allow receive_type="signal"/>
    <allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus"/>
  </policy>
  <include>{policy}</include>
</busconfig>"""

# The worst that the judge may say, of ten: what is left to it are the keyboards, uinput and the netlink that brings the
# news of keyboards.
MOST_EXPOSURE = 1.2


def needs(program):
    return unittest.skipUnless(shutil.which(program), f"{program} is missing")


class Bus:
    """A bus with the shipped policy, in which `user` stands for the service's account."""

    def __init__(self, folder, user):
        policy = (FILES / f"{BUS_NAME}.conf").read_text(encoding="utf-8")
        (folder / "policy.conf").write_text(policy.replace('user="quenstal-keyd"', f'user="{user}"'), encoding="utf-8")
        configuration = folder / "bus.conf"
        configuration.write_text(BUS.format(folder=folder, policy=folder / "policy.conf"), encoding="utf-8")
        self.daemon = subprocess.Popen(
            ["dbus-daemon", f"--config-file={configuration}", "--nofork", "--nopidfile", "--print-address=1"],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.environment = {**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": self.daemon.stdout.readline().strip()}

    def call(self, destination, path, interface, member, *arguments):
        """What the caller is answered, in the words of busctl."""
        done = subprocess.run(
            ["busctl", "--system", "call", destination, path, interface, member, *arguments],
            env=self.environment, capture_output=True, text=True, timeout=20, check=False)
        return (done.stdout + done.stderr).strip()

    def ask_service(self, interface, member, *arguments):
        return self.call(BUS_NAME, OBJECT, interface, member, *arguments)

    def start(self, program):
        return subprocess.Popen([program], env=self.environment, stderr=subprocess.PIPE, text=True)

    def close(self):
        self.daemon.terminate()
        self.daemon.wait()
        self.daemon.stdout.close()


@needs("dbus-daemon")
@needs("busctl")
class BusPolicy(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="quenstal-bus-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def bus_for(self, user):
        bus = Bus(self.folder, user)
        self.addCleanup(bus.close)
        return bus

    def test_only_the_services_account_may_take_its_name(self):
        program = self.bus_for("nobody").start(PROGRAM)
        self.assertEqual(program.wait(timeout=20), 1)
        self.assertIn("not allowed to own the service", program.stderr.read())
        program.stderr.close()

    def test_everyone_may_ask_and_nothing_else_reaches_the_service(self):
        bus = self.bus_for(pwd.getpwuid(os.getuid()).pw_name)
        program = bus.start(PROGRAM)
        self.addCleanup(program.stderr.close)
        self.addCleanup(program.wait)
        self.addCleanup(program.terminate)
        self.await_name(bus)
        denied = "Access denied|not allowed|rejected"
        self.assertIn("belong to the active local session", bus.ask_service(INTERFACE, "Capture"))
        self.assertIn("Capture", bus.ask_service("org.freedesktop.DBus.Introspectable", "Introspect"))
        self.assertRegex(bus.ask_service(INTERFACE, "Other"), denied)
        self.assertRegex(
            bus.ask_service("org.freedesktop.DBus.Properties", "GetAll", "s", INTERFACE), denied)

    def await_name(self, bus):
        # The bus answers in order: each answer is a look, and the service needs a few of them to get there.
        for _ in range(500):
            answer = bus.call("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "NameHasOwner", "s", BUS_NAME)
            if answer == "b true":
                return
        self.fail("the service did not take its name")


class Action(unittest.TestCase):
    def setUp(self):
        self.action = ElementTree.parse(FILES / "app.quenstal.policy").find("action")

    def test_it_is_the_one_that_the_service_asks_for(self):
        header = (ROOT / "Sources/QuenstalLinux/Keyboards/KeyServiceProtocol.hpp").read_text(encoding="utf-8")
        self.assertIn(f'polkitAction = "{self.action.get("id")}"', header)

    def test_it_is_for_the_session_at_the_screen_and_nobody_else(self):
        defaults = {entry.tag: entry.text for entry in self.action.find("defaults")}
        self.assertEqual(defaults, {"allow_any": "no", "allow_inactive": "no", "allow_active": "yes"})

    def test_the_services_account_may_ask_about_others(self):
        annotations = {entry.get("key"): entry.text for entry in self.action.iter("annotate")}
        self.assertEqual(annotations, {"org.freedesktop.policykit.owner": "unix-user:quenstal-keyd"})


class Unit(unittest.TestCase):
    def setUp(self):
        self.text = UNIT.read_text(encoding="utf-8")

    @needs("systemd-analyze")
    def test_the_judge_of_units_finds_little_to_say(self):
        done = subprocess.run(
            ["systemd-analyze", "security", "--offline=true", "--no-pager", str(UNIT)],
            capture_output=True, text=True, timeout=60, check=False)
        exposure = re.search(r"Overall exposure level .*: ([0-9.]+)", done.stdout)
        if not exposure:
            self.skipTest(f"no judgement: {done.stderr.strip()}")
        self.assertLessEqual(float(exposure[1]), MOST_EXPOSURE, done.stdout)

    def test_it_runs_as_the_account_that_the_other_files_name(self):
        self.assertIn("\nUser=quenstal-keyd\n", self.text)
        for name in ["sysusers.conf", "tmpfiles.conf", f"{BUS_NAME}.conf", f"{BUS_NAME}.service.in", "app.quenstal.policy"]:
            self.assertIn("quenstal-keyd", (FILES / name).read_text(encoding="utf-8"), name)

    def test_a_main_loop_that_hangs_is_ended(self):
        self.assertRegex(self.text, r"\nWatchdogSec=[1-9]")

    def test_no_device_but_keyboards_and_uinput_is_open_to_it(self):
        self.assertIn("\nDevicePolicy=closed\n", self.text)
        self.assertEqual(re.findall(r"\nDeviceAllow=(.*)", self.text), ["char-input rw", "/dev/quenstal-uinput rw"])


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("unit", type=pathlib.Path)
    arguments = parser.parse_args()
    PROGRAM, UNIT = arguments.program, arguments.unit
    script_suite.run()
