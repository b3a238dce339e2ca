#!/usr/bin/env python3
# Prints the report of one bench/run.sh run from the files it leaves in its work
# directory:
#
#   python3 bench/report.py build-bench/work
#
#   about    "key value" lines: cores, repeat, slow, program, table (big table's size)
#   results  "job records wall_ns cpu_s peak_kib status runs", status ok, capped or failed
#   sizes    "job records bytes": the output a listing wrote
#   calls    "job records syscall calls": strace -c -f counts, one line a kind of call
#   commands "job arguments": the arguments of each job whose calls were counted
#   checks   "job expected actual": answers the generator knows
#   notes    free text: jobs skipped, commands that failed
# Three parts: every time beside its floor or rival, the system-call counts, and each
# goal of the scale work with its figure and whether it is met.
import os
import sys

MIB = 1 << 20
# What each job is set beside in the table of times: "tool / job" rows divide the
# other way round (this program's time over the tool's).
AGAINST = {
    "list.txt": "cat:list.txt", "list.sql": "cat:list.sql", "list.htm": "cat:list.htm",
    "list.prg": "cat:list.prg", "list.csv": "list.txt", "list.dbf": "cat:list.dbf",
    "order.list.name": "cat:order.list.name", "order.list.price": "cat:order.list.price",
    "filter": "awk.filter", "order.char": "sort.char", "order.num": "sort.num",
    "sort": "cp", "pack": "cp", "update": "cp",
    "memo.text": "memo.none", "memo.missing": "memo.none", "memo.missing.real": "memo.none.real",
    "order.sorted": "order.shuffled", "order.reverse": "order.shuffled", "order.equal": "order.shuffled",
    "order.sawtooth": "order.shuffled", "order.organ": "order.shuffled",
    "big.order": "big.sort.column", "big.list": "cat:big.list", "big.pack": "big.cp", "big.sort": "big.cp",
    "pgdbf": "list.sql", "dbfread": "list.txt",
}
TOOLS = ("pgdbf", "dbfread")
FLOORS = ("cat:", "awk.", "sort.", "big.sort.column", "big.cp", "cp", "pgdbf", "dbfread")


class Job:
    def __init__(self, fields):
        self.name, records, wall, cpu, peak, self.status, runs = fields
        self.records = int(records)
        self.wall = int(wall) / 1e9
        self.cpu = float(cpu)
        self.peak = int(peak) * 1024 / MIB
        self.runs = int(runs)

    def shown_wall(self):
        return "> %.0f" % self.wall if self.status == "capped" else "%.3f" % self.wall


def read_lines(work, name):
    path = os.path.join(work, name)
    if not os.path.exists(path):
        return []
    with open(path) as f:
        return [line.rstrip("\n") for line in f if line.strip()]


def ratio(a, b):
    return a / b if b > 0 else None


def fmt_ratio(value):
    return "" if value is None else "%.2f" % value


def main():
    work = sys.argv[1]
    about = dict(line.split(" ", 1) for line in read_lines(work, "about"))
    jobs = {}
    order = []
    for line in read_lines(work, "results"):
        job = Job(line.split())
        jobs[(job.name, job.records)] = job
        order.append(job)
    sizes = {}
    for line in read_lines(work, "sizes"):
        name, records, size = line.split()
        sizes[(name, int(records))] = int(size)
    calls = {}
    for line in read_lines(work, "calls"):
        name, records, syscall, count = line.split()
        calls.setdefault((name, int(records)), {})[syscall] = int(count)
    checks = [line.split(" ", 2) for line in read_lines(work, "checks")]
    commands = {}
    for line in read_lines(work, "commands"):
        name, arguments = line.split(" ", 1)
        if arguments.startswith("w.dbf "):
            arguments = arguments[6:]
        commands[name] = arguments + (", no memo file" if name.endswith(".missing") else "")

    print("%s cores; best of %s runs (a run over %s s is not repeated); %s" %
          (about.get("cores", "?"), about.get("repeat", "?"), about.get("slow", "?"), about.get("program", "?")))
    if "table" in about:
        records, size = about["table"].split()
        print("big table: %s records, %s bytes (%.2f GiB)" % (records, size, int(size) / (1 << 30)))

    print("\nTimes (capped: stopped after the time shown; '>' marks them)\n")
    print("%-20s %9s %9s %8s %12s %9s %9s  %-24s %7s %7s" %
          ("job", "records", "wall s", "cpu s", "records/s", "peak MiB", "out MB", "beside", "wall x", "cpu x"))
    for job in order:
        key = (job.name, job.records)
        rate = "-" if job.name.startswith(FLOORS) or job.wall == 0 or job.status != "ok" else \
            "%.0f" % (job.records / job.wall)
        out = "%.1f" % (sizes[key] / 1e6) if key in sizes else ""
        beside = wx = cx = ""
        ref = jobs.get((AGAINST.get(job.name), job.records))
        if ref is not None:
            ours, theirs = (ref, job) if job.name in TOOLS else (job, ref)
            beside = "%s / %s" % (ref.name, job.name) if job.name in TOOLS else ref.name
            wx = fmt_ratio(ratio(ours.wall, theirs.wall))
            cx = fmt_ratio(ratio(ours.cpu, theirs.cpu))
            if ours.status == "capped":
                wx = ">" + wx
        status = "" if job.status == "ok" else "  " + job.status
        print("%-20s %9d %9s %8.2f %12s %9.1f %9s  %-24s %7s %7s%s" %
              (job.name, job.records, job.shown_wall(), job.cpu, rate, job.peak, out, beside, wx, cx, status))

    if calls:
        print("\nSystem calls (strace -c -f, one run)\n")
        print("%-20s %9s %9s  %-40s %s" % ("job", "records", "calls", "arguments", "most frequent"))
        for (name, records), kinds in calls.items():
            top = sorted(kinds.items(), key=lambda kv: -kv[1])[:3]
            print("%-20s %9d %9d  %-40s %s" % (name, records, sum(kinds.values()), commands.get(name, ""),
                                               ", ".join("%s %d" % kv for kv in top)))

    goals = list(goal_rows(jobs, calls, checks, commands))
    if goals:
        print("\nGoals\n")
        width = max(len(g[0]) for g in goals)
        for what, figure, met in goals:
            print("%-*s  %-46s %s" % (width, what, figure, met))

    wrong = [c for c in checks if c[1] != c[2].strip()]
    print("\nAnswers checked against the generator: %d, %s" %
          (len(checks), "all right" if not wrong else "%d wrong" % len(wrong)))
    for job, expected, actual in wrong:
        print("  %s: expected %s, got %s" % (job, expected, actual.strip()[:60]))
    notes = list(dict.fromkeys(read_lines(work, "notes")))
    if notes:
        print()
        print("\n".join(notes))


def goal_rows(jobs, calls, checks, commands):
    """(goal, figure, met) for each goal whose jobs ran."""
    def find(name):
        found = [j for (n, _), j in jobs.items() if n == name]
        return max(found, key=lambda j: j.records) if found else None

    def verdict(ok):
        return "yes" if ok else "no"

    def beside(job, ref, limit):
        r = ratio(job.wall, ref.wall)
        if job.status == "capped":
            return "> %.0f s, stopped (%s: %.2f s)" % (job.wall, ref.name, ref.wall), "no"
        if job.status != "ok":
            return job.status, "no"
        return "%.2f s, %.2fx %s (%.2f s)" % (job.wall, r, ref.name, ref.wall), verdict(r <= limit)

    # Orders of every key shape within 2x the same keys shuffled.
    shuffled = find("order.shuffled")
    if shuffled:
        for shape in ("organ", "sorted", "reverse", "equal", "sawtooth"):
            job = find("order." + shape)
            if job:
                yield ("/ORDER:K, %d %s keys, within 2x shuffled" % (job.records, shape),) + \
                    beside(job, shuffled, 2.0)

    # The big table: the order against sort, memory, and every answer right.
    big_checks = {c[0]: c[1] == c[2].strip() for c in checks if c[0].startswith("big.")}
    order, sorted_column = find("big.order"), find("big.sort.column")
    if order and sorted_column:
        yield ("/ORDER:AGE, %d records, within 1.5x LC_ALL=C sort" % order.records,) + \
            beside(order, sorted_column, 1.5)
    for name in ("big.order", "big.sort"):
        job = find(name)
        if job:
            yield ("%s, %d records, peak memory at most 512 MiB" % (name, job.records),
                   "%.0f MiB%s" % (job.peak, " (stopped)" if job.status == "capped" else ""),
                   verdict(job.peak <= 512 and job.status == "ok"))
    for name in ("big.count", "big.filter", "big.list", "big.pack"):
        job = find(name)
        if job:
            bound = 64 + 4 * job.records / MIB
            right = big_checks.get(name)
            yield ("%s, %d records: right answer, peak within 64 MiB + 4 B a record" % (name, job.records),
                   "%.2f s, %.0f MiB (bound %.0f), answer %s" %
                   (job.wall, job.peak, bound, {True: "right", False: "WRONG", None: "-"}[right]),
                   verdict(right is not False and job.status == "ok" and job.peak <= bound))
    job = find("big.sort")
    if job:
        right = job.status == "ok" and big_checks.get("big.sort") and big_checks.get("big.sort.ordered")
        yield ("big.sort, %d records: every record kept, in order" % job.records,
               "> %.0f s, stopped" % job.wall if job.status == "capped" else
               "%.2f s, %s" % (job.wall, "right" if right else "WRONG"), verdict(right))
    listing, floor = find("big.list"), find("cat:big.list")
    if listing and floor:
        yield ("big.list, %d records, within 3x cat of its output" % listing.records,) + beside(listing, floor, 3.0)

    # System calls: a few hundred for each command, whatever the record count.
    for (name, records), kinds in calls.items():
        if name == "calls.count":
            continue
        total = sum(kinds.values())
        yield ("%s, %d records: a few hundred system calls (< 1000)" % (commands.get(name, name), records),
               "%d (/COUNT alone: %d)" % (total, sum(calls.get(("calls.count", records), {}).values())),
               verdict(total < 1000))

    # Listings at memory speed, on the largest standard table.
    for name in ("list.txt", "list.sql", "list.htm", "list.prg", "list.csv", "order.list.name", "order.list.price"):
        job, floor = find(name), find("cat:" + name)
        if job and floor:
            yield ("%s, %d records, within 3x cat of its output" % (name, job.records),) + beside(job, floor, 3.0)
    job, text = find("list.dbf"), find("list.txt")
    if job and text:
        yield ("list.dbf, %d records, within 3x the text listing" % job.records,) + beside(job, text, 3.0)
    job = find("list.csv")
    if job and text:
        yield ("list.csv, %d records, within 1.5x the text listing" % job.records,) + beside(job, text, 1.5)
    job, awk = find("filter"), find("awk.filter")
    if job and awk:
        yield ("filter, %d records, within 2x awk on the text listing" % job.records,) + beside(job, awk, 2.0)
    sql, pgdbf = find("list.sql"), find("pgdbf")
    if sql and pgdbf:
        wx, cx = ratio(sql.wall, pgdbf.wall), ratio(sql.cpu, pgdbf.cpu)
        yield ("list.sql, %d records, faster than pgdbf on wall and CPU" % sql.records,
               "%sx wall, %sx CPU (pgdbf: %.2f s, %.2f s CPU)" % (fmt_ratio(wx), fmt_ratio(cx) or "-", pgdbf.wall, pgdbf.cpu),
               verdict(wx < 1 and cx is not None and cx < 1))

    # Memo texts with the memo file missing: no dearer than the listing without them. The
    # real table (a memo in every record) when it is there; in the generated one only
    # every 10th record has a memo.
    for name, ref in (("memo.missing.real", "memo.none.real"), ("memo.missing", "memo.none")):
        job, plain = find(name), find(ref)
        if job and plain:
            yield ("/MEMO:text, memo file missing, %d records, within 1.5x no memos" % job.records,) + \
                beside(job, plain, 1.5)
            break


if __name__ == "__main__":
    main()
