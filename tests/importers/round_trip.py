#!/usr/bin/env python3
"""Checks that a result, read back and written again by its own writer, has the same bytes.

usage: round_trip.py PWRHOST LIBRARY --files ROOT       the samples and the streams of tests/streams
       round_trip.py PWRHOST LIBRARY --random FIRST COUNT     so many streams of a generator, from a seed on

Where a byte cannot come back, docs/inputs.md says which and why; EXCEPTIONS names the results that hold such bytes.
"""
import os
import pathlib
import subprocess
import sys
import tempfile

import random_stream

PWRHOST, LIBRARY = sys.argv[1:3]
FORMATS = {"bin": ".ztbin", "json": ".ztjson", "vyrta": ".pwr"}

# Results that differ, with what in them does not come back. One that comes back after all is a failure too.
VOID = "what samples of a void metric have left in the header: the file has none of those samples"
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
    ("json-precision/stream.jsonl", "vyrta"): VOID,
    ("json-rates/stream.jsonl", "vyrta"): VOID,
    ("pwr-limits/stream.jsonl", "vyrta"): VOID,
    ("pwr-void/stream.jsonl", "vyrta"): VOID,
}


def replay(work, writer, output, *args):
    env = {k: v for k, v in os.environ.items() if not k.startswith("PW_")}
    return subprocess.run([PWRHOST, "replay", "--plugins", LIBRARY, "--no-progress", "-w", writer, "-o", output, *args],
                          cwd=work, env=env, capture_output=True, timeout=300)


def round_trip(stream, writer, continuous, is_random=False):
    """Returns what is wrong, "" if nothing is, and None if there is nothing to compare: the stream makes no result, or at
    random one with what the writer refused, which is no data."""
    extra = ["--continuous"] if continuous else []
    extension = FORMATS[writer]
    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        made = replay(work, writer, "a", *extra, str(stream))
        if made.returncode not in (0, 2) and is_random:
            return f"the stream is bad: {made.stderr.decode(errors='replace')[-300:]}"
        first = sorted(p.name for p in work.iterdir() if p.suffix == extension)
        if not first or is_random and made.returncode != 0:
            return None
        # In any order: it is told by the content. What failed at first can fail again.
        done = replay(work, writer, "b", *extra, *reversed(first))
        if done.returncode not in (0, made.returncode):
            return f"exit status {done.returncode}: {done.stderr.decode(errors='replace')[-300:]}"
        for name in first:
            again = work / ("b" + name[1:])
            if not again.exists() or again.read_bytes() != (work / name).read_bytes():
                return f"{name} is another file"
    return ""


def results():
    for writer in FORMATS:
        yield writer, False
    for writer in ("bin", "json"):
        yield writer, True


def check(stream, label):
    failures = 0
    for writer, continuous in results():
        wrong = round_trip(stream, writer, continuous)
        result = writer + (" --continuous" if continuous else "")
        if wrong and (label, result) not in EXCEPTIONS:
            print(f"{stream} -w {result}: {wrong}")
            failures += 1
        if not wrong and (label, result) in EXCEPTIONS:
            print(f"{stream} -w {result} comes back, but is listed among the exceptions")
            failures += 1
    return failures


def check_random(first, count):
    failures = 0
    compared = dict.fromkeys(results(), 0)
    for seed in range(first, first + count):
        with tempfile.NamedTemporaryFile("w", suffix=".ndjson") as stream:
            stream.write(random_stream.make_stream(seed))
            stream.flush()
            for result in results():
                wrong = round_trip(stream.name, *result, is_random=True)
                compared[result] += wrong is not None
                if wrong:
                    print(f"seed {seed} -w {result[0]}{' --continuous' if result[1] else ''}: {wrong}")
                    failures += 1
    for (writer, continuous), number in compared.items():
        if number < count / 2:
            print(f"only {number} of {count} streams made a result of {writer}, continuous: {continuous}")
            failures += 1
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
