#!/usr/bin/env python3
# Writes a dBase III table whose numeric key K runs in one of the shapes that
# break a naive quicksort, for timing /ORDER:K against the same keys shuffled:
#
#   python3 bench/make_keys.py path/name.dbf records shape
#
# Two fields, 31 bytes a record: K N 10 and NAME C 20 (the key as text, so that the
# records are not all alike). Shapes, for n records and i = 0 .. n-1:
#   shuffled  0 .. n-1 in a random order (fixed seed: every run gets the same table)
#   sorted    i
#   reverse   n-1-i
#   organ     rising to the middle, then falling: min(i, n-i) (an organ pipe whose one
#             greatest key stands in the middle, where a quicksort takes its pivot)
#   equal     0 for every record
#   sawtooth  i mod 1000: n/1000 rising runs
# Only the struct and random modules are used.
import random
import struct
import sys

FIELDS = [("K", "N", 10, 0), ("NAME", "C", 20, 0)]
SHAPES = {
    "shuffled": None,
    "sorted": lambda i, n: i,
    "reverse": lambda i, n: n - 1 - i,
    "organ": lambda i, n: min(i, n - i),
    "equal": lambda i, n: 0,
    "sawtooth": lambda i, n: i % 1000,
}


def keys(shape, count):
    if shape == "shuffled":
        values = list(range(count))
        random.Random(17).shuffle(values)
        return values
    rule = SHAPES[shape]
    return [rule(i, count) for i in range(count)]


def main():
    path, count, shape = sys.argv[1], int(sys.argv[2]), sys.argv[3]
    if shape not in SHAPES:
        sys.exit("shape must be one of: " + ", ".join(SHAPES))
    record_length = 1 + sum(f[2] for f in FIELDS)
    header_length = 32 + 32 * len(FIELDS) + 1
    with open(path, "wb") as out:
        out.write(struct.pack("<BBBBIHH20x", 0x03, 124, 1, 15, count, header_length, record_length))
        for name, kind, length, decimals in FIELDS:
            out.write(name.encode().ljust(11, b"\0") + kind.encode() + b"\0" * 4 +
                      bytes([length, decimals]) + b"\0" * 14)
        out.write(b"\r")
        chunk = []
        for key in keys(shape, count):
            chunk.append(b" " + (b"%d" % key).rjust(10) + (b"key %d" % key).ljust(20))
            if len(chunk) == 65536:
                out.write(b"".join(chunk))
                chunk = []
        out.write(b"".join(chunk))
        out.write(b"\x1a")


if __name__ == "__main__":
    main()
