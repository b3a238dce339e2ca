# Writes stay within what was asked. Where a damaged header would send them past
# the end of a file, appends, imports, listings into the table and cuts change
# nothing, and each says why in one line.

# A record length the fields disagree with: records written at the header's length
# would count as many more of the fields' length at the next open.
table t.dbf reclen=9: A C 3
  row abc
$ t.dbf /APPEND:2 /TRUNC:5 /ZAP +t.dbf /OUT:t.dbf /S:* /COUNT
> Can't change "t.dbf": its header's record length 9 disagrees with its fields' 4
> Can't change "t.dbf": its header's record length 9 disagrees with its fields' 4
> Can't change "t.dbf": its header's record length 9 disagrees with its fields' 4
> Can't change "t.dbf": its header's record length 9 disagrees with its fields' 4
> Can't change "t.dbf": its header's record length 9 disagrees with its fields' 4
> 1
[1]
same t.dbf

# A header length past the end of the file.
table t.dbf header=4000: A C 3
  row abc
$ t.dbf /APPEND /CHECK /COUNT
> Can't change "t.dbf": its header places the records past the end of the file
> 0
same t.dbf

# A memo file whose next free block lies far past its end: a command that would
# store a memo text changes nothing; one that stores none goes ahead.
table t.dbf sig=f5: NAME C 4, NOTE M 10
  row a|8
file t.fpt
> \x7A\x60\x00\x19\0\0\0\x40\{\0*504}\0\0\0\x01\0\0\0\x04text (esc) (no-eol)
$ t.dbf /FIELD:NOTE="new" /UPDATE /APPEND +t.dbf /FIELD:NAME="b" /APPEND /COUNT
> Can't change "t.dbf": the header of "t.fpt" names no free block within the file
> Can't change "t.dbf": the header of "t.fpt" names no free block within the file
> Can't change "t.dbf": the header of "t.fpt" names no free block within the file
> 2
same t.fpt

# A table listed into itself adds the records it had when the listing began.
table t.dbf: A C 3
  row abc
  row def
$ t.dbf /OUT:t.dbf /S:*
table t.dbf date=today: A C 3
  row abc
  row def
  row abc
  row def
