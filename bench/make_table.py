#!/usr/bin/env python3
# Writes a dBase III table with a .dbt memo file for the benchmark:
#
#   python3 bench/make_table.py path/name.dbf records
#
# Ten fields of mixed types, 99 bytes a record:
#   NAME C 20, CITY C 15, PRICE N 10.2 (some negative), QTY N 6, BORN D,
#   ACTIVE L, CODE C 12, RATE N 12.4, COUNT I, NOTE M 10.
# Every 10th record is marked deleted and every 10th (another one) has a memo text
# of one 512-byte block. Names, prices and codes run in a scrambled order, so
# that sorting on them moves every record. Only the struct module is used.
import struct
import sys

FIELDS = [("NAME", "C", 20, 0), ("CITY", "C", 15, 0), ("PRICE", "N", 10, 2), ("QTY", "N", 6, 0),
          ("BORN", "D", 8, 0), ("ACTIVE", "L", 1, 0), ("CODE", "C", 12, 0), ("RATE", "N", 12, 4),
          ("COUNT", "I", 4, 0), ("NOTE", "M", 10, 0)]
SURNAMES = [b"Smith", b"Ivanov", b"Schmidt", b"Garcia", b"Rossi", b"Novak", b"Silva", b"Petrov",
            b"Martin", b"Nowak", b"Sato", b"Kim", b"Stein", b"Larsen", b"Dubois", b"Horvat"]
CITIES = [b"Berlin", b"Moscow", b"Paris", b"Lisbon", b"Oslo", b"Rome", b"Vienna", b"Sofia"]
BLOCK = 512


def main():
    path, count = sys.argv[1], int(sys.argv[2])
    memo_path = path[:-4] + ".dbt"
    record_length = 1 + sum(f[2] for f in FIELDS)
    header_length = 32 + 32 * len(FIELDS) + 1
    memos = []
    next_block = 1
    with open(path, "wb") as out:
        out.write(struct.pack("<BBBBIHH20x", 0x83, 124, 1, 15, count, header_length, record_length))
        for name, kind, length, decimals in FIELDS:
            out.write(name.encode().ljust(11, b"\0") + kind.encode() + b"\0" * 4 +
                      bytes([length, decimals]) + b"\0" * 14)
        out.write(b"\r")
        chunk = []
        for i in range(count):
            s = (i * 2654435761) & 0xFFFFFFFF  # a scrambled companion of i
            name = SURNAMES[(s >> 20) % 16] + b" %07d" % (s % 10000000)
            price = ((s >> 8) % 2000000 - 400000) / 100.0
            memo = b""
            if i % 10 == 3:
                memo = b"%10d" % next_block
                memos.append(b"Note on record %d\r\nSecond line of the note, %s.\x1a\x1a" % (i, name))
                next_block += 1
            record = b"".join([
                b"*" if i % 10 == 9 else b" ",
                name.ljust(20),
                CITIES[i % 8].ljust(15),
                (b"%.2f" % price).rjust(10),
                (b"%d" % (s % 1000)).rjust(6),
                b"%04d%02d%02d" % (1940 + s % 70, 1 + i % 12, 1 + i % 28),
                b"TF"[i % 2:i % 2 + 1],
                (b"K-%08d" % (s % 100000000)).ljust(12),
                (b"%.4f" % ((s % 19997 - 9998) / 7.0)).rjust(12),
                struct.pack("<i", (s % 200001) - 100000),
                memo.rjust(10),
            ])
            assert len(record) == record_length
            chunk.append(record)
            if len(chunk) == 65536:
                out.write(b"".join(chunk))
                chunk = []
        out.write(b"".join(chunk))
        out.write(b"\x1a")
    with open(memo_path, "wb") as memo:
        head = bytearray(BLOCK)
        struct.pack_into("<I", head, 0, next_block)
        head[16] = 0x03
        memo.write(head)
        for text in memos:
            memo.write(text.ljust(BLOCK, b"\0"))


if __name__ == "__main__":
    main()
