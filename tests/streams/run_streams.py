#!/usr/bin/env python3
"""Runs pwrhost on the scenarios of this folder and compares everything that comes out.

A scenario is a folder with
  args       the command line behind "pwrhost", one command per line, run in turn in one working directory;
             --quiet is added
  env        optional: NAME=VALUE lines
  expected/  what must be there afterwards: every file that the commands made, with the same bytes,
             and "@output": for each command its exit status, standard output and standard error, in which
             the number of the process stands as PID in the names of temporary files
All other files of the folder are inputs and lie in the working directory when the commands run.

usage: run_streams.py PWRHOST SCENARIO... [--update] [--stop]

With --stop those after the first that differs are not run.

The environment's TEST_WRAPPER is a command that pwrhost is run by, such as "env TZ=Asia/Kolkata".
"""
import difflib
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

SPOOL = re.compile(rb"\./_\d+_")  # temporary files are named after the process


def run_commands(pwrhost, scenario, work):
    env = {k: v for k, v in os.environ.items() if not k.startswith("PW_")}
    env_file = scenario / "env"
    if env_file.exists():
        env.update(line.split("=", 1) for line in env_file.read_text().splitlines() if line)
    wrapper = shlex.split(env.get("TEST_WRAPPER", ""))
    report = b""
    for line in (scenario / "args").read_text().splitlines():
        if not line or line.startswith("#"):
            continue
        words = shlex.split(line)
        if words[0] in ("replay", "record"):
            words.append("--quiet")  # what it would list is compared whole
        done = subprocess.run([*wrapper, pwrhost, *words], cwd=work, env=env, stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=300)
        report += f"$ pwrhost {line}\nexit {done.returncode}\n".encode()
        report += b"".join(b"out: " + l + b"\n" for l in done.stdout.splitlines())
        report += b"".join(b"err: " + SPOOL.sub(b"./_PID_", l) + b"\n" for l in done.stderr.splitlines())
    return report


def results_of(scenario, pwrhost):
    """Returns {relative path: bytes} of what the scenario's commands made."""
    inputs = [p for p in scenario.iterdir() if p.name not in ("args", "env", "expected")]
    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        for path in inputs:
            (shutil.copytree if path.is_dir() else shutil.copy)(path, work / path.name)
        before = {p: p.read_bytes() for p in work.rglob("*") if p.is_file()}
        results = {"@output": run_commands(pwrhost, scenario, work)}
        for path in work.rglob("*"):
            if path.is_file() and before.get(path) != path.read_bytes():
                results[str(path.relative_to(work))] = path.read_bytes()
        return results


def show_difference(name, expected, got):
    if expected is None or got is None:
        print(f"  {name}: {'not expected' if expected is None else 'missing'}")
        return
    try:
        lines = difflib.unified_diff(expected.decode().splitlines(True), got.decode().splitlines(True),
                                     f"expected/{name}", name)
        print("".join(f"  {l}" if l.endswith("\n") else f"  {l}\n" for l in list(lines)[:60]), end="")
    except UnicodeDecodeError:
        at = next((i for i, (a, b) in enumerate(zip(expected, got)) if a != b), min(len(expected), len(got)))
        print(f"  {name}: {len(expected)} bytes expected, {len(got)} found, first difference at {at}:")
        print(f"    expected {expected[at:at + 32].hex(' ')}\n    found    {got[at:at + 32].hex(' ')}")


def main():
    update = "--update" in sys.argv
    stop = "--stop" in sys.argv
    pwrhost, *scenarios = [a for a in sys.argv[1:] if a not in ("--update", "--stop")]
    pwrhost = str(pathlib.Path(pwrhost).resolve())
    failed = 0
    for scenario in map(pathlib.Path, scenarios):
        results = results_of(scenario, pwrhost)
        expected_folder = scenario / "expected"
        if update:
            shutil.rmtree(expected_folder, ignore_errors=True)
            for name, content in results.items():
                target = expected_folder / name
                target.parent.mkdir(parents=True, exist_ok=True)
                target.write_bytes(content)
            continue
        expected = {str(p.relative_to(expected_folder)): p.read_bytes()
                    for p in expected_folder.rglob("*") if p.is_file()}
        if not expected:
            print(f"{scenario.name}: nothing expected")
            failed += 1
        elif expected != results:
            failed += 1
            print(f"{scenario.name}: differs")
            for name in sorted(expected.keys() | results.keys()):
                if expected.get(name) != results.get(name):
                    show_difference(name, expected.get(name), results.get(name))
        if failed and stop:
            break
    return 1 if failed else 0


sys.exit(main())
