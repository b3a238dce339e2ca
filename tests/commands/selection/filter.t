# /FILTER: narrows the view to the records that meet a condition, each filter
# within the one before; /CLEAR widens it again; /DELETED- hides the deleted
# records at the next build of the view. A new filter or /DELETED drops the order.

table s.dbf: NAME C 5, AGE N 3
  row bob|45
  del amy|30
  row Cid|61
  row dan|18
  row abe|45
  del eve|50

$ s.dbf /FILTER:
> Invalid filter...
$ s.dbf /FILTER:abc /COUNT
> Invalid filter...
> 6
$ s.dbf /F:AGE}40;AGE{20 /S:NAME
> bob  |
> Cid  |
> dan  |
> abe  |
> eve  |
$ s.dbf /FILTER:AGE>40 /FILTER:AGE<60 /SELECT:NAME
> bob  |
> abe  |
> eve  |
$ s.dbf /FILTER:AGE>40 /CLEAR /FILTER:AGE<60 /COUNT
> 5
$ s.dbf /ORDER:NAME /FILTER:AGE>40 /S:NAME
> bob  |
> Cid  |
> abe  |
> eve  |
$ s.dbf /FILTER:AGE>40 /ORDER:NAME /S:NAME
> Cid  |
> abe  |
> bob  |
> eve  |
$ s.dbf /DELETED- /DELETED- /COUNT /DELETED+ /COUNT
> 4
> 6
$ s.dbf /DELETED- /FILTER:AGE>40 /DELETED /COUNT
> 3
$ s.dbf /ORDER:NAME /DELETED /S:NAME
> bob  |
> amy  |
> Cid  |
> dan  |
> abe  |
> eve  |
$ s.dbf /DELETED- /CLEAR /COUNT /FILTER:AGE>0 /COUNT
> 6
> 4
$ s.dbf /FILTER:AGE>0 /CLEAR /DELETED- /DELETED /COUNT
> 4

# A record marked now shows until the view is built again.
$ s.dbf /DELETED- /DELETE:1 /COUNT /FILTER:AGE>0 /COUNT
> 4
> 3

$ s.dbf /FILTER:AGE>40 /DELETE:all /CLEAR /DEL /S:NAME
> *|bob  |
> *|amy  |
> *|Cid  |
>  |dan  |
> *|abe  |
> *|eve  |

# Under /TRIM:left an order's keys lose the blanks in front and nothing else.
table k.dbf: A C 3
  row ca
  row  ab
  row bz
$ k.dbf /TRIM:left /ORDER:A /S:A
> ab|
> bz |
> ca |
