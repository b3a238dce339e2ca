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

// The image as the program leaves it after an append: stamped with today's date.
TableImage stamped(TableImage image) {
    std::time_t now = std::time(nullptr);
    std::tm today{};
    gmtime_r(&now, &today);
    image.year = dbf_header_year(today.tm_year);
    image.month = static_cast<uint8_t>(today.tm_mon + 1);
    image.day = static_cast<uint8_t>(today.tm_mday);
    return image;
}

// Memo text that starts at `block` of a dBase III or FoxPro memo file.
std::string memo_at(const std::string& memo, bool foxpro, int block_size, int32_t block) {
    const size_t offset = static_cast<size_t>(block) * static_cast<size_t>(block_size);
    if (offset >= memo.size()) return "<no block>";
    if (!foxpro) return memo.substr(offset, memo.find('\x1A', offset) - offset);
    const auto byte = [&](size_t at) { return static_cast<uint32_t>(static_cast<uint8_t>(memo[at])); };
    const uint32_t length = byte(offset + 4) << 24 | byte(offset + 5) << 16 | byte(offset + 6) << 8 | byte(offset + 7);
    return memo.substr(offset + 8, length);
}

struct Edit {
    const char* what;
    std::vector<std::string> args;
    std::string out;
    Records records;  // the whole table afterwards
};

const Records kNone = {{"APPLE", "1.50", "3"}, {"PEAR", "2.00", "5"}};

const Edit kEdits[] = {
    {"an assignment reads the old value", {"/FIELD:PRICE=PRICE*2", "/UPDATE"}, "",
     {{"APPLE", "3.00", "3"}, {"PEAR", "4.00", "5"}}},
    {"a later assignment sees an earlier one", {"/FIELD:QTY=1;PRICE=QTY+1", "/UPDATE"}, "",
     {{"APPLE", "2.00", "1"}, {"PEAR", "2.00", "1"}}},
    {"a failed number fails every number behind it",
     {"/FIELD:QTY=1+;NAME=\"FIG\";PRICE=2", "/UPDATE"},
     "Error in: 1+\nError in: 2\nError in: 1+\nError in: 2\n", {{"FIG", "", ""}, {"FIG", "", ""}}},
    {"an unknown field is reported for each record", {"/FIELD:NAME=\"X\";BAD=1;QTY=7", "/UPDATE"},
     "Invalid field: BAD\nInvalid field: BAD\n", {{"X", "1.50", "7"}, {"X", "2.00", "7"}}},
    {"an assignment without = is passed over", {"/FIELD:x;QTY=4", "/UPDATE"}, "",
     {{"APPLE", "1.50", "4"}, {"PEAR", "2.00", "4"}}},
    {"a bad list leaves the last good one", {"/FIELD:QTY=9", "/FIELD:bad", "/FIELD:", "/UPDATE"},
     "Invalid condition...\nInvalid condition...\n", {{"APPLE", "1.50", "9"}, {"PEAR", "2.00", "9"}}},
    {"update needs a list", {"/UPDATE"}, "Fields must be specified...\n", kNone},
    {"text values drop their quotes", {"/TRIM:right", "/FIELD:NAME=NAME'!'", "/UPDATE"}, "",
     {{"APPLE!", "1.50", "3"}, {"PEAR!", "2.00", "5"}}},
    {"only ; separates, quotes or not", {"/FIELD:NAME=\"A;B\"", "/UPDATE"}, "",
     {{"A", "1.50", "3"}, {"A", "2.00", "5"}}},
    {"append zero adds nothing", {"/FIELD:QTY=2", "/APPEND:0"}, "", kNone},
    {"append of a word adds nothing", {"/FIELD:QTY=2", "/APPEND:abc"}, "", kNone},
    {"a negative append adds nothing", {"/FIELD:QTY=2", "/APPEND:-3"}, "", kNone},
    {"a record list limits the update", {"/FIELD:QTY=0", "/RANGE:2", "/UPDATE"}, "",
     {{"APPLE", "1.50", "3"}, {"PEAR", "2.00", "0"}}},
    {"an empty record list updates nothing", {"/RANGE:0", "/FIELD:QTY=0", "/UPDATE"}, "", kNone},
    {"list positions count through the order", {"/DESC", "/ORDER:NAME", "/RANGE:2", "/FIELD:QTY=0", "/UPDATE"},
     "", {{"APPLE", "1.50", "0"}, {"PEAR", "2.00", "5"}}},
    {"list positions count through the filter", {"/FILTER:QTY>3", "/RANGE:1", "/FIELD:QTY=0", "/UPDATE"}, "",
     {{"APPLE", "1.50", "3"}, {"PEAR", "2.00", "0"}}},
    {"a filter limits the update", {"/FILTER:NAME=\"AP\"", "/FIELD:PRICE=9", "/UPDATE"}, "",
     {{"APPLE", "9.00", "3"}, {"PEAR", "2.00", "5"}}},
};

TEST(Assign, CommandsChangeTheFile) {
    for (const Edit& e : kEdits) {
        SCOPED_TRACE(e.what);
        ScratchDir dir;
        dir.write("t.dbf", goods().bytes());
        std::vector<std::string> args = {"t.dbf"};
        args.insert(args.end(), e.args.begin(), e.args.end());
        RunResult result = dir.run(args);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.out, e.out);
        EXPECT_EQ(dir.read("t.dbf"), goods(e.records).bytes());  // the header stays as it was
    }
}

const Edit kAppends[] = {
    {"append takes the blank buffer and the list", {"/FIELD:NAME=\"KIWI\";QTY=2", "/APPEND"}, "",
     {{"APPLE", "1.50", "3"}, {"PEAR", "2.00", "5"}, {"KIWI", "", "2"}}},
    {"append of N adds N copies", {"/FIELD:QTY=QTY+1", "/APPEND:3"}, "",
     {{"APPLE", "1.50", "3"}, {"PEAR", "2.00", "5"}, {"", "", "1"}, {"", "", "1"}, {"", "", "1"}}},
    {"append blank ignores the list", {"/FIELD:QTY=2", "/APPEND:BLANK"}, "",
     {{"APPLE", "1.50", "3"}, {"PEAR", "2.00", "5"}, {"", "", ""}}},
    {"blank then append applies the list", {"/FIELD:QTY=9", "/UPDATE", "/BLANK", "/APPEND"}, "",
     {{"APPLE", "1.50", "9"}, {"PEAR", "2.00", "9"}, {"", "", "9"}}},
    {"append after update copies the last record", {"/FIELD:QTY=QTY+1", "/UPDATE", "/APPEND"}, "",
     {{"APPLE", "1.50", "4"}, {"PEAR", "2.00", "6"}, {"PEAR", "2.00", "7"}}},
    {"a text without a colon counts as none", {"/APPENDX"}, "",
     {{"APPLE", "1.50", "3"}, {"PEAR", "2.00", "5"}, {"", "", ""}}},
};

TEST(Assign, AppendAddsRecords) {
    for (const Edit& e : kAppends) {
        SCOPED_TRACE(e.what);
        ScratchDir dir;
        dir.write("t.dbf", goods().bytes());
        std::vector<std::string> args = {"t.dbf"};
        args.insert(args.end(), e.args.begin(), e.args.end());
        RunResult result = dir.run(args);
        EXPECT_EQ(result.out, e.out);
        EXPECT_EQ(dir.read("t.dbf"), stamped(goods(e.records)).bytes());
    }
}

TEST(Assign, EachTableOfTheCommandLineIsUpdated) {
    ScratchDir dir;
    dir.write("a.dbf", goods().bytes());
    dir.write("b.dbf", goods({{"FIG", "0.10", "1"}}).bytes());
    RunResult result = dir.run({"a.dbf", "b.dbf", "/FIELD:QTY=QTY*10", "/UPDATE"});
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(dir.read("a.dbf"), goods({{"APPLE", "1.50", "30"}, {"PEAR", "2.00", "50"}}).bytes());
    EXPECT_EQ(dir.read("b.dbf"), goods({{"FIG", "0.10", "10"}}).bytes());
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

// A value that outgrows the 65536-byte working buffer is not stored in pieces: it
// is reported like a value that cannot be evaluated, and the field stays blank.
TEST(Assign, AValueBeyondTheWorkingBufferIsAnError) {
    ScratchDir dir;
    TableImage t;
    t.fields = {{"BIG", 'C', 40000}, {"QTY", 'N', 3}};
    t.add({std::string(40000, 'x'), "1"});
    dir.write("t.dbf", t.bytes());
    RunResult result = dir.run({"t.dbf", "/FIELD:BIG=BIG BIG;QTY=2", "/UPDATE"});
    EXPECT_EQ(result.out, "Error in: " + std::string(40000, 'x') + " " + std::string(25534, 'x') + "\n");
    TableImage expected = t;
    expected.records = {t.record({"", "2"})};
    EXPECT_EQ(dir.read("t.dbf"), expected.bytes());
}

TEST(Assign, MemoAssignmentAppendsToTheMemoFile) {
    ScratchDir dir;
    TableImage t;
    t.signature = 0x83;
    t.fields = {{"NAME", 'C', 4}, {"NOTE", 'M', 10}};
    MemoImage memo(MemoImage::Dbase3);
    const int32_t old_block = memo.add("old");
    t.add({"A", "         " + std::to_string(old_block)});
    dir.write("t.dbf", t.bytes());
    dir.write("t.dbt", memo.bytes());
    EXPECT_EQ(dir.run({"t.dbf", "/FIELD:NOTE=NAME\" and more\"", "/UPDATE"}).out, "");
    const std::string file = dir.read("t.dbf");
    const std::string record = file.substr(file.size() - 1 - 15, 15);
    EXPECT_EQ(record.substr(0, 5), " A   ");
    const int32_t block = std::atoi(record.substr(5).c_str());
    EXPECT_NE(block, old_block);
    EXPECT_EQ(memo_at(dir.read("t.dbt"), false, 512, block), "A    and more");
    EXPECT_EQ(memo_at(dir.read("t.dbt"), false, 512, old_block), "old");
}

TEST(Assign, ImportMatchesFieldsByName) {
    ScratchDir dir;
    TableImage source;
    source.fields = {{"A", 'C', 4}, {"B", 'N', 5, 1}, {"C2N", 'C', 6}, {"N2C", 'N', 6, 2}};
    source.add({"x", "1.5", "12.5", "3.25"});
    source.add({"y", "-2.0", "abc", "-1"}, true);
    dir.write("src.dbf", source.bytes());
    TableImage target;
    target.fields = {{"B", 'N', 5, 1}, {"C", 'C', 3}, {"c2n", 'N', 5, 1}, {"N2C", 'C', 4}};
    target.add({"9.0", "zz", "", ""});
    dir.write("dst.dbf", target.bytes());

    RunResult result = dir.run({"dst.dbf", "+src.dbf", "+missing.dbf", "+dst.dbf"});
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.status, 0);
    TableImage expected = target;
    expected.add({"1.5", "", "12.5", "3.25"});  // A is dropped, C stays blank, numbers cross both ways
    expected.add({"-2.0", "", "0.0", "-1.0"});  // the deleted source record arrives undeleted
    // Importing a table into itself takes the records it had when the import began.
    expected.add({"9.0", "zz", "0.0", ""});  // a blank number reads as 0
    expected.add({"1.5", "", "12.5", "3.25"});
    expected.add({"-2.0", "", "0.0", "-1.0"});
    EXPECT_EQ(dir.read("dst.dbf"), stamped(expected).bytes());
}

TEST(Assign, ImportCarriesMemoAcrossFamilies) {
    ScratchDir dir;
    TableImage source;
    source.signature = 0x83;
    source.fields = {{"NOTE", 'M', 10}, {"TEXT", 'C', 6}, {"SHORT", 'M', 10}};
    MemoImage memo(MemoImage::Dbase3);
    const int32_t block = memo.add("a longer text");
    const int32_t second = memo.add("memo");
    source.add({std::to_string(block), "as memo", std::to_string(second)});
    dir.write("src.dbf", source.bytes());
    dir.write("src.dbt", memo.bytes());

    TableImage target;
    target.signature = 0x30;
    target.fields = {{"NOTE", 'M', 4}, {"TEXT", 'M', 4}, {"SHORT", 'C', 6}};
    dir.write("dst.dbf", target.bytes());
    MemoImage fox(MemoImage::FoxPro, 64);
    dir.write("dst.fpt", fox.bytes());

    EXPECT_EQ(dir.run({"dst.dbf", "+src.dbf"}).out, "");
    const std::string file = dir.read("dst.dbf");
    ASSERT_GE(file.size(), 16u);
    const std::string record = file.substr(file.size() - 1 - 15, 15);
    int32_t note = 0, text = 0;
    std::memcpy(&note, record.data() + 1, 4);
    std::memcpy(&text, record.data() + 5, 4);
    const std::string fpt = dir.read("dst.fpt");
    EXPECT_EQ(memo_at(fpt, true, 64, note), "a longer text");
    EXPECT_EQ(memo_at(fpt, true, 64, text), "as mem");
    EXPECT_EQ(record.substr(9), "memo  ");
}

// Root's files are read-only to an unprivileged user: every command must leave
// them as they are, and end normally.
TEST(Assign, ReadOnlyTablesStayUntouched) {
    if (!can_run_as_nobody()) GTEST_SKIP() << "needs to switch to an unprivileged user";
    const std::vector<std::vector<std::string>> kCalls = {
        {"/FIELD:QTY=5", "/UPDATE"}, {"/APPEND"}, {"/APPEND:3"}, {"/FIELD:NOTE=\"x\"", "/APPEND"},
        {"/FIELD:NOTE=\"x\"", "/UPDATE"}, {"+src.dbf"}, {"/DELETE:1"}, {"/DELETE:all", "/RECALL:all"},
    };
    TableImage t;
    t.signature = 0x83;
    t.fields = {{"NAME", 'C', 8}, {"QTY", 'N', 3}, {"NOTE", 'M', 10}};
    MemoImage memo(MemoImage::Dbase3);
    t.add({"A", "1", std::to_string(memo.add("old"))});
    for (const auto& call : kCalls) {
        SCOPED_TRACE(call[0]);
        ScratchDir dir;
        dir.write("t.dbf", t.bytes());
        dir.write("t.dbt", memo.bytes());
        dir.write("src.dbf", t.bytes());
        dir.write("src.dbt", memo.bytes());
        std::vector<std::string> args = {"t.dbf"};
        args.insert(args.end(), call.begin(), call.end());
        RunResult result = dir.run(args, true);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(dir.read("t.dbf"), t.bytes());
        EXPECT_EQ(dir.read("t.dbt"), memo.bytes());
    }
}

}  // namespace
