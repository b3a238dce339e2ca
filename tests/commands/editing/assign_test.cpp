// tests/commands/editing/assign_test.cpp
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <gtest/gtest.h>

#include "commands/editing/assign.h"
#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "table/dbf.h"

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
    TestRun test;
    Current() {
        dir.write("t.dbf", goods({{"A", "1", "1"}, {"B", "2", "2"}, {"C", "3", "3"}}).bytes());
        table = open_table(dir.file("t.dbf"));
        test.run.field_text = "QTY=0";
    }
    void update() {
        Pass pass = test.pass(*table);
        cmd_update(pass);
    }
    std::string file() const { return dir.read("t.dbf"); }
};

TEST(Assign, UpdateFollowsTheRecordList) {
    {
        Current c;
        c.test.run.ranges = std::vector<int32_t>{};  // a list that exists and is empty
        c.update();
        EXPECT_EQ(c.file(), goods({{"A", "1", "1"}, {"B", "2", "2"}, {"C", "3", "3"}}).bytes());
    }
    Current c;
    c.test.run.ranges = std::vector<int32_t>{1, 3, -1, 99, 1};  // entries past the end are passed over
    c.update();
    EXPECT_EQ(c.file(), goods({{"A", "1", "1"}, {"B", "2", "0"}, {"C", "3", "3"}}).bytes());
}

// Adjacent records go out in one write; a write that fails costs the records of its
// run and no other.
TEST(Assign, AFailingWriteCostsOnlyItsRun) {
    {
        Current c;
        WriteBudget none(0);
        c.update();
        EXPECT_EQ(c.file(), goods({{"A", "1", "1"}, {"B", "2", "2"}, {"C", "3", "3"}}).bytes());
    }
    {
        Current c;
        WriteBudget one(1);
        c.update();
        EXPECT_EQ(c.file(), goods({{"A", "1", "0"}, {"B", "2", "0"}, {"C", "3", "0"}}).bytes());
    }
    // Positions 2, 0, 1 make two runs: {2} and {0, 1}. The first write is allowed.
    Current c;
    c.test.run.ranges = std::vector<int32_t>{2, 0, 1};
    {
        WriteBudget one(1);
        c.update();
    }
    EXPECT_EQ(c.file(), goods({{"A", "1", "1"}, {"B", "2", "2"}, {"C", "3", "0"}}).bytes());
}

}  // namespace
