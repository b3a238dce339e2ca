# Values go out as they are stored: quotes, percent signs and high bytes untouched
# in every target; only HTML escapes, SQL doubles the quote that encloses a value,
# and the code page changes where the target and the table differ (/ANSI says the
# table's texts are ANSI; /OEM undoes it). A logical stored as y is true.

table v.dbf: C C 8, L L 1
  row 5%d"'<&|T
  row \xC0\xFF|Y
  row |y
  row

$ v.dbf /S:* /OUT:x.sql /S:* /OUT:x.htm /S:*
> 5%d"'<& |T|
> \xC0\xFF      |Y| (esc)
>         |y|
>         | |
file x.sql
> insert into "v.dbf" (C, L ) values ("5%d""'<& ", TRUE );
> insert into "v.dbf" (C, L ) values ("\xC0\xFF      ", TRUE ); (esc)
> insert into "v.dbf" (C, L ) values ("        ", TRUE );
> insert into "v.dbf" (C, L ) values ("        ", FALSE);
file x.htm
> <table width="100%" border="1" cellspacing="1" cellpadding="1">
> <tr valign=top><td>5%d&quot;' &lt;&amp; </td><td>T </td></tr>
> <tr valign=top><td>\x90\xBF </td><td>Y </td></tr> (esc)
> <tr valign=top><td>&nbsp;</td><td>y </td></tr>
> <tr valign=top><td>&nbsp;</td><td>&nbsp;</td></tr>
> </table>
$ v.dbf /HDR /DEL /NAME /OUT:x.fox /S:L
file x.fox
> use v.dbf
> append blank
> replace ;
> 	L with .T.
> append blank
> replace ;
> 	L with .T.
> append blank
> replace ;
> 	L with .T.
> append blank
> replace ;
> 	L with .F.
> use	&&	v.dbf
>

# The file name and the field names are never converted.
table p%s\x80.dbf: \xC0X C 2
  row \x80
$ p%s\x80.dbf /NAME /HDR /S:* /OUT:x.sql /S:* /OUT:x.htm /S:*
> \xC0X| (esc)
> \x80 |p%s\x80.dbf (esc)
file x.sql
> insert into "p%s\x80.dbf" (\xC0X ) values ("\x80 "); (esc)
file x.htm
> <table width="100%" border="1" cellspacing="1" cellpadding="1">
> <tr><td align=center>\xC0X</td></tr> (esc)
> <tr valign=top><td>\xC0 </td><td>p%s\x80.dbf</td></tr> (esc)
> </table>
