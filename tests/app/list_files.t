# List files (@name.lst) and the settings file beside the program: each line is a
# parameter, read where the list is named.

table a.dbf: NAME C 10
  row 0
  row 1
  row 2

# Blank lines and lines starting with ';' or a blank are comments; a parameter
# needs no mark; a carriage return stays part of the line; a list that can't be
# opened is reported where it is named.
file main.lst
> ; a comment
>  /COUNT indented lines are comments too
>
> /COUNT
> -count
> COUNT
> /DATE:dmy\r (esc)
> @missing.lst
> /NAME
> /COUNT (no-eol)
$ a.dbf @main.lst @absent.lst /COUNT
> 3
> 3
> 3
> Unknown date format: dmy\r. (esc)
> Can't open file: missing.lst
>        3|a.dbf
>        3|a.dbf

file long.lst
> \{q*1500} (esc)
$ a.dbf @long.lst
> Unknown function: [\{q*1023}]. (esc)
> Unknown function: [\{q*477}]. (esc)

# A list already open is not opened again, by whatever name.
file self.lst
> /COUNT
> @self.lst
> @./self.lst
file x.lst
> @y.lst
> @y.lst
> /COUNT
file y.lst
> @x.lst
$ a.dbf @self.lst @x.lst
> 3
> Can't open file: self.lst
> Can't open file: ./self.lst
> Can't open file: x.lst
> Can't open file: x.lst
> 3

# The settings file runs for each table before the command line.
table b.dbf: NAME C 10
  row 0
  row 1

file trugtool.ini
> ; settings
> Normal=abc
> Normal=xyz
> /NAME
> /COUNT
$ a.dbf b.dbf /NAME- /COUNT
>        3|a.dbf
> 3
>        2|b.dbf
> 2
