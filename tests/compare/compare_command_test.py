#!/usr/bin/env python3
"""compare_command_test.py PWRHOST PLUGINS: what `pwrhost compare` makes of files, options and bad input."""
import csv
import html.parser
import io
import json
import os
import pathlib
import random
import statistics
import subprocess
import sys
import tempfile

PWRHOST, PLUGINS = map(os.path.abspath, sys.argv[1:3])
HEAD = "Output_Name,Collection_Time,Duration (sec),"
A = [10, 10.1, 10.2, 9.9, 9.8, 10.3]
UP = [12, 12.1, 12.2, 11.9, 11.8, 12.3]


def automation(path, columns, times=None, tail=","):
    """Writes a run per number of the columns, {name: numbers or texts}."""
    runs = max(len(numbers) for numbers in columns.values())
    with open(path, "w", encoding="utf-8") as file:
        file.write("Output_Name,Collection_Time," + ",".join(columns) + tail + "\n")
        for i in range(runs):
            time = times[i] if times else "2024-05-01 10:00:00"
            file.write(f"run{i},{time}," + ",".join(str(numbers[i]) for numbers in columns.values()) + tail + "\n")
    return path


def compare(*words):
    done = subprocess.run([PWRHOST, "compare", *words], capture_output=True, text=True)
    return done.returncode, done.stdout, done.stderr


def as_json(*words):
    status, out, errors = compare("--format", "json", *words)
    assert status == 0, (words, status, errors)
    return json.loads(out)


def columns_of(*words):
    return {column["name"]: column for column in as_json(*words)["columns"]}


def verdicts():
    """Every verdict, its keys, and its place in the text."""
    low = [0, 0.001, -0.001, 0.002, -0.002, 0.0005]
    columns = {
        "up (W)": (A, UP), "down (W)": (UP, A), "same": (A, A[::-1]), "flat": ([7] * 6, [7] * 6),
        "zero": ([0] * 6, [5, 5.1, 5.2, 4.9, 4.8, 5.3]), "nothing": ([0] * 6, [0] * 6),
        "tiny": ([1000 + x / 100 for x in A], [1000 + x / 100 for x in UP]),
        "few": (A[:3] + ["", "Invalid", ""], UP), "fewSame": (A[:3] + ["", "", ""], A),
        "mixed": (A, UP[:5] + ["n/a"]), "words": (["x"] * 6, ["y"] * 6), "empty": ([""] * 6, [""] * 6),
        "left": (A, [""] * 6), "right": ([""] * 6, A), "low": (low, low),
    }
    automation("a.csv", {name: pair[0] for name, pair in columns.items()} | {"onlyA": A})
    automation("b.csv", {name: pair[1] for name, pair in columns.items()} | {"onlyB": A})
    result = as_json("a.csv", "--", "b.csv")
    assert list(result) == ["runsA", "runsB", "alpha", "columns", "drift"], list(result)
    assert (result["runsA"], result["runsB"], result["alpha"]) == (6, 6, 0.05)
    found = {column["name"]: column for column in result["columns"]}
    assert list(found["up (W)"]) == ["name", "unit", "nA", "nB", "medianA", "medianB", "change", "low", "high", "p",
                                     "adjustedP", "verdict", "shift", "spreadP"]
    wanted = {"up (W)": "differs", "down (W)": "differs", "same": "same", "flat": "constant", "zero": "differs",
              "nothing": "constant", "tiny": "same", "few": "separated", "fewSame": "same", "mixed": "text",
              "words": "text", "empty": "text", "left": "onlyA", "right": "onlyB", "low": "same", "onlyA": "onlyA",
              "onlyB": "onlyB"}
    assert {name: column["verdict"] for name, column in found.items()} == wanted
    up = found["up (W)"]
    assert up["unit"] == "W" and up["p"] == 2 / 924 and abs(up["change"] - 2 / 10.05) < 1e-12, up
    assert found["down (W)"]["change"] < 0 and found["tiny"]["adjustedP"] < 0.05
    zero = found["zero"]
    assert zero["change"] is zero["low"] is zero["high"] is None and zero["shift"] > 4.9 and zero["p"] is not None
    flat = found["flat"]
    assert flat["change"] == flat["shift"] == 0 and flat["p"] is flat["low"] is flat["spreadP"] is None
    assert found["few"]["p"] is None and found["few"]["nA"] == 3 and found["few"]["change"] > 0.1
    assert found["words"]["medianA"] is None and found["onlyA"]["nB"] == 0

    status, out, errors = compare("a.csv", "--", "b.csv")
    lines = out.splitlines()
    assert status == 0 and lines[0] == "3 of 17 columns differ; 6 + 6 runs", lines[0]
    assert "No difference shown: 4. Spread changed: 0. Constant: 2. Only in A: 2. Only in B: 2. Not numeric: 3." in lines
    rows = [line.split()[0] for line in lines if line.startswith(("up", "down", "zero", "few", "same", "tiny"))]
    assert rows == ["zero", "up", "down", "few"], rows
    assert next(line for line in lines if line.startswith("up (W)")).count("+19.9 %") == 1, out
    assert errors.count("mixed") == 1 and "words" not in errors, errors
    # The same numbers in both formats for programs.
    rows = list(csv.DictReader(io.StringIO(compare("--format", "csv", "a.csv", "--", "b.csv")[1])))
    for row, column in zip(rows, result["columns"], strict=True):
        for key, value in column.items():
            read = row[key] if isinstance(value, str) else float(row[key]) if row[key] else None
            assert read == value, (key, row, column)
    assert columns_of("--min-change", "0", "a.csv", "--", "b.csv")["tiny"]["verdict"] == "differs"
    assert columns_of("--alpha", "0.0001", "a.csv", "--", "b.csv")["up (W)"]["verdict"] == "same"
    assert len(compare("--top", "1", "a.csv", "--", "b.csv")[1].splitlines()) < len(lines)


def few_runs():
    status, out, _ = compare("a.csv:run[0-3]", "--", "b.csv")
    first = out.splitlines()[0]
    assert status == 0 and "6 + 6" in first and "4 + 6" in first, first
    assert "significant" not in out and "differ;" not in first and "up (W)" in out


def spread_and_drift():
    rnd = random.Random(3)
    wide = [rnd.gauss(100, 5) for _ in range(20)]
    columns_a = {"spread": [100 + (x - 100) / 10 for x in wide], "drift": list(range(20))}
    columns_b = {"spread": wide[::-1], "drift": [x * 7 % 20 for x in range(20)]}
    # Lines stand in any order; the drift follows the time.
    order = list(range(20))
    rnd.shuffle(order)
    times = [f"2024-05-01 10:00:{i:02}" for i in order]
    automation("a2.csv", {name: [numbers[i] for i in order] for name, numbers in columns_a.items()}, times)
    automation("b2.csv", columns_b)
    result = as_json("a2.csv", "--", "b2.csv")
    assert result["columns"][0]["verdict"] == "spread" and result["columns"][0]["spreadP"] < 0.01, result
    assert [(d["group"], d["name"], d["direction"]) for d in result["drift"]] == [("A", "drift", "up")], result
    _, out, _ = compare("a2.csv", "--", "b2.csv")
    assert "Spread changed: 1." in out and "interleave" in out, out


def recordings_in_order():
    """Runs follow each other by the clock, also where the collector shows no time, whatever the order of the files."""
    for group, slope in (("early", 1), ("late", 0)):
        for i in range(8):
            lines = [{"def": "entity", "id": 1, "name": "P0"}, {"def": "metric", "id": 2, "name": "Power", "type": "SAMPLED_VALUE"},
                     {"msg": "system", "tscMHz": 1000, "time": (1_700_000_000 + i) * 10**9, "durationSec": 1},
                     {"msg": "metric", "metric": 2, "t": 9, "data": [{"e": 1, "v": {"r": 10 + slope * i + i * 3 % 8 / 100}}]}]
            path = pathlib.Path(f"{group}{i * 5 % 8}.ndjson")
            path.write_text("".join(json.dumps(line) + "\n" for line in lines))
    result = as_json(*(f"early{i}.ndjson" for i in range(8)), "--", *(f"late{i}.ndjson" for i in range(8)))
    assert [(d["group"], d["name"], d["direction"]) for d in result["drift"]] == [("A", "Power_P0", "up")], result


def headers():
    """Several headers, titles with commas, repeated names, lines that fit none, CR, groups of several files."""
    pathlib.Path("h.csv").write_bytes((
        HEAD + "x,x,\r\n" + "one,t,1,5,6,\r\n" + "\n" +
        HEAD + "x,T: a, b, c (W),\n" + "two,t,1,7,8,\n" + "bad,t,1,7\n" + "worse,t,1,7,8,9,10,11,\n" +
        "three,t,1,9,10\n").encode())
    status, out, errors = compare("--format", "json", "h.csv", "--", "h.csv:t*", "h.csv:one")
    assert status == 0, errors
    found = {column["name"]: column for column in json.loads(out)["columns"]}
    assert list(found) == ["Duration (sec)", "x", "x #2", "T: a, b, c (W)"], list(found)
    assert found["x"]["nA"] == 3 and found["x"]["medianA"] == 7 and found["x #2"]["nA"] == 1
    assert found["T: a, b, c (W)"]["medianB"] == 9 and found["T: a, b, c (W)"]["unit"] == "W"
    for place, fields in ((6, 4), (7, 8)):
        line = next(line for line in errors.splitlines() if f"h.csv:{place}:" in line)
        assert f"{fields} fields" in line and " 7 " in line, line
    # A file whose name holds a colon, and a pattern behind it.
    pathlib.Path("h:one.csv").write_bytes(pathlib.Path("h.csv").read_bytes())
    assert as_json("h:one.csv", "--", "h:one.csv:t*")["runsB"] == 2


def gates():
    files = ("a.csv", "--", "b.csv")
    for rule, status in (("up*:+3%", 1), ("up*:-3%", 0), ("up*:3%", 1), ("up*:+30%", 0), ("down*:-3%", 1),
                         ("down*:+3%", 0), ("zero:+99999%", 1), ("zero:-3%", 0), ("flat:+0%", 0), ("tiny:+0%", 0),
                         ("UP*:+3%", 2), ("few:+3%", 2), ("words:3%", 2), ("onlyA:3%", 2), ("no such:3%", 2),
                         ("up*:+3", 2), ("up*", 2), ("down*: +3%", 2), ("up*:+ 3%", 2)):
        found, out, errors = compare("--fail", rule, *files)
        assert found == status, (rule, found, errors)
        assert (out == "") == (status == 2), rule
        assert status == 0 or rule in errors, errors
    assert compare("--fail", "flat:3%", "--fail", "down*:-3%", *files)[0] == 1


def unusable():
    automation("one.csv", {"x": [1]})
    automation("other.csv", {"y": A})
    automation("text.csv", {"x": ["a"] * 6})
    automation("many.csv", {"x": [1] * 1001})
    good = automation("good.csv", {"x": A})
    pathlib.Path("empty.csv").touch()
    pathlib.Path("blank.csv").write_text("\n\r\n\n")
    pathlib.Path("header.csv").write_text(HEAD + "\n")
    pathlib.Path("nohead.csv").write_text("run,t,1,\n" + HEAD + "\n")
    pathlib.Path("short.csv").write_text(HEAD + "x,\nrun,t,\n")
    pathlib.Path("bytes.csv").write_bytes(bytes(range(256)) * 16)
    pathlib.Path("stream.ndjson").write_text('{"msg":"system","unknown":1}\n')
    pathlib.Path("nosystem.ndjson").write_text('# nothing\n{"def":"entity","id":1,"name":"x"}\n')
    cases = [
        (["missing.csv", "--", good], "missing.csv"), ([".", "--", good], "."), (["empty.csv", "--", good], "empty.csv"),
        (["blank.csv", "--", good], "blank.csv"), (["header.csv", "--", good], "header.csv"),
        (["nohead.csv", "--", good], "nohead.csv:1"), (["short.csv", "--", good], "short.csv"),
        (["bytes.csv", "--", good], "bytes.csv"), (["one.csv", "--", good], "one.csv"),
        ([good, "--", "good.csv:run0"], "good.csv:run0"), ([good, "--", good, "good.csv:nobody"], "good.csv:nobody"),
        (["many.csv", "--", good], "many.csv"), ([good, "--", "other.csv"], "other.csv"),
        (["text.csv", "--", good], "text.csv"), (["stream.ndjson", "--", good], "stream.ndjson:1: "),
        (["nosystem.ndjson", "--", good], "nosystem.ndjson"),
        ([good], "--"), ([good, "--"], "--"), (["--", good], ""), ([], ""), (["--format", "xml", good, "--", good], "xml"),
        (["--alpha", "2", good, "--", good], "alpha"), (["--alpha", "x", good, "--", good], "x"),
        (["--min-change", "much", good, "--", good], "much"), (["--wrong", good, "--", good], "wrong"),
        (["--top", "-1", good, "--", good], "--top: Value -1 not in range 0 to 1000000000"), (["--aa", good], "good.csv"), (["--aa", good, "--", good], "--aa"),
        (["--aa", "--fail", "x:3%", "many.csv"], "--fail"),
    ]
    for words, named in cases:
        status, out, errors = compare(*words)
        assert status == 2 and out == "", (words, status, out)
        assert named in errors and len(errors.splitlines()) <= 2, (words, errors)
        if errors.startswith("pwrhost:"):
            assert len(errors.splitlines()) == 1, errors
    assert compare("--help")[0] == 0


class Page(html.parser.HTMLParser):
    def __init__(self):
        super().__init__()
        self.tags = {}
        self.text = ""

    def handle_starttag(self, tag, attributes):
        self.tags[tag] = self.tags.get(tag, 0) + 1
        assert all(not key.startswith("on") and key not in ("href", "src") for key, _ in attributes), attributes

    def handle_data(self, data):
        self.text += data


def inert():
    name = "<script>alert('1')</script>&amp;\"`|*x* \x1b[31m (W)"
    automation("a3.csv", {name: A})
    automation("b3.csv", {name: UP})
    page = Page()
    page.feed(compare("--format", "html", "a3.csv", "--", "b3.csv")[1])
    assert "script" not in page.tags and page.tags["circle"] == 12, page.tags
    assert name.replace("\x1b", "\\x1b") in page.text
    table = compare("--format", "markdown", "a3.csv", "--", "b3.csv")[1].splitlines()
    row = next(line for line in table if "script" in line)
    assert row.count("|") - row.count("\\|") == 7 and "`` " in row, row
    for form in ("text", "markdown", "html"):
        assert "\x1b" not in compare("--format", form, "a3.csv", "--", "b3.csv")[1], form
    assert columns_of("a3.csv", "--", "b3.csv")[name]["verdict"] == "differs"
    # What every differing column looks like is shown, not only the first ones.
    automation("a4.csv", {f"c{i}": A for i in range(30)})
    automation("b4.csv", {f"c{i}": UP for i in range(30)})
    page = Page()
    page.feed(compare("--format", "html", "a4.csv", "--", "b4.csv")[1])
    assert page.tags["svg"] == 30
    assert "10 more" in compare("a4.csv", "--", "b4.csv")[1]


def noise():
    rnd = random.Random(1)
    steady = {"quiet": [100 + rnd.gauss(0, 1) for _ in range(24)], "loud": [100 + rnd.gauss(0, 10) for _ in range(24)],
              "flat": [3] * 24, "words": ["x"] * 24}
    automation("aa.csv", steady)
    result = as_json("--aa", "aa.csv")
    assert result == as_json("--aa", "aa.csv")
    found = {column["name"]: column for column in result["columns"]}
    assert list(found["quiet"]) == ["name", "noise", "seen"]
    for name in ("quiet", "loud"):
        # Of the means of halves of 12; medians of differences are about as good.
        error = statistics.stdev(steady[name]) * (2 / 12) ** 0.5 / statistics.median(steady[name])
        assert 1.6 < found[name]["noise"] / error < 2.4, (name, error, found)
        assert 2 < found[name]["seen"] / error < 5, (name, error, found)
    assert found["flat"] == {"name": "flat", "noise": 0, "seen": 0} and found["words"]["noise"] is None, found
    # Twelve runs can show 1 column something, but not 100.
    automation("aa12.csv", {f"c{i}": [rnd.gauss(10, 1) for _ in range(12)] for i in range(100)})
    assert as_json("--aa", "aa12.csv")["columns"][0]["seen"] is None
    assert compare("--aa", "aa.csv")[1].splitlines()[3].startswith("loud")


def streams():
    """Numbers of message streams: mean, rate and share; what differs in the machines."""
    def write(path, power, host):
        with open(path, "w", encoding="utf-8") as file:
            for line in (
                {"def": "entity", "id": 1, "name": "P0"}, {"def": "descriptor", "id": 2, "name": "C1"},
                {"def": "descriptor", "id": 3, "name": "C6"},
                {"def": "quantity", "id": 1, "kind": 1, "name": "Power", "units": "W"},
                {"def": "quantity", "id": 2, "kind": 2, "name": "Energy", "units": "uJ", "rate": [1, 1e-6]},
                {"def": "metric", "id": 10, "name": "Power", "type": "SAMPLED_VALUE", "quantity": 1},
                {"def": "metric", "id": 11, "name": "Energy", "type": "SAMPLED_DELTA", "quantity": 2},
                {"def": "metric", "id": 12, "name": "Idle", "type": "SAMPLED_RESIDENCY"},
                {"def": "metric", "id": 13, "name": "State", "type": "TRACED_VALUE_TRANSITION"},
                {"def": "metric", "id": 14, "name": "Wakeup", "type": "TRACED_EVENT"},
                {"def": "entity", "id": 4, "name": "twin"}, {"def": "entity", "id": 5, "name": "twin"},
                {"def": "metric", "id": 15, "name": "Count", "type": "SAMPLED_DELTA"},
                {"def": "metric", "id": 16, "name": "Heat", "type": "SAMPLED_VALUE"},
                {"msg": "system", "id": 1, "host": host, "tscMHz": 1000, "durationSec": 4, "startTime": "t"},
                *({"msg": "metric", "metric": 10, "t": t, "data": [{"e": 1, "dur": 1, "v": {"r": power + t}}]}
                  for t in (1, 2, 3)),
                *({"msg": "metric", "metric": 11, "t": t, "data": [{"e": 1, "dur": 2 * 10**9, "v": {"u": 3000000}}]}
                  for t in (1, 2)),
                {"msg": "metric", "metric": 12, "t": 9, "data": [{"e": 1, "d": 2, "dur": 1000, "v": {"u": 250}},
                                                                 {"e": 1, "d": 3, "dur": 1000, "v": {"u": 700}}]},
                {"msg": "metric", "metric": 13, "t": 9, "data": [{"e": 1, "dur": 300, "v": {"s": "on"}},
                                                                 {"e": 1, "dur": 100, "v": {"s": "off"}}]},
                {"msg": "metric", "metric": 14, "t": 9, "data": [{"e": 1}, {"e": 1}]},
                {"msg": "metric", "metric": 15, "t": 9, "data": [{"e": 4, "v": {"u": 1}}, {"e": 5, "dur": 10**9, "v": {"u": 3}}]},
                {"msg": "metric", "metric": 16, "t": 9, "data": [{"e": 4, "v": {"r": "nan"}}, {"e": 5, "v": {"r": 7}}]},
            ):
                file.write(json.dumps(line) + "\n")
        return path

    group_a = [write(f"a{i}.ndjson", 10 + i / 10, "left") for i in range(6)]
    group_b = [write(f"b{i}.ndjson", 14 + i / 10, "right") for i in range(6)]
    found = columns_of(*group_a, "--", *group_b)
    wanted = {"Duration (sec)": 4, "Power_P0 (W)": 12.25, "Energy_P0 (W)": 1.5, "Idle_P0_C1 (%)": 25,
              "Idle_P0_C6 (%)": 70, "State_P0_on (%)": 75, "State_P0_off (%)": 25, "Wakeup_P0 (1/s)": 0.5,
              "Count_twin (1/s) #2": 3, "Heat_twin #2": 7}  # those of the first twin are not known
    assert {name: round(column["medianA"], 9) for name, column in found.items()} == wanted, found
    assert found["Power_P0 (W)"]["verdict"] == "differs"
    lines = compare(*group_a, "--", *group_b)[1].splitlines()
    assert lines[0] == "1 of 10 columns differ; 6 + 6 runs" and "left" in lines[1] and "right" in lines[1], lines
    # The binary trace of a stream has the same numbers in single precision.
    for i in (0, 1):
        subprocess.run([PWRHOST, "replay", "--plugins", PLUGINS, "-w", "bin", "-o", f"t{i}", group_a[i]], check=True, capture_output=True)
    found = columns_of("t0.ztbin", "t1.ztbin", "--", *group_a[:2])
    for name in ("Duration (sec)", "Power_P0 (W)", "Idle_P0_C1 (%)", "Idle_P0_C6 (%)"):
        column = found[name]
        assert column["nA"] == column["nB"] == 2 and abs(column["change"]) < 1e-6, column


def main():
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        for test in (verdicts, few_runs, spread_and_drift, recordings_in_order, headers, gates, unusable, inert, noise, streams):
            test()


main()
