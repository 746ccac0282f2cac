#!/usr/bin/env python3
"""Compares traces with what the streams say that they are made from: perfetto_test.py PWRHOST SOURCE_FOLDER"""
import collections
import fractions
import json
import math
import pathlib
import struct
import subprocess
import sys
import tempfile
import unittest

from trace_reader import Trace

PWRHOST, SOURCE = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
LAST = (1 << 63) - 1
KINDS = ["SAMPLED_DELTA", "SAMPLED_RESIDENCY", "SAMPLED_VALUE", "TRACED_VALUE_TRANSITION", "TRACED_EVENT"]


def clean(text):
    return text.replace("\0", "\ufffd")


class Stream:
    """What a stream's messages should look like in a trace."""

    def __init__(self, text):
        self.things, self.quantities, self.metrics, self.facts = {}, {}, {}, []
        self.system, self.left, self.ends, self.owners = None, 0, {}, {}
        for line in text.splitlines():
            if line.strip() and not line.lstrip().startswith("#"):
                self.line(json.loads(line))
        for owner in self.owners.values():
            self.life(owner)

    def line(self, line):
        kind = line.get("def")
        if kind == "quantity":
            self.quantities[line["id"]] = line
        elif kind == "metric":
            self.metrics[line["id"]] = line
        elif kind in ("entity", "descriptor", "handle", "process", "thread", "pair", "attribute"):
            self.things[line["id"]] = line
        elif line.get("msg") == "system":
            self.system = line
            frequency = struct.unpack("f", struct.pack("f", line.get("tscMHz") or 0))[0]
            self.tick = 1000 / fractions.Fraction(frequency) if frequency > 0 else 1
        elif line.get("msg") == "stop":
            self.system["stop"] = line["tsc"]
        elif line.get("msg") == "end":
            self.things[line["id"]]["end"] = line["tsc"]
        elif line.get("msg") == "metric":
            for element in line.get("data") or []:
                self.element(self.metrics[line["metric"]], line["t"], element)

    def time(self, ticks):
        exact = max(ticks, 0) * self.tick
        return None if exact > LAST else math.floor(exact + fractions.Fraction(1, 2))

    def name(self, thing):
        default = {"process": thing.get("path"), "thread": str(thing.get("tid")), "pair": thing.get("info")}
        return clean(thing.get("name") or default.get(thing["def"]))

    def path(self, metric, element):
        entity = self.things[element["e"]]
        group = (clean(metric["group"]),) if metric.get("group") else ()
        return group + (clean(metric["name"]), clean(entity.get("qualified") or entity["name"]))

    def element(self, metric, ticks, element):
        kind = metric["type"] if isinstance(metric["type"], str) else (KINDS + [None] * 256)[metric["type"]]
        item = clean(self.things[element["d"]]["name"] if element.get("d") else metric["name"])
        path, value = self.path(metric, element), element.get("v") or {}
        begin, end = self.time(ticks - element.get("dur", 0)), self.time(ticks)
        text = self.text(value)
        owner = self.owner(element)
        if kind == "TRACED_EVENT":
            if end is None:
                self.left += 1
                return
            for one in owner:
                self.owners.setdefault(one["id"], one)
            self.facts.append(("instant", self.owner_path(owner[-1]) if owner else path, end,
                               item if text is None else text, self.annotation(value, text)))
        elif kind == "TRACED_VALUE_TRANSITION" or text is not None:
            name = item if text is None else text
            if text is None and value and "h" not in value:
                name = self.printed(value)
            if end is None or begin is None:
                self.left += 1
                return
            self.facts.append(("slice", path if kind == "TRACED_VALUE_TRANSITION" else path + (item,), begin, end, name))
            if kind == "TRACED_VALUE_TRANSITION":
                for one in owner:
                    self.owners.setdefault(one["id"], one)
        else:
            self.counters(metric, kind, path, item, value, element.get("dur", 0), begin)

    def counters(self, metric, kind, path, item, value, duration, begin):
        numbers = next(iter(value.values()), None)
        numbers = numbers if isinstance(numbers, list) else [] if numbers is None else [numbers]
        real = [float(n) if isinstance(n, str) else n for n in numbers]
        if begin is None or not real or not all(map(math.isfinite, real)):
            self.left += 1
            return
        unit = clean(self.quantities[metric["quantity"]].get("units") or "") if metric.get("quantity") else ""
        if kind == "SAMPLED_RESIDENCY":
            unit, real = "%", [100 * n / duration if duration else 0 for n in real]
        for name, number in zip((item, item + " (high)"), real):
            self.facts.append(("counter", path + (name,), begin, number, unit))

    def text(self, value):
        if "s" in value:
            return clean(value["s"])
        return self.name(self.things[value["h"]]) if value.get("h") else None

    def annotation(self, value, text):
        if text is not None or not value or "h" in value:
            return text if text is not None else "" if value else None
        number = next(iter(value.values()))
        if isinstance(number, list):
            return self.printed(value)
        return float(number) if "r" in value else number

    @staticmethod
    def printed(value):
        """As the host prints numbers."""
        numbers = next(iter(value.values()))
        numbers = numbers if isinstance(numbers, list) else [numbers]
        return " - ".join(f"{float(n):.2f}" if "r" in value else str(n) for n in numbers)

    def owner(self, element):
        """The process and the thread that an element names, in this order."""
        values = [v for _, v in sorted(element.get("info") or [])]
        value = element.get("v") or {}
        thing = self.things.get(value.get("h"))
        attributes = thing.get("attributes") or [] if thing and thing["def"] == "descriptor" else []
        for group in (values, [value], [v for _, v in attributes]):
            found = [self.things[v["h"]] for v in group if v and v.get("h")]
            owner = [next((t for t in found if t["def"] == kind), None) for kind in ("process", "thread")]
            if any(owner):
                return [o for o in owner if o]
        return []

    def owner_path(self, owner):
        if owner["def"] == "process":
            return ("process", owner["pid"], self.name(owner))
        return ("thread", owner["pid"], owner["tid"], self.name(owner))

    def life(self, owner):
        begin = self.time(owner.get("start") or self.system.get("start", 0))
        end = self.time(owner.get("end") or self.system.get("stop", 0))
        if begin is not None and end is not None and begin <= end:
            self.facts.append(("slice", self.owner_path(owner), begin, end, self.name(owner)))


def cut(facts):
    """Slices as they may follow each other on a track; and how many are left out."""
    ends, kept, left = {}, [], 0
    for fact in facts:
        if fact[0] == "slice":
            last = ends.get(fact[1], 0)
            if fact[3] < last:
                left += 1
                continue
            ends[fact[1]] = fact[3]
            fact = (*fact[:2], max(fact[2], last), *fact[3:])
        kept.append(fact)
    return kept, left


HOSTILE = r"""
{"def":"quantity","id":1,"kind":4,"name":"Power","units":"W"}
{"def":"entity","id":1,"name":"a\u0000b \"q\", \u00e9"}
{"def":"descriptor","id":2,"name":"item\nline"}
{"def":"process","id":3,"pid":-5,"path":"/bin/x","start":0}
{"def":"thread","id":4,"tid":7,"pid":-5,"end":90}
{"def":"attribute","id":5,"name":"P","type":3}
{"def":"metric","id":10,"name":"Power","group":"g","type":"SAMPLED_VALUE","quantity":1}
{"def":"metric","id":11,"name":"Power","group":"g","type":"SAMPLED_RESIDENCY"}
{"def":"metric","id":12,"name":"Mode","type":"TRACED_VALUE_TRANSITION"}
{"def":"metric","id":13,"name":"Event","type":"TRACED_EVENT"}
{"msg":"system","tscMHz":0.5,"start":10,"stop":100,"time":1700000000123456789}
{"msg":"metric","metric":10,"t":20,"data":[{"e":1,"d":2,"v":{"r":"nan"}},{"e":1,"d":2,"dur":30,"v":{"r":[-1.5,2]}},{"e":1,"dur":5,"v":{"u":18446744073709551615}},{"e":1,"v":{"i":-9223372036854775808}},{"e":1}]}
{"msg":"metric","metric":10,"t":30,"data":[{"e":1,"dur":5,"v":{"s":"te\u0000xt"}},{"e":1,"dur":5,"v":{"r":"-inf"}},{"e":1,"dur":5,"v":{"r":1e300}}]}
{"msg":"metric","metric":10,"t":40,"data":[{"e":1,"dur":25,"v":{"s":"overlaps"}}]}
{"msg":"metric","metric":11,"t":40,"data":[{"e":1,"d":2,"dur":0,"v":{"u":5}},{"e":1,"d":2,"dur":8,"v":{"u":5}}]}
{"msg":"metric","metric":12,"t":40,"data":[{"e":1,"d":2,"dur":7},{"e":1,"dur":3,"v":{"h":3}}]}
{"msg":"metric","metric":12,"t":30,"data":[{"e":1,"d":2,"dur":7}]}
{"msg":"metric","metric":12,"t":18446744073709551615,"data":[{"e":1,"d":2,"dur":7}]}
{"msg":"metric","metric":13,"t":50,"data":[{"e":1,"d":2},{"e":1,"v":{"i":-3},"info":[[5,{"h":4}]]},{"e":1,"v":{"r":2.5}},{"e":1,"v":{"h":3}},{"e":1,"v":{"u":9}},{"e":1,"v":{"s":""}}]}
"""


class Perfetto(unittest.TestCase):
    maxDiff = 4000

    def convert(self, stream, *options):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder)
            (path / "in.ndjson").write_text(stream)
            done = subprocess.run([PWRHOST, "replay", "-w", "perfetto", *options, "-o", "run", "in.ndjson"], cwd=folder,
                                  capture_output=True, text=True, timeout=120)
            files = sorted(path.glob("*.perfetto-trace"))
            return done, [Trace(file.read_bytes()) for file in files]

    def compare(self, stream, traces, stderr=""):
        expected, cut_off = cut(stream.facts)
        facts = [fact for trace in traces for fact in trace.facts]
        got = collections.Counter(self.rounded(f) for f in facts)
        want = collections.Counter(self.rounded(f) for f in expected)
        self.assertEqual((want - got, got - want), ({}, {}))
        left = stream.left + cut_off
        self.assertEqual(left != 0, "elements left out" in stderr)
        if left:
            self.assertIn(f"perfetto: {left} elements left out", stderr)

    @staticmethod
    def rounded(fact):
        return tuple(float(f"{v:.12g}") if isinstance(v, float) or fact[0] == "counter" and i == 3 else v
                     for i, v in enumerate(fact))

    def test_streams(self):
        streams = [*SOURCE.glob("samples/*.ndjson"), *SOURCE.glob("tests/streams/*/*.ndjson"),
                   *SOURCE.glob("tests/streams/*/*.stream")]
        compared = 0
        for path in streams:
            done, traces = self.convert(path.read_text())
            if done.returncode == 1 or not traces:
                continue  # a stream that is bad on purpose, or without messages
            with self.subTest(path=path.parent.name):
                self.compare(Stream(path.read_text()), traces, done.stderr)
                compared += len(traces[0].facts)
        self.assertGreater(compared, 250)

    def test_hostile_values(self):
        done, traces = self.convert(HOSTILE)
        self.assertEqual(0, done.returncode, done.stderr)
        self.compare(Stream(HOSTILE), traces, done.stderr)
        self.assertEqual({6: 20000, 1: 1700000000123456789}, traces[0].snapshot)

    def test_files_of_a_continuous_run_stand_alone(self):
        stream = (SOURCE / "samples/continuous.ndjson").read_text()
        done, traces = self.convert(stream, "--continuous")
        self.assertEqual(0, done.returncode, done.stderr)
        self.assertGreater(len(traces), 1)
        self.compare(Stream(stream), traces, done.stderr)

    def test_many_names_are_forgotten(self):
        lines = ['{"def":"entity","id":1,"name":"e"}', '{"def":"metric","id":2,"name":"m","type":"TRACED_EVENT"}',
                 '{"msg":"system","tscMHz":1000}']
        lines += [f'{{"msg":"metric","metric":2,"t":{i},"data":[{{"e":1,"v":{{"s":"name {i}"}}}}]}}' for i in range(70000)]
        stream = "\n".join(lines)
        done, traces = self.convert(stream)
        self.assertEqual(0, done.returncode, done.stderr)
        self.compare(Stream(stream), traces, done.stderr)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
