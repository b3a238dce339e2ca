#!/bin/sh
# Lists every field of a table of 1,000,000 records to a text file and compares
# the time with cat writing a file of the same size.
#
#   sh bench/listing.sh [path/to/trugtool] [records]
#
# The table has 10 fields of mixed types, 100 bytes a record; it is generated with
# Python's struct module in a temporary directory, which is removed at the end.
set -eu

PROGRAM=$(realpath "${1:-./build/trugtool}")
RECORDS=${2:-1000000}
WORK=$(mktemp -d "${TMPDIR:-/tmp}/trug-bench-XXXXXX")
trap 'rm -rf "$WORK"' EXIT

python3 - "$WORK/bench.dbf" "$RECORDS" <<'PY'
import struct, sys
path, count = sys.argv[1], int(sys.argv[2])
fields = [("NAME", "C", 20, 0), ("CITY", "C", 15, 0), ("PRICE", "N", 10, 2), ("QTY", "N", 6, 0),
          ("BORN", "D", 8, 0), ("ACTIVE", "L", 1, 0), ("CODE", "C", 12, 0), ("RATE", "N", 12, 4),
          ("SEEN", "D", 8, 0), ("TAG", "C", 7, 0)]
record_length = 1 + sum(f[2] for f in fields)
header_length = 32 + 32 * len(fields) + 1
with open(path, "wb") as out:
    out.write(struct.pack("<BBBBIHH20x", 0x03, 101, 3, 14, count, header_length, record_length))
    for name, kind, length, decimals in fields:
        out.write(name.encode().ljust(11, b"\0") + kind.encode() + b"\0" * 4 +
                  bytes([length, decimals]) + b"\0" * 14)
    out.write(b"\r")
    cities = [b"Berlin", b"Moscow", b"Paris", b"Lisbon", b"Oslo", b"Rome", b"Vienna"]
    chunk = []
    for i in range(count):
        values = (b"Customer %07d" % i, cities[i % 7], b"%.2f" % ((i * 37 % 100000) / 100.0),
                  b"%d" % (i % 1000), b"%04d%02d%02d" % (1950 + i % 60, 1 + i % 12, 1 + i % 28),
                  b"TF"[i % 2:i % 2 + 1], b"K-%010d" % (i * 7919 % 10**10), b"%.4f" % (i % 9973 / 7.0),
                  b"%04d%02d%02d" % (2000 + i % 30, 1 + i % 12, 1 + i % 28), b"T%06d" % (i % 10**6))
        record = [b"*" if i % 50 == 49 else b" "]
        for (name, kind, length, decimals), value in zip(fields, values):
            record.append(value.rjust(length) if kind == "N" else value.ljust(length)[:length])
        chunk.append(b"".join(record))
        if len(chunk) == 65536:
            out.write(b"".join(chunk))
            chunk = []
    out.write(b"".join(chunk))
    out.write(b"\x1a")
PY

now() { date +%s%N; }
# CPU seconds (user + system) of a command, where GNU time is at hand: on a busy
# machine the wall time says more about the neighbours than about the program.
cpu() {
    if [ -x /usr/bin/time ]; then
        /usr/bin/time -f "%U %S" -o "$WORK/cpu" "$@"
        awk '{ printf "%.2f", $1 + $2 }' "$WORK/cpu"
    else
        "$@"
        printf "n/a"
    fi
}

cd "$WORK"
start=$(now)
listing_cpu=$(cpu "$PROGRAM" bench.dbf /OUT:listing.txt /SELECT:*)
finish=$(now)
listing_ns=$((finish - start))

size=$(stat -c %s listing.txt)
cp listing.txt source.txt
start=$(now)
cat_cpu=$(cpu sh -c 'cat source.txt > copy.txt')
finish=$(now)
cat_ns=$((finish - start))

awk -v n="$RECORDS" -v size="$size" -v l="$listing_ns" -v c="$cat_ns" \
    -v lcpu="$listing_cpu" -v ccpu="$cat_cpu" 'BEGIN {
    printf "records:            %d\n", n
    printf "output size:        %d bytes\n", size
    printf "listing time:       %.3f s wall, %s s CPU\n", l / 1e9, lcpu
    printf "records per second: %.0f\n", n / (l / 1e9)
    printf "cat of same size:   %.3f s wall, %s s CPU\n", c / 1e9, ccpu
    printf "listing / cat:      %.1f\n", l / c
}'
