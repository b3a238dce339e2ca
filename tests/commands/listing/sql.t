# Listings into SQL scripts (.sql): one insert per record, values as stored.
# sqlite3 takes the table the structure script makes and every insert behind it.

table q.dbf: A C 6, N N 7.2, D D 8, L L 1
  row ab'c|1.5|20010314|T
  del x%y\xC0|-12.25|19991231|N
  row
  row zzzzzz|1234.5|20380119|Y
$ q.dbf /STRUCT:x.sql /OUT:x.sql /SELECT:*
file x.sql
> CREATE TABLE "q.dbf" (
> 	A           Character(6),
> 	N           Numeric(7,2),
> 	D           Date,
> 	L           Boolean
> 	);
>
> insert into "q.dbf" (A, N, D, L ) values ("ab'c  ",    1.50, "20010314", TRUE );
> insert into "q.dbf" (A, N, D, L ) values ("x%y\xC0  ",  -12.25, "19991231", FALSE); (esc)
> insert into "q.dbf" (A, N, D, L ) values ("      ",    0.00, "        ", FALSE);
> insert into "q.dbf" (A, N, D, L ) values ("zzzzzz", 1234.50, "20380119", TRUE );
sqlite x.sql SELECT quote(A), quote(N), typeof(N), quote(D), quote(L) FROM "q.dbf" ORDER BY rowid
> 'ab''c  '|1.5|real|20010314|1
> 'x%y\xC0  '|-12.25|real|19991231|0 (esc)
> '      '|0|integer|'        '|0
> 'zzzzzz'|1234.5|real|20380119|1

# SQL that means what the table holds: the quote that encloses a value doubled
# inside it, names that are keywords or no plain identifiers in double quotes (plain
# ones and letters of other scripts as they are), NaN and infinities as NULL, a
# logical stored as t or y true. Values without such characters keep their bytes.
table n.dbf: ORDER N 3, marker-col C 2, T/W/D C 1, Plain_1 C 1, "Q C 1, \xC0X C 1, user C 1
  row 1|ab|c|d|e|f|g
$ n.dbf /OUT:x.sql /S:* /STRUCT:x.sql
file x.sql
> insert into "n.dbf" ("ORDER", "marker-col", "T/W/D", Plain_1, """Q", \xC0X, "user" ) values (  1, "ab", "c", "d", "e", "f", "g"); (esc)
> CREATE TABLE "n.dbf" (
> 	"ORDER"     Numeric(3),
> 	"marker-col" Character(2),
> 	"T/W/D"     Character(1),
> 	Plain_1     Character(1),
> 	"""Q"       Character(1),
> 	\xC0X          Character(1), (esc)
> 	"user"      Character(1)
> 	);
>

table v.dbf: C C 12, N N 6.2, F F 6, L L 1, D D 8
  row say "hi"|nan|inf|t|20010314
  row it's; --x|1.5|-nan|y|
$ v.dbf /OUT:x.sql /S:* /DATE:\" /DATE:dmy /S:D
file x.sql
> insert into "v.dbf" (C, N, F, L, D ) values ("say ""hi""    ", NULL, NULL, TRUE , "20010314");
> insert into "v.dbf" (C, N, F, L, D ) values ("it's; --x   ",   1.50, NULL, TRUE , "        ");
> insert into "v.dbf" (D ) values ("14""03""2001");
> insert into "v.dbf" (D ) values ("          ");

# sqlite3 loads every statement of a table whose text holds both kinds of quotes,
# ';' and '--', with apostrophes in its memo texts, and holds what the table holds.
table s.dbf sig=83: NAME C 24, ORDER N 5.1, marker-col L 1, DESC M 10
  memo dbt3
  row Dublin "IE"|1.5|t|{it's "x";\r\n-- not a comment}
  row it's; -- 'a' "b" '|nan|y|{'}
  row ""''|-2|n|
  row |||{plain}
$ s.dbf /STRUCT:x.sql /MEMO:text /OUT:x.sql /S:*
sqlite x.sql SELECT quote(NAME), quote("ORDER"), quote("marker-col"), quote(replace("DESC", char(10), '|')) FROM "s.dbf" ORDER BY rowid
> 'Dublin "IE"             '|1.5|1|'it''s "x";|-- not a comment|'
> 'it''s; -- ''a'' "b" ''      '|NULL|1|'''|'
> '""''''                    '|-2|0|''
> '                        '|0|0|'plain|'
