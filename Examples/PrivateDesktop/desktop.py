"""An X server with a window manager and a tray, the user's hands on it, and pictures of it."""

import os
import pathlib
import re
import select
import shutil
import struct
import subprocess
import tempfile
import time
import zlib

SIZE = (800, 600)
LIMIT = 15


class GaveUp(AssertionError):
    """Something did not happen within its time."""


def wait_for(question, what, limit=LIMIT):
    """Asks until the answer is true; the answer."""
    end = time.monotonic() + limit
    while True:
        answer = question()
        if answer:
            return answer
        if time.monotonic() > end:
            raise GaveUp(f"{what}: not within {limit} s")
        time.sleep(0.02)


def settled(question, accepts, limit=LIMIT):
    """Asks until the answer is accepted or the time is over; the last answer."""
    end = time.monotonic() + limit
    while True:
        answer = question()
        if accepts(answer) or time.monotonic() > end:
            return answer
        time.sleep(0.02)


def output_of(*command, environment=None):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False, text=True,
                          env=environment, timeout=LIMIT).stdout


def written_as_png(path, width, height, rows):
    def chunk(name, data):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    body = zlib.compress(b"".join(b"\0" + row for row in rows))
    path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", body) + chunk(b"IEND", b""))


class Programs:
    """Ends what it started, in the reverse order."""

    def __init__(self, environment):
        self.environment = environment
        self.children = []

    def start(self, *command, **options):
        options = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL, **options}
        child = subprocess.Popen(command, env=self.environment, **options)
        self.children.append(child)
        return child

    def stop(self, child):
        if child in self.children:
            self.children.remove(child)
        child.terminate()
        try:
            child.wait(LIMIT)
        except subprocess.TimeoutExpired:
            child.kill()
            child.wait()

    def run(self, *command):
        """What the program says until it ends."""
        return output_of(*command, environment=self.environment)

    def close(self):
        for child in reversed(list(self.children)):
            self.stop(child)


class XDesktop(Programs):
    def start_server(self, size, *options):
        reading, writing = os.pipe()
        self.start("Xvfb", "-displayfd", str(writing), "-screen", "0", f"{size}x24", "-dpi", "96", "-noreset",
                   "-nolisten", "tcp", *options, pass_fds=(writing,))
        os.close(writing)
        with os.fdopen(reading) as number:
            if not select.select([number], [], [], LIMIT)[0]:
                raise GaveUp(f"the X server: not within {LIMIT} s")
            self.environment["DISPLAY"] = ":" + number.readline().strip()

    def start_window_manager(self):
        self.start("openbox")
        wait_for(lambda: "window id" in self.run("xprop", "-root", "_NET_SUPPORTING_WM_CHECK"), "the window manager")

    def start_tray(self, edge="top"):
        return self.start_until_seen("panel", "trayer", "--edge", edge, "--align", "right", "--widthtype", "request",
                                     "--height", "28", "--SetDockType", "true", "--SetPartialStrut", "true")

    def start_until_seen(self, title, *command, **options):
        """A program that starts while the window manager does is now and then without a window, and stays so."""
        for _ in range(5):
            child = self.start(*command, **options)
            try:
                wait_for(lambda: self.windows(title), title, limit=3)
                return child
            except GaveUp:
                self.stop(child)
        raise GaveUp(f"{command[0]} shows no window")

    # The user's hands.

    def hands(self, *words):
        subprocess.run(["xdotool", *map(str, words)], check=True, env=self.environment)

    def press(self, key, times=1, delay=12):
        """With as many milliseconds between two presses."""
        if times > 0:
            self.hands("key", "--delay", delay, *[key] * times)

    def click(self, x, y, button=1):
        # As long as a finger takes.
        self.hands("mousemove", x, y, "mousedown", button, "sleep", 0.06, "mouseup", button)

    def drag(self, start, end):
        self.hands("mousemove", *start, "mousedown", 1, "mousemove", *end, "mouseup", 1)

    # What is on the screen.

    def windows(self, name):
        return self.run("xdotool", "search", "--onlyvisible", "--name", f"^{name}$").split()

    def focused(self):
        return self.run("xdotool", "getwindowfocus").strip()

    def frame(self, window):
        text = self.run("xdotool", "getwindowgeometry", "--shell", window)
        values = dict(re.findall(r"(\w+)=(-?\d+)", text))
        return tuple(int(values[key]) for key in ("X", "Y", "WIDTH", "HEIGHT"))

    def tray_icon(self):
        """The middle of the only icon."""
        def place():
            for window in self.windows("panel"):
                x, y, width, height = self.frame(window)
                if width > 4:
                    return x + width // 2, y + height // 2
            return None
        return wait_for(place, "the icon in the tray")


class Desktop(XDesktop):
    """In this process's own session, whose environment it changes: what it starts finds its display there."""

    def __init__(self):
        super().__init__(os.environ)
        self.screen = pathlib.Path(tempfile.mkdtemp(prefix="screen-"))
        self.start_server(f"{SIZE[0]}x{SIZE[1]}", "-fbdir", str(self.screen))
        subprocess.run(["setxkbmap", "us"], check=True)
        subprocess.run(["xsetroot", "-solid", "#39435a"], check=False)
        self.start_window_manager()
        self.start_tray()

    def close(self):
        super().close()
        shutil.rmtree(self.screen)

    def clipboard(self):
        return self.run("xclip", "-out", "-selection", "clipboard")

    def photograph(self, path):
        """The X server's own picture, in the format of xwd: big-endian numbers, colours, then blue, green, red, none."""
        data = (self.screen / "Xvfb_screen0").read_bytes()
        header = struct.unpack(">25I", data[:100])
        width, height, line, colours = header[4], header[5], header[12], header[19]
        start = header[0] + 12 * colours
        rows = []
        for y in range(height):
            pixels = data[start + y * line: start + y * line + 4 * width]
            row = bytearray(3 * width)
            row[0::3], row[1::3], row[2::3] = pixels[2::4], pixels[1::4], pixels[0::4]
            rows.append(bytes(row))
        written_as_png(path, width, height, rows)
