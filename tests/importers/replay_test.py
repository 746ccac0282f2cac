#!/usr/bin/env python3
"""Tests what replay and info do with inputs of all kinds: replay_test.py PWRHOST SAMPLES"""
import gzip
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PWRHOST, SAMPLES = sys.argv[1], pathlib.Path(sys.argv[2])
PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "inputs.md"
KINDS = {"ndjson": "ndjson", "ztbin": "ztbin", "ztjson": "ztjson", "pwr": "pwr", "part": "ztjson"}


class Inputs(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.made = pathlib.Path(cls.folder.name)
        first = SAMPLES / "first.ndjson"
        (cls.made / "run.ndjson").write_bytes(first.read_bytes())
        subprocess.run([PWRHOST, "replay", "-w", "bin,json,vyrta", "-o", "run", str(first)], cwd=cls.made,
                       capture_output=True, check=False)
        subprocess.run([PWRHOST, "replay", "-w", "bin,json", "--continuous", "-o", "part",
                        str(SAMPLES / "continuous.ndjson")], cwd=cls.made, capture_output=True, check=False)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def setUp(self):
        work = tempfile.TemporaryDirectory()
        self.addCleanup(work.cleanup)
        self.work = pathlib.Path(work.name)

    def run_host(self, *args, stdin=b""):
        done = subprocess.run([PWRHOST, *map(str, args)], cwd=self.work, input=stdin, capture_output=True, timeout=300)
        return done.returncode, done.stdout.decode(), done.stderr.decode()

    def inputs(self):
        """One of each kind."""
        files = {kind: self.made / f"run.{kind}" for kind in ("ndjson", "ztbin", "ztjson", "pwr")}
        files["part"] = self.made / "part_0.ztjson"
        return files

    def writers(self):
        listed = self.run_host("list")[1].split("\n\n")[0].splitlines()[1:]
        return [line.split()[0] for line in listed]

    def test_each_writer_takes_each_kind(self):
        writers = self.writers()
        self.assertGreaterEqual(len(writers), 8)
        for kind, file in self.inputs().items():
            for writer in writers:
                with self.subTest(kind=kind, writer=writer):
                    status, _, err = self.run_host("replay", "-w", writer, "-o", f"{kind}-{writer}",
                                                   "--start", "2026-01-01T00:00:00Z", file)
                    self.assertNotIn("offset", err)
                    # 2: the writer's own refusal of what it cannot carry; 1 would be the input's.
                    self.assertIn(status, (0, 2), err)

    def test_kinds_are_recognised_also_compressed_and_through_a_pipe(self):
        for kind, file in self.inputs().items():
            whole = file.read_bytes()
            want = self.stream_of(file)
            self.assertTrue(want)
            for data in (whole, gzip.compress(whole), subprocess.run(["zstd", "-qc"], input=whole, capture_output=True,
                                                                     check=True).stdout if has("zstd") else whole):
                with self.subTest(kind=kind):
                    (self.work / "unnamed").write_bytes(data)
                    self.assertEqual(want, self.stream_of("unnamed"))
                    status, out, err = self.run_host("info", "--json", "-", stdin=data)
                    self.assertEqual((0, KINDS[kind]), (status, json.loads(out)["kind"]), err)

    def stream_of(self, file):
        (self.work / "saved").unlink(missing_ok=True)
        status, _, err = self.run_host("replay", "-w", "none", "--save", "saved", file)
        self.assertEqual(0, status, err)
        return (self.work / "saved").read_bytes()

    def test_a_saved_stream_is_the_input(self):
        for kind, file in self.inputs().items():
            with self.subTest(kind=kind):
                self.run_host("replay", "-w", "raw,int", "-o", "a", "--save", "saved.zst", file)
                self.run_host("replay", "-w", "raw,int", "-o", "b", "saved.zst")
                for name in ("a.txt", "a_trace.csv"):
                    if (self.work / name).exists():
                        other = self.work / ("b" + name[1:])
                        self.assertEqual((self.work / name).read_bytes(), other.read_bytes())

    def test_damage_ends_the_run_where_it_is(self):
        for kind in ("ztbin", "ztjson", "pwr"):
            whole = self.inputs()[kind].read_bytes()
            (self.work / "cut").write_bytes(whole[:len(whole) - 13])
            with self.subTest(kind=kind):
                status, _, err = self.run_host("replay", "-w", "raw", "-o", "r", "cut")
                self.assertEqual(1, status)
                self.assertRegex(err, r"(?m)^cut: offset \d+: ")
                self.assertTrue((self.work / "r.txt").exists())
                samples = json.loads(self.run_host("info", "--json", "cut")[1])["samples"]
                self.assertGreater(samples, 0)

    def test_compression_that_is_damaged(self):
        whole = self.inputs()["ztbin"].read_bytes()
        packed = gzip.compress(whole)
        half = len(whole) // 2
        samples = self.info_of(self.inputs()["ztbin"])[0]["samples"]
        cases = {"two members": (gzip.compress(whole[:half]) + gzip.compress(whole[half:]), 0, ""),
                 "something behind": (packed + b"else", 1, r"unnamed: offset \d+: gzip: "),
                 "cut": (packed[:-20], 1, f"unnamed: offset {len(packed) - 20}: ")}
        for case, (data, wanted, message) in cases.items():
            with self.subTest(case=case):
                (self.work / "unnamed").write_bytes(data)
                for command in (("replay", "--quiet", "-w", "none"), ("info",)):
                    status, _, err = self.run_host(*command, "unnamed")
                    self.assertEqual(wanted, status)
                    self.assertRegex(err, "^" + message)
                if case != "cut":
                    self.assertIn(f" {samples} samples", self.run_host("info", "unnamed")[1])

    def test_a_cut_stream_is_told_like_any_other_input(self):
        packed = gzip.compress(self.inputs()["ndjson"].read_bytes())[:-20]
        (self.work / "cut").write_bytes(packed)
        self.assertEqual((1, "", f"cut: offset {len(packed)}: the compressed data ends early\n"),
                         self.run_host("replay", "-w", "none", "cut"))

    def test_a_frame_of_zstd_that_is_to_be_skipped_may_come_first(self):
        source = self.inputs()["ndjson"]
        self.run_host("replay", "-w", "none", "--save", "packed.zst", source)
        (self.work / "unnamed").write_bytes(b"\x50\x2a\x4d\x18\x03\0\0\0abc" + (self.work / "packed.zst").read_bytes())
        self.assertEqual(self.stream_of(source), self.stream_of("unnamed"))

    def test_the_number_of_a_metric_is_whole(self):
        part = self.inputs()["part"].read_text()
        for wrong in ("null", "", "1.5", "1e99", "99999999999999999999", "4294967306"):
            with self.subTest(id=wrong):
                (self.work / "part.ztjson").write_text(re.sub(r'"ID":\d+', f'"ID":{wrong}', part, count=1))
                status, _, err = self.run_host("replay", "-w", "none", "part.ztjson")
                self.assertEqual(1, status)
                self.assertRegex(err, r"(?m)^part.ztjson: offset \d+: no (whole number where one should be|number of a metric is \d+)$")

    def test_no_cut_and_no_flipped_byte_is_worse_than_an_error(self):
        for kind in ("ztbin", "ztjson", "pwr", "part"):
            whole = self.inputs()[kind].read_bytes()
            step = max(1, len(whole) // 25)
            for at in range(0, len(whole), step):
                for data in (whole[:at], whole[:at] + bytes([whole[at] ^ 0x55]) + whole[at + 1:]):
                    (self.work / "bad").write_bytes(data)
                    with self.subTest(kind=kind, at=at):
                        status = self.run_host("replay", "-w", "none", "--from", KINDS[kind], "bad")[0]
                        self.assertIn(status, (0, 1))

    def test_parts_of_a_run_in_any_order_and_of_two_runs(self):
        parts = sorted(self.made.glob("part_*.ztbin"))
        self.assertEqual(2, len(parts))
        self.assertEqual(0, self.run_host("replay", "-w", "bin", "--continuous", "-o", "again", *reversed(parts))[0])
        for part in parts:
            self.assertEqual(part.read_bytes(), (self.work / part.name.replace("part", "again")).read_bytes())
        for others, cause in [([self.made / "run.ztbin"], "is of another run than"),
                              ([self.made / "run.ztjson"], "the inputs of one replay are parts of one run"),
                              ([parts[0]], "is given twice")]:
            status, _, err = self.run_host("replay", "-w", "none", parts[0], *others)
            self.assertEqual(1, status)
            self.assertIn(cause, err)
        status, _, err = self.run_host("replay", "-w", "none", self.made / "run.pwr", self.made / "run.pwr")
        self.assertEqual((1, "pwrhost: a run of kind pwr is one file, not 2\n"), (status, err))

    def test_parts_that_begin_at_one_time(self):
        """What later ones refer to is defined by an earlier one."""
        def sample(metric):
            return [{"msg": "metric", "metric": metric, "t": 9, "data": [{"e": 1, "d": 2, "v": {"u": 5}}]}, {"msg": "flush"}]

        for writer, metrics in (("bin", (10, 11, 12, 11)), ("json", (10, 10))):
            lines = [{"def": "entity", "id": 1, "name": "P0"}, {"def": "descriptor", "id": 2, "name": "x"},
                     *({"def": "metric", "id": i, "name": f"M{i}", "type": "SAMPLED_VALUE"} for i in (10, 11, 12)),
                     {"msg": "system", "id": 1, "tscMHz": 1000, "start": 5}, *(x for m in metrics for x in sample(m))]
            (self.work / "s.ndjson").write_text("".join(json.dumps(line) + "\n" for line in lines))
            self.run_host("replay", "-w", writer, "--continuous", "-o", "first", "s.ndjson")
            parts = sorted(path.name for path in self.work.glob(f"first_?.zt{writer}"))
            self.assertEqual(len(metrics), len(parts))
            self.run_host("replay", "-w", writer, "--continuous", "-o", "again", *reversed(parts))
            for part in parts:
                with self.subTest(part=part):
                    again = self.work / part.replace("first", "again")
                    self.assertEqual((self.work / part).read_bytes(), again.read_bytes())

    def test_kinds_that_there_are_not(self):
        status, _, err = self.run_host("replay", "--from", "tape", self.made / "run.pwr")
        self.assertEqual(1, status)
        self.assertRegex(err, r'^pwrhost: unknown kind of input "tape"; there are: ndjson, .*ztbin')
        (self.work / "noise").write_bytes(bytes(range(128, 256)))
        self.assertRegex(self.run_host("replay", "noise")[2], "no kind of input that is known; there are: ndjson")
        # Text could be a stream that is wrong in its first line.
        (self.work / "table.csv").write_text("a,b\n1,2\n")
        status, _, err = self.run_host("replay", "-w", "raw", "table.csv")
        self.assertEqual(1, status)
        self.assertRegex(err, r"^table.csv:1: bad JSON .*; no kind of input that is known begins so, there are: ndjson, ")
        self.assertNotIn("no kind", self.run_host("replay", "-w", "raw", "--from", "ndjson", "table.csv")[2])
        self.assertRegex(self.run_host("info", "table.csv")[2], "no kind of input that is known; there are: ndjson")

    def test_what_is_no_input_costs_no_result_and_no_input(self):
        self.run_host("replay", "-w", "sum,raw,html", "--start", "2026-01-01T00:00:00Z", self.made / "run.ndjson")
        stream = (self.made / "run.ndjson").read_bytes()
        for name in ("saved", "other name"):
            (self.work / name).write_bytes(stream)
        (self.work / "link").hardlink_to(self.work / "saved")
        before = {path.name: path.read_bytes() for path in self.work.iterdir()}
        for words, said in [(["run.csv"], "run.csv:2: bad JSON"), (["run.html"], "run.html:1: bad JSON"),
                            (["--save", "saved", "run.html"], "run.html:1: bad JSON"),
                            *((["--" + option, "saved", "saved"], f"--{option} saved: this file is read")
                              for option in ("save", "log", "statuses")),
                            (["--save", "./link", "other name", "saved"], "--save ./link: this file is read")]:
            with self.subTest(words=words):
                status, _, err = self.run_host("replay", "-w", "sum,raw,html", *words)
                self.assertEqual(1, status)
                self.assertIn(said, err)
                self.assertEqual(before, {path.name: path.read_bytes() for path in self.work.iterdir()})
        with open(self.work / "saved", "rb") as saved:
            done = subprocess.run([PWRHOST, "replay", "-w", "none", "--save", "saved", "-"], cwd=self.work, stdin=saved, capture_output=True)
        self.assertEqual((1, b"pwrhost: --save saved: this file is read\n"), (done.returncode, done.stderr))
        self.assertEqual(stream, (self.work / "saved").read_bytes())
        self.assertEqual((1, "", "run.html: no kind of input"), (*(told := self.run_host("info", "run.html"))[:2], told[2][:26]))

    def test_quiet_leaves_the_notes_out(self):
        loud = self.run_host("replay", "-w", "raw", "-o", "r", self.made / "run.pwr")[2]
        self.assertIn("not in a .pwr file", loud)
        quiet = self.run_host("replay", "--quiet", "-w", "raw", "-o", "r", self.made / "run.pwr")
        self.assertEqual((0, ""), (quiet[0], quiet[2]))
        for kind, text, why in [("sadf", "{}", "not a single sample is in it"), ("ftrace", "x\n", "not a single event is in it")]:
            (self.work / "other").write_text(text)
            failed = self.run_host("replay", "--quiet", "-w", "none", "--from", kind, "other")
            self.assertEqual(1, failed[0])
            self.assertIn(f"pwrhost: other: {why}\n", failed[2])

    def test_commands_of_the_page(self):
        """As they are printed, in one folder, and the files that they promise."""
        for name, made in [("old.ztbin", "run.ztbin"), ("run.pwr", "run.pwr"), *((f"part_{i}.ztjson",) * 2 for i in (0, 1))]:
            (self.work / name).write_bytes((self.made / made).read_bytes())
        if has("zstd"):
            subprocess.run(["zstd", "-q", "run.pwr"], cwd=self.work, check=True)
        commands = [line.split("  #")[0].strip() for line in PAGE.read_text().splitlines() if line.startswith("    ")]
        commands = [c for c in commands if "FILE" not in c and (has("zstd") or "zstd" not in c)]
        self.assertGreaterEqual(len(commands), 4)
        env = {**os.environ, "PATH": f"{pathlib.Path(PWRHOST).resolve().parent}:{os.environ['PATH']}"}
        for command in commands:
            with self.subTest(command=command):
                done = subprocess.run(["sh", "-c", command], cwd=self.work, env=env, capture_output=True, timeout=60)
                self.assertEqual(0, done.returncode, done.stderr.decode())
        for name in ("old_long.csv", "all_0.ztbin", "run.ndjson.zst"):
            self.assertTrue((self.work / name).stat().st_size, name)
        self.assertEqual("ztbin", json.loads(done.stdout.splitlines()[0])["kind"])

    def test_info(self):
        status, out, err = self.run_host("info", "--json", *self.inputs().values())
        self.assertEqual((0, ""), (status, err))
        rows = [json.loads(line) for line in out.splitlines()]
        self.assertEqual(list(KINDS.values()), [row["kind"] for row in rows])
        keys = "file kind run host cpu kernel start duration metrics samples losses size".split()
        self.assertEqual([keys] * len(rows), [list(row) for row in rows])
        self.assertEqual(1, len({row["samples"] for row in rows[:3]}))
        self.assertEqual(os.path.getsize(self.made / "run.pwr"), rows[3]["size"])
        self.assertEqual(len(rows), len(self.run_host("info", *self.inputs().values())[1].splitlines()))

    def test_info_of_the_parts_of_a_run(self):
        for extension in ("ztbin", "ztjson"):
            parts = [self.made / f"part_{i}.{extension}" for i in (1, 0)]
            alone = [self.info_of(part)[0] for part in parts]
            together = self.info_of(*parts)
            with self.subTest(extension=extension):
                self.assertEqual([1, 1], [row["samples"] for row in alone])
                self.assertEqual(["sample", "sample"], [row["host"] for row in together])
                self.assertEqual([row["duration"] for row in alone], [row["duration"] for row in together])
                # What is missing of other parts is no damage, but what is missing of the part itself is.
                (self.work / "cut").write_bytes(parts[0].read_bytes()[:-13])
                status, _, err = self.run_host("info", "cut")
                self.assertEqual(1, status)
                self.assertRegex(err, r"^cut: offset \d+: ")

    def info_of(self, *files):
        status, out, err = self.run_host("info", "--json", *files)
        self.assertEqual((0, ""), (status, err))
        return [json.loads(line) for line in out.splitlines()]


def has(program):
    return subprocess.run(["sh", "-c", f"command -v {program}"], capture_output=True, check=False).returncode == 0


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
