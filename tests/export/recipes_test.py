#!/usr/bin/env python3
"""Runs the commands of docs/recipes.md as they are printed, in order, in one folder: recipes_test.py PWRHOST"""
import csv
import io
import pathlib
import re
import subprocess
import sys
import tempfile
import textwrap

import engines

engines.enter_private_network()
PWRHOST = pathlib.Path(sys.argv[1]).resolve()
PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "recipes.md"
STATES = "CPU Time States"


def recipes():
    """Yields (heading, command) for each indented block of the page."""
    heading = ""
    for block in PAGE.read_text().split("\n\n"):
        if block.startswith("#"):
            heading = block.lstrip("# ").splitlines()[0]
        elif block.startswith("    "):
            yield heading, textwrap.dedent(block)


def rows_of(name):
    with (WORK / name).open(newline="") as file:
        return list(csv.DictReader(file))


def check_means(output):
    """DuckDB's means against those of the file."""
    readings = {}
    for row in rows_of("run_long.csv"):
        if row["type"] == "SAMPLED_VALUE" and row["value"]:
            readings.setdefault((row["metric"], row["entity"]), []).append(float(row["value"]))
    got = {(row["metric"], row["entity"]): float(row["mean"]) for row in csv.DictReader(io.StringIO(output))}
    assert got.keys() == readings.keys() and readings, (got, readings)
    for key, values in readings.items():
        assert abs(got[key] - sum(values) / len(values)) <= 1e-9 * abs(got[key]), key


def check_parquet(_):
    count = subprocess.run(["duckdb", "-csv", "-c", "SELECT count(*), count(value) FROM 'run.parquet'"], cwd=WORK,
                           env=ENVIRONMENT, capture_output=True, check=True).stdout.decode().splitlines()[1]
    rows = rows_of("run_long.csv")
    assert count == f"{len(rows)},{sum(row['value'] != '' for row in rows)}", count


def mean_of_states():
    values = [float(row["value"]) for row in rows_of("run_long.csv") if row["metric"] == STATES]
    return len(values), sum(values) / len(values)


def check_line_of_states(output):
    """A line of text with the count or the mean of the CPU states, in so many digits as it may have."""
    count, mean = mean_of_states()
    line = next(line for line in output.splitlines() if STATES in line)
    numbers = [float(number) for number in re.findall(r"\d+\.?\d*(?:e-?\d+)?", line.replace(STATES, ""))]
    assert any(abs(number - mean) <= 1e-4 * mean for number in numbers), (line, count, mean)


def check_prometheus(_):
    with engines.prometheus(WORK, "prometheus-data"):
        check_sum_of_states(lambda match, end: engines.prometheus_series(match, end, 600))


def check_victoria_metrics(_):
    check_sum_of_states(lambda match, end: engines.victoria_series(match))


def check_sum_of_states(series_of):
    rows = [row for row in rows_of("run_long.csv") if row["metric"] == STATES]
    text = (WORK / "run.om").read_text()
    end = max(float(line.split()[-1]) for line in text.splitlines() if not line.startswith("#")) + 1
    series = series_of('cpu_time_states_seconds_total{run="run"}', end)
    total = sum(points[-1][1] - points[0][1] for points in series.values())
    expected = sum(float(row["value"]) for row in rows)
    assert len(series) == len({(row["entity"], row["item"]) for row in rows}), series.keys()
    assert abs(total - expected) <= 1e-6 * expected, (total, expected)


CHECKS = {
    "Recipes": lambda _: rows_of("run_cells.csv") and rows_of("run_long.csv"),
    "DuckDB": check_means,
    "Parquet": check_parquet,
    "Through a pipe": lambda output: output.index(STATES),
    "pandas": check_line_of_states,
    "R": check_line_of_states,
    "SQLite": check_line_of_states,
    "Prometheus": check_prometheus,
    "VictoriaMetrics": check_victoria_metrics,
}

with tempfile.TemporaryDirectory() as folder:
    WORK = pathlib.Path(folder)
    ENVIRONMENT = engines.environment(PWRHOST)
    found = list(recipes())
    assert [heading for heading, _ in found] == list(CHECKS), [heading for heading, _ in found]
    with engines.victoria_metrics(WORK):
        for heading, command in found:
            done = subprocess.run(["bash", "-ec", command], cwd=WORK, env=ENVIRONMENT, capture_output=True, text=True)
            assert done.returncode == 0, f"{heading}: {done.stdout}{done.stderr}"
            CHECKS[heading](done.stdout)
            print(heading, "good", flush=True)
