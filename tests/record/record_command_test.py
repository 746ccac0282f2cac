#!/usr/bin/env python3
"""Records with the program itself and looks at what a user gets: files, saved stream, statuses, messages.

usage: record_command_test.py PWRHOST TREE STREAM
"""
import json
import os
import pathlib
import pty
import re
import resource
import signal
import subprocess
import sys
import tempfile
import time
import unittest

PWRHOST, TREE, STREAM = sys.argv[1:4]  # a tree of files, and the stream of one that changed


# Root reads what it likes, until it gives that up. Another user might not reach the program.
UNPRIVILEGED = ["setpriv", "--inh-caps", "-all", "--bounding-set", "-all"] if os.geteuid() == 0 else []


def pwrhost(folder, *words, prefix=(), **more):
    return subprocess.run([*prefix, PWRHOST, *words], cwd=folder, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                          timeout=120, **more)


def await_takes(process, number):
    """Until the recorder takes a signal for the end of its collection, which it has blocked for as long as it does."""
    end = time.monotonic() + 60
    while not int(re.search(r"(?m)^SigBlk:\s*(\S+)", pathlib.Path(f"/proc/{process.pid}/status").read_text())[1], 16) >> (number - 1) & 1:
        if time.monotonic() > end:
            process.kill()
        assert process.poll() is None, "the recorder does not take the signal"
        time.sleep(0.01)


def contents(folder):
    return {p.name: p.read_bytes() for p in pathlib.Path(folder).iterdir()}


# Where this runs in the background of a script, what a terminal sends would be ignored from the start.
for number in (signal.SIGINT, signal.SIGQUIT, signal.SIGHUP):
    signal.signal(number, signal.SIG_DFL)


class RecordCommand(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.work = pathlib.Path(self.folder.name)

    def tearDown(self):
        self.folder.cleanup()

    def record_and_replay(self, *options, order=()):
        """Both runs, in folders of their own, with the stream beside them."""
        for name in ("recorded", "replayed"):
            (self.work / name).mkdir()
        run = ("-w", "all", *options)
        recorded = pwrhost(self.work / "recorded", "record", *run, *order, "--root", TREE, "--seconds", "0.35", "--interval",
                           "50", "--flush-every", "0.1", "--save", "../stream")
        replayed = pwrhost(self.work / "replayed", "replay", *run, "../stream")
        self.assertEqual((recorded.returncode, replayed.returncode), (0, 0), recorded.stderr + replayed.stderr)
        files, others = contents(self.work / "recorded"), contents(self.work / "replayed")
        self.assertEqual([name for name in files | others if files.get(name) != others.get(name)], [])
        return sorted(files)

    def test_the_saved_stream_gives_the_same_files(self):
        files = self.record_and_replay()
        for name in ("Automation_Summary.csv", "run.csv", "run.pwr", "run.txt", "run.ztbin", "run.ztjson",
                     "run_meta_phm.csv", "run_trace.csv"):
            self.assertIn(name, files)

    def test_the_saved_stream_holds_the_order_that_the_user_gave(self):
        (self.work / "order").write_text('{"features": ["memory"],\n "metrics": {"memory": ["Available Memory"]}}')
        self.record_and_replay(order=("--order", "../order"))
        report = (self.work / "replayed" / "run.csv").read_text()
        self.assertLess(report.index("Available Memory"), report.index("Power Domain Energy"))

    def test_the_saved_stream_of_a_continuous_run_gives_the_same_files(self):
        files = self.record_and_replay("--continuous")
        for name in ("run_0.ztjson", "run_1.ztjson", "run_0.ztbin", "run_1.ztbin", "run.csv", "run.pwr"):
            self.assertIn(name, files)

    def test_binary_results_are_sound_and_hold_processes_and_wakeups(self):
        done = pwrhost(self.work, "replay", "-w", "vyrta,bin", STREAM)
        self.assertEqual((done.returncode, done.stdout), (0, ""), done.stderr)
        checked = pwrhost(self.work, "show", "--check", "run.pwr", "run.ztbin")
        self.assertEqual(checked.returncode, 0, checked.stderr)
        shown = pwrhost(self.work, "show", "run.pwr").stdout
        for text in ("/opt/tools/build", "Core C-State", "alarm"):
            self.assertIn(text, shown)

    def test_each_line_of_the_automation_summary_fits_its_header(self):
        done = pwrhost(self.work, "replay", "-w", "auto", STREAM)
        self.assertEqual(done.returncode, 0, done.stderr)
        header, line = (self.work / "Automation_Summary.csv").read_text().splitlines()
        self.assertEqual(header.count(","), line.count(","))

    def test_energy_that_may_not_be_read_is_told_once(self):
        tree = self.work / "tree" / "sys/class/powercap"
        for zone in ("power:0", "power:1"):
            (tree / zone).mkdir(parents=True)
            (tree / zone / "energy_uj").write_text("5")
            (tree / zone / "energy_uj").chmod(0)
        done = pwrhost(self.work, "record", "--root", "tree", "--seconds", "0.1", prefix=UNPRIVILEGED)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(done.stderr.count("energy counters may not be read"), 1, done.stderr)
        parts = pwrhost(self.work, "record", "--root", "tree", "--seconds", "0.4", "--rotate", "100ms", "-o", "part", prefix=UNPRIVILEGED)
        self.assertEqual((parts.returncode, parts.stderr.count("energy counters may not be read")), (0, 1), parts.stderr)
        self.assertTrue((self.work / "part.0002.csv").exists())
        report = (self.work / "run.csv").read_text()
        self.assertRegex(report, "(?m)^Not offered by this machine: cpu, idle, frequency, temperature, ")
        self.assertRegex(report, "(?m)^May not be read by this user: energy *$")

    def test_the_list_follows_no_link_out_of_the_root(self):
        (self.work / "tree").mkdir()
        (self.work / "tree/proc").symlink_to(TREE + "/proc")
        listed = pwrhost(self.work, "record", "--root", "tree", "--list").stdout
        memory = next(line for line in listed.splitlines() if " Available Memory " in line)
        self.assertRegex(memory, " on | absent: No such file or directory ")  # on: before Linux 5.6, and in some containers

    def test_a_file_of_the_package_that_may_not_be_read_is_told(self):
        tree = self.work / "tree"
        (tree / "sys/kernel/debug/pmc_core").mkdir(parents=True)
        (tree / "sys/kernel/debug/pmc_core/ltr_show").write_text("XHCI LTR: Snoop(ns): 1")
        (tree / "sys/kernel/debug/pmc_core/ltr_show").chmod(0)
        record = lambda: pwrhost(self.work, "record", "--root", "tree", "--seconds", "0.1", prefix=UNPRIVILEGED).stderr
        want = "Latency Tolerance: sys/kernel/debug/pmc_core/ltr_show may not be read: run as root"
        self.assertEqual(record().count(want), 1)
        (tree / "sys/kernel/debug").chmod(0)  # as it is: only the driver tells what is inside
        self.assertNotIn("may not be read", record())
        (tree / "sys/bus/platform/drivers/intel_pmc_core").mkdir(parents=True)
        self.assertEqual([record().count(what) for what in (want, "may not be read")], [1, 3])

    @unittest.skipUnless(os.access("/dev/cpu_dma_latency", os.W_OK), "no limit of latencies can be asked for")
    def test_a_limit_that_a_program_asks_for_is_seen(self):
        rows = []
        for limit in (35, 17):
            with open("/dev/cpu_dma_latency", "wb", buffering=0) as file:
                file.write(limit.to_bytes(4, sys.byteorder))
                pwrhost(self.work, "record", "--sources", "awake", "--seconds", "0.1")
            rows += re.findall(r"System *, Wakeup Latency \(usec\) *, (\d+) *, (\d+)", (self.work / "run.csv").read_text())
        self.assertEqual(rows, [("35", "35"), ("17", "17")])

    def test_an_order_of_the_user_holds(self):
        (self.work / "order").write_text('{"features": ["memory"], "metrics": {"memory": ["Available Memory"]}}')
        done = pwrhost(self.work, "record", "--root", TREE, "--seconds", "0.1", "--order", "order")
        self.assertEqual(done.returncode, 0, done.stderr)
        report = (self.work / "run.csv").read_text()
        self.assertLess(report.index("Available Memory"), report.index("Power Domain Energy"))

    def test_a_signal_ends_the_collection_with_complete_files(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            process = subprocess.Popen([PWRHOST, "record", "-w", "sum,json", "--seconds", "0", "--root", TREE],
                                       cwd=self.work, stderr=subprocess.PIPE, text=True)
            time.sleep(0.5)
            await_takes(process, number)
            process.send_signal(number)
            _, told = process.communicate(timeout=60)
            self.assertEqual(process.returncode, 0, told)
            self.assertIn("ended by " + number.name, told)
            self.assertIn("Available Memory Summary", (self.work / "run.csv").read_text())
            json.loads((self.work / "run.ztjson").read_bytes())

    def test_a_signal_that_was_ignored_stays_ignored(self):
        process = subprocess.Popen([PWRHOST, "record", "--seconds", "1", "--root", TREE], cwd=self.work,
                                   stderr=subprocess.PIPE, text=True,
                                   preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        time.sleep(0.4)
        process.send_signal(signal.SIGHUP)
        _, told = process.communicate(timeout=60)
        self.assertEqual((process.returncode, "SIGHUP" in told), (0, False), told)

    def test_places_that_may_not_be_written_are_told_before_anything_is_measured(self):
        closed = self.work / "closed"
        closed.mkdir()
        (closed / "run.ztjson").touch()
        closed.chmod(0o555)
        for folder, output, writers, told in ((self.work, "nowhere/run", "sum,json", "nowhere"), (self.work, "/proc/run", "json", "/proc"),
                                              (self.work, str(closed / "run"), "sum,json", str(closed)),
                                              (closed, str(self.work / "run"), "sum, Auto", ".")):
            done = pwrhost(folder, "record", "-w", writers, "--seconds", "9", "-o", output, prefix=UNPRIVILEGED)
            self.assertEqual(done.returncode, 1)
            self.assertIn("cannot write to the output folder " + told + ": ", done.stderr)
        one_file = ("record", "-w", "json", "-o", str(closed / "run"))
        done = pwrhost(self.work, *one_file, "--seconds", "0.1", prefix=UNPRIVILEGED)
        self.assertEqual(done.returncode, 0, done.stderr)
        for numbered in ("--continuous", "--rotate=1s"):
            done = pwrhost(self.work, *one_file, "--seconds", "9", numbered, prefix=UNPRIVILEGED)
            self.assertEqual((done.returncode, done.stderr.count("output folder " + str(closed))), (1, 1), done.stderr)
        (self.work / "kept.csv").touch(0o444)
        (self.work / "folder.ztjson").mkdir()
        for output, told in (("kept", "kept.csv: Permission denied"), ("folder", "folder.ztjson: Is a directory")):
            done = pwrhost(self.work, "record", "-w", "sum,json", "--seconds", "9", "-o", output, prefix=UNPRIVILEGED)
            self.assertEqual((done.returncode, done.stderr), (1, "pwrhost: cannot write " + told + "\n"))
        done = pwrhost(closed, "record", "-w", "all", "-o", str(self.work / "all"), "--seconds", "0.1", prefix=UNPRIVILEGED)
        self.assertEqual((done.returncode, done.stderr.count("auto is left out: cannot write")), (0, 1), done.stderr)
        good = (self.work / "all.csv").read_bytes()
        log = self.work / "log"
        log.write_text("of an earlier run")
        for options, told in ((["--save", "closed/s"], "Unable to create closed/s: "), (["--root", "no"], "Unable to open no: "),
                              (["--save", "closed/s", "--rotate", "1h"], "Unable to create closed/s.0001: ")):
            done = pwrhost(self.work, "record", "-o", "all", "--log", "log", "--seconds", "9", *options, prefix=UNPRIVILEGED)
            self.assertEqual((done.returncode, done.stderr.count(told)), (1, 1), done.stderr)
            self.assertEqual(((self.work / "all.csv").read_bytes(), log.read_text()), (good, "of an earlier run"))
        done = pwrhost(self.work, "record", "-w", "sum,raw", "--temp", str(closed), "--seconds", "9", prefix=UNPRIVILEGED)
        self.assertEqual((done.returncode, done.stderr.count("\n")), (1, 1), done.stderr)
        self.assertIn("the writers' temporary files", done.stderr)
        done = pwrhost(closed, "record", "-w", "sum,raw", "-o", str(self.work / "run"), "--seconds", "0.1",
                       prefix=UNPRIVILEGED)
        self.assertEqual(done.returncode, 0, done.stderr)

    def test_a_command_is_recorded_and_its_status_is_that_of_the_run(self):
        cases = [(["sh", "-c", "exit 3", "--", "-x"], 3), (["sh", "-c", "kill -9 $$"], 128 + 9), (["true"], 0),
                 (["sh", "-c", "sleep 15 >/dev/null 2>&1 &\nexit 2"], 2), (["./nosuch"], 127), ([""], 127), (["."], 126)]
        for command, status in cases:
            start = time.monotonic()
            done = pwrhost(self.work, "record", "--root", TREE, "--", *command)
            self.assertEqual(done.returncode, status, done.stderr)
            self.assertLess(time.monotonic() - start, 12, "waited for a child of the command")
            (self.work / "run.csv").exists() == (status not in (126, 127)) or self.fail(command)
            if status not in (126, 127):
                report = (self.work / "run.csv").read_text()
                self.assertRegex(report, r"(?m)^" + re.escape("Command: " + " ".join(command).replace("\n", " ")) + " *$")
                title, _, line = report[report.index("Command Summary"):].splitlines()[1:4]
                self.assertEqual(re.split(" *, ", title), [
                    "Process", "Exit Status", "Signal", "Wall Time (s)", "User Time (s)", "System Time (s)",
                    "Maximum Resident Size (KiB)", "Page Faults", "Context Switches"])
                row = line.split(",")
                self.assertRegex(row[0], command[0] + r" \(\d+\)")
                self.assertEqual([int(row[1]), int(row[2])], [status, max(0, status - 128)])
                (self.work / "run.csv").unlink()
        for word, status in (("true", 1), ("false; exit 4", 4)):  # the recorder's own counts if the command gave 0
            done = pwrhost(self.work, "record", "--root", TREE, "--save", "/dev/full", "--", "sh", "-c", word)
            self.assertEqual(done.returncode, status)

    def test_what_a_terminal_sends_reaches_the_command_once_and_the_recorder_waits(self):
        for key, name in ((b"\x03", "INT"), (b"\x1c", "QUIT")):
            script = f"n=0; trap 'n=$((n+1))' {name}; echo ready; sleep 30; sleep 0.2; exit 1$n"
            process, terminal = pty.fork()
            if process == 0:
                os.chdir(self.work)
                os.execv(PWRHOST, [PWRHOST, "record", "--quiet", "--root", TREE, "--", "sh", "-c", script])
            said = b""
            while b"ready" not in said:
                said += os.read(terminal, 1000)
            time.sleep(0.3)
            os.write(terminal, key)
            _, status = os.waitpid(process, 0)
            os.close(terminal)
            self.assertEqual(os.waitstatus_to_exitcode(status), 11)
            self.assertIn("Command Summary", (self.work / "run.csv").read_text())
            (self.work / "run.csv").unlink()

    def test_a_command_gets_what_the_recorder_was_given(self):
        shown = "import os, resource, signal; print(signal.getsignal(signal.SIGPIPE).name, signal.getsignal(" \
                "signal.SIGXFSZ).name, signal.pthread_sigmask(0, []), resource.getrlimit(7)[0], os.getcwd())"
        plain = [sys.executable, "-S", "-c", "import signal; signal.signal(signal.SIGPIPE, signal.SIG_DFL); " + shown]
        def limit():
            resource.setrlimit(resource.RLIMIT_NOFILE, (500, 1000))
            signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGUSR2, signal.SIGHUP])
        own = subprocess.run(plain[:3] + [shown], cwd=self.work, capture_output=True, text=True, preexec_fn=limit)
        recorded = pwrhost(self.work, "record", "-w", "none", "--", *plain[:3], shown, preexec_fn=limit)
        self.assertEqual((recorded.returncode, recorded.stdout), (0, own.stdout), recorded.stderr)

    def test_signals_that_are_sent_are_passed_on_to_the_command(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            script = f"trap 'exit 5' {number.name[3:]}; echo ready; while :; do sleep 0.05; done"
            process = subprocess.Popen([PWRHOST, "record", "--quiet", "--root", TREE, "--", "sh", "-c", script], cwd=self.work,
                                       stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
            self.assertEqual(process.stdout.readline(), "ready\n")
            process.send_signal(number)
            _, told = process.communicate(timeout=60)
            self.assertEqual((process.returncode, told), (5, ""))

    def test_what_cannot_be_said_together_is_refused(self):
        for words, text in (
            (["--seconds", "3", "--", "true"], "--seconds"), (["--save", "-", "--", "true"], "--save"),
            (["true"], "unknown word true"), (["--"], "no command"), (["--sources", "CPU, foo"], 'unknown source "foo"'),
            (["--metrics", "cpu*"], "nothing is left"), (["--exclude", "*"], "nothing is left"),
            (["--interval", "disk=0"], "milliseconds"), (["--interval", "disc=5"], 'unknown source "disc"'),
            (["--top", "some"], "--top"), (["--top", "0"], "--top"), (["--seconds", "3 weeks"], "seconds"),
            (["--rotate", "0M"], "neither a length"),
            (["--rotate", "5X"], "neither a length"), (["--keep", "0"], "not in range 1 to"),
            (["--rotate", "1h", "--output", "-"], "standard output"), (["--output", "-", "--", "true"], "--output")):
            done = pwrhost(self.work, "record", *words)
            self.assertEqual(done.returncode, 1, words)
            self.assertIn(text, done.stderr)
        self.assertEqual(contents(self.work), {})

    def test_the_list_tells_what_is_there(self):
        done = pwrhost(self.work, "record", "--root", TREE, "--list", "--exclude", "Forks", "--sources", " Kernel")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        header, *lines = (re.split(r" {2,}", line) for line in done.stdout.splitlines())
        self.assertEqual(header, ["SOURCE", "METRIC", "UNITS", "ENTITIES", "STATE", "FILES"])
        self.assertEqual({len(line) for line in lines}, {6})
        states = {line[1]: (line[0], line[3], line[4]) for line in lines}
        self.assertEqual(states["Forks"], ("kernel", "1", "off"))
        self.assertEqual(states["Interrupts"], ("kernel", "1", "on"))
        self.assertEqual(states["GPU Busy"], ("gpu", "0", "absent: no such file"))

    def test_parts_are_whole_runs_that_follow_each_other(self):
        foreign = ("run.0000.csv", "run.0099.csv", "run.csv", "run.0001.bak")
        for more in ((), ("--continuous", "--flush-every", "0.1")):
            for name in foreign:
                (self.work / name).write_text("another run's")
            process = subprocess.Popen([PWRHOST, "record", "--quiet", "--root", TREE, "-w", "sum,json", "--rotate", "250ms",
                                        "--seconds", "1.6", "--keep", "2", "--save", "s.jsonl", *more], cwd=self.work,
                                       stderr=subprocess.DEVNULL)
            most = 0
            while process.poll() is None:
                most = max(most, sum(name.startswith("s.") for name in os.listdir(self.work)))
                time.sleep(0.005)
            self.assertEqual(process.returncode, 0)
            self.assertLessEqual(most, 3)
            for name in foreign:
                self.assertEqual((self.work / name).read_text(), "another run's")
                (self.work / name).unlink()
            names = sorted(contents(self.work))
            reports = [name for name in names if name.endswith(".csv")]
            self.assertEqual(len(reports), 2, names)
            self.assertEqual([name for name in names if name.startswith("s.")], [f"s{r[3:8]}.jsonl" for r in reports])
            spans = []
            for report in reports:
                lines = (self.work / ("s" + report[3:8] + ".jsonl")).read_text().splitlines()
                messages = [json.loads(line) for line in lines if line.startswith('{"msg":"s')]
                spans.append((messages[0]["start"], (messages[-1].get("tsc") or messages[0]["stop"])))
                replayed = pwrhost(self.work, "replay", "-o", "again", *more[:1], "s" + report[3:8] + ".jsonl")
                self.assertEqual(replayed.returncode, 0, replayed.stderr)
                self.assertEqual((self.work / "again.csv").read_text(), (self.work / report).read_text())
            self.assertEqual(spans[0][1], spans[1][0])
            for name in contents(self.work):
                (self.work / name).unlink()

    def test_a_preset_gives_what_the_command_line_does_not(self):
        folder = self.work / "config" / "pwrhost"
        folder.mkdir(parents=True)
        (folder / "mine.conf").write_text("# mine\nseconds = 0.1\nmetrics = Forks\nmetrics=Load*\nwriters = raw\nroot = " + TREE)
        environment = {**os.environ, "XDG_CONFIG_HOME": str(self.work / "config")}
        for words, metrics in (((), {"Forks", "Load Average"}), (("--metrics", "Interrupts"), {"Interrupts"})):
            done = pwrhost(self.work, "record", "--preset", "mine", "--save", "s", *words, env=environment)
            self.assertEqual(done.returncode, 0, done.stderr)
            lines = [json.loads(line) for line in (self.work / "s").read_text().splitlines()]
            self.assertEqual({line["name"] for line in lines if line.get("def") == "metric"}, metrics)
            self.assertTrue((self.work / "run.txt").exists())
        (folder / "bad.conf").write_text("seconds = 1\nspeed = 3\n")
        (folder / "late.conf").write_text("seconds = 1\ninterval = 5\n\ninterval = foo=3\n")
        (folder / "folder.conf").mkdir()
        for name, text in (("folder", "folder.conf: Is a directory"), ("bad", 'bad.conf:2: unknown option "speed"'), ("none", "there is no preset none"),
                           ("late", 'late.conf:4: --interval: unknown source "foo"')):
            done = pwrhost(self.work, "record", "--preset", name, env=environment)
            self.assertEqual(done.returncode, 1)
            self.assertIn(text, done.stderr)
        (folder / "idle.conf").write_text("metrics = Forks\n")  # in front of the one that comes with the program
        done = pwrhost(self.work, "record", "--preset", "idle", "--root", TREE, "--list", env=environment)
        self.assertEqual(re.findall(r"(?m)^\S+ +(.*?)  .* on  ", done.stdout), ["Forks"])
        for name in ("idle", "battery", "server"):  # those that come with the program
            done = pwrhost(self.work, "record", "--preset", name, "--seconds", "0.1", "-w", "none", "--root", TREE)
            self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_the_file_for_a_monitoring_system_holds_the_sums_of_the_stream(self):
        seen = set()
        process = subprocess.Popen([PWRHOST, "record", "--quiet", "-w", "openmetrics", "--seconds", "0.6", "--flush-every",
                                    "0.2", "--prom", "f.prom", "--save", "s"], cwd=self.work,
                                   stderr=subprocess.DEVNULL, preexec_fn=lambda: os.umask(0o027))
        while process.poll() is None:
            seen.update(name for name in os.listdir(self.work) if name.endswith(".prom"))
        self.assertEqual((process.returncode, seen), (0, {"f.prom"}))
        self.assertEqual((self.work / "f.prom").stat().st_mode & 0o777, 0o640)
        text = (self.work / "f.prom").read_text()
        writer = (self.work / "run.om").read_text()
        self.assertEqual(re.findall(r"(?m)^# TYPE (\S+)", text), [
            name + "_total" * (kind == "counter") for name, kind in re.findall(r"(?m)^# TYPE (\S+) (\S+)$", writer)])
        self.assertLessEqual(set(re.findall(r'[{,](\w+)="', text)), {"group", "entity", "item", "state", "bound", "id"})
        (self.work / "run.om").unlink()
        for absent in ("# UNIT", "# EOF", "host=", "run="):
            self.assertNotIn(absent, text)
        self.assertIn("# TYPE context_switches_total counter\n", text)
        lines = [json.loads(line) for line in (self.work / "s").read_text().splitlines()]
        metric = next(l["id"] for l in lines if l.get("def") == "metric" and l["name"] == "Context Switches")
        total = sum(e["v"]["u"] for l in lines if l.get("msg") == "metric" and l["metric"] == metric for e in l["data"])
        series = 'context_switches_total{group="kernel",entity="System",item="Context Switches"} '
        self.assertIn(f"{series}{total}\n", text)
        self.assertEqual(sorted(contents(self.work)), ["f.prom", "s"])
        os.mkfifo(self.work / "special")  # as a device, of which nobody wants to lose one
        for path, why in (("no/f.prom", "No such file"), (".", "Is a directory"), ("special", "Not a regular file")):
            done = pwrhost(self.work, "record", "--seconds", "0.1", "--prom", path)
            self.assertEqual(done.returncode, 1)
            self.assertIn(why, done.stderr)
        self.assertTrue((self.work / "special").is_fifo())

    def test_a_command_runs_on_over_the_parts(self):
        for more in ((), ("--continuous", "--flush-every", "0.1")):
            done = pwrhost(self.work, "record", "--root", TREE, "--rotate", "200ms", *more, "--", "sh", "-c",
                           "sleep 0.7; exit 3")
            self.assertEqual(done.returncode, 3, done.stderr)
            *first, last = [(self.work / name).read_text() for name in sorted(contents(self.work))]
            self.assertGreater(len(first), 1)
            self.assertRegex(last, r"(?s)Command: sh -c sleep.*Command Summary\n[^\n]*\n[^\n]*\nsh \(\d+\) *, 3 ")
            self.assertEqual([report for report in first if "Command Summary" in report or "Command:" in report], [])
            for name in contents(self.work):
                (self.work / name).unlink()
        for command, status in (("./nosuch", 127), (".", 126)):
            done = pwrhost(self.work, "record", "--rotate", "1h", "--save", "s", "--", command)
            self.assertEqual((done.returncode, contents(self.work)), (status, {}))

    def test_counters_for_a_monitoring_system_go_on_over_the_parts(self):
        for more in ((), ("--continuous",)):
            process = subprocess.Popen([PWRHOST, "record", "--preset", "server", "--quiet", "-w", "none", "--interval", "50",
                                        "--rotate", "250ms", "--seconds", "1.2", "--flush-every", "0.1", "--prom", "f.prom",
                                        "--save", "s", *more], cwd=self.work, stderr=subprocess.PIPE, text=True)
            texts = []
            while process.poll() is None:
                if (self.work / "f.prom").exists():
                    texts.append((self.work / "f.prom").read_text())
                time.sleep(0.01)
            self.assertEqual((process.returncode, process.communicate()[1]), (0, ""))
            texts.append((self.work / "f.prom").read_text())
            seen = [re.search(r"(?m)^context_switches_total\{.*\} (\d+)$", text) for text in texts if text]
            self.assertEqual(sorted(seen, key=lambda found: int(found[1])), seen)
            total, free = 0, 0
            parts = sorted(self.work.glob("s.*"))
            self.assertGreater(len(parts), 2)
            for part in parts:
                lines = [json.loads(line) for line in part.read_text().splitlines()]
                ids = {line["name"]: line["id"] for line in lines if line.get("def") == "metric"}
                elements = {name: [e["v"]["u"] for l in lines if l.get("msg") == "metric" and l["metric"] == ids[name]
                                   for e in l["data"]] for name in ("Context Switches", "Available Memory")}
                total += sum(elements["Context Switches"])
                free = elements["Available Memory"][-1]
            self.assertEqual(int(seen[-1][1]), total)
            memory = re.search(r"(?m)^available_memory_bytes\{.*\} (\S+)$", texts[-1])
            self.assertEqual(float(memory[1]), free * 1024)
            types = re.findall(r"(?m)^# TYPE (\S+)", texts[-1])
            self.assertEqual(len(types), len(set(types)))
            for name in contents(self.work):
                (self.work / name).unlink()

    def test_the_page_names_what_the_list_names_and_every_file_that_tells_of_power(self):
        page = (pathlib.Path(TREE).parents[3] / "docs/record.md").read_text()
        done = pwrhost(self.work, "record", "--root", TREE, "--list")
        rows = [re.split(r" {2,}", line) for line in done.stdout.splitlines()[1:]]
        sources, proof, ignored = re.split("## Proof|## Ignored", page.split("## Sources")[1])
        tests = "".join(path.read_text() for path in pathlib.Path(TREE).parents[1].glob("*.cpp"))
        for source, metric, *_ in rows:
            self.assertRegex(sources, rf"(?m)^\| {source} \|[^|\n]*\b{metric}\b")
            for test in re.search(rf"(?m)^\| {source} \| ([^|]+) \|", proof)[1].split(", "):
                self.assertRegex(tests, rf"(?m)^TEST(_F)?\({test},")
        globs = [glob for row in rows for glob in row[5].split()] + re.findall("`([^`]+)`", ignored)
        rules = [re.compile(re.escape(g).replace(r"\*\*", ".*").replace(r"\*", "[^/]*") + "$") for g in globs]
        telling = re.compile("power|energy|temp|fan|freq|volt|curr|_uw|_uj|watt|/in[0-9]")
        missing = []
        for folder, _, files in os.walk(TREE):
            for name in files:
                path = os.path.relpath(os.path.join(folder, name), TREE)
                if telling.search(path) and not any(rule.match(path) for rule in rules):
                    missing.append(path)
        self.assertEqual(missing, [])

    def test_a_stream_can_go_to_standard_output(self):
        done = pwrhost(self.work, "record", "--root", TREE, "--seconds", "0.1", "-w", "none", "--save", "-")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(json.loads(done.stdout.splitlines()[0])["msg"], "system")

    def test_a_stream_that_cannot_be_saved_is_an_error(self):
        done = pwrhost(self.work, "record", "--root", TREE, "--seconds", "0.1", "--save", "/dev/full")
        self.assertEqual(done.returncode, 1)
        self.assertIn("/dev/full: No space left on device", done.stderr)
        self.assertTrue((self.work / "run.csv").stat().st_size > 0)

    def test_a_root_that_is_not_there_is_an_error(self):
        done = pwrhost(self.work, "record", "--root", "nowhere", "--seconds", "0.1")
        self.assertEqual(done.returncode, 1)
        self.assertIn("nowhere: No such file or directory", done.stderr)

    def test_this_machine_can_be_recorded(self):
        done = pwrhost(self.work, "record", "--quiet", "-w", "auto,sum", "--seconds", "0.3")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        line = (self.work / "Automation_Summary.csv").read_text()
        self.assertIn("CPU Time States", line)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
