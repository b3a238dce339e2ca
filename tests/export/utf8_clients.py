#!/usr/bin/python3
# tests/export/utf8_clients.py
#
# Tables of many code pages, made by python3-dbf, listed by the program and read
# back by the clients the listings are for; every value must be what python3-dbfread
# reads from the same table.
#
#   utf8_clients.py TRUGTOOL DIR python   CSV through csv, JSON Lines through json,
#                                         and the /UTF8 screen listing as text
#   utf8_clients.py TRUGTOOL DIR sqlite   CSV through sqlite3's .import --csv
#
# Prints one line per difference and exits 1 if there was any.
import csv
import datetime
import decimal
import json
import os
import sqlite3
import subprocess
import sys

import dbf
import dbfread

# Single-byte pages: every letter of the upper half goes into the tables.
SINGLE = ['cp437', 'cp737', 'cp850', 'cp852', 'cp857', 'cp860', 'cp861', 'cp863', 'cp865', 'cp866',
          'cp874', 'cp1250', 'cp1251', 'cp1252', 'cp1253', 'cp1254', 'cp1255', 'cp1256',
          'mac_roman', 'mac_cyrillic', 'mac_latin2']
MULTI = {'cp932': '日本語のテキスト', 'cp936': '简体中文文本', 'cp949': '한국어 텍스트', 'cp950': '繁體中文文本'}
SQLITE_PAGES = ['cp866', 'cp1252', 'cp437']

program, folder, mode = sys.argv[1], sys.argv[2], sys.argv[3]
failures = []


def letters(page):
    if page in MULTI:
        return MULTI[page]
    found = []
    for byte in range(0x80, 0x100):
        try:
            char = bytes([byte]).decode(page)
        except UnicodeDecodeError:
            continue
        if char.isalpha():
            found.append(char)
    return ''.join(found)


def make_table(page, kind):
    """A table of the page: letters, quotes, commas and line breaks in text and memo."""
    path = os.path.join(folder, '%s_%s.dbf' % (page, kind))
    fields = 'NAME C(60); NOTE M; N N(12,2); D D; OK L'
    if kind == 'vfp':
        fields += '; TS T; I I; Y Y; B B'
    table = dbf.Table(path, fields, dbf_type=kind, codepage=page)
    table.open(dbf.READ_WRITE)
    text = letters(page)
    chunk = 10 if page in MULTI else 25
    rows = [(text[i:i + chunk], text + '\r\nline two, "quoted"\nthree') for i in range(0, len(text), chunk)]
    rows += [('say "hi", then go', 'a,b\r\n\r\nc "d"'), ('two\nlines,', ''), (' lead', '\n'), ('', '')]
    extra = [(-150.25, dbf.Date(1850, 6, 1), True), (0, dbf.Date(2100, 12, 31), False), (None, None, None),
             (1234567.5, dbf.Date(2001, 3, 14), None)]
    for number, (name, note) in enumerate(rows):
        row = (name, note) + extra[number % len(extra)]
        if kind == 'vfp':
            stamp = datetime.datetime(1999, 12, 31, 23, 59, 58) if number % 2 else None
            row += (stamp, -number * 1000, decimal.Decimal('12.3456') * number, 0.1 * number)
        table.append(row)
    table.close()
    return path


def run(*args):
    result = subprocess.run([program] + list(args), cwd=folder, capture_output=True)
    if result.returncode != 0 or result.stderr:
        failures.append('%s: status %d, stderr %r' % (args, result.returncode, result.stderr))
    return result.stdout


def expected_text(kind, value):
    """The CSV form of a value as dbfread reads it."""
    if value is None:
        return ''
    if kind == 'L':
        return 'true' if value else 'false'
    if kind == 'T':
        return value.strftime('%Y-%m-%d %H:%M:%S')
    if kind == 'D':
        return value.isoformat()
    return value


def same(kind, got, value):
    """Whether a value read back (text, or a JSON value) is the one dbfread read."""
    if kind in 'NFBIY':
        if value is None or got is None or got == '':
            return value is None and got in (None, '')
        return decimal.Decimal(str(got)) == decimal.Decimal(str(value))
    if kind == 'M' and value is None:
        value = ''
    if isinstance(got, bool) or (got is None and kind not in 'CM'):
        return got == value
    return got == expected_text(kind, value)


def compare(what, rows, reference):
    if len(rows) != len(reference.records):
        failures.append('%s: %d rows, dbfread has %d' % (what, len(rows), len(reference.records)))
    types = {field.name: field.type for field in reference.fields}
    for number, (row, record) in enumerate(zip(rows, reference.records)):
        if list(row.keys()) != reference.field_names:
            failures.append('%s: fields %s' % (what, list(row.keys())))
        for name, value in record.items():
            if not same(types[name], row.get(name), value):
                failures.append('%s record %d %s: %r, dbfread %r' % (what, number, name, row.get(name), value))


def check_python(page, kind, path):
    base = os.path.basename(path)[:-4]
    reference = dbfread.DBF(path, load=True)
    run(base + '.dbf', '/OUT:%s.csv' % base, '/SELECT:*')
    run(base + '.dbf', '/OUT:%s.jsonl' % base, '/SELECT:*')
    with open(os.path.join(folder, base + '.csv'), newline='', encoding='utf-8') as f:
        compare(base + '.csv', list(csv.DictReader(f)), reference)
    with open(os.path.join(folder, base + '.jsonl'), encoding='utf-8') as f:
        compare(base + '.jsonl', [json.loads(line) for line in f], reference)
    # The screen: one "value|" line per record, CR bytes taken out.
    shown = run(base + '.dbf', '/UTF8', '/TRIM:right', '/MEMO:text', '/SELECT:NAME;NOTE').decode('utf-8')
    wanted = ''.join('%s|%s|\n' % (r['NAME'], r['NOTE'] or '') for r in reference.records).replace('\r', '')
    if shown != wanted:
        failures.append('%s on the screen: %r, dbfread %r' % (base, shown[:200], wanted[:200]))


def check_sqlite(page, kind, path):
    base = os.path.basename(path)[:-4]
    run(base + '.dbf', '/OUT:%s.csv' % base, '/SELECT:*')
    database = os.path.join(folder, base + '.db')
    imported = subprocess.run(['sqlite3', database, '.import --csv %s.csv t' % base], cwd=folder,
                              capture_output=True)
    if imported.returncode != 0 or imported.stderr:
        failures.append('%s: sqlite3 said %r' % (base, imported.stderr))
        return
    connection = sqlite3.connect(database)
    connection.row_factory = sqlite3.Row
    rows = [dict(row) for row in connection.execute('SELECT * FROM t ORDER BY rowid')]
    connection.close()
    compare(base + '.db', rows, dbfread.DBF(path, load=True))


if mode == 'python':
    for page in SINGLE + list(MULTI):
        check_python(page, 'db3', make_table(page, 'db3'))
    for page in ['cp1252', 'cp866', 'cp932']:
        check_python(page, 'vfp', make_table(page, 'vfp'))
    check_python('cp850', 'fp', make_table('cp850', 'fp'))
else:
    for page in SQLITE_PAGES:
        check_sqlite(page, 'db3', make_table(page, 'db3'))
    check_sqlite('cp1252', 'vfp', make_table('cp1252', 'vfp'))

for line in failures[:40]:
    print(line)
sys.exit(1 if failures else 0)
