"""The program in front of an emulated monitor, which is steered by words."""

import subprocess


class EmulatedMonitor:
    def __init__(self, desktop, emulation, program, volume=50):
        self.child = desktop.start(emulation, "--layout", "hdmi", "--volume", str(volume), "--steered", "--", program,
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)
        self.process = int(self.child.stdout.readline())

    def tell(self, line):
        self.child.stdin.write(line + "\n")
        answer = self.child.stdout.readline().strip()
        if answer in ("", "unknown"):
            raise SystemExit(f"The emulated monitor does not know {line!r}.")
        return answer

    def volume(self):
        return int(self.tell("volume"))

    def status(self, patience=10):
        """The program's, when it has ended."""
        return self.child.wait(patience)
