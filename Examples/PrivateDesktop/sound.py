"""The private session's outputs, a tone to play on them, and what they are sent."""

import json
import os
import pathlib
import re
import subprocess

from desktop import output_of, wait_for

SESSION = pathlib.Path(__file__).resolve().parents[2] / "tools" / "audio_session.sh"
NAMES = {"monitor": "alsa_output.pci-0000_01_00.1.hdmi-stereo",
         "usb": "alsa_output.usb-Simulated_DAC-00.analog-stereo"}


class Sound:
    def __init__(self, desktop, probe):
        self.desktop, self.probe = desktop, probe
        self.folder = pathlib.Path(os.environ["QUENSTAL_AUDIO_SESSION"])

    def session(self, *words):
        subprocess.run([str(SESSION), *words], check=True)

    def play(self, frequencies, decibels):
        return self.desktop.start(self.probe, "tone", ",".join(map(str, frequencies)), str(decibels))

    def levels(self, output, frequencies):
        """In decibels of full scale, one for each frequency; nothing where there is silence."""
        told = subprocess.run([self.probe, "level", NAMES[output], ",".join(map(str, frequencies))], check=True,
                              stdout=subprocess.PIPE, text=True).stdout
        return [None if line == "silent" else float(line.split()[0]) for line in told.splitlines()]

    def make_default(self, output):
        value = json.dumps({"name": NAMES[output]})
        subprocess.run(["pw-metadata", "0", "default.configured.audio.sink", value, "Spa:String:JSON"], check=True,
                       stdout=subprocess.DEVNULL)
        wait_for(lambda: self.default() == output, f"{output} as the default output")

    def default(self):
        """The output in force; none while there is none."""
        told = output_of("pw-metadata", "0", "default.audio.sink")
        return next((output for output, name in NAMES.items() if f'"{name}"' in told), None)

    def card_volume(self):
        """What the USB card was set to last: the level, and whether it is muted."""
        told = re.findall(r"volume ([\d.]+)( muted)?", (self.folder / "card-usb.log").read_text())
        return (float(told[-1][0]), bool(told[-1][1])) if told else (1.0, False)
