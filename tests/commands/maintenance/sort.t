# /SORT: rewrites the table in the order of its keys, deleted records included,
# through a temporary copy; the original becomes the backup t.bak beside it.
# Whatever goes wrong, the table stays whole.

table t.dbf: NAME C 6, N N 3
  row pear|2
  del apple|9
  row fig|1
  row apple|3
  row kiwi|2

# The copy's signature follows its memo family; the table keeps its permissions.
chmod 600 t.dbf
$ t.dbf /SORT:NAME /COUNT
> 5
table t.dbf sig=83 date=today: NAME C 6, N N 3
  del apple|9
  row apple|3
  row fig|1
  row kiwi|2
  row pear|2
mode 600 t.dbf
copy t.dbf t.bak
no t.tmp

# Keys separated by ',' or ';', up to an unknown name; filter and order are dropped.
$ t.dbf /SORT:N,nosuch;NAME /S:*
> fig   |  1|
> pear  |  2|
> kiwi  |  2|
> apple |  3|
> apple |  9|

$ t.dbf /FILTER:N=2 /ORDER:N /SORT:NAME /S:*
> apple |  9|
> apple |  3|
> fig   |  1|
> kiwi  |  2|
> pear  |  2|

# A new table of this field would have records of 1 byte.
table z.dbf reclen=2 count=2: NAME C 0
  patch 65 \x20\x20\x20\x20\x1A
$ z.dbf /SORT:NAME
> Can''t open temporary file...
same z.dbf
no z.tmp

# Two tables of one name in two directories keep a backup each, beside the table;
# a backup in the working directory is none of theirs.
table a/t.dbf: NAME C 6, N N 3
  row pear|2
  row fig|1
table b.d/t.dbf: NAME C 6, N N 3
  row plum|1
  row date|2
file t.bak
> an older backup
$ a/t.dbf b.d/t.dbf /SORT:NAME /S:NAME
> fig   |
> pear  |
> date  |
> plum  |
copy a/t.dbf a/t.bak
copy b.d/t.dbf b.d/t.bak
same t.bak
no t.tmp a/t.tmp b.d/t.tmp b.bak
