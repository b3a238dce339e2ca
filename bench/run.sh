#!/bin/sh
# Times the program's jobs on generated tables and sets each beside a floor or a rival
# doing the same work on the same machine, then prints every figure beside its goal:
#
#   sh bench/run.sh [path/to/trugtool]
#   BIG=1 sh bench/run.sh               # also the table of 24,000,000 records (2.5 GB)
#
# Sections, each switched by the environment (an empty value skips a section):
#   SIZES   "100000 1000000": listings, filter, orders, /SORT:, /PACK, update, /CMP,
#           memo listings, pgdbf and dbfread on tables of these sizes
#   KEYS    300000: /ORDER:K /COUNT on keys shuffled, sorted, reverse-sorted, all equal,
#           in a sawtooth and in an organ pipe, each capped at CAP seconds (120)
#   CALLS   100000: system calls of the commands that write or read record by record,
#           counted with strace -c -f
#   BIG     0; 1 times /COUNT, a filter, /ORDER:, a listing, /PACK and /SORT: on a table
#           of BIG_RECORDS records (24000000), each once; order and sort capped at
#           BIG_CAP seconds (300); the disk jobs are skipped when too little is free
# REPEAT (default 3): the best of that many runs counts; a run longer than SLOW seconds
# (10) is not repeated. BENCH_DIR (default build-bench/) holds the generated tables,
# made once and kept, and a work directory emptied on every run. Wall time is measured
# with date, CPU time (user + system) and peak memory with GNU time; on a machine
# shared with other work, the CPU time says more than the wall time. The report is
# bench/report.py's.
set -eu

ROOT=$(cd "$(dirname "$0")/.." && pwd)
PROGRAM=$(realpath "${1:-$ROOT/build/trugtool}")
DIR=${BENCH_DIR:-$ROOT/build-bench}
SIZES=${SIZES-100000 1000000}
KEYS=${KEYS-300000}
CALLS=${CALLS-100000}
BIG=${BIG:-0}
BIG_RECORDS=${BIG_RECORDS:-24000000}
REPEAT=${REPEAT:-3}
SLOW=${SLOW:-10}
CAP=${CAP:-120}
BIG_CAP=${BIG_CAP:-300}
PYTHON=/usr/bin/python3
[ -x "$PYTHON" ] || PYTHON=python3
TIME=/usr/bin/time
if [ ! -x "$TIME" ]; then
    echo "GNU time (/usr/bin/time) is needed for CPU time and peak memory." >&2
    exit 1
fi
# The real tables of other programs, if this machine has them (beside the checkout, or
# beside the folder of worktrees).
REALWORLD=${REALWORLD:-}
for candidate in "$ROOT/../shared/realworld/files" "$ROOT/../../shared/realworld/files"; do
    if [ -z "$REALWORLD" ] && [ -d "$candidate" ]; then REALWORLD=$candidate; fi
done

mkdir -p "$DIR"
WORK="$DIR/work"  # beside the tables: the program reaches them as ../
rm -rf "$WORK"
mkdir -p "$WORK"
NOTES="$WORK/notes"
: >"$WORK/results"
: >"$WORK/sizes"
: >"$WORK/calls"
: >"$WORK/commands"
: >"$WORK/checks"
: >"$NOTES"
cat >"$WORK/about" <<EOF
cores $(nproc)
repeat $REPEAT
slow $SLOW
program $PROGRAM
EOF

note() { echo "$*" >>"$NOTES"; }
# check JOB EXPECTED ACTUAL: whether a job gave the answer the generator says it must.
check() { echo "$1 $2 $3" >>"$WORK/checks"; }
# Kilobytes free on the file system of the tables.
free_kb() { df -Pk "$DIR" | awk 'NR == 2 { print $4 }'; }

# ---- Tables ---------------------------------------------------------------------------

# table RECORDS: the mixed table of bench/make_table.py, made when missing or older
# than its generator.
table() {
    if [ ! -f "$DIR/t$1.dbf" ] || [ "$ROOT/bench/make_table.py" -nt "$DIR/t$1.dbf" ]; then
        echo "generating $1 records..."
        "$PYTHON" "$ROOT/bench/make_table.py" "$DIR/t$1.dbf" "$1"
    fi
}

SHAPES="shuffled sorted reverse equal sawtooth organ"
for n in $SIZES $CALLS; do table "$n"; done
for n in $KEYS; do
    for shape in $SHAPES; do
        if [ ! -f "$DIR/k$n-$shape.dbf" ] || [ "$ROOT/bench/make_keys.py" -nt "$DIR/k$n-$shape.dbf" ]; then
            echo "generating $n keys, $shape..."
            "$PYTHON" "$ROOT/bench/make_keys.py" "$DIR/k$n-$shape.dbf" "$n" "$shape"
        fi
    done
done

# ---- Measuring --------------------------------------------------------------------------

now() { date +%s%N; }
cap=

# measure JOB RECORDS SETUP command...: runs the command up to REPEAT times in $WORK,
# each after SETUP (a shell function, or "nothing"; not timed), and records the best
# wall time, the best CPU time and the largest peak memory. With `cap` set, a run is
# stopped after that many seconds and the job is recorded as capped.
measure() {
    job=$1 records=$2 setup=$3
    shift 3
    if [ -n "$cap" ]; then set -- timeout "$cap" "$@"; fi
    best_wall= best_cpu= peak=0 status=ok
    i=0
    while [ "$i" -lt "$REPEAT" ]; do
        i=$((i + 1))
        "$setup"
        start=$(now)
        rc=0
        (cd "$WORK" && "$TIME" -f "%U %S %M" -o "$WORK/time" "$@" >"$WORK/stdout") || rc=$?
        finish=$(now)
        wall=$((finish - start))
        # GNU time puts a line on the exit status before its own when that is not 0.
        read -r user sys rss <<EOF
$(tail -n 1 "$WORK/time")
EOF
        rss=${rss:-0}
        cpu=$(awk -v u="$user" -v s="$sys" 'BEGIN { printf "%.2f", u + s }')
        if [ -z "$best_wall" ] || [ "$wall" -lt "$best_wall" ]; then best_wall=$wall; fi
        if [ -z "$best_cpu" ] || awk -v a="$cpu" -v b="$best_cpu" 'BEGIN { exit !(a < b) }'; then best_cpu=$cpu; fi
        if [ "$rss" -gt "$peak" ]; then peak=$rss; fi
        if [ -n "$cap" ] && [ "$rc" -eq 124 ]; then
            status=capped
            break
        elif [ "$rc" -ne 0 ]; then
            note "$job ($records): exit status $rc: $*"
            status=failed
            break
        fi
        if [ "$wall" -gt $((SLOW * 1000000000)) ]; then break; fi
    done
    echo "$job $records $best_wall $best_cpu $peak $status $i" >>"$WORK/results"
}

# measure_capped SECONDS JOB RECORDS SETUP command...: measure with a cap.
measure_capped() {
    cap=$1
    shift
    measure "$@"
    cap=
}

# measure_cat FILE RECORDS JOB: the time of `cat` writing a copy of $WORK/FILE, as
# job "cat:JOB", the floor of the listing JOB that wrote FILE.
measure_cat() {
    echo "$3 $2 $(stat -c %s "$WORK/$1")" >>"$WORK/sizes"
    mv "$WORK/$1" "$WORK/cat.in"
    measure "cat:$3" "$2" clean_cat sh -c 'cat cat.in >cat.out'
    rm -f "$WORK/cat.in" "$WORK/cat.out"
}

# count_calls JOB RECORDS SETUP command...: one run in $WORK under strace -c -f, after
# SETUP; records the calls of each kind.
count_calls() {
    job=$1 records=$2 setup=$3
    shift 3
    "$setup"
    if ! (cd "$WORK" && strace -c -f -o "$WORK/strace" "$@" >"$WORK/stdout"); then
        note "$job ($records): the command failed under strace: $*"
    fi
    # Rows are "% time, seconds, usecs/call, calls, [errors,] name"; "total" sums them.
    awk -v job="$job" -v n="$records" '$1 ~ /^[0-9.]+$/ && NF >= 5 && $NF != "total" { print job, n, $NF, $4 }' \
        "$WORK/strace" >>"$WORK/calls"
    command="$*"
    echo "$job ${command#"$PROGRAM" }" >>"$WORK/commands"
}

clean_outputs() { rm -f "$WORK"/o.*; }
clean_cat() { rm -f "$WORK/cat.out"; }
clean_copy() { rm -f "$WORK"/c.*; }
# A fresh copy of the table (and its memo file) as w.dbf, for commands that change it.
fresh_copy() {
    rm -f "$WORK"/w.* "$WORK"/o.*
    cp "$TABLE" "$WORK/w.dbf"
    if [ -f "${TABLE%.dbf}.dbt" ]; then cp "${TABLE%.dbf}.dbt" "$WORK/w.dbt"; fi
}
nothing() { :; }

# ---- Jobs on tables of SIZES ----------------------------------------------------------

FILTER='QTY>400&NAME="S"'

for n in $SIZES; do
    TABLE="$DIR/t$n.dbf"
    # Relative: an argument that starts with "/" is a parameter, not a table.
    T="../t$n.dbf"
    echo "timing $n records..."

    measure count "$n" nothing "$PROGRAM" "$T" /COUNT

    for kind in txt sql htm prg; do
        measure "list.$kind" "$n" clean_outputs "$PROGRAM" "$T" "/OUT:o.$kind" '/SELECT:*'
        if [ "$kind" = txt ]; then cp "$WORK/o.txt" "$WORK/listing.txt"; fi
        measure_cat "o.$kind" "$n" "list.$kind"
    done

    clean_outputs
    (cd "$WORK" && "$PROGRAM" "$T" /OUT:o.csv '/SELECT:*' >"$WORK/stdout")
    if [ -s "$WORK/o.csv" ]; then
        measure list.csv "$n" clean_outputs "$PROGRAM" "$T" /OUT:o.csv '/SELECT:*'
        measure_cat o.csv "$n" list.csv
    else
        note "list.csv: /OUT:x.csv is not in this build (\"$(head -n 1 "$WORK/stdout" | cut -c 1-60)\"); skipped"
    fi

    clean_outputs
    (cd "$WORK" && "$PROGRAM" "$T" /OUT:o.dbf '/SELECT:*' >"$WORK/stdout")
    if [ -s "$WORK/o.dbf" ] && ! grep -q "Can't open" "$WORK/stdout"; then
        measure list.dbf "$n" clean_outputs "$PROGRAM" "$T" /OUT:o.dbf '/SELECT:*'
        cat "$WORK/o.dbf" "$WORK/o.dbt" >"$WORK/o.tbl" 2>/dev/null || cp "$WORK/o.dbf" "$WORK/o.tbl"
        measure_cat o.tbl "$n" list.dbf
    else
        note "list.dbf: /OUT:x.dbf is not in this build (\"$(head -n 1 "$WORK/stdout" | cut -c 1-60)\"); skipped"
    fi

    # The filter beside awk applying the same test to the text listing; both counts
    # must agree.
    measure filter "$n" nothing "$PROGRAM" "$T" "/FILTER:$FILTER" /COUNT
    ours=$(cat "$WORK/stdout")
    measure awk.filter "$n" nothing awk -F'|' '$4 + 0 > 400 && substr($1, 1, 1) == "S" { n++ } END { print n + 0 }' listing.txt
    check filter "$(cat "$WORK/stdout")" "$ours"

    # Orders alone beside sort on the same key of the text listing, then with a listing.
    measure order.char "$n" nothing "$PROGRAM" "$T" /ORDER:NAME /COUNT
    measure sort.char "$n" nothing env LC_ALL=C sort -t'|' -k1,1 -o /dev/null listing.txt
    measure order.num "$n" nothing "$PROGRAM" "$T" /ORDER:PRICE /COUNT
    measure sort.num "$n" nothing env LC_ALL=C sort -t'|' -k3,3n -o /dev/null listing.txt
    for key in NAME PRICE; do
        job=order.list.$(echo "$key" | tr 'A-Z' 'a-z')
        measure "$job" "$n" clean_outputs "$PROGRAM" "$T" "/ORDER:$key" /OUT:o.txt '/SELECT:*'
        measure_cat o.txt "$n" "$job"
    done

    # Memo texts in a listing: read from the memo file, and with the memo file gone
    # (a copy of the table alone), beside the listing that shows only "Full memo".
    cp "$TABLE" "$WORK/m.dbf"
    measure memo.none "$n" nothing "$PROGRAM" "$T" '/SELECT:*'
    measure memo.text "$n" nothing "$PROGRAM" "$T" /MEMO:text '/SELECT:*'
    measure memo.missing "$n" nothing "$PROGRAM" m.dbf /MEMO:text '/SELECT:*'
    rm -f "$WORK/m.dbf"

    # Commands that change the table, each on a fresh copy.
    measure cp "$n" clean_copy sh -c "cp '$TABLE' c.dbf && cp '${TABLE%.dbf}.dbt' c.dbt"
    fresh_copy
    (cd "$WORK" && "$PROGRAM" w.dbf /SORT:NAME >"$WORK/stdout")
    if ls "$WORK"/*.bak >/dev/null 2>&1 || ! cmp -s "$TABLE" "$WORK/w.dbf"; then
        measure sort "$n" fresh_copy "$PROGRAM" w.dbf /SORT:NAME
    else
        note "sort: /SORT: is not in this build (the table is unchanged); skipped"
    fi
    fresh_copy
    (cd "$WORK" && "$PROGRAM" w.dbf /PACK /COUNT >"$WORK/stdout")
    if [ "$(tail -n 1 "$WORK/stdout")" != "$n" ]; then
        measure pack "$n" fresh_copy "$PROGRAM" w.dbf /PACK
    else
        note "pack: /PACK is not in this build (nothing was removed); skipped"
    fi
    measure update "$n" fresh_copy "$PROGRAM" w.dbf /FIELD:QTY=QTY+1 /UPDATE

    # Equal tables give no report: a copy with one byte changed tells whether /CMP is there.
    cp "$TABLE" "$WORK/e.dbf"
    cp "${TABLE%.dbf}.dbt" "$WORK/e.dbt"
    printf 'Z' | dd of="$WORK/e.dbf" bs=1 seek=$(($(head -c 10 "$TABLE" | od -An -tu2 -j8 -N2) + 1)) conv=notrunc 2>/dev/null
    (cd "$WORK" && "$PROGRAM" "$T" /CMP:e.dbf /CMP:c >"$WORK/stdout")
    cp "$TABLE" "$WORK/e.dbf"
    if [ -s "$WORK/stdout" ]; then
        measure cmp "$n" nothing "$PROGRAM" "$T" /CMP:e.dbf /CMP:c
    else
        note "cmp: /CMP is not in this build (no report); skipped"
    fi
    rm -f "$WORK"/e.* "$WORK"/w.* "$WORK"/c.*

    # Independent tools on the jobs they share with the program.
    if command -v pgdbf >/dev/null 2>&1; then
        measure pgdbf "$n" nothing sh -c "pgdbf -m '${TABLE%.dbf}.dbt' '$TABLE' >p.sql"
        rm -f "$WORK/p.sql"
    else
        note "pgdbf is not installed (apt-get install pgdbf); skipped"
    fi
    if "$PYTHON" -c 'import dbfread' 2>/dev/null; then
        measure dbfread "$n" nothing "$PYTHON" -c '
import sys, dbfread
table = dbfread.DBF(sys.argv[1], load=False)
print(sum(1 for _ in table.records) + sum(1 for _ in table.deleted))' "$TABLE"
    else
        note "python3-dbfread is not installed; skipped"
    fi
    rm -f "$WORK/listing.txt" "$WORK"/o.*
done

# The real table of the memo goal: 41,743 records with two memo fields, whose memo file
# is not there.
real_memo="$REALWORLD/luads_php-xbase/tests/Resources/foxpro/1.dbf"
if [ -n "$SIZES" ] && [ -f "$real_memo" ]; then
    echo "timing the real table without its memo file..."
    cp "$real_memo" "$WORK/real.dbf"
    measure memo.none.real 41743 nothing "$PROGRAM" real.dbf '/SELECT:*'
    measure memo.missing.real 41743 nothing "$PROGRAM" real.dbf /MEMO:text '/SELECT:*'
    rm -f "$WORK/real.dbf"
elif [ -n "$SIZES" ]; then
    note "memo.missing.real: the real tables (../shared/realworld/files) are not here; skipped"
fi

# ---- Orders of keys in shapes that break a naive quicksort ----------------------------

for n in $KEYS; do
    echo "timing orders of $n keys..."
    for shape in $SHAPES; do
        measure_capped "$CAP" "order.$shape" "$n" nothing "$PROGRAM" "../k$n-$shape.dbf" /ORDER:K /COUNT
        if [ "$(tail -n 1 "$WORK/results" | cut -d' ' -f6)" = ok ]; then check "order.$shape" "$n" "$(cat "$WORK/stdout")"; fi
    done
done

# ---- System calls of commands that should write and read in blocks --------------------

if [ -n "$CALLS" ] && ! command -v strace >/dev/null 2>&1; then
    note "strace is not installed (apt-get install strace): no system-call counts"
    CALLS=
fi
for n in $CALLS; do
    echo "counting system calls on $n records..."
    TABLE="$DIR/t$n.dbf"
    count_calls calls.count "$n" fresh_copy "$PROGRAM" w.dbf /COUNT
    count_calls calls.sort "$n" fresh_copy "$PROGRAM" w.dbf /SORT:NAME
    count_calls calls.out.dbf "$n" fresh_copy "$PROGRAM" w.dbf /OUT:o.dbf '/SELECT:*'
    count_calls calls.update "$n" fresh_copy "$PROGRAM" w.dbf /FIELD:QTY=QTY+1 /UPDATE
    count_calls calls.order.list "$n" fresh_copy "$PROGRAM" w.dbf /ORDER:NAME /OUT:o.txt '/SELECT:*'
    count_calls calls.append "$n" fresh_copy "$PROGRAM" w.dbf "/APPEND:$n"
    import_copy() { fresh_copy; cp "$TABLE" "$WORK/o.dbf"; cp "${TABLE%.dbf}.dbt" "$WORK/o.dbt"; }
    count_calls calls.import "$n" import_copy "$PROGRAM" w.dbf +o.dbf
    count_calls calls.delete "$n" fresh_copy "$PROGRAM" w.dbf /DELETE:all
    count_calls calls.recall "$n" fresh_copy "$PROGRAM" w.dbf /RECALL:all
    count_calls calls.pack "$n" fresh_copy "$PROGRAM" w.dbf /PACK
    count_calls calls.memo.text "$n" fresh_copy "$PROGRAM" w.dbf /MEMO:text '/SELECT:*'
    memo_gone() { fresh_copy; rm -f "$WORK/w.dbt"; }
    count_calls calls.memo.missing "$n" memo_gone "$PROGRAM" w.dbf /MEMO:text '/SELECT:*'
    rm -f "$WORK"/w.* "$WORK"/o.*
done

# ---- The big table ------------------------------------------------------------------------

if [ "$BIG" = 1 ]; then
    n=$BIG_RECORDS
    TABLE="$DIR/big$n.dbf"
    column="$DIR/big$n.age"
    expect="$DIR/big$n.expect"
    generator="$DIR/make_big_table"
    table_kb=$((n * 104 / 1024))
    if [ ! -x "$generator" ] || [ "$ROOT/bench/make_big_table.cpp" -nt "$generator" ]; then
        ${CXX:-c++} -O2 -std=c++17 -o "$generator" "$ROOT/bench/make_big_table.cpp"
    fi
    if [ ! -s "$expect" ] || [ "$generator" -nt "$TABLE" ]; then
        rm -f "$TABLE" "$column" "$expect"
        if [ "$(free_kb)" -lt $((table_kb * 12 / 10)) ]; then
            note "big: $((table_kb / 1024)) MiB for the table and less than 1.2 times that free; skipped"
        else
            echo "generating $n records ($((table_kb / 1024)) MiB)..."
            start=$(now)
            "$generator" "$TABLE" "$n" "$column" >"$expect.new"
            mv "$expect.new" "$expect"
            echo "generated in $((($(now) - start) / 1000000000)) s"
        fi
    fi
    if [ -s "$expect" ]; then
        echo "timing $n records (each job once)..."
        echo "table $n $(stat -c %s "$TABLE")" >>"$WORK/about"
        live=$(awk '$1 == "live" { print $2 }' "$expect")
        filtered=$(awk '$1 == "filter" { print $2 }' "$expect")
        saved_repeat=$REPEAT
        REPEAT=1
        T="../big$n.dbf"

        measure big.count "$n" nothing "$PROGRAM" "$T" /COUNT
        check big.count "$n" "$(cat "$WORK/stdout")"
        measure big.filter "$n" nothing "$PROGRAM" "$T" "/FILTER:$FILTER" /COUNT
        check big.filter "$filtered" "$(cat "$WORK/stdout")"
        measure_capped "$BIG_CAP" big.order "$n" nothing "$PROGRAM" "$T" /ORDER:AGE /COUNT
        if [ "$(tail -n 1 "$WORK/results" | cut -d' ' -f6)" = ok ]; then check big.order "$n" "$(cat "$WORK/stdout")"; fi
        measure big.sort.column "$n" nothing env LC_ALL=C sort -o /dev/null "$column"

        if [ "$(free_kb)" -lt $((table_kb * 25 / 10)) ]; then
            note "big.list: less than 2.5 times the table's size free on $DIR; skipped"
        else
            measure big.list "$n" clean_outputs "$PROGRAM" "$T" /OUT:o.txt '/SELECT:*'
            check big.list "$n" "$(wc -l <"$WORK/o.txt")"
            measure_cat o.txt "$n" big.list
        fi

        if [ "$(free_kb)" -lt $((table_kb * 3)) ]; then
            note "big.pack, big.sort: less than 3 times the table's size free on $DIR; skipped"
        else
            measure big.cp "$n" clean_copy cp "$TABLE" c.dbf
            clean_copy
            measure big.pack "$n" fresh_copy "$PROGRAM" w.dbf /PACK
            check big.pack "$live" "$(cd "$WORK" && "$PROGRAM" w.dbf /COUNT)"
            measure_capped "$BIG_CAP" big.sort "$n" fresh_copy "$PROGRAM" w.dbf /SORT:AGE
            if [ "$(tail -n 1 "$WORK/results" | cut -d' ' -f6)" = ok ]; then
                check big.sort "$n" "$(cd "$WORK" && "$PROGRAM" w.dbf /COUNT)"
                if (cd "$WORK" && "$PROGRAM" w.dbf /SELECT:AGE | LC_ALL=C sort -c >/dev/null 2>&1); then
                    check big.sort.ordered yes yes
                else
                    check big.sort.ordered yes no
                fi
            fi
            rm -f "$WORK"/w.* "$WORK"/c.*
        fi
        REPEAT=$saved_repeat
    fi
fi

# ---- Report -------------------------------------------------------------------------------

"$PYTHON" "$ROOT/bench/report.py" "$WORK"
