# /ORDER: shows the records in the order of its keys; the file stays as it is.
# /CASE and /DESC given behind an order leave it as it is.

table t.dbf: NAME C 3, NUM N 5
  row abc|2
  row abd|1
  row ABC|3

$ t.dbf /ORDER: /ORDER:nosuch /ORDER:nosuch;NUM /ORDER:NUM;nosuch /S:*
> Field[s] required for order...
> Invalid field[s]...
> Invalid field[s]...
> abd|    1|
> abc|    2|
> ABC|    3|
same t.dbf
$ t.dbf /CASE /ORDER:NAME /SELECT:NAME
> abc|
> ABC|
> abd|
$ t.dbf /ORDER:NAME /CASE /DESC /SELECT:NAME
> ABC|
> abc|
> abd|
$ t.dbf /CASE /DESC /O:NAME /SELECT:NAME
> abd|
> ABC|
> abc|
