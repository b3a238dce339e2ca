// tests/compare/compare_test.cpp
#include <cstdio>
#include <string>
#include <sys/stat.h>
#include <vector>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/table_builder.h"

namespace {

using Rows = std::vector<std::vector<std::string>>;

std::string image(const std::vector<FieldSpec>& fields, const Rows& rows, uint8_t signature = 0x03) {
    TableImage t;
    t.signature = signature;
    t.fields = fields;
    for (const auto& row : rows) t.add(row);
    return t.bytes();
}

const std::vector<FieldSpec> kSampleFields = {{"A", 'C', 3}, {"N", 'N', 5, 2}, {"D", 'D', 8}};

// t.dbf: 2 records, dBase III, 14 March 2001. b.dbf: 3 records, FoxPro, 9 July 2002,
// its second record differs in A.
struct Pair : ScratchDir {
    Pair() {
        write("t.dbf", image(kSampleFields, {{"abc", "1.50", "20010314"}, {"xyz", "2.00", "20010315"}}));
        TableImage b;
        b.signature = 0xF5;
        b.year = 102;
        b.month = 7;
        b.day = 9;
        b.fields = kSampleFields;
        b.add({"abc", "1.50", "20010314"});
        b.add({"xyw", "2.00", "20010315"});
        b.add({"new", "3.00", "20010316"});
        write("b.dbf", b.bytes());
    }
};

const std::string kInfo =
    "File: t.dbf                          | File: b.dbf                         \n"
    "Type: dBase III                      | Type: FoxPro                        \n"
    "Last updated: 03.14.2001             | Last updated: 07.09.2002\n"
    "File size:           164             | File size:           181\n"
    "Header size:         129             | Header size:         129\n"
    "Record count:          2             | Record count:          3\n"
    "Field count:           3             | Field count:           3\n"
    "Record length:        17             | Record length:        17\n"
    "\n";

const std::string kStructure =
    "A           Character       3     |==| A           Character       3   \n"
    "N           Numeric         5  2  |==| N           Numeric         5  2\n"
    "D           Date            8     |==| D           Date            8   \n";

const std::string kData =
    "  t.dbf            1: A          (C) 'xyz'\n"
    "<>b.dbf            1: A          (C) 'xyw'\n"
    "\n"
    "EOF found: t.dbf\n";

struct Call {
    const char* what;
    std::vector<std::string> args;
    int status;
    std::string out;
};

}  // namespace

TEST(Compare, PhasesAndReportLetters) {
    const Call calls[] = {
        {"bare closing /CMP: the facts only", {"t.dbf", "/CMP:b.dbf", "/CMP"}, 0, kInfo},
        {"a colon without letters: nothing", {"t.dbf", "/CMP:b.dbf", "/CMP:", "/COUNT"}, 0, "2\n"},
        {"upper-case letters are no options", {"t.dbf", "/CMP:b.dbf", "/CMP:I"}, 0, ""},
        {"no known letter closes all the same", {"t.dbf", "/CMP:b.dbf", "/CMP:I", "/CMP:b.dbf", "/CMP"}, 0, kInfo},
        {"reports in a fixed order", {"t.dbf", "/CMP:b.dbf", "/CMP:csi"}, 0, kInfo + kStructure + kData},
        {"letters anywhere in the text", {"t.dbf", "/CMP:b.dbf", "/CMP:xxsyy"}, 0, kStructure},
        {"the first character is passed over unread", {"t.dbf", "/CMP=b.dbf", "/cmp:c"}, 0, kData},
        {"a closed pair opens again", {"t.dbf", "/CMP:b.dbf", "/CMP:s", "/CMP:b.dbf", "/CMP:c"}, 0,
         kStructure + kData},
        {"no name in the opening phase", {"t.dbf", "/CMP", "/COUNT"}, 1, "Can't open "},
        {"a table that is not there", {"t.dbf", "/CMP:nosuch.dbf", "/COUNT"}, 1, "Can't open nosuch.dbf"},
    };
    Pair dir;
    for (const Call& c : calls) {
        SCOPED_TRACE(c.what);
        RunResult r = dir.run(c.args);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.out, c.out);
    }
}

TEST(Compare, DisplayNamesStartBehindTheLastBackslash) {
    Pair dir;
    dir.write("dir\\b.dbf", dir.read("b.dbf"));
    RunResult r = dir.run({"t.dbf", "/CMP:dir\\b.dbf", "/CMP:ic"});
    EXPECT_EQ(r.out, kInfo + kData);

    // A slash means nothing here: the whole path shows, padded to 30.
    ASSERT_EQ(mkdir(dir.file("sub").c_str(), 0755), 0);
    dir.write("sub/b.dbf", dir.read("b.dbf"));
    r = dir.run({"t.dbf", "/CMP:sub/b.dbf", "/CMP"});
    EXPECT_EQ(r.out.substr(0, r.out.find('\n') + 1),
              "File: t.dbf                          | File: sub/b.dbf                     \n");
}

TEST(Compare, AnOpenComparisonCarriesIntoTheNextTable) {
    // The opening parameter, replayed for u.dbf, finds the comparison open and
    // reports by the letters of ":c.dbf": the data report only.
    Pair dir;
    dir.write("u.dbf", image(kSampleFields, {{"uuu", "1.50", "20010314"}}));
    dir.write("c.dbf", image(kSampleFields, {{"ccc", "1.50", "20010314"}}));
    RunResult r = dir.run({"t.dbf", "u.dbf", "t.dbf", "/CMP:c.dbf", "/COUNT"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out,
              "2\n"
              "  u.dbf            0: A          (C) 'uuu'\n"
              "<>c.dbf            0: A          (C) 'ccc'\n"
              "\n"
              "1\n"
              "2\n");
}

TEST(Compare, StructureMarks) {
    struct Marks { const char* what; std::vector<FieldSpec> a, b; std::string rows; };
    const Marks cases[] = {
        {"two identical structures", kSampleFields, kSampleFields, kStructure},
        {"sizes differ, names in another case", {{"X", 'C', 10}}, {{"x", 'C', 12}},
         "X           Character      10     |~=| x           Character      12   \n"},
        {"types differ", {{"A", 'C', 3}}, {{"A", 'N', 3}},
         "A           Character       3     |<>| A           Numeric         3  0\n"},
        {"decimals differ", {{"N", 'N', 5, 2}}, {{"N", 'N', 5}},
         "N           Numeric         5  2  |~=| N           Numeric         5  0\n"},
        {"the wide length of C counts whole", {{"W", 'C', 300}}, {{"W", 'C', 44}},
         "W           Character      44     |~=| W           Character      44   \n"},
        {"same fields in another order", {{"A", 'C', 3}, {"B", 'C', 3}}, {{"B", 'C', 3}, {"A", 'C', 3}},
         "A           Character       3     |= | A           Character       3   \n"
         "B           Character       3     |= | B           Character       3   \n"},
        {"missing on the right", {{"A", 'C', 3}, {"B", 'C', 3}}, {{"A", 'C', 3}},
         "A           Character       3     |==| A           Character       3   \n"
         "B           Character       3     |--| -                             \n"},
        {"missing on the left", {{"A", 'C', 3}}, {{"A", 'C', 3}, {"B", 'C', 3}},
         "A           Character       3     |==| A           Character       3   \n"
         "-                                 |--| B           Character       3   \n"},
        {"missing on both sides", {{"A", 'C', 3}, {"B", 'L', 1}}, {{"A", 'C', 3}, {"C", 'M', 10}},
         "A           Character       3     |==| A           Character       3   \n"
         "B           Logical         1     |--| -                             \n"
         "-                                 |--| C           Memo           10   \n"},
    };
    for (const Marks& m : cases) {
        SCOPED_TRACE(m.what);
        ScratchDir dir;
        dir.write("t.dbf", image(m.a, {}));
        dir.write("b.dbf", image(m.b, {}));
        RunResult r = dir.run({"t.dbf", "/CMP:b.dbf", "/CMP:s"});
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, m.rows);
    }
}

TEST(Compare, DataDifferences) {
    struct Data { const char* what; std::vector<FieldSpec> fa; Rows ra; std::vector<FieldSpec> fb; Rows rb;
                  std::string out; };
    const std::vector<FieldSpec> ac = {{"A", 'C', 3}, {"B", 'C', 1}};
    const std::vector<FieldSpec> n52 = {{"N", 'N', 5, 2}};
    const Data cases[] = {
        {"identical tables", kSampleFields, {{"abc", "1.50", "20010314"}}, kSampleFields,
         {{"abc", "1.50", "20010314"}}, ""},
        {"fields pair by name, not by place", ac, {{"abc", "1"}, {"def", "2"}}, {{"B", 'C', 1}, {"A", 'C', 3}},
         {{"1", "abc"}, {"9", "def"}},
         "  t.dbf            1: B          (C) '2'\n"
         "<>b.dbf            1: B          (C) '9'\n"
         "\n"},
        {"numbers of other widths compare as numbers", n52, {{"1.50"}}, {{"N", 'N', 6, 1}}, {{"1.5"}}, ""},
        {"numbers compare exactly", n52, {{"2.00"}}, n52, {{"2.50"}},
         "  t.dbf            0: N          (N) 2.000000\n"
         "<>b.dbf            0: N          (N) 2.500000\n"
         "\n"},
        {"texts respect case", {{"A", 'C', 3}}, {{"abc"}, {"abc"}}, {{"A", 'C', 3}}, {{"abd"}, {"ABC"}},
         "  t.dbf            0: A          (C) 'abc'\n"
         "<>b.dbf            0: A          (C) 'abd'\n"
         "\n"
         "  t.dbf            1: A          (C) 'abc'\n"
         "<>b.dbf            1: A          (C) 'ABC'\n"
         "\n"},
        {"trailing blanks don't count", {{"A", 'C', 5}}, {{"ab"}}, {{"A", 'C', 3}}, {{"ab"}}, ""},
        {"number against text: rendered, leading blanks counted", n52, {{"1.50"}}, {{"N", 'C', 5}}, {{"1.50"}},
         "  t.dbf            0: N          (N) ' 1.50'\n"
         "<>b.dbf            0: N          (C) '1.50'\n"
         "\n"},
        {"compared whole, printed cut to 20", {{"A", 'C', 25}}, {{"abcdefghijklmnopqrstuvwxy"}}, {{"A", 'C', 25}},
         {{"abcdefghijklmnopqrstuvwxz"}},
         "  t.dbf            0: A          (C) 'abcdefghijklmnopqrst'\n"
         "<>b.dbf            0: A          (C) 'abcdefghijklmnopqrst'\n"
         "\n"},
        {"current table ends first", {{"A", 'C', 1}}, {{"a"}, {"b"}, {"c"}}, {{"A", 'C', 1}},
         {{"a"}, {"b"}, {"c"}, {"d"}, {"e"}}, "EOF found: t.dbf\n"},
        {"comparison table ends first", {{"A", 'C', 1}}, {{"a"}, {"b"}, {"c"}}, {{"A", 'C', 1}}, {{"a"}, {"x"}},
         "  t.dbf            1: A          (C) 'b'\n"
         "<>b.dbf            1: A          (C) 'x'\n"
         "\n"
         "EOF found: b.dbf\n"},
        {"an empty table against records", {{"A", 'C', 1}}, {}, {{"A", 'C', 1}}, {{"a"}}, "EOF found: t.dbf\n"},
    };
    for (const Data& d : cases) {
        SCOPED_TRACE(d.what);
        ScratchDir dir;
        dir.write("t.dbf", image(d.fa, d.ra));
        dir.write("b.dbf", image(d.fb, d.rb));
        RunResult r = dir.run({"t.dbf", "/CMP:b.dbf", "/CMP:c"});
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, d.out);
    }
}

TEST(Compare, MemoAgainstMemo) {
    // dBase III memos: the field holds the block number as text, 0 for none.
    ScratchDir dir;
    MemoImage ma(MemoImage::Dbase3), mb(MemoImage::Dbase3);
    const std::string long_a = "a long memo text that differs here: A";
    const std::string long_b = "a long memo text that differs here: B";
    auto block = [](int32_t n) { return std::to_string(n); };
    const std::vector<FieldSpec> fields = {{"NOTE", 'M', 10}};
    Rows ra = {{block(ma.add("same"))}, {block(ma.add("second"))}, {"0"}, {block(ma.add("fourth"))}, {"0"},
               {block(ma.add(long_a))}};
    Rows rb = {{block(mb.add("same"))}, {block(mb.add("other"))}, {block(mb.add("third"))}, {""}, {""},
               {block(mb.add(long_b))}};
    dir.write("t.dbf", image(fields, ra, 0x83));
    dir.write("t.dbt", ma.bytes());
    dir.write("b.dbf", image(fields, rb, 0x83));
    dir.write("b.dbt", mb.bytes());
    RunResult r = dir.run({"t.dbf", "/CMP:b.dbf", "/CMP:c"});
    EXPECT_EQ(r.out,
              "  t.dbf       : NOTE - 'second'\n"
              "<> b.dbf       : NOTE - 'other'\n"
              "\n"
              "t.dbf       : NOTE - '<empty>' <> b.dbf       : NOTE - 'third'\n"
              "\n"
              "t.dbf       : NOTE - 'fourth' <> b.dbf       : NOTE - '<empty>'\n"
              "\n"
              "  t.dbf       : NOTE - 'a long memo text tha'\n"
              "<> b.dbf       : NOTE - 'a long memo text tha'\n"
              "\n");
}

TEST(Compare, MemoAgainstCharacterIsRefusedOncePerReport) {
    ScratchDir dir;
    MemoImage memo(MemoImage::Dbase3);
    const std::vector<FieldSpec> fa = {{"NOTE", 'M', 10}, {"A", 'C', 3}};
    const std::vector<FieldSpec> fb = {{"NOTE", 'C', 10}, {"A", 'C', 3}};
    dir.write("t.dbf", image(fa, {{std::to_string(memo.add("text")), "abc"}, {"0", "def"}}, 0x83));
    dir.write("t.dbt", memo.bytes());
    dir.write("b.dbf", image(fb, {{"text", "abc"}, {"", "xyz"}}));
    const std::string report =
        "Can't compare t.dbf: NOTE (Memo) with b.dbf: NOTE (Character)\n"
        "\n"
        "  t.dbf            1: A          (C) 'def'\n"
        "<>b.dbf            1: A          (C) 'xyz'\n"
        "\n";
    // Each report gets its own one message.
    RunResult r = dir.run({"t.dbf", "/CMP:b.dbf", "/CMP:c", "/CMP:b.dbf", "/CMP:c"});
    EXPECT_EQ(r.out, report + report);
}

TEST(Compare, SettingsAreCopiedWhenTheSecondTableOpens) {
    ScratchDir dir;
    const std::vector<FieldSpec> fields = {{"D", 'D', 8}};
    dir.write("t.dbf", image(fields, {{"20010314"}}));
    dir.write("b.dbf", image(fields, {{"20010314"}}));
    const Call calls[] = {
        {"a mode set before the opening reaches both", {"t.dbf", "/DATE:dmy", "/CMP:b.dbf", "/CMP:c"}, 0, ""},
        {"a mode set in between reaches the current table only",
         {"t.dbf", "/CMP:b.dbf", "/DATE:dmy", "/CMP:c"}, 0,
         "  t.dbf            0: D          (D) '14.03.2001'\n"
         "<>b.dbf            0: D          (D) '20010314'\n"
         "\n"},
        {"the date separator is no part of the block", {"t.dbf", "/DATE:dmy", "/DATE:-", "/CMP:b.dbf", "/CMP:c"}, 0,
         "  t.dbf            0: D          (D) '14-03-2001'\n"
         "<>b.dbf            0: D          (D) '14.03.2001'\n"
         "\n"},
    };
    for (const Call& c : calls) {
        SCOPED_TRACE(c.what);
        RunResult r = dir.run(c.args);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.out, c.out);
    }
}

TEST(Compare, FilterAndOrderActOnBothTables) {
    ScratchDir dir;
    const std::vector<FieldSpec> fields = {{"K", 'N', 2}, {"A", 'C', 3}};
    dir.write("t.dbf", image(fields, {{"3", "ccc"}, {"1", "aaa"}, {"2", "bbb"}, {"9", "zzz"}}));
    dir.write("b.dbf", image(fields, {{"1", "aaa"}, {"9", "yyy"}, {"2", "bXb"}, {"3", "ccc"}}));
    // Under the order the pair at position 1 is record 2 of t.dbf's filter and
    // record 1 of b.dbf's: each line shows its own table's order entry.
    RunResult r = dir.run({"t.dbf", "/CMP:b.dbf", "/FILTER:K<5", "/ORDER:K", "/CMP:c"});
    EXPECT_EQ(r.out,
              "  t.dbf            2: A          (C) 'bbb'\n"
              "<>b.dbf            1: A          (C) 'bXb'\n"
              "\n");
    // Without the filter the records of K 9 pair up, and the rows end together.
    r = dir.run({"t.dbf", "/CMP:b.dbf", "/ORDER:K", "/CMP:c"});
    EXPECT_EQ(r.out,
              "  t.dbf            2: A          (C) 'bbb'\n"
              "<>b.dbf            2: A          (C) 'bXb'\n"
              "\n"
              "  t.dbf            3: A          (C) 'zzz'\n"
              "<>b.dbf            1: A          (C) 'yyy'\n"
              "\n");
}

TEST(Compare, RecordCountsUnderFilterAndHiddenMarks) {
    ScratchDir dir;
    const std::vector<FieldSpec> fields = {{"K", 'N', 2}};
    dir.write("t.dbf", image(fields, {{"1"}, {"2"}, {"3"}, {"9"}}));
    TableImage b;
    b.fields = fields;
    b.add({"1"});
    b.add({"2"}, true);
    b.add({"3"});
    b.add({"4"});
    b.add({"9"});
    dir.write("b.dbf", b.bytes());
    auto count_line = [&](const std::vector<std::string>& args) {
        std::string out = dir.run(args).out;
        size_t at = out.find("Record count:");
        return at == std::string::npos ? out : out.substr(at, out.find('\n', at) - at);
    };
    const struct { const char* what; std::vector<std::string> args; int left, right; } cases[] = {
        {"no filter", {"t.dbf", "/CMP:b.dbf", "/CMP"}, 4, 5},
        {"a filter given between narrows both", {"t.dbf", "/CMP:b.dbf", "/FILTER:K<5", "/CMP"}, 3, 4},
        {"a filter given before reaches the current table only", {"t.dbf", "/FILTER:K<5", "/CMP:b.dbf", "/CMP"},
         3, 5},
        {"hidden marks before the opening reach the second table", {"t.dbf", "/DELETED-", "/CMP:b.dbf", "/CMP"}, 4,
         4},
        {"hidden marks after the opening don't", {"t.dbf", "/CMP:b.dbf", "/DELETED-", "/CMP"}, 4, 5},
        {"hidden marks with a filter between", {"t.dbf", "/DELETED-", "/CMP:b.dbf", "/FILTER:K<5", "/CMP"}, 3, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        char expected[96];
        std::snprintf(expected, sizeof expected, "Record count: %10d             | Record count: %10d", c.left,
                      c.right);
        EXPECT_EQ(count_line(c.args), expected);
    }
}
