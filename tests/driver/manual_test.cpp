// tests/driver/manual_test.cpp
//
// The manual, the usage text and the change log against the program itself: every
// keyword the dispatch table knows is documented, the manual is clean roff, and
// all three name the version the program prints.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <regex>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/table_builder.h"

namespace {

std::string source(const char* name) { return read_file(std::string(TRUG_SOURCE_DIR) + "/" + name); }

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

// The keywords of the dispatch table, read from its source.
std::vector<std::string> dispatch_keywords() {
    std::string table = source("src/app/dispatch.cpp");
    std::regex row(R"re(\{"([^"]+)", Rest)re");
    std::vector<std::string> keywords;
    for (auto it = std::sregex_iterator(table.begin(), table.end(), row); it != std::sregex_iterator(); ++it)
        keywords.push_back((*it)[1]);
    return keywords;
}

}  // namespace

TEST(Manual, NamesEveryKeyword) {
    std::vector<std::string> keywords = dispatch_keywords();
    ASSERT_EQ(keywords.size(), 51u) << "the dispatch table's rows were not found";
    std::string manual = source("doc/trugtool.1");
    for (const std::string& keyword : keywords) {
        bool setting = keyword.back() == '=';
        std::string written = setting ? keyword : "/" + upper(keyword);
        EXPECT_NE(manual.find(written), std::string::npos) << written;
    }
}

TEST(Manual, UsageNamesEveryLongKeyword) {
    ScratchDir dir;
    std::string usage = dir.run({"/?"}).out;
    for (const std::string& keyword : dispatch_keywords()) {
        if (keyword.size() <= 2 || keyword.back() == '=') continue;  // short forms, "?" and settings keys
        std::string name = upper(keyword);
        if (name.back() == ':') name.pop_back();
        EXPECT_NE(usage.find("/" + name), std::string::npos) << name;
    }
}

TEST(Manual, IsCleanRoff) {
    if (std::system("command -v groff > /dev/null 2>&1") != 0) GTEST_SKIP() << "groff is not installed";
    ScratchDir dir;
    std::string command = "groff -man -Tutf8 -ww " + std::string(TRUG_SOURCE_DIR) + "/doc/trugtool.1 > /dev/null 2> " +
                          dir.file("warnings");
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(dir.read("warnings"), "");
}

TEST(Manual, VersionIsTheProgramsEverywhere) {
    ScratchDir dir;
    std::string line = dir.run({"/VERSION"}).out;
    std::smatch found;
    ASSERT_TRUE(std::regex_search(line, found, std::regex(R"(Version (\d+\.\d\d) )")));
    std::string version = found[1];
    EXPECT_NE(source("doc/trugtool.1").find("\"TRUGtool " + version + "\""), std::string::npos);
    EXPECT_NE(source("CHANGELOG.md").find("## " + version + " "), std::string::npos);
}
