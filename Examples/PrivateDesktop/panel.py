"""The panel as a screen reader finds it: what it says, and where on the screen its controls are."""

from gi.repository import Gio, GLib

from desktop import wait_for

ACCESSIBLE = "org.a11y.atspi.Accessible"
COMPONENT = "org.a11y.atspi.Component"
SCREEN = 0
STATE_SHOWING = 25


class Node:
    """One accessible object. Nothing is kept: every question is asked anew."""

    def __init__(self, bus, owner, path):
        self.bus, self.owner, self.path = bus, owner, path

    def call(self, interface, method, arguments=None):
        return self.bus.call_sync(self.owner, self.path, interface, method, arguments, None,
                                  Gio.DBusCallFlags.NONE, 5000, None).unpack()

    def text(self, name):
        return self.call("org.freedesktop.DBus.Properties", "Get", GLib.Variant("(ss)", (ACCESSIBLE, name)))[0]

    @property
    def name(self):
        return self.text("Name")

    @property
    def description(self):
        return self.text("Description")

    @property
    def role(self):
        return self.call(ACCESSIBLE, "GetRoleName")[0]

    def is_showing(self):
        return bool(self.call(ACCESSIBLE, "GetState")[0][0] & 1 << STATE_SHOWING)

    def children(self):
        return [Node(self.bus, owner, path) for owner, path in self.call(ACCESSIBLE, "GetChildren")[0]]

    def all(self):
        yield self
        for child in self.children():
            yield from child.all()

    def frame(self):
        return self.call(COMPONENT, "GetExtents", GLib.Variant("(u)", (SCREEN,)))[0]


class Panel:
    def __init__(self, desktop):
        self.desktop = desktop
        session = Gio.bus_get_sync(Gio.BusType.SESSION)
        address = session.call_sync("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", None, None,
                                    Gio.DBusCallFlags.NONE, -1, None).unpack()[0]
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        self.root = Node(Gio.DBusConnection.new_for_address_sync(address, flags), "org.a11y.atspi.Registry",
                         "/org/a11y/atspi/accessible/root")

    def find(self, role, name=None):
        """The first of that role, and of that name if one is given, that is shown; none when there is none."""
        try:
            for application in self.root.children():
                if application.name.lower() != "quenstal":
                    continue
                for node in application.all():
                    if node.role == role and name in (None, node.name) and node.is_showing():
                        return node
        except GLib.Error:
            # Gone between two questions.
            pass
        return None

    def click(self, role, name):
        x, y, width, height = wait_for(lambda: self.find(role, name), f"{name} in the panel").frame()
        self.desktop.click(x + width // 2, y + height // 2)

    def click_slider(self, name, value, lowest, highest):
        """At the place of a value; the ends are those of the whole slider."""
        x, y, width, height = wait_for(lambda: self.find("slider", name), f"{name} in the panel").frame()
        self.desktop.click(x + width // 2, round(y + height * (highest - value) / (highest - lowest)))

    def heading(self):
        node = self.find("heading")
        return node.name if node else None

    def path(self):
        """The control path as the dial tells it, with the output's name as the heading."""
        node = self.find("heading")
        return node.description if node else None
