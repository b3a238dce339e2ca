// tests/edit/assign_test.cpp
#include <gtest/gtest.h>

#include "driver/parameters.h"
#include "edit/assign.h"
#include "support/cli.h"
#include "support/table_builder.h"
#include "table/dbf.h"
#include "table/file_io.h"

namespace {

using Records = std::vector<std::vector<std::string>>;

// GOODS: NAME C 8, PRICE N 6.2, QTY N 3.
TableImage goods(const Records& records = {{"APPLE", "1.50", "3"}, {"PEAR", "2.00", "5"}}) {
    TableImage t;
    t.fields = {{"NAME", 'C', 8}, {"PRICE", 'N', 6, 2}, {"QTY", 'N', 3}};
    for (const auto& values : records) t.add(values);
    return t;
}

// In-process: the record list, and a write that fails halfway.
struct Current {
    ScratchDir dir;
    std::unique_ptr<DbfTable> table;
    Current() {
        dir.write("t.dbf", goods({{"A", "1", "1"}, {"B", "2", "2"}, {"C", "3", "3"}}).bytes());
        table = dbf_open(dir.file("t.dbf").c_str());
        state.current_table = table.get();
        state.field_text = "QTY=0";
    }
    ~Current() {
        file_write_budget = -1;
        state.current_table = nullptr;
        state.field_text.reset();
        state.ranges.reset();
    }
    std::string file() const { return dir.read("t.dbf"); }
};

TEST(Assign, UpdateFollowsTheRecordList) {
    {
        Current c;
        state.ranges = std::vector<int32_t>{};  // a list that exists and is empty
        cmd_update();
        EXPECT_EQ(c.file(), goods({{"A", "1", "1"}, {"B", "2", "2"}, {"C", "3", "3"}}).bytes());
    }
    Current c;
    state.ranges = std::vector<int32_t>{1, 3, -1, 99, 1};  // entries past the end are passed over
    cmd_update();
    EXPECT_EQ(c.file(), goods({{"A", "1", "1"}, {"B", "2", "0"}, {"C", "3", "3"}}).bytes());
}

TEST(Assign, AFailingWriteCostsOnlyItsRecord) {
    Current c;
    file_write_budget = 1;
    cmd_update();
    EXPECT_EQ(c.file(), goods({{"A", "1", "0"}, {"B", "2", "2"}, {"C", "3", "3"}}).bytes());
}

}  // namespace
