// tests/driver/readme_test.cpp
//
// The tutorial of README.md, run as it stands: every `$ trugtool ...` and `$ cat ...`
// line of its console blocks, in order, in one directory holding the sample
// tables, must print exactly the lines the README shows under it.
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/table_builder.h"

namespace {

struct Step {
    std::string command;
    std::string expected;
};

// Splits a command line as a shell would for these examples: blanks separate,
// single quotes group.
std::vector<std::string> split_words(const std::string& line) {
    std::vector<std::string> words;
    std::string word;
    bool quoted = false, started = false;
    for (char c : line) {
        if (c == '\'') {
            quoted = !quoted;
            started = true;
        } else if (c == ' ' && !quoted) {
            if (started) words.push_back(word);
            word.clear();
            started = false;
        } else {
            word += c;
            started = true;
        }
    }
    if (started) words.push_back(word);
    return words;
}

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

}  // namespace

TEST(Readme, TutorialPrintsWhatItShows) {
    std::vector<Step> steps = tutorial_steps();
    ASSERT_GE(steps.size(), 10u) << "the tutorial's console blocks were not found";
    ScratchDir dir;
    for (const char* name : {"staff.dbf", "staff.dbt", "staff2.dbf", "staff_ru.dbf"})
        dir.write(name, read_file(std::string(TRUG_SOURCE_DIR) + "/examples/" + name));
    for (const Step& step : steps) {
        SCOPED_TRACE(step.command);
        std::vector<std::string> words = split_words(step.command);
        ASSERT_FALSE(words.empty());
        if (words[0] == "cat") {
            ASSERT_EQ(words.size(), 2u);
            EXPECT_EQ(dir.read(words[1]), step.expected);
            continue;
        }
        ASSERT_EQ(words[0], "trugtool") << "the tutorial runs only trugtool and cat";
        words.erase(words.begin());
        RunResult r = dir.run(words);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, step.expected);
    }
}

TEST(Readme, SampleTablesAreWhatTheGeneratorWrites) {
    ScratchDir dir;
    // The generator is a sibling of the program in whatever build this suite belongs to.
    std::string program = TRUGTOOL_PATH;
    std::string generator = program.substr(0, program.rfind('/')) + "/make_examples";
    ASSERT_EQ(std::system((generator + " " + dir.path() + " > /dev/null").c_str()), 0);
    for (const char* name : {"staff.dbf", "staff.dbt", "staff2.dbf", "staff_ru.dbf"})
        EXPECT_EQ(dir.read(name), read_file(std::string(TRUG_SOURCE_DIR) + "/examples/" + name)) << name;
}
