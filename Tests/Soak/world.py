"""The machine that the soak shakes: its parts, how they fail and come back, and what can be seen of it from outside."""

import dataclasses
import os
import pathlib
import subprocess
import sys
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "Examples" / "PrivateDesktop"))
from desktop import Desktop, GaveUp, wait_for  # noqa: E402, F401
from monitor import EmulatedMonitor  # noqa: E402
from sound import Sound  # noqa: E402

HERTZ = 1000
TONE = -20
AUDIBLE = -60
# Somebody who has used the keys needs as long to reach for the monitor, and back.
REACH = 0.6


@dataclasses.dataclass(frozen=True)
class Seen:
    """The three volumes there are, each from 0 to 1: the monitor's own, the gain on the way to it, the USB card's."""
    monitor: float
    gain: float
    card: float

    def __str__(self):
        return f"{self.monitor:.2f} {self.gain:.2f} {self.card:.2f}"


class Listener:
    """What the default output is sent, all the time."""

    def __init__(self, desktop, probe):
        self.desktop, self.probe = desktop, probe
        self.heard = []
        self.lock = threading.Lock()
        self.child = None
        self.start()

    def start(self):
        self.child = self.desktop.start(self.probe, "watch", str(HERTZ), stdout=subprocess.PIPE, text=True, bufsize=1)
        threading.Thread(target=self.read, args=(self.child,), daemon=True).start()

    def read(self, child):
        for line in child.stdout:
            at, level = map(float, line.split())
            with self.lock:
                self.heard.append((at, level - TONE))

    def since(self, moment):
        with self.lock:
            while self.heard and self.heard[0][0] < moment - 60:
                self.heard.pop(0)
            return [(at, level) for at, level in self.heard if at >= moment]

    def level(self):
        """Of the last tenth of a second; nothing when nothing came."""
        recent = self.since(time.monotonic() - 0.1)
        return recent[-1][1] if recent else None

    def hears_steadily(self, duration):
        """The tone, for as many seconds now. A level comes every 20 ms; on a busy machine some are late."""
        recent = self.since(time.monotonic() - duration)
        return len(recent) >= 30 * duration and all(level + TONE > AUDIBLE for _, level in recent)

    def longest_gap(self, since):
        """The longest time without the tone, up to now."""
        gap, last = 0.0, since
        for at, level in self.since(since) + [(time.monotonic(), 0)]:
            if level + TONE > AUDIBLE:
                gap, last = max(gap, at - last), at
        return gap


class World:
    def __init__(self, build):
        self.desktop = Desktop()
        self.probe = build / "Examples/AudioSession/audio_session_probe"
        self.sound = Sound(self.desktop, self.probe)
        self.plugged = set()
        self.plug("monitor")
        self.logind = self.desktop.start(sys.executable, str(pathlib.Path(__file__).parent / "fake_logind.py"),
                                         stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)
        os.environ["DBUS_SYSTEM_BUS_ADDRESS"] = self.logind.stdout.readline().strip()
        self.program = build / "Sources/quenstal"
        self.monitor = EmulatedMonitor(self.desktop, build / "Examples/EmulatedMonitor/with-emulated-monitor",
                                       self.program)
        wait_for(lambda: self.desktop.windows("Quenstal"), "the set-up guide")
        wait_for(lambda: self.tell_logind("holders") == "1", "the hold on the sleep")
        self.tone = None
        self.listener = Listener(self.desktop, self.probe)
        self.play()
        self.fault = "well"
        self.toggle_panel()

    # What is seen.

    def seen(self):
        level = self.listener.level()
        gain = 10 ** (level / 20) if self.is_audible(level) else 0.0
        card, is_muted = self.sound.card_volume() if "usb" in self.plugged else (0.0, False)
        return Seen(self.monitor.volume() / 100, gain, 0.0 if is_muted else card)

    @staticmethod
    def is_audible(level):
        return level is not None and level + TONE > AUDIBLE

    def is_heard_again(self, duration=0.3):
        """Players and recorders that end with the server they lost start anew."""
        self.revive_clients()
        return self.listener.hears_steadily(duration)

    def resources(self):
        """Kilobytes of the program's own memory, descriptors, threads."""
        process = pathlib.Path(f"/proc/{self.monitor.process}")
        status = dict(line.split(":", 1) for line in (process / "status").read_text().splitlines())
        return int(status["RssAnon"].split()[0]), len(os.listdir(process / "fd")), int(status["Threads"])

    def report(self):
        """What the program says of itself, in lines."""
        try:
            return subprocess.run([self.program, "--report"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False,
                                  text=True, timeout=5).stdout.splitlines()
        except subprocess.TimeoutExpired:
            return ["It does not say what it found."]

    def is_running(self):
        return self.monitor.child.poll() is None

    # What is done to it.

    def play(self):
        self.tone = self.sound.play((HERTZ,), TONE)

    def restart_clients(self):
        for client in (self.tone, self.listener.child):
            client.terminate()
            client.wait()
        self.revive_clients()

    def revive_clients(self):
        if self.tone.poll() is not None:
            self.desktop.children.remove(self.tone)
            self.play()
        if self.listener.child.poll() is not None:
            self.desktop.children.remove(self.listener.child)
            self.listener.start()

    def tell_logind(self, word):
        self.logind.stdin.write(word + "\n")
        return self.logind.stdout.readline().strip()

    def plug(self, output):
        self.sound.session("plug", output)
        self.plugged.add(output)

    def unplug(self, output):
        self.sound.session("unplug", output)
        self.plugged.discard(output)

    def turn_knob(self, volume):
        """By someone's hand, on the monitor itself."""
        time.sleep(REACH)
        self.monitor.tell(f"volume {volume}")

    def set_fault(self, fault):
        self.monitor.tell(fault)
        self.fault = fault.split()[0]

    def restart_manager(self):
        self.restart("manager")

    def restart_server(self):
        self.restart("server", "manager", "pulse")

    def restart(self, *parts):
        """With the sound cards, which are the session manager's own: they go and come with it."""
        outputs = sorted(self.plugged)
        for part in reversed(parts):
            self.sound.session("stop", part)
        for output in outputs:
            self.unplug(output)
        for part in parts:
            self.sound.session("start", part)
        for output in outputs:
            self.plug(output)

    def toggle_panel(self):
        self.desktop.click(*self.desktop.tray_icon())

    def close(self):
        self.desktop.close()
