"""What the checks of the source text share: the list of files, the clang tool to use, the closing line."""

import pathlib
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
# The repository's formatting and static analysis are those of this version; others differ in detail.
CLANG_VERSION = "14"


def source_files(folders, suffixes):
    return sorted(path for folder in folders for path in folder.rglob("*")
                  if path.suffix in suffixes and path.is_file())


def clang_tool(name):
    """The tool in the version above; without it, closes the suite as skipped."""
    for candidate in (f"{name}-{CLANG_VERSION}", name):
        if program := shutil.which(candidate):
            said = subprocess.run([program, "--version"], stdout=subprocess.PIPE, text=True, check=True).stdout
            if re.search(rf"version {CLANG_VERSION}\.", said):
                return program
    skip(f"{name} {CLANG_VERSION} is missing")


def skip(reason):
    print(f"skipped: {reason}")
    print("0 passed, 0 failed, 1 skipped")
    sys.exit(0)


def close(succeeded):
    """Each check counts as one: the sum counts rules, not files."""
    print("1 passed, 0 failed" if succeeded else "0 passed, 1 failed")
    sys.exit(0 if succeeded else 1)
