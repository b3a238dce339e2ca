// tests/io/lock_test.cpp
//
// The locks of the FileSystem: exclusive, nested within one FileSystem, kept when
// another descriptor of the file closes, and in conflict both ways with the classic
// fcntl locks of other processes, whose holder each side can name.
#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "io/file_system.h"
#include "support/cli.h"
#include "support/table_builder.h"

namespace {

struct flock whole_file(short type) {
    struct flock lock{};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return lock;
}

// A child process that holds a classic lock on `path` until it is killed.
struct ClassicLockHolder {
    pid_t pid = -1;
    explicit ClassicLockHolder(const std::string& path) {
        int ready[2];
        if (pipe(ready) != 0) return;
        pid = fork();
        if (pid == 0) {
            int fd = open(path.c_str(), O_RDWR);
            struct flock lock = whole_file(F_WRLCK);
            char said = fd >= 0 && fcntl(fd, F_SETLK, &lock) == 0 ? 'y' : 'n';
            (void)!write(ready[1], &said, 1);
            pause();
            _exit(0);
        }
        char said = 'n';
        close(ready[1]);
        (void)!read(ready[0], &said, 1);
        close(ready[0]);
        if (said != 'y') ADD_FAILURE() << "the child could not lock";
    }
    ~ClassicLockHolder() {
        if (pid <= 0) return;
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
};

// Runs `probe` in a child process; its exit status.
template <typename Probe>
int in_child(Probe probe) {
    pid_t pid = fork();
    if (pid == 0) _exit(probe());
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

TEST(FileLocks, NestWithinOneFileSystemAndExcludeAnother) {
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
    EXPECT_FALSE(outer.held());
}

TEST(FileLocks, ReadOnlyDescriptorsTakeNone) {
    ScratchDir dir;
    dir.write("t.dbf", "table");
    FileSystem fs(dir.path());
    File file = fs.open_read("t.dbf");
    FileLock lock;
    EXPECT_EQ(fs.try_lock(file, lock), LockStatus::Unavailable);
    EXPECT_FALSE(lock.held());
}

TEST(FileLocks, ConflictWithClassicLocksOfOtherProcessesBothWays) {
    ScratchDir dir;
    dir.write("t.dbf", "table");
    FileSystem fs(dir.path());
    File file = fs.open("t.dbf");
    FileLock lock;
    {
        ClassicLockHolder holder(dir.file("t.dbf"));
        EXPECT_EQ(fs.try_lock(file, lock), LockStatus::Busy);
        EXPECT_EQ(fs.lock_holder(file), holder.pid);
    }
    ASSERT_EQ(fs.try_lock(file, lock), LockStatus::Taken) << "a holder's end frees the file";
    const pid_t me = getpid();
    const std::string path = dir.file("t.dbf");
    EXPECT_EQ(in_child([&] {
                  int fd = open(path.c_str(), O_RDWR);
                  struct flock classic = whole_file(F_WRLCK);
                  return fd >= 0 && fcntl(fd, F_SETLK, &classic) != 0 ? 0 : 1;
              }),
              0)
        << "another program's classic lock is refused";
    EXPECT_EQ(in_child([&] {
                  FileSystem theirs;
                  return theirs.lock_holder(theirs.open(path)) == me ? 0 : 1;
              }),
              0)
        << "another run names this process";
}

TEST(FileLocks, AKillingBudgetCountsRenamesAndEndsTheProcess) {
    ScratchDir dir;
    dir.write("a", "x");
    int status = 0;
    pid_t pid = fork();
    if (pid == 0) {
        FileSystem fs(dir.path());
        fs.write_budget = 1;
        fs.write_budget_kills = true;
        (void)fs.rename("a", "b");  // the one change allowed
        (void)fs.rename("b", "c");  // ends the process
        _exit(0);
    }
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    EXPECT_TRUE(dir.exists("b"));
    EXPECT_FALSE(dir.exists("c"));
}

TEST(FileLocks, PublishedFilesAppearWholeAndNeverOverAnother) {
    ScratchDir dir;
    FileSystem fs(dir.path());
    ASSERT_TRUE(fs.publish("new.dbf", "whole", 5));
    EXPECT_EQ(dir.read("new.dbf"), "whole");
    EXPECT_FALSE(fs.publish("new.dbf", "other", 5)) << "an existing file is never replaced";
    EXPECT_EQ(dir.read("new.dbf"), "whole");
    fs.write_budget = 0;
    EXPECT_FALSE(fs.publish("failed.dbf", "bytes", 5));
    EXPECT_FALSE(dir.exists("failed.dbf")) << "a write that fails makes nothing";
}
