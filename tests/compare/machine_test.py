#!/usr/bin/env python3
"""machine_test.py SCRIPT PWRHOST [SECONDS]: compares real recordings of this machine.

6 against 6 under the same load must show no change; 6 against 6 under a load that takes 20 % more of one CPU must show
it, and first. Exits with 77 where the machine has other things to do: then what it shows is not ours.
"""
import os
import subprocess
import sys
import tempfile
import time

BUSY = 0.1  # of all CPUs


def load(seconds, share):
    """Takes so much of the first CPU that this process may use."""
    os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        turn = time.process_time() + share * 0.02
        while time.process_time() < turn:
            sum(range(5000))  # asking for the time alone would be work of the kernel
        time.sleep(0.02 * (1 - share))


def busy_share(seconds):
    def ticks():
        with open("/proc/stat", encoding="ascii") as file:
            numbers = [int(word) for word in file.readline().split()[1:9]]
        return sum(numbers), numbers[3] + numbers[4]

    before = ticks()
    time.sleep(seconds)
    total, idle = (after - then for after, then in zip(ticks(), before))
    return 1 - idle / total


def compare(name, share_a, share_b):
    """Returns the rows of the comparison, strongest first."""
    command = f"{sys.executable} {os.path.abspath(__file__)} load {SECONDS} "
    words = [SCRIPT, "-n", "6", "-o", name, "--a", command + str(share_a), "--b", command + str(share_b), "--"]
    text = subprocess.run([*words, "--top", "20"], check=True, stdout=subprocess.PIPE, text=True,
                          env=os.environ | {"PWRHOST": PWRHOST}).stdout
    print(text)
    return text.splitlines()


if sys.argv[1] == "load":
    load(float(sys.argv[2]), float(sys.argv[3]))
    sys.exit()

SCRIPT, PWRHOST = map(os.path.abspath, sys.argv[1:3])
SECONDS = sys.argv[3] if len(sys.argv) > 3 else "5"
if busy_share(3) > BUSY:
    print("this machine is busy")
    sys.exit(77)
with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    nothing = compare("nothing", 0.1, 0.1)
    more = compare("more", 0.1, 0.3)
if busy_share(3) > BUSY:
    print("this machine has become busy")
    sys.exit(77)
assert nothing[0].startswith("0 of "), nothing[0]
# The load comes first: the time of the processor, or what comes with it and grows by a larger factor: the time of the
# soft interrupts that its ticks raise, and that others wait for it.
first = next((i for i, row in enumerate(more[3:]) if "User" in row), None)
assert first is not None, more
for row in more[3:3 + first]:
    assert "CPU Time States" in row and "Soft IRQ" in row or "Pressure Stall Time" in row and "_cpu_" in row, more
