# List files (@name.lst) and the settings file beside the program: each line is a
# parameter, read where the list is named.

table a.dbf
  fields NAME C 10
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
> @nested.lst
> @missing.lst
> /NAME
> /COUNT (no-eol)
file nested.lst
> /DATE:zz
> @deeper.lst (no-eol)
file deeper.lst
> /hdr
> /BOGUS
$ a.dbf @main.lst @absent.lst /COUNT
> 3
> 3
> 3
> Unknown date format: dmy\r. (esc)
> Unknown date format: zz.
> Unknown function: [BOGUS].
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

# Lists nest 16 deep.
file l0.lst
> @l1.lst
file l1.lst
> @l2.lst
file l2.lst
> @l3.lst
file l3.lst
> @l4.lst
file l4.lst
> @l5.lst
file l5.lst
> @l6.lst
file l6.lst
> @l7.lst
file l7.lst
> @l8.lst
file l8.lst
> @l9.lst
file l9.lst
> @l10.lst
file l10.lst
> @l11.lst
file l11.lst
> @l12.lst
file l12.lst
> @l13.lst
file l13.lst
> @l14.lst
file l14.lst
> @l15.lst
file l15.lst
> @l16.lst
file l16.lst
> @l17.lst
$ a.dbf @l0.lst
> Can't open file: l16.lst

# The settings file runs for each table before the command line.
table b.dbf
  fields NAME C 10
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

file trugtool.ini
> /COUNT
$ a.dbf b.dbf
> 3
> 2
