#!/usr/bin/env python3
"""Writes one random image as Intel hex, S3 records and extended Tektronix, for the peers bench.

gen_image.py OUT_PREFIX BYTES
  OUT_PREFIX.hex       16-byte data records, an extended linear address record every 64 KiB
  OUT_PREFIX.s37       S3 records of 16 bytes
  OUT_PREFIX.xtek      extended Tektronix type 6 records of 16 bytes, 8-digit addresses
  OUT_PREFIX.objcopy.xtek  the same with a section record first, which objcopy needs
  OUT_PREFIX.bin       the image itself
"""
import random
import sys

TEK_VALUES = {c: i for i, c in enumerate("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ$%._")}
TEK_VALUES.update({c: 40 + i for i, c in enumerate("abcdefghijklmnopqrstuvwxyz")})


def tek_record(kind, body):
    length = 5 + len(body)
    text = "%02X%X" % (length, kind) + body
    checksum = sum(TEK_VALUES.get(c, 0) for c in text) & 0xFF
    return "%%%02X%X%02X%s" % (length, kind, checksum, body)


def main():
    prefix, size = sys.argv[1], int(sys.argv[2])
    data = random.Random(1532).randbytes(size)
    with open(prefix + ".bin", "wb") as f:
        f.write(data)
    intel, srec, tek = [], [], []
    for address in range(0, size, 16):
        chunk = data[address:address + 16]
        digits = chunk.hex().upper()
        if address % 0x10000 == 0:
            upper = address >> 16
            values = [2, 0, 0, 4, upper >> 8, upper & 0xFF]
            intel.append(":%02X%04X04%04X%02X" % (2, 0, upper, (-sum(values)) & 0xFF))
        values = [len(chunk), (address >> 8) & 0xFF, address & 0xFF, 0] + list(chunk)
        intel.append(":%02X%04X00%s%02X" % (len(chunk), address & 0xFFFF, digits,
                                            (-sum(values)) & 0xFF))
        count = len(chunk) + 5
        values = [count] + list(address.to_bytes(4, "big")) + list(chunk)
        srec.append("S3%02X%08X%s%02X" % (count, address, digits, ~sum(values) & 0xFF))
        tek.append(tek_record(6, "8%08X%s" % (address, digits)))
    intel.append(":00000001FF")
    srec.append("S70500000000FA")
    tek.append(tek_record(8, "800000000"))
    for suffix, lines in ((".hex", intel), (".s37", srec), (".xtek", tek)):
        with open(prefix + suffix, "w") as f:
            f.write("\n".join(lines) + "\n")
    section = tek_record(3, "5.data110%X%X" % (len("%X" % size), size))  # name, type, start, end
    with open(prefix + ".objcopy.xtek", "w") as f:
        f.write("\n".join([section] + tek) + "\n")


if __name__ == "__main__":
    main()
