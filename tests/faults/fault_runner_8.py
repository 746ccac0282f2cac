#!/usr/bin/env python3
"""Runs pwrhost with all writers again and again, and each time makes another call fail.

For every fallible call of a run (system calls on files, memory allocations) there are two fault points: the
call fails once, and it fails for ever after. After each run this holds:
  - the process ended by itself, with no report of a sanitizer, and no exception left a writer;
  - every temporary file is gone and every descriptor closed;
  - a result that differs from the run without a fault comes with a non-zero exit status and a line that says why;
  - a fault that hits the files of one writer leaves the files of all others as they were.

A continuous run is also killed behind every call: what then has the final name of a numbered file is complete,
and another run in the same folder succeeds.

The last line printed is "N fault points, N silent, N crashed, N leaked".
"""
import argparse
import collections
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import tempfile

from common import spilling_stream, writer_of

HERE = pathlib.Path(__file__).resolve().parent
WITHOUT_WRITERS = ("could not make its writers", "pwrhost: not enough memory")
REFUSED = 125  # the exit status of the injector

Outcome = collections.namedtuple("Outcome", "status stderr files calls failed escaped open_files")
Scenario = collections.namedtuple("Scenario", "name stream arguments kind")


class Runner:
    def __init__(self, options):
        self.options = options
        self.problems = collections.Counter()
        self.points = 0

    def run_once(self, scenario, at, ever):
        # Where the C library lies across a boundary of 4 GiB, the injector cannot filter; another run lies elsewhere.
        for _ in range(5):
            outcome = self.try_once(scenario, at, ever)
            if outcome.status != REFUSED:
                break
        return outcome

    def try_once(self, scenario, at, ever):
        base = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
        with tempfile.TemporaryDirectory(dir=base, prefix="faults-") as folder:
            work = pathlib.Path(folder) / "work"
            work.mkdir()
            return self.run_in(work, scenario, at, "FAULT_EVER" if ever else None)

    def run_in(self, work, scenario, at, mode):
        report = work.parent / "report"
        env = {k: v for k, v in os.environ.items() if not k.startswith(("PW_", "FAULT_"))}
        env.update(FAULT_KIND=scenario.kind, FAULT_AT=str(at), FAULT_REPORT=str(report),
                   LD_PRELOAD=" ".join(filter(None, [self.options.runtime, self.options.injector])))
        if mode:
            env[mode] = "1"
        command = [self.options.pwrhost, *scenario.arguments, str(scenario.stream)]
        try:
            done = subprocess.run(command, cwd=work, env=env, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.PIPE, timeout=120)
            status, stderr = done.returncode, done.stderr.decode(errors="replace")
        except subprocess.TimeoutExpired:
            status, stderr = "no end within 120 s", ""
        facts = report.read_text(errors="replace").splitlines() if report.exists() else []
        files = {str(p.relative_to(work)): p.read_bytes() for p in work.rglob("*") if p.is_file()}

        def fact(key):
            return [line.split(" ", 1)[1] for line in facts if line.startswith(key + " ")]
        calls = int(fact("CALLS")[0]) if fact("CALLS") else None
        return Outcome(status, stderr, files, calls, (fact("FAILED") or [""])[0], fact("ESCAPED"), fact("OPEN"))

    def kill_behind(self, scenario, clean, at):
        """Kills a run behind its call number `at`, runs it again in the same folder, and returns problems."""
        numbered = re.compile(r"run_\d+\.(ztjson|ztbin)$")
        with tempfile.TemporaryDirectory(prefix="faults-") as folder:
            work = pathlib.Path(folder) / "work"
            work.mkdir()
            killed = self.run_in(work, scenario, at, "FAULT_KILL")
            again = self.run_in(work, scenario, 0, None)
        problems = []
        if killed.status not in (-9, REFUSED):
            problems.append(("crashed", f"ended with {killed.status} instead of being killed"))
        for outcome, when in ((killed, "killed"), (again, "run again")):
            cut = [name for name, data in outcome.files.items() if numbered.match(name) and data != clean.files.get(name)]
            if cut:
                problems.append(("silent", f"{when}: incomplete {cut}"))
        if again.status not in (0, REFUSED):
            problems.append(("crashed", f"run again: ended with {again.status}"))
        return problems

    def run_killed(self, scenario):
        clean = self.run_once(scenario, 0, False)
        calls = clean.calls or 0
        found = 0
        with concurrent.futures.ThreadPoolExecutor(self.options.jobs) as pool:
            results = pool.map(lambda at: self.kill_behind(scenario, clean, at), range(1, calls + 1))
            for at, problems in enumerate(results, 1):
                for kind, text in problems:
                    self.problems[kind] += 1
                    found += 1
                    print(f"{scenario.name}: {kind}: killed behind call {at}: {text}")
        self.points += calls
        print(f"{scenario.name}: killed behind each of {calls} calls, {found} problems", flush=True)

    def judge(self, scenario, clean, at, ever, got):
        """Returns (kind of problem, text) pairs."""
        problems = []
        if got.status not in (0, 1, 2) or got.calls is None:
            problems.append(("crashed", f"ended with {got.status}"))
        if "Sanitizer" in got.stderr or "runtime error:" in got.stderr:
            problems.append(("crashed", "report of a sanitizer"))
        # Constructors may throw: the host then has no writers to go on with.
        if got.escaped and not any(text in got.stderr for text in WITHOUT_WRITERS):
            problems.append(("crashed", f"an exception left a writer: {got.escaped[0]}"))
        if problems:
            return problems
        call, _, path = got.failed.partition(" ")
        left = sorted(set(got.files) - set(clean.files))
        if left and call != "unlink":
            problems.append(("leaked", f"left {left}"))
        if got.open_files:
            problems.append(("leaked", f"still open: {got.open_files}"))
        changed = sorted(name for name in clean.files if got.files.get(name) != clean.files[name])
        told = set(got.stderr.splitlines()) - set(clean.stderr.splitlines())
        # These say what they lack, and succeed.
        may_succeed = set(changed) <= {"run.csv", "run.pwr", "run.ztjson"}
        if changed and (not told or got.status == 0 and not may_succeed):
            problems.append(("silent", f"exit status {got.status}, but other bytes in {changed}"))
        victim = writer_of(path)
        others = {writer_of(name) for name in changed} - {victim}
        if victim is not None and not ever and others:
            problems.append(("spread", f"a fault of {victim} changed {sorted(others)}"))
        return problems

    def run_scenario(self, scenario):
        clean = self.run_once(scenario, 0, False)
        if clean.status != 0 or clean.calls is None or clean.open_files:
            print(f"{scenario.name}: the run without a fault fails: {clean.status}\n{clean.stderr}{clean.open_files}")
            self.problems["crashed"] += 1
            return
        points = [(n, ever) for n in range(1, clean.calls + 1) for ever in (False, True)]
        self.points += len(points)
        found = 0
        with concurrent.futures.ThreadPoolExecutor(self.options.jobs) as pool:
            outcomes = pool.map(lambda point: self.run_once(scenario, *point), points)
            for (at, ever), got in zip(points, outcomes):
                for kind, text in self.judge(scenario, clean, at, ever, got):
                    self.problems[kind] += 1
                    found += 1
                    if found <= self.options.show:
                        print(f"{scenario.name}: {kind}: call {at}{' and later' if ever else ''} ({got.failed}): {text}")
                        print("".join(f"    {line}\n" for line in got.stderr.splitlines()[:6]), end="")
        print(f"{scenario.name}: {clean.calls} calls, {len(points)} fault points, {found} problems", flush=True)


def main():
    parser = argparse.ArgumentParser(description="Makes every fallible call of a run fail, one after the other.")
    parser.add_argument("pwrhost")
    parser.add_argument("injector")
    parser.add_argument("--runtime", default="", help="a sanitizer's runtime library, loaded first")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--only", help="only the scenarios whose name contains this")
    parser.add_argument("--show", type=int, default=20, help="how many problems of a scenario are printed")
    options = parser.parse_args()
    options.pwrhost = str(pathlib.Path(options.pwrhost).resolve())
    options.injector = str(pathlib.Path(options.injector).resolve())

    with tempfile.TemporaryDirectory() as folder:
        spilling = pathlib.Path(folder) / "spilling.ndjson"
        spilling.write_text(spilling_stream())
        every_kind = HERE / "every_kind.ndjson"
        replay = ["replay", "--quiet", "-w", "sum,vyrta,json,bin,raw,int,phm-csv,auto", "-o", "run"]
        scenarios = [
            Scenario("replay", every_kind, replay, "io"),
            Scenario("continuous", every_kind, [*replay, "--continuous"], "io"),
            Scenario("spilling", spilling, ["replay", "--quiet", "-w", "raw,int,phm-csv", "-o", "run"], "io"),
        ]
        if options.runtime:
            print("memory: left out, as the sanitizer brings an allocator of its own", flush=True)
        else:
            scenarios.append(Scenario("memory", every_kind, replay, "alloc"))
        runner = Runner(options)
        for scenario in scenarios:
            if options.only is None or options.only in scenario.name:
                runner.run_scenario(scenario)
        killed = Scenario("killed", every_kind, ["replay", "--quiet", "-w", "json,bin", "-o", "run", "--continuous"], "io")
        if options.only is None or options.only in killed.name:
            runner.run_killed(killed)
    problems = runner.problems
    print(f"{runner.points} fault points, {problems['silent'] + problems['spread']} silent, "
          f"{problems['crashed']} crashed, {problems['leaked']} leaked")
    return 1 if sum(problems.values()) else 0


sys.exit(main())
