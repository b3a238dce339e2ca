#!/usr/bin/env python3
# Compares what the program makes of real tables written by other programs with what
# an independent reader (Debian's python3-dbfread) reads from them, and prints the
# places where they part, grouped, each with a table and a command that shows it:
#
#   python3 bench/realworld_survey.py [--program build/trugtool] [--corpus DIR] [--all]
#
# The corpus is ../shared/realworld/files beside the checkout (or beside the folder of
# worktrees) unless --corpus names one; without it the survey says so and exits 0.
# Every table is copied, with the files of the same name stem, into a scratch
# directory, and the program runs there on the copy:
#   t.dbf /COUNT                                    is the table opened at all
#   t.dbf /DATE:ymd /DEL [/MEMO:text] /SELECT:*     every value, beside dbfread's
#   t.dbf /STRUCT:s.sql, t.dbf [/MEMO:text] /OUT:o.sql /SELECT:*
#                                                   loaded into SQLite, statement by statement
# The header facts (descriptor terminator, record length against the field widths,
# memo file names) come from the bytes of the file. Values are compared by meaning:
# numbers as numbers within the field's decimals, dates as dates, memo texts without
# their carriage returns. --all lists every table of a group instead of the first ten.
import argparse
import datetime
import decimal
import math
import os
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile
from collections import defaultdict

try:
    import dbfread
    from dbfread import FieldParser
except ImportError:  # the survey needs the independent reader
    dbfread = None

# Words that no SQL dialect lets stand unquoted as a column name, or that the common
# ones reserve (SQL:2016 reserved words met in practice, and SQLite's keywords).
SQL_RESERVED = set("""
ABORT ACTION ADD AFTER ALL ALTER ANALYZE AND AS ASC ATTACH AUTOINCREMENT BEFORE BEGIN BETWEEN BY
CASCADE CASE CAST CHECK COLLATE COLUMN COMMIT CONFLICT CONSTRAINT CREATE CROSS CURRENT CURRENT_DATE
CURRENT_TIME CURRENT_TIMESTAMP DATABASE DEFAULT DEFERRABLE DEFERRED DELETE DESC DETACH DISTINCT DO
DROP EACH ELSE END ESCAPE EXCEPT EXCLUDE EXCLUSIVE EXISTS EXPLAIN FAIL FILTER FOLLOWING FOR FOREIGN
FROM FULL GLOB GROUP GROUPS HAVING IF IGNORE IMMEDIATE IN INDEX INDEXED INITIALLY INNER INSERT
INSTEAD INTERSECT INTO IS ISNULL JOIN KEY LEFT LIKE LIMIT MATCH NATURAL NO NOT NOTHING NOTNULL NULL
OF OFFSET ON OR ORDER OTHERS OUTER OVER PARTITION PLAN PRAGMA PRECEDING PRIMARY QUERY RAISE RANGE
RECURSIVE REFERENCES REGEXP REINDEX RELEASE RENAME REPLACE RESTRICT RIGHT ROLLBACK ROW ROWS SAVEPOINT
SELECT SET TABLE TEMP TEMPORARY THEN TIES TO TRANSACTION TRIGGER UNBOUNDED UNION UNIQUE UPDATE USER
USING VACUUM VALUES VIEW VIRTUAL WHEN WHERE WINDOW WITH WITHOUT
""".split())
PLAIN_NAME = re.compile(r"^[A-Za-z_][A-Za-z0-9_]*$")
MEMO_TYPES = "MGP"
LIMIT = 10


def find_corpus(given):
    if given:
        return given if os.path.isdir(given) else None
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    for candidate in (os.path.join(root, "..", "shared", "realworld", "files"),
                      os.path.join(root, "..", "..", "shared", "realworld", "files")):
        if os.path.isdir(candidate):
            return os.path.normpath(candidate)
    return None


# ---- Facts from the header bytes ----------------------------------------------------------

class Header:
    """What the first bytes of a .dbf file say: a 32-byte header, then 32-byte
    descriptors (dBase 7, signatures 0x04 and 0x8C: 48-byte ones behind a 68-byte
    header) up to a terminator byte or the header length."""

    def __init__(self, data):
        self.size = len(data)
        self.signature = data[0] if data else None
        self.header_length = int.from_bytes(data[8:10], "little") if len(data) >= 12 else 0
        self.record_length = int.from_bytes(data[10:12], "little") if len(data) >= 12 else 0
        self.count = int.from_bytes(data[4:8], "little") if len(data) >= 8 else 0
        self.dbase7 = self.signature in (0x04, 0x8C)
        start, size, name, at_type = (68, 48, 32, 32) if self.dbase7 else (32, 32, 11, 11)
        self.fields = []
        self.terminator = None
        end = min(len(data), max(self.header_length, start))
        at = start
        while at < end:
            if data[at] in (0x0D, 0x0A) or at + size > end:
                self.terminator = data[at]
                break
            descriptor = data[at:at + size]
            kind = chr(descriptor[at_type])
            width = descriptor[at_type + 5] if not self.dbase7 else descriptor[33]
            if kind == "C" and not self.dbase7:
                width += descriptor[17] << 8
            self.fields.append((descriptor[:name].split(b"\0")[0], kind, width))
            at += size
        self.widths = 1 + sum(f[2] for f in self.fields)


# ---- Running the program --------------------------------------------------------------------

class Copy:
    """A scratch directory with a copy of one table and the files of its name stem."""

    def __init__(self, path):
        self.dir = tempfile.mkdtemp(prefix="survey.")
        folder, self.name = os.path.split(path)
        stem = os.path.splitext(self.name)[0].lower()
        for entry in os.listdir(folder):
            if os.path.splitext(entry)[0].lower() == stem and os.path.isfile(os.path.join(folder, entry)):
                shutil.copy(os.path.join(folder, entry), self.dir)

    def run(self, program, *arguments):
        try:
            done = subprocess.run([program, self.name] + list(arguments), cwd=self.dir,
                                  capture_output=True, timeout=60)
            return done.returncode, done.stdout
        except subprocess.TimeoutExpired:
            return None, b""

    def read(self, name):
        path = os.path.join(self.dir, name)
        if not os.path.exists(path):
            return None
        with open(path, "rb") as f:
            return f.read()

    def close(self):
        shutil.rmtree(self.dir, ignore_errors=True)


# ---- Reading with dbfread -------------------------------------------------------------------

class Failed:
    """A value dbfread refused, with its reason."""

    def __init__(self, reason):
        self.reason = reason

    def __repr__(self):
        return "dbfread: " + self.reason


def read_independently(path):
    """(table, records) by dbfread; records are (mark byte, [value or Failed, ...], [raw
    bytes, ...]) in file order, deleted ones included, up to the end mark or the end of
    the file, as dbfread steps through them: by the field widths."""
    table = dbfread.DBF(path, encoding="latin-1", ignore_missing_memofile=True, load=False)
    records = []
    with table._open_memofile() as memofile, open(path, "rb") as f:
        parser = FieldParser(table, memofile)
        f.seek(table.header.headerlen)
        while True:
            mark = f.read(1)
            if mark in (b"\x1a", b""):
                break
            raws = [f.read(field.length) for field in table.fields]
            values = []
            for field, raw in zip(table.fields, raws):
                try:
                    values.append(parser.parse(field, raw))
                except Exception as error:  # dbfread raises several kinds on bad values
                    values.append(Failed(str(error)[:60]))
            records.append((mark, values, raws))
    return table, records


# ---- Comparing ------------------------------------------------------------------------------

def split_listing(text, records, fields):
    """The program's browse listing cut into (mark, [token, ...]) per record. The
    expected text of character and memo fields guides the cut where a value holds the
    separator; returns (rows, where the listing went out of step or None)."""
    rows = []
    at = 0
    for index in range(len(records) + 1):
        if at >= len(text):
            return rows, None
        if index == len(records) or text[at + 1:at + 2] != "|":
            return rows, "record %d: line %r" % (index + 1, text[at:at + 40])
        mark = text[at]
        at += 2
        tokens = []
        for field, expected in zip(fields, records[index]):
            if expected is not None and text.startswith(expected + "|", at):
                end = at + len(expected)
            else:
                end = text.find("|", at)
                newline = text.find("\n", at)
                if end < 0 or (field.type not in MEMO_TYPES and 0 <= newline < end):
                    return rows, "record %d, field %s" % (index + 1, field.name)
            tokens.append(text[at:end])
            at = end + 1
        if text[at:at + 1] != "\n":
            return rows, "record %d: no line end" % (index + 1)
        at += 1
        rows.append((mark, tokens))
    return rows, None


def number_of(token):
    token = token.strip()
    try:
        return float(token)
    except ValueError:
        return None


def shown_date(token):
    token = token.strip()
    if not token:
        return None
    try:
        if len(token) == 10:
            return datetime.date(int(token[0:4]), int(token[5:7]), int(token[8:10]))
        return datetime.datetime(int(token[0:4]), int(token[5:7]), int(token[8:10]),
                                 int(token[11:13]), int(token[14:16]), int(token[17:19]))
    except ValueError:
        return token


def in_time_t(value):
    """Whether a date lies within a signed 32-bit time_t (December 1901 to January 2038)."""
    day = value.date() if isinstance(value, datetime.datetime) else value
    return datetime.date(1901, 12, 14) <= day <= datetime.date(2038, 1, 18)


def memo_text(value):
    if value is None:
        return ""
    if isinstance(value, bytes):
        value = value.decode("latin-1")
    return value.replace("\r", "").split("\0")[0]


def classify(field, token, value, raw):
    """The kind of difference between the program's token and dbfread's value, or None."""
    kind = field.type
    if isinstance(value, Failed) and kind not in "ND":
        return None if token.strip() == "" else "type %s: dbfread refuses the value, the program shows it" % kind
    if kind == "C":
        shown = token.rstrip(" ")
        if shown == value.replace("\r", ""):
            return None
        if b"\0" in raw.rstrip(b"\0 ") and shown == raw.split(b"\0")[0].decode("latin-1").rstrip(" "):
            return "C: text behind a zero byte is not shown"
        return "C: text differs"
    if kind == "V":
        return None if token == value else "V (varchar): not shown"
    if kind in "NF":
        shown = number_of(token)
        if isinstance(value, Failed):
            return "N/F: text that is no number (dbfread refuses) shows as %s" % ("0" if shown == 0 else "a number")
        if value is None:
            return None if shown == 0 else "N/F: blank number shown as a non-zero"
        if isinstance(value, float) and math.isnan(value):
            return None if token.strip() == "nan" else "N/F: NaN shown as a number"
        if shown is None:
            return "N/F: the program's text is no number"
        if b"," in raw:
            return None if abs(shown - value) < 1e-9 else "N/F: decimal comma read as its integer part"
        if b"*" in raw.strip():
            return "N/F: '*' padding"
        tolerance = 0.5 * 10 ** -field.decimal_count + 1e-9 * max(1.0, abs(value))
        if abs(shown - value) <= tolerance:
            return None
        if abs(value) >= 1e15:
            return "N/F: number of 16 or more digits loses digits"
        return "N/F: number differs"
    if kind in "I+":
        return None if number_of(token) == value else "I: integer differs"
    if kind == "Y":
        shown = number_of(token)
        return None if shown is not None and abs(decimal.Decimal(repr(shown)) - value) < decimal.Decimal("0.00005") \
            else "Y: currency differs"
    if kind == "B" and isinstance(value, float):
        shown = number_of(token)
        if shown is None and math.isnan(value):
            return None
        if shown is None or abs(shown - value) > 0.5 * 10 ** -field.decimal_count + 1e-9 * abs(value):
            return "B (double): number differs"
        return None
    if kind == "O":
        return "O (double): not shown"
    if kind in "D":
        shown = shown_date(token)
        if isinstance(value, Failed):
            return None if shown is None else "D: date dbfread refuses (impossible day) is shown"
        if value is None:
            return None if shown is None else "D: blank date shown as a date"
        if shown is None:
            return "D: date outside 1901-2038 blank" if not in_time_t(value) else "D: valid date shown blank"
        return None if shown == value else "D: date differs"
    if kind in "T@":
        shown = shown_date(token)
        if value is None:
            return None if shown is None else "T: empty date-time shown"
        if kind == "@":
            return "@ (timestamp): not shown" if shown != value.replace(microsecond=0) else None
        if shown is None:
            return "T: date-time outside 1901-2038 blank" if not in_time_t(value) else "T: valid date-time shown blank"
        return None if shown == value.replace(microsecond=0) else "T: date-time differs"
    if kind == "L":
        return None if token == raw.split(b"\0")[0].decode("latin-1") else "L: logical differs"
    if kind in MEMO_TYPES or kind == "B":
        expected = memo_text(value)
        if token == expected:
            return None
        if token == "" and expected:
            return "memo: text dbfread reads, the program shows empty"
        if expected == "" and token:
            return "memo: text the program shows, dbfread reads none"
        if expected.startswith(token) or token.startswith(expected):
            return "memo: text cut short or run long"
        return "memo: text differs"
    if kind == "0":
        return None
    return None if token == "" else "type %r: shown" % kind


def sql_load(struct_sql, data_sql):
    """Loads the program's SQL into an in-memory SQLite database: the error of CREATE
    TABLE or None, the number of inserts, and (index, error) of each insert that
    fails. Each insert starts a line with 'insert into "', which is how they are told
    apart even where a broken quote runs one into the next."""
    db = sqlite3.connect(":memory:")
    create_error = None
    try:
        db.executescript(struct_sql)
    except sqlite3.Error as error:
        create_error = str(error)
    statements = [part for part in re.split(r'(?m)^(?=insert into ")', data_sql) if part.strip()]
    failures = []
    for index, statement in enumerate(statements):
        try:
            db.execute(statement)
        except (sqlite3.Error, sqlite3.Warning) as error:
            failures.append((index, str(error)))
    db.close()
    return create_error, len(statements), failures


def sql_name_trouble(name):
    """Why a field name can't stand unquoted in SQL, or None."""
    if name == "":
        return "empty"
    ascii_part = "".join(c for c in name if ord(c) < 128)
    if not PLAIN_NAME.match(ascii_part or "_") or (ascii_part == name and not PLAIN_NAME.match(name)):
        return "not an identifier"
    if ascii_part != name:
        return "bytes above 127 (SQLite takes them)"
    if name.upper() in SQL_RESERVED:
        db = sqlite3.connect(":memory:")
        try:
            db.execute("CREATE TABLE t (%s TEXT)" % name)
            return "keyword (SQLite takes it)"
        except sqlite3.Error:
            return "keyword (SQLite refuses it)"
        finally:
            db.close()
    return None


def sql_failure_cause(table, record, has_memo):
    """What in a record breaks its insert, judged from dbfread's values."""
    mark, values, raws = record
    for field, value, raw in zip(table.fields, values, raws):
        if field.type in "CV" and b'"' in raw:
            return 'item: SQL, a double quote inside a text value'
        if has_memo and field.type in MEMO_TYPES and "'" in memo_text(value):
            return "item: SQL, an apostrophe inside a memo text"
        if isinstance(value, float) and math.isnan(value):
            return "item: SQL, NaN written as nan"
    for field, value, raw in zip(table.fields, values, raws):
        if field.type in "T@" and field.length == 8:
            return "sql: a T field written as its 8 stored bytes (date mode asis)"
    return None


# ---- The survey -----------------------------------------------------------------------------

class Findings:
    """Groups of findings: for each, the tables with a count and details, and one example."""

    def __init__(self):
        self.groups = defaultdict(lambda: {"tables": defaultdict(int), "details": defaultdict(set),
                                           "example": None})

    def add(self, group, table, count=1, example=None, detail=None):
        entry = self.groups[group]
        entry["tables"][table] += count
        if detail is not None:
            entry["details"][table].add(detail)
        if entry["example"] is None and example is not None:
            entry["example"] = example


def survey_table(path, rel, program, findings):
    data = open(path, "rb").read()
    header = Header(data)
    folder = os.path.dirname(rel)
    name = os.path.basename(rel)

    def command(*arguments):
        quoted = [a if re.match(r"^[\w./:+=-]+$", a) else "'%s'" % a for a in arguments]
        return "cd '%s' && trugtool '%s' %s" % (folder, name, " ".join(quoted))

    # Header facts the issue names. A table that has one of them has its value
    # differences credited to it.
    items = []
    if header.terminator == 0x0A:
        items.append("descriptors ended by 0x0A")
        findings.add("item: descriptors ended by 0x0A", rel, example=command("/STRUCT"))
    if header.size in (33, 34) and not header.fields:
        findings.add("item: header-only table of 33 or 34 bytes", rel, example=command("/COUNT"),
                     detail="%d bytes" % header.size)
    if header.fields and header.terminator is not None and header.record_length != header.widths:
        items.append("record length")
        findings.add("item: record length disagrees with the field widths", rel, example=command("/SELECT:*"),
                     detail="header %d, fields %d" % (header.record_length, header.widths))
    folder_path = os.path.dirname(path)
    stem = os.path.splitext(name)[0]
    memo_files = [e for e in os.listdir(folder_path) if os.path.splitext(e)[0].lower() == stem.lower()
                  and os.path.splitext(e)[1].lower() in (".dbt", ".fpt")]
    if any(f[1] in MEMO_TYPES for f in header.fields) and memo_files and \
            not any(m in (stem + ".dbt", stem + ".fpt") for m in memo_files):
        items.append("memo file name case")
        findings.add("item: memo file named in another case", rel, detail=", ".join(memo_files),
                     example=command("/MEMO:text", "/RANGE:1", "/SELECT:*"))

    copy = Copy(path)
    try:
        status, out = copy.run(program, "/COUNT")
        shown = out.decode("latin-1").strip()
        opened = status == 0 and shown.isdigit()
        if not opened:
            message = shown.splitlines()[0].split("...")[0] + "..." if shown else "exit status %s" % status
            findings.add("program: refuses the table: %s" % message, rel, example=command("/COUNT"),
                         detail="file %d bytes, header %d, %d fields" %
                         (header.size, header.header_length, len(header.fields)))
        elif header.dbase7 or header.signature == 0x02:
            findings.add("program: opens a %s table, reading its header as dBase III descriptors" %
                         ("dBase 7" if header.dbase7 else "dBase II"), rel, example=command("/STRUCT"),
                         detail=shown + " records")

        try:
            table, records = read_independently(path)
        except Exception as error:  # dbfread refuses whole tables in several ways
            findings.add("dbfread: can't read the table", rel, detail=type(error).__name__ + ": " + str(error)[:40])
            return
        if not opened:
            return
        whole = (header.size - header.header_length) // header.widths if header.widths > 1 else 0
        if int(shown) != len(records):
            findings.add("count: the program and dbfread count differently", rel, example=command("/COUNT"),
                         detail="program %s, dbfread %d, header %d, whole records in the file %d" %
                         (shown, len(records), header.count, whole))
        credit = "follows from item (%s): " % ", ".join(items) if items else ""

        has_memo = any(f.type in MEMO_TYPES or (f.type == "B" and f.length == 10) for f in table.fields)
        memo = ["/MEMO:text"] if has_memo else []
        arguments = ["/DATE:ymd", "/DEL"] + memo + ["/SELECT:*"]
        status, out = copy.run(program, *arguments)
        expected = []
        for mark, values, raws in records:
            row = []
            for field, value, raw in zip(table.fields, values, raws):
                if field.type == "C":
                    row.append(raw.split(b"\0")[0].decode("latin-1").replace("\r", ""))
                elif field.type in MEMO_TYPES and not isinstance(value, Failed):
                    row.append(memo_text(value))
                else:
                    row.append(None)
            expected.append(row)
        rows, out_of_step = split_listing(out.decode("latin-1"), expected, table.fields)
        if out_of_step:
            findings.add(credit + "listing: out of step with dbfread's fields", rel,
                         example=command(*arguments) + "   # at " + out_of_step)
        for number, ((mark, tokens), (their_mark, values, raws)) in enumerate(zip(rows, records), 1):
            if mark.encode("latin-1") != their_mark:
                findings.add(credit + "mark: deletion mark differs", rel)
            for field, token, value, raw in zip(table.fields, tokens, values, raws):
                kind = classify(field, token, value, raw)
                if not kind:
                    continue
                if kind.startswith("D: date outside") or kind.startswith("T: date-time outside"):
                    kind = "item: " + kind
                else:
                    kind = credit + kind
                plain = PLAIN_NAME.match(field.name)
                show = command("/DATE:ymd", *(memo if field.type in MEMO_TYPES else []),
                               "/RANGE:%d" % number, "/SELECT:" + (field.name if plain else "*"))
                findings.add(kind, rel, detail=field.name, example="%s   # %s: shows %r, dbfread %r" %
                             (show, field.name, token[:40], value if not isinstance(value, str) else value[:40]))

        # SQL names, NaN and lower-case logicals, then whether SQLite loads the SQL.
        for field in table.fields:
            trouble = sql_name_trouble(field.name)
            if trouble:
                findings.add("item: SQL field name, %s" % trouble, rel, detail=field.name,
                             example=command("/STRUCT:s.sql"))
        for mark, values, raws in records:
            for field, value, raw in zip(table.fields, values, raws):
                if isinstance(value, float) and math.isnan(value):
                    findings.add("item: NaN number", rel, example=command("/OUT:o.sql", "/SELECT:" + field.name))
                if field.type == "L" and raw in (b"t", b"y"):
                    findings.add("item: lower-case logical", rel, detail=raw.decode(),
                                 example=command("/OUT:o.sql", "/SELECT:" + field.name))
        copy.run(program, "/STRUCT:s.sql")
        copy.run(program, *(memo + ["/OUT:o.sql", "/SELECT:*"]))
        struct_sql, data_sql = copy.read("s.sql"), copy.read("o.sql")
        if struct_sql is None or data_sql is None:
            findings.add("sql: no SQL written", rel, example=command("/STRUCT:s.sql"))
            return
        create_error, statements, failures = sql_load(struct_sql.decode("latin-1"), data_sql.decode("latin-1"))
        if create_error:
            cause = "item: SQL, CREATE TABLE fails on a field name"
            if "duplicate column" in create_error:
                cause = "sql: CREATE TABLE fails, two fields of one name"
            findings.add(credit + cause, rel, detail=create_error[:60], example=command("/STRUCT:s.sql"))
            return
        # Inserts follow the records only where both count alike.
        aligned = statements == len(records)
        for index, error in failures:
            cause = sql_failure_cause(table, records[index], has_memo) if aligned else None
            if cause is None:
                cause = "sql: insert fails (%s)" % re.sub(r'"[^"]*"', '"..."', error)[:60]
            findings.add(credit + cause if not cause.startswith("item") else cause, rel,
                         example=command(*(memo + ["/RANGE:%d" % (index + 1), "/OUT:o.sql", "/SELECT:*"])) +
                         "   # " + error[:70])
    finally:
        copy.close()


def main():
    parser = argparse.ArgumentParser(description="Compares the program with dbfread on the real tables.")
    parser.add_argument("--program", default=os.path.join(os.path.dirname(os.path.abspath(__file__)), "..",
                                                          "build", "trugtool"))
    parser.add_argument("--corpus")
    parser.add_argument("--all", action="store_true")
    options = parser.parse_args()
    corpus = find_corpus(options.corpus)
    if corpus is None:
        print("The real tables (../shared/realworld/files) are not here; survey skipped.")
        return 0
    if dbfread is None:
        print("python3-dbfread is not installed; survey skipped.")
        return 0
    program = os.path.abspath(options.program)
    if not os.access(program, os.X_OK):
        print("No program at %s: build it first." % program)
        return 1

    tables = sorted(os.path.relpath(os.path.join(d, f), corpus)
                    for d, _, files in os.walk(corpus) for f in files if f.lower().endswith(".dbf"))
    findings = Findings()
    for rel in tables:
        try:
            survey_table(os.path.join(corpus, rel), rel, program, findings)
        except Exception as error:  # a fault of the survey itself: say where, go on
            findings.add("survey: failed (%s: %s)" % (type(error).__name__, str(error)[:60]), rel)

    refused = sum(len(e["tables"]) for g, e in findings.groups.items() if g.startswith("program: refuses"))
    print("%d tables under %s, %d opened by the program; commands run in the table's folder\n" %
          (len(tables), corpus, len(tables) - refused))
    for group in sorted(findings.groups):
        entry = findings.groups[group]
        tables_of = sorted(entry["tables"].items())
        shown = tables_of if options.all else tables_of[:LIMIT]
        values = sum(entry["tables"].values())
        print("%s: %d table%s, %d time%s" % (group, len(tables_of), "" if len(tables_of) == 1 else "s",
                                              values, "" if values == 1 else "s"))
        for table, count in shown:
            details = sorted(entry["details"].get(table, ()))
            print("    %s (%d)%s" % (table, count, ": " + ", ".join(details)[:150] if details else ""))
        if len(shown) < len(tables_of):
            print("    ... and %d more (--all lists them)" % (len(tables_of) - len(shown)))
        if entry["example"]:
            print("    e.g. " + entry["example"])
    return 0


if __name__ == "__main__":
    sys.exit(main())
