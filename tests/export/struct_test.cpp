// tests/export/struct_test.cpp
#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/table_builder.h"

namespace {

// A C 3, N N 5.2, D D 8 and one record: 129 + 17 + 1 bytes.
TableImage sample() {
    TableImage t;
    t.fields = {{"A", 'C', 3}, {"N", 'N', 5, 2}, {"D", 'D', 8}};
    t.add({"abc", "1.50", "20010314"});
    return t;
}

const char kTextReport[] =
    "\nDatabase name\t\t:\tt.dbf\n"
    "Type\t\t\t:\tdBase III\n"
    "Last updated (m-d-y)\t:\t03-14-2001\n"
    "File size\t\t:\t       147\n"
    "Header size\t\t:\t       129\n"
    "Record count\t\t:\t         1\n"
    "Field count\t\t:\t         3\n"
    "Record length\t\t:\t        17\n"
    "\nName        Type          Length\n"
    "A           Character       3\n"
    "N           Numeric         5  2\n"
    "D           Date            8\n";

std::string table_row(const std::string& head18) {
    std::string row = head18;
    row += '\0';
    row += std::string(31, ' ');
    return row;
}

// The 193-byte head of a structure-extended table reporting `count` fields.
std::string extended_head(int count) {
    std::string head("\x03\x64\x09\x0D", 4);
    head += le16(static_cast<uint16_t>(count));
    head += std::string(2, '\0');
    head += le16(193);
    head += le16(50);
    head += std::string(20, '\0');
    head += descriptor("FIELD_NAME", 'C', 10, 0, 1);
    head += descriptor("FIELD_TYPE", 'C', 1, 0, 11);
    head += descriptor("FIELD_LEN", 'N', 3, 0, 12);
    head += descriptor("FIELD_DEC", 'N', 3, 0, 15);
    head += descriptor("DESCRIPT", 'C', 32, 0, 18);
    head += '\x0D';
    return head;
}

}  // namespace

TEST(Struct, EachFormOfTheSampleTable) {
    struct Form { const char* what; const char* parameter; const char* file; std::string content; };
    const Form forms[] = {
        {"text file", "/STRUCT:r.txt", "r.txt", kTextReport},
        {"sql", "/STRUCT:r.sql", "r.sql",
         "CREATE TABLE \"t.dbf\" (\n"
         "\tA           Character(3),\n"
         "\tN           Numeric(5,2),\n"
         "\tD           Date\n"
         "\t);\n\n"},
        {"program script", "/STRUCT:r.prg", "r.prg",
         "DBCREATE(\"t.dbf\", {;\n"
         "\t{ \"A\",           \"C\",   3,   0 },;\n"
         "\t{ \"N\",           \"N\",   5,   2 },;\n"
         "\t{ \"D\",           \"D\",   8,   0 },;\n"
         "\t})\n\n"},
        {"dialect script, end in upper case", "/STRUCT:r.FOX", "r.FOX",
         "CREATE TABLE \"t.dbf\" ( ;\n"
         "\tA           C(3), ;\n"
         "\tN           N(5,2), ;\n"
         "\tD           D ;\n"
         "\t)\n\n"},
        {"structure-extended table", "/STRUCT:r.dbf", "r.dbf",
         extended_head(3) + table_row(" A         C  3  0") + table_row(" N         N  5  2") +
             table_row(" D         D  8  0")},
    };
    for (const Form& f : forms) {
        SCOPED_TRACE(f.what);
        ScratchDir dir;
        dir.write("t.dbf", sample().bytes());
        RunResult r = dir.run({"t.dbf", f.parameter});
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(dir.read(f.file), f.content);
    }
}

TEST(Struct, ScreenFormAndTextsThatMeanIt) {
    ScratchDir dir;
    dir.write("t.dbf", sample().bytes());
    const std::string report = kTextReport;
    for (const char* parameter : {"/STRUCT", "/STRUCTURE", "/STRUCT=x.txt", "-struct"}) {
        SCOPED_TRACE(parameter);
        RunResult r = dir.run({"t.dbf", parameter});
        EXPECT_EQ(r.out, report);
        EXPECT_FALSE(dir.exists("x.txt"));
    }
    TableImage unknown = sample();
    unknown.signature = 0xE5;
    dir.write("t.dbf", unknown.bytes());
    EXPECT_NE(dir.run({"t.dbf", "/STRUCT"}).out.find("Type\t\t\t:\tUnknown\n"), std::string::npos);
}

TEST(Struct, RowsOfEachKindOfField) {
    // One table of one field per case; the rows of the text, SQL, dialect and
    // script forms. The text form tests `length` for N and F, the others `decimals`.
    struct Kind { const char* what; FieldSpec field; const char* text, *sql, *fox, *prg; };
    const Kind kinds[] = {
        {"N without decimals", {"QTY", 'N', 4}, "QTY         Numeric         4  0", "QTY         Numeric(4)",
         "QTY         N(4)", "{ \"QTY\",         \"N\",   4,   0 }"},
        {"N of width 0", {"Z", 'N', 0}, "Z           Numeric         0", "Z           Numeric(0)", "Z           N(0)",
         "{ \"Z\",           \"N\",   0,   0 }"},
        {"F with decimals", {"RATE", 'F', 9, 3}, "RATE        Float           9  3", "RATE        Float(9,3)",
         "RATE        F(9,3)", "{ \"RATE\",        \"F\",   9,   3 }"},
        {"D with decimals byte 8, a keyword for a name", {"WHEN", 'D', 8, 8}, "WHEN        Date            8  8",
         "\"WHEN\"      Date",
         "WHEN        D", "{ \"WHEN\",        \"D\",   8,   8 }"},
        {"C 300 wide reports its two bytes", {"WIDE", 'C', 300}, "WIDE        Character      44",
         "WIDE        Character(44)", "WIDE        C(44)", "{ \"WIDE\",        \"C\",  44,   1 }"},
        {"L", {"OK", 'L', 1}, "OK          Logical         1", "OK          Boolean", "OK          L",
         "{ \"OK\",          \"L\",   1,   0 }"},
        {"M", {"NOTE", 'M', 10}, "NOTE        Memo           10", "NOTE        Blob(0,1)", "NOTE        M",
         "{ \"NOTE\",        \"M\",  10,   0 }"},
        {"T", {"STAMP", 'T', 8}, "STAMP       DateTime        8", "STAMP       Time", "STAMP       T",
         "{ \"STAMP\",       \"T\",   8,   0 }"},
        {"Y", {"PRICE", 'Y', 8, 4}, "PRICE       Currency        8", "PRICE       Money", "PRICE       Y",
         "{ \"PRICE\",       \"Y\",   8,   4 }"},
        {"B 8 without decimals", {"DBL", 'B', 8}, "DBL         Double          8", "DBL         Numeric(20)",
         "DBL         B", "{ \"DBL\",         \"B\",   8,   0 }"},
        {"B 8 with decimals", {"DBL", 'B', 8, 3}, "DBL         Double          8", "DBL         Numeric(20,3)",
         "DBL         B", "{ \"DBL\",         \"B\",   8,   3 }"},
        {"B of another width", {"BLOB", 'B', 10}, "BLOB        Binary         10", "BLOB        Blob(0,2)",
         "BLOB        B", "{ \"BLOB\",        \"B\",  10,   0 }"},
        {"name of 9 characters", {"ABCDEFGHI", 'C', 2}, "ABCDEFGHI   Character       2",
         "ABCDEFGHI   Character(2)", "ABCDEFGHI   C(2)", "{ \"ABCDEFGHI\",   \"C\",   2,   0 }"},
        {"name of 10 characters", {"ABCDEFGHIJ", 'C', 2}, "ABCDEFGHIJ  Character       2",
         "ABCDEFGHIJ  Character(2)", "ABCDEFGHIJ  C(2)", "{ \"ABCDEFGHIJ\",  \"C\",   2,   0 }"},
        {"name of all 11 bytes", {"ABCDEFGHIJK", 'C', 2}, "ABCDEFGHIJK Character       2",
         "ABCDEFGHIJK Character(2)", "ABCDEFGHIJK C(2)", "{ \"ABCDEFGHIJK\",  \"C\",   2,   0 }"},
    };
    for (const Kind& k : kinds) {
        SCOPED_TRACE(k.what);
        ScratchDir dir;
        TableImage t;
        t.fields = {k.field};
        if (k.field.length == 0) t.record_length = 2;  // a table needs a record of 2 bytes to open
        dir.write("t.dbf", t.bytes());
        RunResult r = dir.run({"t.dbf", "/STRUCT", "/STRUCT:r.sql", "/STRUCT:r.fox", "/STRUCT:r.prg"});
        EXPECT_EQ(r.status, 0);
        const std::string out = r.out;
        EXPECT_EQ(out.substr(out.rfind("Length\n") + 7), std::string(k.text) + "\n");
        EXPECT_EQ(dir.read("r.sql"), std::string("CREATE TABLE \"t.dbf\" (\n\t").append(k.sql).append("\n\t);\n\n"));
        EXPECT_EQ(dir.read("r.fox"),
                  std::string("CREATE TABLE \"t.dbf\" ( ;\n\t").append(k.fox).append(" ;\n\t)\n\n"));
        EXPECT_EQ(dir.read("r.prg"), std::string("DBCREATE(\"t.dbf\", {;\n\t").append(k.prg).append(",;\n\t})\n\n"));
    }
}

TEST(Struct, RefusedNamesAndTheFatalOne) {
    ScratchDir dir;
    dir.write("t.dbf", sample().bytes());
    const struct { const char* what; std::vector<std::string> args; int status; std::string out; } calls[] = {
        {"unknown end", {"t.dbf", "/STRUCT:r.htm", "/COUNT"}, 0, "Invalid output format...\n1\n"},
        {"empty name", {"t.dbf", "/STRUCT:", "/COUNT"}, 0, "Invalid output format...\n1\n"},
        {"shorter than an end", {"t.dbf", "/STRUCT:sql", "/COUNT"}, 0, "Invalid output format...\n1\n"},
        {"a missing directory ends the run", {"t.dbf", "t.dbf", "/STRUCT:nodir/r.txt", "/COUNT"}, 1,
         "Can't create file: nodir/r.txt"},
    };
    for (const auto& c : calls) {
        SCOPED_TRACE(c.what);
        RunResult r = dir.run(c.args);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.out, c.out);
    }
    EXPECT_FALSE(dir.exists("r.htm"));
    EXPECT_FALSE(dir.exists("sql"));
}

TEST(Struct, FilesCollectReportsBehindEachOther) {
    ScratchDir dir;
    dir.write("t.dbf", sample().bytes());
    RunResult r = dir.run({"t.dbf", "t.dbf", "/STRUCT:r.txt", "/STRUCT:r.dbf"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(dir.read("r.txt"), std::string(kTextReport) + kTextReport);
    // A second head lands behind the first rows; the first header stays in place.
    const std::string once = extended_head(3) + table_row(" A         C  3  0") + table_row(" N         N  5  2") +
                             table_row(" D         D  8  0");
    EXPECT_EQ(dir.read("r.dbf"), once + once);
}

TEST(Struct, ExtendedTableListsOneRecordPerField) {
    ScratchDir dir;
    dir.write("t.dbf", sample().bytes());
    ASSERT_EQ(dir.run({"t.dbf", "/STRUCT:x.dbf"}).status, 0);
    // DESCRIPT starts with its NUL, so it lists as an empty text.
    RunResult r = dir.run({"x.dbf", "/SELECT:FIELD_NAME;FIELD_TYPE;FIELD_LEN;FIELD_DEC;DESCRIPT"});
    EXPECT_EQ(r.out,
              "A         |C|  3|  0||\n"
              "N         |N|  5|  2||\n"
              "D         |D|  8|  0||\n");
}

TEST(Struct, ExtendedTableOpensAsATable) {
    ScratchDir dir;
    TableImage t;
    for (int i = 0; i < 12; ++i) t.fields.push_back({'F' + std::to_string(i), 'N', 3 + i, i % 3});
    dir.write("t.dbf", t.bytes());
    ASSERT_EQ(dir.run({"t.dbf", "/STRUCT:x.dbf"}).status, 0);
    const std::string bytes = dir.read("x.dbf");
    EXPECT_EQ(bytes.size(), 193u + 12u * 50u);
    EXPECT_EQ(bytes.substr(4, 4), le32(12));
    EXPECT_EQ(dir.run({"x.dbf", "/COUNT"}).out, "12\n");

    if (std::system("/usr/bin/python3 -c 'import dbfread' 2>/dev/null") != 0)
        GTEST_SKIP() << "python3-dbfread is not installed: the independent reader is not tried";
    const std::string script =
        "import dbfread\n"
        "t = dbfread.DBF('" + dir.file("x.dbf") + "')\n"
        "print(','.join(f.name for f in t.fields))\n"
        "for r in t: print('%s|%s|%d|%d|%r' % (r['FIELD_NAME'], r['FIELD_TYPE'], r['FIELD_LEN'], r['FIELD_DEC'],"
        " r['DESCRIPT']))\n";
    dir.write("read.py", script);
    const std::string command =
        std::string("/usr/bin/python3 ").append(dir.file("read.py")).append(" > ").append(dir.file("read.out"));
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::string expected = "FIELD_NAME,FIELD_TYPE,FIELD_LEN,FIELD_DEC,DESCRIPT\n";
    for (int i = 0; i < 12; ++i) {
        char line[32];
        std::snprintf(line, sizeof line, "F%d|N|%d|%d|''\n", i, 3 + i, i % 3);
        expected += line;
    }
    EXPECT_EQ(dir.read("read.out"), expected);
}

TEST(Struct, RecordCountIgnoresTheFilter) {
    ScratchDir dir;
    TableImage t = sample();
    t.add({"def", "9.00", "20010315"});
    dir.write("t.dbf", t.bytes());
    RunResult r = dir.run({"t.dbf", "/FILTER:N>5", "/COUNT", "/STRUCT"});
    EXPECT_EQ(r.out.substr(0, 2), "1\n");
    EXPECT_NE(r.out.find("Record count\t\t:\t         2\n"), std::string::npos) << r.out;
}

TEST(Struct, SqlScriptAndListingLoadIntoSqlite) {
    if (std::system("/usr/bin/sqlite3 -version >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "/usr/bin/sqlite3 is not installed: the script is not loaded";
    ScratchDir dir;
    TableImage t = sample();
    t.add({"xy", "12", "20020101"});
    dir.write("t.dbf", t.bytes());
    ASSERT_EQ(dir.run({"t.dbf", "/STRUCT:x.sql", "/OUT:x.sql", "/SELECT:A,N,D"}).status, 0);
    const std::string command = std::string("cd ").append(dir.path()).append(
        " && /usr/bin/sqlite3 x.db < x.sql && /usr/bin/sqlite3 x.db "
        "'select A, N, typeof(N), D from \"t.dbf\" order by rowid' > got.txt 2>&1");
    ASSERT_EQ(std::system(command.c_str()), 0) << dir.read("got.txt");
    EXPECT_EQ(dir.read("got.txt"), "abc|1.5|real|20010314\nxy |12|integer|20020101\n");
}
