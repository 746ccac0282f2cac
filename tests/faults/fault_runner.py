#!/usr/bin/env python3
"""Runs pwrhost with all writers again and again, and each time makes another call fail.

For every fallible call of a run (system calls on files, memory allocations) there are two fault points: the
call fails once, and it fails for ever after. After each run this holds:
  - the process ended by itself, with no report of a sanitizer, and no exception left a writer;
  - every temporary file is gone and every descriptor closed;
  - a result that differs from the run without a fault comes with a non-zero exit status and a line that says why;
  - a fault that hits the files of one writer leaves the files of all others as they were.

Of the pairs of calls, a sample fails together. Each call is interrupted by a signal, and moves half of its bytes, which
must change nothing.

A continuous run is also killed behind every call: what then has the final name of a numbered file is complete,
and another run in the same folder succeeds. A run with all writers is killed behind a sample of its calls, and run
again in the same folder, which then holds what it would hold without the kill.

The last line printed is "N fault points, N silent, N crashed, N leaked".
"""
import argparse
import collections
import concurrent.futures
import os
import pathlib
import random
import re
import subprocess
import sys
import tempfile

from common import spilling_stream, writer_of

HERE = pathlib.Path(__file__).resolve().parent
AUTO = "Automation_Summary.csv"
WITHOUT_WRITERS = ("could not make its writers", "pwrhost: not enough memory")
REFUSED = 125  # the exit status of the injector

Outcome = collections.namedtuple("Outcome", "status stderr files calls failed also escaped open_files")
ONCE, EVER, KILL = {}, {"FAULT_EVER": "1"}, {"FAULT_KILL": "1"}
Scenario = collections.namedtuple("Scenario", "name stream arguments kind")


class Runner:
    def __init__(self, options):
        self.options = options
        self.problems = collections.Counter()
        self.points = 0

    def run_once(self, scenario, at, mode):
        # Where the C library lies across a boundary of 4 GiB, the injector cannot filter; another run lies elsewhere.
        for _ in range(5):
            outcome = self.try_once(scenario, at, mode)
            if outcome.status != REFUSED:
                break
        return outcome

    def try_once(self, scenario, at, mode):
        base = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
        with tempfile.TemporaryDirectory(dir=base, prefix="faults-") as folder:
            work = pathlib.Path(folder) / "work"
            work.mkdir()
            return self.run_in(work, scenario, at, mode)

    def run_in(self, work, scenario, at, mode):
        report = work.parent / "report"
        env = {k: v for k, v in os.environ.items() if not k.startswith(("PW_", "FAULT_"))}
        env.update(FAULT_KIND=scenario.kind, FAULT_AT=str(at), FAULT_REPORT=str(report),
                   LD_PRELOAD=" ".join(filter(None, [self.options.runtime, self.options.injector])))
        env.update(mode)
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
        return Outcome(status, stderr, files, calls, (fact("FAILED") or [""])[0], fact("ALSO"),
                       fact("ESCAPED"), fact("OPEN"))

    def kill_behind(self, scenario, clean, at):
        """Kills a run behind its call number `at`, runs it again in the same folder, and returns problems."""
        numbered = re.compile(r"run_\d+\.(ztjson|ztbin)$")
        with tempfile.TemporaryDirectory(prefix="faults-") as folder:
            work = pathlib.Path(folder) / "work"
            work.mkdir()
            killed = self.run_in(work, scenario, at, KILL)
            again = self.run_in(work, scenario, 0, ONCE)
        problems = []
        if killed.status not in (-9, REFUSED):
            problems.append(("crashed", f"ended with {killed.status} instead of being killed"))
        for outcome, when in ((killed, "killed"), (again, "run again")):
            cut = [name for name, data in outcome.files.items() if numbered.match(name) and data != clean.files.get(name)]
            if cut:
                problems.append(("silent", f"{when}: incomplete {cut}"))
        if again.status not in (0, REFUSED):
            problems.append(("crashed", f"run again: ended with {again.status}"))
        # The line of the killed run may be there, too, and with it the header once; all else is as ever.
        lines = clean.files.get(AUTO, b"")
        there = again.files.get(AUTO, b"")
        if again.status == 0 and there not in (lines, lines + lines[lines.find(b"\n") + 1:]):
            problems.append(("silent", f"run again: {AUTO} is another"))
        changed = sorted(name for name in clean.files.keys() | again.files.keys()
                         if name != AUTO and again.files.get(name) != clean.files.get(name)
                         # A result that was being written had another name.
                         and not re.search(r"\.\d+\.\d+\.tmp$", name))
        if again.status == 0 and changed:
            problems.append(("silent", f"run again: not as without the kill: {changed}"))
        return problems

    def run_killed(self, scenario, most=None):
        clean = self.run_once(scenario, 0, ONCE)
        points = self.sampled(range(1, (clean.calls or 0) + 1), most)
        calls = len(points)
        found = 0
        with concurrent.futures.ThreadPoolExecutor(self.options.jobs) as pool:
            results = pool.map(lambda at: self.kill_behind(scenario, clean, at), points)
            for at, problems in zip(points, results):
                for kind, text in problems:
                    self.problems[kind] += 1
                    found += 1
                    print(f"{scenario.name}: {kind}: killed behind call {at}: {text}")
        self.points += calls
        print(f"{scenario.name}: killed behind {calls} calls, {found} problems", flush=True)

    @staticmethod
    def sampled(points, most):
        """At most so many of the points, in order."""
        points = list(points)
        return points if most is None or len(points) <= most else sorted(random.Random(1).sample(points, most))

    def judge(self, clean, mode, got):
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
        if left and "unlink" not in (call, *got.also):
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
        if victim is not None and not mode and others:
            problems.append(("spread", f"a fault of {victim} changed {sorted(others)}"))
        if "FAULT_SHORT" in mode and (changed or got.status != 0):
            problems.append(("silent", f"a transfer of half the bytes gave status {got.status}, other bytes in {changed}"))
        return problems

    def run_scenario(self, scenario, points_of=None):
        """Runs a scenario with each fault: a call's number and the mode. By default each call fails once, and ever."""
        clean = self.run_once(scenario, 0, ONCE)
        if clean.status != 0 or clean.calls is None or clean.open_files:
            print(f"{scenario.name}: the run without a fault fails: {clean.status}\n{clean.stderr}{clean.open_files}")
            self.problems["crashed"] += 1
            return
        points = [(n, mode) for n in range(1, clean.calls + 1) for mode in (ONCE, EVER)]
        if points_of is not None:
            points = points_of(clean.calls)
        self.points += len(points)
        found = 0
        with concurrent.futures.ThreadPoolExecutor(self.options.jobs) as pool:
            outcomes = pool.map(lambda point: self.run_once(scenario, *point), points)
            for (at, mode), got in zip(points, outcomes):
                for kind, text in self.judge(clean, mode, got):
                    self.problems[kind] += 1
                    found += 1
                    if found <= self.options.show:
                        print(f"{scenario.name}: {kind}: call {at} {mode or ''} ({got.failed}): {text}")
                        print("".join(f"    {line}\n" for line in got.stderr.splitlines()[:6]), end="")
        print(f"{scenario.name}: {clean.calls} calls, {len(points)} fault points, {found} problems", flush=True)


def main():
    parser = argparse.ArgumentParser(description="Makes every fallible call of a run fail, one after the other.")
    parser.add_argument("pwrhost")
    parser.add_argument("injector")
    parser.add_argument("--runtime", default="", help="a sanitizer's runtime library, loaded first")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--few", action="store_true", help="100 pairs of calls in place of 500, and 50 calls where "
                        "otherwise all, or 250, are interrupted, cut or followed by a kill")
    parser.add_argument("--only", help="only the scenarios whose name contains this")
    parser.add_argument("--show", type=int, default=20, help="how many problems of a scenario are printed")
    options = parser.parse_args()
    options.pwrhost = str(pathlib.Path(options.pwrhost).resolve())
    options.injector = str(pathlib.Path(options.injector).resolve())

    with tempfile.TemporaryDirectory() as folder:
        spilling = pathlib.Path(folder) / "spilling.ndjson"
        spilling.write_text(spilling_stream())
        every_kind = HERE / "every_kind.ndjson"
        replay = ["replay", "--quiet", "-w", "all", "-o", "run"]
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
        r = random.Random(2)
        few = 50 if options.few else None

        def pairs(calls):
            return [(a, {"FAULT_ALSO": str(b)}) for a, b in (sorted(r.sample(range(1, calls + 1), 2))
                                                             for _ in range(100 if options.few else 500))]

        def single(mode):
            return lambda calls: [(n, mode) for n in runner.sampled(range(1, calls + 1), few)]
        # All transfers at once, too.
        short = single({"FAULT_SHORT": "1"})
        for scenario, points_of in [
                (Scenario("pairs", every_kind, replay, "io"), pairs),
                (Scenario("interrupted", every_kind, replay, "io"), single({"FAULT_INTR": "1"})),
                (Scenario("short", every_kind, replay, "io"),
                 lambda calls: [*short(calls), (1, {"FAULT_SHORT": "1", "FAULT_EVER": "1"})]),
                (Scenario("short spilling", spilling, scenarios[2].arguments, "io"), short)]:
            if options.only is None or options.only in scenario.name:
                runner.run_scenario(scenario, points_of)
        everyone = Scenario("killed writers", every_kind, replay, "io")
        if options.only is None or options.only in everyone.name:
            runner.run_killed(everyone, few or 250)
        killed = Scenario("killed", every_kind, ["replay", "--quiet", "-w", "json,bin", "-o", "run", "--continuous"], "io")
        if options.only is None or options.only in killed.name:
            runner.run_killed(killed)
    problems = runner.problems
    print(f"{runner.points} fault points, {problems['silent'] + problems['spread']} silent, "
          f"{problems['crashed']} crashed, {problems['leaked']} leaked")
    return 1 if sum(problems.values()) else 0


sys.exit(main())
