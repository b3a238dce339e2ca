// tests/support/engine.h
//
// What unit tests of the engine share: a file system over the process's working
// directory (tests hand it absolute paths into their scratch directories) and an
// opened table.
#pragma once

#include <memory>
#include <string>

#include "io/file_system.h"
#include "commands/run.h"
#include "table/dbf.h"

// One FileSystem for the tests of the engine.
FileSystem& test_fs();
// dbf_open through test_fs(); null if the table can't be opened.
std::unique_ptr<DbfTable> open_table(const std::string& path);

// Lets the next `writes` writes through test_fs() pass and fails every one after
// them, as a disk that fills up, while it lives.
struct WriteBudget {
    explicit WriteBudget(int64_t writes) { test_fs().write_budget = writes; }
    ~WriteBudget() { test_fs().write_budget = -1; }
    WriteBudget(const WriteBudget&) = delete;
    WriteBudget& operator=(const WriteBudget&) = delete;
};

// Lets the next `writes` writes through test_fs() pass and then freezes its files,
// truncations too, as if the run were killed right there, while it lives.
struct KillAfter {
    explicit KillAfter(int64_t writes) {
        test_fs().write_budget = writes;
        test_fs().budget_freezes = true;
    }
    ~KillAfter() {
        test_fs().write_budget = -1;
        test_fs().budget_freezes = false;
    }
    KillAfter(const KillAfter&) = delete;
    KillAfter& operator=(const KillAfter&) = delete;
};

// A run whose console is a string, over test_fs(), for calling handlers directly.
struct TestRun {
    std::string said;
    OutStream console{said};
    Run run{console, test_fs()};
    // A pass of this run over `table`.
    Pass pass(DbfTable& table) { return Pass{run, table, console}; }
    // Everything the handlers said so far.
    const std::string& out() {
        console.flush();
        return said;
    }
};
