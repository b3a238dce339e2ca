// tests/table/realworld_test.cpp
//
// The program on real tables from the test suites of other DBF libraries and GIS
// tools, kept outside the project in ../shared/realworld/files. Each test skips when
// the folder is not there. Tables are copied, with the files of the same name stem,
// into a scratch directory and worked on there.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

#include "support/cli.h"
#include "support/table_builder.h"

namespace fs = std::filesystem;

namespace {

std::string corpus() {
    for (const char* relative : {"/../shared/realworld/files", "/../../shared/realworld/files"}) {
        fs::path path = fs::path(TRUG_SOURCE_DIR + std::string(relative));
        std::error_code error;
        if (fs::is_directory(path, error)) return fs::canonical(path, error).string();
    }
    return "";
}

// The first file named `name` below `folder`; empty if there is none.
fs::path find_file(const fs::path& folder, const std::string& name) {
    std::error_code error;
    for (fs::recursive_directory_iterator it(folder, error), end; !error && it != end; it.increment(error))
        if (it->path().filename() == name && it->is_regular_file()) return it->path();
    return {};
}

// Copies the table and every file of its name stem, in any case, into `dir`; the
// table's name there.
std::string copy_table(const ScratchDir& dir, const fs::path& table) {
    const std::string stem = table.stem().string();
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(table.parent_path(), error)) {
        const std::string name = entry.path().filename().string();
        if (entry.path().stem().string() == stem && entry.is_regular_file())
            fs::copy_file(entry.path(), dir.file(name), fs::copy_options::overwrite_existing, error);
    }
    return table.filename().string();
}

std::string capture(const std::string& command) {
    std::string out;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return out;
    char buffer[4096];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, got);
    pclose(pipe);
    return out;
}

}  // namespace

// The tables the places where the program parted from what the table holds were
// found on, and what it shows of them now.
TEST(RealWorld, TablesOfOtherWriters) {
    const std::string root = corpus();
    if (root.empty()) GTEST_SKIP() << "the real tables are not there";
    struct Case {
        const char* what;
        const char* source;  // the corpus folder of the library the table comes from
        const char* table;   // its file name there, at any depth
        std::vector<std::string> args;
        std::string out;
    };
    const Case cases[] = {
        {"memo file in upper case", "olemb_dbfread", "memotest.dbf", {"/MEMO:text", "/S:MEMO"},
         "Alice memo|\nBob memo|\nDeleted Guy memo|\n"},
        {"memo file in upper case, FoxPro", "Valentin-Kaiser_go-dbase", "employees.dbf",
         {"/MEMO:text", "/RANGE:1", "/S:ADDRESS"}, "908 W. Capital Way|\n"},
        {"dates before 1901", "infused_dbf", "dbase_f5.dbf",
         {"/DATE:dmy", "/FILTER:DATN<\"19011213\"", "/COUNT", "/RANGE:1,2", "/S:DATN"}, "682\n30.06.1870|\n01.06.1877|\n"},
        {"date-times of 1899", "infused_dbf", "calls.dbf", {"/DATE:ymd", "/RANGE:1", "/S:CALL_TIME"},
         "1899.12.30 13:35:38|\n"},
        {"descriptors ended by 0x0A", "OSGeo_shapelib", "3dpoints.dbf", {"/COUNT", "/RANGE:22", "/S:*"},
         "22\n 3|\n"},
        {"a header alone, 33 bytes", "mbostock_shapefile", "empty.dbf", {"/COUNT", "/S:*"}, "0\n"},
        {"a header alone, 0x0A", "postgis_postgis", "ArcM.dbf", {"/COUNT"}, "0\n"},
        {"a header and one deletion mark", "infused_dbf", "polygon.dbf", {"/COUNT", "/DEL", "/S:*"}, "1\n |\n"},
        {"record length of the fields", "tmontaigu_dbase-rs", "stations_with_deleted.dbf",
         {"/TRIM:all", "/DEL", "/S:name;marker-col"},
         "*|Van Dorn Street|#0000ff|\n |Franconia-Springfield|#0000ff|\n |Federal Center SW|#0000ff|\n"
         " |Judiciary Sq|#ff0000|\n |Capitol South|#0000ff|\n |Metro Center|#ff0000|\n"},
        {"NaN in SQL", "rouault_gdal2", "nan.dbf", {"/OUT:o.sql", "/S:*", "/COUNT"}, "1\n"},
        {"lower-case logicals", "mbostock_shapefile", "boolean-property.dbf", {"/OUT:o.prg", "/RANGE:2,3", "/S:foo"},
         ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const fs::path table = find_file(fs::path(root) / c.source, c.table);
        if (table.empty()) {
            ADD_FAILURE() << "missing from the corpus: " << c.source << ", " << c.table;
            continue;
        }
        ScratchDir dir;
        std::vector<std::string> args = {copy_table(dir, table)};
        args.insert(args.end(), c.args.begin(), c.args.end());
        RunResult r = dir.run(args);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, c.out);
        if (std::string(c.what) == "NaN in SQL") {
            EXPECT_EQ(dir.read("o.sql"), "insert into \"nan.dbf\" (real ) values (NULL);\n");
        }
        if (std::string(c.what) == "lower-case logicals") {
            EXPECT_EQ(dir.read("o.prg"), "use boolean-property.dbf\nappend blank\nreplace ;\n\tfoo with .T.\n"
                                         "append blank\nreplace ;\n\tfoo with .T.\nuse\t&&\tboolean-property.dbf\n\n");
        }
    }
}

// Every table the program opens gives SQL that SQLite loads whole: the structure
// script and one row per record. Left out are tables without fields, for which SQL
// has no table, and those with two fields of one name.
TEST(RealWorld, SqlOfEveryTableLoadsIntoSqlite) {
    const std::string root = corpus();
    if (root.empty()) GTEST_SKIP() << "the real tables are not there";
    if (access("/usr/bin/sqlite3", X_OK) != 0) GTEST_SKIP() << "/usr/bin/sqlite3 is not installed";
    int loaded = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
        std::string extension = entry.path().extension().string();
        for (char& ch : extension) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
        if (!entry.is_regular_file() || extension != ".dbf") continue;
        SCOPED_TRACE(entry.path().string());
        ScratchDir dir;
        const std::string name = copy_table(dir, entry.path());
        RunResult count = dir.run({name, "/COUNT", "/STRUCT"});
        if (count.status != 0) continue;  // refused, and said so
        if (count.out.find("Field count\t\t:\t         0\n") != std::string::npos) continue;
        RunResult r = dir.run({name, "/STRUCT:s.sql", "/MEMO:text", "/OUT:s.sql", "/S:*"});
        ASSERT_EQ(r.status, 0);
        ASSERT_EQ(r.out, "");
        // In memory and in one transaction: a file would take a disk sync per insert.
        write_file(dir.file("q.sql"), ".output /dev/null\n.dbconfig dqs_dml on\n.output stdout\nBEGIN;\n" +
                                          dir.read("s.sql") + "COMMIT;\nselect count(*) from \"" + name + "\";\n");
        std::string result =
            capture("cd '" + dir.path() + "' && /usr/bin/sqlite3 -batch -bail :memory: < q.sql 2>err.txt");
        const std::string error = dir.read("err.txt");
        if (error.find("duplicate column name") != std::string::npos) continue;
        EXPECT_EQ(error, "");
        EXPECT_EQ(result, count.out.substr(0, count.out.find('\n') + 1)) << "every record is a row";
        ++loaded;
    }
    EXPECT_GT(loaded, 200);
}
