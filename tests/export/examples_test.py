#!/usr/bin/env python3
"""Compares the examples of the pages with what comes out: examples_test.py PWRHOST SOURCE_FOLDER"""
import pathlib
import subprocess
import sys
import tempfile

pwrhost, source = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
with tempfile.TemporaryDirectory() as folder:
    subprocess.run([pwrhost, "replay", "-w", "long,openmetrics", "--start", "2024-05-01T10:00:00Z", "-o", "first",
                    source / "samples/first.ndjson"], cwd=folder, check=True)
    for page, result in (("long.md", "first_long.csv"), ("openmetrics.md", "first.om")):
        example = (source / "docs/formats" / page).read_text().partition("\n## Example\n")[2]
        lines = [line[4:] for line in example.splitlines() if line.startswith("    ")]
        missing = set(lines) - set((pathlib.Path(folder) / result).read_text().splitlines())
        assert lines and not missing, f"{page}: {missing}"
