# +name.dbf appends the records of another table, field by field of the same name
# in any case; numbers and texts cross both ways.

table src.dbf: A C 4, B N 5.1, C2N C 6, N2C N 6.2
  row x|1.5|12.5|3.25
  del y|-2.0|abc|-1
table dst.dbf: B N 5.1, C C 3, c2n N 5.1, N2C C 4
  row 9.0|zz||

# A is dropped and C stays blank; the deleted record arrives undeleted; a blank
# number reads as 0. A table imported into itself gives the records it had when
# the import began; a missing table is passed over.
$ dst.dbf +src.dbf +missing.dbf +dst.dbf
table dst.dbf date=today: B N 5.1, C C 3, c2n N 5.1, N2C C 4
  row 9.0|zz||
  row 1.5||12.5|3.25
  row -2.0||0.0|-1.0
  row 9.0|zz|0.0|
  row 1.5||12.5|3.25
  row -2.0||0.0|-1.0

# Memo texts cross to another memo family, and between memo and character fields.
table ms.dbf sig=83: NOTE M 10, TEXT C 6, SHORT M 10
  memo dbt3
  row {a longer text}|as memo|{memo}
table md.dbf sig=30: NOTE M 4, TEXT M 4, SHORT C 6
  memo fpt 64
$ md.dbf +ms.dbf
table md.dbf sig=30 date=today: NOTE M 4, TEXT M 4, SHORT C 6
  memo fpt 64
  row {a longer text}|{as mem}|memo
