# /CMP:other.dbf opens a comparison with the current table; a closing /CMP[:letters]
# reports: i the facts of both files, s their structures, c their records.

table t.dbf: A C 3, N N 5.2, D D 8
  row abc|1.50|20010314
  row xyz|2.00|20010315

table b.dbf sig=f5 date=2002-07-09: A C 3, N N 5.2, D D 8
  row abc|1.50|20010314
  row xyw|2.00|20010315
  row new|3.00|20010316

# The reports come in a fixed order whatever the order of the letters.
$ t.dbf /CMP:b.dbf /CMP:csi
> File: t.dbf                          | File: b.dbf                         
> Type: dBase III                      | Type: FoxPro                        
> Last updated: 03.14.2001             | Last updated: 07.09.2002
> File size:           164             | File size:           181
> Header size:         129             | Header size:         129
> Record count:          2             | Record count:          3
> Field count:           3             | Field count:           3
> Record length:        17             | Record length:        17
>
> A           Character       3     |==| A           Character       3   
> N           Numeric         5  2  |==| N           Numeric         5  2
> D           Date            8     |==| D           Date            8   
>   t.dbf            1: A          (C) 'xyz'
> <>b.dbf            1: A          (C) 'xyw'
>
> EOF found: t.dbf

# Names show from behind the last backslash; a slash means nothing here.
copy b.dbf dir\\b.dbf
copy b.dbf sub/b.dbf
$ t.dbf /CMP:dir\\b.dbf /CMP:ic
> File: t.dbf                          | File: b.dbf                         
...
> <>b.dbf            1: A          (C) 'xyw'
...
$ t.dbf /CMP:sub/b.dbf /CMP
> File: t.dbf                          | File: sub/b.dbf                     
...

# A field missing on either side is marked --; an empty table ends the records at
# once.
table m.dbf: A C 3, N N 5.2, D D 8, E C 3
$ t.dbf /CMP:m.dbf /CMP:s
> A           Character       3     |==| A           Character       3   
> N           Numeric         5  2  |==| N           Numeric         5  2
> D           Date            8     |==| D           Date            8   
> -                                 |--| E           Character       3   
$ m.dbf /CMP:t.dbf /CMP:sc
> A           Character       3     |==| A           Character       3   
> N           Numeric         5  2  |==| N           Numeric         5  2
> D           Date            8     |==| D           Date            8   
> E           Character       3     |--| -                             
> EOF found: m.dbf

# dBase III memos: the field holds the block number as text, 0 for none.
table t3.dbf sig=83: NOTE M 10
  memo dbt3
  row {second}
  row 0
  row {fourth}
  row 0
  row {a long memo text that differs here: A}
table b3.dbf sig=83: NOTE M 10
  memo dbt3
  row {other}
  row {third}
  row
  row
  row {a long memo text that differs here: B}
$ t3.dbf /CMP:b3.dbf /CMP:c
>   t3.dbf      : NOTE - 'second'
> <> b3.dbf      : NOTE - 'other'
>
> t3.dbf      : NOTE - '<empty>' <> b3.dbf      : NOTE - 'third'
>
> t3.dbf      : NOTE - 'fourth' <> b3.dbf      : NOTE - '<empty>'
>
>   t3.dbf      : NOTE - 'a long memo text tha'
> <> b3.dbf      : NOTE - 'a long memo text tha'
>

# The comparison table takes the settings of the current one when it opens.
table dt.dbf: D D 8
  row 20010314
copy dt.dbf db.dbf
$ dt.dbf /DATE:dmy /CMP:db.dbf /CMP:c
$ dt.dbf /CMP:db.dbf /DATE:dmy /CMP:c
>   dt.dbf           0: D          (D) '14.03.2001'
> <>db.dbf           0: D          (D) '20010314'
>
$ dt.dbf /DATE:dmy /DATE:- /CMP:db.dbf /CMP:c
>   dt.dbf           0: D          (D) '14-03-2001'
> <>db.dbf           0: D          (D) '14.03.2001'
>

# Filter and order act on both tables; each line shows its own table's position.
table f1.dbf: K N 2, A C 3
  row 3|ccc
  row 1|aaa
  row 2|bbb
  row 9|zzz
table f2.dbf: K N 2, A C 3
  row 1|aaa
  row 9|yyy
  row 2|bXb
  row 3|ccc

$ f1.dbf /CMP:f2.dbf /FILTER:K<5 /ORDER:K /CMP:c
>   f1.dbf           2: A          (C) 'bbb'
> <>f2.dbf           1: A          (C) 'bXb'
>
$ f1.dbf /CMP:f2.dbf /ORDER:K /CMP:c
>   f1.dbf           2: A          (C) 'bbb'
> <>f2.dbf           2: A          (C) 'bXb'
>
>   f1.dbf           3: A          (C) 'zzz'
> <>f2.dbf           1: A          (C) 'yyy'
>

