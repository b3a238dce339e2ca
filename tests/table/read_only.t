# Root's files are read-only to an unprivileged user: whatever the command, the
# table and its memo file stay byte for byte as they were, nothing is left behind,
# and the run ends normally.

table r.dbf sig=99 flags=1 cp=65: NAME C 6, N N 3, NOTE M 10
  memo fpt 64
  row b|1|{text}
  del a|2|8
copy r.dbf s.dbf
copy r.fpt s.fpt
file x.htm
> kept

nobody$ r.dbf /PACK /PACK:memo /TRUNC:1 /ZAP /CDX /CPZERO /CHECK /SORT:NAME /MAKE:x.dbf /OUT:x.htm /S:* /OUT:new.txt /S:N
> Can't create "r.tmp"
> Can't create "x.dbf"
> Can't open x.htm
> Can't open new.txt
same r.dbf r.fpt x.htm
no r.tmp r.~pt new.txt
nobody$ r.dbf /FIELD:N=5 /UPDATE /APPEND /APPEND:3 /FIELD:NOTE="x" /APPEND /UPDATE +s.dbf /DELETE:1 /DELETE:all /RECALL:all
same r.dbf r.fpt

chmod 777 .
nobody$ r.dbf /PACK /PACK:memo /TRUNC:1 /ZAP /CDX /CPZERO /CHECK /SORT:NAME
> Table "r.dbf" is read-only, not sorted
same r.dbf r.fpt
no r.tmp r.~pt
