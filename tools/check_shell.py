#!/usr/bin/env python3
"""Holds every bash script of the repository to shellcheck."""

import shutil
import subprocess

import lints

FOLDERS = [".ci", "tools", "Tests", "Sources", "Examples", "Benchmarks"]
SHEBANG = b"#!/usr/bin/env bash"


def is_script(path):
    with path.open("rb") as file:
        return file.readline().rstrip() == SHEBANG


def main():
    if not shutil.which("shellcheck"):
        lints.skip("shellcheck is missing")
    candidates = [path for path in lints.ROOT.iterdir() if path.is_file()]
    for folder in FOLDERS:
        candidates += [path for path in (lints.ROOT / folder).rglob("*") if path.is_file()]
    scripts = sorted(filter(is_script, candidates))
    status = subprocess.run(["shellcheck", "--external-sources", "--severity=warning", *scripts], cwd=lints.ROOT, check=False).returncode
    print(f"{len(scripts)} scripts")
    lints.close(bool(scripts) and status == 0)


if __name__ == "__main__":
    main()
