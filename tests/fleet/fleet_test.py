#!/usr/bin/env python3
"""Runs the commands of docs/fleet.md for twenty made-up machines, and works their answers out from the machines'
streams: fleet_test.py PWRHOST

Each machine is a tree of files with a counter of energy that goes up, and an address of the loopback of its own. Of
the page's commands only paths, names, addresses and times are changed.
"""
import csv
import io
import json
import math
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import textwrap
import threading
import time
import urllib.parse
from contextlib import ExitStack

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "export"))
import engines  # noqa: E402

engines.enter_private_network()
PWRHOST = pathlib.Path(sys.argv[1]).resolve()
PAGE = (HERE.parents[1] / "docs" / "fleet.md").read_text()
MACHINES = 20
SECONDS = 6
ENERGY = "power_domain_energy_joules_total"


def indented_blocks():
    return [textwrap.dedent(block).strip("\n") for block in re.findall(r"(?:^    .*\n(?:\n(?=    ))?)+", PAGE, re.M)]


class Page:
    """The blocks of the page, each of which must be used."""

    def __init__(self):
        self.blocks = [part for block in indented_blocks() for part in block.split("\n\n")]

    def take(self, start):
        found = [block for block in self.blocks if block.startswith(start)]
        assert found, f"the page has no block that begins with {start!r}"
        self.blocks.remove(found[0])
        return found[0]


def changed(text, *changes):
    """The text with the first of each pair replaced by the second; each must be there."""
    for old, new in changes:
        assert old in text, f"{old!r} is not in {text!r}"
        text = text.replace(old, new)
    return text


class Machine:
    def __init__(self, number):
        self.number, self.name, self.address = number, f"node{number}", f"127.0.0.{number}:9100"
        self.watts = 5 * number
        self.folder = WORK / self.name
        self.tree, self.texts = self.folder / "tree", self.folder / "texts"
        self.texts.mkdir(parents=True)
        domain = self.tree / "sys/class/powercap/power:0"
        for path, text in {"proc/stat": "cpu0 1 2 3 4 5 6 7 8 0 0\nctxt 1\nbtime 1\nprocesses 1\n",
                           "proc/meminfo": f"MemTotal: 9000 kB\nMemAvailable: {1000 + number} kB\n",
                           "proc/pressure/io": "some avg10=0.00 avg60=0.00 avg300=0.00 total=7\n",
                           "proc/sys/kernel/hostname": self.name + "\n",
                           "proc/cpuinfo": f"processor: 0\nvendor_id: Maker\ncpu family: 6\nmodel: {number}\n"}.items():
            (self.tree / path).parent.mkdir(parents=True, exist_ok=True)
            (self.tree / path).write_text(text)
        domain.mkdir(parents=True)
        (domain / "name").write_text("package-0\n")
        (domain / "max_energy_range_uj").write_text("999999999999\n")
        (domain / "energy_uj").write_text("100000000000\n")
        self.counter = os.open(domain / "energy_uj", os.O_WRONLY)
        self.stream = self.folder / "state.ndjson"

    def use_energy(self, seconds):
        """In one write of always the same length, so that a reader never sees half of it."""
        os.pwrite(self.counter, b"%012d\n" % (100_000_000_000 + int(self.watts * seconds * 1e6)), 0)


def energies(stream):
    """The rises of energy in a stream, in microjoules, and their durations in seconds."""
    metric, mhz, found = None, 0, []
    for line in map(json.loads, stream.splitlines()):
        if line.get("def") == "metric" and line["name"] == "Power Domain Energy":
            metric = line["id"]
        elif line.get("msg") == "system":
            mhz = line["tscMHz"]
        elif line.get("msg") == "metric" and line["metric"] == metric:
            found += [(element["v"]["u"], element["dur"] / mhz / 1e6) for element in line["data"]]
    return found


def seconds_of(stream):
    return next(line["durationSec"] for line in map(json.loads, stream.splitlines()) if line.get("msg") == "system")


def joules_of(machine):
    return sum(rise for rise, _ in energies(machine.stream.read_text())) / 1e6


def answer(server, query):
    """{instance: value} of a query at this moment."""
    text = engines.fetch(f"{server}/api/v1/query?" + urllib.parse.urlencode({"query": query, "time": time.time()}))
    return {row["metric"].get("instance"): float(row["value"][1]) for row in json.loads(text)["data"]["result"]}


def wait_for(server, query, expected):
    end = time.monotonic() + 60
    while (got := answer(server, query)) != expected:
        assert time.monotonic() < end, f"{server}: {query}: {got}, not {expected}"
        time.sleep(0.5)


def ask(server, page_queries, machines):
    total, power, waits = page_queries
    wait_for(server, total, {machine.address: joules_of(machine) for machine in machines})
    got = answer(server, power)
    # An engine knows the rise from the first time that it looked; engines differ in what they take for its length: at
    # most all that is asked for, and at least that in which it happened.
    now = time.time()
    series = engines.victoria_series(ENERGY) if server == engines.VICTORIA else engines.prometheus_series(ENERGY, now, 60)
    seen = {dict(labels)["instance"]: points[-1][1] - points[0][1] for (_, labels), points in series.items()}
    for machine in machines:
        assert 0.99 * seen[machine.address] / 60 <= got[machine.address] <= 1.1 * machine.watts, (machine.name, seen, got)
    assert min(seen.values()) > 0, seen
    assert len(answer(server, waits)) == 5


def record_states(page, machines):
    """Records every machine twice at a time: its state, and a run to be kept."""
    state, run = page.take("pwrhost record --seconds 0 --writers none"), page.take("pwrhost record --preset server")
    processes = []
    for machine in machines:
        root = f"exec pwrhost record --root {machine.tree}"
        one = changed(state, ("pwrhost record", root), ("--flush-every 15", "--flush-every 1"),
                      ("--interval 1000", "--interval 500"), ("/var/lib/node_exporter", str(machine.texts)))
        other = changed(run, ("pwrhost record", root))
        commands = [f"{one} --save {machine.stream}", f"uname() {{ echo {machine.name}; }}\n{other} --interval 500"]
        processes += [subprocess.Popen(["bash", "-ec", command], cwd=WORK, env=ENVIRONMENT, stderr=subprocess.PIPE)
                      for command in commands]
    return processes


def end_all(processes):
    for process in processes:
        process.send_signal(signal.SIGINT)
    for process in processes:
        said = process.communicate(timeout=60)[1].decode()
        assert process.returncode == 0, said


def spend_energy(machines):
    ended = threading.Event()

    def work():
        begin = time.monotonic()
        while not ended.wait(0.05):
            for machine in machines:
                machine.use_energy(time.monotonic() - begin)

    worker = threading.Thread(target=work)
    worker.start()
    time.sleep(SECONDS)
    ended.set()
    worker.join()
    time.sleep(1.5)  # the last sample and file after the counters have come to rest


def scrape_and_ask(page, machines):
    exporter = page.take("prometheus-node-exporter")
    config = changed(page.take("global:"), ("15s", "1s"), ("node1:9100, node2:9100", ", ".join(m.address for m in machines)))
    (WORK / "prometheus.yml").write_text(config + "\n")
    queries = [page.take(f"sum by (instance) ({ENERGY})"), page.take("sum by (instance) (rate("), page.take("topk(5")]
    prometheus, victoria = page.take("prometheus --config"), page.take("victoria-metrics")
    with ExitStack() as stack:
        for machine in machines:
            command = changed(exporter, (":9100", machine.address), ("/var/lib/node_exporter", str(machine.texts)))
            stack.enter_context(engines.Server(command.split(), f"http://{machine.address}/", machine.folder))
        here = ["--web.listen-address=127.0.0.1:9090", "--storage.tsdb.path=data"]
        stack.enter_context(engines.Server(prometheus.split() + here, engines.PROMETHEUS + "/-/ready", WORK))
        here = ["-httpListenAddr=127.0.0.1:8428", "-search.latencyOffset=0s"]
        stack.enter_context(engines.Server(victoria.split() + here, engines.VICTORIA + "/health", WORK))
        processes = record_states(page, machines)
        stack.callback(lambda: [process.kill() for process in processes if process.poll() is None])
        spend_energy(machines)
        end_all(processes)
        for server in (engines.PROMETHEUS, engines.VICTORIA):
            ask(server, queries, machines)
            print(server, "answers", flush=True)


def shell(command):
    done = subprocess.run(["bash", "-ec", command], cwd=WORK, env=ENVIRONMENT, capture_output=True, text=True)
    assert done.returncode == 0, f"{command}: {done.stdout}{done.stderr}"
    return list(csv.DictReader(io.StringIO(done.stdout)))


def look_at_runs(page, machines):
    streams = {machine.name: subprocess.run(["zstd", "-dc", WORK / f"{machine.name}.0001.ndjson.zst"], check=True,
                                            capture_output=True).stdout.decode() for machine in machines}
    shell(page.take("pwrhost info --json"))
    rows = shell(page.take('duckdb -csv -c "SELECT host, count(*)'))
    assert [(row["host"], row["runs"], row["lost"]) for row in rows] == [(name, "1", "0") for name in sorted(streams)], rows
    for row in rows:
        seconds = seconds_of(streams[row["host"]])
        assert seconds >= SECONDS and math.isclose(float(row["seconds"]), seconds, rel_tol=1e-6), (row, seconds)

    shell(page.take("for stream in"))
    rows = {row["host"]: row for row in shell(page.take('duckdb -csv -c "SELECT host, entity'))}
    assert rows.keys() == streams.keys(), rows
    for name, stream in streams.items():
        rises = energies(stream)
        joules = sum(rise for rise, _ in rises) / 1e6
        assert rows[name]["entity"] == "package-0" and joules > 0, rows[name]
        assert math.isclose(float(rows[name]["joules"]), joules, rel_tol=1e-9), (rows[name], joules)
        watts = joules / sum(seconds for _, seconds in rises)
        assert math.isclose(float(rows[name]["watts"]), watts, rel_tol=1e-6), (rows[name], watts)

    rows = shell(page.take('duckdb -csv -c "SELECT c.host'))
    expected = [(machine.name, f"Maker family 6 model {machine.number}", 1000 + machine.number) for machine in machines]
    assert [(row["host"], row["cpu"], float(row["most_free_kib"])) for row in rows] == sorted(expected), rows


with tempfile.TemporaryDirectory() as work:
    WORK = pathlib.Path(work)
    ENVIRONMENT = engines.environment(PWRHOST)
    the_page = Page()
    fleet = [Machine(number) for number in range(1, MACHINES + 1)]
    scrape_and_ask(the_page, fleet)
    look_at_runs(the_page, fleet)
    assert not the_page.blocks, f"no command of the page is left out, but {the_page.blocks}"
    print("docs/fleet.md holds")
