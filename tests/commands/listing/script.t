# Listings into program scripts (.prg, .fox): the table is used, each record
# appended and filled by field name, and the table closed.

table t.dbf: A C 3, N N 5.2, D D 8
  row ab |1.5|20010314

table e.dbf: A C 3, N N 5.2, D D 8

$ t.dbf /OUT:x.prg /S:*
file x.prg
> use t.dbf
> append blank
> replace ;
> 	A with "ab ", ;
> 	N with  1.50, ;
> 	D with ctod("20010314")
> use	&&	t.dbf
>
$ e.dbf /OUT:y.prg /S:*
file y.prg
> use e.dbf
> use	&&	e.dbf
>
