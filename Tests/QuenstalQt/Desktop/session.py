"""A private desktop for tests: X server or Wayland compositor, session bus, window manager, and what a test asks for
beside them."""

import json
import os
import pathlib
import re
import select
import shutil
import subprocess
import tempfile
import time

LIMIT = 15


class Missing(Exception):
    """A program that the desktop is made of is not installed."""


def wait_for(question, what, limit=LIMIT):
    """Asks until the answer is true; the answer."""
    end = time.monotonic() + limit
    while True:
        answer = question()
        if answer:
            return answer
        if time.monotonic() > end:
            raise AssertionError(f"{what}: not within {limit} s")
        time.sleep(0.02)


class Home:
    """A home of its own with a session bus; ends everything that it started."""

    PROGRAMS = ("dbus-daemon",)

    def __init__(self):
        for program in self.PROGRAMS:
            if not shutil.which(program):
                raise Missing(program)
        self.children = []
        self.folder = tempfile.TemporaryDirectory(prefix="quenstal-desktop-")
        self.environment = dict(os.environ, XDG_RUNTIME_DIR=self.folder.name, HOME=self.folder.name,
                                LC_ALL="C.UTF-8", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", NO_AT_BRIDGE="0")
        for name in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "XDG_CURRENT_DESKTOP", "XDG_CONFIG_HOME",
                     "QT_QUICK_BACKEND"):
            self.environment.pop(name, None)
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

    def start(self, *command, **options):
        options.setdefault("stdout", subprocess.DEVNULL)
        options.setdefault("stderr", subprocess.DEVNULL)
        child = subprocess.Popen(command, env=self.environment, **options)
        self.children.append(child)
        return child

    def stop(self, child):
        child.terminate()
        try:
            child.wait(5)
        except subprocess.TimeoutExpired:
            child.kill()
            child.wait()
        if child in self.children:
            self.children.remove(child)

    def run(self, *command):
        return subprocess.run(command, env=self.environment, capture_output=True, text=True, timeout=LIMIT).stdout

    def close(self):
        for child in reversed(list(self.children)):
            self.stop(child)
        self.folder.cleanup()

    def finish_setup_guide(self):
        """The program then does not open its panel by itself when it starts."""
        preferences = pathlib.Path(self.folder.name, ".config/quenstal/preferences.json")
        preferences.parent.mkdir(parents=True)
        preferences.write_text('{"Quenstal.SetupGuideCompleted": true}')


class Session(Home):
    """A desktop on an X server."""

    PROGRAMS = Home.PROGRAMS + ("Xvfb", "openbox", "xdotool", "xprop", "xev")

    def __init__(self, size="1280x800", scale=None):
        self.size = size
        super().__init__()
        if scale:
            self.environment["QT_SCALE_FACTOR"] = str(scale)

    def _start_desktop(self):
        self._start_server(self.size)
        self.start("openbox")
        wait_for(lambda: "window id" in self.run("xprop", "-root", "_NET_SUPPORTING_WM_CHECK"), "window manager")

    def _start_server(self, size):
        reading, writing = os.pipe()
        self.start("Xvfb", "-displayfd", str(writing), "-screen", "0", f"{size}x24", "-dpi", "96", "-noreset",
                   "-nolisten", "tcp",
                   pass_fds=(writing,))
        os.close(writing)
        if not select.select([reading], [], [], LIMIT)[0]:
            os.close(reading)
            raise AssertionError("the X server did not start")
        with os.fdopen(reading) as numbers:
            self.environment["DISPLAY"] = ":" + numbers.readline().strip()

    # The user's hands.

    def click(self, x, y, button=1):
        self.run("xdotool", "mousemove", str(x), str(y), "click", str(button))

    def drag(self, start, end):
        self.run("xdotool", "mousemove", *map(str, start), "mousedown", "1", "mousemove", *map(str, end),
                 "mouseup", "1")

    def key(self, *keys):
        self.run("xdotool", "key", *keys)

    # What is on the screen.

    def windows(self, name):
        return self.run("xdotool", "search", "--onlyvisible", "--name", f"^{name}$").split()

    def focused(self):
        return self.run("xdotool", "getwindowfocus").strip()

    def frame(self, window):
        text = self.run("xdotool", "getwindowgeometry", "--shell", window)
        values = dict(re.findall(r"(\w+)=(-?\d+)", text))
        return tuple(int(values[key]) for key in ("X", "Y", "WIDTH", "HEIGHT"))

    def start_other_program(self, **options):
        """A plain window that takes the keyboard."""
        child = self._start_until_seen("Event Tester", "xev", "-geometry", "200x200+100+500", **options)
        window = self.windows("Event Tester")[0]
        wait_for(lambda: self.focused() == window, "focus of the other program")
        return child, window

    def start_tray(self, edge="top"):
        if not shutil.which("trayer"):
            raise Missing("trayer")
        command = ("trayer", "--edge", edge, "--align", "right", "--widthtype", "request", "--height", "28",
                   "--SetDockType", "true", "--SetPartialStrut", "true")
        return self._start_until_seen("panel", *command)

    def _start_until_seen(self, title, *command, **options):
        """A program that starts while the window manager does is now and then without a window, and stays so."""
        for _ in range(5):
            child = self.start(*command, **options)
            try:
                wait_for(lambda: self.windows(title), title, limit=3)
                return child
            except AssertionError:
                self.stop(child)
        raise AssertionError(f"{command[0]} shows no window")

    def start_compositor(self):
        if not shutil.which("picom"):
            raise Missing("picom")
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

    def key(self, name):
        self.run("wtype", "-k", name)

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

    def icon(self):
        """The middle of the embedded icon."""
        def place():
            for window in self.session.windows("panel"):
                x, y, width, height = self.session.frame(window)
                if width > 4:
                    return x + width // 2, y + height // 2
            return None
        return wait_for(place, "icon in the tray")
