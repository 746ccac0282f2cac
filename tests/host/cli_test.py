#!/usr/bin/env python3
"""Runs pwrhost as a user does: command lines, exit statuses, what stands on standard error.

usage: cli_test.py PWRHOST PROBE_LIBRARY
"""
import array
import fcntl
import os
import pathlib
import pty
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest

PWRHOST, PROBE = (str(pathlib.Path(a).resolve()) for a in sys.argv[1:3])
KINDS = str(pathlib.Path(__file__).resolve().parent.parent / "faults" / "every_kind.ndjson")
SYSTEM = '{"msg":"system","tscMHz":1000}\n'
TEXT = '{"msg":"text","text":"t"}\n'
GOOD = SYSTEM + TEXT
BAD = SYSTEM + TEXT + '{"msg":"nonsense"}\n' + TEXT

tempfile.gettempdir()  # which it keeps: these tests are made there, but the program is told nothing of it
os.environ.pop("TMPDIR", None)


class Cli(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.work = pathlib.Path(folder.name)
        (self.work / "good").write_text(GOOD)
        (self.work / "bad").write_text(BAD)

    def run_host(self, *args, stdin="", env=None):
        done = subprocess.run([PWRHOST, *args], cwd=self.work, input=stdin.encode(), capture_output=True,
                              timeout=60, env={**os.environ, **(env or {})})
        return done.returncode, done.stdout.decode(), done.stderr.decode()

    def replay(self, *args, **more):
        return self.run_host("replay", "--plugins", PROBE, *args, **more)

    def check(self, expected_status, expected_err, result):
        self.assertEqual((expected_status, expected_err), (result[0], result[2]))

    def test_usage_errors(self):
        for args in [[], ["bogus"], ["replay"], ["replay", "--log-level", "5", "good"],
                     ["replay", "--log-level", "x", "good"], ["replay", "--nonsense", "good"], ["show"],
                     ["list", "x"]]:
            with self.subTest(args=args):
                status, out, err = self.run_host(*args)
                self.assertEqual((1, ""), (status, out))
                self.assertNotEqual("", err)
        for args, said in [(["bogus", "--help"], 'pwrhost: unknown command "bogus"; there are: list, '),
                           (["--bogus", "list"], 'pwrhost: unknown option "--bogus"; '),
                           (["replay", "--max-points", "x", "good"], "--max-points: Value x not in range 1 to 1000000000\n")]:
            self.assertEqual(said, self.run_host(*args)[2][:len(said)])
        self.assertEqual(0, self.run_host("--help")[0])
        self.assertEqual(0, self.run_host("replay", "--help")[0])

    def test_list(self):
        status, out, err = self.run_host("list", "--plugins", PROBE)
        self.assertEqual((0, ""), (status, err))
        self.assertEqual("WRITER  EXTENSION  CONTINUOUS  DESCRIPTION\n"
                         "first   .none      yes         Writes nothing\n"
                         "second  .none      no          Writes nothing\n\n", out[:out.index("INPUT")])
        self.assertRegex(out, "(?m)^ndjson +.ndjson +A message stream")

    def test_delivery_to_all_or_some(self):
        status, out, err = self.replay("-w", "all", "good")
        self.assertEqual(0, status)
        self.assertEqual(8, len(err.splitlines()))
        status, out, err = self.replay("-w", "second,first,second", "-o", "dir.d/x", "--continuous", "good")
        self.assertEqual("pwrhost: --continuous: results only at the end of the run from second",
                         err.splitlines()[0])
        self.assertEqual("first: init dir.d/x continuous", err.splitlines()[1])
        for names in ["First", " SECOND , first", "ALL"]:
            self.assertIn("first: init run", self.replay("-w", names, "good")[2])
        self.assertIn("first: init dir/run\n", self.replay("-w", "first", "-o", "dir/", "good")[2])
        status, out, err = self.replay("-w", "second", "good")
        self.assertEqual({"second"}, {line.split(":")[0] for line in err.splitlines()})
        self.check(0, "", self.replay("-w", "none", "good"))
        self.check(0, "", self.run_host("replay", "-w", "none", "-", stdin=GOOD))

    def test_bad_lines(self):
        unknown = '3: unknown message "nonsense"\n'
        self.check(1, "bad:" + unknown, self.replay("-w", "none", "bad"))
        self.check(1, "-:" + unknown, self.replay("-w", "none", "-", stdin=BAD))
        for extra, texts in [[[], 1], [["--keep-going"], 2]]:
            status, out, err = self.replay("-w", "first", *extra, "bad")
            self.assertEqual(1, status)
            self.assertEqual(texts, err.count("text 2 id=0"))
            self.assertIn("first: fini", err)

    def test_several_inputs_are_one_stream(self):
        (self.work / "head").write_text(SYSTEM)
        self.check(0, "", self.replay("-w", "none", "--no-progress", "head", "-", stdin=TEXT))
        self.check(1, "-:1: unknown message \"nonsense\"\n",
                   self.replay("-w", "none", "head", "-", "good", stdin='{"msg":"nonsense"}\n'))

    def test_failed_operations(self):
        status, out, err = self.replay("-w", "all", "--log", "log", "--statuses", "statuses", "good",
                                       env={"PROBE_FAILS": "text,fini"})
        self.assertEqual((2, "pwrhost: first: 2 operations failed\n"), (status, err))
        self.assertEqual("2,first,text,1\n0,first,fini,1\n", (self.work / "statuses").read_text())
        status, out, err = self.replay("-w", "all", "--log", "log", "--statuses", "statuses", "good",
                                       env={"PROBE_FAILS": "init"})
        self.assertEqual((2, "pwrhost: first: 1 operation failed\n"), (status, err))
        self.assertEqual("0,first,init,1\n", (self.work / "statuses").read_text())
        self.assertNotIn("first: text", (self.work / "log").read_text())
        status = self.replay("-w", "all", "--log", "log", "bad", env={"PROBE_FAILS": "text"})[0]
        self.assertEqual(1, status)
        self.replay("-w", "all", "--log", "log", "--statuses", "statuses", "good")
        self.assertEqual("", (self.work / "statuses").read_text())

    def test_what_cannot_be_opened_or_written(self):
        (self.work / "text").write_text("no library\n")
        (self.work / "order").write_text('{\n"features": [1]\n}\n')
        (self.work / "surrogate").write_text('{"features": ["\\udce9"]}\n')
        missing = "No such file or directory\n"
        for args, message in [
            (["none"], "pwrhost: cannot open the stream none: " + missing),
            (["."], "pwrhost: cannot open the stream .: Is a directory\n"),
            (["good", "-w", "foo"], 'pwrhost: unknown writer "foo"; there are: first, second\n'),
            (["good", "-w", "first,"], 'pwrhost: unknown writer ""; there are: first, second\n'),
            (["good", "-w", "first", "--log", "no/log"], "pwrhost: cannot open the log no/log: " + missing),
            (["good", "-w", "none", "--statuses", "no/s"],
             "pwrhost: cannot open the statuses file no/s: " + missing),
            (["good", "-w", "none", "--order", "none"],
             "pwrhost: cannot read the output configuration none: " + missing),
            (["good", "-w", "none", "--order", "order"],
             'pwrhost: order: "features": expected a text, found 1\n'),
            (["good", "-w", "none", "--order", "surrogate"],
             "pwrhost: surrogate: half of a surrogate pair in a text\n"),
            (["good", "-w", "all", "--log", "/dev/full"],
             "pwrhost: cannot write the log /dev/full: No space left on device\n"),
        ]:
            with self.subTest(args=args):
                self.check(1, message, self.replay(*args))
        self.check(1, "pwrhost: first: 1 operation failed\n"
                      "pwrhost: cannot write the statuses file /dev/full: No space left on device\n",
                   self.replay("-w", "first", "--log", "log", "--statuses", "/dev/full", "good",
                               env={"PROBE_FAILS": "text"}))

    def test_libraries_that_are_none(self):
        (self.work / "text").write_text("no library\n")
        os.mkfifo(self.work / "pipe")
        libc = next(p for p in pathlib.Path("/lib/x86_64-linux-gnu").glob("libc.so*"))
        for path, message in [
            ("missing", "cannot open the plug-in library missing: No such file or directory"),
            (".", "cannot open the plug-in library .: not a regular file"),
            ("pipe", "cannot open the plug-in library pipe: not a regular file"),
            ("text", "text is not a plug-in library: ./text: file too short"),
            (str(libc), f"{libc} is not a plug-in library: it has no function createPlugins"),
        ]:
            with self.subTest(path=path):
                self.check(1, f"pwrhost: {message}\n", self.run_host("replay", "--plugins", path, "good"))
                self.check(1, f"pwrhost: {message}\n", self.run_host("list", "--plugins", path))

    def test_nothing_is_emptied_before_the_command_line_is_checked(self):
        for name in ("log", "statuses"):
            (self.work / name).write_text("from an earlier run\n")
        (self.work / "zeros").write_bytes(bytes(4))
        for wrong in [["-w", "foo"], ["--order", "none"], ["--plugins", "none"], ["-o", "-"], ["--temp", "none"], ["--from", "none"],
                      ["-o", "none/run"], ["zeros"], ["--save", "none/s"]]:
            with self.subTest(wrong=wrong):
                command = ["record", "--seconds", "9"] if wrong == ["-o", "none/run"] else ["replay"]
                if command == ["replay"] and wrong != ["zeros"]:
                    command.append("good")
                status = self.run_host(*command, "--plugins", PROBE, "-w", "all", "--log", "log", "--statuses", "statuses",
                                       *wrong)[0]
                self.assertEqual(1, status)
        for name in ("log", "statuses"):
            self.assertEqual("from an earlier run\n", (self.work / name).read_text())

    def test_errors_in_the_log_make_the_status_2(self):
        # The report misses its order, says so at level 1, and succeeds.
        (self.work / "order").write_text('{"metrics":{}}\n')
        replay = lambda *args: self.run_host("replay", "--quiet", "-w", "sum", "--order", "order", *args, "good")
        line = "ERROR: No entries present for metrics in the output config file. Shouldn't happen!\n"
        self.check(2, line, replay())
        self.check(0, "", replay("--log-level", "0"))
        self.check(2, "pwrhost: 1 error in the log log\n", replay("--log", "log"))
        self.assertEqual(line, (self.work / "log").read_text())

    def test_a_line_that_repeats_is_counted(self):
        stream = SYSTEM + "".join('{"msg":"text","text":"t"}\n' for _ in range(25))
        status, out, err = self.replay("-w", "first", "--quiet", "-", stdin=stream)
        repeated = [line for line in err.splitlines() if "first: text" in line]
        self.assertEqual(11, len(repeated), err)
        self.assertIn("pwrhost: 15 times more: first: text", repeated[-1])
        self.replay("-w", "first", "--log", "log", "-", stdin=stream)
        self.assertEqual(25, (self.work / "log").read_text().count("first: text"))

    def test_why_a_writer_refuses_everything(self):
        (self.work / "slow").write_text('{"msg":"system","tscMHz":1000,"cpuMHz":0}\n' + TEXT)
        reason = "Invalid CPU frequency: 0Hz"
        self.assertIn(reason, self.run_host("replay", "--quiet", "-w", "vyrta", "slow")[2])
        # A user who asks for all, however it is written, does without.
        (self.work / "timeless").write_text('{"msg":"system","tscMHz":1000,"cpuMHz":1000}\n' + TEXT)
        for writers, status in [("openmetrics", 1), (" ALL ", 0)]:
            self.assertEqual(status, self.run_host("replay", "--quiet", "-w", writers, "timeless")[0])
        at_level_2 = self.run_host("replay", "--quiet", "-w", "vyrta", "--log-level", "2", "slow")[2]
        self.assertEqual(1, at_level_2.count(reason))

    def test_list_of_files(self):
        self.check(0, "pwrhost: files:\n  run.csv                  4 bytes\n  Automation_Summary.csv  52 bytes\n",
                   self.run_host("replay", "-w", "sum,auto", "good"))
        self.check(0, "", self.run_host("replay", "-w", "sum,auto", "--quiet", "good"))

    def test_what_cannot_be_printed_is_an_error(self):
        for words in (["--version"], ["--help"], ["replay", "--help"], ["list"], ["completion", "zsh"], ["info", "good"]):
            with self.subTest(words=words), open("/dev/full", "wb") as full:
                done = subprocess.run([PWRHOST, *words], cwd=self.work, stdout=full, stderr=subprocess.PIPE, timeout=60)
                self.assertEqual(1, done.returncode)
                self.assertRegex(done.stderr, b"^pwrhost: cannot write ")

    def test_show_reads_standard_input(self):
        self.run_host("replay", "-w", "bin", "good")
        shown = self.run_host("show", "run.ztbin")
        content = (self.work / "run.ztbin").read_bytes()
        done = subprocess.run([PWRHOST, "show", "-"], input=content, capture_output=True, timeout=60)
        self.assertEqual(shown, (done.returncode, done.stdout.decode(), done.stderr.decode()))
        done = subprocess.run([PWRHOST, "show", "--check", "-"], input=content, capture_output=True, timeout=60)
        self.assertEqual((0, b"-: sound\n"), (done.returncode, done.stdout))

    def test_an_empty_stream_is_said(self):
        said = "pwrhost: the stream is empty: it defines nothing and delivers nothing\n"
        self.check(0, said, self.replay("-w", "none", "-", stdin="\n# nothing\n"))
        self.check(0, said, self.replay("-w", "none", "/dev/null"))

    def test_output_to_standard_output(self):
        self.run_host("replay", "-w", "raw", "good")
        for writer, file in [("sum", "run.csv"), ("raw", "run.txt"), ("json", "run.ztjson"), ("bin", "run.ztbin")]:
            with self.subTest(writer=writer):
                self.run_host("replay", "-w", writer, "good")
                done = subprocess.run([PWRHOST, "replay", "-w", writer, "-o", "-", "good"], cwd=self.work,
                                      capture_output=True, timeout=60)
                self.assertEqual((0, b""), (done.returncode, done.stderr))
                self.assertEqual((self.work / file).read_bytes(), done.stdout)
        before = sorted(os.listdir(self.work))
        one = "-o - takes exactly one writer"
        both = "standard output takes a result or the stream, not both"
        for said, *args in [(one, "replay", "-w", "sum,raw", "good"), (one, "replay", "-w", "json", "--continuous", "good"),
                            (one, "replay", "-w", "phm-csv", KINDS), (both, "replay", "--save", "-", "good"),
                            (both, "record", "--save", "-", "--seconds", "9")]:
            with self.subTest(args=args):
                status, out, err = self.run_host(*args, "-o", "-")
                self.assertEqual((1, ""), (status, out))
                self.assertIn(said, err)
        self.assertEqual(before, sorted(os.listdir(self.work)))

    def test_order_of_the_report(self):
        (self.work / "order").write_text('{"def":"order",\n "features":["F"],\n "metrics":{"F":["M"]}\n}\n')
        self.check(0, "", self.replay("-w", "none", "--order", "order", "good"))

    def test_progress(self):
        size = len(GOOD) / 1e6
        self.check(0, f"\r100 %, {size:.1f} MB, 2 lines\n", self.replay("-w", "none", "--progress", "good"))
        self.check(0, f"\r{size:.1f} MB, 2 lines\n", self.replay("-w", "none", "--progress", "-", stdin=GOOD))
        self.check(0, "", self.replay("-w", "none", "--no-progress", "good"))
        # An importer has lines to give when all inputs are read.
        trace = pathlib.Path(KINDS).parents[1] / "traces" / "busy.txt.gz"
        self.assertIn("\r100 %", self.replay("-w", "none", "--progress", str(trace))[2])

    def test_progress_fits_the_terminal(self):
        ours, theirs = pty.openpty()
        self.addCleanup(os.close, ours)
        fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 12, 0, 0))
        done = subprocess.run([PWRHOST, "replay", "-w", "none", "good"], cwd=self.work, stderr=theirs, timeout=60)
        os.close(theirs)
        shown = os.read(ours, 1000).decode()
        self.assertEqual(0, done.returncode)
        self.assertEqual("\r100 %, 0.0 ", shown.rstrip("\r\n")[:12])
        self.assertLess(len(shown.strip()), 12)

    def test_signals_finish_the_files(self):
        for number, name in [(signal.SIGINT, "SIGINT"), (signal.SIGTERM, "SIGTERM"), (signal.SIGHUP, "SIGHUP")]:
            with self.subTest(name=name):
                process = subprocess.Popen(
                    [PWRHOST, "replay", "--plugins", PROBE, "-w", "first", "--progress", "-"], cwd=self.work,
                    stdin=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
                process.stdin.write(GOOD + '{"half of a li')
                process.stdin.flush()
                deadline = time.time() + 30
                while self.bytes_waiting(process.stdin) and time.time() < deadline:
                    time.sleep(0.01)
                time.sleep(0.1)
                process.send_signal(number)
                err = process.communicate(timeout=30)[1]
                self.assertIn(f"pwrhost: {name} after line 2: finishing the files\n", err)
                self.assertIn("first: text", err)
                self.assertIn("first: fini\n", err)
                self.assertEqual(0, process.returncode)

    def test_a_signal_that_was_ignored_stays_so(self):
        ignored = [signal.SIGINT, signal.SIGHUP]
        process = self.start("-w", "sum", preexec_fn=lambda: [signal.signal(s, signal.SIG_IGN) for s in ignored])
        for number in ignored:
            process.send_signal(number)
        self.send(process, TEXT.encode())
        process.stdin.close()
        self.assertEqual((b"", 0), (process.stderr.read(), process.wait(timeout=30)))

    def start(self, *args, **more):
        """Starts a run that reads standard input, and waits until it does."""
        process = subprocess.Popen([PWRHOST, "replay", "--quiet", *args, "-"], cwd=self.work, stdin=subprocess.PIPE,
                                   stderr=subprocess.PIPE, **more)
        self.addCleanup(process.stdin.close)
        self.addCleanup(process.stderr.close)
        self.send(process, SYSTEM.encode())
        return process

    def send(self, process, content):
        process.stdin.write(content)
        process.stdin.flush()
        deadline = time.time() + 30
        while self.bytes_waiting(process.stdin) and time.time() < deadline:
            time.sleep(0.01)

    def folders(self, place):
        return list(place.glob(".pwrhost-*"))

    def results(self):
        return {path.name: path.read_bytes() for path in self.work.iterdir() if path.name not in ("good", "bad")}

    def test_two_runs_at_once_do_not_meet(self):
        lines = pathlib.Path(KINDS).read_bytes().splitlines(keepends=True)

        def feed(*processes):
            for begin in range(0, len(lines), 10):
                for process in processes:
                    self.send(process, b"".join(lines[begin:begin + 10]))
            for process in processes:
                process.stdin.close()
                self.assertEqual(0, process.wait(timeout=60), process.stderr.read())

        def begin(name):
            return subprocess.Popen([PWRHOST, "replay", "--quiet", "-w", "all", "-o", name, "-"], cwd=self.work,
                                    stdin=subprocess.PIPE, stderr=subprocess.PIPE)

        for name in "ab":
            process = begin(name)
            with process.stderr:
                feed(process)
        expected = self.results()
        for name in expected:
            (self.work / name).unlink()
        processes = [begin("a"), begin("b")]
        with processes[0].stderr, processes[1].stderr:
            feed(*processes)
        self.assertEqual(expected, self.results())

    def test_where_temporary_files_lie(self):
        for place in ("given", "common", "out"):
            (self.work / place).mkdir()
        for args, env, place in [(["--temp", "given"], {"TMPDIR": "common"}, "given"),
                                 ([], {"TMPDIR": "common"}, "common"), ([], {}, "out"),
                                 ([], {"TMPDIR": "missing"}, "out")]:
            with self.subTest(place=place, env=env):
                process = self.start("-w", "sum", "-o", "out/run", *args, env={**os.environ, **env})
                self.assertEqual(1, len(self.folders(self.work / place)))
                process.stdin.close()
                self.assertEqual(0, process.wait(timeout=30))
                self.assertEqual([], self.folders(self.work / place))
                self.assertTrue((self.work / "out/run.csv").exists())
        status, out, err = self.run_host("replay", "--temp", "none", "good")
        self.assertEqual((1, "pwrhost: cannot make a folder for the writers' temporary files in none: No such file "
                             "or directory; --temp names another place\n"), (status, err))

    def test_what_a_killed_run_leaves_is_removed(self):
        killed = self.start("-w", "sum")
        alive = self.start("-w", "sum", "-o", "alive")
        killed.kill()
        killed.wait(timeout=30)
        self.assertEqual(2, len(self.folders(self.work)))
        status, out, err = self.run_host("replay", "--quiet", "good")
        self.assertEqual(0, status)
        self.assertRegex(err, r"^pwrhost: removed .*/\.pwrhost-......, which a killed run has left\n$")
        self.assertEqual(1, len(self.folders(self.work)))
        alive.stdin.close()
        self.assertEqual(0, alive.wait(timeout=30))

    @staticmethod
    def bytes_waiting(stream):
        count = array.array("i", [0])
        fcntl.ioctl(stream.fileno(), termios.FIONREAD, count)
        return count[0]

    def test_a_closed_standard_error_does_not_end_the_run(self):
        process = subprocess.Popen(["sh", "-c", f'"{PWRHOST}" replay --plugins "{PROBE}" -w all --statuses s bad 2>&-'],
                                   cwd=self.work, env={**os.environ, "PROBE_FAILS": "fini"})
        self.assertEqual(1, process.wait(timeout=30))
        self.assertEqual("0,first,fini,1\n", (self.work / "s").read_text())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
