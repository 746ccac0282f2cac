#!/usr/bin/env python3
"""ab_run_test.py SCRIPT PWRHOST: scripts/ab-run records both commands and finds what is not the same."""
import json
import os
import pathlib
import subprocess
import sys
import tempfile

SCRIPT, PWRHOST = map(os.path.abspath, sys.argv[1:3])


def ab_run(*words):
    return subprocess.run([SCRIPT, *words], capture_output=True, text=True, env=os.environ | {"PWRHOST": PWRHOST})


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    # So many that one run that the machine holds up changes nothing.
    words = ("-n", "8", "--a", "touch here; sleep 0.1", "--b", "sleep 0.6", "-o", "runs")
    done = ab_run(*words, "--", "--format", "json")
    assert done.returncode == 0, done.stderr
    assert pathlib.Path("here").exists()
    # A run in which a counter shows up for the first time has a header of its own.
    fields = [line.split(",")[0] for line in open("runs/Automation_Summary.csv", encoding="utf-8")]
    names = [name for name in fields if name != "Output_Name"]
    assert fields[0] == "Output_Name" and names == [f"{group}_{i}" for i in range(1, 9) for group in "AB"], names
    result = json.loads(done.stdout)
    assert (result["runsA"], result["runsB"]) == (8, 8)
    duration = next(column for column in result["columns"] if column["name"] == "Duration (sec)")
    assert duration["p"] < 0.05 and duration["change"] > 0.2, duration
    # Runs that are there are not mixed with new ones; a command that fails spoils the comparison.
    assert ab_run(*words).returncode == 2
    done = ab_run("-n", "1", "--a", "exit 3", "--b", "true", "-o", "failed")
    assert done.returncode == 2 and "status 3" in done.stderr and done.stdout == "", done
    for bad in ((), ("--a", "true"), ("-n", "0", "--a", "true", "--b", "true"), ("--what",)):
        assert ab_run(*bad).returncode == 2, bad
