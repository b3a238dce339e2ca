// tests/table/create_test.cpp
#include <cstring>
#include <ctime>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

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

struct Normalising {
    const char* what;
    MemoKind kind;
    char type;
    uint16_t wide, stored_wide;
    uint8_t signature;
    const char* memo_file;  // null: none is made
};

const Normalising kNormalisings[] = {
    {"D of 10 is stored with 8", MemoKind::Dbase3, 'D', 10, 8, 0x83, nullptr},
    {"L of 3 is one letter", MemoKind::Unknown, 'L', 3, 1, 0x03, nullptr},
    {"I is 4 bytes", MemoKind::VisualFoxPro, 'I', 10, 4, 0x30, nullptr},
    {"T of 8 grows to 14 outside Visual FoxPro", MemoKind::FoxPro, 'T', 8, 14, 0xF5, nullptr},
    {"T of 8 stays 8 in Visual FoxPro", MemoKind::VisualFoxPro, 'T', 8, 8, 0x30, nullptr},
    {"M is 4 bytes in Visual FoxPro", MemoKind::VisualFoxPro, 'M', 10, 4, 0x30, "t.fpt"},
    {"M is 10 digits elsewhere", MemoKind::Dbase4, 'M', 4, 10, 0x8B, "t.dbt"},
    {"B of 4 becomes a memo of 10 in dBase IV", MemoKind::Dbase4, 'B', 4, 10, 0x8B, "t.dbt"},
    {"B of 4 becomes a double elsewhere", MemoKind::Dbase3, 'B', 4, 8, 0x83, nullptr},
    {"C of 300 keeps its wide length", MemoKind::Dbase3, 'C', 300, 300, 0x83, nullptr},
    {"N keeps length and decimals", MemoKind::Dbase3, 'N', 5 + 256 * 2, 5 + 256 * 2, 0x83, nullptr},
};

}  // namespace

TEST(CreateTable, NormalisesEachFieldByTheMemoFamily) {
    for (const Normalising& c : kNormalisings) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        FieldDesc fields[1] = {field_of("F", c.type, c.wide)};
        ASSERT_TRUE(dbf_create(test_fs(), dir.file("t.dbf"), fields, 1, c.kind, 128, 1));
        EXPECT_EQ(dbf_wide_length(fields[0]), c.stored_wide) << "the caller's descriptor is normalised";
        std::string bytes = dir.read("t.dbf");
        ASSERT_EQ(bytes.size(), 65u);
        EXPECT_EQ(static_cast<uint8_t>(bytes[0]), c.signature);
        EXPECT_EQ(u16_at(bytes, 32 + 16), c.stored_wide);
        EXPECT_EQ(u16_at(bytes, 10), 1 + (c.type == 'C' ? c.stored_wide : (c.stored_wide & 0xFF)));
        EXPECT_EQ(dir.exists("t.dbt") || dir.exists("t.fpt"), c.memo_file != nullptr);
        if (c.memo_file) {
            EXPECT_EQ(dir.read(c.memo_file).size(), 512u);
        }
    }
}

TEST(CreateTable, WritesHeaderDescriptorsAndTerminatorOnly) {
    ScratchDir dir;
    mode_t old_mask = umask(027);
    FieldDesc fields[3] = {field_of("A", 'C', 3), field_of("N", 'N', 5 + 256 * 2), field_of("D", 'D', 8)};
    bool created = dbf_create(test_fs(), dir.file("t.dbf"), fields, 3, MemoKind::Dbase3, 128, 1);
    umask(old_mask);
    ASSERT_TRUE(created);
    EXPECT_EQ(mode_of(dir.file("t.dbf")), 0640) << "0644 less the umask";
    EXPECT_EQ(fields[2].record_offset, 9);
    std::string bytes = dir.read("t.dbf");
    ASSERT_EQ(bytes.size(), 129u) << "no records, no end mark";
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    const std::string header = {'\x83', static_cast<char>(dbf_header_year(local.tm_year)),
                                static_cast<char>(local.tm_mon + 1), static_cast<char>(local.tm_mday),
                                0, 0, 0, 0, '\x81', 0, 17, 0};
    EXPECT_EQ(bytes.substr(0, 12), header) << "kind 0 is marked for memos, even without any";
    EXPECT_EQ(u16_at(bytes, 32 + 32 + 12), 4) << "offsets are written";
    EXPECT_EQ(bytes[128], '\x0D');
    EXPECT_FALSE(dir.exists("t.dbt")) << "no memo field, no memo file";
}

TEST(CreateTable, LayoutBeyondSixteenBitLengthsIsRefusedWithoutTouchingTheFile) {
    ScratchDir dir;
    dir.write("t.dbf", "precious");
    std::vector<FieldDesc> many(kMaxFields, field_of("A", 'C', 1));
    EXPECT_FALSE(dbf_create(test_fs(), dir.file("t.dbf"), many.data(), kMaxFields, MemoKind::Dbase3, 128, 1));
    std::vector<FieldDesc> wide(300, field_of("W", 'C', 255));
    EXPECT_FALSE(dbf_create(test_fs(), dir.file("t.dbf"), wide.data(), 300, MemoKind::Dbase3, 128, 1));
    EXPECT_EQ(dir.read("t.dbf"), "precious");
}

TEST(FillField, BoundsAnElevenByteName) {
    FieldDesc desc;
    std::memset(&desc, 0x55, sizeof desc);
    dbf_fill_field(desc, "ELEVENCHARSX", 'C', 300);
    EXPECT_EQ(std::string(desc.name, 11), "ELEVENCHARS");
    EXPECT_EQ(desc.length, 0x2C);
    EXPECT_EQ(desc.decimals, 1);
    EXPECT_EQ(desc.reserved2[13], 0);
}

namespace {

// Five one-letter records a to e; b and d deleted.
TableImage five_letters() {
    TableImage t;
    t.fields = {{"L", 'C', 1}};
    for (char c = 'a'; c <= 'e'; ++c) t.add({std::string(1, c)}, c == 'b' || c == 'd');
    return t;
}

}  // namespace

TEST(Truncate, CutsOrExtendsAndWritesTheHeader) {
    const std::pair<int32_t, std::string> cases[] = {
        {2, std::string(" a*b\x1A", 5)},
        {0, "\x1A"},
        {7, std::string(" a*b c*d e\0\0\0\0\x1A", 15)},  // added records are zero bytes, marks too
    };
    for (const auto& [count, records] : cases) {
        SCOPED_TRACE(count);
        ScratchDir dir;
        dir.write("t.dbf", five_letters().bytes());
        std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
        ASSERT_TRUE(dbf_truncate(*table, count));
        std::string bytes = dir.read("t.dbf");
        EXPECT_EQ(bytes.substr(65), records);
        EXPECT_EQ(bytes[4], count);
        EXPECT_NE(bytes[1], 101) << "the date is stamped";
    }
}

TEST(Pack, CompactionRemovesDeletedRecordsHiddenOrNotAndSparesCleanTables) {
    ScratchDir dir;
    dir.write("t.dbf", five_letters().bytes());
    std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
    table->filter_index = std::vector<int32_t>{0, 2};  // b and d hidden by a filter
    ASSERT_TRUE(dbf_pack(*table, PackMode::Records));
    std::string packed = dir.read("t.dbf");
    EXPECT_EQ(packed.substr(65), std::string(" a c e\x1A", 7));
    EXPECT_EQ(dbf_pack(*table, PackMode::All), 1);
    EXPECT_EQ(dir.read("t.dbf"), packed) << "nothing to remove: not even the date changes";
    EXPECT_FALSE(dir.exists("t.~bt")) << "no memo fields, no old memo file";
}

TEST(Pack, FailureDuringCompactionLosesNoLiveRecord) {
    for (int budget = 0; budget < 4; ++budget) {
        SCOPED_TRACE(budget);
        ScratchDir dir;
        dir.write("t.dbf", five_letters().bytes());
        std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
        {
            WriteBudget fail_after(budget);
            (void)dbf_pack(*table, PackMode::Records);
        }
        std::string bytes = dir.read("t.dbf"), letters;
        for (size_t at = 65; at + 2 <= bytes.size(); at += 2) letters += bytes[at + 1];
        for (char live : std::string("ace")) EXPECT_NE(letters.find(live), std::string::npos) << live;
    }
}

namespace {

struct Family {
    const char* what;
    uint8_t signature;
    MemoImage::Layout layout;
    const char* memo_name;
    const char* old_name;
    int memo_width;
};

const Family kFamilies[] = {
    {"dBase III", 0x83, MemoImage::Dbase3, "t.dbt", "t.~bt", 10},
    {"dBase IV", 0x8B, MemoImage::Dbase4, "t.dbt", "t.~bt", 10},
    {"FoxPro", 0xF5, MemoImage::FoxPro, "t.fpt", "t.~pt", 10},
    {"Visual FoxPro, binary block numbers", 0x30, MemoImage::FoxPro, "t.fpt", "t.~pt", 4},
};

// Live "one" (behind a dead text), deleted "two", live without memo, live "four"
// stored as FoxPro block type 2, live sharing the block of the first.
struct MemoTable {
    TableImage image;
    MemoImage memo;
    explicit MemoTable(const Family& f) : memo(f.layout, 64) {
        image.signature = f.signature;
        image.fields = {{"K", 'C', 1}, {"NOTE", 'M', f.memo_width}};
        auto value = [&](int32_t block) { return f.memo_width == 4 ? le32(block) : std::to_string(block); };
        memo.add("dead text nobody uses");
        int32_t one = memo.add("one");
        int32_t two = memo.add("two");
        int32_t four = memo.add("four", 2);
        image.add({"1", value(one)});
        image.add({"2", value(two)}, true);
        image.add({"3", value(0)});
        image.add({"4", value(four)});
        image.add({"5", value(one)});
    }
};

// Mark, key and memo text of each record, as the engine reads them back.
std::vector<std::string> contents(const std::string& path) {
    std::vector<std::string> out;
    std::unique_ptr<DbfTable> table = open_table(path);
    for (int32_t i = 0; table && i < dbf_record_count(*table); ++i) {
        (void)dbf_read_record(*table, i);
        out.push_back(std::string{static_cast<char>(table->record[0]), static_cast<char>(table->record[1]), ':'} +
                      dbf_memo_read(*table, 1).value_or("-"));
    }
    return out;
}

const std::vector<std::string> kBefore = {" 1:one", "*2:two", " 3:-", " 4:four", " 5:one"};

}  // namespace

TEST(Pack, RebuildsTheMemoFileAndKeepsTheOldOne) {
    for (const Family& f : kFamilies) {
        SCOPED_TRACE(f.what);
        ScratchDir dir;
        MemoTable source(f);
        dir.write("t.dbf", source.image.bytes());
        dir.write(f.memo_name, source.memo.bytes());
        chmod(dir.file("t.dbf").c_str(), 0600);
        std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
        ASSERT_TRUE(dbf_pack(*table, PackMode::All));
        EXPECT_EQ(dir.read(f.old_name), source.memo.bytes()) << "the old texts stay under the ~ name";
        EXPECT_EQ(contents(dir.file("t.dbf")), (std::vector<std::string>{" 1:one", " 3:-", " 4:four", " 5:one"}));
        EXPECT_EQ(mode_of(dir.file("t.dbf")), 0600) << "the rewritten table keeps its permissions";
        EXPECT_FALSE(dir.exists("t.dbf.pack"));
        ASSERT_EQ(dbf_read_record(*table, 3), 1) << "the open table goes on with the packed file";
        EXPECT_EQ(dbf_memo_read(*table, 1).value_or("-"), "one");

        std::string memo = dir.read(f.memo_name);
        EXPECT_EQ(memo.find("dead text"), std::string::npos);
        EXPECT_EQ(memo.find("two"), std::string::npos);
        EXPECT_NE(memo.find("one", memo.find("one") + 1), std::string::npos) << "a shared text is stored twice";
        if (f.layout == MemoImage::FoxPro) {
            EXPECT_EQ(memo.substr(memo.find("four") - 8, 4), be32(1)) << "block type 2 comes out as 1";
        }
    }
}

TEST(Pack, ModesChooseRecordsOrMemo) {
    const Family& f = kFamilies[2];
    MemoTable source(f);
    for (PackMode mode : {PackMode::Records, PackMode::Memo}) {
        SCOPED_TRACE(static_cast<int>(mode));
        ScratchDir dir;
        dir.write("t.dbf", source.image.bytes());
        dir.write(f.memo_name, source.memo.bytes());
        std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
        ASSERT_TRUE(dbf_pack(*table, mode));
        std::vector<std::string> expected = kBefore;
        if (mode == PackMode::Records) expected.erase(expected.begin() + 1);
        EXPECT_EQ(contents(dir.file("t.dbf")), expected);
        EXPECT_EQ(dir.exists(f.old_name), mode == PackMode::Memo);
        EXPECT_EQ(dir.read(f.memo_name).find("dead text") != std::string::npos, mode == PackMode::Records);
    }
}

TEST(Pack, MissingMemoFileOrUnknownFamilyLeavesBlockNumbersAlone) {
    for (uint8_t signature : {0x83, 0xE5}) {
        SCOPED_TRACE(signature);
        ScratchDir dir;
        MemoTable source(kFamilies[0]);
        source.image.signature = signature;
        dir.write("t.dbf", source.image.bytes());
        if (signature == 0xE5) dir.write("t.smt", source.memo.bytes());
        std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
        ASSERT_TRUE(dbf_pack(*table, PackMode::All));
        ASSERT_TRUE(dbf_read_record(*table, 3));
        EXPECT_EQ(std::string(table->record.begin(), table->record.begin() + 12), source.image.records[4]);
        EXPECT_FALSE(dir.exists("t.~bt") || dir.exists("t.~mt"));
    }
}

TEST(Pack, FailingMemoRebuildLeavesTableAndMemoAsTheyWere) {
    for (const Family& f : kFamilies) {
        SCOPED_TRACE(f.what);
        MemoTable source(f);
        bool packed = false;
        int budget = 0;
        for (; !packed && budget < 100; ++budget) {
            SCOPED_TRACE(budget);
            ScratchDir dir;
            dir.write("t.dbf", source.image.bytes());
            dir.write(f.memo_name, source.memo.bytes());
            std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
            {
                WriteBudget fail_after(budget);
                packed = dbf_pack(*table, PackMode::Memo);
            }
            if (packed) break;
            EXPECT_EQ(dir.read("t.dbf"), source.image.bytes());
            EXPECT_EQ(dir.read(f.memo_name), source.memo.bytes());
            EXPECT_EQ(contents(dir.file("t.dbf")), kBefore);
            EXPECT_FALSE(dir.exists("t.dbf.pack") || dir.exists(std::string("t.pack") + (f.memo_name + 1)));
        }
        // Memo file header, table header, texts, memo header, records.
        EXPECT_GE(budget, 5) << "the rebuild's writes have each been made to fail";
    }
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
    std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
    ASSERT_TRUE(dbf_pack(*table, PackMode::All));
    ASSERT_TRUE(dbf_read_record(*table, 0));
    EXPECT_EQ(dbf_memo_read_bytes(*table, 0), object);
    EXPECT_EQ(dir.read("t.fpt").find("unused"), std::string::npos);
}
