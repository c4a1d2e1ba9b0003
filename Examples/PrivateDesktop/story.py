#!/usr/bin/env python3
"""Quenstal's whole story on a private desktop: real keys and clicks, a real sound server, and a monitor that is emulated
behind its real device nodes. Prints what was expected and what was measured. See private_desktop.sh.

    story.py BUILD_FOLDER PICTURE_FOLDER
"""

import cmath
import math
import os
import pathlib
import sys
import time

from desktop import Desktop, GaveUp, settled, wait_for
from monitor import EmulatedMonitor
from sound import Sound
from table import Table, decibels, is_level, percent

UP, DOWN, MUTE = "XF86AudioRaiseVolume", "XF86AudioLowerVolume", "XF86AudioMute"
BANDS = (60, 250, 1000, 4000, 12000)
NAMES = ("60 Hz", "250 Hz", "1 kHz", "4 kHz", "12 kHz")
GAINS = (6, -4, 3, -6, 5)
# Of a new profile.
PREAMP = -2
RATE = 48000
# Five of them together stay below full scale, boosted or not.
TONE = -26
# Of the volume keys.
STEP = 1 / 16
# A key press, what follows from it, and the sound that was on its way.
SETTLING = 0.4
HARDWARE, SOFTWARE, SYSTEM = "Monitor hardware", "Software volume", "System volume"


def response(hertz):
    """What five peaking filters of Q 1 make of a tone, in decibels; by the textbook."""
    z = cmath.exp(-2j * math.pi * hertz / RATE)
    total = 1
    for centre, gain in zip(BANDS, GAINS):
        a = 10 ** (gain / 40)
        omega = 2 * math.pi * centre / RATE
        alpha = math.sin(omega) / 2
        middle = -2 * math.cos(omega) * z
        total *= (1 + alpha * a + middle + (1 - alpha * a) * z * z) / (1 + alpha / a + middle + (1 - alpha / a) * z * z)
    return 20 * math.log10(abs(total))


class Story:
    def __init__(self, build, pictures):
        self.build, self.pictures = build, pictures
        self.table = Table()
        self.desktop = Desktop()
        self.sound = Sound(self.desktop, build / "Examples/AudioSession/audio_session_probe")
        self.monitor = None
        self.panel = None

    def tell(self):
        for act in (self.start, self.monitor_with_volume, self.monitor_fails, self.monitor_without_volume,
                    self.equalizer, self.mute, self.usb_output, self.switch, self.diagnostics, self.end):
            self.table.begin(act.__doc__)
            act()
            self.table.finish()

    # What is looked at more than once.

    def photograph(self, name):
        # A frame of the panel, and the movement of its switches.
        time.sleep(0.3)
        self.desktop.photograph(self.pictures / f"{name}.png")

    def expect_path(self, path):
        self.table.expect("the panel shows", path, settled(self.panel.path, lambda shown: shown == path))

    def expect_monitor(self, what, volume):
        """The monitor counts in whole numbers, so that each step is rounded."""
        def is_right(shown):
            return abs(shown - volume) <= 1
        shown = settled(self.monitor.volume, is_right, limit=3)
        self.table.expect(what, f"{volume} of 100", f"{shown} of 100", is_right(shown))

    def expect_card(self, what, level, muted=False):
        def is_right(shown):
            return abs(shown[0] - level) <= 0.01 and shown[1] == muted
        def text(shown):
            return percent(shown[0]) + (", muted" if shown[1] else "")
        shown = settled(self.sound.card_volume, is_right, limit=3)
        self.table.expect(what, text((level, muted)), text(shown), is_right(shown))

    def heard(self, frequencies=(1000,), output="monitor"):
        """Above or below the tone as it is played; nothing where there is silence."""
        return [None if level is None else level - TONE for level in self.sound.levels(output, frequencies)]

    def expect_heard(self, whats, levels, frequencies=(1000,), output="monitor"):
        # Again when it is wrong: a busy machine may lose a piece of the tone.
        heard = settled(lambda: self.heard(frequencies, output),
                        lambda heard: all(map(is_level, levels, heard)), limit=4)
        for what, level, measured in zip(whats, levels, heard):
            self.table.expect(what, decibels(level), decibels(measured), is_level(level, measured))

    # The acts.

    def start(self):
        """The first start"""
        # Only now: the toolkit looks for its buses at once.
        from panel import Panel
        self.sound.session("plug", "monitor")
        self.monitor = EmulatedMonitor(self.desktop, self.build / "Examples/EmulatedMonitor/with-emulated-monitor",
                                       self.build / "Sources/quenstal")
        self.panel = Panel(self.desktop)
        guide = "First-run essentials"
        self.table.expect("the panel opens with", guide, settled(self.panel.heading, lambda shown: shown == guide))
        self.photograph("set-up-guide")
        self.panel.click("push button", "Done")

    def monitor_with_volume(self):
        """A monitor that takes its volume over DDC/CI"""
        self.expect_path(HARDWARE)
        self.desktop.press(UP, 3)
        self.expect_monitor("its volume, 50, after 3 x up", 69)
        self.photograph("tray-and-panel")
        self.desktop.press(MUTE)
        self.expect_monitor("mute", 0)
        self.desktop.press(MUTE)
        self.expect_monitor("mute again", 69)

    def monitor_fails(self):
        """The monitor stops answering while a tone plays"""
        self.sound.play(BANDS, TONE)
        wait_for(lambda: self.heard()[0] is not None, "the tone")
        self.expect_heard(["the tone before"], [0])
        self.monitor.tell("deaf")
        self.desktop.press(DOWN)
        self.expect_path(SOFTWARE)
        self.expect_heard(["the tone after 1 x down, to 62 %"], [gain(0.62)])
        self.monitor.tell("well")
        self.monitor.tell("hotplug")
        self.expect_path(HARDWARE)
        self.expect_heard(["it answers again: the tone"], [0])

    def monitor_without_volume(self):
        """Another monitor, without DDC/CI"""
        self.monitor.tell("unplug")
        self.monitor.tell("deaf")
        self.monitor.tell("plug")
        self.expect_path(SOFTWARE)
        self.desktop.press(UP, 16)
        self.desktop.press(DOWN, 8)
        time.sleep(SETTLING)
        self.expect_heard(["the tone at full volume, 8 x down"], [gain(0.5)])

    def equalizer(self):
        """The equalizer, set by clicks in the panel"""
        self.panel.click("push button", "EQ")
        self.panel.click("check box", "Equalizer")
        for name, decibels in zip(NAMES, GAINS):
            self.panel.click_slider(name, decibels, -15, 15)
        time.sleep(SETTLING)
        self.photograph("equalizer")
        self.expect_heard([f"the tone at {name}" for name in NAMES],
                          [gain(0.5) + PREAMP + response(hertz) for hertz in BANDS], BANDS)
        self.panel.click("check box", "Equalizer")
        self.desktop.press("Escape")

    def mute(self):
        """Mute, from the panel and from the keyboard"""
        self.panel.click("push button", "Mute")
        time.sleep(SETTLING)
        self.expect_heard(["the tone, muted in the panel"], [None])
        self.desktop.press(MUTE)
        time.sleep(SETTLING)
        self.expect_heard(["the mute key brings it back"], [gain(0.5)])

    def usb_output(self):
        """A USB output that has a volume of its own"""
        self.sound.session("plug", "usb")
        self.sound.make_default("usb")
        self.expect_path(SYSTEM)
        before, _ = self.sound.card_volume()
        self.desktop.press(UP, 2)
        self.expect_card(f"the card's volume, {percent(before)}, 2 x up", before + 2 * STEP)
        self.desktop.press(MUTE)
        self.expect_card("mute", before + 2 * STEP, muted=True)
        self.desktop.press(MUTE)
        self.expect_card("mute again", before + 2 * STEP)
        self.expect_heard(["the tone on it, past Quenstal"], [0], output="usb")

    def switch(self):
        """Switched off in the panel, and on again"""
        before, _ = self.sound.card_volume()
        self.panel.click("check box", "Quenstal")
        self.expect_path("Disabled")
        self.desktop.press(UP)
        time.sleep(SETTLING)
        self.expect_card("off: a key leaves the card alone", before)
        self.panel.click("check box", "Quenstal")
        self.expect_path(SYSTEM)
        self.desktop.press(UP)
        self.expect_card("on: the same key", before + STEP)

    def diagnostics(self):
        """The diagnostics report, copied in the panel"""
        self.panel.click("push button", "More")
        self.panel.click("menu item", "Copy Diagnostics")
        report = settled(self.desktop.clipboard, bool, limit=3)
        (self.pictures / "diagnostics.txt").write_text(report + "\n")
        for expected in ("accessibilityPermission", "mediaKeyCapture", "F12 volume up"):
            self.table.expect("the clipboard tells of", expected, expected if expected in report else "")

    def end(self):
        """The end"""
        self.panel.click("push button", "More")
        self.panel.click("menu item", "Quit Quenstal")
        self.table.expect("the program's exit status", 0, self.monitor.status())
        self.expect_heard(["the tone without it"], [0], output="usb")


def gain(level):
    return 20 * math.log10(level)


def main():
    build, pictures = map(pathlib.Path, sys.argv[1:])
    if "QUENSTAL_AUDIO_SESSION" not in os.environ:
        raise SystemExit("There is no private audio session: PipeWire or WirePlumber is missing.")
    pictures.mkdir(parents=True, exist_ok=True)
    # The panel is read as a screen reader would.
    os.environ["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
    print("Quenstal on a private desktop: an X server with a tray, a sound server, and a monitor emulated behind\n"
          "/dev/i2c-5. Keys and clicks are real events; sound is measured at the output.\n", flush=True)
    story = Story(build.resolve(), pictures.resolve())
    try:
        story.tell()
    except GaveUp as problem:
        print(f"\nGave up: {problem}.")
    is_right = story.table.show() and len(story.table.acts) == 10
    print(f"\nPictures: {pictures}/")
    for picture in sorted(pictures.glob("*.png")):
        print(f"  {picture.name}")
    story.desktop.close()
    return 0 if is_right else 1


if __name__ == "__main__":
    sys.exit(main())
