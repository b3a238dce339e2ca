// tests/commands/selection/filter_test.cpp
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "commands/selection/selection.h"
#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"

namespace {

// NAME C 5, AGE N 3; amy and eve carry the deletion mark.
TableImage staff() {
    TableImage image;
    image.fields = {{"NAME", 'C', 5}, {"AGE", 'N', 3}};
    image.add({"bob", "45"});
    image.add({"amy", "30"}, true);
    image.add({"Cid", "61"});
    image.add({"dan", "18"});
    image.add({"abe", "45"});
    image.add({"eve", "50"}, true);
    return image;
}

RunResult run_on_staff(const std::vector<std::string>& parameters) {
    ScratchDir dir;
    dir.write("s.dbf", staff().bytes());
    std::vector<std::string> args = {"s.dbf"};
    args.insert(args.end(), parameters.begin(), parameters.end());
    return dir.run(args);
}

}  // namespace

TEST(FilterParameters, NarrowWidenAndDropTheOrder) {
    struct Case { const char* what; std::vector<std::string> args; std::string out; };
    const Case kCases[] = {
        {"no condition", {"/FILTER:"}, "Invalid filter...\n"},
        {"no operator", {"/FILTER:abc", "/COUNT"}, "Invalid filter...\n6\n"},
        {"braces and semicolon", {"/F:AGE}40;AGE{20", "/S:NAME"}, "bob  |\nCid  |\ndan  |\nabe  |\neve  |\n"},
        {"filters narrow", {"/FILTER:AGE>40", "/FILTER:AGE<60", "/SELECT:NAME"}, "bob  |\nabe  |\neve  |\n"},
        {"clear, then a filter on all records", {"/FILTER:AGE>40", "/CLEAR", "/FILTER:AGE<60", "/COUNT"}, "5\n"},
        {"nothing passes", {"/FILTER:AGE>99", "/COUNT", "/FILTER:AGE>0", "/COUNT"}, "0\n0\n"},
        {"a filter drops the order", {"/ORDER:NAME", "/FILTER:AGE>40", "/S:NAME"}, "bob  |\nCid  |\nabe  |\neve  |\n"},
        {"an order behind a filter", {"/FILTER:AGE>40", "/ORDER:NAME", "/S:NAME"}, "Cid  |\nabe  |\nbob  |\neve  |\n"},
        {"deleted hidden", {"/DELETED-", "/S:NAME", "/COUNT"}, "bob  |\nCid  |\ndan  |\nabe  |\n4\n"},
        {"hidden twice builds once", {"/DELETED-", "/DELETED-", "/COUNT"}, "4\n"},
        {"shown again", {"/DELETED-", "/DELETED+", "/COUNT"}, "6\n"},
        {"a filter keeps them hidden", {"/DELETED-", "/FILTER:AGE>40", "/DELETED", "/COUNT"}, "3\n"},
        {"deleted drops the order", {"/ORDER:NAME", "/DELETED", "/S:NAME"},
         "bob  |\namy  |\nCid  |\ndan  |\nabe  |\neve  |\n"},
        {"a new mark shows until the next build", {"/DELETED-", "/DELETE:1", "/COUNT", "/FILTER:AGE>0", "/COUNT"},
         "4\n3\n"},
        {"clear keeps the hiding for the next build", {"/DELETED-", "/CLEAR", "/COUNT", "/FILTER:AGE>0", "/COUNT"},
         "6\n4\n"},
        {"clear keeps the filter text", {"/FILTER:AGE>0", "/CLEAR", "/DELETED-", "/DELETED", "/COUNT"}, "4\n"},
        {"delete all behind a filter", {"/FILTER:AGE>40", "/DELETE:all", "/CLEAR", "/DEL", "/S:NAME"},
         "*|bob  |\n*|amy  |\n*|Cid  |\n |dan  |\n*|abe  |\n*|eve  |\n"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        RunResult r = run_on_staff(c.args);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, c.out);
    }
}

TEST(FilterParameters, CollectTheTextAndNarrowTheComparisonTable) {
    ScratchDir dir;
    dir.write("s.dbf", staff().bytes());
    TableImage other;
    other.fields = {{"AGE", 'N', 3}};
    for (const char* age : {"70", "10", "41"}) other.add({age});
    dir.write("o.dbf", other.bytes());
    auto table = open_table(dir.file("s.dbf"));
    TestRun test;
    test.run.compare_table = open_table(dir.file("o.dbf"));
    Pass pass = test.pass(*table);

    cmd_filter(pass, "AGE}40");
    EXPECT_EQ(table->filter_index, (std::vector<int32_t>{0, 2, 4, 5}));
    EXPECT_EQ(test.run.compare_table->filter_index, (std::vector<int32_t>{0, 2}));
    cmd_filter(pass, "AGE<60");
    cmd_filter(pass, "NAME=\"a\"");
    EXPECT_EQ(table->filter_text, "((AGE>40)&(AGE<60))&(NAME=\"a\")");
    EXPECT_EQ(table->filter_index, (std::vector<int32_t>{4}));
    // /DELETED- concerns the current table alone.
    cmd_clear(pass);
    cmd_deleted(pass, "-");
    EXPECT_EQ(table->filter_index, (std::vector<int32_t>{0, 2, 3, 4}));
    EXPECT_EQ(test.run.compare_table->filter_index, (std::vector<int32_t>{}));
    EXPECT_EQ(table->filter_text, "((AGE>40)&(AGE<60))&(NAME=\"a\")");
}
