// tests/commands/maintenance/sort_runs_test.cpp
//
// /SORT: and /ORDER: on tables whose keys pass the key memory limit, run through
// their handlers over a scratch directory: the same table and the same order as in
// memory, and on a disk that fills up at every write in turn, the table whole, a
// message that names the file, and no run file left.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "commands/maintenance/maintain.h"
#include "commands/selection/selection.h"
#include "support/cli.h"
#include "support/table_builder.h"

namespace {

// 1500 records of NAME C 5 and N N 4, a third of them marked deleted.
TableImage random_people() {
    std::mt19937 rng(42);
    TableImage image;
    image.fields = {{"NAME", 'C', 5}, {"N", 'N', 4}};
    for (int i = 0; i < 1500; ++i) {
        std::string name;
        for (int k = 0; k < 3; ++k) name += "abcXYZ"[rng() % 6];
        image.add({name, std::to_string(static_cast<int>(rng() % 200) - 100)}, rng() % 3 == 0);
    }
    return image;
}

// A run over `dir` with this key memory limit, its console a string.
struct HandlerRun {
    std::string said;
    OutStream console{said};
    FileSystem fs;
    ::Run run{console, fs};
    std::unique_ptr<DbfTable> table;
    HandlerRun(const ScratchDir& dir, size_t limit) : fs(dir.path()) {
        run.settings.key_memory_limit = limit;
        table = dbf_open(fs, "t.dbf");
    }
    Pass pass() { return Pass{run, *table, console}; }
    const std::string& out() {
        console.flush();
        return said;
    }
};

// Run files and the sort's copy left in the directory.
std::vector<std::string> leftovers(const ScratchDir& dir) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
        std::string name = entry.path().filename().string();
        if (name.find(".sort") != std::string::npos || name == "t.tmp") names.push_back(name);
    }
    return names;
}

// Keys of 2 fields take 9 bytes, 18 more beside them, 7 for the record: 1000 bytes
// hold some 30 records, so 1500 records make some 50 runs and two merge passes.
constexpr size_t kSmallLimit = 1000;

}  // namespace

TEST(SortRuns, SortAndOrderThroughRunFilesAsInMemory) {
    const TableImage image = random_people();
    for (bool descending : {false, true}) {
        for (const char* keys : {"NAME", "N;NAME"}) {
            SCOPED_TRACE(testing::Message() << keys << (descending ? ", descending" : ""));
            std::string sorted[2];
            std::vector<int32_t> order[2];
            int i = 0;
            for (size_t limit : {size_t{1} << 30, kSmallLimit}) {
                ScratchDir dir;
                dir.write("t.dbf", image.bytes());
                HandlerRun h(dir, limit);
                ASSERT_TRUE(h.table);
                h.table->settings.sort_descending = descending;
                Pass pass = h.pass();
                cmd_order(pass, keys);
                ASSERT_TRUE(h.table->order_index);
                order[i] = *h.table->order_index;
                cmd_sort(pass, keys);
                EXPECT_EQ(h.out(), "");
                sorted[i++] = dir.read("t.dbf");
                EXPECT_EQ(leftovers(dir), std::vector<std::string>{});
            }
            EXPECT_EQ(order[1], order[0]);
            EXPECT_EQ(sorted[1], sorted[0]);
        }
    }
}

TEST(SortRuns, AFailingDiskLeavesTheTableAndNoRunFile) {
    const TableImage image = random_people();
    ScratchDir reference;
    reference.write("t.dbf", image.bytes());
    HandlerRun in_memory(reference, size_t{1} << 30);
    Pass reference_pass = in_memory.pass();
    cmd_order(reference_pass, "NAME");
    const std::vector<int32_t> order = *in_memory.table->order_index;
    cmd_sort(reference_pass, "NAME");
    const std::string sorted = reference.read("t.dbf");

    bool sort_got_through = false;
    for (int64_t budget = 0; budget < 200 && !sort_got_through; ++budget) {
        SCOPED_TRACE(testing::Message() << "writes allowed: " << budget);
        ScratchDir dir;
        dir.write("t.dbf", image.bytes());
        HandlerRun h(dir, kSmallLimit);
        h.fs.write_budget = budget;
        Pass pass = h.pass();
        // An order keeps in memory what the disk refuses.
        cmd_order(pass, "NAME");
        ASSERT_TRUE(h.table->order_index);
        EXPECT_EQ(*h.table->order_index, order);
        EXPECT_EQ(h.out(), "");
        EXPECT_EQ(leftovers(dir), std::vector<std::string>{});

        h.fs.write_budget = budget;
        cmd_sort(pass, "NAME");
        const std::string& out = h.out();
        EXPECT_EQ(leftovers(dir), std::vector<std::string>{});
        if (out.empty()) {
            // The end mark behind the records is the one write a sort may lose.
            std::string got = dir.read("t.dbf");
            EXPECT_TRUE(got == sorted || got + '\x1a' == sorted) << "not the sorted table";
            sort_got_through = got == sorted;
        } else {
            static const std::regex kMessage(
                "Can't create \"t\\.tmp\"\n|Can't write \"t\\.(tmp|dbf\\.sort[0-9]+)\", table not sorted\n");
            EXPECT_TRUE(std::regex_match(out, kMessage)) << out;
            EXPECT_TRUE(dir.read("t.dbf") == image.bytes()) << "the table changed";
        }
    }
    EXPECT_TRUE(sort_got_through);
}
