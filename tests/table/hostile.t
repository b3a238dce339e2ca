# Files that claim more than they hold: a header counting four billion records, a
# memo block whose length word says four gigabytes. The program answers from what
# the files really hold, and its memory stays near that of a plain run.

table t.dbf count=4294967295: A C 3
  row abc
$ t.dbf /COUNT /S:*
> 1
> abc|
memory 64

table t.dbf count=4294967295 header=65535 reclen=65535: A C 3
  row abc
$ t.dbf /COUNT /S:*
> 0
memory 64

# FoxPro: next free block 2, blocks of 64 bytes; block 1 says 0xFFFFFFF0 bytes.
table t.dbf sig=f5: NAME C 4, NOTE M 10
  row a|1
file t.fpt
> \0\0\0\x02\0\0\0\x40\{\0*56}\0\0\0\x01\xFF\xFF\xFF\xF0text (esc) (no-eol)
$ t.dbf /MEMO:text /S:*
> a   ||
memory 64

# dBase IV: blocks of 512 bytes; block 1 says 0x7FFFFFFF bytes.
table t.dbf sig=8b: NAME C 4, NOTE M 10
  row a|1
file t.dbt
> \x02\0\0\0\{\0*14}\x02\x01\x00\x02\{\0*490}\xFF\xFF\x08\x00\xFF\xFF\xFF\x7Ftext (esc) (no-eol)
$ t.dbf /MEMO:text /S:*
> a   ||
memory 64
