#!/usr/bin/env python3
"""The page draws in Firefox too: firefox_test.py PWRHOST"""

import os
import struct
import subprocess
import sys
import tempfile
import zlib

import streams
from browser import without_network


def colours(path):
    """The number of different pixels of a picture, an RGB or RGBA PNG without interlacing."""
    with open(path, "rb") as file:
        data = file.read()
    width, height, _, kind = struct.unpack(">IIBB", data[16:26])
    size, rows, at = (4 if kind == 6 else 3), b"", 8
    while at < len(data):
        length, name = struct.unpack(">I4s", data[at:at + 8])
        if name == b"IDAT":
            rows += data[at + 8:at + 8 + length]
        at += length + 12
    rows, stride, before, seen = zlib.decompress(rows), width * size, bytearray(width * size), set()
    for y in range(height):
        kind, line = rows[y * (stride + 1)], bytearray(rows[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            left = line[i - size] if i >= size else 0
            up, corner = before[i], before[i - size] if i >= size else 0
            guess = left + up - corner
            nearest = min((abs(guess - left), 0, left), (abs(guess - up), 1, up), (abs(guess - corner), 2, corner))[2]
            line[i] = (line[i] + (0, left, up, (left + up) // 2, nearest)[kind]) & 255
        seen.update(bytes(line[i:i + 3]) for i in range(0, stride, size))
        before = line
    return seen


def main():
    with tempfile.TemporaryDirectory() as folder:
        stream, page, picture = (os.path.join(folder, name) for name in ("run.ndjson", "run.html", "run.png"))
        streams.of_all_kinds().write(stream)
        subprocess.run([sys.argv[1], "replay", "-w", "html", "-o", page[:-5], stream], check=True)
        command = ["firefox-esr", "--headless", "--no-remote", "--profile", folder, "--window-size=900,900",
                   "--screenshot", picture, "file://" + page]
        subprocess.run(command, check=True, timeout=300, env={**os.environ, "HOME": folder}, stderr=subprocess.DEVNULL)
        # The colours of two lines.
        missing = {bytes.fromhex(colour) for colour in ("1f6fd6", "d9480f")} - colours(picture)
        if missing:
            sys.exit("firefox_test: not in the picture: " + ", ".join(colour.hex() for colour in missing))


if __name__ == "__main__":
    without_network()
    main()
