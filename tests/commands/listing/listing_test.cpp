// tests/commands/listing/listing_test.cpp
//
// Listings through the real program: /OUT chooses the target, /SELECT: writes it.
#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>
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

const std::string kBrowse = "ab | 1.50|20010314|\n";
const std::string kFields = "A         |ab \nN         | 1.50\nD         |20010314\n\n";
const std::string kSql = "insert into \"t.dbf\" (A, N, D ) values (\"ab \",  1.50, \"20010314\");\n";
const std::string kScript =
    "use t.dbf\nappend blank\nreplace ;\n\tA with \"ab \", ;\n\tN with  1.50, ;\n\tD with ctod(\"20010314\")\n"
    "use\t&&\tt.dbf\n\n";
const std::string kHtmlHead = "<table width=\"100%\" border=\"1\" cellspacing=\"1\" cellpadding=\"1\">\n";
const std::string kHtmlRow =
    "<tr valign=top><td>ab </td><td align=right>1.50</td><td align=center>20010314</td></tr>\n";

struct Listing {
    const char* what;
    TableImage table;
    std::vector<std::string> args;  // behind "t.dbf"
    std::string out;                // what the screen shows
    std::string file = "";          // the target, if any
    std::string written = "";       // what the target holds afterwards
};

void check(const std::vector<Listing>& listings) {
    for (const Listing& l : listings) {
        SCOPED_TRACE(l.what);
        ScratchDir dir;
        dir.write("t.dbf", l.table.bytes());
        std::vector<std::string> args = {"t.dbf"};
        args.insert(args.end(), l.args.begin(), l.args.end());
        RunResult r = dir.run(args);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, l.out);
        if (!l.file.empty()) {
            EXPECT_EQ(dir.read(l.file), l.written);
        }
    }
}

}  // namespace

TEST(Listing, ScreenLayouts) {
    TableImage empty = sample();
    empty.records.clear();
    check({
        {"browse", sample(), {"/SELECT:*"}, kBrowse},
        {"short form, only the star counts", sample(), {"/S:*x"}, kBrowse},
        {"lower case keyword", sample(), {"/select:*"}, kBrowse},
        {"fields layout", sample(), {"/FIELDS", "/SELECT:*"}, kFields},
        {"back to browse", sample(), {"/FIELDS", "/BROWSE", "/SELECT:*"}, kBrowse},
        {"deleted record, browse", sample(true), {"/DEL", "/SELECT:*"}, "*|" + kBrowse},
        {"live record, browse", sample(), {"/DEL", "/SELECT:*"}, " |" + kBrowse},
        {"deleted record, fields", sample(true), {"/DEL", "/FIELDS", "/SELECT:*"}, "*         |*\n" + kFields},
        {"live record, fields", sample(), {"/DEL", "/FIELDS", "/SELECT:*"}, "*         | \n" + kFields},
        {"marks only after /DEL", sample(true), {"/S:A", "/DEL", "/S:A", "/DEL-", "/S:A"}, "ab |\n*|ab |\nab |\n"},
        {"file name, browse", sample(), {"/NAME", "/SELECT:*"}, "ab | 1.50|20010314|t.dbf\n"},
        {"file name, fields", sample(), {"/NAME", "/FIELDS", "/SELECT:*"},
         "A         |ab \nN         | 1.50\nD         |20010314\nt.dbf\n\n"},
        {"header row", sample(), {"/HDR", "/SELECT:*"}, "A  |N    |D       |\n" + kBrowse},
        {"header row with marks", sample(), {"/HDR", "/DEL", "/SELECT:*"}, "*|A  |N    |D       |\n |" + kBrowse},
        {"no header row in fields layout", sample(), {"/HDR", "/FIELDS", "/SELECT:*"}, kFields},
        {"chosen order, a field twice", sample(), {"/SELECT:N;A;N"}, " 1.50|ab | 1.50|\n"},
        {"fields by any case, comma too", sample(), {"/SELECT:d,a"}, "20010314|ab |\n"},
        {"list ends at an unknown name", sample(), {"/SELECT:A;nosuch;N"}, "ab |\n"},
        {"unknown first name", sample(), {"/SELECT:nosuch;A"}, "Invalid field[s]...\n"},
        {"empty list", sample(), {"/SELECT:"}, "Field[s] required for select...\n"},
        {"empty table", empty, {"/SELECT:*"}, ""},
        {"empty table, header row alone", empty, {"/HDR", "/SELECT:*"}, "A  |N    |D       |\n"},
        {"unknown output format keeps the screen", sample(), {"/OUT:x.xml", "/S:A"},
         "Invalid output format...\nab |\n"},
        {"bare /OUT returns to the screen", sample(), {"/OUT:x.txt", "/OUT", "/S:A"}, "ab |\n"},
        {"/OUTPUT: has no colon in front", sample(), {"/OUT:x.txt", "/OUTPUT:y.txt", "/S:A"}, "ab |\n"},
    });
}

TEST(Listing, LongNameInHeaderRow) {
    // The header row pads to the display width but never cuts a name.
    TableImage t;
    t.fields = {{"LONGNAME", 'C', 2}, {"N", 'N', 5, 2}};
    t.add({"ab", "1.5"});
    check({{"long name", t, {"/HDR", "/S:*"}, "LONGNAME|N    |\nab| 1.50|\n"}});
}

TEST(Listing, FileTargets) {
    const std::string kFieldsHtml =
        "<tr valign=top><tr valign=top><td valign=top>A</td><td>ab </td></tr>\n"
        "<tr valign=top><td valign=top>N</td><td>1.50 </td></tr>\n"
        "<tr valign=top><td valign=top>D</td><td>20010314 </td></tr>\n"
        "</tr>\n";
    TableImage empty = sample();
    empty.records.clear();
    check({
        {"text file", sample(), {"/OUT:x.txt", "/SELECT:*"}, "", "x.txt", kBrowse},
        {"text file, header, fields", sample(), {"/OUT:X.TXT", "/HDR", "/S:*", "/FIELDS", "/S:*"}, "", "X.TXT",
         "A  |N    |D       |\n" + kBrowse + kFields},
        {"two listings append", sample(), {"/OUT:x.Txt", "/S:*", "/S:*"}, "", "x.Txt", kBrowse + kBrowse},
        {"sql", sample(), {"/OUT:x.sql", "/SELECT:*"}, "", "x.sql", kSql},
        {"sql ignores header, marks and name", sample(true), {"/HDR", "/DEL", "/NAME", "/OUT:x.sql", "/S:*"}, "",
         "x.sql", kSql},
        {"program script", sample(), {"/OUT:x.prg", "/SELECT:*"}, "", "x.prg", kScript},
        {"fox script is the same", sample(), {"/HDR", "/DEL", "/NAME", "/OUT:x.fox", "/SELECT:*"}, "", "x.fox",
         kScript},
        {"script of an empty table", empty, {"/OUT:x.prg", "/S:*"}, "", "x.prg", "use t.dbf\nuse\t&&\tt.dbf\n\n"},
        {"html browse", sample(), {"/OUT:x.htm", "/SELECT:*"}, "", "x.htm", kHtmlHead + kHtmlRow + "</table>\n"},
        {"html fields", sample(), {"/FIELDS", "/OUT:x.html", "/SELECT:*"}, "", "x.html",
         kHtmlHead + kFieldsHtml + "</table>\n"},
        {"html header row, marks, name", sample(true), {"/HDR", "/DEL", "/NAME", "/OUT:x.HTML", "/SELECT:*"}, "",
         "x.HTML",
         kHtmlHead +
             "<tr><td align=center>*</td><td align=center>A</td><td align=center>N</td><td align=center>D</td></tr>\n"
             "<tr valign=top><td align=center>*</td><td>ab </td><td align=right>1.50</td>"
             "<td align=center>20010314</td><td>t.dbf</td></tr>\n</table>\n"},
        {"html fields, marks, name", sample(true), {"/FIELDS", "/DEL", "/NAME", "/HDR", "/OUT:x.htm", "/S:A"}, "",
         "x.htm",
         kHtmlHead +
             "<tr valign=top><td>*</td><td align=left>*</td></tr>\n"
             "<tr valign=top><td valign=top>A</td><td>ab </td></tr>\n"
             "<tr><td colspan=2>t.dbf</td></tr>\n</table>\n"},
        {"html live mark", sample(), {"/DEL", "/OUT:x.htm", "/S:A"}, "", "x.htm",
         kHtmlHead + "<tr valign=top><td>&nbsp;</td><td>ab </td></tr>\n</table>\n"},
        {"html two listings, two tables", sample(), {"/OUT:x.htm", "/S:*", "/S:*"}, "", "x.htm",
         kHtmlHead + kHtmlRow + "</table>\n" + kHtmlHead + kHtmlRow + "</table>\n"},
        {"html of an empty table", empty, {"/HDR", "/OUT:x.htm", "/S:A"}, "", "x.htm",
         kHtmlHead + "<tr><td align=center>A</td></tr>\n</table>\n"},
    });
}

TEST(Listing, FileTargetsAppendToWhatIsThere) {
    ScratchDir dir;
    dir.write("t.dbf", sample().bytes());
    dir.write("x.txt", "before\n");
    dir.write("x.htm", "<p>before</p>\n");
    RunResult r = dir.run({"t.dbf", "/OUT:x.txt", "/S:A", "/OUT:x.htm", "/S:A"});
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(dir.read("x.txt"), "before\nab |\n");
    EXPECT_EQ(dir.read("x.htm"), "<p>before</p>\n" + kHtmlHead + "<tr valign=top><td>ab </td></tr>\n</table>\n");

    // Each table of a run replays the listing into the same file.
    dir.write("u.dbf", sample().bytes());
    r = dir.run({"t.dbf", "u.dbf", "/OUT:y.sql", "/S:A"});
    EXPECT_EQ(dir.read("y.sql"), "insert into \"t.dbf\" (A ) values (\"ab \");\n"
                                 "insert into \"u.dbf\" (A ) values (\"ab \");\n");
}

TEST(Listing, NewTargetsGetTheModeOfTheUmask) {
    ScratchDir dir;
    dir.write("t.dbf", sample().bytes());
    dir.run({"t.dbf", "/OUT:x.txt", "/S:A", "/OUT:x.htm", "/S:A"});
    mode_t mask = umask(0);
    umask(mask);
    for (const char* name : {"x.txt", "x.htm"}) {
        SCOPED_TRACE(name);
        struct stat info {};
        ASSERT_EQ(stat(dir.file(name).c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777, 0666 & ~mask);
    }
}

TEST(Listing, ValuesAreWrittenAsTheyAre) {
    // Quotes, percent signs and high bytes go out untouched; only HTML escapes.
    TableImage t;
    t.fields = {{"C", 'C', 8}, {"L", 'L', 1}};
    t.add({"5%d\"'<&", "T"});
    t.add({"\xC0\xFF", "Y"});
    t.add({"", "y"});
    t.add({"", " "});
    check({
        {"screen", t, {"/S:*"}, "5%d\"'<& |T|\n\xC0\xFF      |Y|\n        |y|\n        | |\n"},
        {"sql logicals", t, {"/OUT:x.sql", "/S:*"}, "", "x.sql",
         "insert into \"t.dbf\" (C, L ) values (\"5%d\"'<& \", TRUE );\n"
         "insert into \"t.dbf\" (C, L ) values (\"\xC0\xFF      \", TRUE );\n"
         "insert into \"t.dbf\" (C, L ) values (\"        \", FALSE);\n"
         "insert into \"t.dbf\" (C, L ) values (\"        \", FALSE);\n"},
        {"script logicals", t, {"/OUT:x.prg", "/S:L"}, "", "x.prg",
         "use t.dbf\n"
         "append blank\nreplace ;\n\tL with .T.\n"
         "append blank\nreplace ;\n\tL with .T.\n"
         "append blank\nreplace ;\n\tL with .F.\n"
         "append blank\nreplace ;\n\tL with .F.\n"
         "use\t&&\tt.dbf\n\n"},
        {"html escapes, blank cells", t, {"/OUT:x.htm", "/S:*"}, "", "x.htm",
         kHtmlHead +
             "<tr valign=top><td>5%d&quot;' &lt;&amp; </td><td>T </td></tr>\n"
             // OEM 0xC0 and 0xFF in ANSI: 0x90 and 0xBF.
             "<tr valign=top><td>\x90\xBF </td><td>Y </td></tr>\n"
             "<tr valign=top><td>&nbsp;</td><td>y </td></tr>\n"
             "<tr valign=top><td>&nbsp;</td><td>&nbsp;</td></tr>\n</table>\n"},
    });
}

TEST(Listing, PathAndNamesAreNeverTouched) {
    ScratchDir dir;
    TableImage t;
    t.fields = {{"\xC0X", 'C', 2}};
    t.add({"\x80"});
    dir.write("p%s\x80.dbf", t.bytes());
    RunResult r = dir.run({"p%s\x80.dbf", "/NAME", "/HDR", "/S:*", "/OUT:x.sql", "/S:*", "/OUT:x.htm", "/S:*"});
    EXPECT_EQ(r.out, "\xC0X|\n\x80 |p%s\x80.dbf\n");
    EXPECT_EQ(dir.read("x.sql"), "insert into \"p%s\x80.dbf\" (\xC0X ) values (\"\x80 \");\n");
    // The cell goes to ANSI; the field name and the path do not.
    EXPECT_EQ(dir.read("x.htm"), kHtmlHead + "<tr><td align=center>\xC0X</td></tr>\n"
                                             "<tr valign=top><td>\xC0 </td><td>p%s\x80.dbf</td></tr>\n</table>\n");
}

TEST(Listing, AnsiConversions) {
    TableImage t;
    t.fields = {{"A", 'C', 2}, {"N", 'N', 4, 1}};
    t.add({"\xC0\x80", "2.5"});
    check({
        {"OEM table on screen: as stored", t, {"/S:*"}, "\xC0\x80| 2.5|\n"},
        {"ANSI table on screen: to OEM", t, {"/ANSI", "/S:*"}, "\x80\xB0| 2.5|\n"},
        {"ANSI table to SQL: to OEM", t, {"/ANSI", "/OUT:x.sql", "/S:A"}, "", "x.sql",
         "insert into \"t.dbf\" (A ) values (\"\x80\xB0\");\n"},
        {"OEM table to HTML: to ANSI", t, {"/OUT:x.htm", "/S:*"}, "", "x.htm",
         kHtmlHead + "<tr valign=top><td>\x90\xC0 </td><td align=right>2.5</td></tr>\n</table>\n"},
        {"ANSI table to HTML: as stored", t, {"/ANSI", "/OUT:x.htm", "/S:*"}, "", "x.htm",
         kHtmlHead + "<tr valign=top><td>\xC0\x80 </td><td align=right>2.5</td></tr>\n</table>\n"},
        {"/OEM undoes /ANSI", t, {"/ANSI", "/OEM", "/S:A"}, "\xC0\x80|\n"},
    });
}

TEST(Listing, TableWithoutFields) {
    // A header with no descriptors, padded to the least accepted length.
    TableImage t;
    t.extra_header = std::string(32, '\0');
    t.record_length = 2;
    t.records = {" ", " "};
    t.end_mark = false;
    check({
        {"screen", t, {"/S:*"}, "\n\n"},
        {"sql", t, {"/OUT:x.sql", "/S:*"}, "", "x.sql",
         "insert into \"t.dbf\" ( ) values ();\ninsert into \"t.dbf\" ( ) values ();\n"},
    });
}

TEST(Listing, UnopenableTargets) {
    ScratchDir dir;
    dir.write("t.dbf", sample().bytes());
    ASSERT_EQ(mkdir(dir.file("d.sql").c_str(), 0755), 0);
    RunResult r = dir.run({"t.dbf", "/OUT:nodir/x.htm", "/S:*", "/S:A", "/OUT:d.sql", "/S:A", "/OUT:x.txt", "/S:A"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "Can't open nodir/x.htm\nCan't open nodir/x.htm\nCan't open d.sql\n");
    EXPECT_EQ(dir.read("x.txt"), "ab |\n");
    EXPECT_FALSE(dir.exists("nodir"));
}

TEST(Listing, ReadOnlyTarget) {
    if (!can_run_as_nobody()) GTEST_SKIP() << "needs root to run the program as an unprivileged user";
    ScratchDir dir;
    dir.write("t.dbf", sample().bytes());
    dir.write("x.htm", "kept\n");
    RunResult r = dir.run({"t.dbf", "/OUT:x.htm", "/S:*", "/OUT:new.txt", "/S:*", "/OUT", "/S:A"}, true);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "Can't open x.htm\nCan't open new.txt\nab |\n");
    EXPECT_EQ(dir.read("x.htm"), "kept\n");
    EXPECT_FALSE(dir.exists("new.txt"));
}

// ---- Memo fields --------------------------------------------------------------------

namespace {

// t.dbf with A C 2 and M M 10 over a FoxPro memo file, whose texts may hold any
// byte; a NUL ends a text for every reader.
struct MemoTable {
    TableImage table;
    MemoImage memo{MemoImage::FoxPro, 64};
};

MemoTable memo_table() {
    MemoTable m;
    m.table.signature = 0xF5;
    m.table.fields = {{"A", 'C', 2}, {"M", 'M', 10}};
    auto add = [&](const std::string& a, const std::string& text) {
        m.table.add({a, std::to_string(m.memo.add(text))});
    };
    add("a", "a\r\n\r\nb");
    m.table.add({"b", ""});  // no memo
    add("c", std::string("x\x1Ay\0z", 5));
    add("d", "5% \"q\" 'x' <a@b.c>");
    add("e", "\r\n\r\n");
    return m;
}

}  // namespace

TEST(Listing, MemoFields) {
    const MemoTable m = memo_table();
    const std::string kScriptHead = "use t.dbf\n";
    struct Case {
        const char* what;
        std::vector<std::string> args;
        std::string out, file, written;
    } kCases[] = {
        {"screen, summary", {"/S:*"},
         "a |Full memo |\nb |Empty memo|\nc |Full memo |\nd |Full memo |\ne |Full memo |\n", "", ""},
        {"screen, text", {"/MEMO:text", "/S:*"},
         "a |a\n\nb|\nb ||\nc |x\x1Ay|\nd |5% \"q\" 'x' <a@b.c>|\ne |\n\n|\n", "", ""},
        {"/MEMO alone is the summary again", {"/MEMO:text", "/MEMO", "/S:M;A"}, 
         "Full memo |a |\nEmpty memo|b |\nFull memo |c |\nFull memo |d |\nFull memo |e |\n", "", ""},
        {"fields layout, text", {"/FIELDS", "/MEMO:TEXT", "/S:M"},
         "M         |a\n\nb\n\nM         |\n\nM         |x\x1Ay\n\nM         |5% \"q\" 'x' <a@b.c>\n\n"
         "M         |\n\n\n\n", "", ""},
        {"sql, summary", {"/OUT:x.sql", "/S:M"}, "", "x.sql",
         "insert into \"t.dbf\" (M ) values (\"Full memo \");\n"
         "insert into \"t.dbf\" (M ) values (\"Empty memo\");\n"
         "insert into \"t.dbf\" (M ) values (\"Full memo \");\n"
         "insert into \"t.dbf\" (M ) values (\"Full memo \");\n"
         "insert into \"t.dbf\" (M ) values (\"Full memo \");\n"},
        {"sql, text", {"/MEMO:text", "/OUT:x.sql", "/S:M;A"}, "", "x.sql",
         "insert into \"t.dbf\" (M, A ) values ('a\nb\n', \"a \");\n"
         "insert into \"t.dbf\" (M, A ) values ('', \"b \");\n"
         "insert into \"t.dbf\" (M, A ) values ('x\x1Ay\n', \"c \");\n"
         "insert into \"t.dbf\" (M, A ) values ('5% \"q\" 'x' <a@b.c>\n', \"d \");\n"
         "insert into \"t.dbf\" (M, A ) values ('', \"e \");\n"},
        {"script, summary gives empty strings", {"/OUT:x.prg", "/S:M"}, "", "x.prg",
         kScriptHead +
             "append blank\nreplace ;\n\tM with ;\n\t\t\"\"\n"
             "append blank\nreplace ;\n\tM with ;\n\t\t\"\"\n"
             "append blank\nreplace ;\n\tM with ;\n\t\t\"\"\n"
             "append blank\nreplace ;\n\tM with ;\n\t\t\"\"\n"
             "append blank\nreplace ;\n\tM with ;\n\t\t\"\"\n"
             "use\t&&\tt.dbf\n\n"},
        {"script, text", {"/MEMO:text", "/OUT:x.prg", "/S:M;A"}, "", "x.prg",
         kScriptHead +
             "append blank\nreplace ;\n\tM with ;\n"
             "\t\t\"a\" + chr(13) + chr(10) +;\n\t\t\"b\" + chr(13) + chr(10) +;\n\t\t\"\", ;\n\tA with \"a \"\n"
             "append blank\nreplace ;\n\tM with ;\n\t\t\"\", ;\n\tA with \"b \"\n"
             "append blank\nreplace ;\n\tM with ;\n\t\t\"x\x1Ay\" + chr(13) + chr(10) +;\n\t\t\"\", ;\n"
             "\tA with \"c \"\n"
             "append blank\nreplace ;\n\tM with ;\n\t\t\"5% \"q\" 'x' <a@b.c>\" + chr(13) + chr(10) +;\n"
             "\t\t\"\", ;\n\tA with \"d \"\n"
             "append blank\nreplace ;\n\tM with ;\n\t\t\"\", ;\n\tA with \"e \"\n"
             "use\t&&\tt.dbf\n\n"},
        {"html, summary", {"/OUT:x.htm", "/S:M"}, "", "x.htm",
         kHtmlHead +
             "<tr valign=top><td>Full memo </td></tr>\n<tr valign=top><td>Empty memo </td></tr>\n"
             "<tr valign=top><td>Full memo </td></tr>\n<tr valign=top><td>Full memo </td></tr>\n"
             "<tr valign=top><td>Full memo </td></tr>\n</table>\n"},
        {"html, text", {"/MEMO:text", "/OUT:x.htm", "/S:M"}, "", "x.htm",
         kHtmlHead +
             "<tr valign=top><td>a <br>\n <br>\n b </td></tr>\n"
             "<tr valign=top><td>&nbsp;</td></tr>\n"
             "<tr valign=top><td>x\x1Ay </td></tr>\n"
             "<tr valign=top><td>5% &quot;q&quot; 'x' <a href=\"mailto:a@b.c\">&lt;a@b.c&gt;</a> </td></tr>\n"
             "<tr valign=top><td><br>\n <br>\n </td></tr>\n</table>\n"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        dir.write("t.dbf", m.table.bytes());
        dir.write("t.fpt", m.memo.bytes());
        std::vector<std::string> args = {"t.dbf"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        RunResult r = dir.run(args);
        EXPECT_EQ(r.out, c.out);
        if (!c.file.empty()) {
            EXPECT_EQ(dir.read(c.file), c.written);
        }
    }
}

TEST(Listing, MemoTextEdgeCases) {
    // dBase III: a text ends at its first 0x1A. An empty FoxPro text is a text,
    // not a missing one. A missing memo file is a table of empty memos.
    TableImage dbase3;
    dbase3.signature = 0x83;
    dbase3.fields = {{"M", 'M', 10}};
    MemoImage dbt(MemoImage::Dbase3);
    dbase3.add({std::to_string(dbt.add("x\x1Ay"))});

    MemoTable fox;
    fox.table.signature = 0xF5;
    fox.table.fields = {{"M", 'M', 10}};
    fox.table.add({std::to_string(fox.memo.add(""))});

    ScratchDir dir;
    dir.write("t.dbf", dbase3.bytes());
    dir.write("t.dbt", dbt.bytes());
    EXPECT_EQ(dir.run({"t.dbf", "/MEMO:text", "/S:M"}).out, "x|\n");
    dir.write("t.dbf", fox.table.bytes());
    dir.write("t.fpt", fox.memo.bytes());
    dir.run({"t.dbf", "/MEMO:text", "/OUT:x.htm", "/S:M", "/OUT:x.sql", "/S:M"});
    EXPECT_EQ(dir.read("x.htm"), kHtmlHead + "<tr valign=top><td></td></tr>\n</table>\n");
    EXPECT_EQ(dir.read("x.sql"), "insert into \"t.dbf\" (M ) values ('');\n");
    std::remove(dir.file("t.fpt").c_str());
    EXPECT_EQ(dir.run({"t.dbf", "/MEMO:text", "/S:M", "/MEMO", "/S:M"}).out, "|\nFull memo |\n");
}

// The memo file stays open through a run: a pack that replaces it and an append
// that writes to it are seen by the listings behind them.
TEST(Listing, MemoTextsFollowTheMemoFileThroughAPackAndAnAppend) {
    MemoTable m;
    m.table.signature = 0xF5;
    m.table.fields = {{"A", 'C', 1}, {"M", 'M', 10}};
    m.table.add({"x", std::to_string(m.memo.add("gone with its record"))}, true);
    m.table.add({"y", std::to_string(m.memo.add("first"))});
    m.table.add({"z", std::to_string(m.memo.add("second"))});
    ScratchDir dir;
    dir.write("t.dbf", m.table.bytes());
    dir.write("t.fpt", m.memo.bytes());
    RunResult r = dir.run({"t.dbf", "/MEMO:text", "/S:M", "/PACK", "/S:M", "/FIELD:A=\"w\";M=\"third\"", "/APPEND",
                           "/S:A;M", "+t.dbf", "/COUNT", "/S:M"});
    EXPECT_EQ(r.out,
              "gone with its record|\nfirst|\nsecond|\n"
              "first|\nsecond|\n"
              "y|first|\nz|second|\nw|third|\n"
              "6\n"
              "first|\nsecond|\nthird|\nfirst|\nsecond|\nthird|\n");
}

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
