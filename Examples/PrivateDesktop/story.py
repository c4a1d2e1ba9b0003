#!/usr/bin/env python3
"""Quenstal on a private desktop: real keys, a real audio session, and a monitor that is emulated behind its real device
nodes. Prints what happened. Run by ./run where there is no desktop session; see private_desktop.sh.

    story.py hardware QUENSTAL    the monitor takes the volume itself
    story.py software QUENSTAL    the monitor does not answer: the volume is made in software
    story.py crash QUENSTAL       the same, and the program is killed in the middle
"""

import array
import json
import math
import os
import pathlib
import shutil
import subprocess
import sys
import time
import wave

RATE = 48000
TONE = 0.5
PATIENCE = 15
# A key press and what follows from it, on a slow machine.
SETTLING = 1.0


def say(text):
    print(text, flush=True)


def wait_for(question, what):
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        answer = question()
        if answer:
            return answer
        time.sleep(0.05)
    raise SystemExit(f"Gave up waiting for {what}.")


class Desktop:
    """An X server and the programs on it; ends all of them."""

    def __init__(self):
        self.children = []
        reading, writing = os.pipe()
        self.start("Xvfb", "-displayfd", str(writing), "-screen", "0", "1280x800x24", "-noreset", "-nolisten", "tcp",
                   pass_fds=(writing,))
        os.close(writing)
        with os.fdopen(reading) as number:
            os.environ["DISPLAY"] = ":" + number.readline().strip()
        subprocess.run(["setxkbmap", "us"], check=True)

    def start(self, *command, **options):
        child = subprocess.Popen(command, stderr=subprocess.DEVNULL, stdout=subprocess.DEVNULL, **options)
        self.children.append(child)
        return child

    def press(self, key, times=1):
        for _ in range(times):
            subprocess.run(["xdotool", "key", key], check=True)
        time.sleep(SETTLING)

    def screenshot(self, path):
        if shutil.which("import") and subprocess.run(["import", "-window", "root", str(path)], check=False).returncode == 0:
            say(f"   (picture: {path})")

    def close(self):
        for child in reversed(self.children):
            child.terminate()
            try:
                child.wait(5)
            except subprocess.TimeoutExpired:
                child.kill()
                child.wait()


def write_tone(path):
    samples = array.array("h")
    for frame in range(RATE * 60):
        value = int(32767 * TONE * math.sin(2 * math.pi * 440 * frame / RATE))
        samples.extend((value, value))
    with wave.open(str(path), "wb") as file:
        file.setnchannels(2)
        file.setsampwidth(2)
        file.setframerate(RATE)
        file.writeframes(samples.tobytes())


def measured_level(folder):
    """The loudest sample that the output gets within half a second, from the monitor of its sink."""
    path = folder / "heard.wav"
    recorder = subprocess.Popen(["pw-record", "-P", "{ stream.capture.sink = true }", "--rate", str(RATE),
                                 "--channels", "2", "--format", "s16", str(path)],
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    time.sleep(1.2)
    recorder.send_signal(2)
    recorder.wait()
    data = path.read_bytes()[44:]
    samples = array.array("h")
    samples.frombytes(data[: len(data) // 2 * 2])
    last = samples[-RATE:]
    return max((abs(sample) for sample in last), default=0) / 32767


def hardware(desktop, pictures):
    say("2. The monitor takes DDC/CI commands, so the keys move its own speakers.")
    say("   Volume up three times, mute, mute again. What the monitor was told, by its own count, follows at the end.")
    desktop.press("XF86AudioRaiseVolume", 3)
    desktop.press("XF86AudioMute")
    desktop.press("XF86AudioMute")
    desktop.screenshot(pictures / "hardware.png")


def software(desktop, pictures, folder):
    say("2. The monitor does not answer DDC/CI, so Quenstal makes the volume in software.")
    tone = folder / "tone.wav"
    write_tone(tone)
    desktop.start("pw-play", str(tone))
    time.sleep(SETTLING)
    say(f"   A tone is played at {TONE:.3f} of full scale. The monitor gets:")
    say(f"     before any key       {measured_level(folder):.3f}")
    desktop.press("XF86AudioLowerVolume", 8)
    say(f"     volume down 8 times  {measured_level(folder):.3f}   (half)")
    desktop.press("XF86AudioMute")
    say(f"     mute                 {measured_level(folder):.3f}   (silence)")
    desktop.press("XF86AudioMute")
    say(f"     mute again           {measured_level(folder):.3f}")
    desktop.screenshot(pictures / "software.png")


def key_reaches_another_program(desktop, key):
    """Whether a window that has the keyboard's focus sees the key."""
    watcher = subprocess.Popen(["xev", "-event", "keyboard"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                               text=True)
    desktop.children.append(watcher)
    window = wait_for(lambda: subprocess.run(["xdotool", "search", "--name", "Event Tester"], capture_output=True,
                                             check=False, text=True).stdout.split(), "the watcher's window")[0]
    subprocess.run(["xdotool", "windowfocus", "--sync", window], check=True)
    desktop.press(key)
    watcher.terminate()
    return key in watcher.communicate()[0]


def crash(desktop, quenstal, folder):
    say("2. Quenstal makes the volume in software, and is killed in the middle.")
    tone = folder / "tone.wav"
    write_tone(tone)
    desktop.start("pw-play", str(tone))
    time.sleep(SETTLING)
    desktop.press("XF86AudioLowerVolume", 8)
    say(f"     volume down 8 times  {measured_level(folder):.3f}   (half)")
    say(f"     another program sees the key: {key_reaches_another_program(desktop, 'XF86AudioLowerVolume')}")
    preferences = pathlib.Path(os.environ["XDG_CONFIG_HOME"]) / "quenstal" / "preferences.json"
    before = json.loads(preferences.read_text())
    quenstal.kill()
    quenstal.wait()
    say("3. Killed.")
    say(f"     preferences kept: {json.loads(preferences.read_text()) == before and bool(before)}")
    say(f"     the tone without it  {measured_level(folder):.3f}")
    say(f"     another program sees the key now: {key_reaches_another_program(desktop, 'XF86AudioLowerVolume')}")


def main():
    act, program = sys.argv[1:]
    if "QUENSTAL_AUDIO_SESSION" not in os.environ:
        raise SystemExit("There is no private audio session: PipeWire or WirePlumber is missing.")
    folder = pathlib.Path(os.environ["QUENSTAL_AUDIO_SESSION"])
    pictures = pathlib.Path(program).resolve().parent / "story"
    pictures.mkdir(exist_ok=True)
    session = pathlib.Path(__file__).resolve().parents[2] / "tools" / "audio_session.sh"
    subprocess.run([str(session), "plug", "monitor"], check=True)
    desktop = Desktop()
    try:
        say("1. A private desktop with a monitor on HDMI as its sound output. Starting Quenstal.")
        quenstal = desktop.start(program)
        wait_for(lambda: subprocess.run(["xdotool", "search", "--onlyvisible", "--name", "."],
                                        capture_output=True, check=False).stdout, "the panel")
        time.sleep(SETTLING)
        desktop.screenshot(pictures / "first-run.png")
        if act == "crash":
            crash(desktop, quenstal, folder)
            return 0
        if act == "hardware":
            hardware(desktop, pictures)
        else:
            software(desktop, pictures, folder)
        say("3. Quenstal ends. Keys and sound are as they were.")
        quenstal.terminate()
        status = quenstal.wait(10)
        say(f"   exit status {status}")
        return status
    finally:
        desktop.close()


if __name__ == "__main__":
    sys.exit(main())
