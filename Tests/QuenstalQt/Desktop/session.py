"""A private desktop for tests: X server or Wayland compositor, session bus, and what a test asks for beside them."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[3] / "Examples" / "PrivateDesktop"))
from desktop import LIMIT, GaveUp, Programs, XDesktop, wait_for  # noqa: E402, F401


class Missing(Exception):
    """A program that the desktop is made of is not installed."""


def require(*programs):
    for program in programs:
        if not shutil.which(program):
            raise Missing(program)


class Home(Programs):
    """A home of its own with a session bus."""

    PROGRAMS = ("dbus-daemon",)

    def __init__(self):
        require(*self.PROGRAMS)
        self.folder = tempfile.TemporaryDirectory(prefix="quenstal-desktop-")
        environment = dict(os.environ, XDG_RUNTIME_DIR=self.folder.name, HOME=self.folder.name, LC_ALL="C.UTF-8",
                           QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", NO_AT_BRIDGE="0")
        for name in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "XDG_CURRENT_DESKTOP", "XDG_CONFIG_HOME",
                     "QT_QUICK_BACKEND"):
            environment.pop(name, None)
        super().__init__(environment)
        try:
            self._start_bus()
            self._start_desktop()
        except BaseException:
            self.close()
            raise

    def _start_bus(self):
        address = f"unix:path={self.folder.name}/bus"
        self.start("dbus-daemon", "--session", f"--address={address}", "--nofork", "--nopidfile")
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
        wait_for(lambda: pathlib.Path(self.folder.name, "bus").exists(), "session bus")

    def _start_desktop(self):
        pass

    def close(self):
        super().close()
        self.folder.cleanup()

    def finish_setup_guide(self):
        """The program then does not open its panel by itself when it starts."""
        preferences = pathlib.Path(self.folder.name, ".config/quenstal/preferences.json")
        preferences.parent.mkdir(parents=True)
        preferences.write_text('{"Quenstal.SetupGuideCompleted": true}')


class Session(Home, XDesktop):
    """A desktop on an X server."""

    PROGRAMS = Home.PROGRAMS + ("Xvfb", "openbox", "xdotool", "xprop", "xev")

    def __init__(self, size="1280x800", scale=None):
        self.size = size
        super().__init__()
        if scale:
            self.environment["QT_SCALE_FACTOR"] = str(scale)

    def _start_desktop(self):
        self.start_server(self.size)
        self.start_window_manager()

    def start_other_program(self, **options):
        """A plain window that takes the keyboard."""
        child = self.start_until_seen("Event Tester", "xev", "-geometry", "200x200+100+500", **options)
        window = self.windows("Event Tester")[0]
        wait_for(lambda: self.focused() == window, "focus of the other program")
        return child, window

    def start_tray(self, edge="top"):
        require("trayer")
        return super().start_tray(edge)

    def start_compositor(self):
        require("picom")
        self.start("picom", "--backend", "xrender", "--config", "/dev/null")
        # It takes the selection before it redirects the root, which is what the property tells of.
        wait_for(lambda: "picom" in self.run("xwininfo", "-root", "-tree"), "compositor")


class WaylandSession(Home):
    """A desktop of a Wayland compositor without a screen, and without an X server."""

    PROGRAMS = Home.PROGRAMS + ("sway", "swaymsg", "wtype")

    def _start_desktop(self):
        plugins = pathlib.Path("/usr/lib").glob("*/qt6/plugins/platforms/libqwayland-generic.so")
        if not any(plugins):
            raise Missing("the toolkit's plugin for Wayland")
        # It refuses to run as the superuser.
        self.sockets = tempfile.TemporaryDirectory(prefix="quenstal-wayland-", ignore_cleanup_errors=True)
        command = ["sway", "-c", f"{self.sockets.name}/config"]
        pathlib.Path(self.sockets.name, "config").write_text("xwayland disable\n")
        if os.geteuid() == 0:
            command = ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"] + command
            shutil.chown(self.sockets.name, "nobody")
        environment = dict(self.environment, XDG_RUNTIME_DIR=self.sockets.name, WLR_BACKENDS="headless",
                           WLR_LIBINPUT_NO_DEVICES="1", WLR_RENDERER="pixman")
        child = subprocess.Popen(command, env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.children.append(child)
        self.environment["WAYLAND_DISPLAY"] = self._socket("wayland-?")
        self.environment["SWAYSOCK"] = self._socket("sway-ipc.*")
        # A keyboard that stays: the compositor has none of its own.
        self.start("wtype", "-s", "600000")

    def _socket(self, pattern):
        folder = pathlib.Path(self.sockets.name)
        return str(wait_for(lambda: sorted(folder.glob(pattern)), pattern)[0])

    def press(self, key):
        self.run("wtype", "-k", key)

    def windows(self):
        """Title, size, and whether it has the keyboard, of each window."""
        def below(node):
            for child in node.get("nodes", []) + node.get("floating_nodes", []):
                if child.get("app_id"):
                    size = child["rect"]["width"], child["rect"]["height"]
                    yield child["name"], size, child["focused"]
                yield from below(child)
        tree = self.run("swaymsg", "-t", "get_tree")
        return list(below(json.loads(tree))) if tree else []

    def close(self):
        super().close()
        self.sockets.cleanup()


class Stand:
    """The program under test, with what it reports."""

    def __init__(self, session, program, *arguments):
        self.session = session
        self.child = session.start(program, *arguments, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True, bufsize=1)
        os.set_blocking(self.child.stdout.fileno(), False)
        self.state = {}
        self.text = ""
        wait_for(lambda: self.read(), "first report")

    def read(self):
        """The latest state that the program has reported."""
        try:
            self.text += self.child.stdout.read() or ""
        except (TypeError, BlockingIOError):
            pass
        *lines, self.text = self.text.split("\n")
        for line in lines:
            self.state.update({key: int(value) for key, value in re.findall(r"(\w+)=(-?\d+)", line)})
        return self.state

    def wait(self, **expected):
        wait_for(lambda: all(self.read().get(key) == value for key, value in expected.items()),
                 f"{expected}, last {self.state}")

    def command(self, word):
        self.child.stdin.write(word + "\n")
        self.child.stdin.flush()

    def panel(self):
        """The panel's window; none while it is closed."""
        windows = self.session.windows("Quenstal")
        return windows[0] if windows else None

    def wait_open(self):
        return wait_for(self.panel, "panel open")

    def wait_closed(self):
        wait_for(lambda: not self.panel(), "panel closed")
