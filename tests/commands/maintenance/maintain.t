# Maintenance in place: /PACK, /TRUNC:, /ZAP, /MAKE:, and the header repairs /CDX,
# /CPZERO and /CHECK. Each leaves the table whole when it can't do its work.

table t.dbf: NAME C 6, N N 3
  row pear|2
  del apple|9
  row fig|1
  row apple|3
  row kiwi|2

$ t.dbf /PACK:xyz /TRUNC: /MAKE: /SORT: /SORT:nosuch;NAME /MAKE:nodir/x.dbf /MAKE:t.dbf
> Invalid pack parameter...
> Parameter required for trunc...
> Filename required for make...
> Field[s] required for sort...
> Invalid field[s]...
> Can't create "nodir/x.dbf"
> Can't create "t.dbf"
same t.dbf

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

# A table with memo fields would make a memo file too: one that exists stops it.
# Without memo fields the memo name is nobody's business.
file notes.dbt
> someone's notes
table m.dbf sig=8b: NAME C 6, N N 3, NOTE M 10
  row a|1|
$ m.dbf /MAKE:notes.dbf
> File "notes.dbt" exists, not created
no notes.dbf
same notes.dbt
$ t.dbf /MAKE:notes.dbf /MAKE:notes.dbf
> File "notes.dbf" exists, not created
same notes.dbt
table notes.dbf sig=83 date=today noeof: NAME C 6, N N 3

# The repairs write only when something is wrong, and then stamp the date.
table f.dbf flags=1 cp=65: NAME C 6, N N 3
  row pear|2
table s.dbf sig=99: NAME C 6, N N 3, M M 10
  row a|1

$ f.dbf /CDX /CPZERO
table f.dbf date=today: NAME C 6, N N 3
  row pear|2
$ s.dbf /CHECK
table s.dbf sig=f5 date=today: NAME C 6, N N 3, M M 10
  row a|1
$ t.dbf /CDX /CPZERO /CHECK
same t.dbf

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
