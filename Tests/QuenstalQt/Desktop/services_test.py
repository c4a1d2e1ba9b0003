#!/usr/bin/env python3
"""What the desktop's services do for the panel, on a real X server and a session bus of its own: key feedback on the
desktop's display, as a notification or on the own bar, and the wish for less motion."""

import os
import pathlib
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "Support"))
import script_suite  # noqa: E402
from service import PYTHON, Service  # noqa: E402
from session import Missing, Session, Stand, wait_for  # noqa: E402

STAND = sys.argv.pop(1)
BAR = "Quenstal volume"
# A key held for two seconds, and its levels told as fast as they can be.
HELD = [40 + step for step in range(60)]
# What is text to us and markup to some who read it.
NAME = 'B&O <b>loud</b> <a href="x">27</a> &lt;'
ESCAPED = "B&amp;O &lt;b&gt;loud&lt;/b&gt; &lt;a href=&quot;x&quot;&gt;27&lt;/a&gt; &amp;lt;"


class ServiceTest(unittest.TestCase):
    def setUp(self):
        if subprocess.run([PYTHON, "-c", "import dbus, gi.repository.GLib"], capture_output=True).returncode:
            self.skipTest("the system's Python has no modules for the session bus")
        try:
            self.session = Session()
        except Missing as program:
            self.skipTest(f"{program} is not installed")
        self.addCleanup(self.session.close)
        # The panel opens by itself without any tray.
        self.watcher = Service(self.session, "watcher.py")

    def serve(self, *arguments):
        return Service(self.session, "desktop_services.py", *arguments)

    def start(self, *arguments):
        self.stand = Stand(self.session, STAND, *arguments)
        self.watcher.expect("registered")

    def press(self, what):
        self.stand.command(f"feedback {what}")

    def hold(self, values=HELD):
        for value in values:
            self.press(value)

    def bars(self):
        return self.session.windows(BAR)

    def wait_bar(self):
        return wait_for(self.bars, "the own bar")[0]


class Plasma(ServiceTest):
    def setUp(self):
        super().setUp()
        self.plasma = self.serve("plasma")
        self.start()

    def test_the_level_is_shown_by_the_desktop_and_nothing_else(self):
        self.press(48)
        self.assertEqual(self.plasma.expect("volume")["volume"], 48)
        self.assertFalse(self.bars())

    def test_muted_is_shown_as_no_volume(self):
        self.press("muted")
        self.assertEqual(self.plasma.expect("volume")["volume"], 0)

    def test_why_a_key_did_nothing_is_shown_as_a_text(self):
        self.press("ignored")
        self.assertEqual(self.plasma.expect("text")["text"], "Enable Quenstal to control volume.")

    def test_a_held_key_ends_with_its_last_level(self):
        self.hold()
        said = self.plasma.expect("volume")
        levels = [said["volume"]]
        while levels[-1] != HELD[-1]:
            levels.append(self.plasma.expect("volume")["volume"])
        self.assertEqual(levels, sorted(levels))
        self.assertFalse(self.bars())

    def test_a_slow_service_gets_one_call_and_the_bar_shows_the_rest(self):
        self.plasma.command("hold")
        self.hold()
        bar = self.wait_bar()
        self.hold()
        self.assertEqual(self.bars(), [bar])
        self.assertEqual(self.plasma.expect("volume")["volume"], HELD[0])
        self.assertEqual(self.plasma.all("volume"), [])

    def test_a_service_that_answers_again_is_used_again_and_the_bar_goes(self):
        self.plasma.command("hold")
        self.press(50)
        self.wait_bar()
        self.plasma.command("release")

        def is_used():
            self.press(61)
            return {"volume": 61}.items() <= {key: said[key] for said in self.plasma.all("volume")
                                              for key in said}.items()
        wait_for(is_used, "the service's turn")
        wait_for(lambda: not self.bars(), "bar gone")

    def test_a_refusal_is_shown_on_the_bar_and_is_the_last(self):
        self.plasma.command("refuse")
        self.press(50)
        self.wait_bar()
        self.press(51)
        self.press(52)
        self.stand.command("nothing")
        self.assertEqual([said["volume"] for said in self.plasma.all("volume")], [50])

    def test_a_service_that_ends_is_replaced_by_the_bar_until_it_comes_back(self):
        self.session.stop(self.plasma.child)

        def is_passed_over():
            self.press(50)
            return self.bars()
        wait_for(is_passed_over, "the own bar")
        self.plasma = self.serve("plasma")

        def is_used():
            self.press(52)
            return self.plasma.all("volume")
        wait_for(is_used, "the new service's turn")


class Bar(ServiceTest):
    def test_a_held_key_keeps_one_bar_that_is_shown_once(self):
        self.start()
        self.press(40)
        bar = self.wait_bar()
        spy = self.session.start("xev", "-id", bar, "-event", "structure", stdout=subprocess.PIPE, bufsize=0)
        os.set_blocking(spy.stdout.fileno(), False)
        events = b""

        def heard(what):
            nonlocal events
            events += spy.stdout.read() or b""
            return what in events

        def is_spying():
            self.press(40)
            x, y, _, _ = self.session.frame(bar)
            self.session.run("xdotool", "windowmove", bar, str(x + 1), str(y))
            return heard(b"ConfigureNotify")
        wait_for(is_spying, "spy")
        self.hold()
        self.assertEqual(self.bars(), [bar])
        self.assertFalse(heard(b"MapNotify"))
        wait_for(lambda: heard(b"UnmapNotify"), "bar gone")
        self.assertEqual(events.count(b"MapNotify event"), 0)
        self.assertEqual(events.count(b"UnmapNotify event"), 1)


class Notifications(ServiceTest):
    """As on Wayland without an X server: no window can be placed."""

    def setUp(self):
        super().setUp()
        self.notifications = self.serve("notifications")
        self.start("--no-window-system")

    def test_a_level_is_a_bubble_with_a_value(self):
        self.press(48)
        bubble = self.notifications.expect("bubble")
        self.assertEqual((bubble["value"], bubble["title"], bubble["text"], bubble["icon"], bubble["group"]),
                         (48, "48%", "Desk Monitor 27", "audio-volume-high", "volume"))
        self.assertGreater(bubble["timeout"], 0)
        self.assertFalse(self.bars())

    def test_muted_has_its_own_symbol(self):
        self.press("muted")
        bubble = self.notifications.expect("bubble")
        self.assertEqual((bubble["value"], bubble["title"], bubble["icon"]), (48, "Muted", "audio-volume-muted"))

    def body(self, command):
        self.stand.command(command)
        return self.notifications.expect("bubble")["text"]

    def test_a_server_that_reads_markup_gets_the_names_of_outputs_and_notices_escaped(self):
        self.notifications.command("can body body-markup")
        self.assertEqual(self.body(f"feedback on {NAME}"), ESCAPED)
        self.assertEqual(self.body(f"notice {NAME}"), ESCAPED)

    def test_one_that_reads_none_gets_them_as_they_are(self):
        self.notifications.command("can body actions")
        self.assertEqual(self.body(f"feedback on {NAME}"), NAME)
        self.assertEqual(self.body(f"notice {NAME}"), NAME)

    def test_one_that_does_not_tell_may_read_markup(self):
        self.assertEqual(self.body(f"feedback on {NAME}"), ESCAPED)

    def test_a_server_is_asked_once_and_the_next_one_again(self):
        self.notifications.command("can body body-markup")
        self.body("feedback 48")
        self.body("feedback 49")
        self.assertEqual(self.notifications.all("asked"), [])
        self.session.stop(self.notifications.child)
        self.notifications = self.serve("notifications", "can body")

        def body():
            self.press(f"on {NAME}")
            return [bubble["text"] for bubble in self.notifications.all("bubble")]
        self.assertEqual(set(wait_for(body, "the new server's turn")), {NAME})

    def test_while_it_does_not_tell_the_last_value_waits(self):
        for line in ("can body", "hold"):
            self.notifications.command(line)
        self.hold()
        self.assertEqual(self.notifications.all("bubble"), [])
        self.notifications.command("release")
        self.assertEqual(self.notifications.expect("bubble")["value"], HELD[0])
        self.press(99)
        wait_for(lambda: [bubble for bubble in self.notifications.all("bubble") if bubble["value"] == 99],
                 "the last level")

    def test_a_held_key_is_one_bubble_that_ends_with_the_last_level(self):
        self.hold()
        bubbles = [self.notifications.expect("bubble")]
        while bubbles[-1]["value"] != HELD[-1]:
            bubbles.append(self.notifications.expect("bubble"))
        self.assertEqual({bubble["bubble"] for bubble in bubbles}, {1})
        self.assertEqual([bubble["replaced"] for bubble in bubbles], [0] + [1] * (len(bubbles) - 1))

    def test_a_slow_service_gets_no_queue_of_bubbles(self):
        self.notifications.command("hold")
        self.hold()
        self.assertEqual(self.notifications.expect("bubble")["value"], HELD[0])
        self.hold()
        self.assertEqual(self.notifications.all("bubble"), [])
        self.notifications.command("release")

        def last():
            self.press(99)
            return [bubble for bubble in self.notifications.all("bubble") if bubble["value"] == 99]
        self.assertEqual(wait_for(last, "the last level")[0]["bubble"], 1)

    def test_without_the_service_the_program_goes_on(self):
        self.session.stop(self.notifications.child)
        self.hold()
        self.notifications = self.serve("notifications")

        def is_used():
            self.press(52)
            return self.notifications.all("bubble")
        wait_for(is_used, "the new service's turn")


class Motion(ServiceTest):
    # Where desktops keep the wish, the value for less motion, and the one for motion.
    WISHES = (("org.gnome.desktop.interface", "enable-animations", "false", "true"),
              ("org.freedesktop.appearance", "reduced-motion", "1", "0"),
              ("org.kde.kdeglobals.KDE", "AnimationDurationFactor", '"0"', '"0.5"'))

    def open_panel(self):
        self.start()
        self.stand.command("open")
        self.stand.wait_open()

    def moves(self):
        self.stand.state.pop("motion", None)
        self.stand.command("motion")
        wait_for(lambda: "motion" in self.stand.read(), "motion told")
        return bool(self.stand.state["motion"])

    def test_without_settings_things_move(self):
        self.open_panel()
        self.assertTrue(self.moves())

    def test_the_wish_is_read_at_the_start_wherever_a_desktop_keeps_it(self):
        for area, key, less, _ in self.WISHES:
            with self.subTest(area):
                settings = self.serve("settings", f"set {area} {key} {less}")
                self.open_panel()
                wait_for(lambda: not self.moves(), "stillness")
                self.session.stop(self.stand.child)
                self.session.stop(settings.child)

    def test_a_change_is_followed_while_the_panel_is_open(self):
        settings = self.serve("settings")
        self.open_panel()
        for area, key, less, more in self.WISHES:
            with self.subTest(area):
                settings.command(f"set {area} {key} {less}")
                wait_for(lambda: not self.moves(), "stillness")
                settings.command(f"set {area} {key} {more}")
                wait_for(self.moves, "motion")

    def test_one_wish_for_less_is_enough(self):
        settings = self.serve("settings", *(f"set {area} {key} {more}" for area, key, _, more in self.WISHES))
        self.open_panel()
        self.assertTrue(self.moves())
        area, key, less, _ = self.WISHES[0]
        settings.command(f"set {area} {key} {less}")
        wait_for(lambda: not self.moves(), "stillness")

    def test_a_value_that_no_desktop_writes_is_no_wish(self):
        settings = self.serve("settings")
        self.open_panel()
        for number, value in enumerate(('""', str(2**32 + 1), '"none"')):
            area, key, _, _ = self.WISHES[number]
            settings.command(f"set {area} {key} {value}")
            # What is told after it has been heard after it.
            area, key, less, more = self.WISHES[number - 1]
            with self.subTest(self.WISHES[number][0]):
                settings.command(f"set {area} {key} {less}")
                wait_for(lambda: not self.moves(), "stillness")
                settings.command(f"set {area} {key} {more}")
                wait_for(self.moves, "motion")

    def test_a_settings_service_that_starts_later_is_asked(self):
        self.open_panel()
        area, key, less, _ = self.WISHES[0]
        self.serve("settings", f"set {area} {key} {less}")
        wait_for(lambda: not self.moves(), "stillness")


if __name__ == "__main__":
    script_suite.run()
