// tests/table/pack_test.cpp
//
// A memo file rebuilt by a pack, in every family, leaves table and memo file as
// they were wherever the disk fails.
#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

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

