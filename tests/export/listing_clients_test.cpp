// tests/export/listing_clients_test.cpp
//
// Listings read by the programs they are written for: an HTML listing opened in a
// headless browser, an SQL listing fed to sqlite3.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

#include "support/cli.h"
#include "support/table_builder.h"

namespace {

const char* kChromium = "/usr/bin/chromium";
const char* kSqlite = "/usr/bin/sqlite3";

// Standard output of a shell command; standard error is dropped.
std::string capture(const std::string& command) {
    std::string out;
    FILE* pipe = popen((command + " 2>/dev/null").c_str(), "r");
    if (pipe == nullptr) return out;
    char buffer[4096];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, got);
    pclose(pipe);
    return out;
}

std::string percent_decode(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

// The script behind the listing reports what the browser built: the number of
// tables, then per row its cell count and cell texts, then every link.
const char* kReportScript = R"(<pre id="result"></pre>
<script>
var tables = document.getElementsByTagName('table');
var lines = ['tables=' + tables.length];
for (const row of tables[0].rows)
  lines.push(row.cells.length + ':' + Array.from(row.cells).map(c => c.textContent).join('|'));
for (const a of tables[0].getElementsByTagName('a'))
  lines.push('link=' + a.getAttribute('href') + '|' + a.textContent);
document.getElementById('result').textContent = lines.map(encodeURIComponent).join(' ');
</script></body></html>
)";

}  // namespace

TEST(ListingClients, BrowserSeesTheHtmlTable) {
    if (access(kChromium, X_OK) != 0) GTEST_SKIP() << "no headless browser: " << kChromium << " is not installed";
    ScratchDir dir;
    TableImage t;
    t.fields = {{"NAME", 'C', 6}, {"MAIL", 'C', 20}, {"NOTE", 'C', 16}, {"N", 'N', 6, 2}, {"D", 'D', 8}};
    t.add({"Ann", "ann@example.org", "a<b & \"c\">d", "1.5", "20010314"});
    t.add({"Bob", "<bob@x.org>", "www.x.org", "-2.25", "19991231"});
    t.add({"", "", "", "", ""});
    dir.write("t.dbf", t.bytes());
    dir.write("page.htm", "<!DOCTYPE html><html><head><meta charset=\"windows-1251\"></head><body>\n");
    RunResult r = dir.run({"t.dbf", "/HDR", "/OUT:page.htm", "/SELECT:*"});
    ASSERT_EQ(r.out, "");
    write_file(dir.file("page.htm"), dir.read("page.htm") + kReportScript);

    std::string profile = dir.file("profile");
    std::string dom = capture("timeout 120 " + std::string(kChromium) +
                              " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run"
                              " --disable-background-networking --disable-component-update --disable-sync"
                              " --user-data-dir=" + profile + " --dump-dom file://" + dir.file("page.htm"));
    const std::string open = "<pre id=\"result\">";
    size_t start = dom.find(open);
    ASSERT_NE(start, std::string::npos) << "the browser gave no page:\n" << dom;
    start += open.size();
    size_t end = dom.find("</pre>", start);
    ASSERT_NE(end, std::string::npos);

    std::vector<std::string> lines;
    std::string report = dom.substr(start, end - start);
    for (size_t at = 0; at <= report.size();) {
        size_t blank = report.find(' ', at);
        if (blank == std::string::npos) blank = report.size();
        lines.push_back(percent_decode(report.substr(at, blank - at)));
        at = blank + 1;
    }
    const std::string nbsp = "\xC2\xA0";  // &nbsp;, as UTF-8 through encodeURIComponent
    const std::vector<std::string> expected = {
        "tables=1",
        "5:NAME|MAIL|NOTE|N|D",
        "5:Ann |ann@example.org |a <b & \"c\"> d |1.50|20010314",
        "5:Bob |<bob@x.org> |www.x.org |-2.25|19991231",
        "5:" + nbsp + "|" + nbsp + "|" + nbsp + "|0.00|" + nbsp,
        "link=mailto:ann@example.org|ann@example.org",
        "link=mailto:bob@x.org|<bob@x.org>",
        "link=http://www.x.org|www.x.org",
    };
    EXPECT_EQ(lines, expected);
}

TEST(ListingClients, SqliteTakesEveryInsert) {
    if (access(kSqlite, X_OK) != 0) GTEST_SKIP() << "no SQL client: " << kSqlite << " is not installed";
    ScratchDir dir;
    TableImage t;
    t.fields = {{"A", 'C', 6}, {"N", 'N', 7, 2}, {"D", 'D', 8}, {"L", 'L', 1}};
    t.add({"ab'c", "1.5", "20010314", "T"});
    t.add({"x%y\xC0", "-12.25", "19991231", "N"}, true);
    t.add({"", "", "", " "});
    t.add({"zzzzzz", "1234.5", "20380119", "Y"});
    dir.write("t.dbf", t.bytes());
    dir.write("x.sql", "CREATE TABLE \"t.dbf\" (A varchar(6), N numeric(7,2), D date, L boolean);\n");
    RunResult r = dir.run({"t.dbf", "/OUT:x.sql", "/SELECT:*"});
    ASSERT_EQ(r.out, "");
    // Double-quoted values are string literals to sqlite3 unless it is told otherwise.
    std::string script = ".output /dev/null\n.dbconfig dqs_dml on\n.output stdout\n" + dir.read("x.sql") +
                         "SELECT quote(A), quote(N), quote(D), quote(L) FROM \"t.dbf\" ORDER BY rowid;\n";
    write_file(dir.file("q.sql"), script);
    std::string rows = capture(std::string(kSqlite) + " -batch -bail :memory: < " + dir.file("q.sql"));
    EXPECT_EQ(rows,
              "'ab''c  '|1.5|20010314|1\n"
              "'x%y\xC0  '|-12.25|19991231|0\n"
              "'      '|0|'        '|0\n"
              "'zzzzzz'|1234.5|20380119|1\n");
}

// A table whose text holds both kinds of quotes, ';' and '--', whose memo holds
// apostrophes, whose field names are keywords or no identifiers, with a NaN and
// lower-case logicals: SQLite loads the structure script and every insert, and
// holds what the table holds.
TEST(ListingClients, SqliteLoadsEveryValueAsTheTableHoldsIt) {
    if (access(kSqlite, X_OK) != 0) GTEST_SKIP() << "no SQL client: " << kSqlite << " is not installed";
    ScratchDir dir;
    TableImage t;
    t.signature = 0x83;
    t.fields = {{"NAME", 'C', 24}, {"ORDER", 'N', 5, 1}, {"marker-col", 'L', 1}, {"DESC", 'M', 10}};
    MemoImage memo(MemoImage::Dbase3);
    t.add({"Dublin \"IE\"", "1.5", "t", std::to_string(memo.add("it's \"x\";\r\n-- not a comment"))});
    t.add({"it's; -- 'a' \"b\" '", "nan", "y", std::to_string(memo.add("'"))});
    t.add({"\"\"''", "-2", "n", ""});
    t.add({"", "", " ", std::to_string(memo.add("plain"))});
    dir.write("t.dbf", t.bytes());
    dir.write("t.dbt", memo.bytes());
    RunResult r = dir.run({"t.dbf", "/STRUCT:x.sql", "/MEMO:text", "/OUT:x.sql", "/SELECT:*"});
    ASSERT_EQ(r.out, "");
    std::string script = ".output /dev/null\n.dbconfig dqs_dml on\n.output stdout\n" + dir.read("x.sql") +
                         "SELECT quote(NAME), quote(\"ORDER\"), quote(\"marker-col\"), "
                         "quote(replace(\"DESC\", char(10), '|')) FROM \"t.dbf\" ORDER BY rowid;\n";
    write_file(dir.file("q.sql"), script);
    std::string rows = capture(std::string(kSqlite) + " -batch -bail :memory: < " + dir.file("q.sql"));
    EXPECT_EQ(rows,
              "'Dublin \"IE\"             '|1.5|1|'it''s \"x\";|-- not a comment|'\n"
              "'it''s; -- ''a'' \"b\" ''      '|NULL|1|'''|'\n"
              "'\"\"''''                    '|-2|0|''\n"
              "'                        '|0|0|'plain|'\n");
}
