// tests/io/file_system_test.cpp
//
// The FileSystem's own promises: locks nest within one FileSystem and exclude
// another, also after another descriptor of the file closes; a published file
// appears whole or not at all, and never over another.
#include <gtest/gtest.h>

#include "io/file_system.h"
#include "support/cli.h"

TEST(FileSystem, LocksNestWithinOneFileSystemAndExcludeAnother) {
    ScratchDir dir;
    dir.write("t.dbf", "table");
    FileSystem mine(dir.path()), theirs(dir.path());
    File first = mine.open("t.dbf"), second = mine.open("t.dbf"), other = theirs.open("t.dbf");
    FileLock outer, inner, foreign;
    ASSERT_EQ(mine.try_lock(first, outer), LockStatus::Taken);
    ASSERT_EQ(mine.try_lock(second, inner), LockStatus::Taken) << "the same file through another descriptor nests";
    EXPECT_EQ(theirs.try_lock(other, foreign), LockStatus::Busy);
    inner.release();
    second.close();  // closing another descriptor of the file keeps the lock
    EXPECT_EQ(theirs.try_lock(other, foreign), LockStatus::Busy);
    outer.release();
    EXPECT_EQ(theirs.try_lock(other, foreign), LockStatus::Taken);
}

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
