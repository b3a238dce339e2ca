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
