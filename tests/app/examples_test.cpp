// tests/app/examples_test.cpp
//
// The examples of README.md and of the manual page, run through sh as they are
// written, so that one a user pastes does what the text says: it parses, succeeds,
// draws no complaint and leaves no stray file behind (as an unquoted '>' or ';'
// would). The tutorial's lines run in order in one directory of the sample tables
// and print what the README shows below them.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/table_builder.h"

namespace {

std::string source(const std::string& name) { return std::string(TRUG_SOURCE_DIR) + "/" + name; }

struct Example {
    std::string line, output;
};

// Example lines: in the README the tutorial's "$ " lines and their output (`tutorial`),
// or else the indented command lines and the examples of the parameter tables,
// completed with a table where they are only parameters; in the manual the lines of
// EXAMPLES.
std::vector<Example> examples(const std::string& file, bool tutorial = false) {
    std::ifstream in(source(file));
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
            found.push_back(
                {std::regex_replace(std::regex_replace(line, std::regex(R"(\\\(aq)"), "'"), std::regex(R"(\\-)"), "-")});
        else if (line.starts_with("    trugtool ") && !line.starts_with("    trugtool <"))
            found.push_back({line.substr(4, line.find("  #") - 4)});
        else if (std::regex_match(line, m, row) && line.find("What it does") == std::string::npos) {
            const std::string example = std::regex_replace(m[2].str(), std::regex(R"(\\\|)"), "|");
            found.push_back({example.starts_with("trugtool ") ? example : "trugtool staff.dbf " + example});
        }
    }
    return found;
}

void write_samples(const ScratchDir& dir) {
    for (const auto& entry : std::filesystem::directory_iterator(source("examples")))
        dir.write(entry.path().filename().string(), read_file(entry.path().string()));
}

// Runs a command line through sh in the directory, with the program found as
// `trugtool`; it prints `output`, or when that is empty no complaint.
void check_shell(const ScratchDir& dir, const std::string& line, const std::string& output = "") {
    SCOPED_TRACE(line);
    dir.write("step.sh", line + "\n");
    ASSERT_EQ(std::system(("sh -n '" + dir.file("step.sh") + "' 2>/dev/null").c_str()), 0) << "not a line sh takes";
    const std::string command =
        "cd '" + dir.path() + "' && PATH='" + dir.path() + "':\"$PATH\" TZ=UTC sh step.sh > out.txt 2>err.txt";
    const int raw = std::system(command.c_str());
    EXPECT_TRUE(WIFEXITED(raw) && WEXITSTATUS(raw) == 0);
    EXPECT_EQ(dir.read("err.txt"), "");
    const std::string out = dir.read("out.txt");
    if (!output.empty()) EXPECT_EQ(out, output);
    else for (const char* complaint : {"Unknown function", "Invalid", "Error in", "required", "Can't"})
        EXPECT_EQ(out.find(complaint), std::string::npos) << out;
    // A redirection or a command the shell took from an unquoted parameter leaves a
    // file without an extension behind.
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
        const std::string name = entry.path().filename().string();
        if (name != "trugtool") EXPECT_NE(name.find('.'), std::string::npos) << "stray file " << name;
    }
}

}  // namespace

TEST(Examples, EveryExampleRunsInAShellAsWritten) {
    const std::vector<Example> tutorial = examples("README.md", true);
    ASSERT_GE(tutorial.size(), 10u) << "the tutorial's console blocks were not found";
    ScratchDir dir;
    write_samples(dir);
    for (const Example& step : tutorial) check_shell(dir, step.line, step.output);
    const std::vector<Example> readme = examples("README.md"), manual = examples("doc/trugtool.1");
    ASSERT_GE(readme.size(), 40u) << "the README's examples were not found";
    ASSERT_GE(manual.size(), 5u) << "the manual's examples were not found";
    for (const std::vector<Example>* list : {&readme, &manual})
        for (const auto& [example, output] : *list) {
            ScratchDir own;
            write_samples(own);
            // An example on a table of its own ("old.dbf") is only read by the shell.
            const std::string table = example.substr(9, example.find(' ', 9) - 9);
            if (table.ends_with(".dbf") && table.find('/') == std::string::npos && !own.exists(table)) {
                own.write("step.sh", example + "\n");
                EXPECT_EQ(std::system(("sh -n '" + own.file("step.sh") + "' 2>/dev/null").c_str()), 0) << example;
            } else {
                check_shell(own, example);
            }
        }
}
