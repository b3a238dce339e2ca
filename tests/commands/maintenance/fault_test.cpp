// tests/commands/maintenance/fault_test.cpp
//
// Commands that change a table, run again and again with the disk failing at the
// first, second, third ... write. After each failure the table still opens, its
// header counts the records the file holds, and every record the command was not
// changing is byte for byte what it was.
#include <cstring>
#include <algorithm>
#include <functional>
#include <set>

#include <gtest/gtest.h>

#include "support/engine.h"

#include "support/inprocess.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

TableImage people() {
    TableImage t;
    t.signature = 0x83;
    t.fields = {{"NAME", 'C', 8}, {"AGE", 'N', 3}, {"NOTE", 'M', 10}};
    const char* names[] = {"ADA", "BOB", "CY", "DEE", "EVE", "FAY"};
    for (int i = 0; i < 6; ++i) t.add({names[i], std::to_string(20 + i), ""}, i == 2);
    return t;
}

struct TableState {
    uint32_t header_count;
    int32_t file_count;  // what the file's size holds
    std::vector<std::string> records;
};

TableState inspect(const ScratchDir& dir, const char* name) {
    TableState s{};
    std::string bytes = dir.read(name);
    EXPECT_GE(bytes.size(), 32u);
    if (bytes.size() < 32) return s;
    std::memcpy(&s.header_count, bytes.data() + 4, 4);
    auto table = open_table(dir.file(name));
    EXPECT_NE(table, nullptr) << "the table no longer opens";
    if (!table) return s;
    s.file_count = dbf_record_count(*table);
    for (int32_t i = 0; i < s.file_count; ++i) {
        (void)dbf_read_record(*table, i);
        s.records.emplace_back(reinterpret_cast<const char*>(table->record.data()), table->header.record_length);
    }
    return s;
}

// Runs `args` on a fresh copy of `image` with 0, 1, 2, ... writes allowed until a run
// gets through; `check` judges the table after each failed run.
void with_failing_disk(const TableImage& image, const std::vector<std::string>& args,
                       const std::function<void(const TableState& before, const TableState& after)>& check) {
    for (long long budget = 0; budget < 200; ++budget) {
        SCOPED_TRACE("writes allowed: " + std::to_string(budget));
        ScratchDir dir;
        dir.write("t.dbf", image.bytes());
        TableState before = inspect(dir, "t.dbf");
        std::vector<std::string> call = {"t.dbf"};
        call.insert(call.end(), args.begin(), args.end());
        run_in_process(dir, call, budget);
        TableState after = inspect(dir, "t.dbf");
        EXPECT_EQ(after.header_count, static_cast<uint32_t>(after.file_count)) << "header and file disagree";
        check(before, after);
        // A run that never met the failing disk ends the walk.
        ScratchDir reference;
        reference.write("t.dbf", image.bytes());
        run_in_process(reference, call);
        if (reference.read("t.dbf") == dir.read("t.dbf")) return;
    }
    ADD_FAILURE() << "the command never got through";
}

}  // namespace

TEST(FailingDisk, UpdateChangesWholeRecordsOrNone) {
    TableImage image = people();
    TableImage updated = image;
    for (std::string& record : updated.records) {
        int age = std::stoi(record.substr(9, 3));
        std::string text = std::to_string(age + 1);
        record.replace(9, 3, std::string(3 - text.size(), ' ') + text);
    }
    with_failing_disk(image, {"/FIELD:AGE=AGE+1", "/UPDATE"}, [&](const TableState& before, const TableState& after) {
        ASSERT_EQ(after.records.size(), before.records.size());
        for (size_t i = 0; i < after.records.size(); ++i)
            EXPECT_TRUE(after.records[i] == image.records[i] || after.records[i] == updated.records[i]) << i;
    });
}

TEST(FailingDisk, AppendKeepsEveryOldRecord) {
    with_failing_disk(people(), {"/BLANK", "/FIELD:NAME=\"NEW\"", "/APPEND:3"},
                      [](const TableState& before, const TableState& after) {
                          ASSERT_GE(after.records.size(), before.records.size());
                          EXPECT_LE(after.records.size(), before.records.size() + 3);
                          for (size_t i = 0; i < before.records.size(); ++i)
                              EXPECT_EQ(after.records[i], before.records[i]) << i;
                      });
}

TEST(FailingDisk, ImportKeepsEveryOldRecord) {
    TableImage image = people();
    with_failing_disk(image, {"+t.dbf"}, [](const TableState& before, const TableState& after) {
        ASSERT_GE(after.records.size(), before.records.size());
        for (size_t i = 0; i < before.records.size(); ++i) EXPECT_EQ(after.records[i], before.records[i]) << i;
    });
}

// Live records of a table, in file order, without their marks' neighbours: what a
// pack or a sort must keep whatever happens.
std::multiset<std::string> live(const TableState& s) {
    std::multiset<std::string> out;
    for (const std::string& r : s.records)
        if (!r.empty() && r[0] != '*') out.insert(r.substr(1, 11));
    return out;
}

TEST(FailingDisk, PackLosesNoLiveRecord) {
    for (const char* pack : {"/PACK", "/PACK:dbf"}) {
        SCOPED_TRACE(pack);
        with_failing_disk(people(), {pack}, [](const TableState& before, const TableState& after) {
            std::multiset<std::string> kept = live(after);
            for (const std::string& record : live(before)) EXPECT_EQ(kept.count(record) >= 1, true) << record;
        });
    }
}

TEST(FailingDisk, SortLeavesTheOriginalOrTheSortedTable) {
    TableImage image = people();
    with_failing_disk(image, {"/DESC", "/SORT:NAME"}, [&](const TableState& before, const TableState& after) {
        ASSERT_EQ(after.records.size(), before.records.size());
        std::multiset<std::string> a(after.records.begin(), after.records.end());
        std::multiset<std::string> b(before.records.begin(), before.records.end());
        EXPECT_EQ(a, b) << "neither the original nor a complete sorted copy";
    });
}

TEST(FailingDisk, TruncationKeepsTheRecordsBeforeTheCut) {
    for (const char* cut : {"/TRUNC:3", "/TRUNC:9", "/ZAP"}) {
        SCOPED_TRACE(cut);
        with_failing_disk(people(), {cut}, [](const TableState& before, const TableState& after) {
            size_t kept = std::min(after.records.size(), before.records.size());
            for (size_t i = 0; i < kept; ++i) EXPECT_EQ(after.records[i], before.records[i]) << i;
        });
    }
}

TEST(FailingDisk, ListingIntoATableKeepsTheTargetWhole) {
    for (long long budget = 0; budget < 60; ++budget) {
        SCOPED_TRACE("writes allowed: " + std::to_string(budget));
        ScratchDir dir;
        dir.write("t.dbf", people().bytes());
        TableImage target;
        target.fields = {{"NAME", 'C', 8}, {"AGE", 'N', 3}};
        target.add({"OLD", "99"});
        dir.write("x.dbf", target.bytes());
        run_in_process(dir, {"t.dbf", "/OUT:x.dbf", "/SELECT:NAME;AGE"}, budget);
        TableState after = inspect(dir, "x.dbf");
        EXPECT_EQ(after.header_count, static_cast<uint32_t>(after.file_count));
        ASSERT_GE(after.records.size(), 1u);
        EXPECT_EQ(after.records[0], target.records[0]);
        if (after.records.size() == 7) return;
    }
    ADD_FAILURE() << "the listing never got through";
}
