// tests/table/record_writer_test.cpp
//
// The record updater gathers records into blocks: a read sees the writes gathered
// before it, the file ends up byte for byte as record-by-record writes would leave
// it, and memo texts stored meanwhile wait with the records.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "table/dbf.h"
#include "table/record_writer.h"

namespace {

// NUM C 4 holding the record's number, NOTE M 10 (dBase III) when asked.
TableImage numbered(int count, bool memo = false) {
    TableImage t;
    t.signature = memo ? 0x83 : 0x03;
    t.fields = {{"NUM", 'C', 4}};
    if (memo) t.fields.push_back({"NOTE", 'M', 10});
    for (int i = 0; i < count; ++i) {
        std::vector<std::string> values = {std::to_string(i)};
        if (memo) values.push_back("");
        t.add(values);
    }
    return t;
}

}  // namespace

TEST(RecordUpdater, ReadsSeeGatheredWritesAndRunsLeaveTheSameBytes) {
    // Positions in an order that makes runs, revisits records inside a run and
    // outside it, and passes over the end of the table.
    const std::vector<int32_t> positions = {0, 1, 2, 2, 7, 8, 3, 0, 9, 1, 5, 6, 4};
    for (size_t block_records : {size_t{1}, size_t{2}, size_t{100}}) {
        SCOPED_TRACE(block_records);
        ScratchDir dir, single;
        dir.write("t.dbf", numbered(10).bytes());
        single.write("t.dbf", numbered(10).bytes());
        auto table = open_table(dir.file("t.dbf"));
        auto reference = open_table(single.file("t.dbf"));
        RecordUpdater updater(*table, block_records * table->header.record_length);
        for (int32_t position : positions) {
            // Each visit adds one to the number: a read must see every earlier write.
            ASSERT_TRUE(updater.read(position));
            ASSERT_TRUE(dbf_read_record(*reference, position));
            ASSERT_EQ(std::string(dbf_field_raw_text(*table, 0)), std::string(dbf_field_raw_text(*reference, 0)));
            int next = std::atoi(dbf_field_raw_text(*table, 0)) + 1;
            ASSERT_TRUE(dbf_store_integer(*table, 0, next));
            ASSERT_TRUE(dbf_store_integer(*reference, 0, next));
            ASSERT_TRUE(updater.write(position));
            ASSERT_TRUE(dbf_write_record(*reference, position));
        }
        EXPECT_FALSE(updater.read(10));
        ASSERT_TRUE(updater.finish());
        EXPECT_EQ(dir.read("t.dbf"), single.read("t.dbf"));
    }
}

// Memo texts stored during an update wait with the records: the whole update of
// six records and their texts takes a handful of writes, and reads back.
TEST(RecordUpdater, GathersMemoTextsWithTheRecords) {
    ScratchDir dir;
    dir.write("t.dbf", numbered(6, true).bytes());
    dir.write("t.dbt", MemoImage(MemoImage::Dbase3).bytes());
    auto table = open_table(dir.file("t.dbf"));
    {
        WriteBudget few(3);  // the texts, the memo header, the records
        RecordUpdater updater(*table, 1 << 20);
        for (int32_t r = 0; r < 6; ++r) {
            ASSERT_TRUE(updater.read(r));
            ASSERT_TRUE(dbf_store_memo(*table, 1, ("text " + std::to_string(r)).c_str()));
            ASSERT_TRUE(updater.write(r));
        }
        ASSERT_TRUE(updater.finish());
    }
    auto after = open_table(dir.file("t.dbf"));
    for (int32_t r = 0; r < 6; ++r) {
        ASSERT_TRUE(dbf_read_record(*after, r));
        EXPECT_EQ(dbf_memo_read(*after, 1), "text " + std::to_string(r));
    }
}

// Appended records join the filter and the order unjudged, and blocks of them leave
// the bytes single appends leave.
TEST(RecordAppender, BlocksLeaveTheBytesOfSingleAppendsAndJoinTheView) {
    ScratchDir single;
    single.write("t.dbf", numbered(5).bytes());
    auto reference = open_table(single.file("t.dbf"));
    for (int i = 0; i < 4; ++i) {
        dbf_blank_record(*reference);
        ASSERT_TRUE(dbf_store_text(*reference, 0, std::to_string(1000 + i).c_str()));
        ASSERT_TRUE(dbf_append_record(*reference, false));
    }
    for (size_t block_records : {size_t{1}, size_t{3}}) {
        ScratchDir dir;
        dir.write("t.dbf", numbered(5).bytes());
        auto table = open_table(dir.file("t.dbf"));
        table->filter_index = std::vector<int32_t>{1, 3};
        table->order_index = std::vector<int32_t>{1, 0};
        RecordAppender appender(*table, block_records * table->header.record_length);
        for (int i = 0; i < 4; ++i) {
            dbf_blank_record(*table);
            ASSERT_TRUE(dbf_store_text(*table, 0, std::to_string(1000 + i).c_str()));
            ASSERT_TRUE(appender.add());
        }
        ASSERT_TRUE(appender.finish());
        EXPECT_EQ(dir.read("t.dbf"), single.read("t.dbf"));
        EXPECT_EQ(*table->filter_index, (std::vector<int32_t>{1, 3, 5, 6, 7, 8}));
        EXPECT_EQ(*table->order_index, (std::vector<int32_t>{1, 0, 2, 3, 4, 5}));
    }
}

// Marks change only records whose mark differs, inside a run or not, and leave the
// record buffer alone.
TEST(RecordUpdater, MarksWriteOnlyWhatChanges) {
    ScratchDir dir;
    TableImage image = numbered(6);
    dir.write("t.dbf", image.bytes());
    auto table = open_table(dir.file("t.dbf"));
    dbf_blank_record(*table);
    const std::vector<uint8_t> buffer = table->record;
    RecordUpdater updater(*table);
    for (auto [position, mark] : {std::pair{1, '*'}, {2, ' '}, {3, '*'}, {3, ' '}, {4, '*'}, {4, '*'}})
        EXPECT_TRUE(updater.mark(position, static_cast<uint8_t>(mark)));
    EXPECT_FALSE(updater.mark(6, '*'));
    EXPECT_TRUE(updater.finish());
    image.records[1][0] = image.records[4][0] = '*';
    EXPECT_EQ(dir.read("t.dbf"), image.bytes());
    EXPECT_EQ(table->record, buffer);
}
