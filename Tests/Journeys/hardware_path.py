"""Keeps the monitor's volume going while a server is frozen, ends the program meanwhile, and sends it messages as large as
a bus carries. Tells what came of it. Within a private audio session.

    hardware_path.py BUILD_FOLDER
"""

import contextlib
import os
import pathlib
import signal
import sys
import time

import dbus.bus
import dbus.lowlevel

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "Examples" / "PrivateDesktop"))
from desktop import Desktop, settled, wait_for  # noqa: E402
from monitor import EmulatedMonitor  # noqa: E402
from sound import Sound  # noqa: E402

ID = "app.quenstal.Quenstal"
START = 50
# The promise is one second. A machine that is busy with other things gets another one.
LONGEST_END = 2
LARGE = 30_000_000
# Kilobytes.
MOST_KEPT = 8192


class Machine:
    def __init__(self, build):
        self.build = build
        self.desktop = Desktop()
        self.sound = Sound(self.desktop, build / "Examples/AudioSession/audio_session_probe")
        self.sound.session("plug", "monitor")
        preferences = pathlib.Path(os.environ["XDG_CONFIG_HOME"]) / "quenstal" / "preferences.json"
        preferences.parent.mkdir(parents=True)
        preferences.write_text('{"Quenstal.SetupGuideCompleted": true}')
        self.monitor = None

    def start(self):
        """The program, once its keys move the monitor's volume."""
        self.monitor = EmulatedMonitor(self.desktop, self.build / "Examples/EmulatedMonitor/with-emulated-monitor",
                                       self.build / "Sources/quenstal", volume=START)
        wait_for(lambda: self.press_moves_the_volume("XF86AudioLowerVolume"), "the monitor's volume")

    def press_moves_the_volume(self, key, limit=1):
        before = self.monitor.volume()
        self.desktop.press(key)
        return settled(self.monitor.volume, lambda volume: volume != before, limit) != before

    def process_of(self, server):
        if server == "X server":
            return self.desktop.children[0].pid
        return int((self.sound.folder / f"{server}.pid").read_text())

    def end(self):
        began = time.monotonic()
        os.kill(self.monitor.process, signal.SIGTERM)
        status = self.monitor.status()
        took = time.monotonic() - began
        return f"ended in {took:.2f} s with status {status}{'' if took < LONGEST_END else ', which is NOT in time'}"

    def with_frozen(self, server):
        self.start()
        process = self.process_of(server)
        os.kill(process, signal.SIGSTOP)
        # Without an X server there are no keys.
        if server != "X server":
            moves = self.press_moves_the_volume("XF86AudioRaiseVolume", limit=5)
            print(f"{server} frozen: a key {'moves' if moves else 'does NOT move'} the monitor's volume")
        print(f"{server} frozen: {self.end()}")
        os.kill(process, signal.SIGCONT)

    def memory(self):
        """The program's own, in kilobytes."""
        status = pathlib.Path(f"/proc/{self.monitor.process}/status").read_text()
        return next(int(line.split()[1]) for line in status.splitlines() if line.startswith("RssAnon"))

    def names_of_the_program(self, bus):
        """Of each of its connections."""
        def is_its(name):
            return bus.call_blocking("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                     "GetConnectionUnixProcessID", "s", (name,)) == self.monitor.process
        return [name for name in bus.list_names() if name.startswith(":") and is_its(name)]

    def with_large_messages(self):
        self.start()
        bus = dbus.bus.BusConnection(self.desktop.environment["DBUS_SESSION_BUS_ADDRESS"])
        names = wait_for(lambda: self.names_of_the_program(bus), "the program on the bus")
        before = self.memory()
        body = dbus.ByteArray(bytes(LARGE))
        for name in names * 3:
            for method in ("org.freedesktop.Application.Activate", "org.freedesktop.DBus.Properties.GetAll"):
                call = dbus.lowlevel.MethodCallMessage(name, "/app/quenstal/Quenstal", *method.rsplit(".", 1))
                call.append(body, signature="ay")
                # A refusal is an answer too.
                with contextlib.suppress(dbus.DBusException):
                    bus.send_message_with_reply_and_block(call, 10)
        kept = settled(lambda: self.memory() - before, lambda kept: kept < MOST_KEPT, limit=5)
        print(f"{len(names)} connections sent {LARGE:,} bytes: {kept} kB kept{'' if kept < MOST_KEPT else ', NOT little'}")
        moves = self.press_moves_the_volume("XF86AudioRaiseVolume", limit=5)
        print(f"afterwards: a key {'moves' if moves else 'does NOT move'} the monitor's volume")
        print(f"afterwards: {self.end()}")

    def close(self):
        self.desktop.close()


def main():
    machine = Machine(pathlib.Path(sys.argv[1]))
    for server in ("bus", "server", "X server"):
        machine.with_frozen(server)
    machine.with_large_messages()
    machine.close()


if __name__ == "__main__":
    main()
