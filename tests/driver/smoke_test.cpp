// tests/driver/smoke_test.cpp
#include <gtest/gtest.h>

#include "support/cli.h"

TEST(Program, VersionAnswersWithoutATable) {
    ScratchDir dir;
    RunResult r = dir.run({"/VERSION"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.rfind("Version 1.05 compiled at ", 0), 0u) << r.out;
}
