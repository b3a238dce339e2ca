// tests/table/create_test.cpp
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/table_builder.h"
#include "table/dbf.h"
#include "table/file_io.h"

namespace {

struct WriteBudget {
    explicit WriteBudget(int64_t writes) { file_write_budget = writes; }
    ~WriteBudget() { file_write_budget = -1; }
};

FieldDesc field_of(const char* name, char type, uint16_t wide) {
    FieldDesc desc;
    dbf_fill_field(desc, name, type, wide);
    return desc;
}

uint16_t u16_at(const std::string& bytes, size_t offset) {
    return static_cast<uint16_t>(static_cast<uint8_t>(bytes[offset]) | static_cast<uint8_t>(bytes[offset + 1]) << 8);
}

int mode_of(const std::string& path) {
    struct stat st {};
    stat(path.c_str(), &st);
    return static_cast<int>(st.st_mode & 0777);
}

const char* memo_extension(int kind) { return (kind == MemoFoxPro || kind == MemoVisualFoxPro) ? ".fpt" : ".dbt"; }

struct Normalising {
    const char* what;
    int kind;
    char type;
    uint16_t wide;
    uint16_t stored_wide;
    bool memo_file;
};

const Normalising kNormalisings[] = {
    {"D of 10 is stored with 8", MemoDbase3, 'D', 10, 8, false},
    {"Y is 8 bytes", MemoDbase3, 'Y', 4, 8, false},
    {"I is 4 bytes", MemoVisualFoxPro, 'I', 10, 4, false},
    {"L of 3 is one letter", MemoDbase3, 'L', 3, 1, false},
    {"T of 8 grows to 14 outside Visual FoxPro", MemoDbase3, 'T', 8, 14, false},
    {"T of 8 stays 8 in Visual FoxPro", MemoVisualFoxPro, 'T', 8, 8, false},
    {"T of 14 stays 14 in Visual FoxPro", MemoVisualFoxPro, 'T', 14, 14, false},
    {"M is 4 bytes in Visual FoxPro", MemoVisualFoxPro, 'M', 10, 4, true},
    {"M is 10 digits elsewhere", MemoFoxPro, 'M', 4, 10, true},
    {"G is a memo field too", MemoDbase4, 'G', 10, 10, true},
    {"B of 4 becomes a memo of 10 in dBase IV", MemoDbase4, 'B', 4, 10, true},
    {"B of 4 becomes a double elsewhere", MemoDbase3, 'B', 4, 8, false},
    {"B of 10 stays a memo", MemoDbase3, 'B', 10, 10, true},
    {"B of 8 stays a double in dBase IV", MemoDbase4, 'B', 8, 8, false},
    {"C of 300 keeps its wide length", MemoDbase3, 'C', 300, 300, false},
    {"N keeps length and decimals", MemoDbase3, 'N', 5 + 256 * 2, 5 + 256 * 2, false},
};

}  // namespace

TEST(CreateTable, NormalisesEachFieldAndCountsItsWidth) {
    for (const Normalising& c : kNormalisings) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        FieldDesc fields[1] = {field_of("F", c.type, c.wide)};
        ASSERT_EQ(dbf_create(dir.file("t.dbf"), fields, 1, c.kind, 128, 1), 1);
        EXPECT_EQ(dbf_wide_length(fields[0]), c.stored_wide) << "the caller's descriptor is normalised";
        std::string bytes = dir.read("t.dbf");
        ASSERT_EQ(bytes.size(), 65u);
        EXPECT_EQ(u16_at(bytes, 32 + 16), c.stored_wide) << "the written descriptor";
        int counted = c.type == 'C' ? c.stored_wide : (c.stored_wide & 0xFF);
        EXPECT_EQ(u16_at(bytes, 10), 1 + counted);
        EXPECT_EQ(dir.exists(std::string("t") + memo_extension(c.kind)), c.memo_file);
    }
}

TEST(CreateTable, WritesHeaderDescriptorsAndTerminatorOnly) {
    ScratchDir dir;
    FieldDesc fields[3] = {field_of("A", 'C', 3), field_of("N", 'N', 5 + 256 * 2), field_of("D", 'D', 8)};
    ASSERT_EQ(dbf_create(dir.file("t.dbf"), fields, 3, MemoDbase3, 128, 1), 1);
    EXPECT_EQ(fields[0].record_offset, 1);
    EXPECT_EQ(fields[1].record_offset, 4);
    EXPECT_EQ(fields[2].record_offset, 9);

    std::string bytes = dir.read("t.dbf");
    ASSERT_EQ(bytes.size(), 129u) << "no records and no end mark";
    EXPECT_EQ(static_cast<uint8_t>(bytes[0]), 0x83) << "kind 0 is marked for memos even without any";
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    EXPECT_EQ(static_cast<uint8_t>(bytes[1]), dbf_header_year(local.tm_year));
    EXPECT_EQ(bytes[2], local.tm_mon + 1);
    EXPECT_EQ(bytes[3], local.tm_mday);
    EXPECT_EQ(bytes.substr(4, 4), std::string(4, '\0'));
    EXPECT_EQ(u16_at(bytes, 8), 129);
    EXPECT_EQ(u16_at(bytes, 10), 17);
    EXPECT_EQ(bytes.substr(12, 20), std::string(20, '\0'));
    EXPECT_EQ(u16_at(bytes, 32 + 32 + 12), 4) << "offsets are written";
    EXPECT_EQ(bytes[128], '\x0D');
    EXPECT_FALSE(dir.exists("t.dbt")) << "no memo field, no memo file";

    std::unique_ptr<DbfTable> table = dbf_open(dir.file("t.dbf").c_str());
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(dbf_record_count(*table), 0);
}

TEST(CreateTable, SignatureFollowsTheMemoKind) {
    const std::pair<int, uint8_t> kinds[] = {{0, 0x83}, {1, 0xF5}, {2, 0x8B}, {3, 0x30}, {4, 0x03}, {7, 0x03}};
    for (auto [kind, signature] : kinds) {
        SCOPED_TRACE(kind);
        ScratchDir dir;
        FieldDesc fields[1] = {field_of("A", 'C', 1)};
        ASSERT_EQ(dbf_create(dir.file("t.dbf"), fields, 1, kind, 0, 1), 1);
        EXPECT_EQ(static_cast<uint8_t>(dir.read("t.dbf")[0]), signature);
    }
}

TEST(CreateTable, MemoFileOnlyWhenAskedAndNeeded) {
    ScratchDir dir;
    FieldDesc with_memo[2] = {field_of("A", 'C', 1), field_of("M", 'M', 10)};
    ASSERT_EQ(dbf_create(dir.file("t.dbf"), with_memo, 2, MemoDbase4, 128, 0), 1);
    EXPECT_FALSE(dir.exists("t.dbt"));
    ASSERT_EQ(dbf_create(dir.file("t.dbf"), with_memo, 2, MemoDbase4, 128, 1), 1);
    std::string memo = dir.read("t.dbt");
    ASSERT_EQ(memo.size(), 512u);
    EXPECT_EQ(memo[0], 4) << "block size 128 behind a 512-byte header";
    EXPECT_EQ(u16_at(memo, 20), 128);
}

TEST(CreateTable, NewFilesGetMode0644LessTheUmask) {
    ScratchDir dir;
    mode_t old_mask = umask(027);
    FieldDesc fields[1] = {field_of("M", 'M', 10)};
    int created = dbf_create(dir.file("t.dbf"), fields, 1, MemoDbase3, 128, 1);
    umask(old_mask);
    ASSERT_EQ(created, 1);
    EXPECT_EQ(mode_of(dir.file("t.dbf")), 0640);
    EXPECT_EQ(mode_of(dir.file("t.dbt")), 0640);
}

TEST(CreateTable, LayoutBeyondSixteenBitLengthsIsRefusedWithoutTouchingTheFile) {
    ScratchDir dir;
    dir.write("t.dbf", "precious");
    std::vector<FieldDesc> many(kMaxFields, field_of("A", 'C', 1));
    EXPECT_EQ(dbf_create(dir.file("t.dbf"), many.data(), kMaxFields, MemoDbase3, 128, 1), 0)
        << "a header of 2048 descriptors doesn't fit 16 bits";
    std::vector<FieldDesc> wide(300, field_of("W", 'C', 255));
    EXPECT_EQ(dbf_create(dir.file("t.dbf"), wide.data(), 300, MemoDbase3, 128, 1), 0)
        << "records longer than 65535 bytes";
    EXPECT_EQ(dir.read("t.dbf"), "precious");
}

TEST(CreateTable, FailingWriteGivesZero) {
    ScratchDir dir;
    FieldDesc fields[1] = {field_of("A", 'C', 1)};
    for (int budget = 0; budget < 3; ++budget) {
        SCOPED_TRACE(budget);
        WriteBudget fail_after(budget);
        EXPECT_EQ(dbf_create(dir.file("t.dbf"), fields, 1, MemoDbase3, 128, 1), 0);
    }
    EXPECT_EQ(dbf_create(dir.file("nodir/t.dbf"), fields, 1, MemoDbase3, 128, 1), 0);
}

TEST(FillField, ZeroesTheDescriptorAndSplitsTheWidth) {
    FieldDesc desc;
    std::memset(&desc, 0x55, sizeof desc);
    dbf_fill_field(desc, "ELEVENCHARS", 'C', 300);
    EXPECT_EQ(std::string(desc.name, 11), "ELEVENCHARS") << "an 11-byte name is bounded, not overrun";
    EXPECT_EQ(desc.type, 'C');
    EXPECT_EQ(desc.length, 0x2C);
    EXPECT_EQ(desc.decimals, 1);
    EXPECT_EQ(desc.record_offset, 0);
    for (uint8_t b : desc.reserved2) EXPECT_EQ(b, 0);
    dbf_fill_field(desc, "AB", 'N', 8 + 256 * 2);
    EXPECT_EQ(std::string(desc.name, 3), std::string("AB\0", 3));
    EXPECT_EQ(desc.length, 8);
    EXPECT_EQ(desc.decimals, 2);
}

namespace {

// Five one-letter records a to e; b and d deleted.
TableImage five_letters() {
    TableImage t;
    t.fields = {{"L", 'C', 1}};
    for (char c = 'a'; c <= 'e'; ++c) t.add({std::string(1, c)}, c == 'b' || c == 'd');
    return t;
}

// The letter of every record in the file, deleted or not.
std::string letters_of(const std::string& bytes) {
    std::string out;
    for (size_t at = 65; at + 2 <= bytes.size(); at += 2) out += bytes[at + 1];
    return out;
}

}  // namespace

TEST(Truncate, CutsOrExtendsAndWritesTheHeader) {
    struct Case {
        const char* what;
        int32_t count;
        std::string records;  // what follows the header
    };
    const Case cases[] = {
        {"cut to two", 2, std::string(" a*b\x1A", 5)},
        {"to zero leaves the header and one end mark", 0, "\x1A"},
        {"longer adds zero-filled records, marks too", 7, std::string(" a*b c*d e\0\0\0\0\x1A", 15)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        dir.write("t.dbf", five_letters().bytes());
        std::unique_ptr<DbfTable> table = dbf_open(dir.file("t.dbf").c_str());
        ASSERT_NE(table, nullptr);
        ASSERT_EQ(dbf_truncate(*table, c.count), 1);
        EXPECT_EQ(table->header.record_count, static_cast<uint32_t>(c.count));
        std::string bytes = dir.read("t.dbf");
        EXPECT_EQ(bytes.substr(65), c.records);
        EXPECT_EQ(static_cast<uint8_t>(bytes[4]), c.count);
        EXPECT_NE(bytes[1], 101) << "the date is stamped";
    }
}

TEST(Truncate, NegativeCountOrReadOnlyTableChangesNothing) {
    ScratchDir dir;
    const std::string original = five_letters().bytes();
    dir.write("t.dbf", original);
    std::unique_ptr<DbfTable> table = dbf_open(dir.file("t.dbf").c_str());
    EXPECT_EQ(dbf_truncate(*table, -1), 0);
    EXPECT_EQ(dir.read("t.dbf"), original);

    dir.write("r.dbf", original);
    auto read_only = std::make_unique<DbfTable>();
    dbf_init(*read_only);
    read_only->fd = open(dir.file("r.dbf").c_str(), O_RDONLY);
    ASSERT_TRUE(dbf_read_header(*read_only) && dbf_read_fields(*read_only));
    read_only->path = dir.file("r.dbf");
    dbf_bind_memo(*read_only);
    EXPECT_EQ(dbf_zap(*read_only), 0);
    EXPECT_EQ(dbf_pack(*read_only, 0), 0);
    EXPECT_EQ(dir.read("r.dbf"), original);
}

TEST(Pack, CompactionRemovesDeletedRecordsHiddenOrNot) {
    ScratchDir dir;
    dir.write("t.dbf", five_letters().bytes());
    std::unique_ptr<DbfTable> table = dbf_open(dir.file("t.dbf").c_str());
    table->filter_index = std::vector<int32_t>{0, 2};  // b and d hidden by a filter
    ASSERT_EQ(dbf_pack(*table, 1), 1);
    EXPECT_EQ(table->use_index, 1);
    EXPECT_EQ(table->header.record_count, 3u);
    std::string bytes = dir.read("t.dbf");
    EXPECT_EQ(bytes.substr(65), std::string(" a c e\x1A", 7));
    EXPECT_EQ(bytes[4], 3);
}

TEST(Pack, TableWithoutDeletedRecordsIsNotTouched) {
    ScratchDir dir;
    TableImage image;
    image.fields = {{"L", 'C', 1}};
    image.add({"a"});
    image.add({"b"});
    image.record_count = 9;  // wrong on purpose: a header write would correct it
    dir.write("t.dbf", image.bytes());
    std::unique_ptr<DbfTable> table = dbf_open(dir.file("t.dbf").c_str());
    ASSERT_EQ(dbf_pack(*table, 0), 1);
    EXPECT_EQ(dir.read("t.dbf"), image.bytes());
    EXPECT_FALSE(dir.exists("t.~bt")) << "no memo fields, no old memo file";
}

TEST(Pack, FailureDuringCompactionLosesNoLiveRecord) {
    for (int budget = 0; budget < 4; ++budget) {
        SCOPED_TRACE(budget);
        ScratchDir dir;
        dir.write("t.dbf", five_letters().bytes());
        std::unique_ptr<DbfTable> table = dbf_open(dir.file("t.dbf").c_str());
        int packed;
        {
            WriteBudget fail_after(budget);
            packed = dbf_pack(*table, 1);
        }
        EXPECT_EQ(table->use_index, 1);
        std::string letters = letters_of(dir.read("t.dbf"));
        if (packed) {
            EXPECT_EQ(letters.substr(0, 3), "ace");
        } else {
            for (char live : std::string("ace")) EXPECT_NE(letters.find(live), std::string::npos) << live;
        }
    }
}

namespace {

struct Family {
    const char* what;
    uint8_t signature;
    MemoImage::Layout layout;
    int block_size;
    const char* memo_name;
    const char* old_name;
    FieldSpec memo_field;
};

const Family kFamilies[] = {
    {"dBase III", 0x83, MemoImage::Dbase3, 512, "t.dbt", "t.~bt", {"NOTE", 'M', 10}},
    {"dBase IV", 0x8B, MemoImage::Dbase4, 64, "t.dbt", "t.~bt", {"NOTE", 'M', 10}},
    {"FoxPro", 0xF5, MemoImage::FoxPro, 64, "t.fpt", "t.~pt", {"NOTE", 'M', 10}},
    {"Visual FoxPro, binary block numbers", 0x30, MemoImage::FoxPro, 64, "t.fpt", "t.~pt", {"NOTE", 'M', 4}},
};

std::string block_value(const Family& f, int32_t block) {
    return f.memo_field.length == 4 ? le32(block) : std::to_string(block);
}

// Records: live "one" (a dead text before it), deleted "two", live with no memo,
// live "four" stored as FoxPro type 2 where the layout has types, live sharing
// the block of the first.
struct MemoTable {
    TableImage image;
    MemoImage memo;
    explicit MemoTable(const Family& f) : memo(f.layout, f.block_size) {
        image.signature = f.signature;
        image.fields = {{"K", 'C', 1}, f.memo_field};
        memo.add("dead text nobody uses");
        int32_t one = memo.add("one");
        int32_t two = memo.add("two");
        int32_t four = memo.add("four", 2);
        image.add({"1", block_value(f, one)});
        image.add({"2", block_value(f, two)}, true);
        image.add({"3", f.memo_field.length == 4 ? le32(0) : ""});
        image.add({"4", block_value(f, four)});
        image.add({"5", block_value(f, one)});
    }
};

// Key letter and memo text of each record, as the engine reads them back.
std::vector<std::string> contents(const std::string& path) {
    std::vector<std::string> out;
    std::unique_ptr<DbfTable> table = dbf_open(path.c_str());
    if (!table) return {"unopenable"};
    for (int32_t i = 0; i < dbf_record_count(*table); ++i) {
        dbf_read_record(*table, i);
        std::optional<std::string> text = dbf_memo_read(*table, 1);
        out.push_back(std::string(1, static_cast<char>(table->record[0])) + static_cast<char>(table->record[1]) +
                      ":" + text.value_or("-"));
    }
    return out;
}

}  // namespace

TEST(Pack, RebuildsTheMemoFileAndKeepsTheOldOne) {
    const std::vector<std::string> packed = {" 1:one", " 3:-", " 4:four", " 5:one"};
    for (const Family& f : kFamilies) {
        SCOPED_TRACE(f.what);
        ScratchDir dir;
        MemoTable source(f);
        dir.write("t.dbf", source.image.bytes());
        dir.write(f.memo_name, source.memo.bytes());
        std::unique_ptr<DbfTable> table = dbf_open(dir.file("t.dbf").c_str());
        ASSERT_EQ(dbf_pack(*table, 0), 1);
        EXPECT_EQ(table->use_index, 1);
        EXPECT_EQ(dir.read(f.old_name), source.memo.bytes()) << "the old texts stay under the ~ name";
        EXPECT_FALSE(dir.exists("t.dbf.pack"));
        EXPECT_EQ(contents(dir.file("t.dbf")), packed);

        // The table object goes on working on the packed file.
        ASSERT_EQ(dbf_read_record(*table, 3), 1);
        EXPECT_EQ(dbf_memo_read(*table, 1).value_or("-"), "one");

        std::string memo = dir.read(f.memo_name);
        EXPECT_EQ(memo.find("dead text"), std::string::npos);
        EXPECT_EQ(memo.find("two"), std::string::npos) << "texts of deleted records go with them";
        size_t first = memo.find("one");
        ASSERT_NE(first, std::string::npos);
        EXPECT_NE(memo.find("one", first + 1), std::string::npos) << "a shared text is stored twice";
        if (f.layout == MemoImage::FoxPro) {
            size_t four = memo.find("four");
            ASSERT_GE(four, 8u);
            EXPECT_EQ(memo.substr(four - 8, 4), be32(1)) << "block type 2 comes out as 1";
        }
    }
}

TEST(Pack, MemoOnlyModeKeepsDeletedRecordsAndTheirTexts) {
    const Family& f = kFamilies[0];
    ScratchDir dir;
    MemoTable source(f);
    dir.write("t.dbf", source.image.bytes());
    dir.write(f.memo_name, source.memo.bytes());
    std::unique_ptr<DbfTable> table = dbf_open(dir.file("t.dbf").c_str());
    ASSERT_EQ(dbf_pack(*table, 2), 1);
    EXPECT_EQ(contents(dir.file("t.dbf")),
              (std::vector<std::string>{" 1:one", "*2:two", " 3:-", " 4:four", " 5:one"}));
    EXPECT_EQ(dir.read("t.dbf").substr(1, 3), source.image.bytes().substr(1, 3)) << "date untouched";
    EXPECT_EQ(dir.read("t.dbt").find("dead text"), std::string::npos);
}

TEST(Pack, DataOnlyModeLeavesTheMemoFileAlone) {
    const Family& f = kFamilies[2];
    ScratchDir dir;
    MemoTable source(f);
    dir.write("t.dbf", source.image.bytes());
    dir.write(f.memo_name, source.memo.bytes());
    std::unique_ptr<DbfTable> table = dbf_open(dir.file("t.dbf").c_str());
    ASSERT_EQ(dbf_pack(*table, 1), 1);
    EXPECT_EQ(dir.read(f.memo_name), source.memo.bytes());
    EXPECT_FALSE(dir.exists(f.old_name));
    EXPECT_EQ(contents(dir.file("t.dbf")), (std::vector<std::string>{" 1:one", " 3:-", " 4:four", " 5:one"}));
}

TEST(Pack, MissingMemoFileOrUnknownFamilyPacksRecordsOnly) {
    struct Case { const char* what; uint8_t signature; bool memo_file; };
    const Case cases[] = {{"no memo file", 0x83, false}, {"signature E5", 0xE5, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        MemoTable source(kFamilies[0]);
        source.image.signature = c.signature;
        dir.write("t.dbf", source.image.bytes());
        if (c.memo_file) dir.write("t.smt", source.memo.bytes());
        std::unique_ptr<DbfTable> table = dbf_open(dir.file("t.dbf").c_str());
        ASSERT_EQ(dbf_pack(*table, 0), 1);
        EXPECT_EQ(table->header.record_count, 4u);
        ASSERT_EQ(dbf_read_record(*table, 3), 1);
        EXPECT_EQ(std::string(table->record.begin() + 2, table->record.begin() + 12),
                  source.image.records[4].substr(2)) << "block numbers are left as they were";
        if (c.memo_file) {
            EXPECT_EQ(dir.read("t.smt"), source.memo.bytes());
        }
    }
}

TEST(Pack, FailingMemoRebuildLeavesTableAndMemoAsTheyWere) {
    for (const Family& f : kFamilies) {
        SCOPED_TRACE(f.what);
        MemoTable source(f);
        const std::vector<std::string> before = {" 1:one", "*2:two", " 3:-", " 4:four", " 5:one"};
        bool completed = false;
        for (int budget = 0; !completed; ++budget) {
            SCOPED_TRACE(budget);
            ASSERT_LT(budget, 100);
            ScratchDir dir;
            dir.write("t.dbf", source.image.bytes());
            dir.write(f.memo_name, source.memo.bytes());
            std::unique_ptr<DbfTable> table = dbf_open(dir.file("t.dbf").c_str());
            int packed;
            {
                WriteBudget fail_after(budget);
                packed = dbf_pack(*table, 2);
            }
            if (packed) {
                completed = true;
                EXPECT_GT(budget, 8) << "every write of a rebuild has been made to fail once";
                continue;
            }
            EXPECT_EQ(dir.read("t.dbf"), source.image.bytes());
            EXPECT_EQ(dir.read(f.memo_name), source.memo.bytes());
            EXPECT_EQ(contents(dir.file("t.dbf")), before);
            EXPECT_FALSE(dir.exists("t.dbf.pack"));
            EXPECT_FALSE(dir.exists(std::string("t.pack") + (f.memo_name + 1)));
            ASSERT_EQ(dbf_read_record(*table, 3), 1) << "the table object still reads its file";
            EXPECT_EQ(dbf_memo_read(*table, 1).value_or("-"), "four");
        }
    }
}

TEST(Pack, RewrittenFilesKeepTheirPermissions) {
    const Family& f = kFamilies[0];
    ScratchDir dir;
    MemoTable source(f);
    dir.write("t.dbf", source.image.bytes());
    dir.write(f.memo_name, source.memo.bytes());
    chmod(dir.file("t.dbf").c_str(), 0600);
    chmod(dir.file("t.dbt").c_str(), 0640);
    std::unique_ptr<DbfTable> table = dbf_open(dir.file("t.dbf").c_str());
    ASSERT_EQ(dbf_pack(*table, 0), 1);
    EXPECT_EQ(mode_of(dir.file("t.dbf")), 0600);
    EXPECT_EQ(mode_of(dir.file("t.dbt")), 0640);
}

TEST(Pack, BinaryMemoKeepsTheBytesBehindItsFirstNul) {
    ScratchDir dir;
    TableImage image;
    image.signature = 0xF5;
    image.fields = {{"PIC", 'G', 10}};
    MemoImage memo(MemoImage::FoxPro, 64);
    memo.add("unused");
    const std::string object("OLE\0\x01\x02 object", 13);
    image.add({std::to_string(memo.add(object, 2))});
    dir.write("t.dbf", image.bytes());
    dir.write("t.fpt", memo.bytes());
    std::unique_ptr<DbfTable> table = dbf_open(dir.file("t.dbf").c_str());
    ASSERT_EQ(dbf_pack(*table, 0), 1);
    ASSERT_EQ(dbf_read_record(*table, 0), 1);
    EXPECT_EQ(dbf_memo_read_bytes(*table, 0), object);
    EXPECT_EQ(dbf_memo_read(*table, 0), "OLE") << "text readers still stop at the NUL";
    EXPECT_EQ(dir.read("t.fpt").find("unused"), std::string::npos);
}
