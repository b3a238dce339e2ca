// tests/commands/concurrency_test.cpp
//
// Runs that meet at one table. Two appending at once both land whole; a run waits
// for the lock of another program, on the table or its memo file, and says so on a
// terminal only; a run whose table was replaced while it waited works on the new
// file; and an append goes behind the records another run appended since the open.
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "commands/editing/assign.h"
#include "support/cli.h"
#include "support/engine.h"
#include "support/inprocess.h"
#include "support/table_builder.h"

namespace {

using namespace std::chrono_literals;

// A classic fcntl lock on the whole file, held by this test process as another
// program would hold it.
class ClassicLock {
  public:
    explicit ClassicLock(const std::string& path) : fd_(open(path.c_str(), O_RDWR)) {
        struct flock lock{};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        EXPECT_EQ(fcntl(fd_, F_SETLK, &lock), 0);
    }
    ~ClassicLock() { release(); }
    void release() {
        if (fd_ >= 0) close(fd_);  // closing drops a classic lock
        fd_ = -1;
    }

  private:
    int fd_;
};

uint32_t header_count(const std::string& bytes) {
    uint32_t count = 0;
    if (bytes.size() >= 8) std::memcpy(&count, bytes.data() + 4, 4);
    return count;
}

std::string staff_table() { return read_file(std::string(TRUG_SOURCE_DIR) + "/examples/staff.dbf"); }

TableImage small_table() {
    TableImage t;
    t.fields = {{"NAME", 'C', 6}};
    t.add({"FIRST"});
    return t;
}

}  // namespace

TEST(Concurrency, TwoAppendingRunsLoseNoRecord) {
    ScratchDir dir;
    dir.write("staff.dbf", staff_table());
    dir.write("staff.dbt", read_file(std::string(TRUG_SOURCE_DIR) + "/examples/staff.dbt"));
    {
        Started a(dir, {"staff.dbf", "/FIELD:NAME=\"A\"", "/APPEND:5000"});
        Started b(dir, {"staff.dbf", "/FIELD:NAME=\"B\"", "/APPEND:5000"});
        EXPECT_EQ(a.wait(), 0);
        EXPECT_EQ(b.wait(), 0);
    }
    std::unique_ptr<DbfTable> table = open_table(dir.file("staff.dbf"));
    ASSERT_NE(table, nullptr);
    const std::string bytes = dir.read("staff.dbf");
    const size_t length = table->header.record_length;
    EXPECT_EQ(dbf_record_count(*table), 10005);
    EXPECT_EQ(header_count(bytes), 10005u);
    EXPECT_EQ(bytes.size(), table->header.header_length + 10005 * length + 1) << "no torn record, one end mark";
    int a = 0, b = 0;
    const std::string blank(length - 21, ' ');
    for (int32_t i = 5; i < 10005; ++i) {
        ASSERT_TRUE(dbf_read_physical(*table, i));
        std::string record(reinterpret_cast<const char*>(table->record.data()), length);
        if (record == " A" + std::string(19, ' ') + blank) ++a;
        else if (record == " B" + std::string(19, ' ') + blank) ++b;
        else ADD_FAILURE() << "record " << i << " is not whole: " << record;
    }
    EXPECT_EQ(a, 5000);
    EXPECT_EQ(b, 5000);
}

TEST(Concurrency, ARunWaitsForAnotherProgramsLockOnTableOrMemo) {
    for (const char* locked : {"staff.dbf", "staff.dbt"}) {
        SCOPED_TRACE(locked);
        ScratchDir dir;
        dir.write("staff.dbf", staff_table());
        dir.write("staff.dbt", read_file(std::string(TRUG_SOURCE_DIR) + "/examples/staff.dbt"));
        ClassicLock lock(dir.file(locked));
        int out[2];
        ASSERT_EQ(pipe(out), 0);
        Started run(dir, {"staff.dbf", "/FIELD:NOTES=\"waited\"", "/APPEND:1"}, out[1]);
        close(out[1]);
        std::this_thread::sleep_for(300ms);
        EXPECT_TRUE(run.running()) << "the run went ahead under another program's lock";
        EXPECT_EQ(dir.read("staff.dbf"), staff_table());
        lock.release();
        EXPECT_EQ(run.wait(), 0);
        char said[256];
        EXPECT_EQ(read(out[0], said, sizeof said), 0) << "a wait said something where no one watches";
        close(out[0]);
        EXPECT_EQ(header_count(dir.read("staff.dbf")), 6u);
    }
}

TEST(Concurrency, ALongWaitSaysWhoseLockOnATerminal) {
    ScratchDir dir;
    dir.write("t.dbf", small_table().bytes());
    ClassicLock lock(dir.file("t.dbf"));
    int terminal = -1, child_end = -1;
    ASSERT_EQ(openpty(&terminal, &child_end, nullptr, nullptr, nullptr), 0);
    Started run(dir, {"t.dbf", "/APPEND:1"}, child_end);
    close(child_end);
    std::string said;
    const std::string expected =
        "Waiting for \"t.dbf\", locked by process " + std::to_string(getpid()) + "...";
    for (auto waited = 0ms; waited < 5000ms && said.find(expected) == std::string::npos; waited += 50ms) {
        pollfd ready{terminal, POLLIN, 0};
        if (poll(&ready, 1, 50) > 0) {
            char bytes[256];
            ssize_t got = read(terminal, bytes, sizeof bytes);
            if (got > 0) said.append(bytes, static_cast<size_t>(got));
        }
    }
    EXPECT_NE(said.find(expected), std::string::npos) << said;
    lock.release();
    EXPECT_EQ(run.wait(), 0);
    close(terminal);
    EXPECT_EQ(header_count(dir.read("t.dbf")), 2u);
}

TEST(Concurrency, ATableReplacedDuringTheWaitIsOpenedAgain) {
    ScratchDir dir;
    dir.write("t.dbf", small_table().bytes());
    ClassicLock lock(dir.file("t.dbf"));
    Started run(dir, {"t.dbf", "/FIELD:NAME=\"LAST\"", "/APPEND:1"});
    std::this_thread::sleep_for(200ms);
    // What a sort by another program does: a new file under the table's name.
    TableImage replaced = small_table();
    replaced.add({"SECOND"});
    dir.write("new.dbf", replaced.bytes());
    ASSERT_EQ(std::rename(dir.file("new.dbf").c_str(), dir.file("t.dbf").c_str()), 0);
    lock.release();
    EXPECT_EQ(run.wait(), 0);
    std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
    ASSERT_NE(table, nullptr);
    ASSERT_EQ(dbf_record_count(*table), 3);
    ASSERT_TRUE(dbf_read_physical(*table, 1));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(table->record.data()), 7), " SECOND");
    ASSERT_TRUE(dbf_read_physical(*table, 2));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(table->record.data()), 7), " LAST  ");
}

TEST(Concurrency, AnAppendGoesBehindTheRecordsAnotherRunAppended) {
    ScratchDir dir;
    dir.write("t.dbf", small_table().bytes());
    std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
    ASSERT_NE(table, nullptr);
    run_in_process(dir, {"t.dbf", "/APPEND:3"});  // another run, after this one opened the table
    TestRun mine;
    mine.run.field_text = "NAME=\"MINE\"";
    Pass pass = mine.pass(*table);
    cmd_append(pass, "");
    std::string bytes = dir.read("t.dbf");
    EXPECT_EQ(header_count(bytes), 5u);
    std::unique_ptr<DbfTable> after = open_table(dir.file("t.dbf"));
    ASSERT_EQ(dbf_record_count(*after), 5);
    ASSERT_TRUE(dbf_read_physical(*after, 4));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(after->record.data()), 7), " MINE  ");
}
