// tests/commands/listing/listing_test.cpp
//
// The export loop in process: record lists and a target table; and the exit status
// of listings whose output is lost, which needs a shell's redirection.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
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

// Every target, under every setting that changes a rendering, writes the same bytes
// whether records go the quick ways or the plain one, on values chosen to trip the
// quick ways: quotes, CR, NUL, blanks, bytes beyond ASCII, negative zero, numbers
// too long or in no printed form, dates out of range, blank and odd memo numbers.
TEST(Listing, QuickWaysWriteWhatThePlainWayWrites) {
    ScratchDir dir;
    TableImage t;
    t.fields = {{"C", 'C', 8}, {"N", 'N', 10, 2}, {"K", 'N', 4}, {"D", 'D', 8}, {"L", 'L', 1},
                {"I", 'I', 4}, {"M", 'M', 10}, {"T", 'T', 14}, {"W", 'C', 20}, {"G", 'N', 12}};
    const std::string nul(1, '\0');
    const std::vector<std::vector<std::string>> values = {
        {"ab  ", "say \"hi\"", "a\rb", "x" + nul + "y", "   lead", "\xC4\xE9 x", "a,b", "", "        "},
        {"  -4000.00", "     -0.00", "      0.00", "    1.2345", "  1e5     ", "9999999.99", "          ", "  00.50"},
        {"  -0", "  07", "9999", "    ", " 1.5"},
        {"20010314", "        ", "19011213", "20380119", "19700101", "20010230", "abcdefgh", "00000000", "20010300",
         "20011301"},
        {"T", "?", " ", "y", "n"},
        {le32(0), le32(-1), le32(2147483647), le32(-2147483647 - 1), le32(-99999999), le32(123456789)},
        {"", "         1", "0", "  0000", "-1", " 12 3", "\t5", "abc"},
        {"20010314235959", "19691231235959", "              ", "20010314999999", "200103141230xx"},
        {"www.example.org", "a  b", "<b>&amp;", "mail@host", "Sofia", "  ", "x"},
        {"  9999999999", "  -123456789", "          -0", "           0", "  2147483648", "   123456789"},
    };
    for (size_t r = 0; r < 12; ++r) {
        std::string record = r % 5 == 4 ? "*" : " ";
        for (size_t f = 0; f < t.fields.size(); ++f) {
            std::string value = values[f][r % values[f].size()];
            value.resize(static_cast<size_t>(t.fields[f].length), ' ');
            record += value;
        }
        t.records.push_back(record);
    }
    dir.write("t.dbf", t.bytes());
    std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
    ASSERT_NE(table, nullptr);

    const struct {
        OutputKind kind;
        const char* name;
    } kTargets[] = {{OutputKind::Text, "o.txt"}, {OutputKind::Sql, "o.sql"}, {OutputKind::Html, "o.htm"},
                    {OutputKind::Program, "o.prg"}, {OutputKind::Csv, "o.csv"}, {OutputKind::Table, "o.dbf"}};
    for (const auto& target : kTargets)
        for (TrimMode trim : {TrimMode::None, TrimMode::Left, TrimMode::All})
            for (DateMode date : {DateMode::Asis, DateMode::Dmy, DateMode::Ymd})
                for (int flags = 0; flags < 8; ++flags) {
                    SCOPED_TRACE(std::string(target.name) + ", trim " + std::to_string(static_cast<int>(trim)) +
                                 ", date " + std::to_string(static_cast<int>(date)) + ", flags " +
                                 std::to_string(flags));
                    table->settings.trim_mode = trim;
                    table->settings.date_mode = date;
                    dbf_set_date_delimiter(*table, date == DateMode::Dmy ? '"' : '/');
                    table->settings.ansi_text = (flags & 4) != 0;
                    std::string written[2];
                    for (int quick = 0; quick < 2; ++quick) {
                        const std::string name = dir.file(target.name);
                        std::remove(name.c_str());
                        TestRun test;
                        test.run.output = OutputTarget{target.kind, name};
                        test.run.settings.show_deletion_mark = (flags & 1) != 0;
                        test.run.settings.memo_as_text = (flags & 2) != 0;
                        test.run.settings.quick_listings = quick == 1;
                        Pass pass = test.pass(*table);
                        cmd_select(pass, "*");
                        written[quick] = read_file(name);
                    }
                    EXPECT_EQ(written[1], written[0]);
                    EXPECT_FALSE(written[0].empty());
                }
}

// Output that cannot be written: the run goes on as it would, with its messages,
// and its exit status says that something was lost.
TEST(Listing, LostOutputEndsWithStatusOne) {
    struct Case {
        const char* what;
        std::string command;  // run in the scratch directory by sh
        int status;
        std::string out;      // in out.txt
    };
    const Case cases[] = {
        {"console on a full disk", "./trugtool t.dbf '/SELECT:*' /COUNT > /dev/full", 1, ""},
        {"only the count, on a full disk", "./trugtool t.dbf /COUNT > /dev/full", 1, ""},
        {"a fatal message on a full disk", "./trugtool nosuch.dbf /COUNT > /dev/full", 1, ""},
        {"a listing file on a full disk", "./trugtool t.dbf /OUT:full.txt '/S:*' /OUT /S:A /COUNT > out.txt", 1,
         "ab |\n1\n"},
        {"an SQL listing on a full disk", "./trugtool t.dbf /OUT:full.sql '/S:*' /COUNT > out.txt", 1, "1\n"},
        {"a report file on a full disk", "./trugtool t.dbf /STRUCT:full.txt /COUNT > out.txt", 1, "1\n"},
        {"a listing target that can't be opened", "./trugtool t.dbf /OUT:nodir/x.sql '/S:*' /COUNT > out.txt", 1,
         "Can't open nodir/x.sql\n1\n"},
        {"a table target that can't be made", "./trugtool t.dbf /OUT:nodir/x.dbf '/S:*' /COUNT > out.txt", 1,
         "Can't open nodir/x.dbf\n1\n"},
        {"all written", "./trugtool t.dbf /OUT:x.txt '/S:*' /COUNT > out.txt", 0, "1\n"},
        {"a pipe", "./trugtool t.dbf '/S:*' /COUNT | cat > out.txt", 0, "ab | 1.50|20010314|\n1\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        dir.write("t.dbf", sample().bytes());
        ASSERT_EQ(symlink("/dev/full", dir.file("full.txt").c_str()), 0);
        ASSERT_EQ(symlink("/dev/full", dir.file("full.sql").c_str()), 0);
        const std::string command = "cd '" + dir.path() + "' && TZ=UTC " + c.command;
        int raw = std::system(command.c_str());
        ASSERT_TRUE(WIFEXITED(raw));
        EXPECT_EQ(WEXITSTATUS(raw), c.status);
        if (!c.out.empty()) {
            EXPECT_EQ(dir.read("out.txt"), c.out);
        }
    }
}
