"""A StatusNotifierWatcher with a host, for tests: prints what registers, and calls items on request.

Commands on the input: "activate X Y", "scroll DELTA ORIENTATION", "secondary", "token TOKEN", "properties", "nothing".
"""

import json
import os
import sys
import time

import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

WATCHER = "org.kde.StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"


def say(**values):
    print(json.dumps(values), flush=True)


class Watcher(dbus.service.Object):
    def __init__(self, bus):
        super().__init__(dbus.service.BusName(WATCHER, bus), "/StatusNotifierWatcher")
        self.bus = bus
        self.items = []

    @dbus.service.method(WATCHER, in_signature="s", sender_keyword="sender")
    def RegisterStatusNotifierItem(self, service, sender=None):
        now = time.monotonic()
        self.items.append(service)
        say(registered=str(service), at=now)

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, _interface, name):
        return {"IsStatusNotifierHostRegistered": dbus.Boolean(True), "ProtocolVersion": dbus.Int32(0),
                "RegisteredStatusNotifierItems": dbus.Array(self.items, signature="s")}[name]

    def item(self):
        return self.bus.get_object(self.items[-1], "/StatusNotifierItem")

    def obey(self, line):
        word, *arguments = line.split()
        if word == "nothing":
            return
        item = dbus.Interface(self.item(), ITEM)
        if word == "activate":
            item.Activate(*map(int, arguments))
        elif word == "scroll":
            item.Scroll(int(arguments[0]), arguments[1])
        elif word == "token":
            item.ProvideXdgActivationToken(*arguments)
        elif word == "secondary":
            item.SecondaryActivate(0, 0)
        elif word == "properties":
            properties = dbus.Interface(self.item(), dbus.PROPERTIES_IFACE).GetAll(ITEM)
            say(label=str(properties["XAyatanaLabel"]), tooltip=str(properties["ToolTip"][3]),
                title=str(properties["Title"]), sizes=[int(pixmap[0]) for pixmap in properties["IconPixmap"]],
                bytes=[len(pixmap[2]) for pixmap in properties["IconPixmap"]],
                icon=[bytes(pixmap[2]).hex() for pixmap in properties["IconPixmap"]][0])


def main():
    DBusGMainLoop(set_as_default=True)
    watcher = Watcher(dbus.SessionBus())
    loop = GLib.MainLoop()

    def read(descriptor, _condition):
        data = os.read(descriptor, 4096).decode()
        if not data:
            loop.quit()
            return False
        for line in data.splitlines():
            try:
                watcher.obey(line)
                say(done=line)
            except dbus.DBusException as problem:
                say(problem=str(problem))
        return True

    GLib.io_add_watch(sys.stdin.fileno(), GLib.IO_IN | GLib.IO_HUP, read)
    say(ready=True)
    loop.run()


main()
