#!/usr/bin/env python3
"""The panel on a real X server: tray hosts, clicks, keys, focus, a compositor, assistive technology."""

import json
import os
import pathlib
import re
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "Support"))
import script_suite  # noqa: E402
from service import Service  # noqa: E402
from session import LIMIT, Missing, Session, Stand, wait_for  # noqa: E402

STAND = sys.argv.pop(1)
HERE = pathlib.Path(__file__).parent
# Where the arc's top is, from the glass's upper left corner, without a notice and with one.
GLASS = (344, 383)
# What a number of the bus can be.
LEAST, LARGEST = -2**31, 2**31 - 1


class DesktopTest(unittest.TestCase):
    def open_session(self, **options):
        try:
            session = Session(**options)
        except Missing as program:
            self.skipTest(f"{program} is not installed")
        self.addCleanup(session.close)
        return session

    def start_in_tray(self, edge="top", compositor=False, **options):
        self.session = self.open_session(**options)
        try:
            if compositor:
                self.session.start_compositor()
            self.tray = self.session.start_tray(edge)
        except Missing as program:
            self.skipTest(f"{program} is not installed")
        self.stand = Stand(self.session, STAND)
        self.icon = self.session.tray_icon()

    def open_panel(self):
        self.session.click(*self.icon)
        window = self.stand.wait_open()
        wait_for(lambda: self.session.focused() == window, "keyboard in the panel")
        return window


class EmbeddedItem(DesktopTest):
    def test_a_click_opens_the_panel_under_the_icon_and_another_closes_it(self):
        self.start_in_tray()
        x, y, width, height = self.session.frame(self.open_panel())
        self.assertEqual((width, height), GLASS)
        self.assertEqual(x + width, 1280 - 8)
        self.assertGreaterEqual(y, 28)
        self.assertLess(y, 40)
        self.session.click(*self.icon)
        self.stand.wait_closed()

    def test_at_a_bottom_bar_the_panel_opens_above_the_icon(self):
        self.start_in_tray(edge="bottom")
        _, y, _, height = self.session.frame(self.open_panel())
        self.assertLessEqual(y + height, 800 - 28)
        self.assertGreater(y + height, 800 - 50)

    def test_keys_reach_the_panel_and_escape_gives_the_keyboard_back(self):
        self.start_in_tray()
        _, other = self.session.start_other_program()
        self.open_panel()
        self.session.press("Up")
        self.stand.wait(percent=44)
        self.session.press("shift+Right")
        self.stand.wait(percent=54)
        self.session.press("m")
        self.stand.wait(muted=1)
        self.session.press("Escape")
        self.stand.wait_closed()
        wait_for(lambda: self.session.focused() == other, "keyboard back")

    def test_a_click_outside_closes_the_panel_and_keeps_the_keyboard_where_it_fell(self):
        self.start_in_tray()
        _, other = self.session.start_other_program()
        self.open_panel()
        self.session.click(200, 600)
        self.stand.wait_closed()
        wait_for(lambda: self.session.focused() == other, "keyboard with the clicked program")

    def test_a_drag_on_the_dial_sets_the_volume(self):
        self.start_in_tray()
        x, y, _, _ = self.session.frame(self.open_panel())
        center = (x + 172, y + 78 + 83)
        self.session.drag((center[0] - 74, center[1]), (center[0], center[1] - 74))
        self.stand.wait(percent=50)
        self.assertTrue(self.stand.panel())

    def test_a_click_inside_keeps_the_panel_open_and_the_chip_mutes(self):
        self.start_in_tray()
        x, y, _, height = self.session.frame(self.open_panel())
        self.session.click(x + 60, y + height - 40)
        self.stand.wait(muted=1)
        self.assertTrue(self.stand.panel())

    def test_a_click_that_makes_the_panel_smaller_keeps_it_open_however_short_it_is(self):
        self.start_in_tray()
        window = self.open_panel()
        for muted in (1, 0, 1):
            x, y, _, height = self.session.frame(window)
            self.session.click(x + 290, y + height - 40)
            self.session.click(x + GLASS[0] - 130, y + height - 231)
            wait_for(lambda: self.session.frame(window)[3] > height, "set-up guide")
            _, y, _, height = self.session.frame(window)
            self.session.hands("mousemove", x + 172, y + height - 30, "mousedown", 1, "mouseup", 1)
            wait_for(lambda: self.session.frame(window)[3] == GLASS[1], "dial")
            self.session.press("m")
            self.stand.wait(muted=muted)
            self.assertTrue(self.stand.panel())

    def test_the_wheel_on_the_icon_steps_the_volume_and_the_middle_button_mutes(self):
        self.start_in_tray()
        before = self.stand.read()["percent"]
        self.session.click(*self.icon, button=4)
        wait_for(lambda: self.stand.read()["percent"] > before, "louder")
        self.session.click(*self.icon, button=2)
        self.stand.wait(muted=1)
        self.assertFalse(self.stand.panel())

    def test_a_tray_that_comes_back_gets_the_icon_again(self):
        self.start_in_tray(edge="bottom")
        self.session.stop(self.tray)
        wait_for(lambda: not self.session.windows("panel"), "tray gone")
        self.session.start_tray()
        self.icon = self.session.tray_icon()
        _, y, _, _ = self.session.frame(self.open_panel())
        self.assertLess(y, 40)

    def test_the_panel_grows_for_the_equalizer_and_keeps_its_upper_edge(self):
        self.start_in_tray()
        window = self.open_panel()
        x, y, _, height = self.session.frame(window)
        self.session.click(x + 172, y + height - 40)
        wait_for(lambda: self.session.frame(window)[3] == 475, "equalizer")
        self.assertEqual(self.session.frame(window)[:2], (x, y))
        self.session.press("Escape")
        wait_for(lambda: self.session.frame(window)[3] == 383, "dial")

    def test_reset_asks_first_and_the_keyboard_answers(self):
        self.start_in_tray()
        window = self.open_panel()
        x, y, _, height = self.session.frame(window)
        self.session.click(x + 172, y + height - 40)
        wait_for(lambda: self.session.frame(window)[3] == 475, "equalizer")
        self.session.click(x + 300, y + 33)
        self.stand.wait(eq=1)
        self.session.press("3")
        self.session.press("r")
        self.session.press("Up")
        self.session.press("Escape")
        self.assertEqual(self.session.frame(window)[3], 475)
        self.session.press("Escape")
        wait_for(lambda: self.session.frame(window)[3] == 383, "dial after the question")

    def test_the_feedback_takes_no_focus_and_goes_by_itself(self):
        self.start_in_tray()
        _, other = self.session.start_other_program()
        for _ in range(5):
            self.stand.command("feedback 48")
        windows = wait_for(lambda: self.session.windows("Quenstal volume"), "feedback")
        self.assertEqual(len(windows), 1)
        self.assertEqual(self.session.focused(), other)
        wait_for(lambda: not self.session.windows("Quenstal volume"), "feedback gone")


class Compositing(DesktopTest):
    def test_the_shadow_has_room_around_the_glass_and_takes_no_clicks(self):
        self.start_in_tray(compositor=True)
        x, y, width, height = self.session.frame(self.open_panel())
        self.assertEqual((width, height), (GLASS[0] + 52, GLASS[1] + 52))
        self.assertEqual(x + width - 26, 1280 - 8)
        self.session.click(x + 10, y + height - 100)
        self.stand.wait_closed()

    def test_at_twice_the_density_everything_doubles(self):
        self.start_in_tray(size="2560x1600", scale=2)
        x, _, width, height = self.session.frame(self.open_panel())
        self.assertEqual((width, height), (2 * GLASS[0], 2 * GLASS[1]))
        self.assertEqual(x + width, 2560 - 16)


class Screens(DesktopTest):
    def start_offscreen(self, screens):
        self.session = self.open_session()
        configuration = pathlib.Path(self.session.folder.name, "screens.json")
        configuration.write_text(json.dumps({"screens": screens}))
        self.session.environment["QT_QPA_PLATFORM"] = f"offscreen:configfile={configuration}"
        self.stand = Stand(self.session, STAND)

    def use(self):
        """Everything that shows a window; the program goes on."""
        for command in ("feedback 48", "notice A text.", "open", "feedback muted", "notice Another.", "motion"):
            self.stand.command(command)
        self.stand.command("quit")
        self.assertEqual(self.stand.child.wait(LIMIT), 0)
        return self.stand.child.stderr.read()

    def test_without_any_screen_nothing_is_shown_and_the_program_goes_on(self):
        self.start_offscreen([])
        self.assertIn("Quenstal cannot open a window: there is no screen.", self.use())

    def test_a_density_that_no_screen_has_does_not_fill_the_memory(self):
        self.session = self.open_session()
        subprocess.run(["xrdb", "-merge"], input="Xft.dpi: 2400", text=True, check=True, env=self.session.environment)
        self.session.start_tray()
        self.stand = Stand(self.session, STAND)
        icon = self.session.tray_icon()
        for show in (lambda: self.stand.command("feedback 48"), lambda: self.session.click(*icon)):
            show()
            wait_for(lambda: "pixels per point" in self.complaints(), "what keeps it from being shown")
        status = pathlib.Path(f"/proc/{self.stand.child.pid}/status").read_text()
        self.assertLess(int(re.search(r"VmHWM:\s+(\d+)", status).group(1)), 100_000)

    def complaints(self):
        """What came on standard error since the last look."""
        complaints = self.stand.child.stderr.fileno()
        os.set_blocking(complaints, False)
        try:
            return os.read(complaints, 65536).decode()
        except BlockingIOError:
            return ""


class Watcher(Service):
    def __init__(self, session):
        super().__init__(session, "watcher.py")


class NotifierItem(DesktopTest):
    def setUp(self):
        try:
            import dbus  # noqa: F401
            from gi.repository import GLib  # noqa: F401
        except ImportError as problem:
            self.skipTest(str(problem))
        self.session = self.open_session()
        self.watcher = Watcher(self.session)
        self.stand = Stand(self.session, STAND)
        self.watcher.expect("registered")

    def properties(self):
        self.watcher.command("properties")
        return self.watcher.expect("label")

    def test_the_item_shows_level_and_icon(self):
        properties = self.properties()
        self.assertEqual(properties["label"], " 42%")
        self.assertEqual(properties["tooltip"], "42%")
        self.assertEqual(properties["title"], "Quenstal")
        self.assertEqual(properties["bytes"], [4 * size * size for size in properties["sizes"]])

    def test_activation_opens_the_panel_at_the_given_place(self):
        self.watcher.command("activate 640 12")
        x, _, width, _ = self.session.frame(self.stand.wait_open())
        self.assertEqual(x + width / 2, 640)

    def test_scrolling_and_the_secondary_action_change_volume_and_mute(self):
        self.watcher.command("scroll 120 vertical")
        wait_for(lambda: self.stand.read()["percent"] > 42, "louder")
        self.watcher.command("scroll -240 vertical")
        wait_for(lambda: self.stand.read()["percent"] < 42, "softer")
        icon = self.properties()["icon"]
        self.watcher.command("secondary")
        self.stand.wait(muted=1)
        wait_for(lambda: self.properties()["label"] == " Muted", "label")
        self.assertNotEqual(self.properties()["icon"], icon)

    def test_horizontal_scrolling_does_nothing(self):
        self.watcher.command("scroll 120 horizontal")
        self.watcher.expect("done")
        self.properties()
        self.assertEqual(self.stand.read()["percent"], 42)

    def test_however_far_a_host_says_the_wheel_turned_the_volume_moves_by_a_quarter(self):
        for turn, percent in ((LARGEST, 67), (LEAST, 42), (LARGEST, 67), (-LARGEST, 42)):
            self.watcher.command(f"scroll {turn} vertical")
            self.stand.wait(percent=percent)

    def test_far_turns_leave_nothing_over_for_the_next(self):
        self.watcher.command(f"scroll {LEAST} vertical")
        self.stand.wait(percent=17)
        self.watcher.command("scroll 60 vertical")
        self.watcher.command("scroll 60 vertical")
        self.stand.wait(percent=23)

    def test_a_click_from_far_outside_opens_the_panel_on_the_screen(self):
        for x, y in ((LARGEST, LARGEST), (LEAST, LEAST), (LARGEST, LEAST)):
            with self.subTest((x, y)):
                self.watcher.command(f"activate {x} {y}")
                left, top, width, height = self.session.frame(self.stand.wait_open())
                self.assertTrue(0 <= left <= 1280 - width and 0 <= top <= 800 - height, (left, top))
                self.watcher.command("activate 640 12")
                self.stand.wait_closed()

    def test_a_watcher_that_comes_back_gets_the_item_again(self):
        self.session.stop(self.watcher.child)
        self.watcher = Watcher(self.session)
        self.assertIn("StatusNotifierItem", self.watcher.expect("registered")["registered"])


class NoTray(DesktopTest):
    def test_without_any_tray_the_panel_opens_by_itself(self):
        self.session = self.open_session()
        self.stand = Stand(self.session, STAND)
        self.stand.wait_open()

    def test_a_panel_that_is_open_already_stays_open(self):
        self.session = self.open_session()
        self.stand = Stand(self.session, STAND)
        second = self.session.start(STAND, stdin=subprocess.DEVNULL)
        self.assertEqual(second.wait(LIMIT), 0)
        self.stand.wait_open()
        # The program looks after three seconds whether there is a tray.
        with self.assertRaises(AssertionError):
            wait_for(lambda: not self.stand.panel(), "closed", limit=3.5)


class SecondStart(DesktopTest):
    def test_a_second_start_opens_the_panel_of_the_first_and_ends(self):
        self.start_in_tray()
        second = self.session.start(STAND, stdin=subprocess.DEVNULL)
        self.assertEqual(second.wait(LIMIT), 0)
        self.stand.wait_open()


class AssistiveTechnology(DesktopTest):
    def read(self):
        """The tree as roles and names, and all that the reader said."""
        reader = self.session.start(sys.executable, str(HERE / "read_accessibility.py"), stdout=subprocess.PIPE,
                                    stderr=subprocess.PIPE, text=True)
        output, problems = reader.communicate(timeout=60)
        if "ModuleNotFoundError" in problems:
            self.skipTest(problems.strip().splitlines()[-1])
        self.assertEqual(reader.returncode, 0, problems)
        said = json.loads(output)
        return {(entry["role"], entry["name"]) for entry in said["tree"]}, said

    def test_the_tree_names_every_control_and_an_action_moves_the_volume(self):
        self.start_in_tray()
        self.open_panel()
        names, said = self.read()
        for control in (("check box", "Quenstal"), ("slider", "Volume")):
            self.assertIn(control, names)
        self.assertTrue({"Mute", "EQ", "More"} <= {name for _, name in names}, names)
        self.assertEqual(said["values"]["Volume"], [42, 0, 100])
        self.assertEqual(said["increased"], 44)
        self.assertEqual((said["written"], said["writtenBeyond"]), (77, 100))
        self.stand.wait(percent=100)

    def test_on_the_equalizer_bands_are_sliders_in_decibels_and_the_dial_is_gone(self):
        self.start_in_tray()
        window = self.open_panel()
        x, y, _, height = self.session.frame(window)
        self.session.click(x + 172, y + height - 40)
        wait_for(lambda: self.session.frame(window)[3] == 475, "equalizer")
        names, said = self.read()
        self.assertEqual({name: limits[1:] for name, limits in said["values"].items()},
                         {"60 Hz": [-12, 12], "250 Hz": [-12, 12], "1 kHz": [-12, 12], "4 kHz": [-12, 12],
                          "12 kHz": [-12, 12], "Preamp": [-12, 6]})
        for preset in ("Flat", "Voice", "Movie", "Music", "Night", "Custom"):
            self.assertIn(("radio button", preset), names)
        self.assertNotIn("Mute", {name for _, name in names})


if __name__ == "__main__":
    script_suite.run()
