#!/usr/bin/env python3
"""Checks that help, pages and completion know the same options: usage_test.py PWRHOST MAN_FOLDER"""
import os
import pathlib
import re
import shutil
import subprocess
import sys

PWRHOST, PAGES = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2])
errors = []


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def help_options(*subcommand):
    lines = re.findall(r"^  (-\S+)", run(PWRHOST, *subcommand, "--help"), re.M)
    return {re.sub(r"\{.*", "", name) for line in lines for name in line.split(",")}


def page_options(text):
    items = re.findall(r"^\.It (Fl .*)", text, re.M)
    names = [name for item in items for name in re.findall(r"Fl (\S+)", item)]
    return {"-" + name for name in names}


def pages():
    """The options of each subcommand in its page, or in its part of the first page; "" for the program itself."""
    found = {}
    parts = re.split(r"^\.S[sh] (.*)\n", (PAGES / "pwrhost.1").read_text(), flags=re.M)
    for title, text in zip(parts[1::2], parts[2::2]):
        if page_options(text):
            found["" if title == "Options of the program" else title] = page_options(text)
    for page in PAGES.glob("pwrhost-*.1"):
        found[page.stem.removeprefix("pwrhost-")] = page_options(page.read_text())
    return found


def completed_options():
    script = run(PWRHOST, "completion", "bash")
    found = {name: set(words.split()) for name, words in re.findall(r'^ +(\w+):\*\) _pwrhost_other "([^"]*)"', script, re.M)}
    last = re.search(r'^ +\*\) _pwrhost_words "([^"]*)"', script, re.M).group(1).split()
    found[""] = {word for word in last if word.startswith("-")}
    if {word for word in last if not word.startswith("-")} != set(found) - {""}:
        errors.append("completion: the subcommands are not those that have options")
    return found


def compare_options():
    subcommands = set(re.findall(r"^  (\w+) ", run(PWRHOST, "--help").split("Subcommands:")[1], re.M))
    expected = {name: help_options(name) for name in subcommands} | {"": help_options()}
    for place, found in (("pages", pages()), ("completion", completed_options())):
        for name in expected.keys() | found.keys():
            here, there = found.get(name, set()), expected.get(name, set())
            errors.extend(f"{place}: {name or 'the program'} lacks {option}" for option in sorted(there - here))
            errors.extend(f"{place}: {name or 'the program'} has no {option}" for option in sorted(here - there))


def check_version():
    lines = run(PWRHOST, "--version").splitlines()
    libraries = [line.split(" ", 1)[1] for line in lines if line.startswith("library ")]
    if not re.fullmatch(r"pwrhost \d+\.\d+\.\d+", lines[0]) or not re.fullmatch(r"build \S+-\S+ \S+ \S+", lines[-1]):
        errors.append(f"--version: {lines}")
    if len(libraries) != 2 or not all(os.path.isfile(path) for path in libraries):
        errors.append(f"--version: libraries {libraries}")
    if [line.split()[1] for line in lines if line.startswith("format ")] != ["stream", "pwr", "ztbin", "ztjson"]:
        errors.append("--version: formats are not those that are read")


def check_pages():
    known = {page.name for page in PAGES.iterdir()}
    for page in sorted(PAGES.iterdir()):
        for name, section in re.findall(r"^\.Xr (\S+) (\d)", page.read_text(), re.M):
            if f"{name}.{section}" not in known:
                errors.append(f"{page.name}: refers to {name}({section}), which is not there")
        if shutil.which("mandoc") is None:
            continue
        said = subprocess.run(["mandoc", "-Tlint", page], capture_output=True, text=True).stdout
        # Our pages are not installed yet.
        errors.extend(line for line in said.splitlines() if "referenced manual not found" not in line)


def check_formats():
    """The page of formats has an entry for each writer that is there, with the end of its file's name."""
    listed = [line.split()[:2] for line in run(PWRHOST, "list").split("\n\n")[0].splitlines()[1:]]
    text = (PAGES / "pwr-formats.5").read_text()
    entries = {name: files for files, name in re.findall(r"^\.It Pa (.*)\nby\n\.Cm (\S+)", text, re.M)}
    for name, extension in listed:
        if extension not in entries.pop(name, ""):
            errors.append(f"pwr-formats: does not name {name} with its {extension}")
    errors.extend(f"pwr-formats: there is no {name}" for name in entries)


compare_options()
check_version()
check_pages()
check_formats()
print("\n".join(errors) or "help, pages and completion agree")
sys.exit(bool(errors))
