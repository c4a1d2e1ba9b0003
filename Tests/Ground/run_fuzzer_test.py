#!/usr/bin/env python3
"""Fuzz targets as suites, with shell scripts in the place of the targets."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "Tests" / "Support"))
import script_suite  # noqa: E402


class RunFuzzer(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="a folder ")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.corpus = self.folder / "corpus"
        self.corpus.mkdir()

    def run_target(self, script, *options):
        target = self.folder / "target"
        target.write_text(f"#!/bin/sh\n{script}\n")
        target.chmod(0o755)
        finished = subprocess.run([sys.executable, ROOT / "tools" / "run_fuzzer.py", "--runs", "100",
                                   "--corpus", self.corpus, *options, target],
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        closing = finished.stdout.splitlines()[-1]
        self.assertEqual(closing, "0 passed, 1 failed" if finished.returncode else "1 passed, 0 failed")
        return finished.stdout, finished.returncode == 0

    def test_a_target_that_runs_all_its_inputs_passes(self):
        output, passed = self.run_target("echo stat::number_of_executed_units: 100")
        self.assertTrue(passed, output)

    def test_a_finding_fails_and_is_shown_in_full(self):
        output, passed = self.run_target("echo ERROR: libFuzzer: deadly signal; exit 77")
        self.assertFalse(passed)
        self.assertIn("deadly signal", output)

    def test_a_target_that_stops_early_fails(self):
        self.assertFalse(self.run_target("echo stat::number_of_executed_units: 99")[1])
        self.assertFalse(self.run_target("exit 0")[1])

    def test_a_suite_is_the_same_every_time_and_leaves_the_corpus_alone(self):
        output, _ = self.run_target('printf "%s\\n" "$@"; exit 1')
        self.assertIn("-seed=1", output)
        self.assertIn("-runs=100", output)
        folders = [line for line in output.splitlines() if line.startswith("/")]
        self.assertEqual(len(folders), 2)
        self.assertEqual(folders[1], str(self.corpus), "the first folder is the one that is written to")

    def test_a_longer_search_has_a_seed_of_its_own(self):
        output, passed = self.run_target('echo "$@"; echo stat::number_of_executed_units: 5', "--seconds", "1")
        self.assertTrue(passed, output)
        output, _ = self.run_target('echo "$@"; exit 1', "--seconds", "1")
        self.assertNotIn("-seed", output)
        self.assertIn("-max_total_time=1", output)


if __name__ == "__main__":
    script_suite.run()
