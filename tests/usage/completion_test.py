#!/usr/bin/env python3
"""Completes words in real shells: completion_test.py PWRHOST [--installed]
With --installed the shells find the completion by themselves."""
import os
import pathlib
import pty
import re
import select
import shutil
import sys
import tempfile
import time

PWRHOST, INSTALLED = pathlib.Path(sys.argv[1]).resolve(), "--installed" in sys.argv
errors = []


class Shell:
    """An interactive shell that has read the completion, or finds it where it is installed."""

    SHELLS = {
        "bash": (["bash", "--norc", "--noprofile", "-i"], "bind 'set bell-style none'"),
        "zsh": (["zsh", "-f", "-i"], "autoload -U compinit; compinit -D; unsetopt beep zle_bracketed_paste; bindkey -e"),
    }

    def __init__(self, name, folder):
        command, first = self.SHELLS[name]
        then = f"source <(pwrhost completion {name})"
        if INSTALLED:
            then = "source /usr/share/bash-completion/bash_completion" if name == "bash" else ":"
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            os.chdir(folder)
            os.environ.update(PATH=f"{PWRHOST.parent}:{os.environ['PATH']}", TERM="dumb", PS1="> ", HOME=folder, COLUMNS="200")
            os.execvp(command[0], command)
        self.send(f"{first}; {then}; echo READ''Y\n")
        self.wait_for("READY")

    def send(self, text):
        os.write(self.terminal, text.encode())

    def wait_for(self, pattern):
        text, end = "", time.monotonic() + 20
        while not (found := re.search(pattern, text)):
            if not select.select([self.terminal], [], [], max(0, end - time.monotonic()))[0]:
                raise TimeoutError(f"no {pattern} in {text!r}")
            text += os.read(self.terminal, 4096).decode(errors="replace")
        return found

    def complete(self, line):
        """What the line becomes: it is made the words of an echo after the completion."""
        self.send(line + "\t")
        time.sleep(0.5)
        self.send("\x01echo 'BEGIN''[' \x05']'\n")
        return self.wait_for(r"BEGIN\[ (.*?) ?\]").group(1)

    def close(self):
        os.close(self.terminal)
        os.waitpid(self.pid, 0)


COMPLETIONS = [
    ("pwrhost sho", "pwrhost show"),
    ("pwrhost --ver", "pwrhost --version"),
    ("pwrhost record --wri", "pwrhost record --writers"),
    ("pwrhost record -w vyr", "pwrhost record -w vyrta"),
    ("pwrhost record -w json,vyr", "pwrhost record -w json,vyrta"),
    ("pwrhost record --writers=vyr", "pwrhost record --writers=vyrta"),
    ("pwrhost record --sources cp", "pwrhost record --sources cpu"),
    ("pwrhost record --preset ser", "pwrhost record --preset server"),
    ("pwrhost record -- wc r.c", "pwrhost record -- wc r.csv"),
    ("pwrhost replay --from ndj", "pwrhost replay --from ndjson"),
    ("pwrhost compare --format mark", "pwrhost compare --format markdown"),
    ("pwrhost compare r", "pwrhost compare r."),
    ("pwrhost compare r.c", "pwrhost compare r.csv"),
    ("pwrhost show --ch", "pwrhost show --check"),
    ("pwrhost show r", "pwrhost show r.ztbin"),
    ("pwrhost completion z", "pwrhost completion zsh"),
]


def complete_in(name):
    with tempfile.TemporaryDirectory() as folder:
        for file in ("r.ztbin", "r.csv", "r.txt"):
            pathlib.Path(folder, file).touch()
        shell = Shell(name, folder)
        for line, wanted in COMPLETIONS:
            if (got := shell.complete(line)) != wanted:
                errors.append(f"{name}: {line!r} becomes {got!r}, not {wanted!r}")
        shell.close()


for shell in Shell.SHELLS:
    if shutil.which(shell):
        complete_in(shell)
print("\n".join(errors) or "the shells complete all words")
sys.exit(bool(errors))
