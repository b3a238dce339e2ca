# The tables this program writes, read by an independent reader (python3-dbfread),
# in the dBase IV and FoxPro memo families: an empty copy (/MAKE:), a listing target
# made from the table (/OUT:x.dbf), and the table sorted and packed in place.

# dbfread reads dBase IV memos with 512-byte blocks whatever the header says.
table t.dbf sig=8b: NAME C 8, AMOUNT N 7.2, BORN D 8, OK L 1, NOTE M 10
  memo dbt4
  text a text no record uses
  row smith|12.50|20010314|T|{first memo}
  del gone|-1.00|19991231|F|{line one\r\nline two}
  row brown|0.00|| |
$ t.dbf /MAKE:m.dbf /MEMO:text /OUT:o.dbf /S:* /SORT:NAME /PACK
dbfread m.dbf
> fields NAME:C:8:0 AMOUNT:N:7:2 BORN:D:8:0 OK:L:1:0 NOTE:M:10:0
dbfread o.dbf
> fields NAME:C:8:0 AMOUNT:N:7:2 BORN:D:8:0 OK:L:1:0 NOTE:M:10:0
> live 'smith'|12.5|2001-03-14|True|'first memo'
> live 'gone'|-1.0|1999-12-31|False|'line one\r\nline two'
> live 'brown'|0.0|None|None|None
dbfread t.dbf
> fields NAME:C:8:0 AMOUNT:N:7:2 BORN:D:8:0 OK:L:1:0 NOTE:M:10:0
> live 'brown'|0.0|None|None|None
> live 'smith'|12.5|2001-03-14|True|'first memo'

table t.dbf sig=f5: NAME C 8, AMOUNT N 7.2, BORN D 8, OK L 1, NOTE M 10
  memo fpt 64
  text a text no record uses
  row smith|12.50|20010314|T|{first memo}
  del gone|-1.00|19991231|F|{line one\r\nline two}
  row brown|0.00|| |
$ t.dbf /MAKE:m.dbf /MEMO:text /OUT:o.dbf /S:* /SORT:NAME /PACK
dbfread m.dbf
> fields NAME:C:8:0 AMOUNT:N:7:2 BORN:D:8:0 OK:L:1:0 NOTE:M:10:0
dbfread o.dbf
> fields NAME:C:8:0 AMOUNT:N:7:2 BORN:D:8:0 OK:L:1:0 NOTE:M:10:0
> live 'smith'|12.5|2001-03-14|True|'first memo'
> live 'gone'|-1.0|1999-12-31|False|'line one\r\nline two'
> live 'brown'|0.0|None|None|None
dbfread t.dbf
> fields NAME:C:8:0 AMOUNT:N:7:2 BORN:D:8:0 OK:L:1:0 NOTE:M:10:0
> live 'brown'|0.0|None|None|None
> live 'smith'|12.5|2001-03-14|True|'first memo'

