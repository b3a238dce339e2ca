# Listings on the screen and into text files: /SELECT: lists the chosen fields of
# each record, in the browse layout (one line per record) or the fields layout (one
# line per field), with or without deletion marks, file name and header row.

table t.dbf: A C 3, N N 5.2, D D 8
  row ab |1.5|20010314

table d.dbf: A C 3, N N 5.2, D D 8
  row ab |1.5|20010314
  del cd|-2|19991231

table e.dbf: LONGNAME C 2, N N 5.2

# Only the star of /S:* counts. Each setting holds for the listings behind it. The
# header row pads to the display width but never cuts a name.
$ t.dbf /S:*x /select:* /FIELDS /NAME /S:* /BROWSE /S:*
> ab | 1.50|20010314|
> ab | 1.50|20010314|
> A         |ab 
> N         | 1.50
> D         |20010314
> t.dbf
>
> ab | 1.50|20010314|t.dbf
$ d.dbf /S:A /HDR /S:* /DEL /S:* /FIELDS /S:* /DEL- /S:A
> ab |
> cd |
> A  |N    |D       |
> ab | 1.50|20010314|
> cd |-2.00|19991231|
> *|A  |N    |D       |
>  |ab | 1.50|20010314|
> *|cd |-2.00|19991231|
> *         | 
> A         |ab 
> N         | 1.50
> D         |20010314
>
> *         |*
> A         |cd 
> N         |-2.00
> D         |19991231
>
> A         |ab 
>
> A         |cd 
>
$ e.dbf /S:* /HDR /S:*
> LONGNAME|N    |


# Fields in the chosen order, by any case, ';' or ',' between; the list ends at an
# unknown name.
$ t.dbf /SELECT:N;A;N /SELECT:d,a /SELECT:A;nosuch;N /SELECT:nosuch;A /SELECT:
>  1.50|ab | 1.50|
> 20010314|ab |
> ab |
> Invalid field[s]...
> Field[s] required for select...

# A text file takes the listing as the screen would show it, behind what the file
# holds; a new one gets the mode of the umask. The name's end may be in any case.
file x.txt
> before
$ t.dbf /OUT:x.txt /S:* /S:A /OUT:X.TXT /HDR /S:A
file x.txt
> before
> ab | 1.50|20010314|
> ab |
file X.TXT
> A  |
> ab |
mode 664 X.TXT

# An unknown end keeps the screen; so does /OUT without a name, or with a text
# that is not one.
$ t.dbf /OUT:x.xml /S:A /OUT:x.txt /OUT /S:A /OUT:y.txt /OUTPUT:z.txt /S:A
> Invalid output format...
> ab |
> ab |
> ab |
no x.xml z.txt

# A target that can't be opened is reported at each listing, and nothing is made.
mkdir d.sql
$ t.dbf /OUT:nodir/x.htm /S:* /S:A /OUT:d.sql /S:A /OUT:x.txt /S:A
> Can't open nodir/x.htm
> Can't open nodir/x.htm
> Can't open d.sql
file x.txt
> ab |
no nodir

# A header without descriptors, padded to the least accepted length.
table n.dbf extra=\{\0*32} reclen=2 noeof:
  row
  row
$ n.dbf /S:*
>
>
