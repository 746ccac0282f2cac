#!/usr/bin/env python3
"""Checks that built files carry the guards of a hardened build: check_hardening.py [--debug] FILE..."""
import re
import subprocess
import sys


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def unmarked_functions(file):
    """The exported functions of ours that an indirect call may not land on."""
    symbols = re.findall(r"^0*([0-9a-f]+) T (_Z\w*3pwr\w+|\w+Plugins)$", output("nm", "-D", "--defined-only", file), re.M)
    code = output("objdump", "-d", "--no-show-raw-insn", file)
    marked = set(re.findall(r"^ *([0-9a-f]+):\s+endbr64", code, re.M))
    return sorted(name for address, name in symbols if address not in marked) if symbols else ["at all"]


def missing_guards(file, debug):
    header, segments = output("readelf", "-hW", file), output("readelf", "-lW", file)
    dynamic, imported = output("readelf", "-dW", file), output("nm", "-D", "--undefined-only", file)
    guards = {
        "position-independent code": re.search(r"Type:\s+DYN", header),
        "a stack that is not executable": re.search(r"GNU_STACK.* RW ", segments),
        "relocations that are read-only": "GNU_RELRO" in segments,
        "immediate binding": re.search(r"\(FLAGS_1\).*\bNOW\b", dynamic),
        "the stack protector": "__stack_chk_fail" in imported,
        "checked library functions": debug or re.search(r" __(?!stack)\w+_chk", imported),
    }
    return [name for name, there in guards.items() if not there]


failed = False
debug = sys.argv[1] == "--debug"
for path in sys.argv[2 if debug else 1:]:
    for what in missing_guards(path, debug) + [f"endbr64 in {name}" for name in unmarked_functions(path)]:
        print(f"{path}: lacks {what}")
        failed = True
sys.exit(failed)
