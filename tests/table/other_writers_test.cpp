// tests/table/other_writers_test.cpp
//
// Tables as other programs write them, through the real program: memo files named
// in another case, descriptors ended by 0x0A, tables of a header alone, a record
// length the fields contradict, dates of every year.
#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>
#include <vector>

#include "support/cli.h"
#include "support/table_builder.h"

namespace {

struct Call {
    const char* what;
    std::vector<std::pair<std::string, std::string>> files;  // name, bytes
    std::vector<std::string> args;
    std::string out;
    std::vector<std::pair<std::string, std::string>> after = {};  // files and their bytes afterwards
    std::vector<std::string> absent = {};                         // files that must not be there
};

void check(const std::vector<Call>& calls) {
    for (const Call& c : calls) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        mkdir(dir.file("sub").c_str(), 0755);
        for (const auto& [name, bytes] : c.files) dir.write(name, bytes);
        RunResult r = dir.run(c.args);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, c.out);
        for (const auto& [name, bytes] : c.after) EXPECT_EQ(dir.read(name), bytes) << name;
        for (const std::string& name : c.absent) EXPECT_FALSE(dir.exists(name)) << name;
    }
}

// NAME C 5, NOTE M 10 with one record whose memo holds `text`, in the layout of
// `signature` (0x83 dBase III, 0xF5 FoxPro).
std::pair<std::string, std::string> memo_table(uint8_t signature, const std::string& text) {
    TableImage t;
    t.signature = signature;
    t.fields = {{"NAME", 'C', 5}, {"NOTE", 'M', 10}};
    MemoImage memo(signature == 0xF5 ? MemoImage::FoxPro : MemoImage::Dbase3, 64);
    t.add({"ann", std::to_string(memo.add(text))});
    return {t.bytes(), memo.bytes()};
}

}  // namespace

// A memo file named in another case than the one the table's name gives is read,
// the one in the table's own extension case first; tables the program makes keep
// their lower-case memo names.
TEST(OtherWriters, MemoFilesNamedInAnotherCase) {
    const auto [dbase, dbase_memo] = memo_table(0x83, "upper");
    const auto [fox, fox_memo] = memo_table(0xF5, "fox");
    const auto [other, other_memo] = memo_table(0x83, "other");
    check({
        {"STAFF3.DBF and STAFF3.DBT", {{"STAFF3.DBF", dbase}, {"STAFF3.DBT", dbase_memo}},
         {"STAFF3.DBF", "/MEMO:text", "/S:*"}, "ann  |upper|\n"},
        {"STAFF3.DBF and Staff3.Dbt", {{"STAFF3.DBF", dbase}, {"Staff3.Dbt", dbase_memo}},
         {"STAFF3.DBF", "/MEMO:text", "/S:*"}, "ann  |upper|\n"},
        {"memotest.dbf and memotest.FPT", {{"memotest.dbf", fox}, {"memotest.FPT", fox_memo}},
         {"memotest.dbf", "/MEMO:text", "/S:NOTE"}, "fox|\n"},
        {"T.Dbf takes T.Fpt", {{"T.Dbf", fox}, {"T.Fpt", fox_memo}}, {"T.Dbf", "/MEMO:text", "/S:NOTE"}, "fox|\n"},
        {"in a directory", {{"sub/T.DBF", fox}, {"sub/T.FPT", fox_memo}}, {"sub/T.DBF", "/MEMO:text", "/S:NOTE"},
         "fox|\n"},
        {"the name as given comes first", {{"T.DBF", dbase}, {"T.dbt", dbase_memo}, {"T.DBT", other_memo}},
         {"T.DBF", "/MEMO:text", "/S:NOTE"}, "upper|\n"},
        {"then the table's extension case, before other names", {{"staff.DBF", dbase}, {"staff.DBT", dbase_memo},
          {"Staff.dbt", other_memo}}, {"staff.DBF", "/MEMO:text", "/S:NOTE"}, "upper|\n"},
        {"of other names the first in byte order", {{"T.dbf", dbase}, {"t.dbt", other_memo}, {"T.Dbt", dbase_memo}},
         {"T.dbf", "/MEMO:text", "/S:NOTE"}, "upper|\n"},
        {"a name that differs by more than case is none", {{"T.DBF", dbase}, {"T2.DBT", dbase_memo}},
         {"T.DBF", "/MEMO:text", "/S:NOTE"}, "|\n"},
        {"texts are added to the file found", {{"T.DBF", dbase}, {"T.DBT", dbase_memo}},
         {"T.DBF", "/FIELD:NOTE=\"more\"", "/APPEND", "/MEMO:text", "/S:NOTE"}, "upper|\nmore|\n", {},
         {"T.dbt"}},
        {"a pack rebuilds the file found under its name", {{"T.DBF", dbase}, {"T.DBT", dbase_memo}},
         {"T.DBF", "/PACK", "/MEMO:text", "/S:NOTE"}, "upper|\n", {{"T.~BT", dbase_memo}}, {"T.dbt"}},
        {"a new table gets today's names", {{"T.DBF", dbase}, {"T.DBT", dbase_memo}},
         {"T.DBF", "/MAKE:NEW.DBF", "/OUT:OUT.DBF", "/S:*"}, "", {}, {"NEW.DBT", "OUT.DBT"}},
    });
    ScratchDir dir;
    dir.write("T.DBF", dbase);
    dir.write("T.DBT", dbase_memo);
    dir.run({"T.DBF", "/MAKE:NEW.DBF", "/OUT:OUT.DBF", "/MEMO:text", "/S:*"});
    EXPECT_TRUE(dir.exists("NEW.dbt") && dir.exists("OUT.dbt"));
    EXPECT_EQ(dir.run({"OUT.DBF", "/MEMO:text", "/S:NOTE"}).out, "upper|\n");
}

// Shapefile writers end the descriptors with 0x0A, and write tables of a header and
// a terminator alone for layers without attributes.
TEST(OtherWriters, ShapefileTables) {
    TableImage lf;
    lf.fields = {{"ID", 'N', 3}, {"NAME", 'C', 4}};
    lf.add({"1", "ab"});
    lf.add({"22", "cd"});
    std::string lf_bytes = lf.bytes();
    lf_bytes[32 + 2 * 32] = '\x0A';
    auto header_only = [](uint16_t header_length, uint16_t record_length, const std::string& rest) {
        std::string h(32, '\0');
        h[0] = 0x03;
        h[1] = 95;
        h[2] = 7;
        h[3] = 26;
        h.replace(8, 2, le16(header_length));
        h.replace(10, 2, le16(record_length));
        return h + rest;
    };
    const std::string empty = header_only(33, 1, "\x0D");
    const std::string marks = header_only(33, 1, "\x0D  *\x1A");
    const std::string report_head =
        "\nDatabase name\t\t:\te.dbf\nType\t\t\t:\tdBase III\nLast updated (m-d-y)\t:\t07-26-1995\n"
        "File size\t\t:\t        33\nHeader size\t\t:\t        33\nRecord count\t\t:\t         0\n"
        "Field count\t\t:\t         0\nRecord length\t\t:\t         1\n\nName        Type          Length\n";
    check({
        {"0x0A ends the descriptors", {{"t.dbf", lf_bytes}}, {"t.dbf", "/COUNT", "/S:*"}, "2\n  1|ab  |\n 22|cd  |\n"},
        {"0x0A in a structure report", {{"t.dbf", lf_bytes}}, {"t.dbf", "/STRUCT:s.sql"}, "",
         {{"s.sql", "CREATE TABLE \"t.dbf\" (\n\tID          Numeric(3),\n\tNAME        Character(4)\n\t);\n\n"}}},
        {"a header alone: nothing to count or list", {{"e.dbf", empty}}, {"e.dbf", "/COUNT", "/S:*", "/HDR", "/S:*"},
         "0\n\n"},
        {"a header alone: its structure", {{"e.dbf", empty}}, {"e.dbf", "/STRUCT"}, report_head},
        {"a header alone: orders, filters and edits find nothing", {{"e.dbf", empty}},
         {"e.dbf", "/ORDER:X", "/FILTER:1=1", "/COUNT", "/FIELD:X=1", "/UPDATE", "/PACK", "/SORT:X", "/COUNT"},
         "Invalid field[s]...\n0\nInvalid field[s]...\n0\n", {{"e.dbf", empty}}},
        {"a header alone: compared with itself", {{"e.dbf", empty}, {"f.dbf", empty}}, {"e.dbf", "/CMP:f.dbf", "/CMP:sc"},
         ""},
        {"a header alone: listed into a table and a script", {{"e.dbf", empty}},
         {"e.dbf", "/OUT:o.dbf", "/S:*", "/OUT:o.sql", "/S:*", "o.dbf"}, "Unknown function: [o.dbf].\n",
         {{"o.sql", ""}}},
        {"a header alone with an end mark", {{"e.dbf", empty + "\x1A"}}, {"e.dbf", "/COUNT"}, "0\n"},
        {"a header alone with deletion marks", {{"m.dbf", marks}}, {"m.dbf", "/COUNT", "/DEL", "/S:*", "/DELETED-", "/COUNT"},
         "3\n |\n |\n*|\n2\n"},
        {"a header alone takes records", {{"e.dbf", empty}}, {"e.dbf", "/APPEND:2", "/COUNT"}, "2\n"},
    });
    ScratchDir dir;
    dir.write("e.dbf", empty);
    dir.run({"e.dbf", "/APPEND:2"});
    EXPECT_EQ(dir.run({"e.dbf", "/COUNT"}).out, "2\n") << "the records stay when the table is opened again";
    dir.run({"e.dbf", "/OUT:o.dbf", "/S:*"});
    EXPECT_EQ(dir.run({"o.dbf", "/COUNT"}).out, "2\n") << "a table without fields takes the listing";
}

// A header whose record length disagrees with the fields is read with the fields'
// length where the file size sides with them, and /CHECK writes that length back.
TEST(OtherWriters, RecordLengthOfTheFields) {
    TableImage t;
    t.fields = {{"ID", 'N', 3}, {"NAME", 'C', 4}};
    t.add({"1", "ab"});
    t.add({"2", "cd"});
    t.add({"3", "ef"});
    t.record_length = 7;  // the fields and the file say 8
    TableImage right = t;
    right.record_length = 8;
    TableImage neither = t;
    neither.end_mark = false;
    std::string torn = neither.bytes() + "xyz";  // 27 bytes of records: whole in neither length
    check({
        {"read with the fields' length", {{"t.dbf", t.bytes()}}, {"t.dbf", "/COUNT", "/S:*"},
         "3\n  1|ab  |\n  2|cd  |\n  3|ef  |\n", {{"t.dbf", t.bytes()}}},
        {"the structure shows the length read with", {{"t.dbf", t.bytes()}}, {"t.dbf", "/STRUCT:s.txt", "/S:ID"},
         "  1|\n  2|\n  3|\n"},
        {"/CHECK writes it back", {{"t.dbf", t.bytes()}}, {"t.dbf", "/CHECK", "/S:NAME"}, "ab  |\ncd  |\nef  |\n"},
        {"a size that fits neither keeps the header's", {{"t.dbf", torn}}, {"t.dbf", "/COUNT", "/S:ID"},
         "3\n  1|\n  0|\n  0|\n"},
    });
    ScratchDir dir;
    dir.write("t.dbf", t.bytes());
    dir.run({"t.dbf", "/CHECK"});
    std::string after = dir.read("t.dbf");
    EXPECT_EQ(after.substr(10, 2), le16(8));
    EXPECT_EQ(after.substr(32), right.bytes().substr(32));
    dir.run({"t.dbf", "/STRUCT:s.txt"});
    EXPECT_NE(dir.read("s.txt").find("Record length\t\t:\t         8\n"), std::string::npos);
}

// Every date of the years 1 to 9999 shows in every date mode, and counts as such in
// orders, conditions and comparisons; blank and impossible dates stay blank, and a
// date the calendar carries over shows its stored numbers.
TEST(OtherWriters, DatesOfEveryYear) {
    TableImage t;
    t.fields = {{"D", 'D', 8}, {"T", 'T', 14}};
    t.add({"15670704", "18991230133538"});
    t.add({"20400301", "99991231235959"});
    t.add({"", ""});
    t.add({"00001231", "00000101000000"});
    t.add({"20010230", "20010230250000"});
    t.add({"00010101", "19691231235959"});
    TableImage u = t;
    u.records[0] = u.record({"15680704", "18991230133538"});
    check({
        {"dmy", {{"t.dbf", t.bytes()}}, {"t.dbf", "/DATE:dmy", "/S:*"},
         "04.07.1567|30.12.1899 13:35:38|\n01.03.2040|31.12.9999 23:59:59|\n          |                   |\n"
         "          |                   |\n30.02.2001|30.02.2001 25:00:00|\n01.01.0001|31.12.1969 23:59:59|\n"},
        {"mdy", {{"t.dbf", t.bytes()}}, {"t.dbf", "/DATE:mdy", "/RANGE:1,2", "/S:*"},
         "07.04.1567|12.30.1899 13:35:38|\n03.01.2040|12.31.9999 23:59:59|\n"},
        {"ymd with a delimiter", {{"t.dbf", t.bytes()}}, {"t.dbf", "/DATE:ymd", "/DATE:-", "/RANGE:1,6", "/S:*"},
         "1567-07-04|1899-12-30 13:35:38|\n0001-01-01|1969-12-31 23:59:59|\n"},
        {"asis", {{"t.dbf", t.bytes()}}, {"t.dbf", "/RANGE:1,4", "/S:*"},
         "15670704|18991230133538|\n        |                   |\n"},
        {"orders by the stored digits, blanks first", {{"t.dbf", t.bytes()}}, {"t.dbf", "/ORDER:D", "/S:D"},
         "        |\n        |\n00010101|\n15670704|\n20010230|\n20400301|\n"},
        {"descending", {{"t.dbf", t.bytes()}}, {"t.dbf", "/DESC", "/DATE:dmy", "/ORDER:T", "/S:T"},
         "31.12.9999 23:59:59|\n30.02.2001 25:00:00|\n31.12.1969 23:59:59|\n30.12.1899 13:35:38|\n"
         "                   |\n                   |\n"},
        {"conditions", {{"t.dbf", t.bytes()}}, {"t.dbf", "/FILTER:D<\"19000101\"", "/S:D"},
         "15670704|\n        |\n        |\n00010101|\n"},
        {"comparisons", {{"t.dbf", t.bytes()}, {"u.dbf", u.bytes()}}, {"t.dbf", "/DATE:dmy", "/CMP:u.dbf", "/CMP:c"},
         "  t.dbf            0: D          (D) '04.07.1567'\n<>u.dbf            0: D          (D) '04.07.1568'\n\n"},
    });
}
