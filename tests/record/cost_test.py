#!/usr/bin/env python3
"""Holds what the recorder takes itself at 100 ms, on the files of a large machine: cost_test.py PWRHOST"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

import machine_tree

PWRHOST = pathlib.Path(sys.argv[1]).resolve()
SECONDS, MOST_PERCENT, TRIES = 5, 1.0, 4


def cpu_seconds(work, seconds):
    """Of a whole recording with its stream kept."""
    process = subprocess.Popen([PWRHOST, "record", "--quiet", "--no-progress", "--root", "tree", "--interval", "100", "-w",
                                "none", "--seconds", str(seconds), "--save", "stream"], cwd=work)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    assert process.returncode == 0
    return usage.ru_utime + usage.ru_stime


def own_usec(lines):
    """What the stream says that it took."""
    metric = next(line["id"] for line in lines if line.get("def") == "metric" and line["name"] == "Recorder CPU Time")
    return sum(element["v"]["u"] for line in lines if line.get("msg") == "metric" and line["metric"] == metric
               for element in line["data"])


def check(work):
    startup = cpu_seconds(work, 0.1)
    whole = cpu_seconds(work, 0.1 + SECONDS)
    lines = [json.loads(line) for line in (work / "stream").read_text().splitlines()]
    names = {line["name"] for line in lines if line.get("def") == "metric"}
    assert {"Process CPU Time", "Control Group CPU Time", "Device Runtime Power", "Fan Speed"} <= names, names
    own = own_usec(lines) / 1e6
    # It counts from the first sample on, and not what the delivery takes.
    assert 0.5 * (whole - startup) < own < whole, (own, whole, startup)
    subprocess.run([PWRHOST, "replay", "--quiet", "-w", "sum", "stream"], cwd=work, check=True)
    report = (work / "run.csv").read_text()
    assert re.search(r"Recorder CPU Time.*\n(.*\n){1,4}System", report), "no row for the recorder's own time"
    return 100 * (whole - startup) / SECONDS


with tempfile.TemporaryDirectory() as folder:
    machine_tree.make(pathlib.Path(folder) / "tree")
    # Other programs on the same caches only ever add to it.
    figures = []
    while len(figures) < TRIES and min(figures, default=100) > MOST_PERCENT:
        figures.append(check(pathlib.Path(folder)))
    print("% of a CPU:", *(f"{figure:.2f}" for figure in figures))
    assert min(figures) <= MOST_PERCENT
