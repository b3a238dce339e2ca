// tests/commands/maintenance/maintain_test.cpp
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/inprocess.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

// NAME C 6, N N 3, one record per name; the ones marked with '*' deleted.
TableImage names(const std::vector<std::pair<std::string, std::string>>& rows, uint8_t signature = 0x03) {
    TableImage t;
    t.signature = signature;
    t.fields = {{"NAME", 'C', 6}, {"N", 'N', 3}};
    for (const auto& [name, n] : rows) t.add({name[0] == '*' ? name.substr(1) : name, n}, name[0] == '*');
    return t;
}

const std::vector<std::pair<std::string, std::string>> kRows = {
    {"pear", "2"}, {"*apple", "9"}, {"fig", "1"}, {"apple", "3"}, {"kiwi", "2"}};

// The records of a table file, each as its bytes without the header.
std::vector<std::string> records_of(const std::string& bytes) {
    std::vector<std::string> out;
    if (bytes.size() < 12) return out;
    size_t header = static_cast<uint8_t>(bytes[8]) | static_cast<uint8_t>(bytes[9]) << 8;
    size_t length = static_cast<uint8_t>(bytes[10]) | static_cast<uint8_t>(bytes[11]) << 8;
    for (size_t at = header; at + length <= bytes.size(); at += length) out.push_back(bytes.substr(at, length));
    return out;
}

std::vector<std::string> records_in_order(const TableImage& image, const std::vector<int>& order) {
    std::vector<std::string> out;
    for (int i : order) out.push_back(image.records[static_cast<size_t>(i)]);
    return out;
}

int mode_of(const std::string& path) {
    struct stat st {};
    stat(path.c_str(), &st);
    return static_cast<int>(st.st_mode & 0777);
}

}  // namespace

TEST(Maintain, ParametersWithoutWhatTheyNeedSayWhy) {
    struct Case { const char* parameter; const char* out; };
    const Case cases[] = {
        {"/PACK:xyz", "Invalid pack parameter...\n"},
        {"/TRUNC:", "Parameter required for trunc...\n"},
        {"/MAKE:", "Filename required for make...\n"},
        {"/SORT:", "Field[s] required for sort...\n"},
        {"/SORT:nosuch;NAME", "Invalid field[s]...\n"},
        {"/MAKE:nodir/x.dbf", "Can't create \"nodir/x.dbf\"\n"},
        {"/MAKE:t.dbf", "Can't create \"t.dbf\"\n"},  // never the table itself
    };
    const std::string original = names(kRows).bytes();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.parameter);
        ScratchDir dir;
        dir.write("t.dbf", original);
        RunResult r = dir.run({"t.dbf", c.parameter});
        EXPECT_EQ(r.out, c.out);
        EXPECT_EQ(dir.read("t.dbf"), original);
    }
}

TEST(Maintain, PackModeStaysAndTruncZeroIsZap) {
    ScratchDir dir;
    dir.write("t.dbf", names(kRows).bytes());
    dir.write("u.dbf", names(kRows).bytes());
    EXPECT_EQ(dir.run({"t.dbf", "/PACK:MEMO", "/PACK"}).out, "");
    EXPECT_EQ(records_of(dir.read("t.dbf")).size(), 5u) << "memo-only packs keep deleted records";
    dir.run({"t.dbf", "/PACK:dbf"});
    EXPECT_EQ(records_of(dir.read("t.dbf")), records_in_order(names(kRows), {0, 2, 3, 4}));
    dir.run({"t.dbf", "/TRUNC:0"});
    dir.run({"u.dbf", "/ZAP"});
    EXPECT_EQ(dir.read("t.dbf"), dir.read("u.dbf"));
    EXPECT_EQ(dir.read("t.dbf").size(), 32u + 64 + 1 + 1);
}

TEST(Maintain, HeaderRepairsWriteOnlyWhenSomethingIsWrong) {
    TableImage flags = names(kRows);
    flags.table_flags = 1;
    TableImage mark = names(kRows);
    mark.code_page_mark = 0x65;
    TableImage bad_signature = names({{"a", "1"}}, 0x99);
    bad_signature.fields.push_back({"M", 'M', 10});
    const struct { const char* parameter; TableImage image; size_t offset; uint8_t expected; } cases[] = {
        {"/CDX", flags, 28, 0}, {"/CPZERO", mark, 29, 0}, {"/CHECK", bad_signature, 0, 0xF5}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.parameter);
        ScratchDir dir;
        dir.write("t.dbf", c.image.bytes());
        EXPECT_EQ(dir.run({"t.dbf", c.parameter}).out, "");
        std::string after = dir.read("t.dbf");
        EXPECT_EQ(static_cast<uint8_t>(after[c.offset]), c.expected);
        EXPECT_NE(after[1], 101) << "the date is stamped";
        // Repaired, the table gives nothing more to write, date included.
        after.replace(1, 3, "\x01\x01\x01");
        dir.write("t.dbf", after);
        dir.run({"t.dbf", c.parameter});
        EXPECT_EQ(dir.read("t.dbf"), after);
    }
}

TEST(Maintain, MakeCreatesAnEmptyCopyWithItsMemoFile) {
    ScratchDir dir;
    TableImage image = names({{"a", "1"}}, 0x8B);
    image.fields.push_back({"NOTE", 'M', 10});
    dir.write("t.dbf", image.bytes());
    dir.write("t.dbt", "memo");
    EXPECT_EQ(dir.run({"t.dbf", "/MAKE:copy.dbf", "/MAKE:t.DBF"}).out, "Can't create \"t.DBF\"\n")
        << "its memo file would be the table's own";
    EXPECT_EQ(dir.read("t.dbf"), image.bytes());
    EXPECT_EQ(dir.read("t.dbt"), "memo");
    std::string copy = dir.read("copy.dbf");
    EXPECT_EQ(copy.size(), 32u + 3 * 32 + 1);
    EXPECT_EQ(static_cast<uint8_t>(copy[0]), 0x8B);
    EXPECT_EQ(dir.read("copy.dbt").size(), 512u);
}

TEST(Maintain, SortRewritesTheTableAndKeepsABackup) {
    struct Case {
        const char* what;
        std::vector<std::string> parameters;
        std::vector<int> order;
    };
    const Case cases[] = {
        {"one key, deleted records included", {"/SORT:NAME"}, {1, 3, 2, 4, 0}},
        {"two keys", {"/SORT:N;NAME"}, {2, 4, 0, 3, 1}},
        {"comma separated", {"/SORT:N,NAME"}, {2, 4, 0, 3, 1}},
        {"an unknown later name ends the list", {"/SORT:N;nosuch;NAME"}, {2, 0, 4, 3, 1}},
        {"descending", {"/DESC", "/SORT:NAME"}, {0, 4, 2, 3, 1}},
        {"filter and order dropped", {"/FILTER:N=2", "/ORDER:N", "/SORT:NAME"}, {1, 3, 2, 4, 0}},
    };
    const TableImage image = names(kRows);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        dir.write("t.dbf", image.bytes());
        chmod(dir.file("t.dbf").c_str(), 0600);
        std::vector<std::string> args = {"t.dbf"};
        args.insert(args.end(), c.parameters.begin(), c.parameters.end());
        args.push_back("/COUNT");
        EXPECT_EQ(dir.run(args).out, "5\n");
        std::string sorted = dir.read("t.dbf");
        EXPECT_EQ(records_of(sorted), records_in_order(image, c.order));
        EXPECT_EQ(static_cast<uint8_t>(sorted[0]), 0x83) << "the copy's signature follows the memo family";
        EXPECT_EQ(sorted.substr(4, 4), le32(5));
        EXPECT_EQ(mode_of(dir.file("t.dbf")), 0600) << "the sorted table keeps its permissions";
        EXPECT_EQ(dir.read("t.bak"), image.bytes());
        EXPECT_FALSE(dir.exists("t.tmp"));
    }
}

TEST(Maintain, SortOfATableElsewhereLeavesItsBackupHere) {
    ScratchDir dir;
    mkdir(dir.file("sub").c_str(), 0755);
    dir.write("sub/t.dbf", names(kRows).bytes());
    dir.write("t.bak", "an older backup");
    EXPECT_EQ(dir.run({"sub/t.dbf", "/SORT:NAME", "/SELECT:NAME"}).out,
              "apple |\napple |\nfig   |\nkiwi  |\npear  |\n");
    EXPECT_EQ(dir.read("t.bak"), names(kRows).bytes());
    EXPECT_FALSE(dir.exists("t.tmp") || dir.exists("sub/t.bak"));
}

TEST(Maintain, SortOfAnUnknownMemoFamilyKeepsItsSignature) {
    ScratchDir dir;
    TableImage image = names({}, 0xE5);
    image.fields.push_back({"NOTE", 'M', 10});
    image.add({"b", "1", "7"});
    image.add({"a", "2", "9"});
    dir.write("t.dbf", image.bytes());
    dir.run({"t.dbf", "/SORT:NAME"});
    std::string sorted = dir.read("t.dbf");
    EXPECT_EQ(static_cast<uint8_t>(sorted[0]), 0xE5) << "the records go on naming the .smt file";
    EXPECT_EQ(records_of(sorted), records_in_order(image, {1, 0}));
}

TEST(Maintain, SortFailuresLeaveTheTableWhole) {
    TableImage odd_logical = names({}, 0x03);
    odd_logical.fields.push_back({"OK", 'L', 3});  // a new table stores L in one byte
    odd_logical.add({"b", "1", "yes"});
    TableImage empty_field;  // a new table of this field would have records of 1 byte
    empty_field.fields = {{"NAME", 'C', 0}};
    empty_field.record_length = 2;
    empty_field.records = {"  ", "  "};
    struct Case {
        const char* what;
        TableImage image;
        const char* directory;  // made beside the table first
        std::string out;
    };
    const Case cases[] = {
        {"temporary file not creatable", names(kRows), "t.tmp", "Can't create \"t.tmp\"\n"},
        {"temporary table not openable", empty_field, nullptr, "Can''t open temporary file...\n"},
        {"the first rename fails", names(kRows), "t.bak/full",
         "Can't rename \"t.dbf\" to \"t.bak\", table not sorted\n"},
        {"record layout would change", odd_logical, nullptr,
         "Can't keep the record layout of \"t.dbf\", table not sorted\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        dir.write("t.dbf", c.image.bytes());
        if (c.directory) std::filesystem::create_directories(dir.file(c.directory));
        EXPECT_EQ(dir.run({"t.dbf", "/SORT:NAME"}).out, c.out);
        EXPECT_EQ(dir.read("t.dbf"), c.image.bytes());
        struct stat st {};
        EXPECT_TRUE(stat(dir.file("t.tmp").c_str(), &st) != 0 || S_ISDIR(st.st_mode)) << "no copy left behind";
    }
}

TEST(Maintain, SortWithFailingWritesLeavesOriginalOrCompleteCopy) {
    const TableImage image = names(kRows);
    const std::vector<std::string> sorted = records_in_order(image, {1, 3, 2, 4, 0});
    std::string out;
    int budget = 0;
    for (; budget < 50; ++budget) {
        SCOPED_TRACE(budget);
        ScratchDir dir;
        dir.write("t.dbf", image.bytes());
        out = run_in_process(dir, {"t.dbf", "/SORT:NAME"}, budget).out;
        EXPECT_FALSE(dir.exists("t.tmp"));
        if (out.empty()) {
            EXPECT_EQ(records_of(dir.read("t.dbf")), sorted);
            break;
        }
        EXPECT_TRUE(out == "Can't create \"t.tmp\"\n" || out == "Can't write \"t.tmp\", table not sorted\n") << out;
        EXPECT_EQ(dir.read("t.dbf"), image.bytes());
    }
    // The new table in one write, the records in one block, the header.
    EXPECT_EQ(budget, 3);
}

TEST(Maintain, ReadOnlyTablesStayByteIdentical) {
    if (!can_run_as_nobody()) GTEST_SKIP() << "needs root to run the program as another user";
    struct Case { const char* parameter; const char* out; };
    const Case cases[] = {
        {"/PACK", ""}, {"/PACK:memo", ""}, {"/TRUNC:1", ""}, {"/ZAP", ""}, {"/CDX", ""}, {"/CPZERO", ""},
        {"/CHECK", ""}, {"/SORT:NAME", "Can't create \"t.tmp\"\n"}, {"/MAKE:x.dbf", "Can't create \"x.dbf\"\n"},
    };
    TableImage image = names({}, 0x99);  // a repaired signature for /CHECK to write
    image.fields.push_back({"NOTE", 'M', 10});
    image.add({"b", "1", "8"});
    image.add({"a", "2", "8"}, true);
    image.table_flags = 1;
    image.code_page_mark = 0x65;
    MemoImage memo(MemoImage::FoxPro, 64);
    memo.add("text");
    for (bool writable_directory : {false, true}) {
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(c.parameter) + (writable_directory ? " in a writable directory" : ""));
            ScratchDir dir;
            dir.write("t.dbf", image.bytes());
            dir.write("t.fpt", memo.bytes());
            if (writable_directory) chmod(dir.path().c_str(), 0777);
            RunResult r = dir.run({"t.dbf", c.parameter}, true);
            EXPECT_EQ(r.status, 0);
            if (!writable_directory) {
                EXPECT_EQ(r.out, c.out);
            } else if (std::string(c.parameter) == "/SORT:NAME") {
                EXPECT_EQ(r.out, "Table \"t.dbf\" is read-only, not sorted\n");
            }
            EXPECT_EQ(dir.read("t.dbf"), image.bytes());
            EXPECT_EQ(dir.read("t.fpt"), memo.bytes());
            EXPECT_FALSE(dir.exists("t.tmp") || dir.exists("t.~pt"));
        }
    }
}

// ---- Files this program writes, read by an independent reader ---------------------

namespace {

// Debian's python3-dbfread prints the fields and then every live and every deleted
// record. Its dBase IV memo reader takes the block head's size for the text alone
// and so reads 8 bytes too far, into the zero gap behind the text: trailing NULs go.
const char kReader[] = R"(import sys
import dbfread
table = dbfread.DBF(sys.argv[1], encoding='cp866', char_decode_errors='strict')
print('fields ' + ' '.join('%s:%s:%d:%d' % (f.name, f.type, f.length, f.decimal_count) for f in table.fields))
def show(value):
    if isinstance(value, str):
        return repr(value.rstrip('\x00'))
    if hasattr(value, 'isoformat'):
        return value.isoformat()
    return repr(value)
for kind, records in (('live', table.records), ('deleted', table.deleted)):
    for record in records:
        print(kind + ' ' + '|'.join(show(v) for v in record.values()))
)";

bool have_dbfread() { return std::system("/usr/bin/python3 -c 'import dbfread' >/dev/null 2>&1") == 0; }

std::string read_with_dbfread(const ScratchDir& dir, const std::string& table) {
    dir.write("read_dbf.py", kReader);
    std::string command = "/usr/bin/python3 " + dir.file("read_dbf.py") + " " + dir.file(table) + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return "popen failed";
    std::string out;
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    pclose(pipe);
    return out;
}

struct Family {
    const char* what;
    uint8_t signature;
    MemoImage::Layout layout;
    int block_size;
    const char* memo_name;
    int memo_width;
};

// dbfread reads dBase IV memos with 512-byte blocks whatever the header says.
const Family kFamilies[] = {
    {"dBase III", 0x83, MemoImage::Dbase3, 512, "t.dbt", 10},
    {"dBase IV", 0x8B, MemoImage::Dbase4, 512, "t.dbt", 10},
    {"FoxPro", 0xF5, MemoImage::FoxPro, 64, "t.fpt", 10},
    {"Visual FoxPro", 0x30, MemoImage::FoxPro, 64, "t.fpt", 4},
};

struct MemoTable {
    TableImage image;
    MemoImage memo;
    explicit MemoTable(const Family& f) : memo(f.layout, f.block_size) {
        image.signature = f.signature;
        image.fields = {{"NAME", 'C', 8}, {"AMOUNT", 'N', 7, 2}, {"BORN", 'D', 8}, {"OK", 'L', 1},
                        {"NOTE", 'M', f.memo_width}};
        memo.add("a text no record uses");
        auto block = [&](const std::string& text) {
            int32_t number = text.empty() ? 0 : memo.add(text);
            return f.memo_width == 4 ? le32(number) : (number ? std::to_string(number) : "");
        };
        image.add({"smith", "12.50", "20010314", "T", block("first memo")});
        image.add({"gone", "1.00", "19991231", "F", block("deleted text")}, true);
        image.add({"adams", "-3.25", "19700101", "F", block("line one\r\nline two")});
        image.add({"brown", "0.00", "", " ", block("")});
        image.add({"clark", "100.00", "20380101", "Y", block("fourth")});
    }
};

const char kSmith[] = "live 'smith'|12.5|2001-03-14|True|'first memo'\n";
const char kGone[] = "'gone'|1.0|1999-12-31|False|'deleted text'\n";
const char kAdams[] = "live 'adams'|-3.25|1970-01-01|False|'line one\\r\\nline two'\n";
const char kBrown[] = "live 'brown'|0.0|None|None|None\n";
const char kClark[] = "live 'clark'|100.0|2038-01-01|True|'fourth'\n";

std::string fields_line(const Family& f) {
    return "fields NAME:C:8:0 AMOUNT:N:7:2 BORN:D:8:0 OK:L:1:0 NOTE:M:" + std::to_string(f.memo_width) + ":0\n";
}

}  // namespace

TEST(Interoperability, SortedPackedAndMadeTablesReadInDbfread) {
    if (!have_dbfread()) GTEST_SKIP() << "python3-dbfread is not installed (/usr/bin/python3 -c 'import dbfread')";
    for (const Family& f : kFamilies) {
        SCOPED_TRACE(f.what);
        MemoTable source(f);
        {
            SCOPED_TRACE("/SORT:");
            ScratchDir dir;
            dir.write("t.dbf", source.image.bytes());
            dir.write(f.memo_name, source.memo.bytes());
            EXPECT_EQ(dir.run({"t.dbf", "/SORT:NAME"}).out, "");
            EXPECT_EQ(read_with_dbfread(dir, "t.dbf"),
                      fields_line(f) + kAdams + kBrown + kClark + kSmith + "deleted " + kGone);
        }
        {
            SCOPED_TRACE("/PACK");
            ScratchDir dir;
            dir.write("t.dbf", source.image.bytes());
            dir.write(f.memo_name, source.memo.bytes());
            EXPECT_EQ(dir.run({"t.dbf", "/PACK"}).out, "");
            EXPECT_EQ(read_with_dbfread(dir, "t.dbf"), fields_line(f) + kSmith + kAdams + kBrown + kClark);
            EXPECT_EQ(dir.read(f.memo_name).find("no record uses"), std::string::npos);
        }
        {
            SCOPED_TRACE("/MAKE:");
            ScratchDir dir;
            dir.write("t.dbf", source.image.bytes());
            dir.write(f.memo_name, source.memo.bytes());
            EXPECT_EQ(dir.run({"t.dbf", "/MAKE:copy.dbf"}).out, "");
            EXPECT_EQ(read_with_dbfread(dir, "copy.dbf"), fields_line(f));
        }
    }
}
