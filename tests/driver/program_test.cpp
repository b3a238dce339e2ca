// tests/driver/program_test.cpp
#include <algorithm>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/table_builder.h"

namespace {

const char kUsage[] =
    "TRUG Command Line utility. Version 1.05\n"
    "Use:\n"
    "  TRUGtool <filename.dbf|pattern> <parameter|@filename.lst|+filename.dbf>\n"
    "  Parameters (first character can be '/' or '-') :\n"
    "\t/ANSI\t\t\t\t/OEM\n"
    "\t/ASC\t\t\t\t/DESC\n"
    "\t/CDX\t\t\t\t/CPZERO\n"
    "\t/CHECK\t\t\t\t/CLEAR\n"
    "\t/PACK:[dbf|memo]\t\t/ZAP\n"
    "\t/DELETED[+|-]\t\t\t/DEL[+|-]\n"
    "\t/CASE[+|-]\n"
    "\t/TRUNC:N\t\t\t/BLANK\n"
    "\t/COUNT\t\t\t\t/VERSION\n"
    "\t/BROWSE\t\t\t\t/FIELDS\n"
    "\t/NAME[+|-]\t\t\t/CALC:condition\n"
    "\t/APPEND[:N|blank]\t\t/RANGE:N1,N2-N3,all\n"
    "\t/FILTER:condition\t\t/MAKE:filename.dbf\n"
    "\t/DELETE:N1,N2-N3,all\t\t/RECALL:N1,N2-N3,all\n"
    "\t/DATE:mdy|dmy|ymd|asis|char\t/UPDATE\n"
    "\t/TRIM:left|right|all\t\t/HDR[+|-]\n"
    "\t/SORT:field1;field2;...\t\t/ORDER:field1;field2;...\n"
    "\t/SELECT:field1;field2;...\t/MEMO[:text]\n"
    "\t/FIELD:field1=value;field2=value;...\n"
    "\t/STRUCT:file.txt|file.dbf|file.sql|file.prg|file.fox\n"
    "\t/OUT:file.txt|file.dbf|file.sql|file.prg|file.htm|file.csv|file.jsonl\n"
    "\t/UTF8[+|-]\t\t\t/CP:number\n"
    "\t/CMP:file.dbf [/filter] [/order] /CMP[:[i][s][c]]\n";

std::string table_of(int records) {
    TableImage t;
    t.fields = {{"NAME", 'C', 10}, {"AGE", 'N', 3}};
    for (int i = 0; i < records; ++i) {
        std::string number = std::to_string(i);
        t.add({number, number});
    }
    return t.bytes();
}

struct Dir : ScratchDir {
    Dir() {
        write("a.dbf", table_of(3));
        write("b.dbf", table_of(5));
    }
};

struct Call {
    const char* what;
    std::vector<std::string> args;
    int status;
    std::string out;
};

void check(const Dir& dir, const Call& c) {
    SCOPED_TRACE(c.what);
    RunResult r = dir.run(c.args);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.out, c.out);
}

}  // namespace

TEST(ProgramStart, EarlyParametersAndUsage) {
    const std::string usage = kUsage;
    const Call calls[] = {
        {"no argument shows the usage", {}, 0, usage},
        {"/? first", {"/?"}, 0, usage},
        {"-help: only the h counts", {"-help", "a.dbf"}, 0, usage},
        {"-H is not early, and no table stands before it", {"-H", "a.dbf"}, 0, ""},
        {"a table alone shows the usage and opens nothing", {"nosuch.dbf"}, 0, usage},
        {"a parameter first means no table", {"/count", "a.dbf"}, 0, ""},
        {"/? after a table prints the usage and goes on", {"a.dbf", "/?", "/COUNT"}, 0, usage + "3\n"},
        {"/h after a table is unknown", {"a.dbf", "/h"}, 0, "Unknown function: [h].\n"},
    };
    Dir dir;
    for (const Call& c : calls) check(dir, c);
}

TEST(ProgramStart, VersionEarlyAnswersOnceAndPerTableLater) {
    Dir dir;
    RunResult early = dir.run({"/VERSIONS", "x", "y"});
    EXPECT_EQ(early.status, 0);
    EXPECT_EQ(early.out.rfind("Version 1.05 compiled at ", 0), 0u);
    EXPECT_EQ(std::count(early.out.begin(), early.out.end(), '\n'), 1);
    RunResult later = dir.run({"a.dbf", "b.dbf", "-version"});
    EXPECT_EQ(std::count(later.out.begin(), later.out.end(), '\n'), 2);
}

TEST(TablePass, ParametersReplayForEachTable) {
    const Call calls[] = {
        {"counts of two tables", {"a.dbf", "b.dbf", "/COUNT"}, 0, "3\n5\n"},
        {"a later table name is a parameter", {"a.dbf", "/count", "b.dbf"}, 0,
         "3\nUnknown function: [b.dbf].\n"},
        {"count with the file name", {"a.dbf", "/NAME", "/COUNT", "/NAME-", "/COUNT"}, 0,
         "       3|a.dbf\n3\n"},
        {"the name flag stays for later tables", {"a.dbf", "b.dbf", "/COUNT", "/NAME"}, 0, "3\n       5|b.dbf\n"},
        {"a bare dash is an empty parameter", {"a.dbf", "-"}, 0, "Unknown function: [].\n"},
        {"no table at all", {"/COUNT", "/COUNT"}, 0, ""},
    };
    Dir dir;
    for (const Call& c : calls) check(dir, c);
}

TEST(TablePass, FatalMessagesEndTheRun) {
    Dir dir;
    TableImage bad_header;
    bad_header.fields = {{"A", 'C', 1}};
    bad_header.header_length = 64;
    dir.write("header.dbf", bad_header.bytes());
    TableImage bad_fields;
    bad_fields.fields = {{"A", 'X', 1}, {"B", 'Y', 1}, {"C", 'Q', 1}};
    bad_fields.fields[1].type = 'Z';
    dir.write("fields.dbf", bad_fields.bytes());
    dir.write("empty.dbf", std::string(32, '\0'));
    const std::string long_name(300, 'x');
    const Call calls[] = {
        {"missing table", {"nosuch.dbf", "/COUNT"}, 1, "Can't open nosuch.dbf"},
        {"header", {"header.dbf", "/COUNT"}, 1, "Invalid header... header.dbf"},
        {"descriptors", {"fields.dbf", "/COUNT"}, 1, "Field definition error... fields.dbf"},
        {"nothing behind the header", {"empty.dbf", "/COUNT"}, 1, "Invalid header... empty.dbf"},
        {"the first table is done before the second fails", {"a.dbf", "nosuch.dbf", "b.dbf", "/COUNT"}, 1,
         "3\nCan't open nosuch.dbf"},
        {"a path longer than 259 characters is tried as given", {long_name, "/COUNT"}, 1,
         "Can't open " + long_name},
    };
    for (const Call& c : calls) check(dir, c);
}

TEST(Dispatch, KeywordsMatchByPrefixInTableOrder) {
    const Call calls[] = {
        {"case does not matter", {"a.dbf", "/cOuNt"}, 0, "3\n"},
        {"a longer word matches the keyword", {"a.dbf", "/COUNTING"}, 0, "3\n"},
        {"keywords with a colon need it",
         {"a.dbf", "/SELECT", "/FILTER", "/FIELD", "/ORDER", "/RANGE", "/SORT", "/MAKE", "/TRUNC", "/CALC",
          "/RECALL"},
         0,
         "Unknown function: [SELECT].\nUnknown function: [FILTER].\nUnknown function: [FIELD].\n"
         "Unknown function: [ORDER].\nUnknown function: [RANGE].\nUnknown function: [SORT].\n"
         "Unknown function: [MAKE].\nUnknown function: [TRUNC].\nUnknown function: [CALC].\n"
         "Unknown function: [RECALL].\n"},
        {"settings keys are no unknown functions", {"a.dbf", "/Normal=abc", "-uppercase=ABC", "TableOEM=x", "/COUNT"}, 0,
         "3\n"},
        {"a plain word behind the parameters", {"a.dbf", "/COUNT", "hello"}, 0,
         "3\nUnknown function: [hello].\n"},
    };
    Dir dir;
    for (const Call& c : calls) check(dir, c);
}

TEST(Dispatch, DateAndTrimTexts) {
    const Call calls[] = {
        {"bare /DATE", {"a.dbf", "/DATE"}, 0, "Unknown date format: .\n"},
        {"empty /DATE:", {"a.dbf", "/DATE:"}, 0, "Unknown date format: .\n"},
        {"two characters", {"a.dbf", "/DATE:ab"}, 0, "Unknown date format: ab.\n"},
        {"modes and a separator", {"a.dbf", "/DATE:dmy", "/DATE:MDY", "/date:Ymd", "/DATE:asis", "/DATE:a",
                                   "/DATE=-"}, 0, ""},
        {"trim words, right or wrong, print nothing", {"a.dbf", "/TRIM", "/TRIM:all", "/TRIM:middle"}, 0, ""},
    };
    Dir dir;
    for (const Call& c : calls) check(dir, c);
}

TEST(ListFiles, LineRules) {
    Dir dir;
    dir.write("main.lst",
              "; a comment\n"
              " /COUNT indented lines are comments too\n"
              "\n"
              "/COUNT\n"
              "-count\n"
              "COUNT\n"
              "/DATE:dmy\r\n"
              "@nested.lst\n"
              "@missing.lst\n"
              "/NAME\n"
              "/COUNT");  // no line feed at the end
    dir.write("nested.lst", "/DATE:zz\n@deeper.lst");
    dir.write("deeper.lst", "/hdr\n/BOGUS\n");
    RunResult r = dir.run({"a.dbf", "@main.lst", "@absent.lst", "/COUNT"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "3\n3\n3\n"
                     "Unknown date format: dmy\r.\n"
                     "Unknown date format: zz.\n"
                     "Unknown function: [BOGUS].\n"
                     "Can't open file: missing.lst\n"
                     "       3|a.dbf\n"
                     "       3|a.dbf\n");
}

TEST(ListFiles, LongLinesArriveInPieces) {
    Dir dir;
    dir.write("long.lst", std::string(1500, 'q') + "\n");
    RunResult r = dir.run({"a.dbf", "@long.lst"});
    EXPECT_EQ(r.out, "Unknown function: [" + std::string(1023, 'q') + "].\n" + "Unknown function: [" +
                         std::string(477, 'q') + "].\n");
}

TEST(ListFiles, ListsThatNameThemselvesStopAtOnce) {
    Dir dir;
    dir.write("self.lst", "/COUNT\n@self.lst\n@./self.lst\n");
    dir.write("a.lst", "@b.lst\n@b.lst\n/COUNT\n");
    dir.write("b.lst", "@a.lst\n");
    RunResult r = dir.run({"a.dbf", "@self.lst", "@a.lst"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "3\nCan't open file: self.lst\nCan't open file: ./self.lst\n"
                     "Can't open file: a.lst\nCan't open file: a.lst\n3\n");
}

TEST(ListFiles, NestingStopsAt16Levels) {
    Dir dir;
    for (int i = 0; i < 20; ++i) {
        std::string next = std::to_string(i + 1);
        dir.write("l" + std::to_string(i) + ".lst", "/COUNT\n@l" + next + ".lst\n");
    }
    RunResult r = dir.run({"a.dbf", "@l0.lst"});
    std::string expected;
    for (int i = 0; i < 16; ++i) expected += "3\n";
    expected += "Can't open file: l16.lst\n";
    EXPECT_EQ(r.out, expected);
}

TEST(SettingsFile, RunsBesideTheProgramBeforeTheCommandLine) {
    Dir dir;
    dir.write("trugtool.ini", "; settings\nNormal=abc\nNormal=xyz\n/NAME\n/COUNT\n");
    RunResult r = dir.run({"a.dbf", "b.dbf", "/NAME-", "/COUNT"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "       3|a.dbf\n3\n       5|b.dbf\n5\n");
}

TEST(SettingsFile, TwoTablesWithoutParametersOnlyApplyIt) {
    Dir dir;
    dir.write("trugtool.ini", "/COUNT\n");
    EXPECT_EQ(dir.run({"a.dbf", "b.dbf"}).out, "3\n5\n");
}
