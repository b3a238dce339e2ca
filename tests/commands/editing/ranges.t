# Record lists: /DELETE: and /RECALL: set and clear the deletion marks of the
# records they name, /RANGE: chooses the records of the listings and updates behind
# it. Numbers count the records of the view from 1; "all" counts only first.

table t.dbf: NAME C 3
  row a
  row b
  row c
  row d
  row e

# Only the mark bytes change; the header keeps its date. Numbers past the end are
# passed over.
$ t.dbf /DELETE:2,4-9,99 /RECALL:5 /DELETE: /RECALL: /RANGE:
> Parameter required for delete...
> Parameter required for recall...
> Parameter required for range...
table t.dbf: NAME C 3
  row a
  del b
  row c
  del d
  row e

# "all" later in a list is nothing, and so is a range without its end.
$ t.dbf /DELETE:3,all /DELETE:1;5-
$ t.dbf /DEL /S:*
> *|a  |
>  |b  |
> *|c  |
>  |d  |
>  |e  |

