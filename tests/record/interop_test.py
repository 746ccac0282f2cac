#!/usr/bin/env python3
"""Records this machine under load and compares with what other programs saw of the same seconds.

usage: interop_test.py PWRHOST [SECONDS [ROOT TEST...]]
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PWRHOST = sys.argv[1]
SECONDS = int(sys.argv[2]) if len(sys.argv) > 2 else 20
ROOT = sys.argv[3] if len(sys.argv) > 3 else "/"
# What the kernel's performance events tell of energy, with the names of the same domains below powercap.
DOMAINS = {"energy-pkg": r"pkg|package-\d+", "energy-cores": "cores|.*/core", "energy-ram": "ram|.*/dram",
           "energy-gpu": "gpu|.*/uncore", "energy-psys": "psys"}
EVENTS = [name for name in DOMAINS if pathlib.Path("/sys/bus/event_source/devices/power/events", name).exists()]
# The kinds of what sensors shows, and how much may change between two looks: a share, and so much at least.
SENSORS = {"temp": ("Sensor Temperature", 0, 5), "fan": ("Fan Speed", 0.2, 100), "in": ("Sensor Voltage", 0.1, 0.1),
           "curr": ("Sensor Current", 0.5, 0.5), "power": ("Sensor Power", 0.5, 2)}


def record(folder, seconds):
    """The stream of a recording, while another program watches."""
    return subprocess.Popen([PWRHOST, "record", "-w", "none", "--quiet", "--no-progress", "--seconds", str(seconds),
                             "--save", "stream", "--root", ROOT], cwd=folder, stderr=subprocess.PIPE, text=True)


def sums(path):
    """Of each metric: the sum, the last value and all, by entity and item."""
    names, metrics, totals, last, every = {}, {}, {}, {}, {}
    for line in map(json.loads, path.read_text().splitlines()):
        if line.get("def") == "metric":
            metrics[line["id"]] = line["name"]
        elif line.get("def") in ("entity", "descriptor"):
            names[line["id"]] = line["name"]
        elif line.get("msg") == "metric":
            for element in line["data"]:
                key = metrics[line["metric"]], names[element["e"]], names.get(element["d"])
                value = element["v"].get("u", element["v"].get("r", 0))
                totals[key] = totals.get(key, 0) + value
                last[key] = value
                every.setdefault(key, []).append(value)
    return totals, last, every


class OtherEyes(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        load = subprocess.Popen([sys.executable, "-c", "while True: sum(range(10000))"])
        cls.pid = load.pid
        watchers = {}
        recorder = record(cls.folder.name, SECONDS)
        if shutil.which("vmstat"):
            watchers["vmstat"] = ["vmstat", "-n", str(SECONDS), "2"]
        if shutil.which("pidstat"):
            watchers["pidstat"] = ["pidstat", "-u", "-p", str(load.pid), str(SECONDS), "1"]
        if shutil.which("perf") and EVENTS:
            watchers["perf"] = ["perf", "stat", "-a", "-x", ";", "--log-fd", "1",
                                *(word for name in EVENTS for word in ("-e", f"power/{name}/")), "sleep", str(SECONDS)]
        running = {name: subprocess.Popen(words, stdout=subprocess.PIPE, text=True, env={"LC_ALL": "C", "PATH":
                   "/usr/sbin:/usr/bin:/sbin:/bin"}) for name, words in watchers.items()}
        cls.seen = {name: process.communicate()[0] for name, process in running.items()}
        recorder.communicate()
        load.kill()
        load.wait()
        cls.totals, cls.last, cls.every = sums(pathlib.Path(cls.folder.name) / "stream")

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def near(self, ours, theirs, share, least, what):
        self.assertLessEqual(abs(ours - theirs), max(share * abs(theirs), least), f"{what}: {ours} here, {theirs} there")

    def test_vmstat_sees_the_same_cpu_time_switches_and_memory(self):
        if "vmstat" not in self.seen:
            self.skipTest("no vmstat")
        lines = self.seen["vmstat"].splitlines()
        row = dict(zip(lines[1].split(), map(int, lines[-1].split())))
        cpu = {}
        for (metric, _, item), value in self.totals.items():
            if metric == "CPU Time States":
                cpu[item] = cpu.get(item, 0) + value
        whole = sum(cpu.values())
        self.near(100 * (cpu["User"] + cpu["Nice"]) / whole, row["us"], 0.1, 4, "user %")
        self.near(100 * cpu["Idle"] / whole, row["id"], 0.1, 4, "idle %")
        self.near(self.totals["Context Switches", "System", "Context Switches"] / SECONDS, row["cs"], 0.15, 50, "switches/s")
        self.near(self.totals["Interrupts", "System", "Interrupts"] / SECONDS, row["in"], 0.15, 50, "interrupts/s")
        free = self.every["Memory", "System", "MemFree"]  # other programs may take and give a lot in a second
        self.near(min(max(row["free"], min(free)), max(free)), row["free"], 0.1, 100000, "free KiB")

    def test_pidstat_sees_the_same_cpu_time_of_a_process(self):
        if "pidstat" not in self.seen:
            self.skipTest("no pidstat")
        average = next(l for l in self.seen["pidstat"].splitlines() if l.startswith("Average") and str(self.pid) in l)
        percent = float(re.split(" +", average)[7])
        ours = sum(v for (metric, entity, _), v in self.totals.items()
                   if metric == "Process CPU Time" and entity.endswith(f"({self.pid})"))
        self.near(ours / SECONDS / 10, percent, 0.05, 3, "% of a CPU")

    def test_sensors_shows_the_same_values(self):
        shown = {}
        if shutil.which("sensors"):
            done = subprocess.run(["sensors", "-j"], capture_output=True, text=True)
            shown = json.loads(done.stdout or "{}") if done.returncode == 0 else {}
        values = [(re.match("[a-z]*", name)[0], feature, value) for chip in shown.values()
                  for feature, parts in chip.items() if isinstance(parts, dict)
                  for name, value in parts.items() if name.endswith(("_input", "_average"))]
        values = [(SENSORS[kind], feature, value) for kind, feature, value in values if kind in SENSORS]
        if not values:
            self.skipTest("no sensors")
        for (metric, share, least), feature, value in values:
            near = [v for (name, entity, _), v in self.last.items()
                    if name == metric and entity.split(" (")[0].endswith(feature)]
            self.assertTrue(any(abs(v - value) <= max(share * abs(value), least) for v in near),
                            f"{metric} of {feature}: {near} here, {value} there")

    def test_perf_sees_the_same_energy(self):
        if "perf" not in self.seen:
            self.skipTest("no events of energy, or no perf")
        rows = [line.split(";") for line in self.seen["perf"].splitlines() if "Joules" in line]
        self.assertTrue(rows, self.seen["perf"])
        compared = 0
        for joules, _, event, *_ in rows:
            domain = re.compile(DOMAINS[event.strip("/").split("/")[-1]] + r"( CPU\d+)?( \(.*)?")
            ours = [v / 1e6 for (metric, entity, _), v in self.totals.items()
                    if metric == "Power Domain Energy" and domain.fullmatch(entity) and "mmio" not in entity]
            if ours:  # perf knows domains that powercap may not
                self.near(sum(ours), float(joules), 0.1, 1, event)
            compared += len(ours)
        self.assertGreater(compared, 0)

    def test_upower_sees_the_same_batteries(self):
        def upower(*words):
            if not shutil.which("upower"):
                return ""
            done = subprocess.run(["upower", *words], capture_output=True, text=True, env={**os.environ, "LC_ALL": "C"})
            return done.stdout if done.returncode == 0 else ""

        batteries = [path for path in upower("-e").split() if "/battery_" in path]
        if not batteries:
            self.skipTest("no batteries, or no upower")
        for path in batteries:
            text = upower("-i", path)
            name = re.search(r"native-path: *(\S+)", text)[1].rpartition("/")[2]
            for field, metric, share, least in (("percentage", "Battery Capacity", 0, 2), ("energy", "Battery Energy", 0.05, 1),
                                                ("voltage", "Battery Voltage", 0.05, 0.2),
                                                ("energy-rate", "Battery Power", 0.5, 2)):
                shown = re.search(rf"(?m)^ *{field}: *([\d.]+)", text)
                ours = [v for (known, entity, _), v in self.last.items() if (known, entity) == (metric, name)]
                if shown and ours:  # upower works out the energy of a battery that tells its charge
                    self.near(ours[0], float(shown[1]), share, least, f"{metric} of {name}")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]])
