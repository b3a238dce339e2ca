// tests/commands/editing/ranges_test.cpp
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "commands/editing/ranges.h"
#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"

namespace {

// Five records of one C field of width 3: header 65 bytes, records 4 bytes.
TableImage five_records(const std::string& marks = "     ") {
    TableImage image;
    image.fields = {{"NAME", 'C', 3}};
    for (size_t i = 0; i < marks.size(); ++i) image.add({std::string(1, static_cast<char>('a' + i))}, marks[i] == '*');
    return image;
}

std::string marks_of(const std::string& bytes, size_t count = 5) {
    std::string marks;
    for (size_t i = 0; i < count; ++i) marks += bytes.at(65 + 4 * i);
    return marks;
}

std::vector<int32_t> positions(const char* text, int32_t limit = INT32_MAX) {
    std::vector<int32_t> out;
    parse_record_list(text, [&](int32_t p) { out.push_back(p); }, limit);
    return out;
}

// An open table as the current one, and an empty list state around each test.
struct CurrentTable {
    ScratchDir dir;
    std::unique_ptr<DbfTable> table;
    TestRun test;
    explicit CurrentTable(const TableImage& image) {
        dir.write("t.dbf", image.bytes());
        table = open_table(dir.file("t.dbf"));
    }
    Pass pass() { return test.pass(*table); }
    std::string marks() const { return marks_of(dir.read("t.dbf")); }
};

}  // namespace

TEST(RecordList, ReadsItemsInTypedOrder) {
    struct Case { const char* text; std::vector<int32_t> expected; };
    const Case kCases[] = {
        {"2-4", {1, 2, 3}},
        {"1;3,5", {0, 2, 4}},
        {";;2,,;3;", {1, 2}},
        {"3,1,1", {2, 0, 0}},
        {"0", {}},
        {"abc", {}},
        {"5-3", {}},
        {"3-", {}},
        {"-5", {}},
        {"4-4", {3}},
        {" 2x", {1}},
        {"+4", {3}},
        {"2-3-9", {1, 2}},  // cut at the first '-': the end reads "3-9" as 3
        {"99999999999", {INT32_MAX - 1}},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(positions(c.text), c.expected);
    }
}

TEST(RecordList, RangeStopsAtTheLimitButSingleNumbersDoNot) {
    EXPECT_EQ(positions("1-2000000000", 3), (std::vector<int32_t>{0, 1, 2}));
    EXPECT_EQ(positions("2-2147483647,9", 3), (std::vector<int32_t>{1, 2, 8}));
    EXPECT_EQ(positions("4-9", 3), (std::vector<int32_t>{}));
}

TEST(RangeParameter, BuildsTheStoredList) {
    struct Case { const char* what; std::vector<const char*> texts; std::optional<std::vector<int32_t>> expected; };
    const Case kCases[] = {
        {"range", {"2-4"}, std::vector<int32_t>{1, 2, 3}},
        {"zero makes an empty list", {"0"}, std::vector<int32_t>{}},
        {"backward range is empty", {"5-3"}, std::vector<int32_t>{}},
        {"duplicates stay", {"3,1,1"}, std::vector<int32_t>{2, 0, 0}},
        {"lists add up", {"2", "1-2"}, std::vector<int32_t>{1, 0, 1}},
        {"all drops the list", {"1-2", "all"}, std::nullopt},
        {"all in any case, first three letters", {"1-2", "ALLES"}, std::nullopt},
        {"all only at the start", {"2,all"}, std::vector<int32_t>{1}},
        {"a list after all starts anew", {"1", "all", "4"}, std::vector<int32_t>{3}},
        {"position past the end stays", {"9"}, std::vector<int32_t>{8}},
        {"huge range stops at the file's records", {"4-2000000000"}, std::vector<int32_t>{3, 4}},
        {"more entries than records", {"1-5", "5-1", "1-5", "3"},
         std::vector<int32_t>{0, 1, 2, 3, 4, 0, 1, 2, 3, 4, 2}},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        CurrentTable t(five_records());
        Pass pass = t.pass();
        for (const char* text : c.texts) cmd_range(pass, text);
        EXPECT_EQ(t.test.run.ranges, c.expected);
    }
}

TEST(DeleteParameter, FollowsFilterAndOrder) {
    CurrentTable t(five_records());
    t.table->filter_index = std::vector<int32_t>{1, 3, 4};
    Pass pass = t.pass();
    cmd_delete(pass, "all");
    EXPECT_EQ(t.marks(), " * **");
    cmd_recall(pass, "1");
    EXPECT_EQ(t.marks(), "   **");
    t.table->order_index = std::vector<int32_t>{2, 1, 0};
    cmd_recall(pass, "1");  // visible 0 -> filter position 2 -> physical 4
    EXPECT_EQ(t.marks(), "   * ");
    cmd_delete(pass, "3-9");  // visible 2 -> filter position 0 -> physical 1
    EXPECT_EQ(t.marks(), " * * ");
}
