#!/usr/bin/env python3
"""Checks that a result, read back and written again by its own writer, has the same bytes.

usage: round_trip.py PWRHOST LIBRARY --files ROOT       the samples and the streams of tests/streams
       round_trip.py PWRHOST LIBRARY --random FIRST COUNT     so many streams of a generator, from a seed on

Where a byte cannot come back, docs/inputs.md says which and why; EXCEPTIONS names the results that hold such bytes.
"""
import json
import os
import pathlib
import random
import subprocess
import sys
import tempfile

PWRHOST, LIBRARY = sys.argv[1:3]
FORMATS = {"bin": ".ztbin", "json": ".ztjson", "vyrta": ".pwr"}

# Results that differ, with what in them does not come back. One that comes back after all is a failure too.
VOID = "records of a metric that was void: the file has none of its samples"
SIGN = "the sign of a not-a-number, in a run without a clock frequency"
EMPTY = "the numbers of parts without data among parts of one end"
EXCEPTIONS = {
    ("bin-failures/missing-descriptor.ndjson", "bin"): "strings of an element that failed",
    ("export-clocks/no-frequency.ndjson", "bin"): SIGN,
    ("json-no-frequency/stream.jsonl", "bin"): SIGN,
    ("continuous-flush/stream.jsonl", "json --continuous"): EMPTY,
    ("continuous-log/stream.jsonl", "json --continuous"): EMPTY,
    ("bin-continuous/stream.ndjson", "vyrta"): VOID,
    ("bin-kinds/stream.ndjson", "vyrta"): VOID,
    ("bin-small/stream.ndjson", "vyrta"): VOID,
    ("continuous-flush/stream.jsonl", "vyrta"): VOID,
    ("json-rates/stream.jsonl", "vyrta"): VOID,
    ("json-states/stream.jsonl", "vyrta"): VOID,
    ("pwr-limits/stream.jsonl", "vyrta"): VOID,
    ("pwr-void/stream.jsonl", "vyrta"): VOID,
    ("pwr-wakelocks/stream.jsonl", "vyrta"): VOID,
    ("pwr-processes/stream.jsonl", "vyrta"): "a thread that a sample names before its start, when another one had its tid",
}


def replay(work, writer, output, *args):
    env = {k: v for k, v in os.environ.items() if not k.startswith("PW_")}
    return subprocess.run([PWRHOST, "replay", "--plugins", LIBRARY, "--no-progress", "-w", writer, "-o", output, *args],
                          cwd=work, env=env, capture_output=True, timeout=300)


def round_trip(stream, writer, continuous):
    """Returns what is wrong, None if nothing is or the stream makes no result."""
    extra = ["--continuous"] if continuous else []
    extension = FORMATS[writer]
    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        replay(work, writer, "a", *extra, str(stream))
        first = sorted(p.name for p in work.iterdir() if p.suffix == extension)
        if not first:
            return None
        # In any order: it is told by the content.
        done = replay(work, writer, "b", *extra, *reversed(first))
        if done.returncode != 0:
            return f"exit status {done.returncode}: {done.stderr.decode(errors='replace')[-300:]}"
        for name in first:
            again = work / ("b" + name[1:])
            if not again.exists() or again.read_bytes() != (work / name).read_bytes():
                return f"{name} is another file"
    return None


def check(stream, label):
    failures = 0
    for writer in FORMATS:
        for continuous in [False, True] if writer in ("bin", "json") else [False]:
            wrong = round_trip(stream, writer, continuous)
            result = writer + (" --continuous" if continuous else "")
            if wrong and (label, result) not in EXCEPTIONS:
                print(f"{stream} -w {result}: {wrong}")
                failures += 1
            if not wrong and (label, result) in EXCEPTIONS:
                print(f"{stream} -w {result} comes back, but is listed among the exceptions")
                failures += 1
    return failures


def make_stream(seed):
    """A run with metrics of all types, as a collector would send it: in the order of time."""
    r = random.Random(seed)
    mhz = r.choice([1, 24, 1000, 2400, 2593.908, 3000])
    start = r.randrange(1, 10**12)
    step = int(mhz * r.choice([1000, 20000, 99999]))
    count = r.randrange(1, 30)
    entities = [f"{r.choice(['CPU', 'Core ', 'Fan, ', 'Ü'])}{i}" for i in range(r.randrange(1, 5))]
    states = [f"{r.choice(['C', 'S0i', 'P'])}{i}" for i in range(r.randrange(1, 5))]
    lines = [{"def": "quantity", "id": 1, "kind": 1, "name": "Time", "units": "usec", "time": True},
             {"def": "quantity", "id": 2, "kind": 8, "name": "Rate", "units": r.choice(["/s", ""])},
             {"def": "quantity", "id": 3, "kind": 6, "name": "Count", "units": "%", "rate": [2, 1]}]
    lines += [{"def": "entity", "id": 1 + i, "name": name} for i, name in enumerate(entities)]
    lines += [{"def": "descriptor", "id": 51 + i, "name": name} for i, name in enumerate(states)]
    legend = [{"h": 51 + i} for i in range(len(states))]
    kinds = r.sample(range(5), r.randrange(1, 6))
    for kind in kinds:
        metric = {"def": "metric", "id": 1 + kind, "name": f"Metric {kind}", "type": kind, "group": r.choice(["", "g"])}
        if kind != 3 and r.random() < 0.7:
            metric["quantity"] = {0: 3, 1: 1}.get(kind, 2)
        if kind in (1, 3):
            metric["legend"] = legend
        if r.random() < 0.5:
            metric["descriptors"] = [[1, 51]]
        lines.append(metric)
    seconds = count * step / mhz / 1e6
    lines.append({"msg": "system", "cpu": [6, 5, 4], "product": [1, 2, 3], "host": "h", "platform": "p", "osName": "Linux",
                  "osType": r.choice(["x86_64", "i686"]), "osVersion": "6.1.0.0",
                  "topology": [[1, 0, -1], [3, 0, 0], [4, 0, 1], [4, 1, 1]], "tscMHz": mhz, "cpuMHz": 2400, "busMHz": 100,
                  "start": start, "stop": start + count * step, "durationSec": seconds, "time": 1700000000000000000,
                  "command": ["collect", "-t", str(count)], "codeName": "Fir", "nativeModel": "M"})
    for i in range(1, count + 1):
        for kind in kinds:
            if r.random() < 0.2:
                continue
            t = start + i * step + kind
            lines += elements_of(r, kind, t, step, entities, states)
        # Parts without a sample can't be put into order.
        if (r.random() < 0.1 or i == count) and lines[-1]["msg"] == "metric":
            lines.append({"msg": "flush"})
    return "".join(json.dumps(line) + "\n" for line in lines)


def elements_of(r, kind, t, step, entities, states):
    def message(data):
        return {"msg": "metric", "metric": 1 + kind, "t": t, "data": data}
    some = sorted(r.sample(range(len(entities)), r.randrange(1, len(entities) + 1)))
    if kind in (3, 4):
        e = 1 + some[0]
        d = 51 + r.randrange(len(states))
        return [message([{"e": e, "d": d, "dur": step if kind == 3 else 0, "v": {"h": d}}])]
    data = []
    for e in some:
        if kind == 1:
            for d in r.sample(range(len(states)), r.randrange(1, len(states) + 1)):
                data.append({"e": 1 + e, "d": 51 + d, "dur": step, "v": {"u": r.randrange(step + 1)}})
        elif kind == 0:
            data.append({"e": 1 + e, "d": 51 + r.randrange(len(states)), "dur": step, "v": {"u": r.randrange(10**6)}})
        else:
            value = r.choice([{"r": r.uniform(-5, 5)}, {"u": r.randrange(1000)}, {"i": -r.randrange(9)},
                              {"r": [0.5, r.uniform(1, 2)]}])
            data.append({"e": 1 + e, "d": 51, "dur": step, "v": value})
    return [message(data)]


def check_random(first, count):
    failures = 0
    for seed in range(first, first + count):
        with tempfile.NamedTemporaryFile("w", suffix=".ndjson") as stream:
            stream.write(make_stream(seed))
            stream.flush()
            bad = check(stream.name, f"seed {seed}")
            if bad:
                print(f"seed {seed}")
            failures += bad
    return failures


def main():
    if sys.argv[3] == "--random":
        failures = check_random(int(sys.argv[4]), int(sys.argv[5]))
    else:
        root = pathlib.Path(sys.argv[4])
        streams = sorted((root / "samples").glob("*.ndjson"))
        streams += sorted(p for p in (root / "tests/streams").glob("*/*") if p.suffix in (".jsonl", ".ndjson", ".stream"))
        failures = sum(check(stream, f"{stream.parent.name}/{stream.name}") for stream in streams)
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
