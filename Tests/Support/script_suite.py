"""Runs a module's unittest cases as a suite: failures in full, then the closing line."""

import sys
import unittest


def run(module="__main__", verbosity=0):
    cases = unittest.defaultTestLoader.loadTestsFromModule(sys.modules[module])
    result = unittest.TextTestRunner(stream=sys.stdout, verbosity=verbosity).run(cases)
    # A case with several failing subtests is one failed case.
    broken = [case for case, _ in result.failures + result.errors] + result.unexpectedSuccesses
    failed = len({getattr(case, "test_case", case).id() for case in broken})
    skipped = len(result.skipped)
    # What a class or module needs was missing or broken: one failed or skipped, of which no case began.
    never_begun = sum(not isinstance(case, unittest.TestCase) for case in broken + [case for case, _ in result.skipped])
    passed = result.testsRun + never_begun - failed - skipped
    print(f"{passed} passed, {failed} failed, {skipped} skipped")
    sys.exit(1 if failed or not passed + skipped else 0)
