// tests/table/record_test.cpp
#include <ctime>
#include <fcntl.h>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

// Ten one-letter records "a" to "j" in a C 1 field.
TableImage letters() {
    TableImage t;
    t.fields = {{"L", 'C', 1}};
    for (char c = 'a'; c <= 'j'; ++c) t.add({std::string(1, c)});
    return t;
}

struct Opened {
    ScratchDir dir;
    std::unique_ptr<DbfTable> table;
    explicit Opened(const std::string& bytes) {
        dir.write("t.dbf", bytes);
        table = open_table(dir.file("t.dbf"));
    }
    char letter_at(int32_t position) {
        EXPECT_TRUE(dbf_read_record(*table, position));
        return static_cast<char>(table->record[1]);
    }
    std::string file() const { return dir.read("t.dbf"); }
};

}  // namespace

TEST(RecordAccess, PositionsPassThroughOrderThenFilter) {
    Opened t(letters().bytes());
    ASSERT_NE(t.table, nullptr);
    EXPECT_EQ(t.letter_at(3), 'd');
    t.table->filter_index = std::vector<int32_t>{4, 9};
    EXPECT_EQ(dbf_record_count(*t.table), 2);
    EXPECT_EQ(t.letter_at(1), 'j');
    t.table->order_index = std::vector<int32_t>{1, 0};
    EXPECT_EQ(t.letter_at(0), 'j');
    EXPECT_EQ(t.letter_at(1), 'e');
    ASSERT_TRUE(dbf_read_physical(*t.table, 1));
    EXPECT_EQ(t.table->record[1], 'b');
}

TEST(RecordAccess, ReadPastTheEndFailsAndKeepsTheBuffer) {
    Opened t(letters().bytes());
    EXPECT_EQ(t.letter_at(2), 'c');
    EXPECT_FALSE(dbf_read_record(*t.table, 10));
    EXPECT_EQ(t.table->record[1], 'c');
}

TEST(RecordAccess, MarksAreWrittenOnlyWhenTheyChange) {
    TableImage image = letters();
    image.records[1][0] = '*';
    Opened t(image.bytes());
    std::string before = t.file();
    {
        WriteBudget none(0);  // any write would fail and be noticed below
        dbf_delete_record(*t.table, 1);
        dbf_recall_record(*t.table, 0);
    }
    EXPECT_EQ(t.file(), before);
    dbf_delete_record(*t.table, 0);
    dbf_recall_record(*t.table, 1);
    std::string after = t.file();
    size_t first = image.bytes().size() - 1 - 10 * 2;
    EXPECT_EQ(after[first], '*');
    EXPECT_EQ(after[first + 2], ' ');
    EXPECT_EQ(after.substr(0, 32), before.substr(0, 32)) << "a mark leaves the header alone";
}

TEST(RecordAccess, WriteRecordLeavesTheHeaderAlone) {
    Opened t(letters().bytes());
    ASSERT_TRUE(dbf_read_record(*t.table, 4));
    t.table->record[1] = 'E';
    ASSERT_TRUE(dbf_write_record(*t.table, 4));
    std::string after = t.file();
    EXPECT_EQ(after.substr(0, 32), letters().bytes().substr(0, 32));
    EXPECT_EQ(t.letter_at(4), 'E');
}

TEST(RecordAccess, AppendStampsTheHeaderAndPlacesTheEndMark) {
    TableImage image = letters();
    image.records.resize(3);
    Opened t(image.bytes());
    t.table->record[1] = 'z';
    ASSERT_TRUE(dbf_append_record(*t.table, 0));
    std::string after = t.file();
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    EXPECT_EQ(static_cast<uint8_t>(after[1]), local.tm_year);
    EXPECT_EQ(static_cast<uint8_t>(after[2]), local.tm_mon + 1);
    EXPECT_EQ(static_cast<uint8_t>(after[3]), local.tm_mday);
    EXPECT_EQ(after[4], 4);
    ASSERT_EQ(after.size(), 65u + 4 * 2 + 1);
    EXPECT_EQ(after.substr(65 + 6, 2), " z");
    EXPECT_EQ(after.back(), '\x1A');
}

TEST(RecordAccess, AppendJoinsFilterAndOrderUnjudged) {
    Opened t(letters().bytes());
    t.table->filter_index = std::vector<int32_t>{2, 5};
    t.table->order_index = std::vector<int32_t>{1, 0};
    ASSERT_TRUE(dbf_append_record(*t.table, true));
    EXPECT_EQ(*t.table->filter_index, (std::vector<int32_t>{2, 5, 10}));
    EXPECT_EQ(*t.table->order_index, (std::vector<int32_t>{1, 0, 2}));
    EXPECT_EQ(dbf_record_count(*t.table), 3);
    EXPECT_EQ(t.letter_at(2), ' ');
    EXPECT_EQ(t.table->header.record_count, 11u);
}

TEST(RecordAccess, FailedAppendChangesNothing) {
    Opened t(letters().bytes());
    t.table->filter_index = std::vector<int32_t>{2};
    std::string before = t.file();
    {
        WriteBudget none(0);
        EXPECT_FALSE(dbf_append_record(*t.table, true));
    }
    EXPECT_EQ(t.file(), before);
    EXPECT_EQ(t.table->header.record_count, 10u);
    EXPECT_EQ(t.table->filter_index->size(), 1u);
}

TEST(RecordAccess, HeaderYearFoldsBelow256) {
    struct Case { int years_since_1900; int stored; };
    const Case cases[] = {{101, 101}, {255, 255}, {256, 156}, {355, 255}, {356, 156}, {1000, 200}};
    for (const Case& c : cases) EXPECT_EQ(dbf_header_year(c.years_since_1900), c.stored) << c.years_since_1900;
}

TEST(RecordAccess, WriteHeaderStoresRepairedSignatureAndCount) {
    TableImage image = letters();
    image.signature = 0x42;
    image.record_count = 99;
    Opened t(image.bytes());
    ASSERT_TRUE(dbf_write_header(*t.table));
    std::string after = t.file();
    EXPECT_EQ(static_cast<uint8_t>(after[0]), 0x03);
    EXPECT_EQ(after[4], 10);
}

TEST(RecordAccess, ReadOnlyTableRefusesEveryWrite) {
    if (!can_run_as_nobody()) GTEST_SKIP() << "needs root to switch to an unprivileged user";
    // The program opens the table read-only as nobody; the writes fail quietly.
    ScratchDir dir;
    std::string bytes = letters().bytes();
    dir.write("t.dbf", bytes);
    RunResult r = dir.run({"t.dbf", "/BLANK", "/COUNT"}, true);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "10\n");
    EXPECT_EQ(dir.read("t.dbf"), bytes);
    // And in process: a read-only descriptor takes no record, mark or header write.
    auto table = std::make_unique<DbfTable>();
    table->file = test_fs().open_read(dir.file("t.dbf"));
    ASSERT_TRUE(dbf_read_header(*table));
    ASSERT_TRUE(dbf_read_fields(*table));
    ASSERT_TRUE(dbf_read_record(*table, 0));
    EXPECT_FALSE(dbf_write_record(*table, 0));
    EXPECT_FALSE(dbf_append_record(*table, true));
    EXPECT_FALSE(dbf_write_header(*table));
    dbf_delete_record(*table, 0);
    EXPECT_EQ(dir.read("t.dbf"), bytes);
}

// A file of more records than a position names: offsets past 4 GiB read and write,
// the table counts INT32_MAX records, and nothing that would rewrite it whole, or
// give it a header counting fewer records than it holds, goes ahead. The file is
// sparse: it takes no room on the disk.
TEST(RecordAccess, TablesBeyondTheLastPositionAreReadNotRewritten) {
    ScratchDir dir;
    TableImage image;
    image.fields = {{"L", 'C', 1}};
    image.add({"a"});
    image.end_mark = false;
    dir.write("t.dbf", image.bytes());
    const int64_t records = int64_t{INT32_MAX} + 10;
    const int64_t size = 65 + 2 * records;
    {
        File file = test_fs().open(dir.file("t.dbf"));
        ASSERT_TRUE(file.truncate(size));
        ASSERT_TRUE(file.write_all(" z", 2, 65 + 2 * (int64_t{INT32_MAX} - 1)));
    }
    auto table = open_table(dir.file("t.dbf"));
    ASSERT_NE(table, nullptr);
    EXPECT_TRUE(table->partial);
    EXPECT_EQ(dbf_record_count(*table), INT32_MAX);
    ASSERT_TRUE(dbf_read_record(*table, INT32_MAX - 1));
    EXPECT_EQ(table->record[1], 'z');
    EXPECT_TRUE(dbf_delete_record(*table, INT32_MAX - 1));
    ASSERT_TRUE(dbf_read_physical(*table, INT32_MAX - 1));
    EXPECT_EQ(table->record[0], '*');
    EXPECT_FALSE(dbf_append_record(*table, true));
    EXPECT_FALSE(dbf_write_header(*table));
    EXPECT_FALSE(dbf_pack(*table, PackMode::All));
    File after = test_fs().open(dir.file("t.dbf"));
    EXPECT_EQ(after.size(), size);
    char header[8];
    ASSERT_TRUE(after.read_exactly(header, sizeof header, 0));
    EXPECT_EQ(std::string(header, sizeof header), image.bytes().substr(0, 8)) << "the header is as it was";
}
