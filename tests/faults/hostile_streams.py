#!/usr/bin/env python3
"""Feeds pwrhost with streams that nobody sends on purpose: hostile_streams.py PWRHOST [--only NAME] [--sanitized]

Texts of every length and of every character, numbers and times that make no sense, and far more tables than there
are descriptors. All writers run; none may crash, hang, flood the log or take the memory of the machine, and what
is lost is told.
"""
import argparse
import json
import os
import pathlib
import resource
import subprocess
import sys
import tempfile
import threading
import time

LENGTHS = (65535, 65537, 1 << 20)
LARGEST_LENGTH = 16 << 20
TABLES = 100_000
DESCRIPTORS = 256
TEXT_FILES = (".csv", ".txt", ".ztjson")
SANE = {"tscMHz": 1000, "cpuMHz": 1000, "start": 1000, "stop": 9000, "durationSec": 1,
        "topology": [[1, 0, -1], [3, 0, 0], [4, 0, 1]]}


def everything(text, system=None, values=()):
    """A stream in which text("A"), text("B") ... stand wherever a text can; `values` are sampled one by one."""
    yield {"def": "quantity", "id": 1, "kind": 1, "name": text("A"), "units": text("B")}
    yield {"def": "attribute", "id": 1, "name": text("C"), "type": 1}
    yield {"def": "entity", "id": 2, "name": text("D"), "attributes": [[1, {"s": text("E")}]]}
    yield {"def": "descriptor", "id": 3, "name": text("F")}
    yield {"def": "handle", "id": 4, "name": text("G")}
    yield {"def": "process", "id": 5, "pid": 1, "path": text("H")}
    yield {"def": "metric", "id": 10, "name": text("I"), "group": "g", "type": "SAMPLED_VALUE", "quantity": 1,
           "value": 4, "entities": [2]}
    yield {"def": "metric", "id": 11, "name": text("J"), "type": "SAMPLED_RESIDENCY", "descriptors": [[4, 3]],
           "entities": [2]}
    yield {"def": "metric", "id": 12, "name": text("K"), "type": "TRACED_EVENT", "state": 4, "entities": [2]}
    yield {"def": "table", "container": 10, "id": 1, "title": text("L"), "quantity": 1, "handles": [4],
           "notes": {"0": [text("M")]}}
    yield {"msg": "system", "id": 1, "host": text("N"), "platform": text("O"), "osName": text("P"),
           "command": [text("Q")], "codeName": text("R"), **SANE, **(system or {})}
    yield {"msg": "text", "text": text("S")}
    yield {"msg": "header", "text": text("T")}
    yield {"msg": "container", "id": 10, "feature": text("U"), "metric": text("I"), "header": text("V")}
    yield {"msg": "table", "table": [10, 1]}
    yield {"msg": "row", "table": [10, 1], "cells": [text("W")]}
    yield {"msg": "metric", "metric": 10, "t": 2000, "data": [{"e": 2, "d": 3, "dur": 1000, "v": {"s": text("X")}}]}
    yield {"msg": "metric", "metric": 11, "t": 3000, "data": [{"e": 2, "d": 3, "dur": 1000, "v": {"u": 5}}]}
    yield {"msg": "metric", "metric": 12, "t": 3000, "data": [{"e": 2, "v": {"h": 4}, "info": [[1, {"h": 5}]]}]}
    for i, value in enumerate(values):
        for metric in (10, 11, 12):
            yield {"msg": "metric", "metric": metric, "t": 4000 + i, "data": [{"e": 2, "d": 3, "dur": 1, "v": value}]}


def large_texts():
    text = ("#" + "0123456789abcdef" * (LARGEST_LENGTH // 16))[:LARGEST_LENGTH]
    yield {"def": "entity", "id": 1, "name": "D" + text}
    yield {"def": "handle", "id": 4, "name": "G"}
    yield {"def": "metric", "id": 10, "name": "I", "type": "SAMPLED_VALUE", "entities": [1]}
    yield {"def": "table", "container": 10, "id": 1, "title": "L", "handles": [4]}
    yield {"msg": "system", "id": 1, **SANE}
    yield {"msg": "text", "text": "S" + text}
    yield {"msg": "row", "table": [10, 1], "cells": ["W" + text]}
    yield {"msg": "metric", "metric": 10, "t": 2000, "data": [{"e": 1, "dur": 1000, "v": {"s": "X" + text}}]}


def many_tables():
    """Half of the tables belong to reports; of the others, each metric has one with every over-time writer."""
    half = TABLES // 2
    yield {"def": "entity", "id": 1, "name": "E"}
    yield {"def": "handle", "id": 2, "name": "Value"}
    for i in range(1, half + 1):
        yield {"def": "table", "container": i, "id": i, "title": f"Table {i}", "handles": [2]}
        yield {"def": "metric", "id": i, "name": f"Metric {i}", "type": "SAMPLED_VALUE", "entities": [1], "value": 2}
    yield {"msg": "system", "id": 0, **SANE}
    for i in range(1, half + 1):
        yield {"msg": "row", "table": [i, i], "cells": [f"cell {i}"]}
    for t in (2000, 3000):
        for i in range(1, half + 1):
            yield {"msg": "metric", "metric": i, "t": t, "data": [{"e": 1, "dur": 10, "v": {"u": i}}]}


class Failure(Exception):
    pass


def expect(condition, text):
    if not condition:
        raise Failure(text)


class Run:
    """One run of pwrhost, with what came of it. Lines are objects, or bytes that are sent as they are."""

    def __init__(self, pwrhost, lines, *options, writers="all", descriptors=None, escaped=True):
        with tempfile.TemporaryDirectory(dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None) as folder:
            begin = time.monotonic()
            limit = ["prlimit", f"--nofile={descriptors}"] if descriptors else []
            with open(os.path.join(folder, "log"), "wb") as log:
                host = subprocess.Popen([*limit, pwrhost, "replay", "--quiet", "-w", writers, "-o", "run", *options, "-"],
                                        cwd=folder, stdin=subprocess.PIPE, stderr=log)
                timer = threading.Timer(300, host.kill)
                timer.start()
                try:
                    for line in lines:
                        if not isinstance(line, bytes):
                            line = json.dumps(line, ensure_ascii=escaped).encode() + b"\n"
                        host.stdin.write(line)
                    host.stdin.close()
                except BrokenPipeError:
                    pass
                self.status = host.wait()
                timer.cancel()
            self.seconds = time.monotonic() - begin
            self.files = {p.name: p.read_bytes() for p in pathlib.Path(folder).iterdir()}
            self.log = self.files.pop("log").decode(errors="replace").splitlines()
            self.damage = [
                name for name in self.files if name.endswith((".pwr", ".ztbin")) and subprocess.run(
                    [pwrhost, "show", "--check", name], cwd=folder, capture_output=True).returncode != 0]

    def expect_sane(self, statuses=(0, 2), lines=50, seconds=90):
        expect(self.status in statuses, f"ended with {self.status}: {self.log[:5]}")
        expect(len(self.log) <= lines, f"{len(self.log)} lines: {self.log[:5]}")
        expect(not any("Sanitizer" in line or "runtime error" in line for line in self.log), f"{self.log[:20]}")
        expect(self.seconds <= seconds, f"took {self.seconds:.0f} s")
        left = [name for name in self.files if not name.startswith(("run", "Automation"))]
        expect(not left, f"left {left}")

    def places(self, texts):
        """Which of the texts stand in which of the result files."""
        def holds(name, text):
            return (json.dumps(text, ensure_ascii=False)[1:-1] if name.endswith("json") else text).encode()
        return {name: [key for key, text in texts.items() if holds(name, text) in content]
                for name, content in self.files.items() if name.endswith(TEXT_FILES)}


def lengths(host):
    """A long text stands in all text results where a short one does."""
    def text_of(length):
        return lambda key: (key + "#" + "0123456789abcdef" * (length // 16 + 1))[:length]

    def places(length):
        run = Run(host, everything(text_of(length)))
        run.expect_sane()
        return run.places({chr(key): text_of(length)(chr(key)) for key in range(ord("A"), ord("Y"))})
    short = places(16)
    expect(len(short["run.csv"]) > 5 and len(short["run.ztjson"]) > 5, f"too little to see: {short}")
    for length in LENGTHS:
        found = places(length)
        for name, keys in short.items():
            expect(found.get(name) == keys, f"{length} bytes, {name}: {found.get(name)} instead of {keys}")


def large(host):
    run = Run(host, large_texts())
    run.expect_sane()
    text = ("#" + "0123456789abcdef" * (LARGEST_LENGTH // 16))[:LARGEST_LENGTH].encode()
    for name, keys in [("run.csv", b"SW"), ("run.txt", b"SDX"), ("run_trace.csv", b"SDX"), ("run.ztjson", b"DX")]:
        for key in keys:
            expect(bytes([key]) + text in run.files[name], f"{name} lacks {chr(key)}")
    # Of the whole family: nothing runs besides pwrhost that takes more.
    peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss >> 10
    expect(peak < 2500, f"took {peak} MiB for {LARGEST_LENGTH >> 20} MiB texts")


def characters(host):
    """Every character up to U+00FF, escaped or not, reaches the text results as it is; other bytes are bad lines."""
    shown = "".join(map(chr, range(1, 256))) + "\u20ac\U0001f600"
    every = shown + "\0z"  # documents end a text at a zero byte, all else holds it
    runs = [Run(host, everything(lambda key: key + every), escaped=escaped) for escaped in (True, False)]
    for run in runs:
        run.expect_sane()
    expect(runs[0].files == runs[1].files, "escaped and plain characters differ")
    for name, keys, text in [("run.csv", "SW", every), ("run.txt", "SX", every), ("run_trace.csv", "SX", every)]:
        for key in keys:
            expect((key + text).encode() in runs[0].files[name], f"{name} lacks {key}")
    names = str(json.loads(runs[0].files["run.ztjson"]))
    expect(all(repr(key + shown)[1:-1] in names for key in "DX"), "run.ztjson lacks names")

    good = list(everything(lambda key: key))
    bad = [b'{"msg":"text","text":"' + bytes([byte]) + b'"}\n' for byte in range(128, 256)]
    bad += [b'{"msg":"text","text":"' + text + b'"}\n' for text in (b"\xc0\x80", b"\xed\xa0\x80", b"\xf4\x90\x80\x80",
                                                                      b"\0", b"\\ud800")]
    # Where the parser looks at 16 bytes at once, and where it does not.
    bad += [b'{"msg":"text","text":"' + b" " * i + b"\x1f" + b" " * 32 + b'"}\n' for i in range(16)]
    run = Run(host, [*good, *bad], "--keep-going")
    run.expect_sane(statuses=(1,), lines=len(bad) + 10)
    expect(sum(line.startswith("-:") for line in run.log) == len(bad), f"not all are told: {run.log[-5:]}")
    expect(run.files == Run(host, good).files, "bad lines change the results")


def numbers(host):
    least, largest = -1 << 63, (1 << 64) - 1
    values = [{"r": v} for v in ("nan", "inf", "-inf", 1.7e308, -1.7e308, 5e-324, ["nan", "-inf"])]
    values += [{"u": largest}, {"u": [0, largest]}, {"i": least}, {"i": [least, -least - 1]}, {"h": None}, {}]
    values[-1] = None
    plain = (lambda key: key)
    for system in ({}, {"tscMHz": 0}, {"tscMHz": 0, "cpuMHz": 0, "busMHz": 0}, {"tscMHz": -1}, {"tscMHz": 1e38},
                   {"tscMHz": 1e-38}, {"start": 9000, "stop": 10}, {"start": 1 << 63, "stop": 1}):
        run = Run(host, everything(plain, system, values))
        run.expect_sane(lines=100)
        expect(not run.damage, f"{system}: damaged {run.damage}")
    times = [5000, 4000, 10, 0, largest, 1]
    back = [{"msg": "metric", "metric": metric, "t": t, "data": [{"e": 2, "d": 3, "dur": dur, "v": {"u": 7}}]}
            for t in times for metric in (10, 11, 12) for dur in (0, 1 << 63, largest)]
    back.insert(9, {"msg": "stop", "tsc": 1, "durationSec": -5})
    for options in ((), ("--continuous",)):
        run = Run(host, [*everything(plain), *back, {"msg": "flush"}], *options)
        run.expect_sane(lines=100)
        expect(not run.damage, f"damaged {run.damage}")


def tables(host):
    """Tables that find no descriptor are lost, and that is told; the writers that need none lose nothing."""
    run = Run(host, many_tables(), descriptors=DESCRIPTORS)
    run.expect_sane(statuses=(2,), lines=5 * TABLES, seconds=200)
    alone = Run(host, many_tables(), writers="json,bin")
    for name in ("run.ztjson", "run.ztbin"):
        expect(run.files.get(name) == alone.files[name], f"{name} is harmed")
    log = "\n".join(run.log)
    for line in ("Warning: Could not post process metric data: Too many open file handles", "Too many open files", "pwrhost: raw: ", "pwrhost: int: ",
                 "pwrhost: phm-csv: ", "pwrhost: vyrta: "):
        expect(line in log, f"no line {line!r}")
    # The first tables have all their rows.
    expect(run.files["run.csv"].count(b"\ncell ") > DESCRIPTORS / 2, "a report without rows")
    tables_of_raw = Run(host, many_tables(), writers="raw", descriptors=DESCRIPTORS).files["run.txt"].split(b"Metric ")
    expect(len(tables_of_raw) > DESCRIPTORS / 2, "no tables")
    expect(len({table.count(b"\n") for table in tables_of_raw[1:]}) == 1, "tables are cut")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("pwrhost", type=pathlib.Path)
    parser.add_argument("--only")
    parser.add_argument("--sanitized", action="store_true", help="what needs all descriptors is left out: checks of "
                        "types look at memory through a pipe, and find no type where there is none to be had")
    options = parser.parse_args()
    failures = 0
    for case in (lengths, characters, numbers, tables, large):
        if options.only not in (None, case.__name__):
            continue
        if options.sanitized and case is tables:
            print("tables: left out under sanitizers")
            continue
        begin = time.monotonic()
        try:
            case(str(options.pwrhost.resolve()))
            result = "good"
        except Failure as failure:
            result = f"FAILED: {failure}"
            failures += 1
        print(f"{case.__name__}: {time.monotonic() - begin:.1f} s, {result}", flush=True)
    return 1 if failures else 0


sys.exit(main())
