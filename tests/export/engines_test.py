#!/usr/bin/env python3
"""Counts every element of a run again with engines that nobody here wrote: engines_test.py PWRHOST"""
import collections
import csv
import io
import json
import math
import pathlib
import random
import subprocess
import sys
import tempfile
import unittest
from fractions import Fraction

import engines

engines.enter_private_network()
PWRHOST = str(pathlib.Path(sys.argv.pop(1)).resolve())
SEED = 20261121
KINDS = pathlib.Path(__file__).resolve().parents[1] / "streams" / "export-kinds" / "stream.ndjson"
TICKS = 1300          # samples of each metric: more of a series than stay in memory
MHZ, START, WALL = 2100, 77_000_001, 1_763_715_216_123_456_789
STEP = 7_654_321      # ticks, 3.6 ms
ENTITIES = ["Package 0", 'a "quoted", \\name', "two\nlines", "Größe µ €"]
STATES = ["C0", "C6, deep", 'st"ate\\']
VALUES = ["power save", "per,formance", 'turbo\n"on"', "Ω"]


class Metric:
    """A metric of the run: what the stream says of it, and how its series are called."""

    def __init__(self, name, kind, units, family, divisor, items=(None,)):
        self.name, self.kind, self.units, self.family = name, kind, units, family
        self.divisor, self.items = Fraction(divisor), items


TICKS_PER_SECOND = MHZ * 1_000_000
METRICS = [
    Metric("Disk, \"Reads\"", "SAMPLED_DELTA", "kB", "disk_reads_bytes_total", Fraction(1, 1000)),
    Metric("CPU Time States", "SAMPLED_RESIDENCY", "usec", "cpu_time_states_seconds_total", TICKS_PER_SECOND, STATES),
    Metric("Busy", "SAMPLED_VALUE", "%", "busy_ratio", 100),
    Metric("Clock", "SAMPLED_VALUE", "MHz", "clock_hertz", Fraction(1, 1_000_000)),
    Metric("Energy", "SAMPLED_DELTA", "uJ", "energy_joules_total", 1_000_000),
    Metric("Governor", "TRACED_VALUE_TRANSITION", "", "governor", TICKS_PER_SECOND),
    Metric("Wake ups", "TRACED_EVENT", "", "wake_ups", TICKS_PER_SECOND),
]


def value_of(metric, rng):
    if metric.kind == "SAMPLED_DELTA":
        return rng.choice([{"u": rng.randrange(1000)}, {"r": rng.random() * 10}, {"u": 0}])
    if metric.kind == "SAMPLED_RESIDENCY":
        return {"u": rng.randrange(STEP)}
    if metric.kind == "SAMPLED_VALUE":
        return {"r": rng.uniform(-50, 4000)}
    return {"s": rng.choice(VALUES)}


def elements_of_the_run():
    """Yields (tick, metric, [(entity, item, duration, value)]), in order of time."""
    rng = random.Random(SEED)
    for step in range(1, TICKS + 1):
        for metric in METRICS:
            duration = 0 if metric.kind == "TRACED_EVENT" else STEP
            yield START + step * STEP, metric, [(entity, item, duration, value_of(metric, rng))
                                                for entity in ENTITIES for item in metric.items]


def write_stream(path):
    ids = {name: 10 + i for i, name in enumerate(ENTITIES)} | {name: 50 + i for i, name in enumerate(STATES)}
    lines = [{"def": "entity", "id": ids[name], "name": name} for name in ENTITIES]
    lines += [{"def": "descriptor", "id": ids[name], "name": name} for name in STATES]
    for i, metric in enumerate(METRICS, 1):
        lines.append({"def": "quantity", "id": i, "kind": 1, "name": f"q{i}", "units": metric.units})
        lines.append({"def": "metric", "id": i, "name": metric.name, "group": "g,1", "type": metric.kind, "quantity": i})
    lines.append({"msg": "system", "host": "host \"1\"", "tscMHz": MHZ, "start": START, "time": WALL})
    for tick, metric, elements in elements_of_the_run():
        data = [{"e": ids[entity], "dur": duration, "v": value} | ({"d": ids[item]} if item else {})
                for entity, item, duration, value in elements]
        lines.append({"msg": "metric", "metric": METRICS.index(metric) + 1, "t": tick, "data": data})
    path.write_text("".join(json.dumps(line) + "\n" for line in lines))


def number_of(value):
    return Fraction(next(iter(value.values())))


def milliseconds(tick):
    return int((WALL + Fraction(tick - START, MHZ) * 1000) // 1_000_000)


def expected_series():
    """The points that the engines must have: worked out from the stream, by the words of the format's page."""
    series = collections.defaultdict(list)
    sums = collections.Counter()

    def rise(name, labels, tick, duration, amount, divisor):
        key = name, frozenset(labels.items())
        if key not in series and duration:
            series[key].append((milliseconds(tick - duration), 0.0))
        sums[key] += amount
        series[key].append((milliseconds(tick), float(sums[key] / divisor)))

    for tick, metric, elements in elements_of_the_run():
        for entity, item, duration, value in elements:
            labels = {"host": 'host "1"', "run": "run", "site": "lab", "group": "g,1", "entity": entity}
            labels |= {"item": item} if item else {}
            if "s" in value:
                labels["state"] = value["s"]
                rise(metric.family + "_seconds_total", labels, tick, duration, Fraction(duration), metric.divisor)
                rise(metric.family + "_occurrences_total", labels, tick, duration, Fraction(1), 1)
            elif metric.kind == "SAMPLED_VALUE":
                series[metric.family, frozenset(labels.items())].append(
                    (milliseconds(tick), float(number_of(value) / metric.divisor)))
            else:
                rise(metric.family, labels, tick, duration, number_of(value), metric.divisor)
    return dict(series)


class Engines(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.work = pathlib.Path(folder.name)
        write_stream(cls.work / "run.ndjson")
        cls.run_program(PWRHOST, "replay", "-w", "long,openmetrics", "--label", "site=lab", "-o", "run", "run.ndjson")

    @classmethod
    def run_program(cls, *command):
        done = subprocess.run(command, cwd=cls.work, capture_output=True, env=engines.environment(PWRHOST))
        assert done.returncode == 0, f"{command}: {done.stderr.decode()}"
        return done.stdout.decode()

    def check_series(self, got, precision):
        expected = expected_series()
        self.assertEqual(expected.keys(), got.keys())
        for key, points in expected.items():
            self.assertEqual([t for t, _ in points], [t for t, _ in got[key]], key)
            for (_, a), (_, b) in zip(points, got[key]):
                self.assertTrue(math.isclose(a, b, rel_tol=precision), (key, a, b))

    def test_duckdb_counts_every_element(self):
        types = "{'time': 'TIMESTAMPTZ', 'elapsed': 'DOUBLE', 'duration': 'DOUBLE', 'value': 'DOUBLE', 'high': 'DOUBLE'}"
        rows = list(csv.reader(io.StringIO(self.run_program(
            "duckdb", "-csv", "-c", "SELECT metric, entity, coalesce(item, ''), coalesce(text, ''), count(*), "
            "sum(value), sum(duration), max(epoch_ms(time)), max(unit) "
            f"FROM read_csv('run_long.csv', types = {types}) GROUP BY ALL"))))
        got = {tuple(row[:4]): row[4:] for row in rows[1:]}

        expected = collections.defaultdict(lambda: [0, Fraction(0), Fraction(0), 0, ""])
        for tick, metric, elements in elements_of_the_run():
            is_residency = metric.kind == "SAMPLED_RESIDENCY"
            for entity, item, duration, value in elements:
                entry = expected[metric.name, entity, item or "", value.get("s", "")]
                entry[0] += 1
                if "s" not in value:
                    entry[1] += number_of(value) / (TICKS_PER_SECOND if is_residency else 1)
                entry[2] += Fraction(duration, TICKS_PER_SECOND)
                entry[3], entry[4] = milliseconds(tick), "s" if is_residency else metric.units
        self.assertEqual(expected.keys(), got.keys())
        for key, (count, total, duration, last, unit) in expected.items():
            self.assertEqual([str(count), str(last), unit], [got[key][0], got[key][3], got[key][4]], key)
            self.assertAlmostEqual(float(total), float(got[key][1] or 0), delta=1e-11 * abs(float(total)))
            self.assertAlmostEqual(float(duration), float(got[key][2]), delta=1e-11)

    def test_prometheus_holds_every_point(self):
        self.run_program("promtool", "tsdb", "create-blocks-from", "openmetrics", "run.om", "prometheus-data")
        with engines.prometheus(self.work, "prometheus-data"):
            self.check_series(engines.prometheus_series('{run="run"}', WALL // 10**9 + 60, 3600), 1e-15)

    def test_victoria_metrics_holds_every_point(self):
        with engines.victoria_metrics(self.work):
            engines.fetch(engines.VICTORIA + "/api/v1/import/prometheus", (self.work / "run.om").read_bytes())
            # It keeps the values of a block as whole numbers with a common power of ten.
            self.check_series(engines.victoria_series('{run="run"}'), 1e-9)

    # Not-a-number, infinities, bounds, other names than words: every line of the text must get there.
    def test_every_kind_of_value_gets_there(self):
        self.run_program(PWRHOST, "replay", "-w", "openmetrics", "-o", "kinds", str(KINDS))
        text = (self.work / "kinds.om").read_text()
        lines = [line for line in text.splitlines() if not line.startswith("#")]
        self.run_program("promtool", "tsdb", "create-blocks-from", "openmetrics", "kinds.om", "kinds-data")
        with engines.prometheus(self.work, "kinds-data"):
            series = engines.prometheus_series('{run="kinds"}', 1_700_000_060, 3600)
        self.assertEqual(len(lines), sum(map(len, series.values())))
        with engines.victoria_metrics(self.work):
            engines.fetch(engines.VICTORIA + "/api/v1/import/prometheus", text.encode())
            series = engines.victoria_series('{run="kinds"}')
        numbers = [line for line in lines if " NaN " not in line]  # it keeps nothing else
        self.assertEqual(len(numbers), sum(map(len, series.values())))

    # The parser of Prometheus's own client is stricter than its server: it checks the order of families, series and
    # stamps, and that a unit is the end of its family's name.
    def test_text_keeps_to_the_format(self):
        # Its stamps compare wrongly when the second changes, in the version of Debian 12.
        script = ("import sys\nfrom prometheus_client import samples\n"
                  "from prometheus_client.openmetrics.parser import text_fd_to_metric_families as parse\n"
                  "samples.Timestamp.__gt__ = lambda a, b: (a.sec, a.nsec) > (b.sec, b.nsec)\n"
                  "for f in parse(open(sys.argv[1])): print(f.name, f.type, f.unit or '-', len(f.samples))")
        families = self.run_program("/usr/bin/python3", "-c", script, "run.om").splitlines()
        points = collections.Counter()
        for (name, _), series in expected_series().items():
            points[name.removesuffix("_total")] += len(series)
        self.assertEqual(dict(points), {f.split()[0]: int(f.split()[3]) for f in families})
        for line in families:
            name, kind, unit, _ = line.split()
            self.assertEqual("gauge" if name in ("busy_ratio", "clock_hertz") else "counter", kind)
            self.assertTrue(name.endswith("_" + unit), line)


if __name__ == "__main__":
    unittest.main()
