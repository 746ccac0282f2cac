#!/usr/bin/env python3
"""Runs what the pages of formats do with pandas on expected results of tests: pandas_test.py SOURCE_FOLDER"""
import contextlib
import io
import os
import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1]).resolve()
# The page, the scenario with the file that it reads, what is printed besides, and some of what must be printed.
CASES = [
    ("automation_summary", "auto-append", "print(table.shape, *table['Duration (sec)'])", "(6, 5) 3.5 3.5 3.5 3.5 0.0001 0.0001"),
    ("summary", "record-laptop", "", "CPU Time States Summary: Residency (Percentage and Time) (5, 17)"),
    ("raw", "raw-wide", "", "Wide 0 4\nWide 1 4"),
    ("trace_csv", "int-rates", "print(len(power))", "inf\n3"),
    ("phm", "int-residency", "", "(usec) 666.68"),
]


def printed(code):
    text = io.StringIO()
    with contextlib.redirect_stdout(text):
        exec(code, {})
    return text.getvalue()


errors = []
for page, scenario, more, wanted in CASES:
    blocks = re.findall(r"^```python\n(.*?)^```", (ROOT / "docs/formats" / f"{page}.md").read_text(), re.M | re.S)
    os.chdir(ROOT / "tests/streams" / scenario / "expected")
    got = printed("\n".join([*blocks, more]))
    if wanted not in got:
        errors.append(f"{page}.md prints {got!r}, not {wanted!r}")
print("\n".join(errors) or f"the recipes of {len(CASES)} pages read the files")
sys.exit(bool(errors))
