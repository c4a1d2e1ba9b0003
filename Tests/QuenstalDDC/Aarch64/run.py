#!/usr/bin/env python3
"""Builds the signal processing for Arm and compares its kernels with the reference on an emulated processor."""

import argparse
import pathlib
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
NEEDED = {"aarch64-linux-gnu-g++": "g++-aarch64-linux-gnu", "qemu-aarch64": "qemu-user"}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--tree", required=True, help="where to build")
    tree = parser.parse_args().tree

    missing = [package for program, package in NEEDED.items() if not shutil.which(program)]
    if missing:
        print(f"skipped: {' and '.join(missing)} cannot be had")
        print("0 passed, 0 failed, 1 skipped")
        return 0
    for command in (["cmake", "-S", HERE, "-B", tree, "-G", "Ninja"], ["cmake", "--build", tree, "-j2"]):
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode != 0:
            print(done.stdout)
            print("0 passed, 1 failed")
            return 1
    fused = subprocess.run([sys.executable, HERE.parents[2] / "tools/check_no_fma.py", "--objdump",
                            "aarch64-linux-gnu-objdump", *pathlib.Path(tree).glob("QuenstalDDC/**/Neon.cpp.o")],
                           stdout=subprocess.PIPE, text=True)
    if fused.returncode != 0:
        print(fused.stdout)
        print("0 passed, 1 failed")
        return 1
    return subprocess.run(["qemu-aarch64", f"{tree}/dsp_aarch64"]).returncode


sys.exit(main())
