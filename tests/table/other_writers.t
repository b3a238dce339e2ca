# Tables as other programs write them: memo files named in another case,
# descriptors ended by 0x0A, tables of a header alone, a record length the fields
# contradict.

table src.dbf sig=83: NAME C 5, NOTE M 10
  memo dbt3
  row ann|{upper}
table fox.dbf sig=f5: NAME C 5, NOTE M 10
  memo fpt 64
  row ann|{fox}
table other.dbf sig=83: NAME C 5, NOTE M 10
  memo dbt3
  row ann|{other}

# A memo file named in another case than the table's name gives is read: first the
# one in the table's own extension case, then any other, the first in byte order.
copy fox.dbf T.Dbf
copy fox.fpt T.Fpt
$ T.Dbf /MEMO:text /S:NOTE
> fox|

copy src.dbf T.DBF
copy src.dbt T.dbt
copy other.dbt T.DBT
copy src.dbf staff.DBF
copy src.dbt staff.DBT
copy other.dbt Staff.dbt
copy src.dbf T3.dbf
copy other.dbt t3.dbt
copy src.dbt T3.Dbt
copy src.dbf U.DBF
copy src.dbt U2.DBT
$ T.DBF staff.DBF T3.dbf U.DBF /MEMO:text /S:NOTE
> upper|
> upper|
> upper|
> |

# Shapefile writers end the descriptors with 0x0A.
table lf.dbf: ID N 3, NAME C 4
  row 1|ab
  row 22|cd
  patch 96 \x0A
$ lf.dbf /COUNT /S:*
> 2
>   1|ab  |
>  22|cd  |

# For layers without attributes they write a header and a terminator alone: no
# fields and no records.
table e.dbf date=1995-07-26 noeof:
$ e.dbf /COUNT /S:* /HDR /S:*
> 0
>

# A header whose record length disagrees with the fields is read with the fields'
# length where the file size sides with them, and /CHECK writes that length back;
# a size that fits neither keeps the header's.
table r.dbf reclen=7: ID N 3, NAME C 4
  row 1|ab
  row 2|cd
  row 3|ef
table x.dbf reclen=7 noeof: ID N 3, NAME C 4
  row 1|ab
  row 2|cd
  row 3|ef
  patch 121 xyz
$ r.dbf /COUNT /S:*
> 3
>   1|ab  |
>   2|cd  |
>   3|ef  |
same r.dbf
$ r.dbf /CHECK
table r.dbf date=today: ID N 3, NAME C 4
  row 1|ab
  row 2|cd
  row 3|ef
$ x.dbf /COUNT /S:ID
> 3
>   1|
>   0|
>   0|
