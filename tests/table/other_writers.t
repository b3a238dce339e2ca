# Tables as other programs write them: memo files named in another case,
# descriptors ended by 0x0A, tables of a header alone, a record length the fields
# contradict, dates of every year.

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
copy src.dbf STAFF3.DBF
copy src.dbt STAFF3.DBT
$ STAFF3.DBF /MEMO:text /S:*
> ann  |upper|

copy src.dbf STAFF3.DBF
copy src.dbt Staff3.Dbt
$ STAFF3.DBF /MEMO:text /S:NOTE
> upper|

copy fox.dbf memotest.dbf
copy fox.fpt memotest.FPT
copy fox.dbf T.Dbf
copy fox.fpt T.Fpt
copy fox.dbf sub/T.DBF
copy fox.fpt sub/T.FPT
$ memotest.dbf T.Dbf sub/T.DBF /MEMO:text /S:NOTE
> fox|
> fox|
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

# Texts go to the file found, a pack rebuilds it under its name, and tables the
# program makes get lower-case memo names.
copy src.dbf T.DBF
copy src.dbt T.DBT
$ T.DBF '/FIELD:NOTE="more"' /APPEND /MEMO:text /S:NOTE
> upper|
> more|
no T.dbt
$ T.DBF /DELETE:2 /PACK /MEMO:text /S:NOTE
> upper|
no T.dbt
$ T.DBF /MAKE:NEW.DBF /OUT:OUT.DBF /MEMO:text /S:*
no NEW.DBT OUT.DBT
$ OUT.DBF /MEMO:text /S:NOTE
> upper|

# Shapefile writers end the descriptors with 0x0A.
table lf.dbf: ID N 3, NAME C 4
  row 1|ab
  row 22|cd
  patch 96 \x0A
$ lf.dbf /COUNT /S:* /STRUCT:s.sql
> 2
>   1|ab  |
>  22|cd  |
file s.sql
> CREATE TABLE "lf.dbf" (
> 	ID          Numeric(3),
> 	NAME        Character(4)
> 	);
>

# For layers without attributes they write a header and a terminator alone: no
# fields and no records, through every command.
table e.dbf date=1995-07-26 noeof:
$ e.dbf /COUNT /S:* /HDR /S:*
> 0
>
$ e.dbf /STRUCT
>
> Database name		:	e.dbf
> Type			:	dBase III
> Last updated (m-d-y)	:	07-26-1995
> File size		:	        33
> Header size		:	        33
> Record count		:	         0
> Field count		:	         0
> Record length		:	         1
>
> Name        Type          Length
$ e.dbf /ORDER:X /FILTER:1=1 /COUNT /FIELD:X=1 /UPDATE /PACK /SORT:X /COUNT
> Invalid field[s]...
> 0
> Invalid field[s]...
> 0
same e.dbf
$ e.dbf /CMP:e.dbf /CMP:sc /OUT:o.dbf /S:* /OUT:o.sql /S:*
file o.sql
$ o.dbf /COUNT
> 0

# Records of such a table are deletion marks alone; an end mark is no record.
table m.dbf:
  row
  row
  del
table n.dbf:
$ m.dbf n.dbf /COUNT /DEL /S:* /DELETED- /COUNT
> 3
>  |
>  |
> *|
> 2
> 0
> 0
$ n.dbf /APPEND:2
$ n.dbf /COUNT /OUT:o.dbf /S:*
> 2
$ o.dbf /COUNT
> 2

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
$ r.dbf /STRUCT
...
> Record length		:	         8
...
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

# Every date of the years 1 to 9999 shows in every date mode, and counts as such in
# orders, conditions and comparisons; blank and impossible dates stay blank, and a
# date the calendar carries over shows its stored numbers.
table d.dbf: D D 8, T T 14
  row 15670704|18991230133538
  row 20400301|99991231235959
  row |
  row 00001231|00000101000000
  row 20010230|20010230250000
  row 00010101|19691231235959
table u.dbf: D D 8, T T 14
  row 15680704|18991230133538
  row 20400301|99991231235959
  row |
  row 00001231|00000101000000
  row 20010230|20010230250000
  row 00010101|19691231235959
$ d.dbf /DATE:dmy /S:*
> 04.07.1567|30.12.1899 13:35:38|
> 01.03.2040|31.12.9999 23:59:59|
>           |                   |
>           |                   |
> 30.02.2001|30.02.2001 25:00:00|
> 01.01.0001|31.12.1969 23:59:59|
$ d.dbf /DATE:mdy /RANGE:1,2 /S:*
> 07.04.1567|12.30.1899 13:35:38|
> 03.01.2040|12.31.9999 23:59:59|
$ d.dbf /DATE:ymd /DATE:- /RANGE:1,6 /S:*
> 1567-07-04|1899-12-30 13:35:38|
> 0001-01-01|1969-12-31 23:59:59|
$ d.dbf /RANGE:1,4 /S:*
> 15670704|18991230133538|
>         |                   |
$ d.dbf /ORDER:D /S:D /DESC /DATE:dmy /ORDER:T /S:T
>         |
>         |
> 00010101|
> 15670704|
> 20010230|
> 20400301|
> 31.12.9999 23:59:59|
> 30.02.2001 25:00:00|
> 31.12.1969 23:59:59|
> 30.12.1899 13:35:38|
>                    |
>                    |
$ d.dbf '/FILTER:D<"19000101"' /S:D
> 15670704|
>         |
>         |
> 00010101|
$ d.dbf /DATE:dmy /CMP:u.dbf /CMP:c
>   d.dbf            0: D          (D) '04.07.1567'
> <>u.dbf            0: D          (D) '04.07.1568'
>
