#!/usr/bin/env python3
"""Small traces, each with what it must become: kernel_events_test.py PWRHOST TRACES"""
import gzip
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PWRHOST, TRACES = sys.argv[1], pathlib.Path(sys.argv[2])
EXIT = 4294967295


def line(usec, event, fields, cpu=0, comm="<idle>", pid=0):
    """A line of the trace file."""
    return f"{comm:>16}-{pid:<7} [{cpu:03}] d..2. {usec / 1e6:12.6f}: {event}: {fields}"


def idle(usec, state, cpu=0):
    return line(usec, "cpu_idle", f"state={state} cpu_id={cpu}", cpu)


def switch(usec, prev, following, cpu=0, state="S"):
    (prev_comm, prev_pid), (next_comm, next_pid) = prev, following
    return line(usec, "sched_switch", f"prev_comm={prev_comm} prev_pid={prev_pid} prev_prio=120 prev_state={state} ==> "
                f"next_comm={next_comm} next_pid={next_pid} next_prio=120", cpu, prev_comm, prev_pid)


def waking(usec, waker, woken, cpu, event="sched_waking"):
    return line(usec, event, f"comm={woken[0]} pid={woken[1]} prio=120 target_cpu=000", cpu, *waker)


IDLE, A, B = ("swapper/0", 0), ("a b=c", 100), ("b", 200)


TIME_AND_EVENT = re.compile(r"\] .*?(\d+\.\d+): +(?:\w+:)?(\w+): ")


def times_of_threads(text):
    """Milliseconds by pid, out of the switches of a trace whose pids are used once and whose names hold no blanks."""
    running, times, now = {}, {}, 0
    for each in text.splitlines():
        if each.startswith("#"):
            continue
        stamp, event = TIME_AND_EVENT.search(each).groups()
        now = round(float(stamp) * 1e6)
        if event != "sched_switch":
            continue
        fields = dict(part.split("=", 1) for part in each.split() if "=" in part and part != "==>")
        cpu = each.split("[")[1][:3]
        pid, since = running.get(cpu, (None, 0))
        if pid == fields["prev_pid"] != "0":
            times[pid] = times.get(pid, 0) + now - since
        running[cpu] = fields["next_pid"], now
    for pid, since in running.values():
        if pid != "0":
            times[pid] = times.get(pid, 0) + now - since
    return {pid: usec / 1000 for pid, usec in times.items() if usec > 0}


class Stream:
    """The lines of a stream, by what they say."""

    def __init__(self, text):
        self.lines = [json.loads(each) for each in text.splitlines()]
        self.names = {each["id"]: each.get("name") for each in self.lines if each.get("def") in
                      ("entity", "thread", "process", "attribute", "handle")}
        self.metrics = {each["id"]: each for each in self.lines if each.get("def") == "metric"}
        self.system = next(each for each in self.lines if each.get("msg") == "system")
        self.texts = [each["text"] for each in self.lines if each.get("msg") == "text"]

    def over_time(self, metric):
        """(entity, t, duration, value) of a metric, times in microseconds."""
        return [(self.names[element["e"]], each["t"] / 1e3, element["dur"] / 1e3, list(element["v"].values())[0])
                for each in self.lines if each.get("msg") == "metric" and self.metrics[each["metric"]]["name"] == metric
                for element in each["data"]]

    def table(self, title):
        for each in self.lines:
            if each.get("def") == "table" and each["title"].startswith(title):
                key = [each["container"], each["id"]]
                return [self.names[handle] for handle in each["handles"]], [
                    row["cells"] for row in self.lines if row.get("msg") == "row" and row["table"] == key]
        return [], []

    def rows(self, title):
        return self.table(title)[1]

    def items(self):
        return {item: int(total) for item, total in self.rows("Trace Summary: Total")}


class Traces(unittest.TestCase):
    def setUp(self):
        work = tempfile.TemporaryDirectory()
        self.addCleanup(work.cleanup)
        self.work = pathlib.Path(work.name)

    def replay(self, lines, *options, want_status=0):
        text = lines if isinstance(lines, bytes) else "".join(each + "\n" for each in lines).encode()
        (self.work / "trace").write_bytes(text)
        (self.work / "saved").unlink(missing_ok=True)
        done = subprocess.run([PWRHOST, "replay", "-w", "none", "--save", "saved", *options, "trace"], cwd=self.work,
                              capture_output=True, timeout=300)
        self.err = done.stderr.decode()
        self.assertEqual(want_status, done.returncode, self.err)
        return Stream((self.work / "saved").read_text())

    def test_forms_of_a_line_mean_the_same(self):
        """Each form as the programs print it: two switches and an idle state of CPU 1."""
        forms = {
            "trace file": ["# tracer: nop", "#   #P:2",
                           "          <idle>-0       [001] d..2.  10.000001: cpu_idle: state=1 cpu_id=1",
                           "          <idle>-0       [001] dN.2.  10.000011: cpu_idle: state=4294967295 cpu_id=1",
                           "          <idle>-0       [001] d..2.  10.000012: sched_switch: prev_comm=swapper/1 prev_pid=0 "
                           "prev_prio=120 prev_state=R ==> next_comm=x-1 [000] next_pid=7 next_prio=120",
                           "     x-1 [000]-7       [001] d..2.  10.000022: sched_switch: prev_comm=x-1 [000] prev_pid=7 "
                           "prev_prio=120 prev_state=S ==> next_comm=swapper/1 next_pid=0 next_prio=120"],
            "with processes": ["# tracer: nop", "#   #P:2",
                               "  <idle>-0     (-----) [001] d..2 10.000001: cpu_idle: state=1 cpu_id=1",
                               "  <idle>-0     (-----) [001] dN.2 10.000011: cpu_idle: state=4294967295 cpu_id=1",
                               "  <idle>-0     (-----) [001] d..2 10.000012: sched_switch: prev_comm=swapper/1 prev_pid=0 "
                               "prev_prio=120 prev_state=R ==> next_comm=x-1 [000] next_pid=7 next_prio=120",
                               "  x-1 [000]-7  (    7) [001] d..2 10.000022: sched_switch: prev_comm=x-1 [000] prev_pid=7 "
                               "prev_prio=120 prev_state=S ==> next_comm=swapper/1 next_pid=0 next_prio=120"],
            "report": ["version = 6", "cpus=2",
                       "          <idle>-0     [001]    10.000001000: cpu_idle:             state=1 cpu_id=1",
                       "          <idle>-0     [001]    10.000011000: cpu_idle:             state=4294967295 cpu_id=1",
                       "          <idle>-0     [001]    10.000012000: sched_switch:         swapper/1:0 [120] R ==> "
                       "x-1 [000]:7 [120]",
                       "       x-1 [000]-7     [001]    10.000022000: sched_switch:         x-1 [000]:7 [120] S ==> "
                       "swapper/1:0 [120]"],
            "raw report": ["cpus=2",
                           "          <idle>-0     [001] d..2. 10.000001: cpu_idle:              state=1 cpu_id=1",
                           "          <idle>-0     [001] d..2. 10.000011: cpu_idle:              state=4294967295 cpu_id=1",
                           "          <idle>-0     [001] d..2. 10.000012: sched_switch:          prev_comm=swapper/1 prev_pid=0 "
                           "prev_prio=120 prev_state=0x0 next_comm=x-1 [000] next_pid=7 next_prio=120",
                           "       x-1 [000]-7     [001] d..2. 10.000022: sched_switch:          prev_comm=x-1 [000] prev_pid=7 "
                           "prev_prio=120 prev_state=0x1 next_comm=swapper/1 next_pid=0 next_prio=120"],
            "profile": ["         swapper     0 [001]    10.000001:       power:cpu_idle: state=1 cpu_id=1",
                        "         swapper     0 [001]    10.000011:       power:cpu_idle: state=4294967295 cpu_id=1",
                        "         swapper   0/0 [001]    10.000012:   1   sched:sched_switch: swapper/1:0 [120] R ==> "
                        "x-1 [000]:7 [120]",
                        "       x-1 [000]     7 [001]    10.000022: sched:sched_switch: prev_comm=x-1 [000] prev_pid=7 "
                        "prev_prio=120 prev_state=S ==> next_comm=swapper/1 next_pid=0 next_prio=120"],
        }
        page = ["<!DOCTYPE html>", "<html><body>", '<script class="trace-data" type="application/text">', "PID what",
                "</script>", '<script class="trace-data" type="application/text">', *forms["with processes"],
                "</script>", "</body></html>"]
        for name, lines in {**forms, "page": page}.items():
            with self.subTest(form=name):
                stream = self.replay(lines)
                self.assertEqual([("CPU1", 10000011, 10, "state1"), ("CPU1", 10000022, 11, "active")],
                                 stream.over_time("CPU Idle State"))
                self.assertEqual([("CPU1", 10000022, 10, "x-1 [000]")], stream.over_time("Process on CPU"))
                self.assertEqual([["CPU1", "unknown", "unknown", "-", "-", "1", "47619.05", "100.00", "10.00"]],
                                 stream.rows("Wakeup Causes Summary: Counts"))
                self.assertEqual((10000001000, 10000022000, 1000),
                                 tuple(stream.system[key] for key in ("start", "stop", "tscMHz")))
                if name != "profile":
                    self.assertEqual(["Silent CPUs: CPU0"], stream.texts)

    def test_every_line_is_counted_and_the_first_ten_bad_ones_are_told(self):
        lines = ["# tracer: nop", "# entries-in-buffer/entries-written: 1/1   #P:4", "", "CPU 2 is empty",
                 "CPU:1 [LOST 12 EVENTS]", "CPU:1 [3 EVENTS DROPPED]", "version = 6", "cpus=4",
                 idle(5, 1), idle(3, 1, 1), line(9, "kfree", "ptr=0"), line(9, "kfree", "ptr=0"),
                 line(10, "cpu_idle", "state=x cpu_id=0"), *["nonsense"] * 11,
                 "swapper 0 [001] 0.000011: PERF_RECORD_LOST lost 5"]
        stream = self.replay(lines, "--from", "ftrace", want_status=1)
        self.assertIn("\ntrace: 25 lines: 2 mapped, 2 unknown, 12 malformed, 9 other, 20 lost\n", "\n" + self.err)
        told = [each for each in self.err.splitlines() if each.startswith("trace:1") or each.startswith("trace:2")]
        self.assertEqual(["trace:13: cpu_idle: its fields cannot be read",
                          *[f"trace:{number}: no event" for number in range(14, 23)]], told[:10])
        self.assertEqual({"Lines": 25, "Mapped": 2, "Unknown": 2, "Malformed": 12, "Other": 9, "Lost": 20,
                          "Out of order": 1, "Silent CPUs": 2}, stream.items())
        self.assertEqual([["cpu_idle", "2", "mapped"], ["kfree", "2", "unknown"]],
                         stream.rows("Trace Events Summary: Counts"))
        self.assertEqual(["Silent CPUs: CPU2 CPU3", "Lost on CPU1: 20 events"], stream.texts)
        self.assertEqual((3000, 9000), (stream.system["start"], stream.system["stop"]))
        self.replay(["# tracer: nop"], want_status=1)

    def test_stamps(self):
        for stamp, want in {"1.5": 1500000000, "1.0000000019": 1000000001, "12345": 12345}.items():
            event = f"  <idle>-0 [000] d..2. {stamp}: cpu_idle: state=1 cpu_id=0"
            self.assertEqual(want, self.replay([event]).system["start"])
        sync = line(1000000, "tracing_mark_write", "trace_event_clock_sync: realtime_ts=1700000000000")
        self.assertEqual(1699999999500000000, self.replay([idle(500000, 1), sync]).system["time"])

    def test_idle_states(self):
        """Begin, repeated states, exits, length 0, the end, a loss."""
        stream = self.replay([idle(0, EXIT), idle(10, EXIT), idle(20, 2), idle(50, 2), idle(60, 1), idle(60, EXIT),
                              idle(80, 2), line(100, "kfree", "")])
        self.assertEqual([("CPU0", 20, 20, "active"), ("CPU0", 50, 30, "state2"), ("CPU0", 60, 10, "state2"),
                          ("CPU0", 80, 20, "active"), ("CPU0", 100, 20, "state2")], stream.over_time("CPU Idle State"))
        self.assertEqual([["CPU0", "state1", "1", "0.00", "0.00", "0.00", "0.00", "-", "-", "-"],
                          ["CPU0", "state2", "2", "0.04", "40.00", "20.00", "10.00", "-", "-", "-"]],
                         stream.rows("Idle Quality Summary: Counts"))
        self.assertEqual([["CPU0", "40.00", "0.00", "60.00", "0.04", "0.00", "0.06"]],
                         stream.rows("CPU Idle State Summary: Residency"))
        self.assertEqual([["CPU0", "unknown", "1", "10000.00"]],
                         [[row[0], row[1], row[3], row[2]] for row in stream.rows("Wakeups Summary")])
        lost = self.replay([idle(0, 1), "CPU:0 [LOST 1 EVENTS]", idle(50, EXIT), idle(60, 1)])
        self.assertEqual([("CPU0", 60, 10, "active")], lost.over_time("CPU Idle State"))
        self.assertEqual([], lost.rows("Idle Quality Summary: Counts"))

    def test_causes_of_wakeups(self):
        irq = lambda usec, name: line(usec, "irq_handler_entry", f"irq=24 name={name}")
        hrtimer = lambda usec, function: line(usec, "hrtimer_expire_entry", f"hrtimer=0 function={function} now=1")
        ipi = lambda usec, name, cpu=0: line(usec, name, "vector=1", cpu)
        entry, leave, a = idle(100, 1), idle(200, EXIT), switch(300, IDLE, A)
        by_b = waking(150, B, A, 1)
        cases = {
            "interrupt before the exit": ([irq(190, "eth0"), leave, irq(210, "usb"), a], ["irq", "eth0", "a b=c", "100"]),
            "interrupt behind the exit": ([leave, irq(210, "eth0"), a], ["irq", "eth0", "a b=c", "100"]),
            "interrupt behind the switch": ([leave, a, irq(310, "eth0")], ["unknown", "unknown", "-", "-"]),
            "softirq alone": ([line(190, "softirq_entry", "vec=1 [action=TIMER]"), leave, a],
                              ["unknown", "unknown", "-", "-"]),
            "first one counts": ([ipi(180, "reschedule_entry"), irq(190, "eth0"), leave, a],
                                 ["IPI", "reschedule", "-", "-"]),
            "timer without function": ([ipi(190, "local_timer_entry"), leave, a], ["timer", "local timer", "a b=c", "100"]),
            "function behind the tick": ([ipi(190, "local_timer_entry"), hrtimer(191, "tick_nohz_handler"),
                                          hrtimer(192, "hrtimer_wakeup"), leave, a],
                                         ["timer", "hrtimer_wakeup", "a b=c", "100"]),
            "tick alone": ([hrtimer(191, "tick_sched_timer"), leave, idle(250, 1)], ["timer", "tick_sched_timer", "-", "-"]),
            "IPI by a process": ([by_b, ipi(190, "call_function_single_entry"), leave, a],
                                 ["IPI", "call function single", "b", "200"]),
            "IPI by an interrupt in idle": ([waking(150, IDLE, A, 1), ipi(190, "call_function_entry"), leave, a],
                                            ["IPI", "call function", "-", "-"]),
            "task": ([by_b, leave, a], ["task", "b", "b", "200"]),
            "task of the same CPU": ([waking(150, B, A, 0), leave, a], ["unknown", "unknown", "-", "-"]),
            "no waking in the trace": ([waking(150, B, A, 1, "sched_wakeup"), leave, a], ["task", "b", "b", "200"]),
            "waking later in the trace": ([waking(150, B, A, 1, "sched_wakeup"), leave, a, waking(400, B, A, 1)],
                                          ["unknown", "unknown", "-", "-"]),
            "waking goes before wakeup": ([by_b, waking(160, ("c", 300), A, 1, "sched_wakeup"), leave, a],
                                          ["task", "b", "b", "200"]),
            "interrupt of another CPU": ([ipi(190, "reschedule_entry", 1), leave, a], ["unknown", "unknown", "-", "-"]),
        }
        for name, (events, want) in cases.items():
            with self.subTest(case=name):
                rows = self.replay([entry, *events]).rows("Wakeup Causes Summary: Counts")
                self.assertEqual([["CPU0", *want, "1"]], [row[:6] for row in rows])
                self.assertEqual("100.00", rows[0][8])
        before = self.replay([waking(50, B, A, 1), entry, leave, a]).rows("Wakeup Causes Summary: Counts")
        self.assertEqual("unknown", before[0][1])
        self.assertEqual([], self.replay([entry, idle(150, 2), a]).rows("Wakeup Causes Summary: Counts"))

    def test_processes(self):
        stream = self.replay([
            switch(0, A, B), switch(1000, B, A), line(1500, "sched_process_exit", "comm=a b=c pid=100 prio=120", 0, *A),
            switch(2000, A, IDLE), switch(4000, IDLE, A), switch(5000, B, A),
            line(5500, "sched_process_exec", "filename=/usr/bin/a-name-that-is-long pid=100 old_pid=100", 0, *A),
            line(10000, "kfree", "")])
        header, rows = stream.table("Processes Summary: Counts")
        self.assertEqual(["PID", "Process", "CPU Time (msec)", "Share (%)", "Wakeups", "Switches"], header)
        self.assertEqual([["100", "a-name-that-is-", "5.000", "50.00", "0", "2"], ["100", "a b=c", "1.000", "10.00", "0", "1"],
                          ["200", "b", "1.000", "10.00", "0", "1"], ["-", "idle", "2.000", "20.00", "0", "1"],
                          ["-", "not attributed", "1.000", "10.00", "0", "0"]], rows)
        self.assertEqual([("CPU0", 1000, 1000, "b"), ("CPU0", 2000, 1000, "a b=c"),
                          ("CPU0", 10000, 5000, "a-name-that-is-")], stream.over_time("Process on CPU"))

    def test_the_end_of_a_process(self):
        """Preempted on its way out, in each form, it is still the same one; away for good, it is not."""
        out = line(500, "sched_process_exit", "comm=b pid=200 prio=120", 0, *B)
        short = lambda usec, prev, state, following: line(usec, "sched_switch", f"{prev[0]}:{prev[1]} [120] {state} ==> "
                                                          f"{following[0]}:{following[1]} [120]", 0, *prev)
        raw = lambda usec, prev, state, following: switch(usec, prev, following, 0, state).replace("==> ", "")
        for form, preempted, gone in ((lambda *args: switch(args[0], args[1], args[3], 0, args[2]), "R+", "X"),
                                      (short, "R", "Z"), (raw, "0x100", "0x20"), (raw, "0", "16")):
            with self.subTest(state=preempted):
                rows = self.replay([switch(0, A, B), out, form(1000, B, preempted, A), form(2000, A, "R", B),
                                    form(3000, B, gone, A), form(4000, A, "R", B), line(5000, "kfree", "")])
                self.assertEqual([["100", "2.000", "2"], ["200", "2.000", "2"], ["200", "1.000", "1"]],
                                 [[row[0], row[2], row[5]] for row in rows.rows("Processes Summary")[:3]])

    def test_what_keeps_awake(self):
        source = lambda usec, what, name: line(usec, f"wakeup_source_{what}activate", f"{name} state=0x1")
        step = lambda usec, what: line(usec, "suspend_resume", what)
        stream = self.replay([source(0, "de", "never"), source(0, "", "usb"), source(2000, "de", "usb"),
                              source(3000, "", "usb"), source(5000, "", "alarm"), step(6000, "dpm_suspend[2] begin"),
                              step(7500, "dpm_suspend[2] end"), step(8000, "dpm_suspend[2] begin"),
                              step(8500, "dpm_suspend[2] end"), step(9000, "dpm_suspend[1] end"), line(10000, "kfree", "")])
        self.assertEqual((["Source", "Activations", "Active Time (msec)", "Average (msec)"],
                          [["usb", "2", "9.000", "4.500"], ["alarm", "1", "5.000", "5.000"]]),
                         stream.table("Kernel Wakeup Sources Summary: Activations and Active Time"))
        self.assertEqual((["Action", "Value", "Count", "Time (msec)", "Mean (msec)", "Longest (msec)"],
                          [["dpm_suspend", "2", "2", "2.000", "1.000", "1.500"]]), stream.table("Suspend Summary: Counts"))

    def test_readings_and_marks(self):
        mark = lambda usec, text, pid=9: line(usec, "tracing_mark_write", text, 0, "app", pid)
        stream = self.replay([
            line(0, "cpu_frequency", "state=1200000 cpu_id=1"), line(10, "cpu_frequency", "state=1200000 cpu_id=1"),
            line(0, "cpu_frequency_limits", "min=800000 max=2400500 cpu_id=1"),
            line(0, "clock_set_rate", "pll main state=19200000 cpu_id=0"),
            line(0, "wakeup_source_activate", "usb 1 state=0x10001"),
            line(5, "wakeup_source_deactivate", "usb 1 state=0x20000"),
            line(0, "suspend_resume", "machine_suspend[3] begin"), line(7, "suspend_resume", "machine_suspend[3] end"),
            line(3, "thermal_temperature", "thermal_zone=cpu one id=0 temp_prev=40000 temp=41500"),
            mark(1, "B|9|outer"), mark(2, "B|9|in|ner"), mark(3, "E|9"), mark(4, "E"), mark(5, "E|9"), mark(5, "B|9|open"),
            mark(1, "S|9|async|77"), mark(8, "F|9|async|77", 10), mark(6, "I|9|now"), mark(6, "C|9|depth|-3"),
            line(6, "print", "tracing_mark_write: C|9|depth|4"), mark(9, "free text"), mark(20, "hello")])
        wants = {"CPU Frequency Changes": [("CPU1", 10, 10, 1200), ("CPU1", 20, 10, 1200)],
                 "CPU Frequency Limits": [("CPU1", 20, 20, [800, 2400.5])], "Clock Rate": [("pll main", 20, 20, 19200000)],
                 "Kernel Wakeup Sources": [("usb 1", 5, 5, "active")], "Suspend": [("System", 7, 7, "machine_suspend")],
                 "Thermal Zones": [("cpu one", 3, 0, 41.5)],
                 "Trace Marks": [("app-9", 3, 1, "in|ner"), ("app-9", 4, 3, "outer"), ("app-9", 6, 0, "now"),
                                 ("app-9", 8, 7, "async")],
                 "Trace Counters": [("depth", 6, 0, -3), ("depth", 6, 0, 4)]}
        for metric, want in wants.items():
            with self.subTest(metric=metric):
                self.assertEqual(want, stream.over_time(metric))
        self.assertEqual(14, next(m["class"] for m in stream.metrics.values() if m["name"] == "Kernel Wakeup Sources"))

    def test_garbage_and_cut_traces_end_with_a_message(self):
        good = "\n".join([idle(0, 1), idle(10, EXIT)]).encode()
        for data in (good[:-20], good + b"\n" + bytes(range(256)) * 50, b"\n" + good.replace(b"cpu_id=", b"\0"),
                     b"x" * 3_000_000 + b"\n" + good):
            self.replay(data, "--from", "ftrace", want_status=1)
            self.assertIn(" malformed, ", self.err)

    def test_order_within_the_window(self):
        """Every second event of a CPU stands far behind; the stream is that of the sorted trace."""
        events = [idle(10 * i, EXIT if i % 2 else 1) for i in range(2000)]
        unsorted = events[1::2] + events[::2]
        self.assertEqual(self.replay(events).over_time("CPU Idle State"), self.replay(unsorted).over_time("CPU Idle State"))
        self.assertNotIn("out of order", self.err)
        far = [idle(10 * i, 1 + i % 2) for i in range(70000)]
        items = self.replay(far[-66000:] + far[:-66000]).items()
        self.assertEqual((70000, 4000), (items["Mapped"], items["Out of order"]))
        self.assertIn("4000 events stand more than 65536 events out of order", self.err)

    def test_table_of_turbostat(self):
        table = ["turbostat version 2022", "CPUID(0): x",
                 "Package\tCore\tCPU\tAvg_MHz\tBusy%\tCPU%c1\tCPU%c6\tCoreTmp\tIRQ\tPkg%pc2\tPkgWatt\tCor_J",
                 "-\t-\t-\t100\t5.5\t1\t2\t40\t7\t3\t9.5\t1", "1\t3\t0\t90\t5\t1\t2\t41\t7\t3\t9\t1.5", "1\t3\t1\t80\t6\t1",
                 "", "Package\tCore\tCPU\tAvg_MHz", "-\t-\t-\t110", "1\t3\t0\tx", "1\t3\t1\t70"]
        stream = self.replay(table, "--interval", "2", want_status=1)
        self.assertIn("trace:10: ", self.err)
        self.assertIn("trace: 11 lines: 5 mapped, 0 unknown, 1 malformed, 5 other, 0 lost", self.err)
        wants = {"Avg_MHz": [("System", 2e6, 2e6, 100), ("CPU0", 2e6, 2e6, 90), ("CPU1", 2e6, 2e6, 80),
                             ("System", 4e6, 2e6, 110), ("CPU1", 4e6, 2e6, 70)],
                 "CPU%c1": [(entity, 2e6, 2e6, 1) for entity in ("System", "CPU0", "CPU1")],
                 "CPU%c6": [("System", 2e6, 2e6, 2), ("Core3", 2e6, 2e6, 2)],
                 "CoreTmp": [("System", 2e6, 2e6, 40), ("Core3", 2e6, 2e6, 41)],
                 "Cor_J": [("System", 2e6, 2e6, 1), ("Package1", 2e6, 2e6, 1.5)],
                 "Pkg%pc2": [("System", 2e6, 2e6, 3), ("Package1", 2e6, 2e6, 3)]}
        for metric, want in wants.items():
            self.assertEqual(want, stream.over_time(metric), metric)
        units = {each["id"]: each["units"] for each in stream.lines if each.get("def") == "quantity"}
        self.assertEqual({"Avg_MHz": "MHz", "Busy%": "%", "CPU%c1": "%", "CPU%c6": "%", "CoreTmp": "C", "IRQ": "",
                          "Pkg%pc2": "%", "PkgWatt": "W", "Cor_J": "J"},
                         {each["name"]: units[each["quantity"]] for each in stream.metrics.values()})
        untimed = self.replay(["CPU PkgWatt Time_Of_Day_Seconds", "- 1 -1", "0 2 1700000000", "1 3 -", "- 4 1", "0 5 1700000001"],
                              want_status=1)
        self.assertEqual([("Package0", 1700000000e6, 2), ("Package0", 1700000000e6, 3), ("Package0", 1700000001e6, 5)],
                         [(row[0], row[1], row[3]) for row in untimed.over_time("PkgWatt")])
        timed = self.replay(["Time_Of_Day_Seconds Avg_MHz PkgWatt", "1700000000.5 5 6", "1700000001.5 5 7"])
        self.assertEqual([("System", 1700000000.5e6, 5e6, 6), ("System", 1700000001.5e6, 1e6, 7)],
                         timed.over_time("PkgWatt"))

    def test_what_sadf_prints(self):
        sample = lambda time: {
            "timestamp": {"date": "2026-11-22", "time": time, "utc": 1, "interval": 10},
            "cpu-load": [{"cpu": "all", "user": 1.5}, {"cpu": "0", "user": 3}], "memory": {"memfree": 7},
            "network": {"net-dev": [{"iface": "lo", "rxkB": 2.5}]},
            "power-management": {"temperature": [{"number": 1, "degC": 40, "device": "chip one"}]}}
        document = {"sysstat": {"sysdata-version": 2.15, "hosts": [
            {"nodename": "box", "sysname": "Linux", "release": "6.1", "machine": "x86_64", "number-of-cpus": 2,
             "statistics": [sample("01:00:00"), sample("01:00:10")], "restarts": [{"boot": {"date": "x"}}]}]}}
        stream = self.replay(json.dumps(document, indent=1).encode())
        start = 1795309190e6
        for metric, want in {"cpu-load.user": [("All", 1.5), ("CPU0", 3)], "memory.memfree": [("System", 7)],
                             "network.net-dev.rxkB": [("lo", 2.5)],
                             "power-management.temperature.degC": [("chip one", 40)]}.items():
            self.assertEqual([(entity, start + second * 1e6, 10e6, value) for second in (10, 20) for entity, value in want],
                             stream.over_time(metric), metric)
        self.assertEqual(("box", "Linux", int(start * 1e3)),
                         tuple(stream.system[key] for key in ("host", "osName", "time")))
        cut = json.dumps(document).encode()[:-150]
        self.assertEqual(2, len(self.replay(cut, want_status=1).over_time("memory.memfree")))

    def test_a_real_trace_says_the_same_as_its_own_text(self):
        """Counts of events against those of a search, and times of threads against a sum that knows no CPUs."""
        for file in sorted(TRACES.glob("*.txt.gz")):
            with self.subTest(trace=file.name):
                text = gzip.decompress(file.read_bytes())
                stream = self.replay(text)
                found = {}
                for each in text.decode().splitlines():
                    if not each.startswith("#"):
                        event = TIME_AND_EVENT.search(each)[2]
                        found[event] = found.get(event, 0) + 1
                self.assertEqual(found, {row[0]: int(row[1]) for row in stream.rows("Trace Events Summary: Counts")})
                rows = stream.rows("Processes Summary: Counts")
                length = (stream.system["stop"] - stream.system["start"]) / 1e6
                self.assertAlmostEqual(2 * length, sum(float(row[2]) for row in rows), delta=0.001 * len(rows))
                expected = json.loads(file.with_suffix("").with_suffix(".json").read_text())
                by_pid = [(row[0], float(row[2])) for row in rows if row[0] != "-" and row[2] != "0.000"]
                self.assertEqual(sorted(times_of_threads(text.decode()).items()), sorted(by_pid))
                self.assertEqual(expected, {title: stream.rows(title)[:8] for title in expected})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
