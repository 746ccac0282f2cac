#!/usr/bin/env python3
"""peer_test.py PWRHOST [TABLES]: holds the statistics of `pwrhost compare` against R and scipy.

Every random table is a pair of automation files; p values, adjusted p values, estimates and intervals must agree to
1e-12. R has the exact test without ties and the approximation; scipy enumerates all assignments where there are
ties. Exits with 77 where R or scipy is missing.
"""
import csv
import json
import math
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile

try:
    import numpy as np
    from scipy import stats
except ImportError:
    sys.exit(77)
if not shutil.which("Rscript"):
    sys.exit(77)

PWRHOST = sys.argv[1]
TABLES = int(sys.argv[2]) if len(sys.argv) > 2 else 1000
HERE = pathlib.Path(__file__).resolve().parent
ALPHA = 0.9


def close(found, wanted):
    return math.isclose(found, wanted, rel_tol=1e-12, abs_tol=1e-300)


def draw_column(rnd, runs):
    """Numbers of A and B: continuous or with ties, alike or shifted, level or with a trend, or constant."""
    kind = rnd.choice(["continuous", "continuous", "few", "rounded", "constant", "zero"])
    shift = rnd.choice([0, 0, 0.5, 2])
    trend = rnd.choice([0, 0.3])

    def number(group, place):
        x = rnd.gauss(20, 1) + group * shift + place * trend
        return {"continuous": x, "few": float(rnd.randint(0, 3) + group * int(shift)), "rounded": round(x, 1),
                "constant": 7.25, "zero": float(rnd.choice([0, 0, 0, 1]))}[kind]

    return [[number(group, place) for place in range(count)] for group, count in enumerate(runs)]


def draw_runs(rnd, table):
    if table % 10 == 0:
        return rnd.choice([(25, 25), (26, 25), (40, 31), (8, 45), (60, 60)])
    if table % 10 == 1:
        return rnd.randint(10, 25), rnd.randint(10, 25)
    return rnd.randint(6, 8), rnd.randint(6, 8)


def write_file(path, columns, group):
    runs = len(columns[0][group])
    with open(path, "w", encoding="utf-8") as file:
        file.write("Output_Name,Collection_Time," + ",".join(f"C{i} (W)" for i in range(len(columns))) + ",\n")
        for run in range(runs):
            cells = ",".join(repr(column[group][run]) for column in columns)
            file.write(f"run{run},2024-05-01 10:00:{run:02},{cells},\n")


def permutation_p(a, b):
    """Twice the smaller tail of the sum of mean ranks over all assignments."""
    ranks = stats.rankdata(a + b)
    test = stats.permutation_test((ranks[:len(a)], ranks[len(a):]), lambda x, y, axis: np.sum(x, axis=axis),
                                  vectorized=True, n_resamples=np.inf, alternative="two-sided")
    return test.pvalue


def trend_p(series):
    """Twice the smaller tail of Kendall's score over all orders of the series."""
    place = np.arange(len(series))

    def score(x, axis=-1):
        x = np.moveaxis(np.asarray(x), axis, -1)
        pairs = [np.sign(x[..., j] - x[..., i]) for i in place for j in place if i < j]
        return sum(pairs)

    test = stats.permutation_test((np.array(series),), score, vectorized=True, permutation_type="pairings",
                                  n_resamples=np.inf, alternative="two-sided")
    return min(1.0, test.pvalue)


class Checker:
    def __init__(self):
        self.checks = {}
        self.failures = []

    def expect(self, what, where, found, wanted):
        self.checks[what] = self.checks.get(what, 0) + 1
        good = found is None and wanted is None or \
            found is not None and wanted is not None and close(found, wanted)
        if not good:
            self.failures.append(f"{where}: {what} is {found}, should be {wanted}")


def check_column(checker, where, numbers, found, answer):
    a, b = numbers
    together = a + b
    constant = len(set(together)) == 1
    unit = abs(float(np.median(a)))
    ratio = (lambda x: x / unit) if unit else (lambda x: None)
    if constant:
        checker.expect("p of a constant", where, found["p"], None)
        assert found["verdict"] == "constant", where
        return
    if not math.isnan(answer["p"]):
        checker.expect("p by R" + (" above 50 runs" if len(together) > 50 else ""), where, found["p"], answer["p"])
    elif len(together) <= 16:
        checker.expect("p by scipy", where, found["p"], permutation_p(a, b))
    checker.expect("estimate by R", where, found["shift"], answer["shift"])
    checker.expect("change", where, found["change"], ratio(answer["shift"]))
    checker.expect("interval by R", where, found["low"], ratio(answer["low"]))
    checker.expect("interval by R", where, found["high"], ratio(answer["high"]))
    checker.expect("adjusted p by R", where, found["adjustedP"], answer["adjusted"])


def check_spreads(checker, table, columns, found):
    """Of a table with few enough runs to enumerate: the test on distances from the common median, adjusted."""
    tested = [i for i, numbers in enumerate(columns) if len(set(numbers[0] + numbers[1])) > 1]
    p = []
    for i in tested:
        middle = float(np.median(columns[i][0] + columns[i][1]))
        p.append(permutation_p(*([abs(x - middle) for x in group] for group in columns[i])))
    for i, own in zip(tested, p):
        adjusted = min(min(1, len(p) / sum(x <= other for x in p) * other) for other in p if other >= own)
        checker.expect("spread by scipy", (table, i), found[i]["spreadP"], adjusted)


def check_trends(checker, where, numbers, answer, drifts):
    for group, key in enumerate("AB"):
        drift = drifts.get((key, where[1]))
        if drift is None:
            continue
        series = numbers[group]
        wanted = answer["trend" + key]
        if not math.isnan(wanted):
            checker.expect("trend by R", where, drift["p"], wanted)
        elif len(series) <= 7:
            checker.expect("trend by scipy", where, drift["p"], trend_p(series))


def main():
    rnd = random.Random(20)
    tables = []
    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        with open(work / "columns.csv", "w", encoding="utf-8") as asked:
            asked.write("table,column,p,a,b\n")
            for table in range(TABLES):
                runs = draw_runs(rnd, table)
                columns = [draw_column(rnd, runs) for _ in range(6)]
                for group in (0, 1):
                    write_file(work / f"{'ab'[group]}.csv", columns, group)
                done = subprocess.run([PWRHOST, "compare", "--format", "json", "--alpha", str(ALPHA), work / "a.csv",
                                       "--", work / "b.csv"], check=True, stdout=subprocess.PIPE)
                result = json.loads(done.stdout)
                tables.append((columns, result))
                for i, numbers in enumerate(columns):
                    p = result["columns"][i]["p"]
                    lists = ",".join(" ".join(map(repr, group)) for group in numbers)
                    asked.write(f"{table},{i},{'NA' if p is None else repr(p)},{lists}\n")
        subprocess.run(["Rscript", HERE / "peer.R", folder], check=True)
        with open(work / "answers.csv", encoding="utf-8") as file:
            answers = [{key: float(value.replace("NA", "nan")) for key, value in row.items()}
                       for row in csv.DictReader(file)]
    checker = Checker()
    for table, (columns, result) in enumerate(tables):
        drifts = {(drift["group"], int(drift["name"][1:-4])): drift for drift in result["drift"]}
        for i, numbers in enumerate(columns):
            answer = answers[table * len(columns) + i]
            check_column(checker, (table, i), numbers, result["columns"][i], answer)
            check_trends(checker, (table, i), numbers, answer, drifts)
        if len(columns[0][0] + columns[0][1]) <= 13:
            check_spreads(checker, table, columns, result["columns"])
    print("\n".join(checker.failures[:20]))
    print(", ".join(f"{what}: {count}" for what, count in sorted(checker.checks.items())))
    sys.exit(1 if checker.failures else 0)


main()
