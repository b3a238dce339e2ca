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

}  // namespace

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
