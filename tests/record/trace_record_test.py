#!/usr/bin/env python3
"""Traces events of the running kernel: trace_record_test.py PWRHOST"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PWRHOST = sys.argv[1]
SKIPPED = 77
# In a root of its own that is no mount, there are no private mounts.
CAN_MOUNT = subprocess.run(["unshare", "-m", "true"], capture_output=True).returncode == 0
SETS = "idle, freq, wakeups, procs, sources, marks"
# Some kernels trace no switch from an idle CPU. Two processes that share each CPU leave it no time to idle: one works
# for 0.4 s, the other one naps 60 times meanwhile and ends with it.
SHARED_CPUS = """
import os, time
end = time.monotonic() + 0.4
for cpu in os.sched_getaffinity(0):
    for naps in (0, 60):
        if os.fork() == 0:
            os.sched_setaffinity(0, [cpu])
            for _ in range(naps): time.sleep(0.002)
            while time.monotonic() < end: pass
            os._exit(0)
for cpu in os.sched_getaffinity(0):
    for child in range(2): os.wait()
"""


def record(folder, *words, command=(), prefix=()):
    return subprocess.run([*prefix, PWRHOST, "record", "-w", "none", "--quiet", "--save", "saved", *words,
                           *(["--", *command] if command else [])], cwd=folder, capture_output=True, text=True, timeout=120)


class Stream:
    def __init__(self, file):
        self.messages = [json.loads(line) for line in file.read_text().splitlines()]
        self.metrics = {m["id"]: m["name"] for m in self.messages if m.get("def") == "metric"}
        self.entities = {m["id"]: m["name"] for m in self.messages if m.get("def") == "entity"}
        self.system = next(m for m in self.messages if m.get("msg") == "system")

    def samples(self, metric):
        """Entity, begin, end, value."""
        return [(self.entities[e["e"]], m["t"] - e["dur"], m["t"], e["v"]) for m in self.messages
                if m.get("msg") == "metric" and self.metrics[m["metric"]] == metric for e in m["data"]]

    def rows(self, title):
        tables = [[m["container"], m["id"]] for m in self.messages if m.get("def") == "table" and m["title"] == title]
        return [m["cells"] for m in self.messages if m.get("msg") == "row" and m["table"] in tables]


class Trace(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.work = pathlib.Path(folder.name)

    def traced(self, *words, **more):
        done = record(self.work, *words, **more)
        self.assertEqual(0, done.returncode, done.stderr)
        return Stream(self.work / "saved"), done.stderr

    def test_intervals_of_processes_follow_each_other_and_lie_in_the_collection(self):
        stream, _ = self.traced("--trace", "procs,idle", command=[sys.executable, "-S", "-c", SHARED_CPUS])
        last = {}
        for cpu, begin, end, _ in stream.samples("Process on CPU"):
            self.assertLess(begin, end)
            self.assertGreaterEqual(begin, last.get(cpu, stream.system["start"]))
            self.assertLessEqual(end, stream.system["stop"])
            last[cpu] = end
        self.assertTrue(last)
        length = stream.system["durationSec"] * 1000
        rows = stream.rows("Processes Summary: Counts")
        # The first events come a little after the start, which on a busy machine is milliseconds.
        share = sum(float(row[2]) for row in rows) / length / os.cpu_count()
        self.assertTrue(0.9 < share < 1.001, share)
        self.assertEqual(1, [row[1] for row in rows].count("pwrhost (this recording)"))

    def test_a_command_is_seen_with_its_switches_and_processes(self):
        stream, _ = self.traced("--trace", "procs", command=[sys.executable, "-S", "-c", SHARED_CPUS])
        name = pathlib.Path(sys.executable).resolve().name[:15]
        rows = [row for row in stream.rows("Processes Summary: Counts") if row[1] in (name, "python3", "python")]
        cpus = len(os.sched_getaffinity(0))
        self.assertLessEqual(2 * cpus + 1, len(rows), rows)
        switches = sorted((int(row[5]) for row in rows), reverse=True)
        self.assertLessEqual(60, switches[cpus - 1], rows)
        self.assertLessEqual(10, switches[2 * cpus - 1], rows)
        self.assertLessEqual(400 * 0.1 * cpus, sum(float(row[2]) for row in rows), rows)
        counts = {row[0]: int(row[1]) for row in stream.rows("Trace Events Summary: Counts")}
        self.assertGreaterEqual(counts["sched_process_exec"], 1)

    def test_of_a_summary_the_tables_alone_are_kept(self):
        stream, _ = self.traced("--trace", "procs,wakeups", "--trace-summary", "--seconds", "0.3")
        self.assertTrue(stream.rows("Processes Summary: Counts"))
        for metric in ("Process on CPU", "CPU Idle State"):
            self.assertNotIn(metric, stream.metrics.values())
        self.assertFalse([m for m in stream.messages if m.get("def") in ("process", "thread") and "sched" in str(m)])

    def test_parts_and_flushes_hold_the_trace_too(self):
        done = subprocess.run([PWRHOST, "record", "-w", "json,bin", "--continuous", "--flush-every", "0.2", "--trace", "procs",
                               "--seconds", "0.7", "--quiet", "--save", "saved"], cwd=self.work, capture_output=True, text=True,
                              timeout=120)
        self.assertEqual(0, done.returncode, done.stderr)
        lines = (self.work / "saved").read_text().splitlines()
        metric = next(json.loads(line)["id"] for line in lines if '"Process on CPU"' in line)
        flushes = [i for i, line in enumerate(lines) if line == '{"msg":"flush"}']
        first = next(i for i, line in enumerate(lines) if line.startswith(f'{{"msg":"metric","metric":{metric},'))
        self.assertLess(first, flushes[-2])
        replayed = subprocess.run([PWRHOST, "replay", "-w", "none", "saved"], cwd=self.work, capture_output=True, text=True,
                                  timeout=120)
        self.assertEqual(0, replayed.returncode, replayed.stderr)

    @unittest.skipUnless(CAN_MOUNT, "nothing can be mounted")
    def test_marks_of_programs_are_copied(self):
        place = "/sys/kernel/tracing"
        mounted = ["unshare", "-m", "sh", "-c", f'mountpoint -q {place} || mount -t tracefs nodev {place} || exit 99; exec "$@"', "sh"]
        marks = (f"exec > {place}/trace_marker; echo 'B|1|all of it'; for i in 1 2 3; do echo \"C|1|a level|$i\"; "
                 "echo 'I|1|a point'; echo a text; sleep 0.02; done; echo E")
        stream, err = self.traced("--trace", "marks", command=[*mounted, "sh", "-c", marks])
        if "trace: " in err:
            self.skipTest(err)
        samples = stream.samples("Trace Marks")
        names = [value["s"] for _, _, _, value in samples]
        self.assertEqual((3, 1), (names.count("a point"), names.count("all of it")))
        begin, end = next((begin, end) for _, begin, end, value in samples if value["s"] == "all of it")
        self.assertGreater((end - begin) / stream.system["tscMHz"], 60_000)
        levels = [value["i"] for name, _, _, value in stream.samples("Trace Counters") if name == "a level"]
        self.assertEqual([1, 2, 3], levels)
        left = subprocess.run([*mounted, "ls", f"{place}/instances"], capture_output=True, text=True, check=True).stdout
        self.assertNotIn("pwrhost", left)

    @unittest.skipUnless(os.geteuid() == 0 and CAN_MOUNT, "only root can show another kernel's events")
    def test_events_that_a_kernel_lacks_are_told_and_the_others_traced(self):
        place = "/sys/kernel/tracing"
        prefix = ["unshare", "-m", "sh", "-c", (
            f"mountpoint -q {place} || mount -t tracefs nodev {place} || exit 99; mkdir -p fake/events/sched; "
            f"cp -r {place}/events/sched/sched_switch fake/events/sched; cp -r {place}/events/sched/sched_process_fork fake/events/sched; "
            "sed -i s/child_pid/pid_of_child/ fake/events/sched/sched_process_fork/format; "
            f'mount --bind fake {place} || exit 99; exec "$@"'), "sh"]
        done = record(self.work, "--trace", "procs", "--seconds", "0.3", prefix=prefix)
        if done.returncode == 99:
            self.skipTest("nothing can be mounted")
        self.assertEqual(0, done.returncode, done.stderr)
        told = [line.split("trace: ")[1] for line in done.stderr.splitlines() if "trace: " in line]
        self.assertEqual(["this kernel has no event sched:sched_process_exec",
                          "sched:sched_process_fork of this kernel has no field child_pid",
                          "this kernel has no event sched:sched_process_exit"], told)
        events = [row[0] for row in Stream(self.work / "saved").rows("Trace Events Summary: Counts")]
        self.assertEqual(["sched_switch"], events)

    def test_losses_are_told_with_their_number(self):
        # The recorder stands still meanwhile, so that nothing empties the small ring.
        pings = ("import os,signal\na,b=os.pipe(); c,d=os.pipe()\nos.sched_setaffinity(0,[0])\n"
                 "recorder=os.getppid(); os.kill(recorder,signal.SIGSTOP)\n"
                 "if os.fork():\n for i in range(6000): os.write(b,b'x'); os.read(c,1)\n"
                 " os.wait(); os.kill(recorder,signal.SIGCONT)\n"
                 "else:\n for i in range(6000): os.read(a,1); os.write(d,b'x')")
        stream, err = self.traced("--trace", "wakeups", "--trace-buffer", "4", "--interval", "1000",
                                  command=[sys.executable, "-S", "-c", pings])
        total = {row[0]: int(row[1]) for row in stream.rows("Trace Summary: Total")}
        self.assertGreater(total["Lost"], 0)
        self.assertGreater(total["Lines"] + total["Lost"], 2 * 6000)
        self.assertEqual(total["Lost"], int(re.search(r"trace: (\d+) events were lost", err)[1]))
        self.assertEqual(total["Lines"], total["Mapped"])
        notes = [m["text"] for m in stream.messages if m.get("msg") == "text" and m["text"].startswith("Lost on ")]
        self.assertEqual(total["Lost"], sum(int(re.search(r": (\d+) events", note)[1]) for note in notes))


class WithoutTrace(unittest.TestCase):
    """What is asked for and can't be had."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.work = pathlib.Path(folder.name)

    def test_bad_words_are_refused(self):
        for words, text in (
                (("--trace", "idle,forks"), f'--trace: unknown set of events "forks"; there are: {SETS}'),
                (("--trace-summary",), "--trace-summary: there is no --trace that it could be of"),
                (("--trace", "idle", "--trace-buffer", "0"), "--trace-buffer"),
                (("--trace", "idle", "--trace-buffer", "many"), "--trace-buffer")):
            done = record(self.work, *words, "--seconds", "0.1")
            self.assertEqual(1, done.returncode, done.stderr)
            self.assertIn(text, done.stderr)

    def test_files_of_another_machine_have_no_events(self):
        (self.work / "proc").mkdir()
        (self.work / "proc" / "stat").write_text("cpu  1 1 1 1 1 1 1 1 0 0\ncpu0 1 1 1 1 1 1 1 1 0 0\nctxt 5\n")
        done = record(self.work, "--trace", "procs", "--seconds", "0.2", "--root", ".")
        self.assertEqual(0, done.returncode, done.stderr)
        self.assertIn("trace: kernel events are those of the running machine, not of --root", done.stderr)
        self.assertIn("Context Switches", Stream(self.work / "saved").metrics.values())

    @unittest.skipUnless(os.geteuid() == 0, "only root can become someone who may do nothing")
    def test_without_permission_the_rest_goes_on(self):
        os.chmod(self.work, 0o777)
        done = record(self.work, "--trace", "procs", "--seconds", "0.2", prefix=["setpriv", "--reuid", "65534", "--clear-groups"])
        self.assertEqual(0, done.returncode, done.stderr)
        told = [line for line in done.stderr.splitlines() if "trace: " in line]
        self.assertEqual(1, len(told), done.stderr)
        self.assertRegex(told[0], r"CAP_SYS_ADMIN is missing|may not be read: run as root")
        self.assertIn("Context Switches", Stream(self.work / "saved").metrics.values())

    @unittest.skipUnless(os.geteuid() == 0, "only root can give capabilities away")
    def test_one_capability_is_enough_and_is_named_where_it_is_missing(self):
        mounted = ["unshare", "-m", "sh", "-c", "mountpoint -q /sys/kernel/tracing || mount -t tracefs nodev /sys/kernel/tracing || exit 99; "
                   'exec "$@"', "sh"]
        if subprocess.run([*mounted, "true"], capture_output=True, check=False).returncode != 0:
            self.skipTest("tracefs can't be mounted")
        for capabilities, missing in (("-all", "CAP_PERFMON"), ("-all,+perfmon", None)):
            done = record(self.work, "--trace", "procs", "--seconds", "0.3",
                          prefix=[*mounted, "setpriv", "--inh-caps", "-all", "--bounding-set", capabilities])
            self.assertEqual(0, done.returncode, done.stderr)
            told = [line for line in done.stderr.splitlines() if "trace: " in line and "locked" not in line]
            self.assertEqual(1 if missing else 0, len(told), done.stderr)
            if missing:
                self.assertIn(f"kernel events may not be traced: {missing} is missing", told[0])
            self.assertEqual(missing is None, "Process on CPU" in Stream(self.work / "saved").metrics.values())


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as place:
        probe = record(place, "--trace", "procs", "--seconds", "0.1")
        if "trace: " in probe.stderr:
            print("no trace here:", probe.stderr)
            del Trace
        if unittest.main(argv=sys.argv[:1], exit=False).result.wasSuccessful():
            sys.exit(0 if "Trace" in globals() else SKIPPED)
        sys.exit(1)
