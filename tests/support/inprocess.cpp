// tests/support/inprocess.cpp
#include "support/inprocess.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "driver/parameters.h"
#include "driver/program.h"
#include "support/table_builder.h"
#include "table/file_io.h"

namespace {

struct RunEnded {};
[[noreturn]] void end_run(int) { throw RunEnded{}; }

}  // namespace

InProcessResult run_in_process(const ScratchDir& dir, const std::vector<std::string>& args, long long write_budget) {
    InProcessResult result;
    std::vector<std::string> copies = {"trugtool"};
    copies.insert(copies.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& arg : copies) argv.push_back(arg.data());
    argv.push_back(nullptr);

    char here[4096];
    if (getcwd(here, sizeof here) == nullptr || chdir(dir.path().c_str()) != 0) {
        ADD_FAILURE() << "cannot enter " << dir.path();
        return result;
    }
    std::string out_path = dir.file(".stdout");
    std::fflush(stdout);
    int saved = dup(1);
    int sink = open(out_path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    dup2(sink, 1);
    close(sink);

    options = RunOptions{};
    state = RunState{};
    die_exit = end_run;
    file_write_budget = write_budget;
    try {
        result.status = run_program(static_cast<int>(argv.size() - 1), argv.data());
    } catch (const RunEnded&) {
        result.status = 1;
    }
    file_write_budget = -1;
    die_exit = std::exit;
    state = RunState{};

    std::fflush(stdout);
    dup2(saved, 1);
    close(saved);
    if (chdir(here) != 0) ADD_FAILURE() << "cannot return to " << here;
    result.out = read_file(out_path);
    std::remove(out_path.c_str());
    return result;
}
