#!/usr/bin/env python3
"""Writes a JEDEC file of random fuses: gen_jedec.py OUT FUSES [DIGITS_PER_LINE [crlf]]

Each line is an L field of DIGITS_PER_LINE fuses (128 by default), with LF line ends or, given
"crlf", CR LF; the C checksum and the transmission checksum are right, so every reader accepts
the file. Used by the benchmarks and the cross-checks.
"""
import os
import sys

out, fuses = sys.argv[1], int(sys.argv[2])
per_line = int(sys.argv[3]) if len(sys.argv) > 3 else 128
eol = b"\r\n" if len(sys.argv) > 4 and sys.argv[4] == "crlf" else b"\n"
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

    put(b"\x02benchmark fuse map*" + eol + b"QF%d*" % fuses + eol + b"F0*" + eol)
    for address in range(0, fuses, per_line):
        count = min(per_line, fuses - address) // 8
        raw = os.urandom(count)
        checksum += sum(raw.translate(mirror))
        line = b"L%08d " % address + b"".join(digits[b] for b in raw) + b"*" + eol
        put(line)
    put(b"C%04X*" % (checksum & 0xFFFF) + eol + b"\x03")
    f.write(b"%04X\n" % (transmission & 0xFFFF))
