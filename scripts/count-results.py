#!/usr/bin/python3
"""Adds up the steps of a test run.

Usage: count-results.py [NAME STATUS FILE]...

Each step has a name, an exit status and a file of results in JUnit's format,
or "-" for none. Prints a line per step, then "N passed, N failed". What did not
run counts as failed: a skipped test, and a step that failed without a failed
test or has no results. Exit status 0 when nothing failed.
"""

import sys
import xml.etree.ElementTree as ElementTree

_NOT_PASSED = ("failure", "error", "skipped")


def count(path):
    """The tests in a file of results: passed, failed."""
    try:
        cases = list(ElementTree.parse(path).iter("testcase"))
    except (OSError, ElementTree.ParseError):
        return 0, 0
    failed = sum(1 for case in cases
                 if any(case.find(tag) is not None for tag in _NOT_PASSED))
    return len(cases) - failed, failed


def count_step(status, path):
    """A step's passed and failed, with the step's own failure."""
    if path == "-":
        return 0, int(status != 0)
    passed, failed = count(path)
    if failed == 0 and (status != 0 or passed == 0):
        failed = 1
    return passed, failed


def main(arguments):
    total = [0, 0]
    for name, status, path in zip(*[iter(arguments)] * 3):
        passed, failed = count_step(int(status), path)
        total[0] += passed
        total[1] += failed
        print(f"{name}: {passed} passed, {failed} failed")
    if total == [0, 0]:
        total[1] = 1
    print(f"{total[0]} passed, {total[1]} failed")
    return int(total[1] != 0)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
