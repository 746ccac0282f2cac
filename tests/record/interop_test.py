#!/usr/bin/env python3
"""Records this machine under load and compares with what other programs saw of the same seconds.

usage: interop_test.py PWRHOST [SECONDS]
"""
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PWRHOST = sys.argv[1]
SECONDS = int(sys.argv[2]) if len(sys.argv) > 2 else 20


def record(folder, seconds):
    """The stream of a recording, while another program watches."""
    return subprocess.Popen([PWRHOST, "record", "-w", "none", "--quiet", "--no-progress", "--seconds", str(seconds),
                             "--save", "stream"], cwd=folder, stderr=subprocess.PIPE, text=True)


def sums(path):
    """Of each metric: the sum, and the last value, by entity and item."""
    names, metrics, totals, last, frequency = {}, {}, {}, {}, 1.0
    for line in map(json.loads, path.read_text().splitlines()):
        if line.get("msg") == "system":
            frequency = line["tscMHz"]
        elif line.get("def") == "metric":
            metrics[line["id"]] = line["name"]
        elif line.get("def") in ("entity", "descriptor"):
            names[line["id"]] = line["name"]
        elif line.get("msg") == "metric":
            for element in line["data"]:
                key = metrics[line["metric"]], names[element["e"]], names.get(element["d"])
                value = element["v"].get("u", element["v"].get("r", 0))
                totals[key] = totals.get(key, 0) + value
                last[key] = value
    return totals, last, frequency


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
        running = {name: subprocess.Popen(words, stdout=subprocess.PIPE, text=True, env={"LC_ALL": "C", "PATH":
                   "/usr/sbin:/usr/bin:/sbin:/bin"}) for name, words in watchers.items()}
        cls.seen = {name: process.communicate()[0] for name, process in running.items()}
        recorder.communicate()
        load.kill()
        load.wait()
        cls.totals, cls.last, cls.frequency = sums(pathlib.Path(cls.folder.name) / "stream")

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
        self.near(self.last["Memory", "System", "MemFree"], row["free"], 0.1, 100000, "free KiB")

    def test_pidstat_sees_the_same_cpu_time_of_a_process(self):
        if "pidstat" not in self.seen:
            self.skipTest("no pidstat")
        average = next(l for l in self.seen["pidstat"].splitlines() if l.startswith("Average") and str(self.pid) in l)
        percent = float(re.split(" +", average)[7])
        ours = sum(v for (metric, entity, _), v in self.totals.items()
                   if metric == "Process CPU Time" and entity.endswith(f"({self.pid})"))
        self.near(ours / SECONDS / 10, percent, 0.05, 3, "% of a CPU")

    def test_sensors_shows_the_same_temperatures_and_fans(self):
        shown = {}
        if shutil.which("sensors"):
            done = subprocess.run(["sensors", "-j"], capture_output=True, text=True)
            shown = json.loads(done.stdout or "{}") if done.returncode == 0 else {}
        values = [(feature, value) for chip in shown.values() for feature, parts in chip.items() if isinstance(parts, dict)
                  for name, value in parts.items() if name.startswith("temp") and name.endswith("_input")]
        if not values:
            self.skipTest("no sensors")
        ours = {entity: v for (metric, entity, _), v in self.last.items() if metric == "Sensor Temperature"}
        for feature, value in values:
            near = [v for entity, v in ours.items() if entity.split(" (")[0].endswith(feature)]
            self.assertTrue(any(abs(v - value) <= 5 for v in near), f"{feature}: {near} here, {value} there")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
