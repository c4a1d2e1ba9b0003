#!/usr/bin/env python3
"""What the tray item and the panel cost, on a private desktop: time, memory, wake-ups.

figures.py PROGRAM [SECONDS]: PROGRAM is quenstal_stand of a release build, SECONDS the length of each idle period.
"""

import pathlib
import statistics
import sys
import time

from session import Session, Stand, wait_for

PROGRAM = sys.argv[1]
SECONDS = float(sys.argv[2]) if len(sys.argv) > 2 else 10
STARTS = 7
TICKS = 100


def status(pid, key):
    for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines():
        if line.startswith(key):
            return int(line.split()[1])
    raise KeyError(key)


def switches(pid):
    """Voluntary context switches of all threads: how often the program woke up and went to sleep again."""
    return sum(status(f"{pid}/task/{task.name}", "voluntary_ctxt_switches")
               for task in pathlib.Path(f"/proc/{pid}/task").iterdir())


def ticks(pid):
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return int(fields[11]) + int(fields[12])


def idle(pid):
    """Context switches, and part of a core in percent, over the period."""
    before = switches(pid), ticks(pid)
    time.sleep(SECONDS)
    return switches(pid) - before[0], (ticks(pid) - before[1]) / TICKS / SECONDS * 100


def settled(pid):
    """Waits until half a second has passed without a wake-up."""
    end = time.monotonic() + 20
    while time.monotonic() < end:
        before = switches(pid)
        time.sleep(0.5)
        if switches(pid) == before:
            return


def row(what, value, limit):
    print(f"{what:42} {value:>12} {limit:>14}")


def start(session):
    before = time.monotonic()
    stand = Stand(session, PROGRAM)
    return stand, (time.monotonic() - before) * 1000


def opened(stand):
    stand.state.pop("frame", None)
    stand.command("open")
    wait_for(lambda: "frame" in stand.read(), "first frame")
    return stand.state["frame"]


def main():
    session = Session()
    session.start_compositor()
    session.start_tray()
    starts, frames = [], []
    for _ in range(STARTS):
        stand, milliseconds = start(session)
        starts.append(milliseconds)
        stand.icon()
        frames.append(opened(stand))
        session.stop(stand.child)
    stand, _ = start(session)
    stand.icon()
    pid = stand.child.pid
    # For three seconds after its start the program waits whether there is a tray.
    time.sleep(3.5)
    settled(pid)
    row("", "measured", "wanted")
    row("start to status item, median ms", f"{statistics.median(starts):.0f}", "<= 60")
    row("first open to first frame, median ms", f"{statistics.median(frames):.0f}", "<= 120")
    row("memory, tray only, MB", f"{status(pid, 'VmRSS') / 1024:.1f}", "<= 35")
    row("context switches, closed", idle(pid)[0], "0")
    opened(stand)
    settled(pid)
    row("memory, dial open, MB", f"{status(pid, 'VmRSS') / 1024:.1f}", "<= 55")
    row("context switches, dial open", idle(pid)[0], "0")
    x, y, _, height = session.frame(stand.wait_open())
    session.click(x + 26 + 172, y + height - 26 - 40)
    wait_for(lambda: session.frame(stand.panel())[3] == 475 + 52, "equalizer")
    time.sleep(1)
    row("processor with meters, % of a core", f"{idle(pid)[1]:.1f}", "<= 1")
    row("memory, equalizer open, MB", f"{status(pid, 'VmRSS') / 1024:.1f}", "<= 55")
    session.close()


main()
