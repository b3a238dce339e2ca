# /FIELD: sets the assignments; /UPDATE applies them to the records of the view,
# /APPEND to new records; +name.dbf imports another table's records by field name.

table t.dbf: NAME C 8, PRICE N 6.2, QTY N 3
  row APPLE|1.50|3
  row PEAR|2.00|5

# An assignment reads the old value; the header stays as it was.
$ t.dbf /FIELD:PRICE=PRICE*2 /UPDATE
table t.dbf: NAME C 8, PRICE N 6.2, QTY N 3
  row APPLE|3.00|3
  row PEAR|4.00|5

# An assignment without '=' is passed over; a later one sees an earlier one; only
# ';' separates, quotes or not.
$ t.dbf /FIELD:x;QTY=1;PRICE=QTY+1;NAME="A;B" /UPDATE /S:*
> A       |  2.00|  1|
> A       |  2.00|  1|

# A record whose list failed (an unknown field, a value that can't be worked out)
# is left as it was, and said so with its number as /RANGE: counts it; every
# number behind a failed one fails too.
$ t.dbf /FIELD:NAME="X";BAD=1;QTY=7 /UPDATE /FIELD:QTY=1+;NAME="FIG";PRICE=2 /UPDATE /S:*
> Invalid field: BAD
> Record 1 not updated
> Invalid field: BAD
> Record 2 not updated
> Error in: 1+
> Error in: 2
> Record 1 not updated
> Error in: 1+
> Error in: 2
> Record 2 not updated
> APPLE   |  1.50|  3|
> PEAR    |  2.00|  5|
same t.dbf

$ t.dbf /FIELD:QTY=10/(QTY-3) /UPDATE /DESC /ORDER:NAME /FIELD:PRICE=PRICE/0 /RANGE:2 /UPDATE /S:*
> Error in: 10/(  3-3)
> Record 1 not updated
> Error in:   1.50/0
> Record 2 not updated
> APPLE   |  1.50|  3|

# A value its field can't hold is not stored: the field keeps what it held, a line
# names it (and the record under /UPDATE), and the rest of the list is written. A
# new record of /APPEND keeps its field blank, also where a number fails.
$ t.dbf /FIELD:PRICE=1000;QTY=QTY-103 /UPDATE /FIELD:PRICE=999.99;QTY=-99 /RANGE:1 /UPDATE /RANGE:all /S:*
> Value not stored: PRICE, record 1
> Value not stored: QTY, record 1
> Value not stored: PRICE, record 2
> APPLE   |999.99|-99|
> PEAR    |  2.00|-98|

$ t.dbf /BLANK /FIELD:NAME="KIWI";PRICE=1000 /APPEND /BLANK /FIELD:NAME="FIG";QTY=QTY+ /APPEND /S:*
> Value not stored: PRICE
> Error in:   0+
> APPLE   |  1.50|  3|
> PEAR    |  2.00|  5|
> KIWI    |  0.00|  0|
> FIG     |  0.00|  0|

table d.dbf: D D 8, T T 8, I I 4, N N 5
  row 20010314|\x59\x68\x25\x00\x00\x00\x00\x00|\x07\x00\x00\x00|1
$ d.dbf /DATE:dmy '/FIELD:D="01.-1.2001";T="31.04.2001 00:00:00";I=3000000000;N=2' /UPDATE /S:*
> Value not stored: D, record 1
> Value not stored: T, record 1
> Value not stored: I, record 1
> 14.03.2001|01.01.2000 00:00:00|         7|    2|

# /UPDATE needs a list; a bad list leaves the last good one; /APPEND: of no
# positive number adds nothing.
$ t.dbf /UPDATE /FIELD:QTY=9 /FIELD:bad /FIELD: /UPDATE /APPEND:0 /APPEND:abc /APPEND:-3 /S:*
> Fields must be specified...
> Invalid condition...
> Invalid condition...
> APPLE   |  1.50|  9|
> PEAR    |  2.00|  9|

# The record list counts through the order and the filter.
$ t.dbf /DESC /ORDER:NAME /RANGE:2 /FIELD:QTY=0 /UPDATE
$ t.dbf /S:*
> APPLE   |  1.50|  0|
> PEAR    |  2.00|  5|

$ t.dbf /FILTER:QTY>3 /RANGE:1 /FIELD:QTY=0 /UPDATE
$ t.dbf /S:*
> APPLE   |  1.50|  3|
> PEAR    |  2.00|  0|

# /APPEND takes a blank record and the list, and stamps the date.
$ t.dbf /FIELD:NAME="KIWI";QTY=2 /APPEND
table t.dbf date=today: NAME C 8, PRICE N 6.2, QTY N 3
  row APPLE|1.50|3
  row PEAR|2.00|5
  row KIWI||2

# /APPEND:N adds N records; /APPEND:BLANK ignores the list; /BLANK makes the next
# record blank; otherwise the last record read is the start; a text without a colon
# counts as none.
$ t.dbf /FIELD:QTY=QTY+1 /APPEND:3 /S:*
> APPLE   |  1.50|  3|
> PEAR    |  2.00|  5|
>         |  0.00|  1|
>         |  0.00|  1|
>         |  0.00|  1|

$ t.dbf /FIELD:QTY=2 /APPEND:BLANK /APPENDX /S:*
> APPLE   |  1.50|  3|
> PEAR    |  2.00|  5|
>         |  0.00|  0|
>         |  0.00|  2|

$ t.dbf /FIELD:QTY=9 /UPDATE /BLANK /APPEND /S:*
> APPLE   |  1.50|  9|
> PEAR    |  2.00|  9|
>         |  0.00|  9|

$ t.dbf /FIELD:QTY=QTY+1 /UPDATE /APPEND /S:*
> APPLE   |  1.50|  4|
> PEAR    |  2.00|  6|
> PEAR    |  2.00|  7|

# A value that outgrows the 65536-byte working buffer is not stored in pieces: it
# is reported like a value that can't be evaluated, and the record stays.
table w.dbf: BIG C 40000, QTY N 3
  row \{x*40000}|1
$ w.dbf '/FIELD:BIG=BIG BIG;QTY=2' /UPDATE
> Error in: \{x*40000} \{x*25534} (esc)
> Record 1 not updated
same w.dbf

# A new record's date-time of eight bytes is binary zeros, one of fourteen blanks.
table s.dbf sig=30: T T 8, U T 14
$ s.dbf /APPEND:1 /COUNT
> 1
table s.dbf sig=30 date=today: T T 8, U T 14
  row \0\0\0\0\0\0\0\0|
