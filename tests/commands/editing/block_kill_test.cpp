// tests/commands/editing/block_kill_test.cpp
//
// Commands that write records in blocks, stopped dead after their first, second,
// third ... write, as a killed run would be (the file system keeps every file as
// the last allowed write left it, truncations included). Whatever the moment: the
// table opens; its header counts no record that is not whole in the file; every
// record is one the table held or one the command made, whole; and every record
// the file holds, counted or not, names a memo text that is there.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "support/engine.h"
#include "support/inprocess.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

const char* const kTexts[] = {"first note", "second note, longer than the first", "third"};

// NAME C 6, AGE N 3, NOTE M 10 (dBase III), every record with a memo text; the
// second of five is deleted.
void write_staff(const ScratchDir& dir) {
    TableImage t;
    TableImage empty;
    t.signature = 0x83;
    t.fields = {{"NAME", 'C', 6}, {"AGE", 'N', 3}, {"NOTE", 'M', 10}};
    MemoImage memo(MemoImage::Dbase3);
    const char* names[] = {"ADA", "BOB", "CY", "DEE", "EVE"};
    for (int i = 0; i < 5; ++i)
        t.add({names[i], std::to_string(20 + i), std::to_string(memo.add(kTexts[i % 3]))}, i == 1);
    dir.write("t.dbf", t.bytes());
    dir.write("t.dbt", memo.bytes());
    // x.dbf: the same fields and no records, for listings into a table that exists
    // (making a new one is not a block write).
    empty.signature = 0x83;
    empty.fields = t.fields;
    empty.end_mark = false;
    dir.write("x.dbf", empty.bytes());
    dir.write("x.dbt", MemoImage(MemoImage::Dbase3).bytes());
}

struct Row {
    std::string record;  // the whole record but its memo block number
    std::string text;    // its memo text, "-" if it names none
};

struct State {
    uint32_t header_count = 0;
    int32_t file_count = 0;
    std::vector<Row> rows;
};

State inspect(const ScratchDir& dir, const char* name) {
    State s;
    std::string head = dir.read(name).substr(0, 8);
    if (head.size() == 8) std::memcpy(&s.header_count, head.data() + 4, 4);
    auto table = open_table(dir.file(name));
    EXPECT_NE(table, nullptr) << "the table no longer opens";
    if (!table) return s;
    s.file_count = dbf_record_count(*table);
    const int memo = dbf_find_field(*table, "NOTE");
    for (int32_t r = 0; r < s.file_count; ++r) {
        EXPECT_TRUE(dbf_read_record(*table, r));
        std::string record(reinterpret_cast<const char*>(table->record.data()), table->header.record_length);
        Row row{record, "-"};
        if (memo >= 0) {
            row.record = record.substr(0, table->fields[static_cast<size_t>(memo)].record_offset);
            row.text = dbf_memo_read(*table, memo).value_or("-");
        }
        s.rows.push_back(row);
    }
    return s;
}

bool known_text(const std::string& text) {
    for (const char* known : kTexts)
        if (text == known) return true;
    return text == "NEW";
}

// Runs `args` on fresh copies of the staff table, killed after 0, 1, 2, ... writes
// until a run gets through; `check` judges each table left behind.
void kill_everywhere(const std::vector<std::string>& args, const char* target,
                     const std::function<void(const State& before, const State& after)>& check) {
    std::vector<std::string> call = {"t.dbf"};
    call.insert(call.end(), args.begin(), args.end());
    ScratchDir reference;
    write_staff(reference);
    const State before = inspect(reference, "t.dbf");
    run_in_process(reference, call);
    for (long long writes = 0; writes < 100; ++writes) {
        SCOPED_TRACE("killed after write " + std::to_string(writes));
        ScratchDir dir;
        write_staff(dir);
        run_in_process(dir, call, writes, true);
        const State after = inspect(dir, target);
        EXPECT_LE(after.header_count, static_cast<uint32_t>(after.file_count)) << "a counted record is not whole";
        for (const Row& row : after.rows) EXPECT_TRUE(known_text(row.text)) << "a record names no text: " << row.text;
        check(before, after);
        if (dir.read(target) == reference.read(target) && dir.read("t.dbt") == reference.read("t.dbt") &&
            dir.read("x.dbt") == reference.read("x.dbt"))
            return;
    }
    ADD_FAILURE() << "the command never got through";
}

std::multiset<std::string> names_of(const State& s, bool live_only) {
    std::multiset<std::string> names;
    for (const Row& row : s.rows)
        if (!live_only || row.record[0] != '*') names.insert(row.record.substr(1, 6) + "|" + row.text);
    return names;
}

}  // namespace

TEST(BlockWritesKilled, ImportOfItself) {
    kill_everywhere({"+t.dbf"}, "t.dbf", [](const State& before, const State& after) {
        ASSERT_GE(after.rows.size(), before.rows.size());
        for (size_t i = 0; i < after.rows.size(); ++i) {
            const Row& expected = before.rows[i % before.rows.size()];
            EXPECT_EQ(after.rows[i].record.substr(1), expected.record.substr(1)) << i;
            EXPECT_EQ(after.rows[i].text, expected.text) << i;
        }
    });
}

TEST(BlockWritesKilled, ListingIntoATable) {
    kill_everywhere({"/MEMO:text", "/OUT:x.dbf", "/SELECT:*"}, "x.dbf", [](const State& before, const State& after) {
        ASSERT_LE(after.rows.size(), before.rows.size());
        for (size_t i = 0; i < after.rows.size(); ++i) {
            EXPECT_EQ(after.rows[i].record.substr(1), before.rows[i].record.substr(1)) << i;
            EXPECT_EQ(after.rows[i].text, before.rows[i].text) << i;
        }
    });
}

TEST(BlockWritesKilled, UpdateAndAppendWithMemoTexts) {
    for (const char* command : {"/UPDATE", "/APPEND:4"}) {
        SCOPED_TRACE(command);
        kill_everywhere({"/FIELD:AGE=99;NOTE=\"NEW\"", command}, "t.dbf", [](const State& before, const State& after) {
            ASSERT_GE(after.rows.size(), before.rows.size());
            for (size_t i = 0; i < after.rows.size(); ++i) {
                const Row& row = after.rows[i];
                const bool changed = row.record.substr(7, 3) == " 99" && row.text == "NEW";
                if (i < before.rows.size() && !changed) {
                    EXPECT_EQ(row.record, before.rows[i].record) << i;
                    EXPECT_EQ(row.text, before.rows[i].text) << i;
                } else {
                    EXPECT_TRUE(changed) << i;
                }
            }
        });
    }
}

TEST(BlockWritesKilled, MarksAndPack) {
    for (const char* command : {"/DELETE:all", "/RECALL:1-5", "/PACK:dbf"}) {
        SCOPED_TRACE(command);
        kill_everywhere({command}, "t.dbf", [&](const State& before, const State& after) {
            if (std::string(command) == "/PACK:dbf") {
                // Records move down over the deleted one: each live record stays,
                // perhaps twice until the cut.
                std::multiset<std::string> kept = names_of(after, true);
                for (const std::string& name : names_of(before, true)) EXPECT_GE(kept.count(name), 1u) << name;
                return;
            }
            ASSERT_EQ(after.rows.size(), before.rows.size());
            for (size_t i = 0; i < after.rows.size(); ++i) {
                EXPECT_EQ(after.rows[i].record.substr(1), before.rows[i].record.substr(1)) << i;
                EXPECT_EQ(after.rows[i].text, before.rows[i].text) << i;
            }
        });
    }
}
