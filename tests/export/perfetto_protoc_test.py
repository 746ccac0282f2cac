#!/usr/bin/env python3
"""Lets protoc read a trace by the schema: perfetto_protoc_test.py PWRHOST SOURCE_FOLDER"""
import pathlib
import re
import subprocess
import sys
import tempfile

pwrhost, source = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
with tempfile.TemporaryDirectory() as folder:
    stream = source / "tests/streams/record-laptop/laptop.stream"
    subprocess.run([pwrhost, "replay", "-w", "perfetto", "-o", "run", stream], cwd=folder, check=True)
    here = pathlib.Path(__file__).parent
    text = subprocess.run(["protoc", f"-I{here}", "--decode=perfetto.protos.Trace", "trace.proto"], check=True,
                          input=(pathlib.Path(folder) / "run.perfetto-trace").read_bytes(), stdout=subprocess.PIPE).stdout.decode()
unknown = re.findall(r"^ *\d+[ :].*", text, re.M)
assert not unknown, f"fields that the schema does not have: {unknown[:5]}"
counts = {kind: text.count(kind) for kind in ("TYPE_COUNTER", "TYPE_SLICE_BEGIN", "TYPE_SLICE_END", "TYPE_INSTANT")}
print(counts)
assert all(counts.values()) and counts["TYPE_SLICE_BEGIN"] == counts["TYPE_SLICE_END"]
