// tests/commands/listing/listing_test.cpp
//
// The export loop in process: record lists and a target table.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "commands/listing/listing.h"
#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"

namespace {

// t.dbf: A C 3, N N 5.2, D D; one record "ab ", 1.5, 20010314.
TableImage sample(bool deleted = false) {
    TableImage t;
    t.fields = {{"A", 'C', 3}, {"N", 'N', 5, 2}, {"D", 'D', 8}};
    t.add({"ab ", "1.5", "20010314"}, deleted);
    return t;
}

const std::string kHtmlHead = "<table width=\"100%\" border=\"1\" cellspacing=\"1\" cellpadding=\"1\">\n";

}  // namespace

// ---- The export loop in process, for record lists ------------------------------------

TEST(Listing, RangesPickRecordsInListOrder) {
    ScratchDir dir;
    TableImage t;
    t.fields = {{"A", 'C', 1}};
    for (const char* value : {"a", "b", "c"}) t.add({value});
    dir.write("t.dbf", t.bytes());
    std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
    ASSERT_NE(table, nullptr);

    struct Case {
        const char* what;
        std::vector<int32_t> ranges;
        OutputKind kind;
        std::string written;
    } kCases[] = {
        {"list order, a number twice, beyond the end passed over", {2, 0, 7, 0, 3}, OutputKind::Text,
         "c|\na|\na|\n"},
        {"nothing selected still gives head and tail", {5}, OutputKind::Html, kHtmlHead + "</table>\n"},
        {"an empty list renders nothing", {}, OutputKind::Text, ""},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        std::string name = dir.file(c.kind == OutputKind::Html ? "r.htm" : "r.txt");
        std::remove(name.c_str());
        TestRun test;
        test.run.output = OutputTarget{c.kind, name};
        test.run.ranges = c.ranges;
        Pass pass = test.pass(*table);
        cmd_select(pass, "*");
        EXPECT_EQ(read_file(name), c.written);
    }
}

TEST(Listing, RecordsGoIntoATargetTableByName) {
    ScratchDir dir;
    TableImage source = sample(true);
    source.records = {source.record({"\xC0" "b", "1.5", "20010314"}, true)};
    dir.write("t.dbf", source.bytes());
    TableImage target;
    target.fields = {{"N", 'N', 8, 2}, {"A", 'C', 5}, {"D", 'D', 8}, {"Z", 'C', 2}};
    dir.write("x.dbf", target.bytes());

    std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
    ASSERT_NE(table, nullptr);
    table->settings.ansi_text = true;
    TestRun test;
    test.run.output = OutputTarget{OutputKind::Table, dir.file("x.dbf")};
    Pass pass = test.pass(*table);
    cmd_select(pass, "*");

    // Undeleted, by name, numbers as numbers, ANSI text stored as OEM, Z blank.
    std::string bytes = read_file(dir.file("x.dbf"));
    target.add({"1.50", "\x80" "b", "20010314", ""});
    std::string expected = target.bytes();
    ASSERT_EQ(bytes.size(), expected.size());
    EXPECT_EQ(bytes[4], 1);
    EXPECT_EQ(bytes.substr(32), expected.substr(32));
}
