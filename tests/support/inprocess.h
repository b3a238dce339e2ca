// tests/support/inprocess.h
//
// Runs the whole program inside the test process over a file system rooted in a
// scratch directory, so that the file system's write budget reaches it: a run can
// be made to lose its disk at the Nth write, or, in a child process, be killed at
// its Nth change of a file. A fatal message ends the run, not the test.
#pragma once

#include <string>
#include <vector>

#include "support/cli.h"

struct InProcessResult {
    int status = 0;  // 0, or 1 after a fatal message
    std::string out;
};

// `args` are the arguments behind the program's name. With write_budget >= 0 the
// run may make that many writes; every further write fails. With `frozen` too, the
// files stay as the last allowed write left them, truncations included, as if the
// run had been killed right behind it.
InProcessResult run_in_process(const ScratchDir& dir, const std::vector<std::string>& args,
                               long long write_budget = -1, bool frozen = false);

// Runs the program in a child process whose file system ends it with SIGKILL at its
// change number `change` (counted from 0: writes, truncations, renames, links and
// removals); true if the run was killed there, false if it ended before.
bool run_killed_at(const ScratchDir& dir, const std::vector<std::string>& args, long long change);
// The changes of files an undisturbed run makes.
long long count_changes(const ScratchDir& dir, const std::vector<std::string>& args);
