#!/usr/bin/env python3
"""The status item's menu, as a desktop's tray reads it from the session bus."""

import json
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "Support"))
import script_suite  # noqa: E402
from service import Service  # noqa: E402
from session import LIMIT, Missing, Session, Stand, wait_for  # noqa: E402

STAND = sys.argv.pop(1)
OPEN, MUTE, SEPARATOR, QUIT = 1, 2, 3, 4
NO_ENTRY = "org.freedesktop.DBus.Error.InvalidArgs"


class Menu(unittest.TestCase):
    def setUp(self):
        try:
            import dbus  # noqa: F401
            from gi.repository import GLib  # noqa: F401
        except ImportError as problem:
            self.skipTest(str(problem))

    def start(self, **environment):
        try:
            session = Session()
        except Missing as program:
            self.skipTest(f"{program} is not installed")
        self.addCleanup(session.close)
        session.environment.update(environment)
        watcher = Service(session, "watcher.py")
        self.stand = Stand(session, STAND)
        self.host = Service(session, "menu_host.py", watcher.expect("registered")["registered"])

    def layout(self):
        self.host.command("layout")
        return self.host.expect("menu")

    def labels(self):
        return [properties.get("label", properties.get("type")) for _, properties, _ in self.layout()["menu"]]

    def call(self, method, *arguments):
        """What came back, or the name of the error."""
        self.host.command(f"call {method} {json.dumps(arguments)}")
        said = self.host.expect("answer", "error")
        return said.get("answer", said.get("error"))

    def choose(self, entry):
        return self.call("Event", entry, "clicked", 0, 0)

    def test_the_item_has_a_menu_and_is_none(self):
        self.start()
        self.assertEqual(self.host.greeting["path"], "/StatusNotifierItem/Menu")
        self.assertFalse(self.host.greeting["isMenu"])
        self.assertEqual(self.host.greeting["properties"],
                         {"Version": 3, "Status": "normal", "TextDirection": "ltr", "IconThemePath": []})

    def test_its_entries_open_mute_and_quit(self):
        self.start()
        layout = self.layout()
        self.assertEqual(layout["root"], {"children-display": "submenu"})
        self.assertEqual(layout["menu"], [
            [OPEN, {"label": "_Open"}, 0],
            [MUTE, {"label": "_Mute", "toggle-type": "checkmark", "toggle-state": 0}, 0],
            [SEPARATOR, {"type": "separator"}, 0],
            [QUIT, {"label": "_Quit"}, 0]])

    def test_in_german_they_are_german(self):
        self.start(LC_ALL="de_DE.UTF-8")
        self.assertEqual(self.labels(), ["Ö_ffnen", "_Stumm", "separator", "_Beenden"])

    def test_open_opens_the_panel_and_leaves_an_open_one_open(self):
        self.start()
        self.choose(OPEN)
        self.stand.wait_open()
        self.choose(OPEN)
        self.layout()
        self.assertTrue(self.stand.panel())

    def test_mute_mutes_and_unmutes_and_changes_no_level(self):
        self.start()
        for muted in (1, 0):
            self.choose(MUTE)
            self.stand.wait(muted=muted)
            self.assertEqual(self.stand.read()["percent"], 42)

    def test_the_checkmark_follows_the_state_whoever_changes_it(self):
        self.start()
        self.choose(OPEN)
        wait_for(lambda: self.stand.session.focused() == self.stand.panel(), "keyboard in the panel")
        for checked in (1, 0):
            self.stand.session.press("m")
            self.assertEqual(self.host.expect("updated")["updated"][str(MUTE)]["toggle-state"], checked)
            self.assertEqual(self.call("GetProperty", MUTE, "toggle-state"), checked)

    def test_quit_ends_the_program(self):
        self.start()
        self.choose(QUIT)
        self.assertEqual(self.stand.child.wait(LIMIT), 0)

    def test_only_a_click_chooses(self):
        self.start()
        for event in ("hovered", "opened", "closed", ""):
            self.call("Event", MUTE, event, 0, 0)
        for entry in (0, SEPARATOR):
            self.choose(entry)
        self.layout()
        self.assertEqual(self.stand.read()["muted"], 0)

    def test_hosts_read_only_what_they_ask_for(self):
        self.start()
        self.assertEqual(self.call("GetLayout", 0, 0, [])[1][2], [])
        self.assertEqual(self.call("GetLayout", QUIT, -1, [])[1], [QUIT, {"label": "_Quit"}, []])
        self.assertEqual(self.call("GetGroupProperties", [MUTE], ["label"]), [[MUTE, {"label": "_Mute"}]])
        self.assertEqual(self.call("GetProperty", OPEN, "enabled"), True)
        self.assertEqual(self.call("AboutToShow", 0), False)

    def test_entries_that_there_are_not_are_an_error_and_do_nothing(self):
        self.start()
        for entry in (-1, QUIT + 1, 2**31 - 1, -2**31):
            for call in (("GetLayout", entry, -1, []), ("GetProperty", entry, "label"), ("AboutToShow", entry),
                         ("Event", entry, "clicked", 0, 0)):
                with self.subTest(call):
                    self.assertEqual(self.call(*call), NO_ENTRY)
        self.assertEqual(self.call("GetProperty", OPEN, "x" * 1000), NO_ENTRY)
        self.assertEqual(self.call("AboutToShowGroup", [0, 99, -5]), [[], [99, -5]])
        self.assertEqual(self.call("GetGroupProperties", [99], []), [])
        self.assertEqual(self.stand.read()["muted"], 0)

    def test_one_message_chooses_an_entry_once_and_is_answered_in_bounds(self):
        self.start()
        self.host.command(f"flood 1000 {MUTE}")
        self.assertEqual(self.host.expect("answer")["answer"], [])
        self.stand.wait(muted=1)
        self.host.command("flood 2 99")
        self.assertEqual(self.host.expect("answer")["answer"], [99, 99])
        self.assertEqual(len(self.call("GetGroupProperties", [MUTE] * 1000, [])), 1)
        self.assertEqual(self.stand.read()["muted"], 1)


if __name__ == "__main__":
    script_suite.run()
