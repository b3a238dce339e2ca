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

#include "support/cli.h"

TEST(Utf8Clients, PythonAndSqliteReadWhatDbfreadReads) {
    if (std::system("/usr/bin/python3 -c 'import dbf, dbfread' > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "python3 lacks python3-dbf or python3-dbfread";
    ScratchDir dir;
    const std::string command = std::string("/usr/bin/python3 ") + TRUG_SOURCE_DIR + "/tests/export/utf8_clients.py " +
                                TRUGTOOL_PATH + " " + dir.path() + " > " + dir.file("said") + " 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(dir.read("said"), "");
}
