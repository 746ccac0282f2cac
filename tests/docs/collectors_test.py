#!/usr/bin/env python3
"""Runs the collectors in Python and shell that the pages print: collectors_test.py PWRHOST SOURCE_FOLDER"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import textwrap

PWRHOST, ROOT = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
# Page, heading, the file that a block of Python is printed for, what comes of it: a file and how many samples it holds.
CASES = [
    ("README.md", "## Your own data through a pipe", "pump.py", "pump_trace.csv", 5),
    ("docs/host.md", "## Without a line of C++", "memory.py", "memory_trace.csv", 10),
    ("docs/host.md", "## Without a line of C++", None, "load_trace.csv", 5),
]


def blocks_below(page, heading):
    text = (ROOT / page).read_text(encoding="utf-8").partition(f"\n{heading}\n")[2].partition("\n## ")[0]
    return [textwrap.dedent(block) for block in re.findall(r"(?:^    .*\n)+", text, re.M)]


def run(page, heading, program, result, samples, work):
    blocks = blocks_below(page, heading)
    if program:
        (work / program).write_text(next(block for block in blocks if block.startswith("import json")))
        command = next(block for block in blocks if program in block)
    else:
        command = next(block for block in blocks if block.startswith("(\n"))
    command = command.replace("sleep 1\n", "sleep 0.1\n").replace("./run ", "pwrhost ")
    path = f"{PWRHOST.parent}:{os.environ['PATH']}"
    done = subprocess.run(["bash", "-eo", "pipefail", "-c", command], cwd=work, env={**os.environ, "PATH": path},
                          capture_output=True, text=True, timeout=60)
    assert done.returncode == 0, f"{page}: {done.stderr}"
    rows = re.findall(r"^ *\d+, ", (work / result).read_text(), re.M)
    assert len(rows) == samples, f"{page}: {result} has {len(rows)} samples, not {samples}"


with tempfile.TemporaryDirectory() as folder:
    for case in CASES:
        run(*case, pathlib.Path(folder))
print(f"{len(CASES)} collectors of the pages work")
