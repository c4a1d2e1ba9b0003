#!/usr/bin/env python3
"""Holds every C++ file to .clang-format. With --fix, formats them instead."""

import argparse
import concurrent.futures
import os
import pathlib
import subprocess

import lints

FOLDERS = ["Sources", "Tests", "Examples", "Benchmarks"]
FILES_AT_ONCE = 16


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--fix", action="store_true")
    parser.add_argument("--root", type=pathlib.Path, default=lints.ROOT)
    arguments = parser.parse_args()

    mode = ["-i"] if arguments.fix else ["--dry-run", "-Werror"]
    command = [lints.clang_tool("clang-format"), "--style=file", *mode]
    files = lints.source_files([arguments.root / folder for folder in FOLDERS], {".hpp", ".cpp", ".h", ".c"})
    batches = [files[start:start + FILES_AT_ONCE] for start in range(0, len(files), FILES_AT_ONCE)]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as workers:
        statuses = list(workers.map(lambda batch: subprocess.run([*command, *batch], check=False).returncode, batches))
    print(f"{len(files)} files")
    if any(statuses):
        print("tools/check_format.py --fix formats them.")
    lints.close(bool(files) and not any(statuses))


if __name__ == "__main__":
    main()
