"""Ends the program while a server that it needs is frozen, and tells how long that took and what was heard. Within a
private audio session.

    frozen_servers.py BUILD_FOLDER
"""

import os
import pathlib
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "Examples" / "PrivateDesktop"))
from desktop import Desktop, settled, wait_for  # noqa: E402
from sound import Sound  # noqa: E402

TONE = -6
HALF = -6.02
# The promise is one second. A machine that is busy with other things gets another one.
LONGEST_START = 2
LONGEST_END = 2
# Of what it says at the terminal.
SETTLING = 0.5
LIST_NAMES = ("dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
              "org.freedesktop.DBus.ListNames")


class Watch:
    """What the default output is sent, from now on, as pairs of a moment and a level."""

    def __init__(self, desktop, probe):
        self.desktop = desktop
        self.heard = []
        self.child = desktop.start(probe, "watch", "440", stdout=subprocess.PIPE, text=True)
        threading.Thread(target=self.listen, daemon=True).start()

    def listen(self):
        for line in self.child.stdout:
            moment, level = map(float, line.split())
            self.heard.append((moment, level))

    def has_heard(self, level):
        return any(abs(heard - level) < 0.2 for _, heard in list(self.heard))


class Machine:
    def __init__(self, build):
        self.build = build
        self.desktop = Desktop()
        self.probe = build / "Examples/AudioSession/audio_session_probe"
        self.sound = Sound(self.desktop, self.probe)
        self.sound.session("plug", "monitor")
        preferences = pathlib.Path(os.environ["XDG_CONFIG_HOME"]) / "quenstal" / "preferences.json"
        preferences.parent.mkdir(parents=True)
        preferences.write_text('{"Quenstal.SetupGuideCompleted": true}')
        self.tone = self.sound.play((440,), TONE)
        wait_for(lambda: self.level() is not None, "the tone")

    def level(self):
        return self.sound.levels("monitor", (440,))[0]

    def process_of(self, server):
        if server == "X server":
            return self.desktop.children[0].pid
        return int((self.sound.folder / f"{server}.pid").read_text())

    def start(self, **environment):
        """The program, once it says what it found."""
        self.desktop.environment.update(environment)
        quenstal = self.desktop.start(self.build / "Sources/quenstal", "--tell", stdout=subprocess.PIPE, text=True)
        for name in environment:
            del self.desktop.environment[name]
        for line in quenstal.stdout:
            if line.startswith("Keys:"):
                break
        return quenstal

    def halve(self):
        """Puts the volume to half in software."""
        wait_for(lambda: self.desktop.press("XF86AudioLowerVolume", 8) or True, "the keys")
        shown = settled(lambda: self.level() - TONE, lambda shown: abs(shown - HALF) < 0.1, limit=5)
        print(f"halved: {shown:.2f} dB")

    def end_with_frozen(self, *servers):
        """Ends the program at half volume with the servers frozen."""
        quenstal = self.start()
        self.halve()
        watch = Watch(self.desktop, self.probe)
        wait_for(lambda: watch.has_heard(TONE + HALF), "what is heard")
        processes = [self.process_of(server) for server in servers]
        for process in processes:
            os.kill(process, signal.SIGSTOP)
        began = time.monotonic()
        quenstal.terminate()
        try:
            quenstal.wait(LONGEST_END)
            told = f"ended in {time.monotonic() - began:.2f} s with status {quenstal.returncode}"
        except subprocess.TimeoutExpired:
            quenstal.kill()
            told = "did NOT end in time"
        self.tell_whether_sound_is_back(watch, servers)
        for process in processes:
            os.kill(process, signal.SIGCONT)
        print(f"{' and '.join(servers) or 'nothing'} frozen: {told}")
        self.desktop.stop(quenstal)
        self.desktop.stop(watch.child)
        wait_for(lambda: abs((self.level() or -99) - TONE) < 0.1, "the sound as it was")

    def start_with_silent(self, bus, variable):
        """Starts the program with a bus that takes connections and never greets."""
        with socket.socket(socket.AF_UNIX) as silent, tempfile.TemporaryDirectory() as folder:
            silent.bind(f"{folder}/bus")
            silent.listen(16)
            began = time.monotonic()
            quenstal = self.start(**{variable: f"unix:path={folder}/bus"})
            # It waits that long for things to settle before it says what it found.
            took = time.monotonic() - began - SETTLING
            print(f"silent {bus}: started in {took:.2f} s{'' if took < LONGEST_START else ', which is NOT in time'}")
            self.halve()
            quenstal.terminate()
            quenstal.wait(LONGEST_END)
            wait_for(lambda: abs((self.level() or -99) - TONE) < 0.1, "the sound as it was")

    def start_with_frozen_session_bus(self):
        """Starts the program before the session bus answers, and thaws that."""
        process = self.process_of("bus")
        os.kill(process, signal.SIGSTOP)
        began = time.monotonic()
        # In this session the toolkit itself asks for the bus.
        quenstal = self.start(XDG_CURRENT_DESKTOP="KDE", KDE_FULL_SESSION="true", KDE_SESSION_VERSION="5")
        took = time.monotonic() - began - SETTLING
        print(f"frozen session bus: started in {took:.2f} s{'' if took < LONGEST_START else ', which is NOT in time'}")
        self.halve()
        os.kill(process, signal.SIGCONT)
        wait_for(lambda: "org.kde.StatusNotifierItem-" in self.desktop.run(*LIST_NAMES), "the tray item on the bus")
        told = self.desktop.run(self.build / "Sources/quenstal", "--report")
        print(f"thawed session bus: {'has the program' if 'Output:' in told else 'does NOT have the program'}")
        began = time.monotonic()
        quenstal.terminate()
        quenstal.wait(LONGEST_END)
        print(f"ended in {time.monotonic() - began:.2f} s")
        wait_for(lambda: abs((self.level() or -99) - TONE) < 0.1, "the sound as it was")

    @staticmethod
    def tell_whether_sound_is_back(watch, servers):
        if "server" in servers:
            return
        del watch.heard[:]
        is_back = settled(lambda: watch.has_heard(TONE), bool, limit=5)
        print(f"sound while frozen: {'as it was' if is_back else 'NOT as it was'}")

    def close(self):
        self.desktop.stop(self.tone)
        self.desktop.close()


def main():
    machine = Machine(pathlib.Path(sys.argv[1]))
    for servers in ((), ("bus",), ("X server",), ("server",), ("manager",), ("bus", "X server")):
        machine.end_with_frozen(*servers)
    machine.start_with_silent("system bus", "DBUS_SYSTEM_BUS_ADDRESS")
    machine.start_with_silent("session bus", "DBUS_SESSION_BUS_ADDRESS")
    machine.start_with_frozen_session_bus()
    machine.close()


if __name__ == "__main__":
    main()
