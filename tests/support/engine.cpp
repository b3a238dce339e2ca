// tests/support/engine.cpp
#include "support/engine.h"

FileSystem& test_fs() {
    static FileSystem fs;
    return fs;
}

std::unique_ptr<DbfTable> open_table(const std::string& path) { return dbf_open(test_fs(), path); }
