#!/bin/sh
# Times the program's main jobs on tables of 100,000 and 1,000,000 records and sets
# each beside a floor or a rival doing the same work on the same machine:
#
#   sh bench/run.sh [path/to/trugtool]
#
# SIZES (default "100000 1000000") and REPEAT (default 3: the best of three runs
# counts) may be set in the environment; BENCH_DIR (default build-bench/) holds the
# generated tables, which are made once and kept, and a work directory emptied
# on every run. Wall time is measured with date, CPU time (user + system) and peak
# memory with GNU time; on a machine shared with other work, the CPU time says
# more than the wall time.
set -eu

ROOT=$(cd "$(dirname "$0")/.." && pwd)
PROGRAM=$(realpath "${1:-$ROOT/build/trugtool}")
DIR=${BENCH_DIR:-$ROOT/build-bench}
SIZES=${SIZES:-100000 1000000}
REPEAT=${REPEAT:-3}
PYTHON=/usr/bin/python3
[ -x "$PYTHON" ] || PYTHON=python3
TIME=/usr/bin/time
if [ ! -x "$TIME" ]; then
    echo "GNU time (/usr/bin/time) is needed for CPU time and peak memory." >&2
    exit 1
fi

mkdir -p "$DIR"
WORK="$DIR/work"  # beside the tables: the program reaches them as ../
rm -rf "$WORK"
mkdir -p "$WORK"
RESULTS="$WORK/results"
NOTES="$WORK/notes"
: >"$RESULTS"
: >"$NOTES"

note() { echo "$*" >>"$NOTES"; }

# ---- Tables ---------------------------------------------------------------------------

for n in $SIZES; do
    table="$DIR/t$n.dbf"
    if [ ! -f "$table" ] || [ "$ROOT/bench/make_table.py" -nt "$table" ]; then
        echo "generating $n records..."
        "$PYTHON" "$ROOT/bench/make_table.py" "$table" "$n"
    fi
done

# ---- Measuring --------------------------------------------------------------------------

now() { date +%s%N; }

# measure JOB RECORDS SETUP command...: runs the command REPEAT times in $WORK,
# each after SETUP (a shell function, or "true"; not timed), and records the best
# wall time, the best CPU time and the largest peak memory.
measure() {
    job=$1 records=$2 setup=$3
    shift 3
    best_wall= best_cpu= peak=0
    i=0
    while [ "$i" -lt "$REPEAT" ]; do
        i=$((i + 1))
        "$setup"
        start=$(now)
        if ! (cd "$WORK" && "$TIME" -f "%U %S %M" -o "$WORK/time" "$@" >"$WORK/stdout"); then
            note "$job ($records): the command failed: $*"
            return 1
        fi
        finish=$(now)
        wall=$((finish - start))
        read -r user sys rss <"$WORK/time"
        cpu=$(awk -v u="$user" -v s="$sys" 'BEGIN { printf "%.2f", u + s }')
        if [ -z "$best_wall" ] || [ "$wall" -lt "$best_wall" ]; then best_wall=$wall; fi
        if [ -z "$best_cpu" ] || awk -v a="$cpu" -v b="$best_cpu" 'BEGIN { exit !(a < b) }'; then best_cpu=$cpu; fi
        if [ "$rss" -gt "$peak" ]; then peak=$rss; fi
    done
    echo "$job $records $best_wall $best_cpu $peak" >>"$RESULTS"
}

# measure_cat FILE RECORDS JOB: the time of `cat` writing a copy of $WORK/FILE, as
# job "cat:JOB", the floor of the listing JOB that wrote FILE.
measure_cat() {
    echo "$3 $2 $(stat -c %s "$WORK/$1")" >>"$WORK/sizes"
    cp "$WORK/$1" "$WORK/cat.in"
    measure "cat:$3" "$2" clean_cat sh -c 'cat cat.in >cat.out'
    rm -f "$WORK/cat.in" "$WORK/cat.out"
}

clean_outputs() { rm -f "$WORK"/o.txt "$WORK"/o.sql "$WORK"/o.htm "$WORK"/o.dbf "$WORK"/o.dbt; }
clean_cat() { rm -f "$WORK/cat.out"; }
clean_copy() { rm -f "$WORK"/c.*; }
# A fresh copy of the table for commands that change it.
fresh_copy() {
    rm -f "$WORK"/w.*
    cp "$TABLE" "$WORK/w.dbf"
    cp "${TABLE%.dbf}.dbt" "$WORK/w.dbt"
}
nothing() { :; }

# ---- Jobs ---------------------------------------------------------------------------------

FILTER='QTY>400&NAME="S"'

for n in $SIZES; do
    TABLE="$DIR/t$n.dbf"
    # Relative: an argument that starts with "/" is a parameter, not a table.
    T="../t$n.dbf"
    echo "timing $n records..."

    measure count "$n" nothing "$PROGRAM" "$T" /COUNT

    for kind in txt sql htm; do
        measure "list.$kind" "$n" clean_outputs "$PROGRAM" "$T" "/OUT:o.$kind" '/SELECT:*'
        measure_cat "o.$kind" "$n" "list.$kind"
        if [ "$kind" = txt ]; then cp "$WORK/o.txt" "$WORK/listing.txt"; fi
    done

    clean_outputs
    (cd "$WORK" && "$PROGRAM" "$T" /OUT:o.dbf '/SELECT:*' >"$WORK/stdout")
    if [ -s "$WORK/o.dbf" ] && ! grep -q "Can't open" "$WORK/stdout"; then
        measure list.dbf "$n" clean_outputs "$PROGRAM" "$T" /OUT:o.dbf '/SELECT:*'
        cat "$WORK/o.dbf" "$WORK/o.dbt" >"$WORK/o.tbl" 2>/dev/null || cp "$WORK/o.dbf" "$WORK/o.tbl"
        measure_cat o.tbl "$n" list.dbf
    else
        note "list.dbf: /OUT:x.dbf is not in this build (\"$(head -c 60 "$WORK/stdout")\"); skipped"
    fi

    # The filter beside awk applying the same test to the text listing; both counts
    # must agree.
    measure filter "$n" nothing "$PROGRAM" "$T" "/FILTER:$FILTER" /COUNT
    ours=$(cat "$WORK/stdout")
    measure awk.filter "$n" nothing awk -F'|' '$4 + 0 > 400 && substr($1, 1, 1) == "S" { n++ } END { print n + 0 }' listing.txt
    theirs=$(cat "$WORK/stdout")
    [ "$ours" = "$theirs" ] || note "filter ($n): $ours records, awk counts $theirs"

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

# ---- Report -------------------------------------------------------------------------------

echo
echo "$(nproc) cores; best of $REPEAT runs; $PROGRAM"
echo
awk -v sizes_file="$WORK/sizes" '
BEGIN {
    while ((getline line < sizes_file) > 0) { split(line, f, " "); size[f[1] " " f[2]] = f[3] }
    # Each job and what it is set beside.
    against["list.txt"] = "cat:list.txt"; against["list.sql"] = "cat:list.sql"; against["list.htm"] = "cat:list.htm"
    against["list.dbf"] = "cat:list.dbf"
    against["order.list.name"] = "cat:order.list.name"; against["order.list.price"] = "cat:order.list.price"
    against["filter"] = "awk.filter"; against["order.char"] = "sort.char"; against["order.num"] = "sort.num"
    against["sort"] = "cp"; against["pack"] = "cp"; against["update"] = "cp"
    # The tools the other way round: the time of the program over that of the tool.
    against["pgdbf"] = "list.sql"; against["dbfread"] = "list.txt"
}
{ wall[$1 " " $2] = $3 / 1e9; cpu[$1 " " $2] = $4; peak[$1 " " $2] = $5 / 1024; order[++rows] = $1 " " $2 }
END {
    printf "%-20s %9s %9s %8s %12s %9s %9s  %-22s %7s %7s\n", "job", "records", "wall s", "cpu s", "records/s", "peak MiB",
        "out MB", "ratio", "wall x", "cpu x"
    for (r = 1; r <= rows; r++) {
        key = order[r]; split(key, k, " "); job = k[1]; n = k[2]
        rate = wall[key] > 0 ? sprintf("%.0f", n / wall[key]) : "-"
        out = (key in size) ? sprintf("%.1f", size[key] / 1e6) : ""
        ref = ""; wx = ""; cx = ""
        if (job in against && (against[job] " " n) in wall) {
            ref = against[job]; rk = ref " " n
            if (job == "pgdbf" || job == "dbfread") {
                ref = ref " / " job; t = rk; rk = key; key = t
            }
            if (wall[rk] > 0) wx = sprintf("%.2f", wall[key] / wall[rk])
            if (cpu[rk] > 0) cx = sprintf("%.2f", cpu[key] / cpu[rk])
            key = order[r]
        }
        if (job ~ /^cat:/ || job ~ /^(awk|sort)\./ || job == "cp" || job == "pgdbf" || job == "dbfread") rate = "-"
        printf "%-20s %9d %9.3f %8.2f %12s %9.1f %9s  %-22s %7s %7s\n", job, n, wall[key], cpu[key], rate, peak[key], out,
            ref, wx, cx
    }
}' "$RESULTS"
if [ -s "$NOTES" ]; then
    echo
    awk '!seen[$0]++' "$NOTES"
fi
