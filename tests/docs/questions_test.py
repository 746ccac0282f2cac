#!/usr/bin/env python3
"""Runs the commands of docs/questions.md: questions_test.py PWRHOST SOURCE_FOLDER

Lines that begin with "$ " are commands, the lines below them what they print; "..." stands for any lines. The block that
records a trace is run where tracefs can be mounted. Commands with --trace need a pwrhost that has it.
"""
import gzip
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import textwrap

PWRHOST, ROOT = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
SLEEPER = "29171"  # wakes CPU 0 every 5 ms


def run(command, work, **options):
    environment = {**os.environ, "PATH": f"{PWRHOST.parent}:{os.environ['PATH']}"}
    return subprocess.run(["bash", "-eo", "pipefail", "-c", command], cwd=work, env=environment, capture_output=True,
                          text=True, timeout=120, **options)


def stamp_of(line):
    return float(re.search(r"\s(\d+\.\d+): ", line)[1])


def without_sleeper(lines):
    """The same trace, had the sleeper not been there: CPU 0 stays idle where it was woken for it."""
    kept, stretch = [], []
    for line in lines:
        if "[000]" not in line:
            kept.append(line)
            continue
        stretch.append(line)
        if "cpu_idle: state=1 " in line:
            text = "".join(stretch)
            if "function=hrtimer_wakeup" not in text or f"next_pid={SLEEPER} " not in text:
                kept += stretch
            stretch = []
    return sorted(kept + stretch, key=stamp_of)


def write_pieces(work):
    """Six pieces of a trace that take equally long, and what they would be after a change."""
    lines = gzip.open(ROOT / "tests/traces/idle.txt.gz", "rt").readlines()
    head, events = [line for line in lines if line[0] == "#"], [line for line in lines if line[0] != "#"]
    start, stop = stamp_of(events[0]), stamp_of(events[-1])
    for i in range(6):
        begin, end = (start + (stop - start) * (i + k) / 6 for k in (0, 1))
        piece = [line for line in events if begin <= stamp_of(line) < end]
        (work / f"before_{i + 1}.txt").write_text("".join(head + piece))
        (work / f"after_{i + 1}.txt").write_text("".join(head + without_sleeper(piece)))


def examples(page):
    for block in re.findall(r"(?:^    .*\n|^\n(?=    ))+", page, re.M):
        text = textwrap.dedent(block).strip("\n")
        if text.startswith("$ "):
            yield from re.findall(r"^\$ (.*(?:\\\n.*)*)\n?((?:(?!\$ ).*\n?)*)", text, re.M)


def matches(wanted, printed):
    clean = lambda text: [line.rstrip() for line in text.strip("\n").split("\n")]
    lines, at = clean(printed), 0
    is_any = False
    for line in clean(wanted):
        if line == "...":
            is_any = True
            continue
        if is_any and line in lines[at:]:
            at = lines.index(line, at)
        if at >= len(lines) or lines[at] != line:
            return False
        at, is_any = at + 1, False
    return is_any or at == len(lines)


def check_recording(page, work):
    """The block of tracefs, in a mount of its own and for a short time, makes a trace that names causes."""
    block = next(b for b in (textwrap.dedent(m) for m in re.findall(r"(?:^    .*\n)+", page, re.M)) if "tracing_on" in b)
    block = block.replace("sleep 10", "sleep 0.5").replace("/tmp/trace.txt", f"{work}/live.txt")
    script = "mount -t tracefs tracefs /sys/kernel/tracing\n" + block
    done = run(f"unshare -m bash -e <<'END'\n{script}END", work)
    if done.returncode != 0:
        return f"no trace can be recorded here: {done.stderr.strip()[-100:]}"
    done = run("pwrhost replay -w sum -o live live.txt", work)
    assert done.returncode == 0, done.stderr
    report = (work / "live.csv").read_text()
    assert "Processes Summary: Counts" in report, report
    return "a trace was recorded"


def main():
    page = (ROOT / "docs/questions.md").read_text(encoding="utf-8")
    has_trace = "--trace " in run("pwrhost record --help", ROOT).stdout and os.geteuid() == 0
    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        (work / "tests").symlink_to(ROOT / "tests")
        write_pieces(work)
        count = skipped = 0
        for command, wanted in examples(page):
            if "--trace" in command and not has_trace:
                skipped += 1
                continue
            done = run(command, work)
            assert done.returncode == 0, f"{command}: {done.stderr}"
            assert not wanted.strip() or matches(wanted, done.stdout), f"{command} prints\n{done.stdout}"
            count += 1
        assert count >= 8, f"only {count} commands were found"
        print(f"{count} commands of the page work, {skipped} are left out; {check_recording(page, work)}")


main()
