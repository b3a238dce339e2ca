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
# ';' separates, quotes or not; an unknown field is reported for each record.
$ t.dbf /FIELD:x;QTY=1;PRICE=QTY+1;NAME="A;B";BAD=1 /UPDATE /S:*
> Invalid field: BAD
> Invalid field: BAD
> A       |  2.00|  1|
> A       |  2.00|  1|

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
# is reported like a value that can't be evaluated, and the field stays blank.
table w.dbf: BIG C 40000, QTY N 3
  row \{x*40000}|1
$ w.dbf '/FIELD:BIG=BIG BIG;QTY=2' /UPDATE
> Error in: \{x*40000} \{x*25534} (esc)
table w.dbf: BIG C 40000, QTY N 3
  row |2

