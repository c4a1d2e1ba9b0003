"""A service of the session bus that a test plays, in a process of its own: it says JSON lines and obeys commands."""

import json
import os
import pathlib
import select
import subprocess
import time

from session import LIMIT

HERE = pathlib.Path(__file__).parent
# The system's own interpreter: it has the modules of the bus.
PYTHON = "/usr/bin/python3"


class Service:
    def __init__(self, session, script, *arguments):
        self.child = session.start(PYTHON, str(HERE / script), *arguments, stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, text=True, bufsize=1)
        self.lines = []
        self.rest = ""
        self.greeting = self.expect("ready")

    def expect(self, *keys):
        """The first thing said with one of the keys; what was said before it is forgotten."""
        end = time.monotonic() + LIMIT
        while True:
            for said in self._said():
                if any(key in said for key in keys):
                    return said
            self._read(end, " or ".join(keys))

    def all(self, key):
        """Everything said with that key since the last look, up to the answer to a command that does nothing."""
        self.command("nothing")
        end = time.monotonic() + LIMIT
        found = []
        while True:
            for said in self._said():
                if said.get("done") == "nothing":
                    return found
                if key in said:
                    found.append(said)
            self._read(end, "done")

    def command(self, line):
        self.child.stdin.write(line + "\n")
        self.child.stdin.flush()

    def _said(self):
        while self.lines:
            said = json.loads(self.lines.pop(0))
            if "problem" in said:
                raise AssertionError(said["problem"])
            yield said

    def _read(self, end, key):
        output = self.child.stdout
        if not select.select([output], [], [], max(0, end - time.monotonic()))[0]:
            raise AssertionError(f"{self.child.args[1]} said nothing of {key}")
        data = os.read(output.fileno(), 65536).decode()
        if not data:
            raise AssertionError(f"{self.child.args[1]} ended before {key}")
        *lines, self.rest = (self.rest + data).split("\n")
        self.lines += lines
