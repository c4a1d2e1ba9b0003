#!/usr/bin/env python3
"""Runs a command with a temporary folder of its own and leaves nothing of either, however it ends: no process, not even
one that has gone its own way, and no file.

    guarded.py COMMAND...

SIGINT, SIGTERM and SIGHUP end it at any moment. The status is the command's, or 128 and the signal's number.
"""

import ctypes
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ENDINGS = {signal.SIGINT, signal.SIGTERM, signal.SIGHUP}
WATCHED = ENDINGS | {signal.SIGCHLD}
# Of <sys/prctl.h>.
PR_SET_PDEATHSIG = 1
PR_SET_CHILD_SUBREAPER = 36
# Long enough for an X server to take its lock with it.
PATIENCE = 5

libc = ctypes.CDLL(None, use_errno=True)


def prepare_child():
    signal.pthread_sigmask(signal.SIG_UNBLOCK, WATCHED)
    libc.prctl(PR_SET_PDEATHSIG, signal.SIGTERM)
    # The terminal's Control-C is for the guard alone, which then ends everything in one go.
    os.setsid()


def children():
    return [int(number) for task in pathlib.Path("/proc/self/task").iterdir()
            for number in (task / "children").read_text().split()]


def descendants():
    found = []
    waiting = children()
    while waiting:
        process = waiting.pop()
        found.append(process)
        for task in pathlib.Path(f"/proc/{process}/task").glob("*/children"):
            try:
                waiting += map(int, task.read_text().split())
            except OSError:
                pass
    return found


def reap():
    """Collects what has ended; the statuses by process."""
    ended = {}
    try:
        while True:
            process, status = os.waitpid(-1, os.WNOHANG)
            if process == 0:
                return ended
            ended[process] = os.waitstatus_to_exitcode(status)
    except ChildProcessError:
        return ended


def end_all():
    end = time.monotonic() + PATIENCE
    asked = set()
    while True:
        reap()
        left = descendants()
        if not left:
            return
        patient = time.monotonic() < end
        for process in left:
            if patient and process in asked:
                continue
            asked.add(process)
            try:
                os.kill(process, signal.SIGTERM if patient else signal.SIGKILL)
            except ProcessLookupError:
                pass
        signal.sigtimedwait({signal.SIGCHLD}, 0.05)


def status_of(command, environment):
    with subprocess.Popen(command, env=environment, preexec_fn=prepare_child) as child:
        while True:
            arrived = signal.sigwait(WATCHED)
            if arrived in ENDINGS:
                print(f"\nEnding everything ({signal.Signals(arrived).name}).", file=sys.stderr, flush=True)
                child.returncode = 128 + arrived
            else:
                ended = reap().get(child.pid)
                if ended is not None:
                    child.returncode = ended if ended >= 0 else 128 - ended
            if child.returncode is not None:
                return child.returncode


def main():
    # From here on nothing ends this program between two steps.
    signal.pthread_sigmask(signal.SIG_BLOCK, WATCHED)
    # What the children leave behind becomes a child of this process.
    libc.prctl(PR_SET_CHILD_SUBREAPER, 1)
    folder = tempfile.mkdtemp(prefix="quenstal-")
    try:
        return status_of(sys.argv[1:], dict(os.environ, TMPDIR=folder))
    finally:
        end_all()
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
