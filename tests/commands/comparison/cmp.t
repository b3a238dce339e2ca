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

# A bare /CMP gives the facts only; a colon without letters nothing at all. The
# character behind CMP is passed over unread. Upper-case letters are none, and
# close the comparison all the same; letters count anywhere in the text.
$ t.dbf /CMP:b.dbf /CMP
> File: t.dbf                          | File: b.dbf                         
...
> Record length:        17             | Record length:        17
>
$ t.dbf /CMP:b.dbf /CMP: /COUNT
> 2
$ t.dbf /CMP=b.dbf /cmp:I /CMP:b.dbf /CMP:xxsyy
> A           Character       3     |==| A           Character       3   
> N           Numeric         5  2  |==| N           Numeric         5  2
> D           Date            8     |==| D           Date            8   
$ t.dbf /CMP /COUNT
> Can't open  (no-eol)
[1]
$ t.dbf /CMP:nosuch.dbf /COUNT
> Can't open nosuch.dbf (no-eol)
[1]

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

# Fields pair by name in any case: the same (==), of another size or decimals (~=),
# of another type (<>), at another place in the record (= ), or missing (--).
table s1.dbf: A C 3, X C 10, N N 5.2, T C 3, P C 2, Q C 2, W C 300, B L 1
table s2.dbf: A C 3, x C 12, N N 5, T N 3, Q C 2, P C 2, W C 44, C M 10
$ s1.dbf /CMP:s2.dbf /CMP:s
> A           Character       3     |==| A           Character       3   
> X           Character      10     |~=| x           Character      12   
> N           Numeric         5  2  |~=| N           Numeric         5  0
> T           Character       3     |<>| T           Numeric         3  0
> P           Character       2     |= | P           Character       2   
> Q           Character       2     |==| Q           Character       2   
> W           Character      44     |~=| W           Character      44   
> B           Logical         1     |--| -                             
> -                                 |--| C           Memo           10   

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

# Records pair by position, fields by name. Numbers compare as numbers, texts
# exactly but for trailing blanks, a number and a text as shown; values print cut
# to 20 characters.
table d1.dbf: K C 1, A C 3, N N 5.2, M N 5.2, S C 5, V N 5.2, L C 25
  row a|abc|1.50|2.00|ab|1.50|abcdefghijklmnopqrstuvwxy
  row c
table d2.dbf: L C 25, V C 5, S C 3, M N 5.2, N N 6.1, A C 3, K C 1
  row abcdefghijklmnopqrstuvwxz|1.50|ab|2.50|1.5|abd|a
$ d1.dbf /CMP:d2.dbf /CMP:c
>   d1.dbf           0: A          (C) 'abc'
> <>d2.dbf           0: A          (C) 'abd'
>
>   d1.dbf           0: M          (N) 2.000000
> <>d2.dbf           0: M          (N) 2.500000
>
>   d1.dbf           0: V          (N) ' 1.50'
> <>d2.dbf           0: V          (C) '1.50'
>
>   d1.dbf           0: L          (C) 'abcdefghijklmnopqrst'
> <>d2.dbf           0: L          (C) 'abcdefghijklmnopqrst'
>
> EOF found: d2.dbf
$ t.dbf /CMP:t.dbf /CMP:c

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

# A memo against a character field is refused, once per report.
table mc.dbf sig=83: NOTE M 10, A C 3
  memo dbt3
  row {text}|abc
  row 0|def
table cc.dbf: NOTE C 10, A C 3
  row text|abc
  row |xyz
$ mc.dbf /CMP:cc.dbf /CMP:c
> Can't compare mc.dbf: NOTE (Memo) with cc.dbf: NOTE (Character)
>
>   mc.dbf           1: A          (C) 'def'
> <>cc.dbf           1: A          (C) 'xyz'
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

# The record counts: a filter given before the opening narrows the current table,
# one given between narrows both; hidden deleted records likewise.
table h.dbf: K N 2
  row 1
  del 2
  row 3
  row 4
  row 9
$ f1.dbf /CMP:h.dbf /FILTER:K<5 /CMP
...
> Record count:          3             | Record count:          4
...
$ f1.dbf /FILTER:K<5 /CMP:h.dbf /CMP
...
> Record count:          3             | Record count:          5
...
$ f1.dbf /DELETED- /CMP:h.dbf /CMP
...
> Record count:          4             | Record count:          4
...
