"""A login manager on a message bus of its own, for machines that are to sleep and wake by command.

Prints the bus's address, then obeys the lines of its input: "sleep" prints "asleep" when every program that delays the
sleep has let go, "wake" prints "awake". "holders" prints how many delay the next one.
"""

import os
import select
import subprocess
import sys
import threading

from gi.repository import Gio, GLib

INTERFACE = """
<node><interface name='org.freedesktop.login1.Manager'>
  <method name='Inhibit'>
    <arg type='s' direction='in'/><arg type='s' direction='in'/><arg type='s' direction='in'/>
    <arg type='s' direction='in'/><arg type='h' direction='out'/>
  </method>
  <signal name='PrepareForSleep'><arg type='b'/></signal>
</interface></node>"""
PATH = "/org/freedesktop/login1"
NAME = "org.freedesktop.login1"
# What a login manager waits for those who delay.
LONGEST_DELAY_MS = 5000


class Logind:
    def __init__(self, address):
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        self.bus = Gio.DBusConnection.new_for_address_sync(address, flags)
        self.holders = []
        manager = Gio.DBusNodeInfo.new_for_xml(INTERFACE).interfaces[0]
        self.bus.register_object(PATH, manager, self.called)
        self.bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
                           GLib.Variant("(su)", (NAME, 0)), None, Gio.DBusCallFlags.NONE, -1, None)

    def called(self, _bus, _sender, _path, _interface, _method, _arguments, invocation):
        ours, theirs = os.pipe()
        self.holders.append(ours)
        handed = Gio.UnixFDList.new_from_array([theirs])
        invocation.return_value_with_unix_fd_list(GLib.Variant("(h)", (0,)), handed)

    def prepare(self, is_going_to_sleep):
        self.bus.emit_signal(None, PATH, "org.freedesktop.login1.Manager", "PrepareForSleep",
                             GLib.Variant("(b)", (is_going_to_sleep,)))
        self.bus.flush_sync()

    def sleep(self):
        self.prepare(True)
        verdict = "asleep"
        for holder in self.holders:
            waiting = select.poll()
            waiting.register(holder, select.POLLHUP)
            if not waiting.poll(LONGEST_DELAY_MS):
                verdict = "held up"
            os.close(holder)
        self.holders.clear()
        return verdict

    def obey(self, word):
        if word == "sleep":
            return self.sleep()
        if word == "wake":
            self.prepare(False)
            return "awake"
        return str(len(self.holders))


def main():
    # Ends with the bus, and the bus with this program.
    with subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address"],
                          stdout=subprocess.PIPE, text=True) as bus:
        address = bus.stdout.readline().strip()
        logind = Logind(address)
        loop = GLib.MainLoop()
        print(address, flush=True)

        def answer(word):
            print(logind.obey(word), flush=True)
            return False

        def read():
            for line in sys.stdin:
                GLib.idle_add(answer, line.strip())
            GLib.idle_add(loop.quit)

        threading.Thread(target=read, daemon=True).start()
        loop.run()
        bus.terminate()


if __name__ == "__main__":
    main()
