// tests/export/utf8_clients_test.cpp
//
// CSV, JSON Lines and /UTF8 listings of tables in some thirty code pages, made by
// python3-dbf and read back by Python's csv and json modules and by sqlite3's
// .import --csv, each value against what python3-dbfread reads: the work is in
// utf8_clients.py beside this file, which prints what differs.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <utility>

#include "support/cli.h"

namespace {

const char* kPython = "/usr/bin/python3";  // the system's, which has dbf and dbfread
const char* kSqlite = "/usr/bin/sqlite3";

bool python_has_readers() {
    if (access(kPython, X_OK) != 0) return false;
    return std::system((std::string(kPython) + " -c 'import dbf, dbfread' > /dev/null 2>&1").c_str()) == 0;
}

// Runs the script in `mode` in a fresh directory; its status and what it printed.
std::pair<int, std::string> run_script(const std::string& mode) {
    ScratchDir dir;
    std::string command = std::string(kPython) + " " + TRUG_SOURCE_DIR + "/tests/export/utf8_clients.py " +
                          TRUGTOOL_PATH + " " + dir.path() + " " + mode + " 2>&1";
    std::string out;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return {-1, "popen failed"};
    char buffer[4096];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, got);
    return {pclose(pipe), out};
}

}  // namespace

TEST(Utf8Clients, PythonReadsWhatDbfreadReads) {
    if (!python_has_readers()) GTEST_SKIP() << kPython << " lacks python3-dbf or python3-dbfread";
    auto [status, out] = run_script("python");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(out, "");
}

TEST(Utf8Clients, SqliteImportsTheCsvIntact) {
    if (!python_has_readers()) GTEST_SKIP() << kPython << " lacks python3-dbf or python3-dbfread";
    if (access(kSqlite, X_OK) != 0) GTEST_SKIP() << "no SQL client: " << kSqlite << " is not installed";
    auto [status, out] = run_script("sqlite");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(out, "");
}
