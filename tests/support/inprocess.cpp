// tests/support/inprocess.cpp
#include "support/inprocess.h"

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include "app/program.h"

namespace {

// Runs the program over a file system of `dir` that may make `budget` writes, and
// ends the process with SIGKILL at the next when `kills`; its status, output and
// the writes left.
struct Over {
    int status;
    std::string out;
    long long left;
};
Over run_over(const ScratchDir& dir, const std::vector<std::string>& args, long long budget, bool kills) {
    FileSystem fs(dir.path());
    fs.write_budget = budget;
    fs.write_budget_kills = kills;
    std::vector<std::string> copies = {"trugtool"};
    copies.insert(copies.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& arg : copies) argv.push_back(arg.data());
    argv.push_back(nullptr);
    Over result{0, "", 0};
    OutStream console(result.out);
    result.status = run_program(console, fs, static_cast<int>(argv.size() - 1), argv.data());
    console.flush();
    result.left = fs.write_budget;
    return result;
}

constexpr long long kNoEnd = 1LL << 40;

}  // namespace

InProcessResult run_in_process(const ScratchDir& dir, const std::vector<std::string>& args, long long write_budget) {
    Over run = run_over(dir, args, write_budget, false);
    return {run.status, run.out};
}

bool run_killed_at(const ScratchDir& dir, const std::vector<std::string>& args, long long change) {
    const pid_t child = fork();
    if (child == 0) run_over(dir, args, change, true), _exit(0);
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

long long count_changes(const ScratchDir& dir, const std::vector<std::string>& args) {
    return kNoEnd - run_over(dir, args, kNoEnd, true).left;
}
