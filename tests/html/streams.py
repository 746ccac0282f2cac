"""Streams for the tests of the page, and what its table must say of them."""

import json
import math
import random

TICKS_PER_USEC = 2400
START = 123_456_789_012
HOSTILE = ['</script><img src=x onerror="alert(1)">', "<!--", "]]>&amp;'\"", "Größe\u2028🔋"]
ENERGY = {"W": 1, "mW": 1e-3, "uW": 1e-6, "J": 1, "mJ": 1e-3, "uJ": 1e-6}


def seconds(ticks):
    return ticks / (TICKS_PER_USEC * 1e6)


class Stream:
    """Collects lines, and of each element what the page is to count."""

    def __init__(self, **system):
        self.lines = []
        self.elements = []  # (metric, entity, state, time in ticks, duration in ticks, value)
        self.metrics = {}
        self.ids = 0
        self.system = {"msg": "system", "tscMHz": TICKS_PER_USEC, "start": START, "host": "machine", **system}

    def define(self, what, name, **keys):
        self.ids += 1
        self.lines.append({"def": what, "id": self.ids, "name": name, **keys})
        return self.ids

    def quantity(self, units, rate_units=None, factor=1.0):
        rate = {}
        if rate_units is not None:
            rate = {"rate": [self.quantity(rate_units), factor]}
        return self.define("quantity", units or "none", kind=5, units=units, **rate)

    def metric(self, name, kind, units=None, rate=None, factor=1.0, group="g"):
        quantity = {} if units is None else {"quantity": self.quantity(units, rate, factor)}
        number = self.define("metric", name, type=kind, group=group, **quantity)
        self.lines[-1]["id"] = number + 1000
        self.metrics[name] = {"id": number + 1000, "type": kind, "units": units, "rate": rate, "factor": factor if rate else 1.0}
        return name

    def message(self, metric, ticks, elements):
        """elements: (entity id, entity name, descriptor id, state, duration, value as written, number or None)"""
        data = []
        for entity, entity_name, descriptor, state, duration, value, number in elements:
            data.append({"e": entity, "dur": duration, "v": value, **({"d": descriptor} if descriptor else {})})
            self.elements.append((metric, entity_name, state, ticks, duration, number))
        self.lines.append({"msg": "metric", "metric": self.metrics[metric]["id"], "t": START + ticks, "data": data})

    def write(self, path):
        definitions = [line for line in self.lines if "def" in line]
        messages = [line for line in self.lines if "msg" in line]
        last = max((element[3] for element in self.elements), default=0)
        self.system.setdefault("stop", START + last + TICKS_PER_USEC)
        with open(path, "w", encoding="utf-8") as file:
            for line in definitions + [self.system] + messages:
                file.write(json.dumps(line) + "\n")

    def expected(self, begin, end):
        """The rows of the selection: {(metric, entity, state): {column: number}}."""
        rows, before = {}, {}
        for metric, entity, state, ticks, duration, number in self.elements:
            key = (metric, entity, state)
            step = ticks - before.get(key, ticks)
            before[key] = ticks
            if begin <= seconds(ticks) < end:
                rows.setdefault(key, []).append((duration, step, number))
        table = {key: statistics(self.metrics[key[0]], items) for key, items in rows.items()}
        for (metric, entity, _), row in table.items():
            if self.metrics[metric]["type"] == "TRACED_VALUE_TRANSITION":
                of_all = math.fsum(other["total"] for key, other in table.items() if key[:2] == (metric, entity))
                if of_all:
                    row["share"] = row["total"] / of_all
        return table


def statistics(metric, items):
    good = [(duration, step, number) for duration, step, number in items if number is not None]
    row = {"count": len(items), "skipped": len(items) - len(good)}
    kind, units, factor = metric["type"], metric["units"], metric["factor"]
    if kind == "SAMPLED_VALUE" and good:
        numbers = [number for _, _, number in good]
        row |= {"mean": math.fsum(numbers) / len(good), "min": min(numbers), "max": max(numbers)}
    if kind == "SAMPLED_VALUE" and units in ("W", "mW", "uW"):
        row["energy"] = math.fsum(n * seconds(d or step) for d, step, n in good) * ENERGY[units]
    if kind == "SAMPLED_DELTA":
        row["total"] = math.fsum(n for _, _, n in good)
        timed = [(seconds(duration), number) for duration, _, number in good if duration]
        if timed:
            rates = [number * factor / duration for duration, number in timed]
            row |= {"min": min(rates), "max": max(rates),
                    "mean": math.fsum(n for _, n in timed) * factor / math.fsum(d for d, _ in timed)}
        if units in ("J", "mJ", "uJ"):
            row["energy"] = row["total"] * ENERGY[units]
        elif metric["rate"] == "W":
            row["energy"] = row["total"] * factor
    if kind == "SAMPLED_RESIDENCY":
        row["total"] = seconds(sum(n for _, _, n in good))
        if whole := sum(d for d, _, _ in good):
            row["share"] = row["total"] / seconds(whole)
    if kind == "TRACED_VALUE_TRANSITION":
        row["total"] = seconds(sum(d for d, _, _ in good))
    return row


def of_all_kinds(count=400, seed=1):
    """Elements of all kinds at uneven times, with what is odd about each."""
    rng = random.Random(seed)
    stream = Stream(time=1_700_000_000_123_456_789, command=["collect", "--now"], osVersion="6.1", durationSec=4.5,
                    nativeModel="A processor <fast>")
    cpus = [(stream.define("entity", name), name) for name in ["CPU0", "CPU1", HOSTILE[0]]]
    states = [(stream.define("descriptor", name), name) for name in ["User", "Idle", HOSTILE[2]]]
    part = stream.define("descriptor", "part")
    power = stream.metric("Power", "SAMPLED_VALUE", "mW", group="power")
    heat = stream.metric(HOSTILE[3], "SAMPLED_VALUE", group=HOSTILE[0])
    energy = stream.metric("Energy", "SAMPLED_DELTA", "uJ", "W", 1e-6, group="power")
    work = stream.metric("Work", "SAMPLED_DELTA", "units", "W", 0.25)
    switches = stream.metric("Switches", "SAMPLED_DELTA", "switches")
    time = stream.metric("Time States", "SAMPLED_RESIDENCY", "usec")
    sleep = stream.metric("Sleep", "TRACED_VALUE_TRANSITION")
    events = stream.metric("Events", "TRACED_EVENT", group="")
    ticks = 0
    for i in range(count):
        step = rng.choice([0, 1, 24_000_000, rng.randrange(1, 48_000_000)])
        ticks += step
        watts = rng.choice([rng.uniform(-5, 5), round(rng.uniform(0, 1e5), 2), 12.5, rng.uniform(0, 1e-7)])
        odd = {"r": rng.choice(["nan", "inf", "-inf"])} if i % 7 == 0 else {"s": "text"} if i % 11 == 0 else None
        number = None if odd else watts
        for metric in (power, heat):
            stream.message(metric, ticks, [(cpus[0][0], cpus[0][1], part, "", rng.choice([0, step, 5]), odd or {"r": watts}, number)])
        count_up = rng.randrange(0, 10**rng.randrange(1, 12))
        for metric in (energy, work, switches):
            stream.message(metric, ticks, [(cpu, name, None, "", rng.choice([0, step]), {"u": count_up}, count_up) for cpu, name in cpus[:2]])
        stream.message(time, ticks, [(cpu, name, *state, step, {"u": step // (2 + k)}, step // (2 + k)) for cpu, name in cpus for k, state in enumerate(states)])
        which = rng.randrange(3)
        value = {"h": states[which][0]} if i % 2 else {"s": states[which][1]}
        stream.message(sleep, ticks, [(*cpus[i % 3], None, states[which][1], step, value, 0)])
        stream.message(events, ticks, [(*cpus[which], None, HOSTILE[1], 0, {"s": HOSTILE[1]}, 0)])
    table = {"def": "table", "container": 7, "id": 1, "title": HOSTILE[0], "handles": [states[0][0], states[2][0]]}
    stream.lines.append(table)
    stream.lines += [{"msg": "table", "table": [7, 1]}, {"msg": "row", "table": [7, 1], "cells": [HOSTILE[1], "12.5"]},
                     {"msg": "text", "text": "a note " + HOSTILE[0]}]
    return stream
