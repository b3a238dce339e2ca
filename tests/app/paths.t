# Absolute paths: before the first parameter an argument that starts with '/' and
# names an existing file is a table, every other one a parameter; names given to
# parameters take absolute paths as they take any other.

table a.dbf: NAME C 10, AGE N 3
  row 0|0
  row 1|1
  row 2|2

table b.dbf: NAME C 10, AGE N 3
  row 0|0
  row 1|1
  row 2|2
  row 3|3
  row 4|4

copy a.dbf h/a.dbf
copy a.dbf h/version

file h/c.lst
> /COUNT

# An absolute table alone shows the usage, as any table alone does; behind the
# first parameter an absolute path is a parameter; a directory whose name begins
# with h is no /H.
$ ~/a.dbf
> TRUG Command Line utility. Version 1.05
...
$ ~/a.dbf b.dbf ~/b.dbf /NAME /COUNT
>        3|~/a.dbf
>        5|b.dbf
>        5|~/b.dbf
$ a.dbf /COUNT ~/b.dbf
> 3
> Unknown function: [~/b.dbf].
$ ~/nosuch.dbf /COUNT
$ ~/ /COUNT
$ ~/h/a.dbf /COUNT
> 3
$ ~/h/version /COUNT
> 3
$ a.dbf /OUT:~/h/x.txt /S:NAME /STRUCT:~/h/s.txt @~/h/c.lst
> 3
file h/x.txt
> 0         |
> 1         |
> 2         |
file h/s.txt
...
> Record count\t\t:\t         3 (esc)
...
$ a.dbf /CMP:~/b.dbf /CMP: +~/b.dbf /MAKE:~/h/new.dbf /COUNT
> 8
$ h/new.dbf /COUNT
> 0
