# The command line: the usage, the loop that replays the parameters for each table,
# and the messages that end the run.

table a.dbf: NAME C 10
  row 0
  row 1
  row 2

table b.dbf: NAME C 10
  row 0
  row 1

table header.dbf header=64: A C 1

table fields.dbf: A X 1, B Z 1, C Q 1

# The usage: with no argument, or first among other parameters, and after a table,
# where the run goes on; -H and /h are no early parameters.
$
> TRUG Command Line utility. Version 1.05
...
$ -H a.dbf
$ /count a.dbf
$ a.dbf /? /h /COUNT
> TRUG Command Line utility. Version 1.05
...
> Unknown function: [h].
> 3

# --help as the only argument is the usage; with more behind it, a parameter.
$ --help
> TRUG Command Line utility. Version 1.05
...
$ --help a.dbf
$ --version a.dbf

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
