#!/usr/bin/env python3
"""Checks the dynamic symbols of the writer library: what it exports and what it leaves to the host."""
import subprocess
import sys


def symbols(library, *options):
    out = subprocess.run(["nm", "-DC", *options, library], capture_output=True, text=True, check=True).stdout
    # ADDRESS TYPE NAME, or only TYPE NAME for what is not defined here.
    names = (line.split(maxsplit=2 if line[0] != " " else 1)[-1] for line in out.splitlines())
    return {name.split("@")[0].replace("[abi:cxx11]", "") for name in names}


def needed_libraries(library):
    out = subprocess.run(["readelf", "-d", library], capture_output=True, text=True, check=True).stdout
    return [line.split("[")[1].rstrip("]") for line in out.splitlines() if "(NEEDED)" in line]


def virtual_operations(library):
    """How many entries the virtual table of each class has; two fields lie in front of them."""
    out = subprocess.run(["nm", "-SC", "--defined-only", library], capture_output=True, text=True, check=True).stdout
    tables = (line.split(maxsplit=3) for line in out.splitlines() if "vtable for " in line)
    return {name.removeprefix("vtable for "): int(size, 16) // 8 - 2 for _, size, _, name in tables}


# Those of the frame, and what hosts may call besides.
OPERATIONS = {"SummaryWriter": 19, "TextWriter": 19, "AutoWriter": 19, "RawWriterV2": 19, "IntWriterV2": 21,
              "PhmTextWriter": 21, "VyrtaWriter": 19, "JSONWriter": 19, "BinaryWriter": 19}

library = sys.argv[1]
exported = symbols(library, "--defined-only")
imported = symbols(library, "--undefined-only")
errors = []
if exported != {"createPlugins", "destroyPlugins"}:
    errors.append(f"exports {sorted(exported)}")
for name in ("g_pluginEnvironment", "typeinfo for pwr::Attribute", "pwr::DataHandle::getName() const"):
    if name not in imported:
        errors.append(f"does not import {name} from the host")
tables = virtual_operations(library)
if not tables.items() >= OPERATIONS.items():
    errors.append(f"has virtual tables of other sizes: {({name: tables.get(name) for name in OPERATIONS})}")
foreign = [l for l in needed_libraries(library)
           if not l.startswith(("libstdc++", "libgcc_s", "libc.", "libm.", "ld-linux", "libasan", "libubsan"))]
if foreign:
    errors.append(f"is linked against {foreign}")
print("\n".join(f"{library}: {e}" for e in errors))
sys.exit(1 if errors else 0)
