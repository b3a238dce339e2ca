// tests/app/examples_test.cpp
//
// The examples of README.md and of the manual page, run through sh as they are
// written, so that one a user pastes does what the text says: it parses, succeeds,
// draws no complaint and leaves no stray file behind (as an unquoted '>' or ';'
// would). The tutorial's lines run in order in one directory of the sample tables.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/table_builder.h"

namespace {

struct Step {
    std::string command;
    std::string expected;
};

std::vector<Step> tutorial_steps() {
    std::ifstream in(std::string(TRUG_SOURCE_DIR) + "/README.md");
    std::vector<Step> steps;
    std::string line;
    bool in_block = false;
    while (std::getline(in, line)) {
        if (line == "```console") {
            in_block = true;
        } else if (line == "```") {
            in_block = false;
        } else if (in_block && line.rfind("$ ", 0) == 0) {
            steps.push_back({line.substr(2), ""});
        } else if (in_block && !steps.empty()) {
            steps.back().expected += line + "\n";
        }
    }
    return steps;
}

// The names of the sample tables in examples/.
std::vector<std::string> samples() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(std::string(TRUG_SOURCE_DIR) + "/examples"))
        names.push_back(entry.path().filename().string());
    return names;
}

// True if the example works on a table of its own ("old.dbf") rather than a sample.
bool names_its_own_table(const std::string& example) {
    std::istringstream words(example);
    std::string program, table;
    words >> program >> table;
    if (table.size() < 4 || table.compare(table.size() - 4, 4, ".dbf") != 0 || table.find('/') != std::string::npos)
        return false;
    for (const std::string& name : samples())
        if (table == name) return false;
    return true;
}

void write_samples(const ScratchDir& dir) {
    for (const std::string& name : samples())
        dir.write(name, read_file(std::string(TRUG_SOURCE_DIR) + "/examples/" + name));
}

// Runs a command line through sh in the directory, with the program found as
// `trugtool`; status and standard output.
RunResult shell(const ScratchDir& dir, const std::string& line) {
    dir.write("step.sh", line + "\n");
    std::string command = "cd '" + dir.path() + "' && PATH='" + dir.path() + "':\"$PATH\" TZ=UTC sh step.sh 2>err.txt";
    RunResult r;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return r;
    char buffer[4096];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) r.out.append(buffer, got);
    int raw = pclose(pipe);
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    r.err = dir.read("err.txt");
    return r;
}

bool parses(const ScratchDir& dir, const std::string& line) {
    dir.write("parse.sh", line + "\n");
    return std::system(("sh -n '" + dir.file("parse.sh") + "' 2>/dev/null").c_str()) == 0;
}

// The examples of the README outside the tutorial: command lines of its indented
// code, and the examples of its parameter tables, completed with a table where
// they are only parameters.
std::vector<std::string> readme_examples() {
    std::ifstream in(std::string(TRUG_SOURCE_DIR) + "/README.md");
    std::vector<std::string> examples;
    std::string line;
    const std::regex row(R"(^\| `([^`]+)`.*\| `([^`]+)`[^|]*\|$)");
    while (std::getline(in, line)) {
        std::smatch m;
        if (line.rfind("    trugtool <", 0) == 0) {
            continue;  // the synopsis
        } else if (line.rfind("    trugtool ", 0) == 0) {
            std::string command = line.substr(4);
            size_t comment = command.find("  #");
            examples.push_back(command.substr(0, comment));
        } else if (std::regex_match(line, m, row) && line.find("What it does") == std::string::npos) {
            std::string example = std::regex_replace(m[2].str(), std::regex(R"(\\\|)"), "|");
            examples.push_back(example.rfind("trugtool ", 0) == 0 ? example : "trugtool staff.dbf " + example);
        }
    }
    return examples;
}

// The lines of the manual's EXAMPLES section, with the roff escapes they use undone.
std::vector<std::string> manual_examples() {
    std::ifstream in(std::string(TRUG_SOURCE_DIR) + "/doc/trugtool.1");
    std::vector<std::string> examples;
    std::string line;
    bool section = false, lines = false;
    while (std::getline(in, line)) {
        if (line.rfind(".SH", 0) == 0) {
            section = line == ".SH EXAMPLES";
        } else if (section && line == ".nf") {
            lines = true;
        } else if (section && line == ".fi") {
            lines = false;
        } else if (lines) {
            std::string plain = std::regex_replace(line, std::regex(R"(\\\(aq)"), "'");
            examples.push_back(std::regex_replace(plain, std::regex(R"(\\-)"), "-"));
        }
    }
    return examples;
}

void check_runs(const std::vector<std::string>& examples) {
    for (const std::string& example : examples) {
        SCOPED_TRACE(example);
        ScratchDir dir;
        write_samples(dir);
        ASSERT_TRUE(parses(dir, example)) << "not a command line sh takes";
        if (names_its_own_table(example)) continue;  // only the shell's reading is checked
        RunResult r = shell(dir, example);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.err, "");
        for (const char* complaint : {"Unknown function", "Invalid", "Error in", "required", "Can't"})
            EXPECT_EQ(r.out.find(complaint), std::string::npos) << r.out;
        // A redirection or a command the shell took from an unquoted parameter
        // leaves a file without an extension behind.
        for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
            std::string name = entry.path().filename().string();
            if (name != "trugtool") {
                EXPECT_NE(name.find('.'), std::string::npos) << "stray file " << name;
            }
        }
    }
}

}  // namespace

// The tutorial's lines, pasted in order into sh in one directory, all succeed; the
// transcript runner holds their output to what the README shows.
TEST(Examples, ReadmeTutorialRunsInAShell) {
    std::vector<Step> steps = tutorial_steps();
    ASSERT_GE(steps.size(), 10u) << "the tutorial's console blocks were not found";
    ScratchDir dir;
    write_samples(dir);
    for (const Step& step : steps) {
        SCOPED_TRACE(step.command);
        ASSERT_TRUE(parses(dir, step.command)) << "not a command line sh takes";
        RunResult r = shell(dir, step.command);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, step.expected);
    }
}

TEST(Examples, EveryReadmeExampleRunsInAShellAsWritten) {
    std::vector<std::string> examples = readme_examples();
    ASSERT_GE(examples.size(), 40u) << "the README's examples were not found";
    check_runs(examples);
}

TEST(Examples, EveryManualExampleRunsInAShellAsWritten) {
    std::vector<std::string> examples = manual_examples();
    ASSERT_GE(examples.size(), 5u) << "the manual's examples were not found";
    check_runs(examples);
}
