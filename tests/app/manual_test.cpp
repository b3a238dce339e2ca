// tests/app/manual_test.cpp
//
// The manual, the usage text, the change log and the sample tables against the program
// itself: every keyword the dispatch table knows is documented, the manual is clean
// roff, all three name the version the program prints, and examples/ holds what the
// generator writes. (The README tutorial runs with the transcripts.)
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <regex>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/table_builder.h"

namespace {

std::string source(const std::string& name) { return read_file(std::string(TRUG_SOURCE_DIR) + "/" + name); }

// The keywords of the dispatch table, read from its rows {"keyword", Rest...}
// wherever under src/ the table lies.
std::vector<std::string> dispatch_keywords() {
    const std::regex row(R"re(\{"([^"]+)", Rest)re");
    std::vector<std::string> keywords;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(std::string(TRUG_SOURCE_DIR) + "/src")) {
        const std::string text = read_file(entry.path().string());
        for (auto it = std::sregex_iterator(text.begin(), text.end(), row); it != std::sregex_iterator(); ++it)
            keywords.push_back((*it)[1]);
    }
    return keywords;
}

}  // namespace

TEST(Manual, ManualAndUsageNameEveryKeyword) {
    const std::vector<std::string> keywords = dispatch_keywords();
    ASSERT_GE(keywords.size(), 49u) << "the dispatch table's rows were not found";
    const std::string manual = source("doc/trugtool.1");
    const std::string usage = ScratchDir().run({"/?"}).out;
    for (const std::string& keyword : keywords) {
        const bool setting = keyword.back() == '=';
        std::string name = keyword;
        std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::toupper(c); });
        EXPECT_NE(manual.find(setting ? keyword : "/" + name), std::string::npos) << "manual: " << keyword;
        if (keyword.size() <= 2 || setting) continue;  // short forms, "?" and settings keys
        if (name.back() == ':') name.pop_back();
        EXPECT_NE(usage.find("/" + name), std::string::npos) << "usage: " << name;
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
    std::string line = ScratchDir().run({"/VERSION"}).out;
    std::smatch found;
    ASSERT_TRUE(std::regex_search(line, found, std::regex(R"(Version (\d+\.\d\d) )")));
    std::string version = found[1];
    EXPECT_NE(source("doc/trugtool.1").find("\"TRUGtool " + version + "\""), std::string::npos);
    EXPECT_NE(source("CHANGELOG.md").find("## " + version + " "), std::string::npos);
}

TEST(Manual, SampleTablesAreWhatTheGeneratorWrites) {
    ScratchDir dir;
    // The generator is a sibling of the program in whatever build this suite belongs to.
    const std::string program = TRUGTOOL_PATH;
    const std::string generator = program.substr(0, program.rfind('/')) + "/make_examples";
    ASSERT_EQ(std::system((generator + " " + dir.path() + " > /dev/null").c_str()), 0);
    for (const char* name : {"staff.dbf", "staff.dbt", "staff2.dbf"})
        EXPECT_EQ(dir.read(name), source(std::string("examples/") + name)) << name;
}
