#!/usr/bin/env python3
"""Runs clang-tidy over the sources of some folders, but only over what changed since it was last found good.

    tools/check_tidy.py [--tree build/dev] [Sources/QuenstalCore]...

A file is known by its compile command, the configuration, its own text and that of every header of this
repository that it includes. Files found good are remembered in build/tidy.
"""

import argparse
import concurrent.futures
import functools
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys

import lints

INCLUDE = re.compile(rb'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


class Project:
    def __init__(self, root, tree):
        self.root = root
        self.tree = tree
        self.good = root / "build" / "tidy"
        self.tidy = lints.clang_tool("clang-tidy")
        self.ground = self.digest(pathlib.Path(self.tidy).resolve().name.encode(),
                                  (root / ".clang-tidy").read_bytes())

    @staticmethod
    def digest(*parts):
        state = hashlib.sha256()
        for part in parts:
            state.update(hashlib.sha256(part).digest())
        return state.hexdigest()

    @functools.lru_cache(maxsize=None)
    def text(self, path):
        return path.read_bytes()

    def resolved(self, name, includer):
        for folder in (self.root / "Sources", includer.parent):
            if (folder / name).is_file():
                return (folder / name).resolve()
        return None

    def closure(self, path):
        """The file and every header of the repository that it reaches."""
        reached, open_ends = set(), [path]
        while open_ends:
            current = open_ends.pop()
            if current in reached:
                continue
            reached.add(current)
            names = (name.decode(errors="replace") for name in INCLUDE.findall(self.text(current)))
            open_ends += [found for name in names if (found := self.resolved(name, current))]
        return sorted(reached)

    def key(self, path, command):
        texts = [self.text(member) for member in self.closure(path)]
        return self.digest(self.ground.encode(), command.encode(), *texts)

    def check(self, path):
        """The complaints about one file; empty when there are none. The compiler's warnings are the build's matter."""
        finished = subprocess.run([self.tidy, "-p", self.tree, "--quiet", "--extra-arg=-w", path],
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False)
        return "" if finished.returncode == 0 else (finished.stdout or finished.stderr)


def commands_under(root, tree, folders):
    """Compile command by file, for the files in the folders."""
    entries = json.loads((tree / "compile_commands.json").read_text())
    commands = {pathlib.Path(entry["file"]).resolve(): entry["command"] for entry in entries}
    wanted = [(root / folder).resolve() for folder in folders]
    return {path: command for path, command in sorted(commands.items())
            if any(folder in path.parents for folder in wanted)}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folders", nargs="*", default=["Sources", "Examples"])
    parser.add_argument("--tree", type=pathlib.Path, default=lints.ROOT / "build" / "dev")
    parser.add_argument("--root", type=pathlib.Path, default=lints.ROOT)
    arguments = parser.parse_args()

    project = Project(arguments.root, arguments.tree)
    commands = commands_under(arguments.root, arguments.tree, arguments.folders)
    if not commands:
        sys.exit(f"No compiled file in {' '.join(arguments.folders)}.")
    project.good.mkdir(parents=True, exist_ok=True)
    marks = {path: project.good / project.key(path, command) for path, command in commands.items()}
    changed = [path for path, mark in marks.items() if not mark.exists()]

    failed = False
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as workers:
        for path, complaints in zip(changed, workers.map(project.check, changed)):
            if complaints:
                failed = True
                print(complaints, flush=True)
            else:
                marks[path].touch()
    print(f"{len(commands)} files, {len(changed)} of them looked at")
    lints.close(not failed)


if __name__ == "__main__":
    main()
