#!/usr/bin/env python3
"""The sum that ./test prints, over small CTest trees whose suites behave, crash and lie."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "Tests" / "Support"))
import script_suite  # noqa: E402


def tree_of(folder, suites, timeout):
    """Writes what CTest reads of a build tree: name, shell script and label of each suite."""
    lines = []
    for name, script, label in suites:
        program = folder / f"{name}.sh"
        program.write_text(script + "\n")
        lines.append(f'add_test({name} "sh" "{program}")')
        lines.append(f'set_tests_properties({name} PROPERTIES LABELS "{label}" TIMEOUT {timeout})')
    (folder / "CTestTestfile.cmake").write_text("\n".join(lines) + "\n")


class RunSuites(unittest.TestCase):
    def run_over(self, suites, *options, timeout=30):
        with tempfile.TemporaryDirectory(prefix="a tree ") as folder:
            tree_of(pathlib.Path(folder), suites, timeout)
            finished = subprocess.run([sys.executable, ROOT / "tools" / "run_suites.py", *options, folder],
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        return finished.stdout, finished.returncode

    def assert_sum(self, suites, expected, *options, **limits):
        output, status = self.run_over(suites, *options, **limits)
        self.assertEqual(output.splitlines()[-1], expected, output)
        self.assertEqual(status, 0 if " 0 failed" in expected else 1, output)
        return output

    def test_the_sum_adds_up_all_suites(self):
        self.assert_sum([("a", "echo 3 passed, 0 failed", "core"),
                         ("b", "echo 4 passed, 0 failed, 2 skipped", "ddc")], "7 passed, 0 failed, 2 skipped")

    def test_a_label_selects_its_suites_only(self):
        suites = [("a", "echo 3 passed, 0 failed", "core"), ("b", "echo 4 passed, 0 failed", "corelike"),
                  ("c", "echo 5 passed, 0 failed", "ground;core")]
        self.assert_sum(suites, "8 passed, 0 failed", "--label", "core")
        self.assert_sum(suites, "7 passed, 0 failed", "--without", "ground")

    def test_a_slow_suite_is_told_when_it_begins(self):
        output = self.assert_sum([("slow", "echo 3 passed, 0 failed", "vm")], "3 passed, 0 failed", "--label", "vm")
        self.assertIn("    slow ...\n", output)

    def test_an_unknown_label_is_a_failure(self):
        self.assert_sum([("a", "echo 3 passed, 0 failed", "core")], "0 passed, 1 failed", "--label", "cores")

    def test_no_suite_at_all_is_a_failure(self):
        self.assert_sum([], "0 passed, 1 failed")

    def test_failures_are_summed_and_shown_in_full(self):
        output = self.assert_sum([("a", "echo the reason; echo 3 passed, 2 failed; exit 1", "core")],
                                 "3 passed, 2 failed")
        self.assertIn("the reason", output)

    def test_a_crash_counts_as_one_failed(self):
        self.assert_sum([("a", "kill -SEGV $$", "core"), ("b", "echo 1 passed, 0 failed", "core")],
                        "1 passed, 1 failed")

    def test_a_crash_after_the_closing_line_counts_as_one_failed(self):
        self.assert_sum([("a", "echo 5 passed, 0 failed; kill -SEGV $$", "core")], "5 passed, 1 failed")

    def test_a_missing_closing_line_counts_as_one_failed(self):
        output = self.assert_sum([("a", "echo all is well", "core")], "0 passed, 1 failed")
        self.assertIn("a: ended without a closing line", output)

    def test_a_closing_line_that_is_not_the_last_does_not_count(self):
        self.assert_sum([("a", "echo 5 passed, 0 failed; echo and more", "core")], "0 passed, 1 failed")

    def test_a_suite_that_denies_its_failures_is_one_failed(self):
        self.assert_sum([("a", "echo 5 passed, 0 failed; exit 3", "core")], "5 passed, 1 failed")

    def test_failures_behind_a_good_status_are_failures(self):
        output = self.assert_sum([("a", "echo the reason; echo 5 passed, 1 failed", "core")], "5 passed, 1 failed")
        self.assertIn("the reason", output)

    def test_a_suite_that_ran_nothing_is_one_failed(self):
        self.assert_sum([("a", "echo 0 passed, 0 failed", "core")], "0 passed, 1 failed")

    def test_a_suite_that_only_skipped_is_no_failure_and_says_why(self):
        output = self.assert_sum([("a", "echo skipped: no bus; echo 0 passed, 0 failed, 1 skipped", "core")],
                                 "0 passed, 0 failed, 1 skipped")
        self.assertIn("skipped: no bus", output)

    def test_a_reason_to_skip_what_has_no_tree_is_shown_and_counted(self):
        output = self.assert_sum([("a", "echo 3 passed, 0 failed", "core")], "3 passed, 0 failed, 1 skipped",
                                 "--skipped", "fuzz: no compiler")
        self.assertIn("skipped: fuzz: no compiler", output)

    def test_a_suite_that_hangs_is_ended_and_failed(self):
        # It says nothing: what it said in time would depend on how busy the machine is.
        output = self.assert_sum([("a", "exec sleep 60", "core")], "0 passed, 1 failed", timeout=1)
        self.assertIn("a: reached its limit of 1 s", output)

    def test_a_suite_whose_program_is_missing_is_one_failed(self):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "CTestTestfile.cmake").write_text('add_test(a "/nonexistent/program")\n')
            finished = subprocess.run([sys.executable, ROOT / "tools" / "run_suites.py", folder],
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        self.assertEqual(finished.stdout.splitlines()[-1], "0 passed, 1 failed")
        self.assertEqual(finished.returncode, 1)

    def test_long_output_and_bytes_that_are_no_text_do_not_hide_the_closing_line(self):
        self.assert_sum([("a", r"seq 200000; printf '\377\033[1m\001\n'; echo 5 passed, 0 failed", "core")],
                        "5 passed, 0 failed")


if __name__ == "__main__":
    script_suite.run()
