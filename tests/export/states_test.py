#!/usr/bin/env python3
"""Time series of a metric with more states than the format shall have: states_test.py PWRHOST"""
import json
import re
import subprocess
import sys

SHOWN, ALL = 1000, 1203
lines = [{"def": "entity", "id": 1, "name": "Core 0"}, {"def": "entity", "id": 2, "name": "Core 1"},
         {"def": "metric", "id": 1, "name": "State", "type": "TRACED_VALUE_TRANSITION"},
         {"msg": "system", "tscMHz": 1000, "start": 0, "time": 1_700_000_000_000_000_000}]
for i in range(ALL):
    lines.append({"msg": "metric", "metric": 1, "t": (i + 1) * 1_000_000,
                  "data": [{"e": e, "dur": 1_000_000, "v": {"s": f"S{i}"}} for e in (1, 2)]})
done = subprocess.run([sys.argv[1], "replay", "-w", "openmetrics", "-o", "-", "-"], capture_output=True, text=True, check=True,
                      input="".join(json.dumps(line) + "\n" for line in lines))
last = {}
for name, entity, state, value in re.findall(r'^(\w+){.*entity="(.*?)",state="(.*?)"} (\S+)', done.stdout, re.M):
    last[name, entity, state] = float(value)
for entity in ("Core 0", "Core 1"):
    for name, unit in (("state_seconds_total", 0.001), ("state_occurrences_total", 1)):
        of_entity = {state: value for (n, e, state), value in last.items() if (n, e) == (name, entity)}
        assert of_entity.keys() == {f"S{i}" for i in range(SHOWN)} | {"other"}, len(of_entity)
        assert abs(of_entity.pop("other") - (ALL - SHOWN) * unit) < 1e-9
        assert set(of_entity.values()) == {unit}
assert f"{2 * ALL} elements: {2 * ALL} kept, 0 merged, 0 left out" in done.stderr, done.stderr
