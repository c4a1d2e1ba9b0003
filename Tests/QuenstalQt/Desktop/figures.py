#!/usr/bin/env python3
"""What the tray item and the panel cost, on a private desktop: time, memory, wake-ups.

figures.py FOLDER [SECONDS]: FOLDER is a release build, SECONDS the length of each idle period.
"""

import os
import pathlib
import shutil
import signal
import statistics
import subprocess
import sys
import time

from service import Service
from session import Session, Stand, wait_for

BUILD = pathlib.Path(sys.argv[1]).resolve()
STAND = BUILD / "Tests/QuenstalQt/quenstal_stand"
PROGRAM = BUILD / "Sources/quenstal"
SECONDS = float(sys.argv[2]) if len(sys.argv) > 2 else 10
STARTS = 21
OPENINGS = 7
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
    print(f"{what:52} {value:>12} {limit:>8}")


def spread(values):
    return f"{min(values):.0f} / {statistics.median(values):.0f}"


def measure_starts(session, program):
    """Milliseconds from the start of the process until its item is with the watcher, and of processor time. The latter
    does not depend on what else the machine does."""
    watcher = Service(session, "watcher.py")
    times, costs = [], []
    for _ in range(STARTS):
        before = time.monotonic()
        child = subprocess.Popen([program], env=session.environment, stdin=subprocess.PIPE,
                                 stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        times.append((watcher.expect("registered")["at"] - before) * 1000)
        os.kill(child.pid, signal.SIGKILL)
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = status
        costs.append((usage.ru_utime + usage.ru_stime) * 1000)
    session.stop(watcher.child)
    return times, costs


def start_sound(session):
    for program in ("pipewire", "wireplumber"):
        if not shutil.which(program):
            return "no sound server"
        session.start(program)
        wait_for(lambda: pathlib.Path(session.folder.name, "pipewire-0").exists(), "sound server")
    return "PipeWire"


def opened(stand):
    stand.state.pop("frame", None)
    stand.command("open")
    wait_for(lambda: "frame" in stand.read(), "first frame")
    return stand.state["frame"]


def show_starts(session):
    rows = [("the panel alone", STAND)]
    if PROGRAM.exists():
        rows.append((f"the program, {start_sound(session)}", PROGRAM))
    for what, program in rows:
        times, costs = measure_starts(session, program)
        row(f"start to status item, {what}, ms", spread(times), "<= 60")
        row("  of it processor time, ms", spread(costs), "")


def resident(pid):
    return f"{status(pid, 'VmRSS') / 1024:.1f}"


def show_memory_of_program(session):
    """The whole program: with the audio room, the monitors and the keys beside the panel."""
    session.finish_setup_guide()
    child = session.start(PROGRAM)
    time.sleep(4)
    settled(child.pid)
    row("memory, the program, tray only, MB", resident(child.pid), "<= 35")
    session.run(PROGRAM)
    wait_for(lambda: session.windows("Quenstal"), "panel")
    settled(child.pid)
    row("memory, the program, panel open, MB", resident(child.pid), "<= 55")
    session.stop(child)


def main():
    session = Session()
    session.start_compositor()
    row("", "measured", "wanted")
    row("", "least / median", "")
    show_starts(session)
    session.start_tray()
    if PROGRAM.exists():
        show_memory_of_program(session)
    frames = []
    for _ in range(OPENINGS):
        stand = Stand(session, str(STAND))
        session.tray_icon()
        frames.append(opened(stand))
        session.stop(stand.child)
    row("first open to first frame, ms", spread(frames), "<= 120")
    stand = Stand(session, str(STAND))
    session.tray_icon()
    pid = stand.child.pid
    # For three seconds after its start the program waits whether there is a tray.
    time.sleep(3.5)
    settled(pid)
    row("memory, tray only, MB", resident(pid), "<= 35")
    row("context switches, closed", idle(pid)[0], "0")
    opened(stand)
    settled(pid)
    row("memory, dial open, MB", resident(pid), "<= 55")
    row("context switches, dial open", idle(pid)[0], "0")
    x, y, _, height = session.frame(stand.wait_open())
    session.click(x + 26 + 172, y + height - 26 - 40)
    wait_for(lambda: session.frame(stand.panel())[3] == 475 + 52, "equalizer")
    time.sleep(1)
    row("processor with meters, % of a core", f"{idle(pid)[1]:.1f}", "<= 1")
    row("memory, equalizer open, MB", resident(pid), "<= 55")
    print(f"load average {os.getloadavg()[0]:.1f} on {os.cpu_count()} cores")
    session.close()


main()
