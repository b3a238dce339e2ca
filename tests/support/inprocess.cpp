// tests/support/inprocess.cpp
#include "support/inprocess.h"

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include "app/program.h"

namespace {

// Runs the program over `fs` with a string console; its status.
int run_over(FileSystem& fs, const std::vector<std::string>& args, std::string& out) {
    std::vector<std::string> copies = {"trugtool"};
    copies.insert(copies.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& arg : copies) argv.push_back(arg.data());
    argv.push_back(nullptr);
    OutStream console(out);
    int status = run_program(console, fs, static_cast<int>(argv.size() - 1), argv.data());
    console.flush();
    return status;
}

constexpr long long kNoEnd = 1LL << 40;

}  // namespace

InProcessResult run_in_process(const ScratchDir& dir, const std::vector<std::string>& args, long long write_budget,
                               bool frozen) {
    InProcessResult result;
    FileSystem fs(dir.path());
    fs.write_budget = write_budget;
    fs.budget_freezes = frozen;
    result.status = run_over(fs, args, result.out);
    return result;
}

bool run_killed_at(const ScratchDir& dir, const std::vector<std::string>& args, long long change) {
    pid_t child = fork();
    if (child == 0) {
        FileSystem fs(dir.path());
        fs.write_budget = change;
        fs.write_budget_kills = true;
        std::string out;
        run_over(fs, args, out);
        _exit(0);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) return false;
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

long long count_changes(const ScratchDir& dir, const std::vector<std::string>& args) {
    FileSystem fs(dir.path());
    fs.write_budget = kNoEnd;
    fs.write_budget_kills = true;
    std::string out;
    run_over(fs, args, out);
    return kNoEnd - fs.write_budget;
}
