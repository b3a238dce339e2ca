#!/bin/sh
# Runs the program on the sample tables; `make demo` calls it with the built program.
set -e
tool=${1:-./build/trugtool}
cd examples
run() { echo "\$ trugtool $*"; "../$tool" "$@"; echo; }
run /VERSION
run staff.dbf staff2.dbf /COUNT
run staff.dbf staff2.dbf /NAME /COUNT
