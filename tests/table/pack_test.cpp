// tests/table/pack_test.cpp
//
// Packing rebuilds the memo file of every family, keeps the old one beside it, and
// leaves table and memo file as they were wherever the disk fails.
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

int mode_of(const std::string& path) {
    struct stat st {};
    stat(path.c_str(), &st);
    return static_cast<int>(st.st_mode & 0777);
}

struct Family {
    const char* what; uint8_t signature; MemoImage::Layout layout; const char* memo_name; const char* old_name;
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
    TableImage image; MemoImage memo;
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

