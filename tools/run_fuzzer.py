#!/usr/bin/env python3
"""Runs one libFuzzer target as a suite: a fixed seed, a bounded number of runs, a corpus that is only read.

    tools/run_fuzzer.py --corpus Tests/…/Corpus build/fuzz/…/fuzz_models         # as ./test does
    tools/run_fuzzer.py --seconds 600 --corpus … build/fuzz/…/fuzz_models         # a longer search

An input that breaks the target is kept in build/fuzz/findings and named in the output.
"""

import argparse
import os
import pathlib
import re
import subprocess
import sys
import tempfile

LONGEST_INPUT = 4096


def fuzz_command(arguments, scratch, findings):
    command = [arguments.target, f"-max_len={LONGEST_INPUT}", f"-artifact_prefix={findings}{os.sep}",
               "-print_final_stats=1"]
    if arguments.seconds:
        command.append(f"-max_total_time={arguments.seconds}")
    else:
        command += [f"-runs={arguments.runs}", "-seed=1"]
    # libFuzzer writes what it learns into the first folder and only reads the others.
    command.append(scratch)
    if arguments.corpus:
        command.append(arguments.corpus)
    return command


def executed_inputs(output):
    statistic = re.search(r"^stat::number_of_executed_units: (\d+)$", output, re.MULTILINE)
    return int(statistic[1]) if statistic else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("target", nargs="?")
    parser.add_argument("--runs", type=int, default=20000)
    parser.add_argument("--seconds", type=int, help="search for this long instead, from a random seed")
    parser.add_argument("--corpus", help="folder of inputs to start from")
    parser.add_argument("--skip", metavar="REASON", help="run nothing and print this reason")
    arguments = parser.parse_args()

    if arguments.skip:
        print(f"skipped: {arguments.skip}")
        print("0 passed, 0 failed, 1 skipped")
        return 0
    if not arguments.target:
        parser.error("a target is needed")
    if arguments.corpus and not os.path.isdir(arguments.corpus):
        parser.error(f"no corpus at {arguments.corpus}")

    target = pathlib.Path(arguments.target).resolve()
    arguments.target = str(target)
    findings = pathlib.Path(__file__).resolve().parents[1] / "build" / "fuzz" / "findings" / target.name
    findings.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory() as scratch:
        finished = subprocess.run(fuzz_command(arguments, scratch, findings), stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, check=False)
    output = finished.stdout.decode(errors="replace")
    executed = executed_inputs(output)
    failed = finished.returncode != 0 or executed < (1 if arguments.seconds else arguments.runs)
    print(output if failed else f"{executed} inputs")
    print("0 passed, 1 failed" if failed else "1 passed, 0 failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
