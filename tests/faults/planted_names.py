#!/usr/bin/env python3
"""Puts links, FIFOs, folders and foreign files under the names that pwrhost is about to use: planted_names.py PWRHOST

Nothing may hang, no victim may change but one that its owner has linked to be appended to, and a writer that has lost its result says so or fails.
"""
import os
import pathlib
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
VICTIM_TEXT = b"precious\n"
OUTPUTS = ["run.csv", "run.txt", "run_trace.csv", "run_meta_phm.csv", "run_cpu_phm.csv", "run.pwr", "run.ztjson",
           "run.ztbin", "Automation_Summary.csv", "tmp___0.tmp", "tmp___1.tmp"]
# Grows from run to run, and may be kept elsewhere.
APPENDED = {"Automation_Summary.csv"}
# The report lacks tables then, and succeeds.
SILENT = {"tmp___0.tmp", "tmp___1.tmp"}


def plant(kind, path, victim):
    if kind == "link":
        path.symlink_to(victim)
    elif kind == "dangling link":
        path.symlink_to(victim.parent / "made")
    elif kind == "FIFO":
        os.mkfifo(path)
    else:
        path.mkdir()


def check(pwrhost, name, kind):
    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder) / "work"
        work.mkdir()
        victim = pathlib.Path(folder) / "victim"
        victim.write_bytes(VICTIM_TEXT)
        plant(kind, work / name, victim)
        try:
            done = subprocess.run([pwrhost, "replay", "-w", "all", "-o", "run", HERE / "every_kind.ndjson"], cwd=work,
                                  stdin=subprocess.DEVNULL, capture_output=True, timeout=60)
        except subprocess.TimeoutExpired:
            return "hangs"
        if done.returncode not in (0, 1, 2):
            return f"ended with {done.returncode}"
        if name in APPENDED and kind == "link":
            appended = done.returncode == 0 and victim.read_bytes().startswith(VICTIM_TEXT + b"Output_Name,")
            return None if appended else "the user's own file is not appended to"
        if victim.read_bytes() != VICTIM_TEXT:
            return "the victim was written"
        if (pathlib.Path(folder) / "made").exists():
            return "a dangling link was followed"
        if done.returncode == 0 and name not in SILENT:
            return "exit status 0, and no result: " + done.stderr.decode()
    return None


def main():
    pwrhost = str(pathlib.Path(sys.argv[1]).resolve())
    failures = 0
    for name in OUTPUTS:
        for kind in ("link", "dangling link", "FIFO", "folder"):
            problem = check(pwrhost, name, kind)
            if problem:
                failures += 1
                print(f"{kind} at {name}: {problem}")
    print(f"{len(OUTPUTS) * 4} planted names, {failures} problems")
    return 1 if failures else 0


sys.exit(main())
