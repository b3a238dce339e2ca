// tests/table/record_cache_test.cpp
//
// Sequential reads go through a window of the file; these tests hold the window to
// what the file says after every kind of write, from this table or another.
#include <cstdio>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

std::string numbered(int i) {
    char text[16];
    std::snprintf(text, sizeof text, "%07d", i);
    return text;
}

// `count` records of a C 7 field holding their own number, and a C 93 filler.
TableImage numbered_table(int count) {
    TableImage t;
    t.fields = {{"NUM", 'C', 7}, {"FILL", 'C', 93}};
    for (int i = 0; i < count; ++i) t.add({numbered(i), std::string(93, static_cast<char>('a' + i % 26))});
    return t;
}

std::string record_text(const DbfTable& table) {
    return std::string(reinterpret_cast<const char*>(table.record.data()), table.header.record_length);
}

}  // namespace

TEST(RecordCache, SequentialWalkReadsWhatTheFileHolds) {
    ScratchDir dir;
    TableImage image = numbered_table(6000);  // several windows
    dir.write("t.dbf", image.bytes());
    auto table = open_table(dir.file("t.dbf"));
    ASSERT_NE(table, nullptr);
    for (int i = 0; i < 6000; ++i) {
        ASSERT_TRUE(dbf_read_record(*table, i));
        ASSERT_EQ(record_text(*table), image.records[static_cast<size_t>(i)]) << i;
    }
    EXPECT_FALSE(dbf_read_record(*table, 6000));
    // Backwards and scattered reads agree with the same bytes.
    for (int i : {5999, 3, 4096, 4095, 0, 2621}) {
        ASSERT_TRUE(dbf_read_record(*table, i));
        EXPECT_EQ(record_text(*table), image.records[static_cast<size_t>(i)]) << i;
    }
}

TEST(RecordCache, HeaderRecordLengthDecidesTheStride) {
    ScratchDir dir;
    TableImage image = numbered_table(50);
    image.record_length = 50;  // records are read 50 bytes apart, whatever the fields say
    std::string bytes = image.bytes();
    dir.write("t.dbf", bytes);
    auto table = open_table(dir.file("t.dbf"));
    ASSERT_NE(table, nullptr);
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(dbf_read_record(*table, i));
        EXPECT_EQ(record_text(*table), bytes.substr(table->header.header_length + 50 * static_cast<size_t>(i), 50));
    }
}

TEST(RecordCache, OwnWritesAreSeenByLaterReads) {
    ScratchDir dir;
    dir.write("t.dbf", numbered_table(100).bytes());
    auto table = open_table(dir.file("t.dbf"));
    ASSERT_TRUE(dbf_read_record(*table, 0));
    ASSERT_TRUE(dbf_read_record(*table, 1));  // the window now holds the table
    table->record[1] = 'X';
    ASSERT_TRUE(dbf_write_record(*table, 1));
    dbf_delete_record(*table, 2);
    table->record[1] = 'Y';
    ASSERT_TRUE(dbf_append_record(*table, 0));
    ASSERT_TRUE(dbf_read_record(*table, 1));
    EXPECT_EQ(table->record[1], 'X');
    ASSERT_TRUE(dbf_read_record(*table, 2));
    EXPECT_EQ(table->record[0], '*');
    ASSERT_TRUE(dbf_read_record(*table, 100));
    EXPECT_EQ(table->record[1], 'Y');
}

TEST(RecordCache, WritesThroughAnotherTableAreSeen) {
    ScratchDir dir;
    dir.write("t.dbf", numbered_table(100).bytes());
    auto reader = open_table(dir.file("t.dbf"));
    auto writer = open_table(dir.file("t.dbf"));
    ASSERT_TRUE(dbf_read_record(*reader, 0));
    ASSERT_TRUE(dbf_read_record(*reader, 1));
    ASSERT_TRUE(dbf_read_record(*writer, 2));
    writer->record[1] = 'Z';
    ASSERT_TRUE(dbf_write_record(*writer, 2));
    ASSERT_TRUE(dbf_read_record(*reader, 2));
    EXPECT_EQ(reader->record[1], 'Z');

    ASSERT_TRUE(writer->file.truncate(writer->header.header_length + 3 * writer->header.record_length));
    EXPECT_TRUE(dbf_read_record(*reader, 2));
    EXPECT_FALSE(dbf_read_record(*reader, 3));
}

TEST(RecordCache, ClosingAndReopeningStartsAfresh) {
    ScratchDir dir;
    dir.write("t.dbf", numbered_table(10).bytes());
    auto table = open_table(dir.file("t.dbf"));
    ASSERT_TRUE(dbf_read_record(*table, 0));
    ASSERT_TRUE(dbf_read_record(*table, 1));
    dbf_close(*table);
    TableImage other = numbered_table(10);
    other.records[2][1] = 'Q';
    dir.write("t.dbf", other.bytes());
    ASSERT_EQ(dbf_open_into(*table, test_fs(), dir.file("t.dbf")), OpenFailure::None);
    ASSERT_TRUE(dbf_read_record(*table, 1));
    ASSERT_TRUE(dbf_read_record(*table, 2));
    EXPECT_EQ(table->record[1], 'Q');
}
