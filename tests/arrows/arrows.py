#!/usr/bin/env python3
"""Checks that #include lines follow the arrows between folders: arrows.py ROOT, or arrows.py --self-test."""
import pathlib
import re
import sys
import tempfile

FRAME = {"pwr", "plugins", "store"}
# What each folder may include beside itself. A new folder gets its line here first.
ALLOWED = {
    "pwr": set(),
    "plugins": {"pwr"},
    "store": {"pwr", "plugins"},
    # The writers don't know each other, nor the host.
    "summary": FRAME,
    "overtime": FRAME,
    "import": FRAME,
    "continuous": FRAME,
    "json": FRAME | {"continuous"},
    "binary": FRAME,
    "export": FRAME,
    # The model is installed for other hosts, so it stands on its own.
    "host/base": set(),
    "host/model": {"pwr", "plugins"},
    "host/stream": {"pwr", "plugins", "host/base", "host/model"},
    "host/emit": {"host/base", "host/stream/vocabulary.h"},
    "host/session": {"pwr", "plugins", "host/base", "host/model", "host/stream"},
    "host/kernel_events": {"host/base", "host/emit"},
    # Both write a message stream; neither knows the other, nor who reads it.
    "host/record": {"host/base", "host/emit", "host/kernel_events"},
    "host/importers": {"pwr", "plugins", "host/base", "host/emit", "host/stream/vocabulary.h", "host/kernel_events",
                       "host/inspect"},
    "host/inspect": {"pwr", "plugins", "host/base"},
    "host/compare": {"pwr", "host/base", "host/model", "host/stream", "host/session", "host/inspect"},
    # The only one that knows all, and that nobody knows.
    "host/cli": {"pwr", "plugins"} | {f"host/{folder}" for folder in (
        "base", "model", "stream", "emit", "session", "record", "importers", "inspect", "compare")},
}
# Single files that may do more: the place that knows every writer.
ALLOWED_FILES = {
    "plugins/writer_plugins.cpp": {"summary", "overtime", "import", "json", "binary"},
    "host/importers/state_order.cpp": {"json/state_sort.h"},
}
INCLUDE = re.compile(r'^\s*#\s*include\s+(?:"([^"]+)"|<((?:\w+/)+\w+\.h)>)', re.M)


def folder_of(path):
    parts = path.split("/")[:-1]
    return "/".join(parts[:2] if parts[:1] == ["host"] else parts[:1])


def check(root):
    errors = []
    tops = {folder.split("/")[0] for folder in ALLOWED}
    files = [f for top in tops for f in (root / top).rglob("*") if f.suffix in (".h", ".cpp")]
    for file in sorted(files):
        path = file.relative_to(root).as_posix()
        own = folder_of(path)
        if own not in ALLOWED:
            errors.append(f"{path}: tests/arrows says nothing of the folder {own}")
            continue
        allowed = ALLOWED[own] | ALLOWED_FILES.get(path, set()) | {own}
        used = set()
        for quoted, angled in INCLUDE.findall(file.read_text(encoding="utf-8")):
            target = quoted or angled
            if angled and target.split("/")[0] not in tops:
                continue
            used |= {target, folder_of(target)}
            if not {target, folder_of(target)} & allowed:
                errors.append(f"{path}: may not include {target}")
        errors += [f"{path}: includes nothing of {name} any more; take its line out of tests/arrows"
                   for name in sorted(ALLOWED_FILES.get(path, set()) - used)]
    return errors, len(files)


def self_test():
    """Each forbidden include is found, and each allowed one is not."""
    cases = [
        ("json/a.cpp", "continuous/a.h", True), ("json/a.cpp", "overtime/a.h", False),
        ("export/a.h", "summary/a.h", False), ("export/a.h", "host/base/a.h", False),
        ("plugins/a.cpp", "summary/a.h", False), ("pwr/a.h", "plugins/a.h", False),
        ("host/session/a.cpp", "json/a.h", False), ("host/emit/a.cpp", "host/model/a.h", False),
        ("host/emit/a.cpp", "host/stream/vocabulary.h", True), ("host/emit/a.cpp", "host/stream/a.h", False),
        ("host/record/sources/a.cpp", "host/record/a.h", True), ("host/record/a.h", "host/importers/a.h", False),
        ("host/importers/a.h", "host/record/a.h", False), ("host/session/a.h", "host/cli/a.h", False),
        ("host/base/a.h", "host/emit/a.h", False), ("host/new/a.h", "host/base/a.h", False),
        ("summary/a.cpp", "a.h", False),
    ]
    for path, target, good in cases:
        for form in ('#include "%s"\n', "  #  include <%s>\n"):
            with tempfile.TemporaryDirectory() as folder:
                file = pathlib.Path(folder, path)
                file.parent.mkdir(parents=True)
                file.write_text("#include <vector>\n#include <sys/stat.h>\n" + form % target)
                if (not check(pathlib.Path(folder))[0]) != (good or "/" not in target and "<" in form):
                    sys.exit(f"{path} -> {target}: not judged as it should be")


if sys.argv[1] == "--self-test":
    self_test()
else:
    found, count = check(pathlib.Path(sys.argv[1]))
    print("\n".join(found) or f"{count} files keep to the arrows")
    sys.exit(1 if found or count < 100 else 0)
