#!/usr/bin/env python3
"""Writes a JEDEC file of random fuses for the benchmarks: gen_jedec.py OUT FUSES [DIGITS_PER_LINE]

Each line is an L field of DIGITS_PER_LINE fuses (128 by default); the C checksum and the
transmission checksum are right, so every reader accepts the file.
"""
import os
import sys

out, fuses = sys.argv[1], int(sys.argv[2])
per_line = int(sys.argv[3]) if len(sys.argv) > 3 else 128
assert per_line % 8 == 0 and fuses % 8 == 0

mirror = bytes(int(f"{b:08b}"[::-1], 2) for b in range(256))
digits = [f"{b:08b}".encode() for b in range(256)]

checksum = 0
transmission = 0
with open(out, "wb") as f:
    def put(text):
        global transmission
        transmission += sum(text)
        f.write(text)

    put(b"\x02benchmark fuse map*\nQF%d*\nF0*\n" % fuses)
    for address in range(0, fuses, per_line):
        count = min(per_line, fuses - address) // 8
        raw = os.urandom(count)
        checksum += sum(raw.translate(mirror))
        line = b"L%08d " % address + b"".join(digits[b] for b in raw) + b"*\n"
        put(line)
    put(b"C%04X*\n\x03" % (checksum & 0xFFFF))
    f.write(b"%04X\n" % (transmission & 0xFFFF))
