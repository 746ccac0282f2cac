#!/usr/bin/env python3
"""Checks the pages: examples_test.py SOURCE_FOLDER

An example that stands behind a line "<!-- shows FILE -->" is part of that file, an expected result of a test: lines of
text (in which a middle dot is a trailing blank), or bytes as xxd prints them. One that begins with "$ " is a command
for the file, with what it prints. And what pages refer to is there.
"""
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(sys.argv[1]).resolve()
PAGES = sorted([*ROOT.glob("*.md"), *ROOT.glob("docs/**/*.md")])
FEWEST = 9  # examples; fewer means that they were not found
errors = []


def lines_of(text):
    return [line.replace("\u00b7", " ") for line in text.rstrip("\n").split("\n")]


def shows_lines(example, file):
    wanted, there = lines_of(example), lines_of(file.read_text(encoding="utf-8"))
    return any(there[i:i + len(wanted)] == wanted for i in range(len(there)))


def shows_bytes(dump, file):
    digits = "".join(line.partition(": ")[2].partition("  ")[0] for line in dump.splitlines())
    return file.read_bytes() == bytes.fromhex(digits)


def shows_command(example, file):
    command, _, printed = example.partition("\n")
    words = command.removeprefix("$ ")
    done = subprocess.run(["bash", "-ec", words], cwd=file.parent, capture_output=True, text=True,
                          env={**os.environ, "LC_ALL": "C.UTF-8"})
    return file.name in words and lines_of(done.stdout) == lines_of(printed) and not done.stderr


def check_examples(page):
    text = page.read_text(encoding="utf-8")
    blocks = re.findall(r"^<!-- shows (\S+) -->\n\n((?:(?:    .*)?\n)+|```text\n(?:.*\n)+?```\n)", text, re.M)
    if len(blocks) != text.count("<!-- shows "):
        errors.append(f"{page.relative_to(ROOT)}: a mark without an example behind it")
    for name, block in blocks:
        is_dump = block.startswith("```")
        example = "\n".join(block.splitlines()[1:-1]) if is_dump else re.sub(r"(?m)^    ", "", block).strip("\n")
        check = shows_bytes if is_dump else shows_command if example.startswith("$ ") else shows_lines
        if not check(example, ROOT / name):
            errors.append(f"{page.relative_to(ROOT)}: {name} does not show the example that begins {example[:60]!r}")
    return len(blocks)


def check_links(page):
    for target in re.findall(r"\]\(([^)#\s]+)", page.read_text(encoding="utf-8")):
        if "://" not in target and not (page.parent / target).exists():
            errors.append(f"{page.relative_to(ROOT)}: {target} is not there")


def check_places():
    """Files and folders that the pages for contributors name."""
    for name in ("CONTRIBUTING.md", "docs/architecture.md", "docs/decisions.md", "docs/hot-path.md"):
        for place in re.findall(r"`((?:[\w-]+/)+[\w.@*-]*)`", (ROOT / name).read_text()):
            if "NAME" not in place and place.split("/")[0] in TOPS and not any(ROOT.glob(place.rstrip("/"))):
                errors.append(f"{name}: {place} is not there")


TOPS = {path.name for path in ROOT.iterdir() if path.is_dir()}
count = sum(check_examples(page) for page in PAGES)
for one in PAGES:
    check_links(one)
check_places()
if count < FEWEST:
    errors.append(f"only {count} examples are marked")
print("\n".join(errors) or f"{count} examples, and all that {len(PAGES)} pages refer to, are there")
sys.exit(bool(errors))
