// tests/app/absolute_paths_test.cpp
//
// Command lines a transcript can't write: absolute paths, which name the scratch
// directory of each run, and the version line, which carries the build stamp.
#include <algorithm>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/table_builder.h"

namespace {

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

TEST(ProgramStart, DashDashVersionAloneIsTheVersionLine) {
    Dir dir;
    RunResult r = dir.run({"--version"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.rfind("Version 1.05 compiled at ", 0), 0u);
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1);
    EXPECT_EQ(r.out, dir.run({"/VERSION"}).out);
    // An absolute table alone, like any table alone, shows the usage.
    EXPECT_EQ(dir.run({dir.file("a.dbf")}).out.rfind("TRUG Command Line utility. Version 1.05\n", 0), 0u);
}

// Before the first parameter, an argument that starts with '/' and names an existing
// file is a table; every other one is a parameter. Names given to parameters take
// absolute paths as they take any other. "~" stands for the scratch directory.
TEST(TablePass, AbsolutePathsNameTables) {
    const Call calls[] = {
        {"one absolute table", {"~/a.dbf", "/COUNT"}, 0, "3\n"},
        {"absolute and relative tables", {"~/a.dbf", "b.dbf", "~/b.dbf", "/NAME", "/COUNT"}, 0,
         "       3|~/a.dbf\n       5|b.dbf\n       5|~/b.dbf\n"},
        {"an absolute table behind the first parameter is a parameter", {"a.dbf", "/COUNT", "~/b.dbf"}, 0,
         "3\nUnknown function: [~b.dbf].\n"},
        {"a path to no file is a parameter", {"~/nosuch.dbf", "/COUNT"}, 0, ""},
        {"a path to a directory is a parameter", {"~/", "/COUNT"}, 0, ""},
        {"a table under a directory beginning with h is no /h", {"~/h/a.dbf", "/COUNT"}, 0, "3\n"},
        {"a table named like an early parameter", {"~/h/version", "/COUNT"}, 0, "3\n"},
        {"listing and report files, a list", {"a.dbf", "/OUT:~/h/x.txt", "/S:NAME", "/STRUCT:~/h/s.txt", "@~/h/c.lst"},
         0, "3\n"},
        {"comparison, import, creation", {"a.dbf", "/CMP:~/b.dbf", "/CMP:", "+~/b.dbf", "/MAKE:~/h/new.dbf", "/COUNT"},
         0, "8\n"},
    };
    for (const Call& c : calls) {
        Dir dir;
        ASSERT_EQ(mkdir(dir.file("h").c_str(), 0755), 0);
        dir.write("h/a.dbf", table_of(3));
        dir.write("h/version", table_of(3));
        dir.write("h/c.lst", "/COUNT\n");
        // "~/" is the directory and its slash; "~" alone, the directory without its
        // leading slash, as an unknown function shows it.
        auto placed = [&](std::string text) {
            for (size_t at = text.find('~'); at != std::string::npos; at = text.find('~', at)) {
                const bool slash = at + 1 < text.size() && text[at + 1] == '/';
                const std::string by = slash ? dir.path() : dir.path().substr(1) + "/";
                text.replace(at, 1, by);
                at += by.size();
            }
            return text;
        };
        Call call{c.what, {}, c.status, placed(c.out)};
        for (const std::string& arg : c.args) call.args.push_back(placed(arg));
        check(dir, call);
        if (std::string(c.what).rfind("listing", 0) == 0) {
            EXPECT_EQ(dir.read("h/x.txt"), "0         |\n1         |\n2         |\n");
            EXPECT_NE(dir.read("h/s.txt").find("Record count\t\t:\t         3\n"), std::string::npos);
        }
        if (std::string(c.what).rfind("comparison", 0) == 0) {
            EXPECT_EQ(dir.read("h/new.dbf").size(), 32u + 2 * 32 + 1);
        }
    }
}

