# /STRUCT: the structure of a table as a text report (on the screen or in a file),
# an SQL script, a program script, a dialect script, or a structure-extended table.

table t.dbf: A C 3, N N 5.2, D D 8
  row abc|1.50|20010314
  row xy|12|20020101

$ t.dbf /STRUCT:r.txt /STRUCT:r.dbf /STRUCT:r.prg /STRUCT:r.FOX
file r.txt
>
> Database name		:	t.dbf
> Type			:	dBase III
> Last updated (m-d-y)	:	03-14-2001
> File size		:	       164
> Header size		:	       129
> Record count		:	         2
> Field count		:	         3
> Record length		:	        17
>
> Name        Type          Length
> A           Character       3
> N           Numeric         5  2
> D           Date            8
table r.dbf date=2000-09-13 noeof: FIELD_NAME C 10, FIELD_TYPE C 1, FIELD_LEN N 3, FIELD_DEC N 3, DESCRIPT C 32
  row A|C|3|0|\0
  row N|N|5|2|\0
  row D|D|8|0|\0
dbfread r.dbf
> fields FIELD_NAME:C:10:0 FIELD_TYPE:C:1:0 FIELD_LEN:N:3:0 FIELD_DEC:N:3:0 DESCRIPT:C:32:0
> live 'A'|'C'|3|0|''
> live 'N'|'N'|5|2|''
> live 'D'|'D'|8|0|''
file r.prg
> DBCREATE("t.dbf", {;
> 	{ "A",           "C",   3,   0 },;
> 	{ "N",           "N",   5,   2 },;
> 	{ "D",           "D",   8,   0 },;
> 	})
>
file r.FOX
> CREATE TABLE "t.dbf" ( ;
> 	A           C(3), ;
> 	N           N(5,2), ;
> 	D           D ;
> 	)
>

$ t.dbf /STRUCT:r.htm /STRUCT: /STRUCT:sql /COUNT
> Invalid output format...
> Invalid output format...
> Invalid output format...
> 2
no r.htm sql
$ t.dbf t.dbf /STRUCT:nodir/r.txt /COUNT
> Can't create file: nodir/r.txt (no-eol)
[1]

# One field of each kind. The text report gives N and F their decimals; a C field
# wider than 255 shows its length byte; names of 9, 10 and 11 characters line up;
# in SQL a keyword for a name stands in double quotes.
table k.dbf: QTY N 4, Z N 0, RATE F 9.3, WHEN D 8.8, WIDE C 300, OK L 1, NOTE M 10, STAMP T 8, PRICE Y 8.4, DBL B 8, DBL3 B 8.3, BLOB B 10, ABCDEFGHI C 2, ABCDEFGHIJ C 2, ABCDEFGHIJK C 2
$ k.dbf /STRUCT /STRUCT:r.sql /STRUCT:r.prg
...
> Name        Type          Length
> QTY         Numeric         4  0
> Z           Numeric         0
> RATE        Float           9  3
> WHEN        Date            8  8
> WIDE        Character      44
> OK          Logical         1
> NOTE        Memo           10
> STAMP       DateTime        8
> PRICE       Currency        8
> DBL         Double          8
> DBL3        Double          8
> BLOB        Binary         10
> ABCDEFGHI   Character       2
> ABCDEFGHIJ  Character       2
> ABCDEFGHIJK Character       2
file r.sql
> CREATE TABLE "k.dbf" (
> 	QTY         Numeric(4),
> 	Z           Numeric(0),
> 	RATE        Float(9,3),
> 	"WHEN"      Date,
> 	WIDE        Character(44),
> 	OK          Boolean,
> 	NOTE        Blob(0,1),
> 	STAMP       Time,
> 	PRICE       Money,
> 	DBL         Numeric(20),
> 	DBL3        Numeric(20,3),
> 	BLOB        Blob(0,2),
> 	ABCDEFGHI   Character(2),
> 	ABCDEFGHIJ  Character(2),
> 	ABCDEFGHIJK Character(2)
> 	);
>
file r.prg
...
> 	{ "ABCDEFGHI",   "C",   2,   0 },;
> 	{ "ABCDEFGHIJ",  "C",   2,   0 },;
> 	{ "ABCDEFGHIJK",  "C",   2,   0 },;
> 	})
>
