#!/usr/bin/env python3
"""Shakes the real program over real parts by a random script, and looks after every event whether all still holds.
Within a private audio session; see the root's ./soak.

    soak.py BUILD_FOLDER MINUTES [SEED]

A minute of the script is ten events, done one after the other without waiting in between. The seed gives the same
script again. What must hold:

    keys     a press has its effect within KEY_LIMIT
    sound    the tone is heard again within SOUND_LIMIT after the event; what has nothing to do with sound interrupts it
             for QUIET_LIMIT at most
    volume   none of the volumes is more than one step above what it was, unless that was asked for
    memory, descriptors, threads: at the end as after the first quarter, of a long run: in a short one much happens for
             the first time
"""

import collections
import pathlib
import random
import statistics
import sys
import time

from world import GaveUp, World, wait_for

UP, DOWN, MUTE = "XF86AudioRaiseVolume", "XF86AudioLowerVolume", "XF86AudioMute"
STEP = 1 / 16
# The monitor counts in hundredths, and the ear of the listener is as fine.
TOLERANCE = 0.02
KEY_LIMIT = 3.0
SOUND_LIMIT = 3.0
# A sound server that was restarted has led all sound where it belongs when it does so for as long.
SETTLED = 2.5
QUIET_LIMIT = 1.0
EVENTS_A_MINUTE = 10
EVENTS_TO_JUDGE_RESOURCES = 200
FAULTS = ("deaf", "refuse", "garbage", "empty", "checksum", "fail 3", "fail 20")


class Events:
    """What may happen, by the names of the methods. Those of the second half interrupt the sound by their nature."""

    RESTARTS = ("manager_restart", "server_restart")
    QUIET = ("hotplug_storm", "monitor_fault", "monitor_recovers", "knob", "key_storm", "mute_twice", "panel", "suspend",
             "screen_off")
    # Those that leave the path as it is.
    CALM = ("key_storm", "mute_twice", "panel")
    LOUD = RESTARTS + ("cable", "usb", "other_output")

    def __init__(self, world, chance):
        self.world, self.chance = world, chance

    def hotplug_storm(self):
        for _ in range(self.chance.randint(5, 20)):
            self.world.monitor.tell("hotplug")

    def monitor_fault(self):
        self.world.set_fault(self.chance.choice(FAULTS))

    def monitor_recovers(self):
        self.world.set_fault("well")
        if self.chance.random() < 0.5:
            self.world.monitor.tell("hotplug")

    def knob(self):
        self.world.turn_knob(self.chance.randint(20, 80))

    def key_storm(self):
        """At the rate at which a held key repeats, and as many times back."""
        seen = self.world.seen()
        volumes = [seen.card] if self.world.sound.default() == "usb" else [seen.monitor, seen.gain]
        # Not as far as either end, where presses are lost by right.
        keys, room = max(((DOWN, UP), min(volumes)), ((UP, DOWN), 1 - max(volumes)), key=lambda way: way[1])
        for key in keys:
            self.world.desktop.press(key, max(0, int(room / STEP) - 1), delay=33)

    def mute_twice(self):
        self.world.desktop.press(MUTE)
        self.world.desktop.press(MUTE)

    def panel(self):
        self.world.toggle_panel()
        self.world.toggle_panel()

    def suspend(self):
        if self.world.tell_logind("sleep") != "asleep":
            raise GaveUp("the machine's sleep was held up")
        self.screen_off(lambda: self.world.tell_logind("wake"))
        wait_for(lambda: self.world.tell_logind("holders") == "1", "the hold on the next sleep", limit=5)

    def screen_off(self, meanwhile=lambda: None):
        """The monitor leaves its bus, and is slow to come back."""
        self.world.monitor.tell("unplug")
        meanwhile()
        self.world.monitor.tell("deaf")
        self.world.monitor.tell("plug")
        time.sleep(self.chance.uniform(0, 0.5))
        self.world.monitor.tell(self.world.fault if self.world.fault != "fail" else "well")

    def manager_restart(self):
        self.world.restart_manager()

    def server_restart(self):
        self.world.restart_server()

    def cable(self):
        """With sound and bus, out and in again."""
        self.world.monitor.tell("unplug")
        self.world.unplug("monitor")
        time.sleep(self.chance.uniform(0, 0.5))
        self.world.plug("monitor")
        self.world.monitor.tell("plug")

    def usb(self):
        if "usb" not in self.world.plugged:
            self.world.plug("usb")
        else:
            self.world.unplug("usb")

    def other_output(self):
        if "usb" not in self.world.plugged:
            self.world.plug("usb")
        self.world.sound.make_default("monitor" if self.world.sound.default() == "usb" else "usb")


class Soak:
    def __init__(self, world, seed):
        self.world = world
        self.chance = random.Random(seed)
        self.events = Events(world, self.chance)
        self.counts = collections.Counter()
        self.key_times = collections.defaultdict(list)
        self.gaps, self.returns, self.broken, self.resources = [], [], [], []
        self.restarts_of_clients = 0
        # Of the last events, told with what breaks.
        self.history = collections.deque(maxlen=4)
        self.path = None
        self.left_at = None
        self.has_turned_knob = False
        self.number = 0

    def run(self, events):
        self.press_and_look()
        for self.number in range(1, events + 1):
            quiet = self.chance.random() < 0.65
            name = self.chance.choice(Events.QUIET if quiet else Events.LOUD)
            self.counts[name] += 1
            self.happen(name, quiet)
            if not self.world.is_running():
                self.complain(name, f"the program ended with status {self.world.monitor.status()}")
                return
            self.resources.append(self.world.resources())

    def complain(self, name, what):
        fault = "" if self.world.fault == "well" else f", the monitor is {self.world.fault}"
        self.broken.append(f"event {self.number} ({name}{fault}): {what}")
        print("BROKEN  " + self.broken[-1], *self.history, *self.world.report(), sep="\n        ", flush=True)

    def happen(self, name, quiet):
        before, path_before, began = self.at_rest(), self.path, time.monotonic()
        output_before = self.world.sound.default()
        try:
            getattr(self.events, name)()
            back = time.monotonic()
            self.await_tone(name)
        except GaveUp as problem:
            return self.complain(name, str(problem))
        self.returns.append(time.monotonic() - back)
        if quiet and name != "mute_twice" and name != "key_storm":
            self.gaps.append(self.world.listener.longest_gap(began))
            if self.gaps[-1] > QUIET_LIMIT:
                self.complain(name, f"no sound for {self.gaps[-1]:.2f} s")
        # The last press of a storm may take its time on a busy machine.
        after = self.at_rest(1.5 if name == "key_storm" else 0.2)
        self.history.append(f"{self.number} {name}, {self.world.sound.default()}, {self.world.fault}: {before} -> {after}")
        self.press_and_look(name)
        is_same_output = self.world.sound.default() == output_before
        self.compare(name, before, after, path_before if is_same_output else None)

    def await_tone(self, name):
        if name not in Events.RESTARTS:
            return wait_for(self.world.is_heard_again, "the tone", limit=SOUND_LIMIT)
        # A session manager that was restarted may leave a stream without connection, or take it away after a moment,
        # with or without the program.
        try:
            return wait_for(lambda: self.world.is_heard_again(SETTLED), "the tone", limit=SOUND_LIMIT + SETTLED)
        except GaveUp:
            self.restarts_of_clients += 1
            self.world.restart_clients()
        return wait_for(lambda: self.world.is_heard_again(SETTLED), "a new player's tone", limit=SOUND_LIMIT + SETTLED)

    def at_rest(self, quiet=0.2):
        """What is seen when nothing has moved for as many seconds."""
        seen, since = self.world.seen(), time.monotonic()
        end = since + 5
        while time.monotonic() < min(since + quiet, end):
            now = self.world.seen()
            if self.moved(seen, now):
                seen, since = now, time.monotonic()
            time.sleep(0.02)
        return seen

    @staticmethod
    def moved(one, other):
        """The volume that is not the same in both; nothing when all are."""
        for volume in ("monitor", "card", "gain"):
            if abs(getattr(one, volume) - getattr(other, volume)) > TOLERANCE:
                return volume
        return None

    def compare(self, name, before, after, path_before):
        volumes = []
        if name != "knob":
            volumes.append("monitor")
        # A card that was plugged in just now has the volume that the session manager gives it.
        if before.card > 0 and name not in Events.RESTARTS + ("usb", "other_output"):
            volumes.append("card")
        # Without the software path the sound passes as it is. The monitor may have answered in between.
        has_answered = after.gain > 1 - TOLERANCE and after.monitor <= before.gain + STEP + TOLERANCE
        if path_before == self.path == "gain" and not has_answered:
            volumes.append("gain")
        # By then it has taken what was chosen while it did not answer, and the key.
        has_returned = path_before == "gain" and self.path == "monitor" and not self.has_turned_knob
        if has_returned and self.left_at.monitor > before.gain + 2 * STEP + TOLERANCE:
            self.complain(name, f"the monitor answers again with more than the {before.gain:.2f} that were chosen")
        for volume in volumes:
            was, now = getattr(before, volume), getattr(after, volume)
            # A muted volume reads as nothing, and a key brings it back.
            if now > was + STEP + TOLERANCE and was > 0:
                self.complain(name, f"{volume} rose from {was:.2f} to {now:.2f} unasked")

    def key_for(self, seen, name):
        """One that has room, whichever volume it moves."""
        possible = [seen.monitor, seen.gain]
        if self.world.sound.default() == "usb":
            possible = [seen.card]
        elif self.path == "monitor" and name in Events.CALM:
            possible = [seen.monitor]
        keys = [DOWN] if min(possible) > 2 * STEP else []
        keys += [UP] if max(possible) < 1 - 2 * STEP else []
        return self.chance.choice(keys) if keys else None

    def press_and_look(self, name="start"):
        before = self.at_rest()
        key = self.key_for(before, name)
        self.has_turned_knob = not key
        if not key:
            # One is at its top and the other at its bottom: someone turns the monitor up.
            self.world.turn_knob(50)
            before, key = self.at_rest(), DOWN
        self.history.append(f"{key} at {before}")
        began = time.monotonic()
        self.world.desktop.press(key)
        while not (moved := self.moved(before, self.world.seen())):
            if time.monotonic() > began + KEY_LIMIT:
                return self.complain(name, f"{'up' if key == UP else 'down'} had no effect; {before}")
            time.sleep(0.005)
        self.key_times[moved].append(time.monotonic() - began)
        after = self.at_rest()
        self.path = self.moved(before, after) or moved
        self.left_at = after
        was, now = getattr(before, self.path), getattr(after, self.path)
        if now > was + STEP + TOLERANCE and was > 0 and not self.has_recovered(after, was):
            self.complain(name, f"{self.path} rose from {was:.2f} to {now:.2f} by one press")

    def has_recovered(self, seen, chosen):
        """Whether the software gain ended because the monitor answers again: then the next key moves the monitor, which
        has no more than was chosen while it did not."""
        if self.path != "gain" or seen.gain < 1 - TOLERANCE:
            return False
        self.world.desktop.press(DOWN if seen.monitor > 0.5 else UP)
        self.left_at = self.at_rest()
        self.path = self.moved(seen, self.left_at)
        return self.path == "monitor" and self.left_at.monitor <= chosen + 2 * STEP + TOLERANCE

    # The verdict.

    def judge_resources(self):
        first = self.resources[len(self.resources) // 4: len(self.resources) // 2]
        last = self.resources[-len(self.resources) // 4:]
        rows = []
        for index, (what, unit, slack) in enumerate((("memory of its own", " kB", 2048), ("descriptors", "", 5),
                                                     ("threads", "", 2))):
            # The least there was: the software path, which comes and goes, has memory and descriptors of its own.
            then, now = (min(one[index] for one in part) for part in (first, last))
            rows.append((what, f"{then:.0f}{unit}", f"{now:.0f}{unit}"))
            if now > then + slack and self.number >= EVENTS_TO_JUDGE_RESOURCES:
                self.broken.append(f"{what} grew from {then:.0f} to {now:.0f}")
        return rows

    def report(self):
        print("\n| What happened | how often |\n|---|---|")
        for name, count in self.counts.most_common():
            print(f"| {name.replace('_', ' ')} | {count} |")
        print("\n| What was measured | median | longest |\n|---|---|---|")
        paths = {"monitor": "the monitor's own volume", "gain": "software", "card": "the USB card's volume"}
        for path, times in sorted(self.key_times.items()):
            print(f"| key to effect, {paths[path]} ({len(times)}) | {in_ms(statistics.median(times))} | "
                  f"{in_ms(max(times))} |")
        print(f"| sound back after the event ({len(self.returns)}) | {in_ms(statistics.median(self.returns))} | "
              f"{in_ms(max(self.returns))} |")
        print(f"| silence where there should be none ({len(self.gaps)}) | {in_ms(statistics.median(self.gaps))} | "
              f"{in_ms(max(self.gaps))} |")
        restarts = sum(self.counts[name] for name in Events.RESTARTS)
        print(f"\nPlayers started by hand after {self.restarts_of_clients} of {restarts} restarts")
        print("\n| What must not grow | second quarter | last quarter |\n|---|---|---|")
        for row in self.judge_resources():
            print("| " + " | ".join(row) + " |")
        print(f"\n{len(self.broken)} broken")
        for line in self.broken:
            print("  " + line)


def in_ms(seconds):
    return f"{1000 * seconds:.0f} ms"


def main():
    build, minutes = pathlib.Path(sys.argv[1]).resolve(), float(sys.argv[2])
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else random.SystemRandom().randrange(10 ** 6)
    events = round(minutes * EVENTS_A_MINUTE)
    print(f"{events} events, seed {seed}", flush=True)
    began = time.monotonic()
    soak = Soak(World(build), seed)
    soak.run(events)
    print(f"\n{soak.number} events in {time.monotonic() - began:.0f} s, seed {seed}")
    soak.report()
    soak.world.close()
    return 1 if soak.broken else 0


if __name__ == "__main__":
    sys.exit(main())
