#!/usr/bin/env python3
"""Holds every class, structure, union and enumeration to one definition in the tree, unless a nameless namespace hides
it. Two of one name link without a word, and one's functions then work on the other's objects.

Reads the text as clang-format leaves it: what stands in a namespace begins in the first column.
"""

import argparse
import collections
import pathlib
import re

import lints

FOLDERS = ["Sources", "Tests", "Examples", "Benchmarks"]
NAMESPACE = re.compile(r"(?:inline )?namespace(?P<name>[\w: ]*)\{$")
END_OF_NAMESPACE = re.compile(r"\} // namespace")
HEAD = re.compile(r"(?:template\b.*> )?(?:class|struct|union|enum(?: class| struct)?) ")
NAME = re.compile(r"(?:template\b.*> )?(?:class|struct|union|enum(?: class| struct)?) (?:alignas\(.*?\) )?"
                  r"(?P<name>[\w:]+(?:<.*>(?= (?:final|:|\{)))?)(?: final)?(?: : .*)? \{")


def head_from(lines, number):
    """The lines of a declaration up to where it begins a body or ends without one."""
    head = []
    for line in lines[number:]:
        head.append(line.strip())
        if "{" in line or ";" in line:
            break
    return " ".join(head)


def definitions(path):
    """The full names of the types that a file defines where other files could define them again."""
    namespaces = []
    lines = path.read_text(encoding="utf-8").splitlines()
    for number, line in enumerate(lines):
        if opened := NAMESPACE.match(line):
            namespaces.append(opened["name"].strip())
        elif END_OF_NAMESPACE.match(line):
            namespaces.pop()
        elif HEAD.match(line) and "" not in namespaces and (named := NAME.match(head_from(lines, number))):
            yield "::".join([*namespaces, named["name"]])


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--root", type=pathlib.Path, default=lints.ROOT)
    root = parser.parse_args().root

    files = lints.source_files([root / folder for folder in FOLDERS], {".hpp", ".cpp", ".h"})
    places = collections.defaultdict(set)
    for path in files:
        for name in definitions(path):
            places[name].add(path.relative_to(root).as_posix())
    faults = [f"{name} is defined in {' and in '.join(sorted(where))}"
              for name, where in sorted(places.items()) if len(where) > 1]
    print("\n".join([*faults, f"{len(places)} types in {len(files)} files"]))
    lints.close(bool(places) and not faults)


if __name__ == "__main__":
    main()
