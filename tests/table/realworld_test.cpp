// tests/table/realworld_test.cpp
//
// The program on real tables from the test suites of other DBF libraries and GIS
// tools, kept outside the project in ../shared/realworld/files. The test skips when
// the folder is not there. Tables are copied, with the files of the same name stem,
// into a scratch directory and worked on there.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

#include "support/cli.h"
#include "support/table_builder.h"

namespace fs = std::filesystem;

namespace {

// The corpus beside the checkout, or beside the folder of worktrees.
std::string corpus() {
    std::error_code error;
    for (const char* up : {"..", "../.."})
        if (fs::path path = fs::path(TRUG_SOURCE_DIR) / up / "shared/realworld/files"; fs::is_directory(path, error))
            return fs::canonical(path, error).string();
    return "";
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


}  // namespace

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
        RunResult r = dir.run({name, "/COUNT", "/STRUCT:s.sql", "/MEMO:text", "/OUT:s.sql", "/S:*"});
        if (r.status != 0) continue;  // refused, and said so
        if (dir.read("s.sql").find(" (\n\t);") != std::string::npos) continue;  // no field
        // In memory and in one transaction: a file would take a disk sync per insert.
        write_file(dir.file("q.sql"), ".output /dev/null\n.dbconfig dqs_dml on\n.output stdout\nBEGIN;\n" +
                                          dir.read("s.sql") + "COMMIT;\nselect count(*) from \"" + name + "\";\n");
        const std::string sqlite = "/usr/bin/sqlite3 -batch -bail :memory: <q.sql >out.txt 2>err.txt";
        (void)!std::system(("cd '" + dir.path() + "' && " + sqlite).c_str());
        const std::string result = dir.read("out.txt"), error = dir.read("err.txt");
        if (error.find("duplicate column name") != std::string::npos) continue;
        EXPECT_EQ(error, "");
        EXPECT_EQ(result, r.out) << "every record is a row";
        ++loaded;
    }
    EXPECT_GT(loaded, 200);
}
