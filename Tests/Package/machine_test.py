"""The package on an emulated machine that is up: systemd, the device manager, logind, the bus and polkit run, and users
with nothing but an account log in. Run there, as root; changes that machine."""

import contextlib
import errno
import fcntl
import grp
import json
import os
import pathlib
import pwd
import re
import subprocess
import sys
import unittest

import dbus.bus
import dbus.lowlevel

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "Tests" / "Support"))
sys.path.insert(0, str(ROOT / "Tests" / "QuenstalQt" / "Desktop"))
import script_suite  # noqa: E402
from built_package import ID  # noqa: E402
from session import wait_for  # noqa: E402

PACKAGES = pathlib.Path(sys.argv.pop(1)).resolve()
FIRST = PACKAGES / "quenstal.deb"
LATER = PACKAGES / "quenstal-later.deb"
UNIT = f"{ID}.service"
SYSTEMD = "org.freedesktop.systemd1"
KEY_SERVICE = "quenstal-keyd.service"
RULE = pathlib.Path("/usr/lib/udev/rules.d/70-quenstal-i2c.rules")
ACTIVATE = (ID, "/app/quenstal/Quenstal", "org.freedesktop.Application", "Activate", "a{sv}", "0")
EVIOCGRAB = 0x40044590
# Seconds; more on a machine that took longer to boot.
LIMIT = 60 * int(os.environ["QUENSTAL_MACHINE_SLOWNESS"])


def run(*command, **options):
    """What the command says; it must succeed."""
    finished = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              text=True, check=False, **options)
    if finished.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))} ends with {finished.returncode}:\n{finished.stdout}")
    return finished.stdout


def succeeds(*command, **options):
    return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False,
                          **options).returncode == 0


class User:
    """Someone with an account."""

    def __init__(self, name):
        run("useradd", "--create-home", "--shell", "/bin/sh", name)
        self.name = name
        account = pwd.getpwnam(name)
        self.number, self.group = account.pw_uid, account.pw_gid
        self.runtime = f"/run/user/{self.number}"
        self.identity = {"user": name, "group": name, "extra_groups": []}
        self.environment = {"PATH": os.environ["PATH"], "HOME": f"/home/{name}", "LANG": "C.UTF-8",
                            "XDG_RUNTIME_DIR": self.runtime,
                            "DBUS_SESSION_BUS_ADDRESS": f"unix:path={self.runtime}/bus"}

    def run(self, *command):
        """From outside of the user's sessions, but with a way to what serves them."""
        return run(*command, env=self.environment, cwd="/", **self.identity)

    @contextlib.contextmanager
    def acting(self):
        """This process in the user's place. A program of its own costs half a second on this machine."""
        os.setgroups([])
        os.setegid(self.group)
        os.seteuid(self.number)
        try:
            yield
        finally:
            os.seteuid(0)
            os.setegid(0)

    def may_open(self, node):
        with self.acting():
            try:
                os.close(os.open(node, os.O_RDWR))
            except PermissionError:
                return False
        return True

    def manager(self, *words):
        return self.run("systemctl", "--user", *words)

    def asked(self, name, path, method, *words):
        """What a program on the user's bus answers; it is not started for that."""
        message = dbus.lowlevel.MethodCallMessage(name, path, *method.rsplit(".", 1))
        message.set_auto_start(False)
        message.append(*words)
        # The bus knows nobody but its user.
        with self.acting():
            bus = dbus.bus.BusConnection(self.environment["DBUS_SESSION_BUS_ADDRESS"])
        try:
            return bus.send_message_with_reply_and_block(message, LIMIT).get_args_list()[0]
        finally:
            bus.close()

    def has_bus(self):
        try:
            return self.property("ActiveState", "basic.target")
        except dbus.DBusException:
            return False

    def property(self, name, unit=UNIT):
        path = self.asked(SYSTEMD, "/org/freedesktop/systemd1", f"{SYSTEMD}.Manager.LoadUnit", unit)
        return str(self.asked(SYSTEMD, path, "org.freedesktop.DBus.Properties.GetAll", "")[name])

    def report(self):
        return str(self.asked(ID, "/app/quenstal/Quenstal", f"{ID}.Report"))


class Login:
    """A user at the machine's screen and keyboard, through all that a login goes through, with one program."""

    def __init__(self, user, *program):
        self.user = user
        self.unit = f"login-{user.name}.service"
        run("systemd-run", "--quiet", "--collect", f"--unit={self.unit}", f"--property=User={user.name}",
            "--property=PAMName=login", "--property=TTYPath=/dev/tty1", "--property=StandardInput=tty",
            "--property=StandardOutput=journal", "--setenv=XDG_SEAT=seat0", "--setenv=XDG_VTNR=1", *program)
        wait_for(lambda: self.state() == "active", "session at the screen", LIMIT)
        # Who logs in soon after having logged out may meet a manager that is about to end.
        wait_for(lambda: succeeds("systemctl", "is-active", f"user@{user.number}.service"), "the user's manager", LIMIT)
        wait_for(user.has_bus, "the user's manager on the user's bus", LIMIT)

    def state(self):
        """As logind keeps it; empty without a session."""
        file = pathlib.Path(f"/run/systemd/users/{self.user.number}")
        found = re.search("^STATE=(.*)$", file.read_text(), re.MULTILINE) if file.exists() else None
        return found.group(1) if found else ""

    def log_out(self):
        # Fails when it has ended by itself.
        succeeds("systemctl", "stop", self.unit)
        wait_for(lambda: self.state() in ("", "closing"), "end of the session", LIMIT)


class Keyboard:
    """The machine's own, whose keys the emulator presses."""

    def __init__(self):
        self.port = open(self.node(), "r+b", buffering=0)
        self.execute("qmp_capabilities")

    @staticmethod
    def node():
        for name in pathlib.Path("/sys/class/virtio-ports").glob("*/name"):
            if name.read_text().strip() == "emulator":
                return f"/dev/{name.parent.name}"
        raise AssertionError("no way to the emulator")

    def execute(self, command, **arguments):
        self.port.write(json.dumps({"execute": command, "arguments": arguments}).encode() + b"\n")
        while "return" not in (answer := json.loads(self.port.readline())):
            if "error" in answer:
                raise AssertionError(f"{command}: {answer}")

    def press(self, key):
        for down in (True, False):
            event = {"type": "key", "data": {"down": down, "key": {"type": "qcode", "data": key}}}
            self.execute("input-send-event", events=[event])

    @staticmethod
    def is_captured():
        """Whether another program has it for itself. Its copy is there a while before."""
        devices = pathlib.Path("/proc/bus/input/devices").read_text().split("\n\n")
        device = next(device for device in devices if 'Name="QEMU QEMU USB Keyboard"' in device)
        with open("/dev/input/" + re.search(r"event\d+", device).group(), "rb") as node:
            try:
                fcntl.ioctl(node, EVIOCGRAB, 1)
            except OSError as error:
                return error.errno == errno.EBUSY
        return False


def version():
    said = subprocess.run(["dpkg-query", "--show", "--showformat=${db:Status-Status} ${Version}", "quenstal"],
                          capture_output=True, text=True, check=False).stdout
    return said.removeprefix("installed ") if said.startswith("installed ") else None


def install(package):
    if version() != run("dpkg-deb", "--field", package, "Version").strip():
        run("dpkg", "--install", package)


def forget_other_packages():
    """dpkg reads the lists of all packages whenever it runs, half a minute on this machine. Left are those that ours
    depends on, and the bus, which dpkg tells of new services."""
    needed = re.findall("[a-z0-9][a-z0-9+.-]+(?= |,|$)", run("dpkg-deb", "--field", FIRST, "Depends"))
    wanted = {"quenstal", "dbus", *needed}
    status = pathlib.Path("/var/lib/dpkg/status")
    packages = [package for package in status.read_text().split("\n\n")
                if package.removeprefix("Package: ").split("\n", 1)[0] in wanted]
    status.write_text("\n\n".join(packages) + "\n")
    triggers = pathlib.Path("/var/lib/dpkg/triggers/File")
    triggers.write_text("".join(line for line in triggers.read_text().splitlines(True) if " dbus/" in line))


def purge():
    if version():
        run("dpkg", "--purge", "quenstal")


def buses(driver):
    """The nodes of the I2C buses that the driver has made."""
    return sorted(f"/dev/{bus.parent.name}" for bus in pathlib.Path("/sys/class/i2c-dev").glob("*/name")
                  if bus.read_text().startswith(driver))


def is_alive(process):
    return pathlib.Path(f"/proc/{process}").exists()


def volume():
    """Of the default output, as its user's programs see it."""
    return float(alice.run("wpctl", "get-volume", "@DEFAULT_AUDIO_SINK@").split()[1])


alice = bob = keyboard = None


# As programs bring it that make up gamepads.
RULE_OF_ANOTHER = 'KERNEL=="uinput", SUBSYSTEM=="misc", GROUP="games", MODE="0660", TAG+="uaccess"\n'


def setUpModule():
    global alice, bob, keyboard
    for needed in (LATER, "/usr/lib/polkit-1/polkitd", "/usr/bin/wpctl", "/usr/bin/Xvfb", "/usr/bin/xdotool",
                   "/usr/bin/trayer", "/usr/bin/dbus-update-activation-environment",
                   "/usr/lib/systemd/user/dbus.socket"):
        if not os.path.exists(needed):
            raise unittest.SkipTest(f"not there: {needed}")
    # The host may forbid its packages to start anything, and has programs of its own that start with sessions.
    pathlib.Path("/usr/sbin/policy-rc.d").unlink(missing_ok=True)
    for entry in pathlib.Path("/etc/xdg/autostart").glob("*"):
        entry.unlink()
    forget_other_packages()
    # Other suites do without managers of the users.
    pathlib.Path("/etc/systemd/system/user@.service").unlink()
    pathlib.Path("/etc/systemd/user/desktop.target").write_text(
        "[Unit]\nBindsTo=graphical-session.target\nWants=xdg-desktop-autostart.target\n")
    run("systemctl", "daemon-reload")
    purge()
    pathlib.Path("/etc/udev/rules.d/60-gamepads.rules").write_text(RULE_OF_ANOTHER)
    run("udevadm", "control", "--reload")
    run("modprobe", "-a", "radeonfb", "i2c-dev", "snd-dummy", "uinput")
    run("udevadm", "trigger", "--settle", "--action=change", "--name-match=uinput")
    alice, bob, keyboard = User("alice"), User("bob"), Keyboard()


class MachineCase(unittest.TestCase):
    def assert_comes(self, question, what):
        wait_for(question, what, LIMIT)

    def assert_the_keys_move_the_volume(self):
        # What it says first is that it asks for the keys.
        self.assert_comes(lambda: "captured by the key service" in alice.report(), "way to the keys")
        self.assert_comes(keyboard.is_captured, "captured keyboard")
        self.assert_comes(lambda: "built-in" in alice.report(), "output")
        before = volume()
        keyboard.press("volumedown")
        self.assert_comes(lambda: volume() < before, "lower volume")
        keyboard.press("volumeup")
        self.assert_comes(lambda: volume() == before, "higher volume")

    def assert_uinput_is_as_the_rules_of_others_say(self):
        node = pathlib.Path("/dev/uinput")
        self.assertEqual((node.owner(), node.group()), ("root", "games"))
        self.assertTrue(alice.may_open(node))
        self.assertFalse(bob.may_open(node))

    def assert_monitors_can_be_reached(self):
        self.assertTrue(buses("radeonfb") and buses("SMBus"))
        for bus in buses("radeonfb"):
            self.assertTrue(alice.may_open(bus), bus)
            self.assertFalse(bob.may_open(bus), bus)
        for bus in buses("SMBus"):
            self.assertFalse(alice.may_open(bus), bus)


class RunningCase(MachineCase):
    """A user logged in, and the program without a screen: such a session has its keys from the key service. Both go on
    for the next of these cases, since each login costs ten seconds."""

    login = None

    @staticmethod
    def log_in():
        if not RunningCase.login:
            RunningCase.login = Login(alice, "sleep", "infinity")
            alice.manager("set-environment", "QT_QPA_PLATFORM=offscreen")

    @staticmethod
    def start():
        alice.run("busctl", "--user", "call", *ACTIVATE)

    @staticmethod
    def log_out():
        if RunningCase.login:
            alice.manager("stop", UNIT)
            alice.manager("unset-environment", "QT_QPA_PLATFORM")
            RunningCase.login.log_out()
            RunningCase.login = None


class Installed(RunningCase):
    """While the user is logged in, and the buses are there."""

    @classmethod
    def setUpClass(cls):
        cls.log_in()
        purge()
        cls.reached_before = [bus for bus in buses("") if alice.may_open(bus)]
        # As an earlier version that gave away more than leads to monitors.
        RULE.write_text('SUBSYSTEM=="i2c-dev", TAG+="uaccess"\n')
        run("udevadm", "control", "--reload")
        run("udevadm", "trigger", "--settle", "--action=change", "--subsystem-match=i2c-dev")
        cls.reached_with_earlier = [bus for bus in buses("") if alice.may_open(bus)]
        install(FIRST)
        # The very next moment.
        cls.reached_after = [bus for bus in buses("") if alice.may_open(bus)]
        cls.start()

    def test_monitors_can_be_reached_at_once(self):
        self.assertEqual(self.reached_before, [])
        self.assertEqual(self.reached_with_earlier, buses(""))
        self.assertEqual(self.reached_after, buses("radeonfb"))
        self.assert_monitors_can_be_reached()

    def test_the_keys_move_the_volume_at_once(self):
        self.assert_the_keys_move_the_volume()

    def test_who_else_may_use_uinput_is_for_others(self):
        self.assert_uinput_is_as_the_rules_of_others_say()
        self.assertFalse(alice.may_open("/dev/quenstal-uinput"))

    def test_the_bus_started_it_as_a_service_that_comes_back_after_a_crash(self):
        first = alice.property("MainPID")
        self.assertTrue(is_alive(first))
        os.kill(int(first), 11)
        self.assert_comes(lambda: alice.property("MainPID") not in ("0", first), "another process")
        self.assert_comes(lambda: alice.property("ActiveState") == "active", "a service that runs")
        self.assertEqual(alice.property("NRestarts"), "1")
        self.assert_the_keys_move_the_volume()


class InstalledOnADesktop(MachineCase):
    """In sessions with an X server and a tray, the parts of which the user's manager starts."""

    AUTOSTART = f"app-{ID}@autostart.service"

    @classmethod
    def setUpClass(cls):
        RunningCase.log_out()
        install(FIRST)
        preferences = pathlib.Path(f"/home/{alice.name}/.config/quenstal/preferences.json")
        alice.run("mkdir", "-p", preferences.parent)
        preferences.write_text('{"Quenstal.SetupGuideCompleted": true}')

    def setUp(self):
        self.login = Login(alice, ROOT / "Tests/Package/desktop_session.sh")
        self.addCleanup(self.login.log_out)
        self.assert_comes(lambda: alice.property("ActiveState", "desktop.target") == "active", "desktop")
        variables = dict(line.split("=", 1) for line in alice.manager("show-environment").splitlines())
        self.screen = f"DISPLAY={variables['DISPLAY']}"
        self.assert_comes(lambda: alice.property("ActiveState", self.AUTOSTART) == "active", "start with the session")
        self.first = alice.property("MainPID", self.AUTOSTART)
        self.assert_comes(lambda: self.owner() == self.first, "name on the bus")

    @staticmethod
    def owner():
        """The process that has the program's name."""
        bus = "org.freedesktop.DBus"
        try:
            return str(alice.asked(bus, "/org/freedesktop/DBus", f"{bus}.GetConnectionUnixProcessID", ID))
        except dbus.DBusException:
            return ""

    def has_panel(self):
        return succeeds("env", self.screen, "xdotool", "search", "--onlyvisible", "--name", "^Quenstal$",
                        env=alice.environment, **alice.identity)

    def test_a_second_start_opens_the_panel_of_the_first_and_logging_out_ends_it(self):
        self.assert_comes(lambda: "captured through the X server" in alice.report(), "keys")
        alice.run("env", self.screen, "quenstal", "--background")
        alice.manager("start", UNIT)
        self.assert_comes(lambda: alice.property("ActiveState") == "inactive", "end of the second")
        self.assertEqual(alice.property("Result"), "success")
        # A question that is answered after whatever the starts above may have asked for.
        alice.report()
        self.assertFalse(self.has_panel())
        alice.run("env", self.screen, "quenstal")
        self.assert_comes(self.has_panel, "panel")
        self.assertEqual(self.owner(), self.first)
        self.login.log_out()
        self.assert_comes(lambda: not is_alive(self.first), "end of the program")

    def test_it_ends_with_the_x_server_and_is_not_started_again(self):
        alice.manager("stop", self.AUTOSTART)
        alice.run("busctl", "--user", "call", *ACTIVATE)
        self.assert_comes(self.has_panel, "panel")
        run("pkill", "--uid", alice.name, "Xvfb")
        self.assert_comes(lambda: alice.property("ActiveState") == "failed", "end of the program")
        self.assertEqual((alice.property("Result"), alice.property("NRestarts")), ("exit-code", "0"))


class Upgraded(RunningCase):
    """While the program runs."""

    @classmethod
    def setUpClass(cls):
        install(FIRST)
        cls.log_in()
        cls.start()
        wait_for(keyboard.is_captured, "captured keyboard", LIMIT)
        cls.program = alice.property("MainPID")
        cls.key_service = run("systemctl", "show", "--value", "--property=MainPID", KEY_SERVICE).strip()
        run("modprobe", "--remove", "i2c-dev")
        # As the rule of an earlier version left it.
        os.chown("/dev/uinput", 0, grp.getgrnam("quenstal-keyd").gr_gid)
        install(LATER)

    def test_modules_are_loaded_and_monitors_can_be_reached(self):
        self.assert_monitors_can_be_reached()

    def test_what_an_earlier_version_took_from_others_is_theirs_again(self):
        self.assert_uinput_is_as_the_rules_of_others_say()

    def test_the_old_key_service_is_gone_and_the_keys_come_back_to_the_program_that_goes_on(self):
        self.assertFalse(is_alive(self.key_service))
        self.assert_the_keys_move_the_volume()
        self.assertEqual(alice.property("MainPID"), self.program)


class Withdrawn(RunningCase):
    """Purged while the program runs and has the keys."""

    @classmethod
    def setUpClass(cls):
        install(LATER)
        cls.log_in()
        cls.start()
        wait_for(keyboard.is_captured, "captured keyboard", LIMIT)
        cls.files = [path for path in run("dpkg", "--listfiles", "quenstal").splitlines() if os.path.isfile(path)]
        purge()

    def test_the_keyboard_is_free_and_no_service_is_left(self):
        self.assertFalse(keyboard.is_captured())
        self.assertFalse(succeeds("pgrep", "--exact", "quenstal-keyd"))
        self.assertNotIn("quenstal", run("systemctl", "list-units", "--all", "quenstal*", "app.quenstal*"))
        self.assertNotIn("app.quenstal", run("busctl", "list", "--activatable"))

    def test_devices_are_closed_again(self):
        for bus in buses(""):
            self.assertFalse(alice.may_open(bus), run("udevadm", "info", bus))
        self.assert_uinput_is_as_the_rules_of_others_say()
        self.assertFalse(os.path.exists("/dev/quenstal-uinput"))

    def test_no_file_is_left(self):
        self.assertIn("/usr/bin/quenstal", self.files)
        self.assertEqual([path for path in self.files if os.path.exists(path)], [])

    def test_the_users_program_goes_on_and_says_what_is_missing(self):
        self.assert_comes(lambda: "Keys:     not captured." in alice.report(), "loss of the keys")
        self.assert_comes(lambda: "./package install" in alice.report(), "advice")


if __name__ == "__main__":
    script_suite.run(verbosity=2)
