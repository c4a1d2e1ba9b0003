#!/usr/bin/env python3
"""Fails if an object or a library contains a fused multiply-add: one rounding where the reference has two."""

import argparse
import re
import shutil
import subprocess
import sys

FUSED = re.compile(r"\s(vfn?m(?:add|sub)\w*|vfmaddsub\w*|fn?m(?:add|sub)|fml[as])\s")


def fused_instructions(objdump, path):
    said = subprocess.run([objdump, "-d", "--no-show-raw-insn", path], stdout=subprocess.PIPE, text=True, check=True)
    return [line.strip() for line in said.stdout.splitlines() if FUSED.search(line)]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--objdump", default="objdump")
    parser.add_argument("--fused", action="append", default=[],
                        help="an object that must contain one, which proves that the check works")
    parser.add_argument("objects", nargs="+")
    arguments = parser.parse_args()
    if not shutil.which(arguments.objdump):
        print(f"skipped: {arguments.objdump} is missing")
        print("0 passed, 0 failed, 1 skipped")
        return 0

    failed = 0
    for path in arguments.objects:
        if found := fused_instructions(arguments.objdump, path):
            print(f"{path}: {len(found)} fused, first: {found[0]}")
            failed += 1
    for path in arguments.fused:
        if not fused_instructions(arguments.objdump, path):
            print(f"{path}: no fused multiply-add found, so this check would miss one anywhere")
            failed += 1
    total = len(arguments.objects) + len(arguments.fused)
    print(f"{total - failed} passed, {failed} failed")
    return 1 if failed else 0


sys.exit(main())
