// tests/support/inprocess.cpp
#include "support/inprocess.h"

#include "app/program.h"

InProcessResult run_in_process(const ScratchDir& dir, const std::vector<std::string>& args, long long write_budget,
                               bool frozen) {
    std::vector<std::string> copies = {"trugtool"};
    copies.insert(copies.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& arg : copies) argv.push_back(arg.data());
    argv.push_back(nullptr);

    InProcessResult result;
    FileSystem fs(dir.path());
    fs.write_budget = write_budget;
    fs.budget_freezes = frozen;
    OutStream console(result.out);
    result.status = run_program(console, fs, static_cast<int>(argv.size() - 1), argv.data());
    console.flush();
    return result;
}
