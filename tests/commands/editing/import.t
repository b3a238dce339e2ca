# +name.dbf appends the records of another table, field by field of the same name.

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
