#!/usr/bin/env python3
"""Checks that a Kaitai Struct description and the decoder of pwrhost read the same records out of files.

usage: check_format.py PWRHOST MODULES KSY FILE...

PWRHOST show FILE... must print, object by object, what the parser made from KSY finds in the files. The
parser's objects are put into the shape of the decoder's by the function records(parsed) of NAME_records.py
beside this script, where NAME is that of the description; `parsed` is a list of one parsed file per FILE.
MODULES is the folder node_modules that holds the compiler. Exit status 77 if something to compile or run the
parser with is not installed.
"""
import importlib
import json
import math
import pathlib
import struct
import subprocess
import sys
import tempfile

SKIPPED = 77


class Single(float):
    """A number of 32 bits, equal to any text of it that gives the same bits again."""

    def __eq__(self, other):
        if isinstance(other, str):
            return other == ("nan" if math.isnan(self) else "inf" if self > 0 else "-inf") and not math.isfinite(self)
        return isinstance(other, (int, float)) and struct.pack("<f", self) == struct.pack("<f", other)

    __hash__ = float.__hash__


def text_of(data):
    """The text of bytes as the decoder prints it: every byte that is not part of UTF-8 becomes U+FFFD."""
    text = ""
    while data:
        try:
            return text + data.decode()
        except UnicodeDecodeError as error:
            text += data[:error.start].decode() + "\ufffd"
            data = data[error.start + 1:]
    return text


def compile_description(modules, description, folder):
    if not (pathlib.Path(modules) / "kaitai-struct-compiler").is_dir():
        print(f"skipped: no kaitai-struct-compiler in {modules}; scripts/setup test installs it")
        sys.exit(SKIPPED)
    script = pathlib.Path(__file__).with_name("compile_ksy.js")
    try:
        subprocess.run(["node", script, modules, description, folder], check=True, timeout=120)
    except FileNotFoundError:
        print("skipped: node is not installed")
        sys.exit(SKIPPED)


def load_parser(description, folder):
    try:
        import kaitaistruct  # noqa: F401
    except ImportError:
        print(f"skipped: {sys.executable} has no kaitaistruct; scripts/setup test installs it")
        sys.exit(SKIPPED)
    sys.dont_write_bytecode = True
    sys.path[:0] = [str(folder), str(pathlib.Path(__file__).parent)]
    name = pathlib.Path(description).stem
    parser = getattr(importlib.import_module(name), name.title().replace("_", ""))
    return parser, importlib.import_module(name + "_records").records


def main():
    pwrhost, modules, description, *files = sys.argv[1:]
    if not files:
        sys.exit("no files")
    with tempfile.TemporaryDirectory() as folder:
        compile_description(modules, description, folder)
        parser, records = load_parser(description, folder)
        found = list(records([parser.from_file(file) for file in files]))

    shown = subprocess.run([pwrhost, "show", *files], capture_output=True, timeout=120)
    # A definition that had no room has no record, which show tells; all else would be damage.
    faults = [line for line in shown.stderr.decode().splitlines() if not line.endswith("is not defined")]
    if faults or shown.returncode > 1:
        sys.exit(f"show: status {shown.returncode}: {faults}")
    decoded = [json.loads(line) for line in shown.stdout.splitlines()]
    for record in decoded:
        record.pop("file", None)
    for at, (one, other) in enumerate(zip(found, decoded)):
        if one != other:
            sys.exit(f"record {at} of {' '.join(files)}:\n  description {one}\n  decoder     {other}")
    if len(found) != len(decoded):
        sys.exit(f"{len(found)} records by the description, {len(decoded)} by the decoder")
    print(f"{len(found)} records are the same")


if __name__ == "__main__":
    sys.modules["check_format"] = sys.modules["__main__"]
    main()
