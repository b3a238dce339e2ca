// tests/io/file_system_test.cpp
//
// A file published through the FileSystem appears whole or not at all, and never
// over another.
#include <gtest/gtest.h>

#include "io/file_system.h"
#include "support/cli.h"

TEST(FileSystem, PublishedFilesAppearWholeAndNeverOverAnother) {
    ScratchDir dir;
    FileSystem fs(dir.path());
    ASSERT_TRUE(fs.publish("new.dbf", "whole", 5));
    EXPECT_FALSE(fs.publish("new.dbf", "other", 5)) << "an existing file is never replaced";
    EXPECT_EQ(dir.read("new.dbf"), "whole");
    fs.write_budget = 0;
    EXPECT_FALSE(fs.publish("failed.dbf", "bytes", 5));
    EXPECT_FALSE(dir.exists("failed.dbf")) << "a write that fails makes nothing";
}
