"""An X server with a window manager and a tray, the user's hands on it, and pictures of it."""

import os
import pathlib
import shutil
import struct
import subprocess
import tempfile
import time
import zlib

SIZE = (800, 600)
PATIENCE = 15


class GaveUp(Exception):
    """Something did not happen within its time."""


def wait_for(question, what, limit=PATIENCE):
    """Asks until the answer is true; the answer."""
    end = time.monotonic() + limit
    while True:
        answer = question()
        if answer:
            return answer
        if time.monotonic() > end:
            raise GaveUp(f"{what}: not within {limit} s")
        time.sleep(0.02)


def settled(question, accepts, limit=PATIENCE):
    """Asks until the answer is accepted or the time is over; the last answer."""
    end = time.monotonic() + limit
    while True:
        answer = question()
        if accepts(answer) or time.monotonic() > end:
            return answer
        time.sleep(0.02)


def output_of(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False, text=True).stdout


def written_as_png(path, width, height, rows):
    def chunk(name, data):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    body = zlib.compress(b"".join(b"\0" + row for row in rows))
    path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", body) + chunk(b"IEND", b""))


class Desktop:
    """Ends what it started, in the reverse order."""

    def __init__(self, with_tray=True):
        self.children = []
        self.screen = pathlib.Path(tempfile.mkdtemp(prefix="screen-"))
        self._start_server()
        subprocess.run(["setxkbmap", "us"], check=True)
        subprocess.run(["xsetroot", "-solid", "#39435a"], check=False)
        self.start("openbox")
        wait_for(lambda: "window id" in output_of("xprop", "-root", "_NET_SUPPORTING_WM_CHECK"), "the window manager")
        if with_tray:
            self._start_tray()

    def _start_server(self):
        reading, writing = os.pipe()
        self.start("Xvfb", "-displayfd", str(writing), "-screen", "0", f"{SIZE[0]}x{SIZE[1]}x24", "-dpi", "96",
                   "-fbdir", str(self.screen), "-noreset", "-nolisten", "tcp", pass_fds=(writing,))
        os.close(writing)
        with os.fdopen(reading) as number:
            os.environ["DISPLAY"] = ":" + number.readline().strip()

    def _start_tray(self):
        command = ("trayer", "--edge", "top", "--align", "right", "--widthtype", "request", "--height", "28",
                   "--SetDockType", "true", "--SetPartialStrut", "true")
        # Now and then it starts without a window, and stays so.
        for _ in range(5):
            tray = self.start(*command)
            try:
                wait_for(lambda: self.windows("panel"), "the tray", limit=2)
                return
            except GaveUp:
                self.stop(tray)
        raise GaveUp("the tray shows no window")

    def start(self, *command, **options):
        child = subprocess.Popen(command, **{"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL, **options})
        self.children.append(child)
        return child

    def stop(self, child):
        self.children.remove(child)
        child.terminate()
        try:
            child.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            child.kill()
            child.wait()

    def close(self):
        for child in reversed(list(self.children)):
            self.stop(child)
        shutil.rmtree(self.screen)

    def press(self, key, times=1, delay=12):
        """With as many milliseconds between two presses."""
        if times > 0:
            subprocess.run(["xdotool", "key", "--delay", str(delay), *[key] * times], check=True)

    def click(self, x, y, button=1):
        # As long as a finger takes.
        subprocess.run(["xdotool", "mousemove", str(x), str(y), "mousedown", str(button), "sleep", "0.06",
                        "mouseup", str(button)], check=True)

    def windows(self, name):
        return output_of("xdotool", "search", "--onlyvisible", "--name", f"^{name}$").split()

    def tray_icon(self):
        """The middle of the only icon."""
        def place():
            for window in self.windows("panel"):
                lines = output_of("xdotool", "getwindowgeometry", "--shell", window).split()
                frame = {key: int(value) for key, value in (line.split("=") for line in lines)}
                if frame["WIDTH"] > 4:
                    return frame["X"] + frame["WIDTH"] // 2, frame["Y"] + frame["HEIGHT"] // 2
            return None
        return wait_for(place, "the icon in the tray")

    def clipboard(self):
        return output_of("xclip", "-out", "-selection", "clipboard")

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
