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
    {"T of 8 grows to 14 outside Visual FoxPro", MemoKind::FoxPro, 'T', 8, 14, 0xF5, nullptr},
    {"T of 8 stays 8 in Visual FoxPro", MemoKind::VisualFoxPro, 'T', 8, 8, 0x30, nullptr},
    {"M is 4 bytes in Visual FoxPro", MemoKind::VisualFoxPro, 'M', 10, 4, 0x30, "t.fpt"},
    {"M is 10 digits elsewhere", MemoKind::Dbase4, 'M', 4, 10, 0x8B, "t.dbt"},
    {"B of 4 becomes a memo of 10 in dBase IV", MemoKind::Dbase4, 'B', 4, 10, 0x8B, "t.dbt"},
    {"B of 4 becomes a double elsewhere", MemoKind::Dbase3, 'B', 4, 8, 0x83, nullptr},
    {"C of 300 keeps its wide length", MemoKind::Dbase3, 'C', 300, 300, 0x83, nullptr},
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




namespace {

// Five one-letter records a to e; b and d deleted.
TableImage five_letters() {
    TableImage t;
    t.fields = {{"L", 'C', 1}};
    for (char c = 'a'; c <= 'e'; ++c) t.add({std::string(1, c)}, c == 'b' || c == 'd');
    return t;
}

}  // namespace



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

