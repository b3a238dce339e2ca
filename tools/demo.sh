#!/bin/sh
# Runs the program on the sample tables; `make demo` calls it with the built program.
set -e
tool=${1:-./build/trugtool}
cd examples
run() { echo "\$ trugtool $*"; "../$tool" "$@"; echo; }
run /VERSION
run staff.dbf staff2.dbf /COUNT
run staff.dbf staff2.dbf /NAME /COUNT
run staff.dbf /HDR '/SELECT:NAME;DEPT;SALARY;BORN;ACTIVE;NOTES'
run staff.dbf /DEL /DATE:dmy /TRIM:right /FIELDS /RANGE:3 '/SELECT:*'
rm -f ../build/staff.htm
run staff.dbf /HDR /MEMO:text /OUT:../build/staff.htm '/SELECT:*'
echo "(wrote build/staff.htm)"
run staff.dbf /STRUCT
run staff.dbf /DELETED- /CMP:staff2.dbf /CMP:isc
