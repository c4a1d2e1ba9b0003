"""Services of a desktop, for tests: its on-screen display, its notifications, its settings. Says every call.

desktop_services.py plasma|notifications|settings [COMMAND...]

Commands on the input: "hold" (answer no call from now on), "release" (answer them and all that follow), "refuse"
(answer with an error), "set AREA KEY JSON" (a setting changes), "can CAPABILITY..." (what the notifications can do, which
they tell of only then), "nothing". Further arguments are commands too.
"""

import json
import os
import sys
import time

import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

OSD = "org.kde.osdService"
NOTIFICATIONS = "org.freedesktop.Notifications"
SETTINGS = "org.freedesktop.portal.Settings"


def say(**values):
    print(json.dumps(values), flush=True)


class Desk(dbus.service.Object):
    """Answers now or when it is told to."""

    def __init__(self, bus, name, path):
        super().__init__(dbus.service.BusName(name, bus), path)
        self.is_holding = False
        self.is_refusing = False
        self.held = []

    def answer(self, succeed, fail, *values):
        if self.is_refusing:
            fail(dbus.DBusException("not now", name="org.freedesktop.DBus.Error.Failed"))
        elif self.is_holding:
            self.held.append((succeed, values))
        else:
            succeed(*values)

    def obey(self, line):
        word, *arguments = line.split()
        self.is_holding = word == "hold" or self.is_holding and word != "release"
        self.is_refusing = word == "refuse" or self.is_refusing
        if word == "release":
            for succeed, values in self.held:
                succeed(*values)
            self.held.clear()
        elif word == "set":
            self.set(*arguments)
        elif word == "can":
            self.capabilities = arguments


class Plasma(Desk):
    def __init__(self, bus):
        super().__init__(bus, "org.kde.plasmashell", "/org/kde/osdService")

    @dbus.service.method(OSD, in_signature="i", async_callbacks=("succeed", "fail"))
    def volumeChanged(self, percent, succeed, fail):
        say(volume=int(percent), at=time.monotonic())
        self.answer(succeed, fail)

    @dbus.service.method(OSD, in_signature="ss", async_callbacks=("succeed", "fail"))
    def showText(self, icon, text, succeed, fail):
        say(text=str(text), icon=str(icon))
        self.answer(succeed, fail)


class Notifications(Desk):
    def __init__(self, bus):
        super().__init__(bus, NOTIFICATIONS, "/org/freedesktop/Notifications")
        self.count = 0
        self.capabilities = None

    @dbus.service.method(NOTIFICATIONS, out_signature="as", async_callbacks=("succeed", "fail"))
    def GetCapabilities(self, succeed, fail):
        say(asked=True)
        if self.capabilities is None:
            fail(dbus.DBusException("unknown", name="org.freedesktop.DBus.Error.UnknownMethod"))
        else:
            self.answer(succeed, fail, dbus.Array(self.capabilities, signature="s"))

    @dbus.service.method(NOTIFICATIONS, in_signature="susssasa{sv}i", out_signature="u",
                         async_callbacks=("succeed", "fail"))
    def Notify(self, _program, replaced, icon, title, text, _actions, hints, timeout, succeed, fail):
        self.count += 0 if replaced else 1
        number = int(replaced) or self.count
        say(bubble=number, replaced=int(replaced), icon=str(icon), title=str(title), text=str(text),
            value=int(hints.get("value", -1)), group=str(hints.get("x-canonical-private-synchronous", "")),
            timeout=int(timeout))
        self.answer(succeed, fail, dbus.UInt32(number))


class Settings(Desk):
    def __init__(self, bus):
        self.values = {}
        super().__init__(bus, "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop")

    @dbus.service.method(SETTINGS, in_signature="ss", out_signature="v")
    def Read(self, area, key):
        say(read=str(key))
        if (area, key) not in self.values:
            raise dbus.DBusException("Requested setting not found", name="org.freedesktop.portal.Error.NotFound")
        # As the portal does, twice.
        return self.typed(self.values[area, key], 2)

    @dbus.service.signal(SETTINGS, signature="ssv")
    def SettingChanged(self, area, key, value):
        pass

    @staticmethod
    def typed(value, level):
        kind = {bool: dbus.Boolean, int: dbus.UInt32 if value in (0, 1) else dbus.UInt64, str: dbus.String}[type(value)]
        return kind(value, variant_level=level)

    def set(self, area, key, value):
        self.values[area, key] = json.loads(value)
        self.SettingChanged(area, key, self.typed(self.values[area, key], 1))


def main():
    DBusGMainLoop(set_as_default=True)
    desk = {"plasma": Plasma, "notifications": Notifications, "settings": Settings}[sys.argv[1]](dbus.SessionBus())
    for line in sys.argv[2:]:
        desk.obey(line)
    loop = GLib.MainLoop()

    def read(descriptor, _condition):
        data = os.read(descriptor, 4096).decode()
        if not data:
            loop.quit()
            return False
        for line in data.splitlines():
            desk.obey(line)
            say(done=line)
        return True

    GLib.io_add_watch(sys.stdin.fileno(), GLib.IO_IN | GLib.IO_HUP, read)
    say(ready=True)
    loop.run()


main()
