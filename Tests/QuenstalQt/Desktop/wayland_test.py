#!/usr/bin/env python3
"""The whole program on a Wayland compositor: without an X server, and beside one."""

import os
import pathlib
import re
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "Support"))
import script_suite  # noqa: E402
from service import Service  # noqa: E402
from session import LIMIT, Missing, Session, WaylandSession, wait_for  # noqa: E402

PROGRAM = sys.argv.pop(1)
# The glass and its shadow.
PANEL = (344 + 52, 383 + 52)


class Wayland(unittest.TestCase):
    def setUp(self):
        try:
            self.session = WaylandSession()
        except Missing as program:
            self.skipTest(f"{program} is not installed")
        self.addCleanup(self.session.close)
        self.session.finish_setup_guide()
        self.program = self.session.start(PROGRAM, stderr=subprocess.PIPE, text=True)

    def panels(self):
        self.assertIsNone(self.program.poll(), "the program has ended")
        return [window for window in self.session.windows() if window[0] == "Quenstal"]

    def start_again(self):
        second = self.session.start(PROGRAM)
        self.assertEqual(second.wait(LIMIT), 0)

    def open_panel(self):
        wait_for(lambda: self.session.run("dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus",
                                          "/", "org.freedesktop.DBus.NameHasOwner", "string:app.quenstal.Quenstal")
                 .rstrip().endswith("true"), "first start")
        self.start_again()
        return wait_for(self.panels, "panel")[0]

    def test_a_second_start_opens_the_panel_in_its_own_size_and_with_the_keyboard(self):
        self.assertEqual(self.open_panel()[1], PANEL)
        wait_for(lambda: self.panels()[0][2], "keyboard in the panel")

    def test_escape_closes_the_panel_and_another_start_opens_it_again(self):
        self.open_panel()
        wait_for(lambda: self.panels()[0][2], "keyboard in the panel")
        self.session.press("Escape")
        wait_for(lambda: not self.panels(), "closed")
        self.start_again()
        wait_for(self.panels, "panel again")

    def test_the_panel_closes_when_another_window_takes_the_keyboard(self):
        self.open_panel()
        wait_for(lambda: self.panels()[0][2], "keyboard in the panel")
        self.session.run("swaymsg", "focus", "parent")
        self.session.run("swaymsg", "workspace", "2")
        wait_for(lambda: not self.panels(), "closed")

    def test_without_a_tray_the_panel_opens_by_itself(self):
        wait_for(self.panels, "panel")


class ActivationToken(unittest.TestCase):
    """What the tray hands over so that the panel may take the keyboard, seen in what is sent to the compositor."""

    def setUp(self):
        try:
            self.session = WaylandSession()
        except Missing as program:
            self.skipTest(f"{program} is not installed")
        self.addCleanup(self.session.close)
        self.session.finish_setup_guide()
        self.watcher = Service(self.session, "watcher.py")
        self.sent = pathlib.Path(self.session.folder.name, "wayland.log")
        with self.sent.open("w") as log:
            self.session.environment["WAYLAND_DEBUG"] = "client"
            self.program = self.session.start(PROGRAM, stderr=log)
        self.watcher.expect("registered")

    def give(self, token):
        self.watcher.command(f"token {token}")
        self.watcher.expect("done")

    def click(self, opens=True):
        self.watcher.command("activate 640 12")
        wait_for(lambda: bool(self.panels()) == opens, "panel open" if opens else "panel closed")

    def panels(self):
        self.assertIsNone(self.program.poll(), "the program has ended")
        return [window for window in self.session.windows() if window[0] == "Quenstal"]

    def uses(self, token):
        return self.sent.read_text().count(f'.activate("{token}"')

    def test_it_is_used_for_the_click_it_was_given_for_and_no_other(self):
        self.give("first_TIME42")
        self.click()
        wait_for(lambda: self.uses("first_TIME42") == 1, "token used")
        self.give("second_TIME43")
        self.click(opens=False)
        self.click()
        self.give("third_TIME44")
        self.click(opens=False)
        self.assertEqual((self.uses("first_TIME42"), self.uses("second_TIME43")), (1, 0))

    def test_what_can_be_none_is_not_passed_on(self):
        for token in ("x" * 513, "\u00fc"):
            self.give(token)
            self.click()
            self.assertNotIn(".activate(\"", self.sent.read_text())
            self.click(opens=False)


class Keys(unittest.TestCase):
    """Which way of capture is chosen, told by whether a key of the X server still reaches other programs."""

    def start(self, **environment):
        try:
            self.session = Session()
        except Missing as program:
            self.skipTest(f"{program} is not installed")
        self.addCleanup(self.session.close)
        self.session.finish_setup_guide()
        self.session.environment.update(environment)
        self.other, _ = self.session.start_other_program(stdout=subprocess.PIPE, bufsize=0)
        os.set_blocking(self.other.stdout.fileno(), False)
        self.heard = b""
        self.session.start(PROGRAM)

    def report(self):
        return self.session.run(PROGRAM, "--report")

    def hears(self, key):
        self.heard += self.other.stdout.read() or b""
        return key in self.heard

    def test_on_an_x_server_the_volume_keys_are_taken_from_it(self):
        self.start()
        wait_for(lambda: re.search("Keys: +captured", self.report()), "keys captured")
        self.session.press("XF86AudioRaiseVolume")
        self.session.press("a")
        wait_for(lambda: self.hears(b"keysym 0x61, a"), "another key")
        self.assertFalse(self.hears(b"XF86AudioRaiseVolume"))

    def test_beside_a_wayland_compositor_the_x_server_keeps_them(self):
        self.start(WAYLAND_DISPLAY="wayland-0")
        wait_for(lambda: "Keys:" in self.report(), "program")
        self.session.press("XF86AudioRaiseVolume")
        wait_for(lambda: self.hears(b"XF86AudioRaiseVolume"), "the key")


if __name__ == "__main__":
    script_suite.run()
