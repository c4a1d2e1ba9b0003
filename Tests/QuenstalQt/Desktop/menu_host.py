"""A host of a status item's menu (com.canonical.dbusmenu), for tests: tells what it hears, and calls on request.

menu_host.py ITEM

Commands on the input: "layout", "call METHOD JSON-ARGUMENTS" (answered with what came back or the error's name),
"flood EVENTS LABEL" (one message with that many clicks on the entry), "nothing".
"""

import json
import os
import sys

import dbus
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"


def say(**values):
    print(json.dumps(values), flush=True)


class Host:
    def __init__(self, bus, service):
        item = dbus.Interface(bus.get_object(service, "/StatusNotifierItem"), dbus.PROPERTIES_IFACE)
        self.is_menu = item.Get(ITEM, "ItemIsMenu")
        self.path = item.Get(ITEM, "Menu")
        self.object = bus.get_object(service, self.path)
        self.menu = dbus.Interface(self.object, MENU)
        self.menu.connect_to_signal("ItemsPropertiesUpdated", self.updated)
        self.menu.connect_to_signal("LayoutUpdated", lambda revision, parent: say(layout=[revision, parent]))

    @staticmethod
    def updated(items, removed):
        say(updated={int(item): dict(properties) for item, properties in items}, removed=list(removed))

    def layout(self):
        revision, (_, properties, children) = self.menu.GetLayout(0, -1, dbus.Array([], signature="s"))
        say(menu=[[int(child[0]), dict(child[1]), len(child[2])] for child in children], root=dict(properties),
            revision=int(revision))

    def call(self, method, arguments):
        try:
            answer = self.object.get_dbus_method(method, MENU)(*json.loads(arguments))
            say(answer=answer)
        except dbus.DBusException as problem:
            say(error=problem.get_dbus_name())

    def flood(self, count, entry):
        event = dbus.Struct((dbus.Int32(entry), "clicked", dbus.Int32(0, variant_level=1), dbus.UInt32(0)),
                            signature="isvu")
        say(answer=self.menu.EventGroup(dbus.Array([event] * int(count), signature="(isvu)")))

    def obey(self, line):
        word, *arguments = line.split(" ", 2)
        if word != "nothing":
            {"layout": self.layout, "call": self.call, "flood": self.flood}[word](*arguments)


def main():
    DBusGMainLoop(set_as_default=True)
    bus = dbus.SessionBus()
    host = Host(bus, sys.argv[1])
    properties = dbus.Interface(host.object, dbus.PROPERTIES_IFACE).GetAll(MENU)
    loop = GLib.MainLoop()

    def read(descriptor, _condition):
        data = os.read(descriptor, 4096).decode()
        if not data:
            loop.quit()
            return False
        for line in data.splitlines():
            host.obey(line)
            say(done=line)
        return True

    GLib.io_add_watch(sys.stdin.fileno(), GLib.IO_IN | GLib.IO_HUP, read)
    say(ready=True, path=host.path, isMenu=bool(host.is_menu), properties=dict(properties))
    loop.run()


main()
