// tests/table/record_writer_test.cpp
//
// Record writers gather records into blocks. What must hold whatever the block size
// and wherever the disk fails: the file ends up byte for byte as record-by-record
// writes would leave it; the header counts exactly the whole records in the file;
// no counted record names a memo text that isn't in the memo file; a read sees the
// writes gathered before it.
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

uint32_t header_count(const std::string& bytes) {
    uint32_t count = 0;
    std::memcpy(&count, bytes.data() + 4, 4);
    return count;
}

// Appends `added` records NUM = 1000 + i (each with a memo "text i" if the table has
// memos) in blocks of `block_records` records; the appender's result.
bool append_numbered(DbfTable& table, int added, size_t block_records) {
    RecordAppender appender(table, block_records * table.header.record_length);
    for (int i = 0; i < added; ++i) {
        dbf_blank_record(table);
        if (!dbf_store_text(table, 0, std::to_string(1000 + i).c_str())) return false;
        if (table.field_count > 1 && !dbf_store_memo(table, 1, ("text " + std::to_string(i)).c_str())) return false;
        if (!appender.add()) return false;
    }
    return appender.finish();
}

}  // namespace

TEST(RecordAppender, BlocksLeaveTheBytesOfSingleAppends) {
    for (size_t block_records : {size_t{1}, size_t{3}, size_t{1000}}) {
        SCOPED_TRACE(block_records);
        ScratchDir dir;
        dir.write("t.dbf", numbered(5).bytes());
        auto table = open_table(dir.file("t.dbf"));
        table->filter_index = std::vector<int32_t>{1, 3};
        table->order_index = std::vector<int32_t>{1, 0};
        ASSERT_TRUE(append_numbered(*table, 7, block_records));

        ScratchDir single;
        single.write("t.dbf", numbered(5).bytes());
        auto reference = open_table(single.file("t.dbf"));
        for (int i = 0; i < 7; ++i) {
            dbf_blank_record(*reference);
            ASSERT_TRUE(dbf_store_text(*reference, 0, std::to_string(1000 + i).c_str()));
            ASSERT_TRUE(dbf_append_record(*reference, false));
        }
        EXPECT_EQ(dir.read("t.dbf"), single.read("t.dbf"));
        EXPECT_EQ(table->header.record_count, 12u);
        EXPECT_EQ(*table->filter_index, (std::vector<int32_t>{1, 3, 5, 6, 7, 8, 9, 10, 11}));
        EXPECT_EQ(*table->order_index, (std::vector<int32_t>{1, 0, 2, 3, 4, 5, 6, 7, 8}));
    }
}

// Whatever write fails first, the header counts what the file holds, every old
// record is as it was, every counted new record is whole, and its memo text is
// there: texts go before the records that name them.
TEST(RecordAppender, AFailingDiskNeverLeavesACountedRecordWithoutItsText) {
    for (size_t block_records : {size_t{1}, size_t{4}}) {
        bool through = false;
        for (int64_t budget = 0; !through && budget < 100; ++budget) {
            SCOPED_TRACE(std::to_string(block_records) + " records a block, writes allowed: " + std::to_string(budget));
            ScratchDir dir;
            TableImage image = numbered(3, true);
            dir.write("t.dbf", image.bytes());
            dir.write("t.dbt", MemoImage(MemoImage::Dbase3).bytes());
            auto table = open_table(dir.file("t.dbf"));
            {
                WriteBudget fail_after(budget);
                through = append_numbered(*table, 10, block_records);
            }
            std::string bytes = dir.read("t.dbf");
            auto after = open_table(dir.file("t.dbf"));
            ASSERT_NE(after, nullptr);
            const int32_t count = dbf_record_count(*after);
            EXPECT_EQ(header_count(bytes), static_cast<uint32_t>(count));
            ASSERT_GE(count, 3);
            for (int32_t r = 0; r < count; ++r) {
                ASSERT_TRUE(dbf_read_record(*after, r));
                if (r < 3) {
                    EXPECT_EQ(std::string(reinterpret_cast<char*>(after->record.data()), image.records[0].size()),
                              image.records[static_cast<size_t>(r)]);
                    continue;
                }
                EXPECT_EQ(std::string(dbf_field_raw_text(*after, 0)), std::to_string(1000 + r - 3));
                EXPECT_EQ(dbf_memo_read(*after, 1), "text " + std::to_string(r - 3)) << r;
            }
            if (through) {
                EXPECT_EQ(count, 13);
            }
        }
        EXPECT_TRUE(through);
    }
}

// A run killed after any write leaves a table whose header counts only whole
// records, with every old record as it was; any new record the file holds, counted
// or not, names a memo text that is there, and the counted ones come in order.
TEST(RecordAppender, AKillBetweenAnyTwoWritesLosesNoCountedRecord) {
    for (size_t block_records : {size_t{1}, size_t{4}}) {
        for (int64_t writes = 0; writes < 40; ++writes) {
            SCOPED_TRACE(std::to_string(block_records) + " records a block, killed after write " +
                         std::to_string(writes));
            ScratchDir dir;
            TableImage image = numbered(3, true);
            dir.write("t.dbf", image.bytes());
            dir.write("t.dbt", MemoImage(MemoImage::Dbase3).bytes());
            auto table = open_table(dir.file("t.dbf"));
            {
                KillAfter kill(writes);
                (void)append_numbered(*table, 10, block_records);
                table.reset();
            }
            std::string bytes = dir.read("t.dbf");
            auto after = open_table(dir.file("t.dbf"));
            ASSERT_NE(after, nullptr);
            const int32_t in_file = dbf_record_count(*after);
            const uint32_t counted = header_count(bytes);
            EXPECT_GE(counted, 3u);
            EXPECT_LE(counted, static_cast<uint32_t>(in_file));
            for (int32_t r = 0; r < in_file; ++r) {
                ASSERT_TRUE(dbf_read_record(*after, r));
                if (r < 3) {
                    EXPECT_EQ(std::string(reinterpret_cast<char*>(after->record.data()), image.records[0].size()),
                              image.records[static_cast<size_t>(r)]);
                    continue;
                }
                EXPECT_EQ(std::string(dbf_field_raw_text(*after, 0)), std::to_string(1000 + r - 3));
                EXPECT_EQ(dbf_memo_read(*after, 1), "text " + std::to_string(r - 3)) << r;
            }
        }
    }
}

TEST(RecordAppender, StopsBeforeTheLargestRecordNumber) {
    ScratchDir dir;
    dir.write("t.dbf", numbered(2).bytes());
    auto table = open_table(dir.file("t.dbf"));
    table->header.record_count = INT32_MAX - 2;  // as if the file held that many
    RecordAppender appender(*table, 1 << 20);
    EXPECT_TRUE(appender.add());
    EXPECT_TRUE(appender.add());
    EXPECT_FALSE(appender.add());
}

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

TEST(RecordUpdater, MarksLeaveTheRecordBufferAndWriteNothingThatDoesNotChange) {
    ScratchDir dir;
    TableImage image = numbered(6);
    image.records[2][0] = '*';
    dir.write("t.dbf", image.bytes());
    auto table = open_table(dir.file("t.dbf"));
    dbf_blank_record(*table);
    ASSERT_TRUE(dbf_store_text(*table, 0, "KEEP"));
    const std::vector<uint8_t> buffer = table->record;
    {
        // Recalling records that are all live, but one, costs one write.
        WriteBudget one(1);
        RecordUpdater updater(*table);
        for (int32_t position = 0; position < 6; ++position) EXPECT_TRUE(updater.mark(position, ' '));
        EXPECT_TRUE(updater.finish());
    }
    EXPECT_EQ(table->record, buffer);
    image.records[2][0] = ' ';
    EXPECT_EQ(dir.read("t.dbf"), image.bytes());
    {
        WriteBudget none(0);
        RecordUpdater updater(*table);
        for (int32_t position = 0; position < 6; ++position) EXPECT_TRUE(updater.mark(position, ' '));
        EXPECT_TRUE(updater.finish());
    }
    // Deleting 1, 3 and 4 writes records 1 to 4: the unchanged record 2 fills the gap.
    RecordUpdater updater(*table);
    for (int32_t position : {1, 3, 4, 4}) EXPECT_TRUE(updater.mark(position, '*'));
    EXPECT_FALSE(updater.mark(6, '*'));
    EXPECT_TRUE(updater.finish());
    for (size_t r : {1u, 3u, 4u}) image.records[r][0] = '*';
    EXPECT_EQ(dir.read("t.dbf"), image.bytes());
    EXPECT_EQ(table->record, buffer);

    // Records that changed nothing when they joined the run, and change later.
    RecordUpdater again(*table);
    EXPECT_TRUE(again.mark(0, '*'));  // opens a run
    EXPECT_TRUE(again.mark(1, '*'));  // already so
    EXPECT_TRUE(again.mark(3, ' '));  // not adjacent: a run of its own
    EXPECT_TRUE(again.mark(4, '*'));  // already so
    EXPECT_TRUE(again.mark(4, ' '));
    EXPECT_TRUE(again.finish());
    image.records[0][0] = '*';
    image.records[3][0] = ' ';
    image.records[4][0] = ' ';
    EXPECT_EQ(dir.read("t.dbf"), image.bytes());
}
