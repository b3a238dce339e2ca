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
    for (int i = 0; i < records; ++i) t.add({std::to_string(i), std::to_string(i)});
    return t.bytes();
}

}  // namespace

TEST(ProgramStart, DashDashVersionAloneIsTheVersionLine) {
    ScratchDir dir;
    dir.write("a.dbf", table_of(3));
    RunResult r = dir.run({"--version"});
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(r.out.starts_with("Version 1.05 compiled at "));
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1);
    EXPECT_EQ(r.out, dir.run({"/VERSION"}).out);
    // An absolute table alone, like any table alone, shows the usage.
    EXPECT_TRUE(dir.run({dir.file("a.dbf")}).out.starts_with("TRUG Command Line utility. Version 1.05\n"));
}

// Before the first parameter, an argument that starts with '/' and names an existing
// file is a table; every other one is a parameter. Names given to parameters take
// absolute paths as they take any other. "~" stands for the scratch directory.
TEST(TablePass, AbsolutePathsNameTables) {
    const struct { std::vector<std::string> args; std::string out; } calls[] = {
        {{"~/a.dbf", "b.dbf", "~/b.dbf", "/NAME", "/COUNT"}, "       3|~/a.dbf\n       5|b.dbf\n       5|~/b.dbf\n"},
        {{"a.dbf", "/COUNT", "~/b.dbf"}, "3\nUnknown function: [~b.dbf].\n"},  // behind the first parameter
        {{"~/nosuch.dbf", "/COUNT"}, ""},
        {{"~/", "/COUNT"}, ""},
        {{"~/h/a.dbf", "/COUNT"}, "3\n"},  // a directory beginning with h is no /h
        {{"~/h/version", "/COUNT"}, "3\n"},
        {{"a.dbf", "/OUT:~/h/x.txt", "/S:NAME", "/STRUCT:~/h/s.txt", "@~/h/c.lst"}, "3\n"},
        {{"a.dbf", "/CMP:~/b.dbf", "/CMP:", "+~/b.dbf", "/MAKE:~/h/new.dbf", "/COUNT"}, "8\n"},
    };
    for (const auto& c : calls) {
        ScratchDir dir;
        dir.write("a.dbf", table_of(3));
        dir.write("b.dbf", table_of(5));
        ASSERT_EQ(mkdir(dir.file("h").c_str(), 0755), 0);
        dir.write("h/a.dbf", table_of(3));
        dir.write("h/version", table_of(3));
        dir.write("h/c.lst", "/COUNT\n");
        // "~/" is the directory and its slash; "~" alone, the directory without its
        // leading slash, as an unknown function shows it.
        auto placed = [&](std::string text) {
            for (size_t at = text.find('~'); at != std::string::npos; at = text.find('~', at)) {
                const std::string by = text.compare(at, 2, "~/") == 0 ? dir.path() : dir.path().substr(1) + "/";
                text.replace(at, 1, by);
                at += by.size();
            }
            return text;
        };
        std::vector<std::string> args;
        for (const std::string& arg : c.args) args.push_back(placed(arg));
        const RunResult r = dir.run(args);
        EXPECT_EQ(r.status, 0) << c.args[1];
        EXPECT_EQ(r.out, placed(c.out)) << c.args[1];
        if (c.args[1].starts_with("/OUT")) {
            EXPECT_EQ(dir.read("h/x.txt"), "0         |\n1         |\n2         |\n");
            EXPECT_NE(dir.read("h/s.txt").find("Record count\t\t:\t         3\n"), std::string::npos);
        }
        if (c.args[1].starts_with("/CMP")) EXPECT_EQ(dir.read("h/new.dbf").size(), 32u + 2 * 32 + 1);
    }
}
