#!/usr/bin/env python3
"""Runs pwrhost as a user does: command lines, exit statuses, what stands on standard error.

usage: cli_test.py PWRHOST PROBE_LIBRARY
"""
import array
import fcntl
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import termios
import time
import unittest

PWRHOST, PROBE = (str(pathlib.Path(a).resolve()) for a in sys.argv[1:3])
SYSTEM = '{"msg":"system","tscMHz":1000}\n'
TEXT = '{"msg":"text","text":"t"}\n'
GOOD = SYSTEM + TEXT
BAD = SYSTEM + TEXT + '{"msg":"nonsense"}\n' + TEXT


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
        self.assertEqual("pwrhost: cannot write to the output folder dir.d: No such file or directory",
                         err.splitlines()[0])
        self.assertEqual("first: init dir.d/x continuous", err.splitlines()[1])
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

    def test_order_of_the_report(self):
        (self.work / "order").write_text('{"def":"order",\n "features":["F"],\n "metrics":{"F":["M"]}\n}\n')
        self.check(0, "", self.replay("-w", "none", "--order", "order", "good"))

    def test_progress(self):
        size = len(GOOD) / 1e6
        self.check(0, f"\r100 %, {size:.1f} MB, 2 lines\n", self.replay("-w", "none", "--progress", "good"))
        self.check(0, f"\r{size:.1f} MB, 2 lines\n", self.replay("-w", "none", "--progress", "-", stdin=GOOD))
        self.check(0, "", self.replay("-w", "none", "--no-progress", "good"))

    def test_signals_finish_the_files(self):
        for number, name in [(signal.SIGINT, "SIGINT"), (signal.SIGTERM, "SIGTERM")]:
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
