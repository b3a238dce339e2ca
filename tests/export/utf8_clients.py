#!/usr/bin/python3
# tests/export/utf8_clients.py
#
# Tables of many code pages, made by python3-dbf, listed by the program and read
# back by the clients the listings are for; every value must be what python3-dbfread
# reads from the same table.
#
#   utf8_clients.py TRUGTOOL DIR   CSV through csv, JSON Lines through json; CSV of a
#                                  few pages through sqlite3's .import --csv where
#                                  sqlite3 is installed
#
# Prints one line per difference.
import csv, datetime, decimal, json, os, shutil, sqlite3, subprocess, sys

import dbf
import dbfread

# Single-byte pages: every letter of the upper half goes into the tables.
SINGLE = ['cp437', 'cp737', 'cp850', 'cp852', 'cp857', 'cp860', 'cp861', 'cp863', 'cp865', 'cp866',
          'cp874', 'cp1250', 'cp1251', 'cp1252', 'cp1253', 'cp1254', 'cp1255', 'cp1256',
          'mac_roman', 'mac_cyrillic', 'mac_latin2']
MULTI = {'cp932': '日本語のテキスト', 'cp936': '简体中文文本', 'cp949': '한국어 텍스트', 'cp950': '繁體中文文本'}
TABLES = [(page, 'db3') for page in SINGLE + list(MULTI)] + [('cp1252', 'vfp'), ('cp866', 'vfp'), ('cp932', 'vfp'),
                                                        ('cp850', 'fp')]
SQLITE = [('cp866', 'db3'), ('cp1252', 'db3'), ('cp437', 'db3'), ('cp1252', 'vfp')]

program, folder = sys.argv[1], sys.argv[2]


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
    fields = 'NAME C(60); NOTE M; N N(12,2); D D; OK L' + ('; TS T; I I; Y Y; B B' if kind == 'vfp' else '')
    table = dbf.Table(path, fields, dbf_type=kind, codepage=page)
    table.open(dbf.READ_WRITE)
    text, chunk = letters(page), 10 if page in MULTI else 25
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
        print('%s: status %d, stderr %r' % (args, result.returncode, result.stderr))


def same(kind, got, value):
    """Whether a value read back (text, or a JSON value) is the one dbfread read."""
    if kind in 'NFBIY':
        if value is None or got is None or got == '':
            return value is None and got in (None, '')
        return decimal.Decimal(str(got)) == decimal.Decimal(str(value))
    if isinstance(got, bool) or (got is None and kind not in 'CM'):
        return got == value
    text = {'T': lambda: value.strftime('%Y-%m-%d %H:%M:%S'), 'D': lambda: value.isoformat(), 'L': lambda: str(value).lower()}
    return got == ('' if value is None else text[kind]() if kind in text else value)


def compare(what, rows, reference):
    if len(rows) != len(reference.records):
        print('%s: %d rows, dbfread has %d' % (what, len(rows), len(reference.records)))
    types = {field.name: field.type for field in reference.fields}
    for number, (row, record) in enumerate(zip(rows, reference.records)):
        if list(row.keys()) != reference.field_names:
            print('%s: fields %s' % (what, list(row.keys())))
        for name, value in record.items():
            if not same(types[name], row.get(name), value):
                print('%s record %d %s: %r, dbfread %r' % (what, number, name, row.get(name), value))


for page, kind in TABLES:
    path = make_table(page, kind)
    base = os.path.basename(path)[:-4]
    reference = dbfread.DBF(path, load=True)
    run(base + '.dbf', '/OUT:%s.csv' % base, '/SELECT:*', '/OUT:%s.jsonl' % base, '/SELECT:*')
    with open(os.path.join(folder, base + '.csv'), newline='', encoding='utf-8') as f:
        compare(base + '.csv', list(csv.DictReader(f)), reference)
    with open(os.path.join(folder, base + '.jsonl'), encoding='utf-8') as f:
        compare(base + '.jsonl', [json.loads(line) for line in f], reference)
    if (page, kind) not in SQLITE or not shutil.which('sqlite3'):
        continue
    database = os.path.join(folder, base + '.db')
    imported = subprocess.run(['sqlite3', database, '.import --csv %s.csv t' % base], cwd=folder, capture_output=True)
    if imported.returncode != 0 or imported.stderr:
        print('%s: sqlite3 said %r' % (base, imported.stderr))
        continue
    connection = sqlite3.connect(database)
    connection.row_factory = sqlite3.Row
    compare(base + '.db', [dict(row) for row in connection.execute('SELECT * FROM t ORDER BY rowid')], reference)
    connection.close()

