// tests/commands/kill_test.cpp
//
// Runs killed half-way. Each command runs in a child process whose file system
// sends it SIGKILL at its Nth change of a file (a write, truncation, rename, link or
// removal). After each kill the table opens; its header counts the whole records
// in the file, save that an append killed between its records and the header that
// counts them leaves those records uncounted, never more; every record is as it was
// or as the command made it; a pack or a sort leaves the old table or the new one;
// and the command run again to the end gives what an undisturbed run gives. `make
// test` kills each command at a handful of points, `make check-deep` at every one,
// and kills the program itself with SIGKILL at random moments of runs over a larger
// table, where a kill may also fall inside a write.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/engine.h"
#include "support/inprocess.h"
#include "support/table_builder.h"

namespace {

// What a command promises about the file it changes.
enum class Promise {
    InPlace,   // the same records, each as it was or as the command made it
    Appended,  // the old records as they were, then a first part of the new ones
    Whole,     // the old table and memo file or the new ones, byte for byte
    Target,    // a listing's target: absent, or a first part of what it becomes
};

struct Case {
    const char* what;
    std::vector<std::string> args;
    Promise promise;
    const char* file = "t.dbf";  // the table the promise is about
    const char* memo = "t.dbt";
    bool target_exists = false;  // for a listing: x.dbf stands before the run
};

const Case kCases[] = {
    {"update", {"/FIELD:AGE=AGE+1;NOTE=\"changed note\"", "/UPDATE"}, Promise::InPlace},
    // Marks of records apart go in writes of their own; all of them in one.
    {"delete", {"/DELETE:1", "/DELETE:4", "/DELETE:8", "/DELETE:all"}, Promise::InPlace},
    {"append", {"/FIELD:NAME=\"NEW\";NOTE=\"added note\"", "/APPEND:12"}, Promise::Appended},
    {"import", {"+s.dbf"}, Promise::Appended},
    {"import of itself", {"+t.dbf"}, Promise::Appended},
    {"listing into itself", {"/OUT:t.dbf", "/SELECT:*"}, Promise::Appended},
    {"pack", {"/PACK"}, Promise::Whole},
    {"pack of records", {"/PACK:dbf"}, Promise::Whole},
    {"pack of memos", {"/PACK:memo"}, Promise::Whole},
    {"sort", {"/SORT:NAME"}, Promise::Whole},
    {"listing into a new table", {"/OUT:x.dbf", "/SELECT:*"}, Promise::Target, "x.dbf", "x.dbt"},
    {"listing into a table", {"/OUT:x.dbf", "/SELECT:*"}, Promise::Target, "x.dbf", "x.dbt", true},
};

TableImage with_memo(MemoImage& memo, const std::vector<std::string>& names, const char* note) {
    TableImage t;
    t.signature = 0x83;
    t.fields = {{"NAME", 'C', 8}, {"AGE", 'N', 3}, {"NOTE", 'M', 10}};
    memo.add("a text no record names");
    for (size_t i = 0; i < names.size(); ++i) {
        std::string block = i % 3 == 1 ? "" : std::to_string(memo.add(note + std::to_string(i)));
        t.add({names[i], std::to_string(20 + i), block}, i == 2 || i == 5);
    }
    return t;
}

// The files of one run: the table, the table it imports, the target that stands.
// Ten records, or as many more as `more` asks for.
void lay_out(const ScratchDir& dir, const Case& c, int more = 0) {
    MemoImage memo(MemoImage::Dbase3), source_memo(MemoImage::Dbase3), target_memo(MemoImage::Dbase3);
    std::vector<std::string> names = {"KIM", "ADA", "BOB", "LEE", "CY", "DEE", "EVE", "AL", "FAY", "JO"};
    for (int i = 0; i < more; ++i) {
        char name[16];
        std::snprintf(name, sizeof name, "R%d", (i * 7919) % 100000);
        names.push_back(name);
    }
    dir.write("t.dbf", with_memo(memo, names, "note ").bytes());
    dir.write("t.dbt", memo.bytes());
    dir.write("s.dbf", with_memo(source_memo, {"S1", "S2", "S3", "S4", "S5", "S6"}, "imported ").bytes());
    dir.write("s.dbt", source_memo.bytes());
    if (c.target_exists) {
        dir.write("x.dbf", with_memo(target_memo, {"X1", "X2"}, "target ").bytes());
        dir.write("x.dbt", target_memo.bytes());
    }
}

struct Snapshot {
    bool exists = false;
    bool opens = false;
    uint32_t header_count = 0;
    int32_t whole_records = 0;
    std::vector<std::string> records;  // each record's bytes, '|', its memo text
    std::string table_bytes, memo_bytes;
};

// The table as the next run finds it: opened first, which finishes a pack a kill
// left half-way, then read.
Snapshot snapshot(const ScratchDir& dir, const Case& c) {
    Snapshot s;
    s.exists = dir.exists(c.file);
    if (!s.exists) return s;
    std::unique_ptr<DbfTable> table = open_table(dir.file(c.file));
    s.table_bytes = dir.read(c.file);
    s.memo_bytes = dir.read(c.memo);
    if (s.table_bytes.size() >= 8) std::memcpy(&s.header_count, s.table_bytes.data() + 4, 4);
    if (!table) return s;
    s.opens = true;
    s.whole_records = dbf_record_count(*table);
    int note = dbf_find_field(*table, "NOTE");
    for (int32_t i = 0; i < s.whole_records; ++i) {
        if (!dbf_read_physical(*table, i)) break;
        std::string record(reinterpret_cast<const char*>(table->record.data()), table->header.record_length);
        s.records.push_back(record + "|" + dbf_memo_read(*table, note).value_or("<none>"));
    }
    return s;
}

Snapshot undisturbed(const Case& c, int more = 0) {
    ScratchDir dir;
    lay_out(dir, c, more);
    std::vector<std::string> call = {"t.dbf"};
    call.insert(call.end(), c.args.begin(), c.args.end());
    run_in_process(dir, call);
    return snapshot(dir, c);
}

// Judges the table after a kill against the one before and the one an undisturbed run makes.
void judge(const Case& c, const Snapshot& before, const Snapshot& after, const Snapshot& killed) {
    if (c.promise == Promise::Target && !killed.exists) return;
    ASSERT_TRUE(killed.opens) << "the table no longer opens";
    ASSERT_EQ(killed.records.size(), static_cast<size_t>(killed.whole_records)) << "a counted record can't be read";
    switch (c.promise) {
        case Promise::InPlace:
            EXPECT_EQ(killed.header_count, static_cast<uint32_t>(killed.whole_records));
            ASSERT_EQ(killed.records.size(), before.records.size());
            for (size_t i = 0; i < killed.records.size(); ++i)
                EXPECT_TRUE(killed.records[i] == before.records[i] || killed.records[i] == after.records[i])
                    << "record " << i << " is neither as it was nor as the command made it: " << killed.records[i];
            break;
        case Promise::Appended:
        case Promise::Target: {
            const Snapshot& first = c.promise == Promise::Target && !c.target_exists ? Snapshot{} : before;
            size_t old_count = first.records.size();
            ASSERT_GE(killed.records.size(), old_count);
            ASSERT_LE(killed.records.size(), after.records.size());
            EXPECT_LE(killed.header_count, static_cast<uint32_t>(killed.whole_records)) << "a record counted but missing";
            EXPECT_GE(killed.header_count, static_cast<uint32_t>(old_count)) << "records the header counted are lost";
            for (size_t i = 0; i < killed.records.size(); ++i)
                EXPECT_EQ(killed.records[i], i < old_count ? first.records[i] : after.records[i]) << "record " << i;
            break;
        }
        case Promise::Whole:
            EXPECT_EQ(killed.header_count, static_cast<uint32_t>(killed.whole_records));
            EXPECT_TRUE((killed.table_bytes == before.table_bytes && killed.memo_bytes == before.memo_bytes) ||
                        (killed.table_bytes == after.table_bytes && killed.memo_bytes == after.memo_bytes))
                << "a mixture of the old table and the new";
            break;
    }
}

// The points to kill at: all under `make check-deep`, a handful spread over the run otherwise.
std::vector<long long> kill_points(long long changes) {
    std::set<long long> points;
    if (deep_tests()) {
        for (long long n = 0; n < changes; ++n) points.insert(n);
    } else {
        for (long long n : {0LL, 1LL, changes / 4, changes / 2, 3 * changes / 4, changes - 2, changes - 1})
            if (n >= 0 && n < changes) points.insert(n);
    }
    return {points.begin(), points.end()};
}

}  // namespace

TEST(Killed, EveryCommandLeavesATableThatOpensWithWholeRecords) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        std::vector<std::string> call = {"t.dbf"};
        call.insert(call.end(), c.args.begin(), c.args.end());
        ScratchDir counting;
        lay_out(counting, c);
        const Snapshot before = snapshot(counting, c);
        const long long changes = count_changes(counting, call);
        const Snapshot after = undisturbed(c);
        ASSERT_GT(changes, 2);
        ASSERT_NE(after.table_bytes, before.table_bytes) << "the command changed nothing";
        for (long long point : kill_points(changes)) {
            SCOPED_TRACE("killed at change " + std::to_string(point) + " of " + std::to_string(changes));
            ScratchDir dir;
            lay_out(dir, c);
            ASSERT_TRUE(run_killed_at(dir, call, point)) << "the run ended before it was killed";
            judge(c, before, after, snapshot(dir, c));
            if (c.promise != Promise::Whole) continue;
            // No scratch file of the killed run trips up the next one.
            run_in_process(dir, call);
            Snapshot again = snapshot(dir, c);
            EXPECT_EQ(again.table_bytes, after.table_bytes) << "the command run again ends elsewhere";
            EXPECT_EQ(again.memo_bytes, after.memo_bytes);
        }
    }
}

TEST(Killed, AnAppendAfterAKilledOneCountsEveryRecord) {
    const Case& c = kCases[2];
    std::vector<std::string> call = {"t.dbf"};
    call.insert(call.end(), c.args.begin(), c.args.end());
    ScratchDir dir;
    lay_out(dir, c);
    const long long changes = count_changes(dir, call);
    for (long long point = 0; point < changes; ++point) {
        ScratchDir killed;
        lay_out(killed, c);
        ASSERT_TRUE(run_killed_at(killed, call, point));
        Snapshot s = snapshot(killed, c);
        if (s.header_count == static_cast<uint32_t>(s.whole_records)) continue;
        // Killed between a record and its header: the next append counts both.
        SCOPED_TRACE("killed at change " + std::to_string(point));
        run_in_process(killed, {"t.dbf", "/APPEND:1"});
        Snapshot next = snapshot(killed, c);
        EXPECT_EQ(next.whole_records, s.whole_records + 1);
        EXPECT_EQ(next.header_count, static_cast<uint32_t>(next.whole_records));
        return;
    }
    FAIL() << "no kill fell between a record and its header";
}

TEST(Killed, AtRandomMomentsTheProgramLeavesTheSamePromises) {
    if (!deep_tests()) GTEST_SKIP() << "runs under make check-deep";
    constexpr int kMore = 1500, kKills = 40;
    std::mt19937 random(std::random_device{}());
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        std::vector<std::string> call = {"t.dbf"};
        call.insert(call.end(), c.args.begin(), c.args.end());
        ScratchDir timing;
        lay_out(timing, c, kMore);
        const Snapshot before = snapshot(timing, c);
        auto start = std::chrono::steady_clock::now();
        Started(timing, call).wait();
        const auto duration = std::chrono::steady_clock::now() - start;
        const Snapshot after = undisturbed(c, kMore);
        for (int kill = 0; kill < kKills; ++kill) {
            auto delay = std::chrono::duration_cast<std::chrono::microseconds>(duration * (random() % 1000) / 900);
            SCOPED_TRACE("killed after " + std::to_string(delay.count()) + " us");
            ScratchDir dir;
            lay_out(dir, c, kMore);
            Started run(dir, call);
            std::this_thread::sleep_for(delay);
            run.kill();
            run.wait();
            judge(c, before, after, snapshot(dir, c));
        }
    }
}
