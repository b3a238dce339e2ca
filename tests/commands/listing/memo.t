# Memo fields in listings: "Full memo"/"Empty memo" by default, the text itself
# after /MEMO:text. A memo text may hold any byte; a NUL ends it for every reader.

table t.dbf sig=f5: A C 2, M M 10
  memo fpt 64
  row a|{a\r\n\r\nb}
  row b|
  row c|{x\x1Ay\0z}
  row d|{5% "q" 'x' <a@b.c>}

$ t.dbf /S:* /MEMO:text /S:* /MEMO /RANGE:2 /S:M
> a |Full memo |
> b |Empty memo|
> c |Full memo |
> d |Full memo |
> a |a
>
> b|
> b ||
> c |x\x1Ay| (esc)
> d |5% "q" 'x' <a@b.c>|
> Empty memo|
$ t.dbf /FIELDS /MEMO:TEXT /RANGE:1 /S:M
> M         |a
>
> b
>
$ t.dbf /OUT:x.sql /RANGE:1-2 /S:M /RANGE:all /MEMO:text /S:M;A
file x.sql
> insert into "t.dbf" (M ) values ("Full memo ");
> insert into "t.dbf" (M ) values ("Empty memo");
> insert into "t.dbf" (M, A ) values ('a
> b
> ', "a ");
> insert into "t.dbf" (M, A ) values ('', "b ");
> insert into "t.dbf" (M, A ) values ('x\x1Ay (esc)
> ', "c ");
> insert into "t.dbf" (M, A ) values ('5% "q" ''x'' <a@b.c>
> ', "d ");
$ t.dbf /MEMO:text /OUT:x.prg /RANGE:1-2 /S:M;A /OUT:x.htm /RANGE:all /RANGE:1,4 /S:M
file x.prg
> use t.dbf
> append blank
> replace ;
> 	M with ;
> 		"a" + chr(13) + chr(10) +;
> 		"b" + chr(13) + chr(10) +;
> 		"", ;
> 	A with "a "
> append blank
> replace ;
> 	M with ;
> 		"", ;
> 	A with "b "
> use	&&	t.dbf
>
file x.htm
> <table width="100%" border="1" cellspacing="1" cellpadding="1">
> <tr valign=top><td>a <br>
>  <br>
>  b </td></tr>
> <tr valign=top><td>5% &quot;q&quot; 'x' <a href="mailto:a@b.c">&lt;a@b.c&gt;</a> </td></tr>
> </table>

# An empty FoxPro text is a text, not a missing one.
table m0.dbf sig=f5: M M 10
  memo fpt 64
  row {}
$ m0.dbf /MEMO:text /OUT:x.htm /S:M /OUT:x.sql /S:M
file x.htm
> <table width="100%" border="1" cellspacing="1" cellpadding="1">
> <tr valign=top><td></td></tr>
> </table>
file x.sql
> insert into "m0.dbf" (M ) values ('');


# The memo file stays open through a run: a pack that replaces it and an append that
# writes to it are seen by the listings behind them, and an import of the table into
# itself reads the texts it had.
table p.dbf sig=f5: A C 1, M M 10
  memo fpt 64
  del x|{gone with its record}
  row y|{first}
  row z|{second}
$ p.dbf /MEMO:text /S:M /PACK /S:M /FIELD:A="w";M="third" /APPEND /S:A;M +p.dbf /COUNT /S:M
> gone with its record|
> first|
> second|
> first|
> second|
> y|first|
> z|second|
> w|third|
> 6
> first|
> second|
> third|
> first|
> second|
> third|
