# Listings into HTML (.htm, .html): one table per listing, appended to the file.

table t.dbf: A C 3, N N 5.2, D D 8
  row ab |1.5|20010314

table d.dbf: A C 3, N N 5.2, D D 8
  row ab |1.5|20010314
  del cd|-2|19991231

file x.htm
> <p>before</p>
$ t.dbf /OUT:x.htm /S:* /S:A /OUT:y.html /FIELDS /S:*
mode 664 y.html
file x.htm
> <p>before</p>
> <table width="100%" border="1" cellspacing="1" cellpadding="1">
> <tr valign=top><td>ab </td><td align=right>1.50</td><td align=center>20010314</td></tr>
> </table>
> <table width="100%" border="1" cellspacing="1" cellpadding="1">
> <tr valign=top><td>ab </td></tr>
> </table>
file y.html
> <table width="100%" border="1" cellspacing="1" cellpadding="1">
> <tr valign=top><tr valign=top><td valign=top>A</td><td>ab </td></tr>
> <tr valign=top><td valign=top>N</td><td>1.50 </td></tr>
> <tr valign=top><td valign=top>D</td><td>20010314 </td></tr>
> </tr>
> </table>
$ d.dbf /HDR /DEL /NAME /OUT:z.HTML /S:* /FIELDS /S:A
file z.HTML
> <table width="100%" border="1" cellspacing="1" cellpadding="1">
> <tr><td align=center>*</td><td align=center>A</td><td align=center>N</td><td align=center>D</td></tr>
> <tr valign=top><td>&nbsp;</td><td>ab </td><td align=right>1.50</td><td align=center>20010314</td><td>d.dbf</td></tr>
> <tr valign=top><td align=center>*</td><td>cd </td><td align=right>-2.00</td><td align=center>19991231</td><td>d.dbf</td></tr>
> </table>
> <table width="100%" border="1" cellspacing="1" cellpadding="1">
> <tr valign=top><td>*</td><td>&nbsp;</td></tr>
> <tr valign=top><td valign=top>A</td><td>ab </td></tr>
> <tr><td colspan=2>d.dbf</td></tr>
> <tr valign=top><td>*</td><td align=left>*</td></tr>
> <tr valign=top><td valign=top>A</td><td>cd </td></tr>
> <tr><td colspan=2>d.dbf</td></tr>
> </table>

# What a browser makes of a listing behind the head of a page: texts escaped,
# mail addresses and web addresses as links, empty cells kept open.
table p.dbf: NAME C 6, MAIL C 20, NOTE C 16, N N 6.2, D D 8
  row Ann|ann@example.org|a<b & "c">d|1.5|20010314
  row Bob|<bob@x.org>|www.x.org|-2.25|19991231
  row
file page.htm
> <!DOCTYPE html><html><head><meta charset="windows-1251"></head><body>
$ p.dbf /HDR /OUT:page.htm /SELECT:*
file page.htm
> <!DOCTYPE html><html><head><meta charset="windows-1251"></head><body>
> <table width="100%" border="1" cellspacing="1" cellpadding="1">
> <tr><td align=center>NAME</td><td align=center>MAIL</td><td align=center>NOTE</td><td align=center>N</td><td align=center>D</td></tr>
> <tr valign=top><td>Ann </td><td><a href="mailto:ann@example.org">ann@example.org</a> </td><td>a &lt;b &amp; &quot;c&quot;&gt; d </td><td align=right>1.50</td><td align=center>20010314</td></tr>
> <tr valign=top><td>Bob </td><td><a href="mailto:bob@x.org">&lt;bob@x.org&gt;</a> </td><td><a href="http://www.x.org">www.x.org</a> </td><td align=right>-2.25</td><td align=center>19991231</td></tr>
> <tr valign=top><td>&nbsp;</td><td>&nbsp;</td><td>&nbsp;</td><td align=right>0.00</td><td>&nbsp;</td></tr>
> </table>
browser page.htm
> tables=1
> 5:NAME|MAIL|NOTE|N|D
> 5:Ann |ann@example.org |a <b & "c"> d |1.50|20010314
> 5:Bob |<bob@x.org> |www.x.org |-2.25|19991231
> 5:\xC2\xA0|\xC2\xA0|\xC2\xA0|0.00|\xC2\xA0 (esc)
> link=mailto:ann@example.org|ann@example.org
> link=mailto:bob@x.org|<bob@x.org>
> link=http://www.x.org|www.x.org

# Only "www." and "ftp." at the start of a word open an address.
table w.dbf: W C 12
  row wax fig
  row see www.a.b
$ w.dbf /OUT:w.htm /S:W
file w.htm
> <table width="100%" border="1" cellspacing="1" cellpadding="1">
> <tr valign=top><td>wax fig </td></tr>
> <tr valign=top><td>see <a href="http://www.a.b">www.a.b</a> </td></tr>
> </table>
