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

