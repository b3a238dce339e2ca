// tests/support/inprocess.h
//
// Runs the whole program inside the test process, in a scratch directory, so that
// the engine's write seam (file_write_budget) reaches it: a run can be made to lose
// its disk at the Nth write. A die() ends the run, not the test.
#pragma once

#include <string>
#include <vector>

#include "support/cli.h"

struct InProcessResult {
    int status = 0;  // 0, or 1 after die
    std::string out;
};

// `args` are the arguments behind the program's name. With write_budget >= 0 the
// run may make that many writes; every further write fails.
InProcessResult run_in_process(const ScratchDir& dir, const std::vector<std::string>& args,
                               long long write_budget = -1);
