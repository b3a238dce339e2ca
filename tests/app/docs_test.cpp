// tests/app/docs_test.cpp
//
// README.md, the manual page, the usage text, the change log and the sample tables
// against the program itself. Every example runs through sh as written, so that one
// a user pastes parses, succeeds, draws no complaint and leaves no stray file behind
// (as an unquoted '>' or ';' would); the tutorial's lines run in order in one
// directory of the sample tables and print what the README shows below them. Every
// keyword the dispatch table knows is documented, the manual is clean roff, all name
// the version the program prints, and examples/ holds what the generator writes.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <sstream>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/table_builder.h"

namespace {

std::string source(const std::string& name) { return read_file(std::string(TRUG_SOURCE_DIR) + "/" + name); }

struct Example {
    std::string line, output{};
};

// Example lines: in the README the tutorial's "$ " lines and their output (`tutorial`),
// or else the indented command lines and the examples of the parameter tables,
// completed with a table where they are only parameters; in the manual the lines of
// EXAMPLES.
std::vector<Example> examples(const std::string& file, bool tutorial = false) {
    std::istringstream in(source(file));
    std::vector<Example> found;
    const std::regex row(R"(^\| `([^`]+)`.*\| `([^`]+)`[^|]*\|$)");
    bool block = false, section = false;
    for (std::string line; std::getline(in, line);) {
        std::smatch m;
        if (line.starts_with("```") || line == ".nf" || line == ".fi") block = line == "```console" || line == ".nf";
        else if (line.starts_with(".SH")) section = line == ".SH EXAMPLES";
        else if (tutorial && block && line.starts_with("$ ")) found.push_back({line.substr(2), ""});
        else if (tutorial && block && !found.empty()) found.back().output += line + "\n";
        else if (tutorial) continue;
        else if (section && block)
            found.push_back({std::regex_replace(std::regex_replace(line, std::regex(R"(\\\(aq)"), "'"), std::regex(R"(\\-)"), "-")});
        else if (line.starts_with("    trugtool ") && !line.starts_with("    trugtool <"))
            found.push_back({line.substr(4, line.find("  #") - 4)});
        else if (std::regex_match(line, m, row) && line.find("What it does") == std::string::npos) {
            const std::string example = std::regex_replace(m[2].str(), std::regex(R"(\\\|)"), "|");
            found.push_back({example.starts_with("trugtool ") ? example : "trugtool staff.dbf " + example});
        }
    }
    return found;
}

// Runs a command line through sh in a directory of the sample tables, with the
// program found as `trugtool`; it prints `output`, or when that is empty no complaint.
// An example on a table of its own ("old.dbf") is only parsed.
void check_shell(const ScratchDir& dir, const std::string& line, const std::string& output = "") {
    SCOPED_TRACE(line);
    if (!dir.exists("staff.dbf"))
        for (const auto& entry : std::filesystem::directory_iterator(std::string(TRUG_SOURCE_DIR) + "/examples"))
            dir.write(entry.path().filename().string(), read_file(entry.path().string()));
    dir.write("step.sh", line + "\n");
    ASSERT_EQ(std::system(("sh -n '" + dir.file("step.sh") + "' 2>/dev/null").c_str()), 0) << "not a line sh takes";
    const std::string table = line.substr(9, line.find(' ', 9) - 9);
    if (output.empty() && table.ends_with(".dbf") && table.find('/') == std::string::npos && !dir.exists(table)) return;
    const int raw = std::system(("cd '" + dir.path() + "' && PATH='" + dir.path() + "':\"$PATH\" TZ=UTC sh step.sh > out.txt 2>err.txt").c_str());
    EXPECT_TRUE(WIFEXITED(raw) && WEXITSTATUS(raw) == 0);
    EXPECT_EQ(dir.read("err.txt"), "");
    const std::string out = dir.read("out.txt");
    if (!output.empty()) EXPECT_EQ(out, output);
    else for (const char* complaint : {"Unknown function", "Invalid", "Error in", "required", "Can't"})
        EXPECT_EQ(out.find(complaint), std::string::npos) << out;
    // A redirection or a command the shell took from an unquoted parameter leaves a
    // file without an extension behind.
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        EXPECT_TRUE(entry.path().has_extension() || entry.path().filename() == "trugtool") << "stray file " << entry.path();
}

}  // namespace

TEST(Examples, EveryExampleRunsInAShellAsWritten) {
    const std::vector<Example> tutorial = examples("README.md", true), readme = examples("README.md"),
                               manual = examples("doc/trugtool.1");
    ASSERT_GE(tutorial.size(), 10u) << "the tutorial's console blocks were not found";
    ASSERT_GE(readme.size(), 40u) << "the README's examples were not found";
    ASSERT_GE(manual.size(), 5u) << "the manual's examples were not found";
    ScratchDir dir;
    for (const Example& step : tutorial) check_shell(dir, step.line, step.output);
    for (const std::vector<Example>* list : {&readme, &manual})
        for (const Example& example : *list) check_shell(ScratchDir(), example.line);
}

// The keywords of the dispatch table, read from its rows {"keyword", Rest...} wherever
// under src/ it lies, in the manual and (but for short forms, "?" and settings keys)
// in the usage.
TEST(Manual, ManualAndUsageNameEveryKeyword) {
    const std::regex row(R"re(\{"([^"]+)", Rest)re");
    std::vector<std::string> keywords;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(std::string(TRUG_SOURCE_DIR) + "/src")) {
        const std::string text = read_file(entry.path().string());
        for (auto it = std::sregex_iterator(text.begin(), text.end(), row); it != std::sregex_iterator(); ++it)
            keywords.push_back((*it)[1]);
    }
    ASSERT_GE(keywords.size(), 49u) << "the dispatch table's rows were not found";
    const std::string manual = source("doc/trugtool.1"), usage = ScratchDir().run({"/?"}).out;
    for (const std::string& keyword : keywords) {
        const bool setting = keyword.back() == '=';
        std::string name = keyword;
        std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::toupper(c); });
        EXPECT_NE(manual.find(setting ? keyword : "/" + name), std::string::npos) << "manual: " << keyword;
        if (keyword.size() <= 2 || setting) continue;
        if (name.back() == ':') name.pop_back();
        EXPECT_NE(usage.find("/" + name), std::string::npos) << "usage: " << name;
    }
}

// Clean roff (where groff is installed), naming the version the program prints, as
// the change log does; the sample tables are what the generator, a sibling of the
// program in whatever build this suite belongs to, writes.
TEST(Manual, IsCleanRoffOfTheProgramsVersionBesideTheGeneratedSamples) {
    ScratchDir dir;
    std::smatch found;
    const std::string line = dir.run({"/VERSION"}).out, program = TRUGTOOL_PATH;
    ASSERT_TRUE(std::regex_search(line, found, std::regex(R"(Version (\d+\.\d\d) )")));
    EXPECT_NE(source("doc/trugtool.1").find("\"TRUGtool " + found[1].str() + "\""), std::string::npos);
    EXPECT_NE(source("CHANGELOG.md").find("## " + found[1].str() + " "), std::string::npos);
    ASSERT_EQ(std::system((program.substr(0, program.rfind('/')) + "/make_examples " + dir.path() + " > /dev/null").c_str()), 0);
    for (const char* name : {"staff.dbf", "staff.dbt", "staff2.dbf"})
        EXPECT_EQ(dir.read(name), source(std::string("examples/") + name)) << name;
    if (std::system("command -v groff > /dev/null 2>&1") != 0) return;
    ASSERT_EQ(std::system(("groff -man -Tutf8 -ww " + std::string(TRUG_SOURCE_DIR) + "/doc/trugtool.1 > /dev/null 2> " +
                           dir.file("warnings")).c_str()), 0);
    EXPECT_EQ(dir.read("warnings"), "");
}
