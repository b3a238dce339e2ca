// tests/table/memo_test.cpp
//
// Memo texts read, appended and refused in the dBase III, dBase IV and FoxPro
// layouts, against images built byte by byte.
#include <gtest/gtest.h>

#include <filesystem>

#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

// An unknown signature with memo fields reads as FoxPro.
const char* memo_name(uint8_t signature) {
    switch (signature) {
        case 0x03: case 0x83: case 0x04: case 0x8B: return "t.dbt";
        case 0xE5: return "t.smt";
        default: return "t.fpt";
    }
}

MemoImage::Layout layout_of(uint8_t signature) {
    return signature == 0x83 || signature == 0x03 ? MemoImage::Dbase3
           : signature == 0x8B || signature == 0x04 ? MemoImage::Dbase4 : MemoImage::FoxPro;
}

// A table `t.dbf` of the memo field and a C 2 "zz" behind it, whose first record
// holds `block`, beside a memo file (none if `memo` has no value); record 0 read.
std::unique_ptr<DbfTable> open_memo_table(const ScratchDir& dir, uint8_t signature,
 const std::optional<std::string>& memo,
                                          const std::string& block = "", FieldSpec field = {"NOTE", 'M', 10}) {
    TableImage image;
    image.signature = signature;
    image.fields = {field, {"NEXT", 'C', 2}};
    image.add({block, "zz"});
    dir.write("t.dbf", image.bytes());
    if (memo) dir.write(memo_name(signature), *memo);
    std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
    if (table) (void)dbf_read_record(*table, 0);
    return table;
}

std::string with_bytes(std::string image, size_t offset, const std::string& bytes) {
    if (image.size() < offset + bytes.size()) image.resize(offset + bytes.size(), '\0');
    return image.replace(offset, bytes.size(), bytes);
}

std::string memo_with(MemoImage::Layout layout, int block_size, const std::string& text, uint32_t fox_type = 1) {
    MemoImage memo(layout, block_size);
    memo.add(text, fox_type);
    return memo.bytes();
}

std::string be16(uint16_t value) { return std::string{static_cast<char>(value >> 8), static_cast<char>(value & 0xFF)}; }

}  // namespace

TEST(MemoRead, ReadsEachLayoutAndRefusesDamage) {
    struct Case {
        const char* what; uint8_t signature; std::optional<std::string> memo; std::string block;
        std::optional<std::string> text; FieldSpec field = {"NOTE", 'M', 10};
    };
    const std::string big(70000, 'x');
    const std::string d3 = memo_with(MemoImage::Dbase3, 512, "first");
    const std::string d4 = memo_with(MemoImage::Dbase4, 64, "fourth");  // text at block 8
    const std::string fox = memo_with(MemoImage::FoxPro, 64, "foxy");   // text at block 8
    const Case cases[] = {
        {"dBase III text", 0x83, d3, "1", "first"},
        {"dBase III text cut at 65535 bytes", 0x03, memo_with(MemoImage::Dbase3, 512, big), "1", big.substr(0, 65535)},
        {"dBase III block past the end is empty", 0x03, d3, "40", ""},
        {"blank block number", 0x03, d3, "", std::nullopt},
        {"block number beyond 32 bits", 0x03, d3, "9999999999", std::nullopt},
        {"missing memo file", 0x03, std::nullopt, "1", std::nullopt},
        {"signature E5 reads nothing", 0xE5, d3, "1", std::nullopt},
        {"binary block number in a 4-byte field", 0x30, fox, le32(8), "foxy", {"NOTE", 'M', 4}},
        {"dBase IV text", 0x8B, d4, "8", "fourth"},
        {"dBase IV size below 8", 0x04, with_bytes(d4, 8 * 64 + 4, le32(7)), "8", std::nullopt},
        {"dBase IV huge length word", 0x04, with_bytes(d4, 8 * 64 + 4, le32(-16)), "8", std::nullopt},
        {"dBase IV block size 0", 0x04, with_bytes(d4, 20, le16(0)), "8", std::nullopt},
        {"FoxPro text", 0xF5, fox, "8", "foxy"},
        {"FoxPro block type 2", 0xF5, memo_with(MemoImage::FoxPro, 64, "two", 2), "8", "two"},
        {"FoxPro block size 0", 0xF5, with_bytes(fox, 6, be16(0)), "8", std::nullopt},
        {"FoxPro header too short", 0xF5, std::string(6, '\0'), "1", std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        auto table = open_memo_table(dir, c.signature, c.memo, c.block, c.field);
        ASSERT_TRUE(table);
        EXPECT_EQ(dbf_memo_read(*table, 0), c.text);
    }
}

// One text appended to the memo file of a table whose field holds block 12. Where
// it is stored, the field names its block and the header the next free one; where
// it is refused, field and memo header stay as they were.
TEST(MemoWrite, AppendsOrRefusesWithoutHarm) {
    struct Case {
        const char* what; uint8_t signature; std::optional<std::string> memo; size_t length;
        int32_t block;      // 0: refused
        uint32_t next = 0;  // the header's next free block after it
        int block_size = 0; // a fresh file of this block size, compared whole with an image
        int64_t sparse = 0; // the file reaches this size
        int64_t write_budget = -1; FieldSpec field = {"NOTE", 'M', 10};
    };
    const uint32_t far = 0x01020304;  // no byte of it zero
    const std::string d3 = MemoImage(MemoImage::Dbase3).bytes(), fox = MemoImage(MemoImage::FoxPro, 64).bytes();
    const std::string d4 = MemoImage(MemoImage::Dbase4, 64).bytes();
    const Case cases[] = {
        {"dBase III 512 bytes take two blocks", 0x03, d3, 512, 1, 3, 512},
        {"dBase IV 505 bytes take two", 0x04, MemoImage(MemoImage::Dbase4, 512).bytes(), 505, 1, 3, 512},
        {"FoxPro 57 bytes take two of 64", 0xF5, fox, 57, 8, 10, 64},
        {"unknown signature with memo fields: FoxPro", 0x99, fox, 3, 8, 9, 64},
        {"binary block number in Visual FoxPro", 0x30, fox, 3, 8, 9, 64, 0, -1, {"NOTE", 'M', 4}},
        {"dBase IV next free block far out", 0x8B, with_bytes(MemoImage(MemoImage::Dbase4, 1).bytes(), 0, le32(far)),
         3, static_cast<int32_t>(far), far + 11, 0, far},
        {"FoxPro next free block far out", 0xF5, with_bytes(MemoImage(MemoImage::FoxPro, 1).bytes(), 0, be32(far)), 3,
         static_cast<int32_t>(far), far + 11, 0, far},
        {"empty text", 0x03, d3, 0, 0},
        {"signature E5", 0xE5, d3, 4, 0},
        {"missing memo file", 0x03, std::nullopt, 4, 0},
        {"every write fails", 0x03, d3, 4, 0, 0, 0, 0, 0},
        {"FoxPro text write fails", 0xF5, fox, 4, 0, 0, 0, 0, 1},
        {"dBase III next free 0 would overwrite the header", 0x03, with_bytes(d3, 0, le32(0)), 4, 0},
        {"dBase III next free beyond 32 bits", 0x03, with_bytes(d3, 0, le32(-1)), 4, 0},
        {"dBase IV block size 0", 0x04, with_bytes(d4, 20, le16(0)), 4, 0},
        {"FoxPro block size 0", 0xF5, with_bytes(fox, 6, be16(0)), 4, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        const bool binary = c.field.length == 4;
        auto table = open_memo_table(dir, c.signature, c.memo, binary ? le32(12) : "12", c.field);
        const std::string path = dir.file(memo_name(c.signature)), text(c.length, 'q');
        if (c.sparse) std::filesystem::resize_file(path, static_cast<uintmax_t>(c.sparse));
        bool stored;
        {
            WriteBudget budget(c.write_budget);
            stored = dbf_store_memo(*table, 0, text.c_str());
        }
        EXPECT_EQ(stored, c.block != 0);
        EXPECT_EQ(binary ? dbf_field_int(*table, 0) : dbf_field_atol(*table, 0), c.block ? c.block : 12);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(table->record.data()) + 1 + c.field.length, 2), "zz");
        if (!c.memo) continue;
        const std::string bytes = read_file(path);
        if (!c.block) {
            EXPECT_EQ(bytes.substr(0, 24), c.memo->substr(0, 24));
            continue;
        }
        EXPECT_EQ(dbf_memo_read(*table, 0), text);
        EXPECT_EQ(bytes.substr(0, 4),
         layout_of(c.signature) == MemoImage::FoxPro ? be32(c.next) : le32(static_cast<int32_t>(c.next)));
        if (c.block_size) {
            MemoImage expected(layout_of(c.signature), c.block_size);
            expected.add(text);
            EXPECT_EQ(bytes, expected.bytes());
        }
    }
}

// A new memo file: its header's next free block and block size, the rest zeros.
TEST(MemoCreate, WritesTheHeaderOfEachKind) {
    struct Case { MemoKind kind; int block_size; const char* name; size_t size; std::string start, block_word; };
    const std::string zero2(2, '\0'), zero4(4, '\0');
    const Case cases[] = {
        {MemoKind::Dbase3, 128, "t.dbt", 512, le32(1) + zero4, zero4},
        {MemoKind::VisualFoxPro, 1024, "t.fpt", 1024, be32(1) + zero2 + be16(1024), zero4},
        {MemoKind::Dbase4, 100, "t.dbt", 512, le32(5) + zero4, le16(0x0102) + le16(100)},
        {MemoKind::Dbase4, 0, "t.dbt", 512, le32(1) + zero4, le16(0x0102) + le16(512)},
        {MemoKind::FoxPro, 70000, "t.fpt", 512, be32(1) + zero2 + be16(512), zero4},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.block_size);
        ScratchDir dir;
        ASSERT_TRUE(dbf_create_memo(test_fs(), dir.file("t.dbf"), c.kind, c.block_size));
        const std::string bytes = dir.read(c.name);
        EXPECT_EQ(bytes.size(), c.size);
        EXPECT_EQ(bytes.substr(0, 8) + bytes.substr(18, 4), c.start + c.block_word);
        EXPECT_EQ(bytes.find_first_not_of('\0', 22), std::string::npos);
    }
}
