"""What the software path costs beside the sound server's own filter chain with the same five bands.

Within a private audio session: a tone plays through the one or the other to a simulated monitor, and the share of one
core that the process takes is read from the kernel's count of nanoseconds. Every round has every case once, in random
order. That the sound really went through, by way of the same equalizer, is measured each time before the cost is, and
that the audio threads of both are scheduled alike: what a cycle costs is for the most part their being woken.
"""

import argparse
import contextlib
import itertools
import json
import os
import pathlib
import random
import re
import statistics
import subprocess
import sys
import tempfile
import time

MONITOR = "alsa_output.pci-0000_01_00.1.hdmi-stereo"
SESSION_SCRIPT = pathlib.Path(__file__).parents[2] / "tools/audio_session.sh"
TONE_HERTZ, TONE_DECIBELS = 1000, -20
BANDS = {60: 4, 250: 2, 1000: -1, 4000: 1, 12000: 3}
# Of the tone at the monitor: the chain passes it on, the path halves it; one of the bands is at the tone's frequency,
# and the others reach there a little.
HALF = 20 * 0.30103
EQUALISED_HERE = -0.85
QUANTA = (64, 256, 1024)


def filter_chain(equalized):
    """The chain as a program of its own, as the server's users set it up: one graph, which stereo gets twice."""
    nodes = [{"type": "builtin", "name": "copy", "label": "copy"}]
    if equalized:
        nodes = [
            {"type": "builtin", "name": f"{hertz}", "label": "bq_peaking",
             "control": {"Freq": hertz, "Q": 1, "Gain": gain}}
            for hertz, gain in BANDS.items()
        ]
    links = [{"output": f"{one['name']}:Out", "input": f"{next_one['name']}:In"}
             for one, next_one in itertools.pairwise(nodes)]
    chain_module = {
        "name": "libpipewire-module-filter-chain",
        "args": {
            "node.description": "Chain",
            "filter.graph": {"nodes": nodes, "links": links},
            "audio.channels": 2,
            "audio.position": ["FL", "FR"],
            "capture.props": {"node.name": "chain", "media.class": "Audio/Sink"},
            "playback.props": {"node.name": "chain-out", "node.passive": True, "target.object": MONITOR},
        },
    }
    needed = [{"name": f"libpipewire-module-{name}"} for name in ("rt", "protocol-native", "client-node", "adapter")]
    return {
        "context.properties": {"log.level": 0},
        "context.spa-libs": {
            "audio.convert.*": "audioconvert/libspa-audioconvert",
            "support.*": "support/libspa-support",
        },
        "context.modules": [*needed, chain_module],
    }


@contextlib.contextmanager
def running(*command, **options):
    process = subprocess.Popen([str(word) for word in command], stdout=subprocess.PIPE, text=True, **options)
    try:
        yield process
    finally:
        process.terminate()
        process.communicate(timeout=10)


@contextlib.contextmanager
def software_path(programs, equalized):
    command = [programs.holder, MONITOR, "0.5"] + (["movie"] if equalized else [])
    with running(*command) as process:
        if process.stdout.readline() != "running\n":
            sys.exit("The software path did not start.")
        yield process, None


@contextlib.contextmanager
def chain(_programs, equalized):
    with tempfile.NamedTemporaryFile("w", suffix=".conf") as configuration:
        json.dump(filter_chain(equalized), configuration)
        configuration.flush()
        with running("pipewire", "-c", configuration.name) as process:
            # A tone that comes sooner stays on its direct path.
            await_link("chain-out:output_FR")
            yield process, "chain"


def await_link(port):
    limit = time.monotonic() + 10
    while f"<- {port}" not in subprocess.run(["pw-link", "-l"], stdout=subprocess.PIPE, text=True, check=True).stdout:
        if time.monotonic() > limit:
            sys.exit(f"{port} was not linked.")
        time.sleep(0.05)


def tone_level(programs):
    """At the monitor, left; None for silence."""
    command = [programs.probe, "level", MONITOR, str(TONE_HERTZ)]
    heard = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True, timeout=20).stdout
    level = re.match(r"(-?[\d.]+) dB", heard)
    return float(level[1]) if level else None


def await_level(programs, expected):
    levels = []
    for _ in range(10):
        levels.append(tone_level(programs))
        if levels[-1] is not None and abs(levels[-1] - expected) < 0.25:
            return
    sys.exit(f"The tone should come through at {expected:.2f} dB, but was heard at {levels}.")


def nanoseconds(process):
    tasks = pathlib.Path(f"/proc/{process}/task").glob("*/schedstat")
    return sum(int(task.read_text().split()[0]) for task in tasks)


def megabytes(process, field):
    status = pathlib.Path(f"/proc/{process}/status").read_text()
    return int(re.search(rf"{field}:\s+(\d+) kB", status)[1]) / 1024


def audio_priority(process):
    """The real-time priority of the one thread besides the main one; 0 without."""
    threads = [int(task.name) for task in pathlib.Path(f"/proc/{process}/task").iterdir() if task.name != f"{process}"]
    (priority,) = (os.sched_getparam(thread).sched_priority for thread in threads)
    return priority


def set_quantum(frames):
    command = ["pw-metadata", "-n", "settings", "0", "clock.force-quantum", str(frames)]
    subprocess.run(command, stdout=subprocess.DEVNULL, check=True)


def measure(programs, seconds, start, quantum, equalized):
    set_quantum(max(QUANTA))
    with start(programs, equalized) as (process, node):
        environment = os.environ | ({"PIPEWIRE_NODE": node} if node else {})
        with running(programs.probe, "tone", TONE_HERTZ, TONE_DECIBELS, env=environment):
            expected = TONE_DECIBELS + (EQUALISED_HERE if equalized else 0) - (HALF if start is software_path else 0)
            # Where each cycle is short, a busy machine misses some, which blurs the level.
            await_level(programs, expected)
            set_quantum(quantum)
            tone_level(programs)
            used, began = nanoseconds(process.pid), time.monotonic_ns()
            time.sleep(seconds)
            share = 100 * (nanoseconds(process.pid) - used) / (time.monotonic_ns() - began)
            memory = megabytes(process.pid, "VmRSS"), megabytes(process.pid, "RssAnon")
            return share, *memory, audio_priority(process.pid)


def spread(values, digits):
    return f"{min(values):.{digits}f}, **{statistics.median(values):.{digits}f}**, {max(values):.{digits}f}"


def show(results):
    print("\nLeast, median, most. CPU: per cent of one core. Ratio: path / chain, round by round.\n")
    print("| Frames | Equalizer | Path, CPU | Chain, CPU | Ratio | Path, MB (own) | Chain, MB (own) |")
    print("|---|---|---|---|---|---|---|")
    for quantum in QUANTA:
        for equalized in (False, True):
            paths, chains = (results[start, quantum, equalized] for start in (software_path, chain))
            ratios = [path[0] / other[0] for path, other in zip(paths, chains)]
            memory = [
                f"{statistics.median(row[1] for row in rows):.1f} ({statistics.median(row[2] for row in rows):.1f})"
                for rows in (paths, chains)
            ]
            shares = [spread([row[0] for row in rows], 2) for rows in (paths, chains)]
            print(f"| {quantum} | {'on' if equalized else 'off'} | {' | '.join(shares)} | {spread(ratios, 2)} "
                  f"| {' | '.join(memory)} |")
    priorities = {row[3] for rows in results.values() for row in rows}
    print(f"\nReal-time priority: {', '.join(map(str, sorted(priorities)))}. "
          f"Load average: {' '.join(f'{load:.1f}' for load in os.getloadavg())}; {os.cpu_count()} cores")
    if len(priorities) > 1:
        sys.exit("The ratios say nothing: some audio threads were real-time and some were not.")


def main():
    options = argparse.ArgumentParser(description=__doc__)
    options.add_argument("holder")
    options.add_argument("probe")
    options.add_argument("--seconds", type=float, default=5)
    options.add_argument("--rounds", type=int, default=3)
    # ./bench hands its other programs options of theirs.
    programs, _ = options.parse_known_args()
    if "QUENSTAL_AUDIO_SESSION" not in os.environ:
        print("Skipped: there is no private audio session.")
        return

    subprocess.run([SESSION_SCRIPT, "plug", "monitor"], check=True)
    cases = [(start, quantum, on) for start in (software_path, chain) for quantum in QUANTA for on in (False, True)]
    results = {case: [] for case in cases}
    for number in range(programs.rounds):
        print(f"round {number + 1} of {programs.rounds}", flush=True)
        for case in random.sample(cases, len(cases)):
            results[case].append(measure(programs, programs.seconds, *case))
    show(results)


if __name__ == "__main__":
    main()
