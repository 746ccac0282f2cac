#!/usr/bin/env python3
"""Recorded traces, in the files that they were recorded in: tracedat_test.py PWRHOST TRACES"""
import gzip
import json
import pathlib
import random
import re
import subprocess
import sys
import tempfile
import unittest

PWRHOST, TRACES = sys.argv[1], pathlib.Path(sys.argv[2])
SKIPPED = 77
RECORDED = [TRACES / name for name in ("recorded-6.dat", "recorded-7.dat", "recorded-7-zstd.dat")]


class Recorded(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.work = pathlib.Path(folder.name)

    def replay(self, content, *words):
        """Status, lines of the stream, standard error."""
        saved = self.work / "saved"
        saved.unlink(missing_ok=True)
        (self.work / "trace").write_bytes(content)
        done = subprocess.run([PWRHOST, "replay", "-w", "none", "--quiet", "--save", "saved", *words, "trace"], cwd=self.work,
                              capture_output=True, text=True, timeout=120)
        return done.returncode, saved.read_text().splitlines() if saved.exists() else [], done.stderr

    def rows(self, lines, title):
        messages = [json.loads(line) for line in lines]
        table = next([m["container"], m["id"]] for m in messages if m.get("def") == "table" and m["title"] == title)
        return [m["cells"] for m in messages if m.get("msg") == "row" and m["table"] == table]

    def events(self, lines):
        return [line for line in lines if '"msg":"metric"' in line]

    def test_file_and_report_of_a_trace_give_one_stream(self):
        report = gzip.decompress((TRACES / "recorded.report.gz").read_bytes())
        status, of_report, err = self.replay(report)
        self.assertEqual(0, status, err)
        self.assertGreater(len(self.events(of_report)), 50)
        for file in RECORDED:
            with self.subTest(file=file.name):
                status, of_file, err = self.replay(file.read_bytes())
                self.assertEqual(0, status, err)
                differing = [json.loads(one)["cells"][0] for one, other in zip(of_file, of_report, strict=True) if one != other]
                # A report has a line in front that is no record.
                self.assertEqual(["Lines", "Other"], differing)

    def test_every_record_is_counted_by_the_name_of_its_event(self):
        report = gzip.decompress((TRACES / "recorded.report.gz").read_bytes()).decode()
        found = {}
        for name in re.findall(r"\] +[0-9.]+: (\w+):", report):
            found[name] = found.get(name, 0) + 1
        _, lines, err = self.replay(RECORDED[0].read_bytes())
        self.assertEqual(found, {row[0]: int(row[1]) for row in self.rows(lines, "Trace Events Summary: Counts")})
        self.assertIn(f"{sum(found.values())} records: ", err)
        marks = [json.loads(line)["data"][0] for line in self.events(lines) if '"mark ' in line]
        self.assertEqual(["mark 1", "mark 2", "mark 3"], [mark["v"]["s"] for mark in marks])
        self.assertTrue(all(mark["dur"] > 35e6 for mark in marks), marks)

    def test_compressed_and_piped_files_are_read_too(self):
        content = RECORDED[0].read_bytes()
        _, want, _ = self.replay(content)
        self.assertEqual(want, self.replay(gzip.compress(content))[1])
        piped = subprocess.run([PWRHOST, "replay", "-w", "none", "--quiet", "--save", "piped", "-"], cwd=self.work, input=content,
                               capture_output=True, timeout=120)
        self.assertEqual((0, want), (piped.returncode, (self.work / "piped").read_text().splitlines()), piped.stderr)

    def test_of_a_cut_file_what_is_there_is_kept(self):
        content = RECORDED[0].read_bytes()
        _, whole, _ = self.replay(content)
        kept = []
        for size in (21_000, 24_000, 28_000, 33_000):
            status, lines, err = self.replay(content[:size])
            self.assertEqual(1, status, err)
            self.assertIn(f"trace: offset {size}: the file ends before the trace does", err)
            kept.append(int(re.search(r"(\d+) records: .* 0 malformed", err)[1]))
            counts = dict((row[0], int(row[1])) for row in self.rows(whole, "Trace Events Summary: Counts"))
            for name, count, _ in self.rows(lines, "Trace Events Summary: Counts"):
                self.assertLessEqual(int(count), counts[name])
        self.assertEqual(sorted(set(kept)), kept)
        self.assertGreater(kept[0], 0)

    def test_of_a_cut_file_of_version_7_cpus_are_counted(self):
        for file, cuts in ((RECORDED[1], (24_576, 30_000, 36_863, 36_864, 36_900)), (RECORDED[2], (8_000, 9_000, 10_642, 10_700))):
            content = file.read_bytes()
            _, whole, _ = self.replay(content)
            kept = []
            for size in cuts:
                status, lines, err = self.replay(content[:size])
                self.assertEqual(1, status, err)
                self.assertIn(f"trace: offset {size}: the file ends before the trace does, and with it which CPU's", err)
                kept.append(int(re.search(r"(\d+) records: .* 0 malformed", err)[1]))
            self.assertEqual(sorted(kept), kept)
            self.assertGreater(kept[0], 0)
            # The last cut takes nothing but what tells where events stand.
            self.assertEqual(whole, lines)
            status, _, err = self.replay(content[:3_000])
            self.assertEqual(1, status)
            self.assertIn("trace: offset 0: libtracecmd can't read this file; if it was cut, it ends before the first event", err)

    def test_damaged_files_end_with_a_message(self):
        draw = random.Random(7)
        for file in RECORDED:
            content = file.read_bytes()
            for _ in range(12):
                damaged = bytearray(content[:draw.choice([20, 300, 5000, len(content)])])
                for _ in range(draw.choice([1, 20, 300])):
                    damaged[draw.randrange(10, len(damaged))] = draw.randrange(256)
                status, _, err = self.replay(bytes(damaged))
                self.assertIn(status, (0, 1), err)
                if status == 1:
                    self.assertRegex(err, r"trace: offset \d+: |trace:\d+: |not a single event")
                self.assertRegex(err, r"trace: \d+ records: ")


if __name__ == "__main__":
    probe = subprocess.run([PWRHOST, "replay", "-w", "none", str(RECORDED[0])], capture_output=True, text=True, check=False)
    if "was built without" in probe.stderr:
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv[:1])
