# The command line: parameters that answer before any table, the loop that replays
# the parameters for each table, dispatch by keyword prefix, and the messages that
# end the run.

table a.dbf: NAME C 10, AGE N 3
  row 0|0
  row 1|1
  row 2|2

table b.dbf: NAME C 10, AGE N 3
  row 0|0
  row 1|1

# The usage: with no argument, with -h first (only the h of -help counts), for a
# table without parameters, and after a table, where the run goes on; -H and /h
# are no early parameters.
$
> TRUG Command Line utility. Version 1.05
...
$ -help a.dbf
> TRUG Command Line utility. Version 1.05
...
$ nosuch.dbf
> TRUG Command Line utility. Version 1.05
...
$ -H a.dbf
$ /count a.dbf
$ a.dbf /? /h /COUNT
> TRUG Command Line utility. Version 1.05
...
> Unknown function: [h].
> 3

# The version answers once before any table, once per table after one.
$ /VERSIONS x y
> Version 1.05 compiled at * (glob)
$ a.dbf b.dbf -version
> Version 1.05 compiled at * (glob)
> Version 1.05 compiled at * (glob)

# Each table replays the parameters; settings stay for the tables behind.
$ a.dbf b.dbf /COUNT /NAME
> 3
>        2|b.dbf
$ a.dbf /count b.dbf
> 3
> Unknown function: [b.dbf].
$ a.dbf /NAME /COUNT /NAME- /COUNT -
>        3|a.dbf
> 3
> Unknown function: [].

# Keywords match by prefix, in any case; those that take a text need their colon.
# Keys of the settings file are no unknown functions.
$ a.dbf /Normal=abc -uppercase=ABC TableOEM=x /cOuNt /COUNTING hello
> 3
> 3
> Unknown function: [hello].
$ a.dbf /SELECT /CALC
> Unknown function: [SELECT].
> Unknown function: [CALC].
$ a.dbf /DATE /DATE: /DATE:ab /DATE:dmy /DATE:MDY /date:Ymd /DATE:asis /DATE:a /DATE=- /TRIM /TRIM:all /TRIM:middle
> Unknown date format: .
> Unknown date format: .
> Unknown date format: ab.

table header.dbf header=64: A C 1

table fields.dbf: A X 1, B Z 1, C Q 1

file empty.dbf
> \{\0*32} (esc) (no-eol)

# A table that can't be opened ends the run, after the tables before it.
$ a.dbf nosuch.dbf b.dbf /COUNT
> 3
> Can't open nosuch.dbf (no-eol)
[1]
$ header.dbf /COUNT
> Invalid header... header.dbf (no-eol)
[1]
$ fields.dbf /COUNT
> Field definition error... fields.dbf (no-eol)
[1]
$ empty.dbf /COUNT
> Invalid header... empty.dbf (no-eol)
[1]
$ \{x*300} /COUNT
> Can't open \{x*300} (esc) (no-eol)
[1]
