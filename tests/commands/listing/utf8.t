# /UTF8, /CP: and the CSV and JSON Lines targets on a DOS Russian table (cp866,
# with a Cyrillic field name and a memo), a table without a code page mark, and one
# of a page the C library can't convert.

table ru.dbf sig=83 cp=65: \x88\x8C\x9F C 8, CITY C 8, N N 6.2, D D 8, L L 1, NOTE M 10
  memo dbt3
  row \x8E\xAB\xEC\xA3\xA0|\x8C\xAE\xE1\xAA\xA2\xA0|1.5|20010314|T|{\x91\xE2\xE0\xAE\xAA\xA0, "\xAE\xA4\xA8\xAD"\r\n\xA4\xA2\xA0}
  row \x88\xA2\xA0\xAD|\x92\xA2\xA5\xE0\xEC|||?|
  del Zed|Tver|-2|19991231|F|
table plain.dbf: W C 2
  row \xE1
table cz.dbf cp=68: W C 2
  row \xE1

$ ru.dbf /UTF8 /HDR /S:* /HDR- /FIELDS /MEMO:TEXT /RANGE:1 /S:*
> ИМЯ     |CITY    |N     |D       |L|NOTE      |
> Ольга   |Москва  |  1.50|20010314|T|Full memo |
> Иван    |Тверь   |  0.00|        |?|Empty memo|
> Zed     |Tver    | -2.00|19991231|F|Empty memo|
> ИМЯ       |Ольга   
> CITY      |Москва  
> N         |  1.50
> D         |20010314
> L         |T
> NOTE      |Строка, "один"
> два
>
$ ru.dbf /RANGE:1 /S:CITY /UTF8 /UTF8- /S:CITY /ANSI /UTF8 /S:CITY /S:ΩMEGA
> \x8C\xAE\xE1\xAA\xA2\xA0  | (esc)
> \x8C\xAE\xE1\xAA\xA2\xA0  | (esc)
> Москва  |
> Invalid field[s]...
$ plain.dbf /UTF8 /S:W /CP:1252 /S:W /CP: /S:W /CP:65001 /S:W /CP:999 /CP:12x /S:W
> ß |
> á |
> ß |
> � |
> Unknown code page: 999.
> Unknown code page: 12x.
> � |
$ cz.dbf /UTF8 /S:W /UTF8- /S:W
> Can't convert code page 895...
> \xE1 | (esc)

# Typed text goes to the table's page; a constant the page lacks makes its clause
# false, parentheses kept; a value the page lacks changes no record.
$ ru.dbf /UTF8 /FILTER:CITY="Москва" /S:N /CLEAR /FILTER:CITY="Ωmega"|N<0 /S:N /CLEAR /FILTER:CITY<>"Ω" /S:N
>   1.50|
>  -2.00|
$ ru.dbf /UTF8 /FIELD:CITY="Казань" /RANGE:1 /UPDATE /UTF8- /S:CITY
> \x8A\xA0\xA7\xA0\xAD\xEC  | (esc)
$ ru.dbf /UTF8 /FIELD:N=5;CITY="Ωmega" /UPDATE /S:N /FIELD:CITY="\xFF" /APPEND /COUNT
> Not in code page 866: CITY
>   1.50|
>   0.00|
>  -2.00|
> Not UTF-8: CITY
> 3

# Files take UTF-8 too: SQL, HTML (its charset declared once per file); a table
# target takes the bytes.
$ ru.dbf /UTF8 /MEMO:text /OUT:x.sql /RANGE:1 /S:* /OUT:x.htm /HDR /S:ИМЯ;N /S:CITY
file x.sql
> insert into "ru.dbf" (ИМЯ, CITY, N, D, L, NOTE ) values ("Ольга   ", "Москва  ",   1.50, "20010314", TRUE , 'Строка, "один"
> два
> ');
file x.htm
> <meta charset="utf-8">
> <table width="100%" border="1" cellspacing="1" cellpadding="1">
> <tr><td align=center>ИМЯ</td><td align=center>N</td></tr>
> <tr valign=top><td>Ольга </td><td align=right>1.50</td></tr>
> </table>
> <table width="100%" border="1" cellspacing="1" cellpadding="1">
> <tr><td align=center>CITY</td></tr>
> <tr valign=top><td>Москва </td></tr>
> </table>
$ ru.dbf /UTF8 /OUT:x.dbf /RANGE:1 /S:CITY /OUT +x.dbf /UTF8- /RANGE:4 /S:CITY
> \x8C\xAE\xE1\xAA\xA2\xA0  | (esc)
> \x8C\xAE\xE1\xAA\xA2\xA0  | (esc)

# CSV: names once, memo texts in full, blanks empty, the view honoured; JSON Lines.
$ ru.dbf /OUT:x.csv /S:* /S:N /OUT:y.csv /DELETED- /DESC /ORDER:CITY /S:CITY /RANGE:2 /S:N
file x.csv
> ИМЯ,CITY,N,D,L,NOTE\r (esc)
> Ольга,Москва,1.5,2001-03-14,true,"Строка, ""один""\r (esc)
> два"\r (esc)
> Иван,Тверь,,,,\r (esc)
> Zed,Tver,-2,1999-12-31,false,\r (esc)
> 1.5\r (esc)
> ""\r (esc)
> -2\r (esc)
file y.csv
> CITY\r (esc)
> Тверь\r (esc)
> Москва\r (esc)
> 1.5\r (esc)

file x.csv
> X\r (esc)
$ ru.dbf /OUT:x.csv /RANGE:1 /S:L /OUT:y.csv /FILTER:N>0 /S:CITY;D /OUT:z.csv /S:N
file x.csv
> X\r (esc)
> true\r (esc)
file y.csv
> CITY,D\r (esc)
> Москва,2001-03-14\r (esc)

$ cz.dbf /OUT:x.csv /S:W
> Can't convert code page 895...
no x.csv

# An unknown ending is refused and the target stays.
$ ru.dbf /OUT:x.jsonl /S:* /RANGE:1 /S:D /OUT:x.json /S:N
> Invalid output format...
file x.jsonl
> {"ИМЯ":"Ольга","CITY":"Москва","N":1.5,"D":"2001-03-14","L":true,"NOTE":"Строка, \"один\"\r\nдва"}
> {"ИМЯ":"Иван","CITY":"Тверь","N":null,"D":null,"L":null,"NOTE":""}
> {"ИМЯ":"Zed","CITY":"Tver","N":-2,"D":"1999-12-31","L":false,"NOTE":""}
> {"D":"2001-03-14"}
> {"N":1.5}
