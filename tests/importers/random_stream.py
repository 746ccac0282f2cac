"""Makes message streams at random: runs as collectors send them, with whatever a stream can say."""
import json
import random

TEXTS = ["CPU0", "CPU1", "CPU10", "Core 2", "Fan, left", "Ü", "a \"quoted\" one", "back\\slash", "two\nlines", "x" * 70,
         "tab\there", "日本語", "\U0001f525", "|", "%", "a/b", "NA", "N/A", "0", "-1", " blank "]
STATES = ["C0", "C1", "C2", "C6", "C10", "S0i1", "S0i3", "P1", "P10", "idle", "busy", "Ü, 1", "0", "7", "long " * 12, "on", "off"]
UNITS = ["", "W", "mW", "%", "usec", "C", "/s", "MB/s", "µ"]
GROUPS = ["", "g", "Group, 1", "Ü"]
REALS = [0.0, -0.0, 0.1, -2.5, 1e-300, 5e-324, 1.7e308, 3.0, 123456789.125, 2.0**53, "nan", "inf", "-inf"]
WHOLES = [0, 1, 7, 999, 2**24 + 1, 2**32, 2**53 - 1]


class Stream:
    """`is_plain`: only what all writers carry."""

    def __init__(self, seed, is_plain):
        self.r = random.Random(seed)
        self.is_plain = is_plain
        self.lines = []
        self.next_id = 1
        # Ids need not be dense.
        self.id_step = self.r.choice([1, 1, 7, 1000])
        self.mhz = self.r.choice([1, 2, 24, 100, 1000, 2400, 2593.908, 3000, 19200])
        self.start = self.r.choice([0, 1, self.r.randrange(10**6), self.r.randrange(10**12), 10**15])
        self.step = max(1, int(self.mhz * self.r.choice([1, 500, 1000, 20000, 99999])))
        self.count = self.r.randrange(1, self.r.choice([3, 30]))

    def chance(self, share):
        return self.r.random() < share

    def new_id(self):
        self.next_id += self.r.randrange(1, self.id_step + 1)
        return self.next_id

    def define(self, what, **keys):
        line = {"def": what, "id": self.new_id(), **keys}
        self.lines.append(line)
        return line["id"]

    def make(self):
        self.define_quantities()
        self.define_runners()
        self.define_entities()
        self.define_states()
        self.define_metrics()
        headers = [self.define("handle", name=name) for name in self.r.sample(TEXTS, 3)]
        self.lines.append({"def": "table", "container": 900, "id": 1, "title": self.r.choice(TEXTS), "shared": headers[:1],
                           "handles": headers[1:], "notes": {"1": ["a note"]}})
        self.system()
        for i in range(1, self.count + 1):
            self.others()
            self.samples(self.start + i * self.step)
            # Parts without a sample can't be put into order.
            if (self.chance(0.15) or i == self.count) and self.lines[-1].get("msg") == "metric":
                self.lines.append({"msg": "flush"})
        if self.chance(0.3):
            for thing in self.processes + self.threads:
                self.lines.append({"msg": "end", "id": thing, "tsc": self.start + self.count * self.step})
        return "".join(json.dumps(line) + "\n" for line in self.lines)

    # Definitions.

    def define_quantities(self):
        self.quantities = []
        for i in range(self.r.randrange(4)):
            keys = {"kind": self.r.choice([0, 1, 2, 5, 8, 9, 13]), "name": self.r.choice(["Power", "Time", "Count", "Ü"]) + str(i),
                    "units": self.r.choice(UNITS)}
            if self.quantities and self.chance(0.4):
                keys["rate"] = [self.r.choice(self.quantities), self.r.choice([1, 0.001, 1000, 3.5])]
            if i == 0 and self.chance(0.5):
                keys["time"] = True
            self.quantities.append(self.define("quantity", **keys))

    def define_runners(self):
        self.processes, self.threads = [], []
        for i in range(self.r.randrange(4)):
            path = self.r.choice(["/bin/sh", "/usr/bin/a b", "/opt/Ü", "x"]) + str(i)
            start = self.r.choice([0, self.start, max(0, self.start - 5)])
            self.processes.append(self.define("process", pid=100 + i, path=path, start=start))
            if self.chance(0.6):
                self.threads.append(self.define("thread", pid=100 + i, tid=500 + i, start=start))
        self.pairs = [self.define("pair", info=self.r.choice(TEXTS), desc=self.r.choice(["", "d"]), value=self.r.randrange(100))
                      for _ in range(self.r.randrange(3))]
        self.attributes = {}
        for kind, things in ((3, self.processes), (4, self.threads), (5, self.pairs)):
            if things:
                self.attributes[kind] = self.define("attribute", name=f"a{kind}", type=kind)
        self.measures = [self.define("attribute", name=f"m{i}", type=1,
                                     **({"quantity": self.r.choice(self.quantities)} if self.quantities and self.chance(0.5) else {}))
                         for i in range(2)]

    def infos(self, share):
        """Pairs of an attribute and what it says."""
        pairs = []
        for kind, things in ((3, self.processes), (4, self.threads), (5, self.pairs)):
            if things and self.chance(share):
                pairs.append([self.attributes[kind], {"h": self.r.choice(things)}])
        return pairs

    def define_entities(self):
        self.entities = []
        names = self.r.sample(TEXTS, self.r.randrange(1, 5))
        if self.chance(0.2):
            names += ["", names[0]]
        for name in names:
            keys = {"name": name}
            if self.chance(0.2):
                keys["header"] = "the " + name
            if self.chance(0.2):
                keys["qualified"] = "all/" + name
            if self.entities and self.chance(0.3):
                keys["parent"] = self.r.choice(self.entities)
            if pairs := self.infos(0.2):
                keys["attributes"] = pairs
            self.entities.append(self.define("entity", **keys))

    def define_states(self):
        self.states, self.named = [], []
        for name in self.r.sample(STATES, self.r.randrange(1, 6)):
            keys = {"name": name}
            if self.chance(0.4):
                values = [{"s": name}, {"s": "the " + name}, {"u": 3}, {"r": 2.5}, {"s": ""}, {"i": [-1, 1]}]
                pairs = [[a, self.r.choice(values)] for a in self.measures[: self.r.randrange(1, 3)]]
                keys["attributes"] = pairs + self.infos(0.2)
            elif pairs := self.infos(0.1):
                keys["attributes"] = pairs
            self.states.append(self.define("descriptor", **keys))
            attributes = keys.get("attributes")
            if not attributes or attributes[0][0] in self.measures and attributes[0][1] != {"s": ""}:
                self.named.append(self.states[-1])

    def define_metrics(self):
        self.metrics = []
        ids = [self.new_id() for _ in range(self.r.randrange(1, 6))]
        if self.chance(0.3):
            self.r.shuffle(ids)
        for i, metric_id in enumerate(ids):
            kind = self.r.choice([0, 1, 2, 3, 4] if self.is_plain else [0, 1, 2, 3, 4, 5, 200])
            name = self.r.choice(["Metric", "Power of", "Core C-State", "Temperature", "Ü, ", "Wakeups"]) + f" {i}"
            metric = {"id": metric_id, "name": name, "kind": kind, "form": self.r.choice(["u", "i", "r", "range", "h", "s", "any"]),
                      "own": self.chance(0.3)}
            # What deltas say of an empty state comes too late for who reads a binary trace as it comes.
            if kind == 0 and not self.named:
                kind = metric["kind"] = 2
            states = self.named if kind == 0 else self.states
            metric["states"] = self.r.sample(states, self.r.randrange(1, len(states) + 1))
            keys = {"name": name, "type": kind, "group": self.r.choice(GROUPS)}
            if self.quantities and self.chance(0.6):
                keys["quantity"] = self.r.choice(self.quantities)
            if kind in (1, 3, 4) and self.chance(0.7):
                keys["legend"] = [{"h": state} for state in metric["states"]] + self.r.choice([[], [], [{"s": "extra"}]])
            if self.chance(0.5):
                keys["descriptors"] = [[e, d] for e in self.entities for d in metric["states"]]
            if self.chance(0.3):
                keys["entities"] = self.entities
            if kind == 3 and self.chance(0.1):
                keys["class"] = self.r.choice([14, 15])
                metric["form"] = "wakelock"
            self.lines.append({"def": "metric", "id": metric["id"], **keys})
            self.metrics.append(metric)
        # Which of the metrics that share their groups began first, and when a text came, only the times can tell.
        shared = sum("C-State" in metric["name"] or "Wakeups" in metric["name"] for metric in self.metrics)
        self.is_orderly = shared > 1 or any(m["kind"] in (3, 4) and m["form"] in ("s", "any", "wakelock") for m in self.metrics)

    # Messages.

    def samples(self, begin):
        """Those of all metrics in one interval: at one time in the order of their ids, or each at a time of its own."""
        metrics = [metric for metric in self.metrics if self.chance(0.8)]
        times = [begin + self.r.randrange(self.step // 2 + 1) for _ in metrics]
        if self.chance(0.3):
            times = [begin] * len(metrics)
        else:
            self.r.shuffle(metrics)
        if self.is_orderly or self.chance(0.8):
            times.sort()
            if len(set(times)) < len(times):
                metrics.sort(key=lambda metric: metric["id"])
        for metric, time in zip(metrics, times):
            self.sample(metric, time)

    def system(self):
        stop = self.start + (self.count + 1) * self.step
        topology = self.r.choice([[], [[1, 0, -1], [3, 0, 0], [4, 0, 1], [4, 1, 1]],
                                  [[1, 0, -1], [2, 0, 0], [3, 0, 1], [4, 0, 2], [1, 1, -1], [3, 0, 4], [4, 1, 5]]])
        self.lines.append({
            "msg": "system", "cpu": [6, 5, 4], "product": [1, 2, 3], "driver": [0, 1, 2], "host": self.r.choice(TEXTS),
            "platform": self.r.choice(TEXTS), "osName": self.r.choice(["Linux", "Windows 10"]),
            "osType": self.r.choice(["x86_64", "i686", "arm"]), "osVersion": "6.1.0.0", "topology": topology,
            "tscMHz": self.mhz, "cpuMHz": 2400, "busMHz": 100, "lfmMHz": 800.5, "hfmMHz": 2400, "start": self.start, "stop": stop,
            "durationSec": (stop - self.start) / self.mhz / 1e6, "time": 1700000000000000000, "platformId": 7,
            "command": self.r.choice([[], ["collect", "-t", "5"]]), "codeName": self.r.choice(TEXTS), "nativeModel": "M"})

    def others(self):
        if self.chance(0.1):
            self.lines.append({"msg": self.r.choice(["text", "header"]), "text": self.r.choice(TEXTS), "id": 0})
        if self.chance(0.1):
            self.lines.append({"msg": "id"})
        if self.chance(0.1):
            cells = [self.r.choice([text, None, False]) for text in self.r.sample(TEXTS, 2)]
            self.lines.append({"msg": "row", "table": [900, 1], "shared": [cells[0]], "cells": cells})
        if self.chance(0.1):
            self.lines.append({"msg": "container", "id": 901, "metric": self.r.choice(TEXTS), "notes": {"0": [self.r.choice(TEXTS)]},
                               "table": [900, 1]})
        if self.chance(0.05):
            stop = self.start + (self.count + 2) * self.step
            self.lines.append({"msg": "stop", "tsc": stop, "durationSec": (stop - self.start) / self.mhz / 1e6})

    def value(self, form):
        r = self.r
        if form == "any":
            form = r.choice(["u", "i", "r", "range", "h", "s"] + ([] if self.is_plain else ["null"]))
        if form == "u":
            return {"u": r.choice(WHOLES + [r.randrange(10**6)])}
        if form == "i":
            return {"i": r.choice([-1, 1]) * r.choice(WHOLES)}
        if form == "r":
            return {"r": r.choice(REALS + [r.uniform(-5, 5)])}
        if form == "range":
            kind = r.choice("iur")
            return {kind: [r.randrange(5), r.randrange(5, 99)] if kind != "r" else [r.uniform(0, 1), r.uniform(1, 2)]}
        if form in ("h", "wakelock"):
            return {"h": r.choice(self.states)}
        return {"s": r.choice(STATES + TEXTS)} if form == "s" else None

    def element(self, metric, entity, state, duration):
        element = {"e": entity, "d": state, "v": self.value(metric["form"])}
        if not self.is_plain and self.chance(0.05):
            element["d"] = None
        if duration:
            element["dur"] = duration
        if pairs := self.infos(0.05):
            element["info"] = sorted(pairs)
        return element

    def sample(self, metric, time):
        r = self.r
        duration = r.randrange(self.step + 1) if metric["own"] else self.step
        if metric["kind"] in (3, 4):
            element = self.element(metric, r.choice(self.entities), r.choice(metric["states"]), duration)
            if metric["kind"] == 4 and self.chance(0.5):
                element.pop("dur", None)
            if "h" in (element["v"] or {}):
                element["d"] = element["v"]["h"]
            return self.message(metric, time, [element])
        data = []
        for entity in r.sample(self.entities, r.randrange(1, len(self.entities) + 1)):
            if metric["kind"] == 1:
                states = r.sample(metric["states"], r.randrange(1, len(metric["states"]) + 1))
                for state in states:
                    data.append(self.element(metric, entity, state, duration))
                    data[-1]["v"] = {"u": r.randrange(duration + 1)}
            elif metric["kind"] == 0:
                data.append(self.element(metric, entity, r.choice(metric["states"]), duration))
                data[-1]["v"] = self.value(r.choice("ur") if not self.is_plain else "u")
            else:
                state = metric["states"][0]
                data.append(self.element(metric, entity, state, duration))
                if "h" in (data[-1]["v"] or {}):
                    data[-1]["d"] = data[-1]["v"]["h"]
        self.message(metric, time, data)

    def message(self, metric, time, data):
        self.lines.append({"msg": "metric", "metric": metric["id"], "t": time, "data": data})


def make_stream(seed):
    return Stream(seed, seed % 2 == 0).make()
