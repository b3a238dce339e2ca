# Maintenance in place: /PACK, /TRUNC:, /ZAP, /MAKE:, and the header repairs /CDX,
# /CPZERO and /CHECK. Each leaves the table whole when it can't do its work.

table t.dbf: NAME C 6, N N 3
  row pear|2
  del apple|9
  row fig|1
  row apple|3
  row kiwi|2

# A count that is no whole number is refused, and a negative one cuts nothing.
# /MAKE: leaves a file that exists alone; a name in another case is another file.
file old.dbf
> precious
file old.dbt
> notes
$ t.dbf /TRUNC:abc /TRUNC:3x '/TRUNC: 3' /TRUNC:- /TRUNC:2.5 /TRUNC:-1 /MAKE:old.dbf /MAKE:OLD.DBF
> Parameter required for trunc...
> Parameter required for trunc...
> Parameter required for trunc...
> Parameter required for trunc...
> Parameter required for trunc...
> File "old.dbf" exists, not created
same t.dbf old.dbf old.dbt

# A pack rebuilds the memo file with the texts of the records it keeps; the old
# one stays beside it as p.~bt, and a later pack goes on from there.
table p.dbf sig=83: NAME C 4, NOTE M 10
  memo dbt3
  text no record points here
  del gone|{deleted text}
  row kept|{kept text}
  row more|{more text}
$ p.dbf /PACK /DELETE:2 /PACK
table p.dbf sig=83 date=today: NAME C 4, NOTE M 10
  memo dbt3
  text kept text
  row kept|         1
