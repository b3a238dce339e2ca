// tests/table/memo_test.cpp
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

const char* memo_name(uint8_t signature) {
    switch (signature) {
        case 0xF5: case 0x30: return "t.fpt";
        case 0xE5: return "t.smt";
        default: return "t.dbt";
    }
}

// A one-field table `t.dbf` whose first record holds `block`, beside a memo file
// (none if `memo` has no value). The record is read into the buffer.
std::unique_ptr<DbfTable> open_memo_table(const ScratchDir& dir, uint8_t signature, const std::optional<std::string>& memo,
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
    image.replace(offset, bytes.size(), bytes);
    return image;
}

MemoImage memo_with(MemoImage::Layout layout, int block_size, const std::string& text, uint32_t fox_type = 1) {
    MemoImage memo(layout, block_size);
    memo.add(text, fox_type);
    return memo;
}

std::string be16(uint16_t value) { return std::string{static_cast<char>(value >> 8), static_cast<char>(value & 0xFF)}; }

struct ReadCase {
    const char* what;
    uint8_t signature;
    std::optional<std::string> memo;
    std::string block;
    std::optional<std::string> text;
    FieldSpec field = {"NOTE", 'M', 10};
};

std::vector<ReadCase> read_cases() {
    const std::string big(70000, 'x');
    std::string d3 = memo_with(MemoImage::Dbase3, 512, "first").bytes();
    std::string d4 = memo_with(MemoImage::Dbase4, 64, "fourth").bytes();  // text at block 8
    std::string fox = memo_with(MemoImage::FoxPro, 64, "foxy").bytes();   // text at block 8
    return {
        {"dBase III text", 0x83, d3, "1", "first"},
        {"block number with leading blanks", 0x03, d3, "         1", "first"},
        {"dBase III text ends at 0x1A", 0x03, memo_with(MemoImage::Dbase3, 512, "ab\x1A" "cd").bytes(), "1", "ab"},
        {"text ends at a NUL", 0x03, memo_with(MemoImage::Dbase3, 512, std::string("ab\0cd", 5)).bytes(), "1",
         "ab"},
        {"dBase III text cut at 65535 bytes", 0x03, memo_with(MemoImage::Dbase3, 512, big).bytes(), "1",
         big.substr(0, 65535)},
        {"dBase III block past the end is empty", 0x03, d3, "40", ""},
        {"blank block number", 0x03, d3, "", std::nullopt},
        {"block number 0", 0x03, d3, "0", std::nullopt},
        {"negative block number", 0x03, d3, "-1", std::nullopt},
        {"block number beyond 32 bits", 0x03, d3, "9999999999", std::nullopt},
        {"missing memo file", 0x03, std::nullopt, "1", std::nullopt},
        {"signature E5 reads nothing", 0xE5, d3, "1", std::nullopt},
        {"binary block number in a 4-byte field", 0x30, fox, le32(8), "foxy", {"NOTE", 'M', 4}},

        {"dBase IV text", 0x8B, d4, "8", "fourth"},
        {"dBase IV size 8 is empty", 0x04, memo_with(MemoImage::Dbase4, 64, "").bytes(), "8", ""},
        {"dBase IV size below 8", 0x04, with_bytes(d4, 8 * 64 + 4, le32(7)), "8", std::nullopt},
        {"dBase IV wrong block mark", 0x04, with_bytes(d4, 8 * 64, std::string("\xFF\xFF\x09\x00", 4)), "8", std::nullopt},
        {"dBase IV block past the end", 0x04, d4, "40", std::nullopt},
        {"dBase IV huge length word", 0x04, with_bytes(d4, 8 * 64 + 4, le32(static_cast<int32_t>(0xFFFFFFF0))),
         "8", std::nullopt},
        {"dBase IV size beyond the file", 0x04, with_bytes(d4, 8 * 64 + 4, le32(600)), "8", std::nullopt},
        {"dBase IV text torn at the end", 0x04, with_bytes(d4, 8 * 64 + 4, le32(20)), "8", "fourth"},
        {"dBase IV block size 0", 0x04, with_bytes(d4, 20, le16(0)), "8", std::nullopt},
        {"dBase IV header too short", 0x04, std::string(20, '\0'), "1", std::nullopt},

        {"FoxPro text", 0xF5, fox, "8", "foxy"},
        {"FoxPro block type 2", 0xF5, memo_with(MemoImage::FoxPro, 64, "two", 2).bytes(), "8", "two"},
        {"FoxPro block type 3", 0xF5, memo_with(MemoImage::FoxPro, 64, "three", 3).bytes(), "8", std::nullopt},
        {"FoxPro huge length word", 0xF5, with_bytes(fox, 8 * 64 + 4, be32(0xFFFFFFF0)), "8", std::nullopt},
        {"FoxPro block past the end", 0xF5, fox, "40", std::nullopt},
        {"FoxPro block size 0", 0xF5, with_bytes(fox, 6, be16(0)), "8", std::nullopt},
        {"FoxPro header too short", 0xF5, std::string(6, '\0'), "1", std::nullopt},
    };
}

TEST(MemoRead, ReadsEachLayoutAndRefusesDamage) {
    for (const ReadCase& c : read_cases()) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        auto table = open_memo_table(dir, c.signature, c.memo, c.block, c.field);
        ASSERT_TRUE(table);
        EXPECT_EQ(dbf_memo_read(*table, 0), c.text);
    }
}

struct GrowthCase {
    const char* what;
    uint8_t signature;
    MemoImage::Layout layout;
    int block_size;
    size_t length;
    int32_t next_after;  // next free block after one text into a fresh file
};

const GrowthCase kGrowth[] = {
    {"dBase III 511 bytes take one block", 0x03, MemoImage::Dbase3, 512, 511, 2},
    {"dBase III 512 bytes take two", 0x03, MemoImage::Dbase3, 512, 512, 3},
    {"dBase IV 504 bytes take one block", 0x04, MemoImage::Dbase4, 512, 504, 2},
    {"dBase IV 505 bytes take two", 0x04, MemoImage::Dbase4, 512, 505, 3},
    {"FoxPro 56 bytes take one block of 64", 0xF5, MemoImage::FoxPro, 64, 56, 9},
    {"FoxPro 57 bytes take two", 0xF5, MemoImage::FoxPro, 64, 57, 10},
};

TEST(MemoWrite, AppendsAndAdvancesNextFree) {
    for (const GrowthCase& c : kGrowth) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        MemoImage fresh(c.layout, c.block_size);
        int32_t first = static_cast<int32_t>(fresh.data.size() / static_cast<size_t>(fresh.block_size));
        auto table = open_memo_table(dir, c.signature, fresh.bytes());
        std::string text(c.length, 'q');
        ASSERT_TRUE(dbf_store_memo(*table, 0, text.c_str()));
        EXPECT_EQ(dbf_field_atol(*table, 0), first);
        EXPECT_EQ(dbf_memo_read(*table, 0), text);
        // What an independent image builder makes of the same text, byte for byte.
        MemoImage expected(c.layout, c.block_size);
        EXPECT_EQ(expected.add(text), first);
        EXPECT_EQ(dir.read(memo_name(c.signature)), expected.bytes());
        std::string header = dir.read(memo_name(c.signature)).substr(0, 4);
        EXPECT_EQ(header, c.layout == MemoImage::FoxPro ? be32(c.next_after) : le32(c.next_after));
    }
}

TEST(MemoWrite, SecondShortTextOfANewDbase3FileGoesToBlock2) {
    ScratchDir dir;
    auto table = open_memo_table(dir, 0x03, std::nullopt);
    ASSERT_TRUE(dbf_create_memo(test_fs(), table->path, MemoKind::Dbase3, 0));
    EXPECT_EQ(dbf_memo_write(*table, "one"), 1);
    EXPECT_EQ(dbf_memo_write(*table, "two"), 2);
    EXPECT_EQ(dir.read("t.dbt").substr(0, 4), le32(3));
}

TEST(MemoWrite, BlockNumberInABinaryField) {
    ScratchDir dir;
    auto table = open_memo_table(dir, 0x30, MemoImage(MemoImage::FoxPro, 64).bytes(), "", {"NOTE", 'M', 4});
    ASSERT_TRUE(dbf_store_memo(*table, 0, "abc"));
    EXPECT_EQ(dbf_field_int(*table, 0), 8);
    EXPECT_EQ(dbf_memo_read(*table, 0), "abc");
    EXPECT_EQ(std::string(reinterpret_cast<char*>(table->record.data()) + 5, 2), "zz");
}

struct RefusedWrite {
    const char* what;
    uint8_t signature;
    std::optional<std::string> memo;
    std::string text;
    int64_t write_budget = -1;
};

std::vector<RefusedWrite> refused_writes() {
    std::string d3 = MemoImage(MemoImage::Dbase3).bytes();
    std::string d4 = MemoImage(MemoImage::Dbase4, 64).bytes();
    std::string fox = MemoImage(MemoImage::FoxPro, 64).bytes();
    return {
        {"empty text", 0x03, d3, ""},
        {"signature E5", 0xE5, d3, "text"},
        {"missing memo file", 0x03, std::nullopt, "text"},
        {"every write fails", 0x03, d3, "text", 0},
        {"dBase IV write fails", 0x04, d4, "text", 0},
        {"FoxPro text write fails", 0xF5, fox, "text", 1},
        {"dBase III file shorter than 4 bytes", 0x03, std::string("\x01\x00", 2), "text"},
        {"dBase III next free 0 would overwrite the header", 0x03, with_bytes(d3, 0, le32(0)), "text"},
        {"dBase III next free beyond 32 bits", 0x03, with_bytes(d3, 0, le32(-1)), "text"},
        {"dBase IV block size 0", 0x04, with_bytes(d4, 20, le16(0)), "text"},
        {"dBase IV header too short", 0x04, std::string(23, '\0'), "text"},
        {"FoxPro block size 0", 0xF5, with_bytes(fox, 6, be16(0)), "text"},
        {"FoxPro header too short", 0xF5, std::string(7, '\0'), "text"},
    };
}

TEST(MemoWrite, RefusesWithoutHarm) {
    for (const RefusedWrite& c : refused_writes()) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        auto table = open_memo_table(dir, c.signature, c.memo, "    12");
        bool stored;
        {
            WriteBudget budget(c.write_budget);
            stored = dbf_store_memo(*table, 0, c.text.c_str());
        }
        EXPECT_FALSE(stored);
        EXPECT_EQ(dbf_field_atol(*table, 0), 12) << "the field keeps its block number";
        if (c.memo) {
            EXPECT_EQ(dir.read(memo_name(c.signature)).substr(0, 24), c.memo->substr(0, 24));
        } else {
            EXPECT_FALSE(dir.exists("t.dbt"));
        }
    }
}

TEST(MemoBlockSize, ByLayout) {
    struct Case {
        const char* what;
        uint8_t signature;
        std::optional<std::string> memo;
        int32_t size;
    };
    const Case cases[] = {
        {"dBase III is always 512", 0x83, std::string(2, '\0'), 512},
        {"dBase IV header word", 0x8B, MemoImage(MemoImage::Dbase4, 1024).bytes(), 1024},
        {"FoxPro header word", 0x30, MemoImage(MemoImage::FoxPro, 64).bytes(), 64},
        {"dBase IV header too short", 0x04, std::string(23, '\0'), 256},
        {"FoxPro header too short", 0xF5, std::string(7, '\0'), 256},
        {"missing memo file", 0xF5, std::nullopt, 0},
        {"signature E5", 0xE5, std::string(512, '\0'), 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        auto table = open_memo_table(dir, c.signature, c.memo);
        EXPECT_EQ(dbf_memo_block_size(*table), c.size);
    }
}

TEST(MemoCreate, WritesTheHeaderOfEachKind) {
    struct Case {
        const char* what;
        MemoKind kind;
        int block_size;
        const char* name;
        size_t header_size;
        std::string start;  // the first 8 bytes
        std::string block_word;  // bytes 18 to 21
    };
    const std::string zero2(2, '\0'), zero4(4, '\0');
    const Case cases[] = {
        {"dBase III ignores the block size", MemoKind::Dbase3, 128, "t.dbt", 512, le32(1) + zero4, zero4},
        {"FoxPro block 128 starts at 4", MemoKind::FoxPro, 128, "t.fpt", 512, be32(4) + zero2 + be16(128), zero4},
        {"Visual FoxPro block 1024", MemoKind::VisualFoxPro, 1024, "t.fpt", 1024, be32(1) + zero2 + be16(1024), zero4},
        {"dBase IV block 100 truncates to 5", MemoKind::Dbase4, 100, "t.dbt", 512, le32(5) + zero4,
         le16(0x0102) + le16(100)},
        {"block size 0 means 512", MemoKind::Dbase4, 0, "t.dbt", 512, le32(1) + zero4, le16(0x0102) + le16(512)},
        {"block size beyond 16 bits means 512", MemoKind::FoxPro, 70000, "t.fpt", 512, be32(1) + zero2 + be16(512),
         zero4},
        {"unknown kind is all zero", MemoKind::Unknown, 128, "t.smt", 512, std::string(8, '\0'), zero4},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        ASSERT_TRUE(dbf_create_memo(test_fs(), dir.file("t.dbf"), c.kind, c.block_size));
        std::string bytes = dir.read(c.name);
        ASSERT_EQ(bytes.size(), c.header_size);
        EXPECT_EQ(bytes.substr(0, 8), c.start);
        EXPECT_EQ(bytes.substr(18, 4), c.block_word);
        EXPECT_EQ(bytes.find_first_not_of('\0', 22), std::string::npos);
    }
}

TEST(MemoCreate, EmptiesAnExistingFileWithUmaskedMode) {
    ScratchDir dir;
    dir.write("t.dbt", std::string(2000, 'x'));
    mode_t old_mask = umask(022);
    EXPECT_TRUE(dbf_create_memo(test_fs(), dir.file("t.dbf"), MemoKind::Dbase3, 128));
    umask(old_mask);
    EXPECT_EQ(dir.read("t.dbt"), le32(1) + std::string(508, '\0'));
    struct stat st {};
    ASSERT_EQ(stat(dir.file("t.dbt").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0644u);
}

TEST(MemoCreate, FailsWhereTheFileCannotBeMade) {
    ScratchDir dir;
    EXPECT_FALSE(dbf_create_memo(test_fs(), dir.file("missing/t.dbf"), MemoKind::Dbase3, 0));
    WriteBudget budget(0);
    EXPECT_FALSE(dbf_create_memo(test_fs(), dir.file("t.dbf"), MemoKind::Dbase3, 0));
}

}  // namespace

// The memo file stays open from the first memo on. Texts appended through another
// table of the same file move its next free block, and this table sees that.
TEST(MemoFileKeptOpen, AppendsThroughTwoTablesNeverOverlap) {
    for (uint8_t signature : {uint8_t{0x83}, uint8_t{0x8B}, uint8_t{0xF5}}) {
        SCOPED_TRACE(signature);
        ScratchDir dir;
        MemoImage::Layout layout = signature == 0x83 ? MemoImage::Dbase3
                                   : signature == 0x8B ? MemoImage::Dbase4 : MemoImage::FoxPro;
        auto first = open_memo_table(dir, signature, MemoImage(layout, 64).bytes());
        auto second = open_table(dir.file("t.dbf"));
        ASSERT_TRUE(first && second);
        (void)dbf_read_record(*second, 0);
        std::vector<std::pair<DbfTable*, std::string>> stored;
        for (int i = 0; i < 6; ++i) {
            DbfTable& table = i % 2 == 0 ? *first : *second;
            std::string text = "text number " + std::to_string(i) + std::string(static_cast<size_t>(i) * 70, '.');
            ASSERT_TRUE(dbf_store_memo(table, 0, text.c_str()));
            stored.push_back({&table, std::to_string(dbf_field_atol(table, 0))});
        }
        auto reader = open_table(dir.file("t.dbf"));
        for (size_t i = 0; i < stored.size(); ++i) {
            ASSERT_TRUE(dbf_store_text(*reader, 0, ("   " + stored[i].second).c_str()));
            EXPECT_EQ(dbf_memo_read(*reader, 0).value_or("-").substr(0, 13), "text number " + std::to_string(i));
        }
    }
}

// Gathered texts wait in memory, in the order and at the places direct appends
// would give them, and a read of one writes them out first.
TEST(MemoFileKeptOpen, GatheredTextsMatchDirectAppendsAndAreReadable) {
    for (uint8_t signature : {uint8_t{0x83}, uint8_t{0x8B}, uint8_t{0xF5}}) {
        SCOPED_TRACE(signature);
        MemoImage::Layout layout = signature == 0x83 ? MemoImage::Dbase3
                                   : signature == 0x8B ? MemoImage::Dbase4 : MemoImage::FoxPro;
        ScratchDir direct, gathered;
        auto a = open_memo_table(direct, signature, MemoImage(layout, 64).bytes());
        auto b = open_memo_table(gathered, signature, MemoImage(layout, 64).bytes());
        dbf_memo_begin_gathering(*b);
        for (int i = 0; i < 5; ++i) {
            std::string text(static_cast<size_t>(i) * 200 + 1, static_cast<char>('a' + i));
            ASSERT_TRUE(dbf_store_memo(*a, 0, text.c_str()));
            ASSERT_TRUE(dbf_store_memo(*b, 0, text.c_str()));
        }
        EXPECT_GT(dbf_memo_waiting(*b), 800u);
        EXPECT_NE(gathered.read(memo_name(signature)), direct.read(memo_name(signature)));
        EXPECT_EQ(dbf_memo_read(*b, 0), std::string(801, 'e'));  // written out for the read
        EXPECT_EQ(dbf_memo_waiting(*b), 0u);
        ASSERT_TRUE(dbf_store_memo(*a, 0, "last"));
        ASSERT_TRUE(dbf_store_memo(*b, 0, "last"));
        EXPECT_TRUE(dbf_memo_end_gathering(*b));
        EXPECT_EQ(gathered.read(memo_name(signature)), direct.read(memo_name(signature)));
    }
}

// A gathered text that can't be written makes the flush say so, and the next text
// takes its place: the header on disk never moved.
TEST(MemoFileKeptOpen, AFailedFlushGivesThePlaceBack) {
    ScratchDir dir;
    auto table = open_memo_table(dir, 0x83, MemoImage(MemoImage::Dbase3).bytes());
    dbf_memo_begin_gathering(*table);
    ASSERT_TRUE(dbf_store_memo(*table, 0, "lost"));
    {
        WriteBudget none(0);
        EXPECT_FALSE(dbf_memo_flush(*table));
    }
    ASSERT_TRUE(dbf_store_memo(*table, 0, "kept"));
    EXPECT_EQ(dbf_field_atol(*table, 0), 1);
    EXPECT_TRUE(dbf_memo_end_gathering(*table));
    EXPECT_EQ(dbf_memo_read(*table, 0), "kept");
}
