"""The programs that read our results in tests, each in a network of its own where the system allows that."""
import fcntl
import json
import os
import pathlib
import re
import socket
import struct
import subprocess
import sys
import time
import urllib.error
import urllib.parse
import urllib.request

HERE = pathlib.Path(__file__).resolve().parent
PROMETHEUS, VICTORIA = "http://127.0.0.1:9090", "http://127.0.0.1:8428"
UP = 0x1  # IFF_UP


def enter_private_network():
    """Runs this program again where all ports of the loopback are free, if the system lets us have such a place."""
    if "PRIVATE_NETWORK" in os.environ:
        with socket.socket() as any_socket:
            fcntl.ioctl(any_socket, 0x8914, struct.pack("16sh14x", b"lo", UP))  # SIOCSIFFLAGS
        return
    if subprocess.run(["unshare", "-rn", "true"], capture_output=True).returncode == 0:
        os.environ["PRIVATE_NETWORK"] = "1"
        os.execvp("unshare", ["unshare", "-rn", sys.executable, *sys.argv])


def environment(pwrhost):
    """Debian's programs before all others, then what the tests bring along."""
    folders = [str(pathlib.Path(pwrhost).parent), str(HERE / "bin"), "/usr/bin", os.environ["PATH"]]
    return {**os.environ, "PATH": ":".join(folders), "LC_ALL": "C.UTF-8"}


def fetch(url, data=None):
    with urllib.request.urlopen(url, data, timeout=60) as answer:
        return answer.read()


class Server:
    """A server while its block runs."""

    def __init__(self, command, ready, work):
        self.command, self.ready, self.work = command, ready, work

    def __enter__(self):
        self.log_path = pathlib.Path(self.work) / (self.command[0] + ".log")
        self.log = self.log_path.open("wb")
        self.process = subprocess.Popen(self.command, cwd=self.work, stdout=self.log, stderr=self.log)
        for _ in range(300):
            try:
                fetch(self.ready)
                return self
            except (urllib.error.URLError, ConnectionError):
                if self.process.poll() is not None:
                    break
                time.sleep(0.1)
        self.__exit__()
        raise RuntimeError(f"{self.command[0]} does not answer:\n" + self.log_path.read_text()[-3000:])

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        self.log.close()


def prometheus(work, data):
    config = pathlib.Path(work) / "prometheus.yml"
    config.write_text("{}\n")
    return Server(["prometheus", f"--config.file={config}", f"--storage.tsdb.path={data}",
                   "--web.listen-address=127.0.0.1:9090"], PROMETHEUS + "/-/ready", work)


def victoria_metrics(work):
    return Server(["victoria-metrics", "-storageDataPath=victoria-data", "-httpListenAddr=127.0.0.1:8428",
                   "-retentionPeriod=100y", "-search.latencyOffset=0s"], VICTORIA + "/health", work)


def prometheus_series(match, end, seconds):
    """{(name, labels): [(milliseconds, value)]} of everything in so many seconds before `end`."""
    query = urllib.parse.urlencode({"query": f"{match}[{seconds}s]", "time": end})
    answer = json.loads(fetch(f"{PROMETHEUS}/api/v1/query?{query}"))
    series = {}
    for row in answer["data"]["result"]:
        name = row["metric"].pop("__name__")
        series[name, frozenset(row["metric"].items())] = [(round(t * 1000), float(v)) for t, v in row["values"]]
    return series


def victoria_series(match):
    fetch(f"{VICTORIA}/internal/force_flush")
    query = urllib.parse.urlencode({"match[]": match, "reduce_mem_usage": "1"})
    series = {}
    for line in fetch(f"{VICTORIA}/api/v1/export?{query}").decode().splitlines():
        labels, key, numbers = line.rpartition('"values":')  # in which infinities stand as +Inf and -Inf
        row = json.loads(labels + key + re.sub(r"[+]?Inf", "Infinity", numbers).replace("null", "NaN"))
        name = row["metric"].pop("__name__")
        points = [(t, float(v)) for t, v in zip(row["timestamps"], row["values"])]
        series.setdefault((name, frozenset(row["metric"].items())), []).extend(points)
    return {key: sorted(points) for key, points in series.items()}  # they come in blocks, in any order
