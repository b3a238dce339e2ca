// tests/table/bounds_test.cpp
//
// Writes that a damaged header would send past the end of a file are refused and
// leave the file as it was: memo texts behind a next free block past the end, and
// records behind a header that places them past the end or whose record length
// disagrees with the fields (a record of the header's length would count as many
// of the fields' at the next open).
#include <cstring>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"

namespace {

struct MemoCase {
    const char* what;
    MemoImage::Layout layout;
    int block_size;
    int64_t next;  // the next free block the header names; -1: as the image has it
    MemoState state;
};

const MemoCase kMemoCases[] = {
    {"dBase III as written", MemoImage::Dbase3, 512, -1, MemoState::Sound},
    {"dBase III one block past the end", MemoImage::Dbase3, 512, 3, MemoState::Damaged},
    {"dBase III far past the end", MemoImage::Dbase3, 512, 0x7A600019, MemoState::Damaged},
    {"dBase III block 0, the header", MemoImage::Dbase3, 512, 0, MemoState::Damaged},
    {"FoxPro as written", MemoImage::FoxPro, 64, -1, MemoState::Sound},
    {"FoxPro far past the end", MemoImage::FoxPro, 64, 0x7A600019, MemoState::Damaged},
    {"FoxPro block size 0", MemoImage::FoxPro, 0, -1, MemoState::Damaged},
    {"dBase IV blocks of one byte", MemoImage::Dbase4, 1, -1, MemoState::Sound},
    {"dBase IV blocks of one byte, the last block past", MemoImage::Dbase4, 1, 0xFFFFFFFF, MemoState::Damaged},
};

std::string memo_name(MemoImage::Layout layout) { return layout == MemoImage::FoxPro ? "t.fpt" : "t.dbt"; }

uint8_t signature_of(MemoImage::Layout layout) {
    switch (layout) {
        case MemoImage::Dbase3: return 0x83;
        case MemoImage::Dbase4: return 0x8B;
        case MemoImage::FoxPro: return 0xF5;
    }
    return 0x03;
}

}  // namespace

TEST(Bounds, MemoTextsGoOnlyToAFreeBlockWithinTheFile) {
    for (const MemoCase& c : kMemoCases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        MemoImage memo(c.layout, c.block_size == 0 ? 64 : c.block_size);
        memo.add("first text");
        std::string bytes = memo.bytes();
        if (c.block_size == 0) bytes.replace(6, 2, std::string(2, '\0'));
        if (c.next >= 0)
            bytes.replace(0, 4, c.layout == MemoImage::FoxPro ? be32(static_cast<uint32_t>(c.next))
                                                              : le32(static_cast<int32_t>(c.next)));
        TableImage t;
        t.signature = signature_of(c.layout);
        t.fields = {{"NOTE", 'M', 10}};
        t.add({""});
        dir.write("t.dbf", t.bytes());
        dir.write(memo_name(c.layout), bytes);
        std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
        ASSERT_NE(table, nullptr);
        EXPECT_EQ(dbf_memo_state(*table), c.state);
        int32_t block = dbf_memo_write(*table, "second text");
        if (c.state == MemoState::Damaged) {
            EXPECT_EQ(block, 0);
            EXPECT_EQ(dir.read(memo_name(c.layout)), bytes) << "the memo file changed";
        } else {
            EXPECT_GT(block, 0);
            // The text and its head behind the block that holds the old end.
            size_t block_size = static_cast<size_t>(c.block_size);
            size_t end = (bytes.size() + block_size - 1) / block_size * block_size;
            EXPECT_LE(dir.read(memo_name(c.layout)).size(), end + 8 + std::strlen("second text") + 1);
        }
    }
}

TEST(Bounds, AMissingMemoFileIsNoDamage) {
    ScratchDir dir;
    TableImage t;
    t.signature = 0x83;
    t.fields = {{"NOTE", 'M', 10}};
    dir.write("t.dbf", t.bytes());
    std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
    EXPECT_EQ(dbf_memo_state(*table), MemoState::Missing);
}

TEST(Bounds, RecordsGoNowhereTheHeaderPlacesPastTheEnd) {
    struct Header {
        const char* what;
        std::optional<uint16_t> record_length, header_length;
        bool fits;
    };
    const Header headers[] = {
        {"sound", std::nullopt, std::nullopt, true},
        {"record length of 65535", 0xFFFF, std::nullopt, false},
        {"record length one more than the fields", 8, std::nullopt, false},
        {"header length past the end", std::nullopt, 4000, false},
        {"record length one less than the fields", 6, std::nullopt, false},
        {"no records, record length of 65535", 0xFFFF, std::nullopt, false},
    };
    for (const Header& h : headers) {
        SCOPED_TRACE(h.what);
        ScratchDir dir;
        TableImage t;
        t.fields = {{"NAME", 'C', 6}};
        if (std::string(h.what).rfind("no records", 0) != 0)
            for (const char* name : {"ADA", "BOB", "CY"}) t.add({name});
        t.record_length = h.record_length;
        t.header_length = h.header_length;
        const std::string bytes = t.bytes();
        dir.write("t.dbf", bytes);
        std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
        ASSERT_NE(table, nullptr);
        EXPECT_EQ(dbf_append_fits(*table), h.fits);
        if (h.fits) continue;
        EXPECT_FALSE(dbf_append_record(*table, true));
        EXPECT_FALSE(dbf_truncate(*table, 1));
        EXPECT_FALSE(dbf_zap(*table));
        table->header.code_page_mark = 3;
        EXPECT_TRUE(dbf_write_header(*table)) << "the header itself is written";
        std::string now = dir.read("t.dbf");
        EXPECT_EQ(now.size(), bytes.size()) << "the end mark went past the end";
        EXPECT_EQ(now.substr(32), bytes.substr(32));
    }
}
