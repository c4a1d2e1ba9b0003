"""Has the program's name on the session bus and answers in its place, for tests: impostor.py TEXT."""

import json
import sys

import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

NAME = "app.quenstal.Quenstal"


class Impostor(dbus.service.Object):
    @dbus.service.method(NAME, out_signature="s")
    def Report(self):
        return sys.argv[1]


DBusGMainLoop(set_as_default=True)
impostor = Impostor(dbus.service.BusName(NAME, dbus.SessionBus()), "/app/quenstal/Quenstal")
print(json.dumps({"ready": True}), flush=True)
GLib.MainLoop().run()
