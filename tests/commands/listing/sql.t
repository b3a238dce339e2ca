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
