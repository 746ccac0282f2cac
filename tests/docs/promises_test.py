#!/usr/bin/env python3
"""Checks that each promise of docs/reliability.md names a test, and that the test exists.

usage: promises_test.py SOURCE_FOLDER BUILD_FOLDER

A promise is an item of a list in front of the section on tests, which ends in "Test: `NAME`, ...", or a row of the
table of writers, whose last cell names the tests. A name is one of CTest's, a test of GoogleTest (Suite.Name), or a
test of Python (test_name).
"""
import json
import pathlib
import re
import subprocess
import sys

ROOT, BUILD = map(pathlib.Path, sys.argv[1:3])
FEWEST = 30  # promises; fewer means that they were not found


def known_tests():
    listed = subprocess.run(["ctest", "--test-dir", BUILD, "--show-only=json-v1"], check=True, capture_output=True)
    names = {test["name"] for test in json.loads(listed.stdout)["tests"]}
    for path in ROOT.glob("tests/**/*_test.cpp"):
        names |= {f"{suite}.{name}" for suite, name in
                  re.findall(r"^(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)", path.read_text(), re.MULTILINE)}
    for path in ROOT.glob("tests/**/*.py"):
        names |= set(re.findall(r"^ +def (test_\w+)\(", path.read_text(), re.MULTILINE))
    return names


def promises(text):
    """Yields (promise, names of its tests)."""
    text = text[:text.index("## How it is tested")]
    for item in re.findall(r"^- (.*?)(?=^- |^\n|^#|\Z)", text, re.MULTILINE | re.DOTALL):
        item = " ".join(item.split())
        promise, _, tests = item.rpartition(" Test: ")
        yield promise or item, re.findall(r"`([^`]+)`", tests if promise else "")
    for row in re.findall(r"^\| (?!Writer |---)(.*) \|$", text, re.MULTILINE):
        cells = row.split(" | ")
        yield " | ".join(cells[:-1]), re.findall(r"`([^`]+)`", cells[-1])


def main():
    known = known_tests()
    found = list(promises((ROOT / "docs/reliability.md").read_text(encoding="utf-8")))
    errors = [f"no test is named: {promise[:90]}" for promise, tests in found if not tests]
    errors += [f"there is no test {test}: {promise[:90]}" for promise, tests in found for test in tests if test not in known]
    if len(found) < FEWEST:
        errors.append(f"{len(found)} promises were found; there should be {FEWEST}")
    print("\n".join(errors))
    return 1 if errors else 0


sys.exit(main())
