// tests/commands/maintenance/sort_runs_test.cpp
//
// /SORT: and /ORDER: on a table whose keys pass the key memory limit, run through
// their handlers over a scratch directory on a disk that fills up at every write in
// turn: the same order as in memory, the table sorted as in memory or left whole with
// a message that names the file, and no run file left.
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

// A run over a directory holding t.dbf, with this key memory limit, its console a string.
struct HandlerRun {
    ScratchDir dir;
    std::string said;
    OutStream console{said};
    FileSystem fs;
    ::Run run{console, fs};
    std::unique_ptr<DbfTable> table;
    HandlerRun(const TableImage& image, size_t limit) : fs((dir.write("t.dbf", image.bytes()), dir.path())) {
        run.settings.key_memory_limit = limit;
        table = dbf_open(fs, "t.dbf");
        table->settings.sort_descending = true;
    }
    Pass pass() { return Pass{run, *table, console}; }
    std::string out() {
        console.flush();
        return std::exchange(said, "");
    }
    // No run file and no copy of the sort left in the directory.
    bool only_the_table() const {
        for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
            if (entry.path().filename().string().find(".sort") != std::string::npos || entry.path().filename() == "t.tmp")
                return false;
        return true;
    }
};

// Keys of 2 fields take 9 bytes, 18 more beside them, 7 for the record: 1000 bytes
// hold some 30 records, so 1500 records make some 50 runs and two merge passes.
constexpr size_t kSmallLimit = 1000, kLarge = size_t{1} << 30;

}  // namespace

TEST(SortRuns, AFailingDiskLeavesTheTableAndNoRunFile) {
    const TableImage image = random_people();
    HandlerRun reference(image, kLarge);
    Pass reference_pass = reference.pass();
    cmd_order(reference_pass, "N;NAME");
    const std::vector<int32_t> order = *reference.table->order_index;
    cmd_sort(reference_pass, "N;NAME");
    const std::string sorted = reference.dir.read("t.dbf");

    bool sort_got_through = false;
    for (int64_t budget = 0; budget < 200 && !sort_got_through; ++budget) {
        SCOPED_TRACE(testing::Message() << "writes allowed: " << budget);
        HandlerRun h(image, kSmallLimit);
        h.fs.write_budget = budget;
        Pass pass = h.pass();
        // An order keeps in memory what the disk refuses.
        cmd_order(pass, "N;NAME");
        ASSERT_TRUE(h.table->order_index);
        EXPECT_EQ(*h.table->order_index, order);
        EXPECT_EQ(h.out(), "");
        EXPECT_TRUE(h.only_the_table());

        h.fs.write_budget = budget;
        cmd_sort(pass, "N;NAME");
        const std::string out = h.out();
        EXPECT_TRUE(h.only_the_table());
        if (out.empty()) {
            // The end mark behind the records is the one write a sort may lose.
            std::string got = h.dir.read("t.dbf");
            EXPECT_TRUE(got == sorted || got + '\x1a' == sorted) << "not the sorted table";
            sort_got_through = got == sorted;
        } else {
            static const std::regex kMessage(
                "Can't create \"t\\.tmp\"\n|Can't write \"t\\.(tmp|dbf\\.sort[0-9]+)\", table not sorted\n");
            EXPECT_TRUE(std::regex_match(out, kMessage)) << out;
            EXPECT_TRUE(h.dir.read("t.dbf") == image.bytes()) << "the table changed";
        }
    }
    EXPECT_TRUE(sort_got_through);
}
