#!/usr/bin/env python3
"""Runs pwrhost where no more may be written: no_space.py PWRHOST limit | tmpfs

limit  under a limit of a file's size that is reached early or late, in a table's spool or in a result
tmpfs  on a file system of its own that is too small, or has too few inodes

A result that is not as it would be in a run with room must come with a line that names it (or the temporary file
of its writer) and the reason; and with a failure of its writer, unless its end always succeeds. No temporary file
stays, and under a limit just those writers are hit whose files are larger. Ends with status 77 if the machine lets
nobody mount a file system.
"""
import pathlib
import re
import resource
import signal
import subprocess
import sys
import tempfile

from common import HANDLED, spilling_stream, writer_of

HERE = pathlib.Path(__file__).resolve().parent
SKIPPED = 77
ALL = {"sum", "vyrta", "json", "bin", "raw", "int", "phm-csv", "auto"}
SUCCEEDS = {"sum", "vyrta", "json"}  # their end does, with an error line
TEMPORARY = re.compile(r"(tmp___\d+\.tmp|_\d+_\d+|\.\d+\.\d+\.tmp)$")
# What else a line about a result may name: the spool of a table; the metadata, without which there are no tables.
NAMED_BY = {"phm-csv": r"\./_\d+_\d+|run_meta_phm.csv", **dict.fromkeys(["raw", "int", "vyrta", "openmetrics"], r"\./_\d+_\d+"),
            "sum": r"tmp___\d+\.tmp|Warning: Could not generate result files"}
REASONS = "File too large|No space (is )?left on"

# Stream, bytes that a file may have, and the writers that they hit: at the first byte, in the temporary file of a
# table, in the report alone (which is larger than that), in ever larger results; in the spools of tables and
# metrics, of metrics alone, and in results whose spools fit.
LIMITS = [
    ("every_kind", 0, ALL),
    ("every_kind", 100, ALL),
    ("every_kind", 200, ALL),
    ("every_kind", 440, {"vyrta", "json", "bin", "raw", "int", "phm-csv"}),
    ("every_kind", 900, {"vyrta", "json", "bin", "int"}),
    ("every_kind", 2100, {"vyrta", "json"}),
    ("every_kind", 4000, {"vyrta"}),
    ("spilling", 900_000, {"vyrta", "json", "raw", "int", "phm-csv"}),
    ("spilling", 1_200_000, {"vyrta", "json", "raw", "int", "phm-csv"}),
    ("spilling", 1_970_000, {"vyrta", "int", "phm-csv"}),
    ("spilling", 2_560_000, {"phm-csv"}),
]
# Stream, and the options of the file system; it holds the temporary files, the results, or both.
FILE_SYSTEMS = [
    *[("every_kind", f"size={pages * 4}k") for pages in (1, 3, 5, 8, 12)],
    *[("every_kind", f"size=1m,nr_inodes={inodes}") for inodes in (1, 4, 7, 14, 40)],
    *[("spilling", f"size={size}m") for size in (1, 3, 5, 7, 9, 13)],
]


def files_in(folder):
    return {str(p.relative_to(folder)): p.read_bytes() for p in folder.rglob("*") if p.is_file()}


def limiting(size, action):
    def prepare():
        signal.signal(signal.SIGXFSZ, action)
        resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
    return prepare


class Runner:
    def __init__(self, pwrhost, folder):
        self.pwrhost = pwrhost
        self.streams = {"every_kind": HERE / "every_kind.ndjson", "spilling": folder / "spilling.ndjson"}
        self.streams["spilling"].write_text(spilling_stream())

    def run(self, stream, continuous=False, prefix=(), output="run", prepare=None):
        """Returns the exit status, the lines of standard error, the results, and the writers that failed."""
        with tempfile.TemporaryDirectory() as folder:
            work = pathlib.Path(folder)
            words = [self.pwrhost, "replay", "-w", ",".join(ALL), "-o", output, "--statuses", "/dev/stdout",
                     *["--continuous"] * continuous, str(self.streams[stream])]
            done = subprocess.run([*prefix, *words], cwd=work, stdin=subprocess.DEVNULL, capture_output=True,
                                  timeout=120, preexec_fn=prepare)
            failed = {line.split(",")[1] for line in done.stdout.decode().splitlines()}
            return done.returncode, done.stderr.decode(errors="replace").splitlines(), files_in(work), failed

    @staticmethod
    def judge(clean, got, hit=None):
        """Yields what is wrong with a run; `hit` are the writers that may be harmed, if that is known."""
        status, lines, files, failed = got
        if status not in (0, 1, 2):
            yield f"ended with {status}: {lines[-20:]}"
            return
        left = [name for name in files if TEMPORARY.search(name)]
        if left:
            yield f"left {left}"
        errors = [line for line in lines if re.search(f"(ERROR|Warning|pwrhost): .*({REASONS})", line, re.I)]
        changed = [name for name, content in clean.items() if files.get(name) != content]
        harmed = {writer_of(name) for name in changed}
        for name in changed:
            writer = writer_of(name)
            named = NAMED_BY.get(writer, re.escape(name))
            if not any(re.search(f"{named}|{re.escape(name)}", line) for line in errors):
                yield f"no line tells of {name}"
            told = writer in failed or f"{writer}: " in " ".join(l for l in lines if l.startswith("pwrhost: "))
            told = told or writer in HANDLED and any("could not be written" in line for line in lines)
            if not told and writer not in SUCCEEDS:
                yield f"{writer} does not fail"
        if harmed - SUCCEEDS and status == 0:
            yield f"exit status 0, but {sorted(harmed)} are harmed"
        if hit is not None and harmed & ALL != hit:
            yield f"harmed are {sorted(harmed)}, expected {sorted(hit)}"
        for name in files:
            if re.search(r"_\d+\.(ztjson|ztbin)$", name) and files[name] != clean.get(name):
                yield f"{name} is incomplete under its final name"

    def limits(self):
        clean = {stream: self.run(stream)[2] for stream in self.streams}
        for stream, size, hit in LIMITS:
            for action in (signal.SIG_DFL, signal.SIG_IGN):
                got = self.run(stream, prepare=limiting(size, action))
                yield f"{stream}, {size} bytes, {action.name} of SIGXFSZ", self.judge(clean[stream], got, hit)
        got = self.run("every_kind", True, prepare=limiting(500, signal.SIG_DFL))
        yield "continuous, 500 bytes", self.judge(self.run("every_kind", True)[2], got)

    def run_mounted(self, stream, options, folder, output):
        """The same in `folder`, where "full" is a file system of its own."""
        # The mount is gone with the namespace, so what is on it is copied out at the end.
        script = f'mkdir full && mount -t tmpfs -o {options} none full || exit 1; (cd {folder} && "$0" "$@"); ' \
                 "status=$?; cp -a full copy; exit $status"
        status, lines, files, failed = self.run(stream, prefix=["unshare", "-Urm", "sh", "-c", script], output=output)
        return status, lines, {name.removeprefix("copy/"): content for name, content in files.items()}, failed

    def file_systems(self):
        for name, folder, output in [("all", "full", "run"), ("results", ".", "full/run"),
                                     ("temporary files", "full", "../run")]:
            clean = {stream: self.run_mounted(stream, "size=1g", folder, output)[2] for stream in self.streams}
            for stream, options in FILE_SYSTEMS:
                got = self.run_mounted(stream, options, folder, output)
                yield f"{name}, {stream}, {options}", self.judge(clean[stream], got)


def main():
    pwrhost, kind = str(pathlib.Path(sys.argv[1]).resolve()), sys.argv[2]
    if kind == "tmpfs" and subprocess.run(["unshare", "-Urm", "mount", "-t", "tmpfs", "none", "/mnt"],
                                          capture_output=True).returncode != 0:
        print("skipped: this machine lets nobody mount a file system in a namespace of their own")
        return SKIPPED
    cases = problems = 0
    with tempfile.TemporaryDirectory() as folder:
        runner = Runner(pwrhost, pathlib.Path(folder))
        for name, found in runner.limits() if kind == "limit" else runner.file_systems():
            cases += 1
            for problem in found:
                problems += 1
                print(f"{name}: {problem}")
    print(f"{cases} runs without room, {problems} problems")
    return 1 if problems else 0


sys.exit(main())
