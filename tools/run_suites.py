#!/usr/bin/env python3
"""Runs the suites of one or more build trees with CTest and adds up their closing lines.

    tools/run_suites.py [--label L]... [--without L]... [--skipped REASON]... TREE...

Every suite ends its output with "N passed, N failed[, N skipped]". A suite counts as one failed when it crashes,
ends without that line, runs nothing, or reports no failure and still ends with a failing status. The exit status
is 0 when nothing failed, 1 when something did; the sum is the last line in both cases.
"""

import argparse
import dataclasses
import json
import math
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree

CLOSING_LINE = re.compile(r"(\d+) passed, (\d+) failed(?:, (\d+) skipped)?")
# Larger than any suite's output: CTest would cut the closing line off.
OUTPUT_LIMIT = str(100 * 1024 * 1024)


@dataclasses.dataclass
class Counts:
    passed: int = 0
    failed: int = 0
    skipped: int = 0

    def __add__(self, other):
        return Counts(self.passed + other.passed, self.failed + other.failed, self.skipped + other.skipped)

    def __str__(self):
        skipped = f", {self.skipped} skipped" if self.skipped else ""
        return f"{self.passed} passed, {self.failed} failed{skipped}"


@dataclasses.dataclass
class Suite:
    """What CTest reports of one suite."""
    name: str
    succeeded: bool
    output: str
    # The limit in seconds at which CTest stopped it, None if it ended on its own.
    limit_met: float | None = None


def closing_counts(output):
    """The counts in the last line that is not blank, None if that is not a closing line."""
    lines = output.strip().splitlines()
    match = CLOSING_LINE.fullmatch(lines[-1].strip()) if lines else None
    return Counts(*(int(number or 0) for number in match.groups())) if match else None


def judged(suite):
    """The counts of a suite, and what is wrong with it beyond the failures that it names itself."""
    counts = closing_counts(suite.output)
    if suite.limit_met:
        fault = f"reached its limit of {suite.limit_met:g} s, the TIMEOUT of the suite, and was stopped"
        return (counts or Counts()) + Counts(failed=1), fault
    if counts is None:
        return Counts(failed=1), "ended without a closing line"
    if not suite.succeeded and counts.failed == 0:
        return counts + Counts(failed=1), "reported no failure but ended with a failing status"
    if counts == Counts():
        return Counts(failed=1), "ran nothing"
    return counts, None


def label_expression(labels):
    return "^(" + "|".join(labels) + ")$"


def selection(arguments):
    options = []
    if arguments.label:
        options += ["-L", label_expression(arguments.label)]
    if arguments.without:
        options += ["-LE", label_expression(arguments.without)]
    return options


def listed_suites(tree, arguments):
    listing = subprocess.run(["ctest", "--test-dir", tree, "--show-only=json-v1", *selection(arguments)],
                             stdout=subprocess.PIPE, check=True)
    return json.loads(listing.stdout)["tests"]


def property_of(test, name, otherwise):
    return next((entry["value"] for entry in test.get("properties", []) if entry["name"] == name), otherwise)


def show(stream, tells_beginnings):
    """Passes CTest's progress and the output of failing suites on; its own summary is left to the sum."""
    for line in stream:
        beginning = re.match(r"\s+Start +\d+: (\S+)", line)
        if beginning and tells_beginnings:
            print(f"    {beginning.group(1)} ...", flush=True)
        if "% tests passed" in line:
            break
        if not re.match(r"\s+Start +\d+:|Test project |Internal ctest |$", line):
            print(line, end="", flush=True)
    stream.read()


def run(tree, tests, arguments):
    """Runs the tree's suites, showing progress, and returns what CTest reports of each."""
    with tempfile.TemporaryDirectory() as scratch:
        report = pathlib.Path(scratch) / "junit.xml"
        command = ["ctest", "--test-dir", tree, "--output-on-failure", "--no-label-summary",
                   "--parallel", str(os.cpu_count() or 1), "--output-junit", str(report),
                   "--test-output-size-passed", OUTPUT_LIMIT, "--test-output-size-failed", OUTPUT_LIMIT,
                   *selection(arguments)]
        environment = {"UBSAN_OPTIONS": "print_stacktrace=1", **os.environ}
        with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, env=environment,
                              text=True, errors="replace") as ctest:
            # A suite that takes a minute should show what it is waiting for.
            show(ctest.stdout, "vm" in arguments.label)
        limits = {test["name"]: property_of(test, "TIMEOUT", math.inf) for test in tests}
        return reported_suites(report, limits)


def reported_suites(report, limits):
    if not report.exists():
        return []
    return [reported_suite(case, limits) for case in xml.etree.ElementTree.parse(report).getroot().iter("testcase")]


def reported_suite(case, limits):
    name, succeeded, limit = case.get("name"), case.get("status") == "run", limits[case.get("name")]
    # The report does not distinguish a suite that was stopped from one that failed.
    was_ended = not succeeded and float(case.get("time")) >= limit
    return Suite(name, succeeded, case.findtext("system-out") or "", limit if was_ended else None)


def tell(suite, counts, fault):
    """Shows what CTest did not: a failure behind a good status, a fault of the suite itself, what was skipped."""
    if suite.succeeded and counts.failed:
        print(suite.output)
    if fault:
        print(f"{suite.name}: {fault}")
    elif counts.failed:
        print(f"{suite.name}: {counts}")
    elif counts.skipped:
        reasons = [line.strip() for line in suite.output.splitlines() if re.match(r"(?i)\W*skipped\b.*\w", line)]
        print("\n  ".join([f"{suite.name}: {counts}", *reasons]))


def sum_of(suites, expected):
    total = Counts()
    for suite in suites:
        counts, fault = judged(suite)
        tell(suite, counts, fault)
        total += counts
    for name in sorted(expected - {suite.name for suite in suites}):
        print(f"{name}: never ran")
        total += Counts(failed=1)
    return total


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("trees", nargs="*", metavar="TREE")
    parser.add_argument("--label", action="append", default=[])
    parser.add_argument("--without", action="append", default=[])
    parser.add_argument("--skipped", action="append", default=[], metavar="REASON",
                        help="count one skipped suite that has no tree")
    arguments = parser.parse_args()

    total = Counts()
    for reason in arguments.skipped:
        print(f"skipped: {reason}")
        total += Counts(skipped=1)
    labels_seen = set()
    for tree in arguments.trees:
        tests = listed_suites(tree, arguments)
        labels_seen.update(*(property_of(test, "LABELS", []) for test in tests))
        if tests:
            total += sum_of(run(tree, tests, arguments), {test["name"] for test in tests})
    for label in arguments.label:
        if label not in labels_seen and not arguments.skipped:
            print(f"No suite has the label {label}.")
            total += Counts(failed=1)
    if total == Counts():
        print("No suite ran.")
        total += Counts(failed=1)
    print(total)
    return 1 if total.failed else 0


if __name__ == "__main__":
    sys.exit(main())
