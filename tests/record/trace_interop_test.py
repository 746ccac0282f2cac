#!/usr/bin/env python3
"""What another program traces in the same seconds, and causes that are known: trace_interop_test.py PWRHOST

The causes need a machine that is idle otherwise, and a kernel that traces each idle: a virtual machine's may miss those
of a CPU, now and then. Where it is not so, they are skipped.
"""
import collections
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from trace_record_test import Stream  # noqa: E402

PWRHOST = sys.argv[1]
EVENTS = ("power:cpu_idle,irq:irq_handler_entry,timer:hrtimer_expire_entry,timer:timer_expire_entry,"
          "irq_vectors:local_timer_entry,irq_vectors:reschedule_entry,irq_vectors:call_function_entry,"
          "irq_vectors:call_function_single_entry,sched:sched_switch,sched:sched_waking,sched:sched_wakeup_new,"
          "sched:sched_process_exec,sched:sched_process_fork,sched:sched_process_exit")
MOUNTED = ["unshare", "-m", "sh", "-c", 'mountpoint -q /sys/kernel/tracing || mount -t tracefs nodev /sys/kernel/tracing; '
           'exec "$@"', "sh"]
COUNTED = [*MOUNTED, "perf", "stat", "-x,", "-a", "-A", "-e", "power:cpu_idle", "-o", "counts"]
TIMER = """import os, time
os.sched_setaffinity(0, [{cpu}])
due = time.monotonic()
for i in range({count}):
    due += {period}
    time.sleep(max(0, due - time.monotonic()))
"""
WAKER = """import os, time
ready, wake = os.pipe()
if os.fork() == 0:
    open('/proc/self/comm', 'w').write('sleeper')
    os.sched_setaffinity(0, [{cpu}])
    for i in range({count}): os.read(ready, 1)
    os._exit(0)
open('/proc/self/comm', 'w').write('waker')
os.sched_setaffinity(0, [{other}])
due = time.monotonic()
for i in range({count}):
    due += {period}
    time.sleep(max(0, due - time.monotonic()))
    os.write(wake, b'x')
os.wait()
"""


def idle_share(seconds):
    def read():
        fields = list(map(int, pathlib.Path("/proc/stat").read_text().split("\n")[0].split()[1:9]))
        return fields[3], sum(fields)
    before = read()
    time.sleep(seconds)
    after = read()
    return (after[0] - before[0]) / max(1, after[1] - before[1])


class OtherEyes(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.work = pathlib.Path(folder.name)

    def record(self, *command):
        done = subprocess.run([PWRHOST, "record", "--trace", "wakeups,procs", "--sources", "recorder", "-w", "none", "--quiet",
                               "--save", "saved", "--", *command], cwd=self.work, capture_output=True, text=True, timeout=120)
        self.assertEqual(0, done.returncode, done.stderr)
        return Stream(self.work / "saved")

    def test_a_profiler_of_the_same_seconds_sees_the_same_events(self):
        if shutil.which("perf") is None:
            self.skipTest("there is no perf")
        stream = self.record(*MOUNTED, "perf", "record", "-q", "-a", "-m", "4M", "-o", "perf.data", "-e", EVENTS,
                             "sh", "-c", "for i in $(seq 300); do sleep 0.004; done")  # a quiet machine has few events
        script = subprocess.run([*MOUNTED, "perf", "script", "-i", "perf.data", "--ns", "-F", "comm,pid,tid,cpu,time,event,trace"],
                                cwd=self.work, capture_output=True, text=True, timeout=120).stdout
        theirs = collections.Counter(line.split(": ")[1].strip().split(":")[-1] for line in script.splitlines() if ": " in line)
        ours = {row[0]: int(row[1]) for row in stream.rows("Trace Events Summary: Counts")}
        self.assertGreater(sum(theirs.values()), 1000)
        self.assertEqual(0, int(dict(row[:2] for row in stream.rows("Trace Summary: Total"))["Lost"]))
        # It starts later and ends earlier, and reads and writes files meanwhile.
        for event, count in theirs.items():
            self.assertGreaterEqual(ours[event], count, event)
        (self.work / "script").write_text(script)
        subprocess.run([PWRHOST, "replay", "-w", "none", "--quiet", "--save", "theirs", "script"], cwd=self.work, check=True,
                       capture_output=True)
        within = Stream(self.work / "theirs")
        ours, theirs = self.times(stream), self.times(within)
        # A thread can have run on one CPU before and behind that.
        ends = (stream.system["durationSec"] - within.system["durationSec"]) * 1000
        more = [ours[pid] - theirs[pid] for pid in theirs if pid != "-"]
        self.assertGreater(len(more), 5)
        self.assertGreater(min(more), -0.1)
        self.assertLess(max(more), ends + 0.1)

    @staticmethod
    def times(stream):
        """Milliseconds by pid."""
        times = collections.Counter()
        for row in stream.rows("Processes Summary: Counts"):
            times[row[0]] += float(row[2])
        return times

    def wakeups(self, program, cpu, count, **values):
        """Of that CPU, by kind, cause, process and PID; nothing where not each idle of it was traced."""
        if idle_share(0.5) < 0.7:
            self.skipTest("the machine is busy")
        stream = self.record(*COUNTED, sys.executable, "-S", "-c", program.format(cpu=cpu, count=count, **values))
        counts = [line.split(",") for line in (self.work / "counts").read_text().splitlines() if "cpu_idle" in line]
        traced = {cells[0]: int(cells[1]) for cells in counts if cells[1].isdigit()}
        if traced.get(f"CPU{cpu}", 0) < 2 * count:  # going there, and coming back
            return []
        return [row for row in stream.rows("Wakeup Causes Summary: Counts") if row[0] == f"CPU{cpu}"]

    def test_a_timer_wakes_as_often_as_it_expires(self):
        seen = [self.wakeups(TIMER, cpu, count=300, period=0.01) for cpu in range(os.cpu_count())]
        if not any(seen):
            self.skipTest("no CPU's idle is traced here")
        for rows in filter(None, seen):
            own = sum(int(row[5]) for row in rows if row[1] == "timer" and row[2] == "hrtimer_wakeup" and "python" in row[3])
            self.assertTrue(95 <= own / 3 <= 105, rows[:5])

    def test_who_wakes_a_sleeping_cpu_from_another_one_is_its_first_cause(self):
        seen = [self.wakeups(WAKER, cpu, other=1 - cpu, count=500, period=0.005) for cpu in range(min(os.cpu_count(), 2))]
        if not any(seen):
            self.skipTest("no CPU's idle is traced here")
        for first in (rows[0] for rows in seen if rows):
            self.assertIn(first[1], ("IPI", "task"), first)
            self.assertEqual("waker", first[3], first)
            self.assertGreater(int(first[5]), 400)


if __name__ == "__main__":
    if os.geteuid() != 0:
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])
