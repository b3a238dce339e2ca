// tests/commands/concurrency_test.cpp
//
// Runs that meet at one table. Two appending at once both land whole; a run waits
// for the lock of another program, on the table or its memo file, silently off a
// terminal; a run whose table was replaced while it waited works on the new file.
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"

namespace {

using namespace std::chrono_literals;

// A classic fcntl lock on the whole file, held by this test process as another
// program would hold it; closing the descriptor drops it.
struct ClassicLock {
    int fd;
    explicit ClassicLock(const std::string& path) : fd(open(path.c_str(), O_RDWR)) {
        struct flock lock{};  // from offset 0 to the end
        lock.l_type = F_WRLCK;
        EXPECT_EQ(fcntl(fd, F_SETLK, &lock), 0);
    }
    ~ClassicLock() { release(); }
    void release() {
        if (fd >= 0) close(fd);
        fd = -1;
    }
};

uint32_t header_count(const std::string& bytes) {
    uint32_t count = 0;
    if (bytes.size() >= 8) std::memcpy(&count, bytes.data() + 4, 4);
    return count;
}

std::string sample(const char* name) { return read_file(std::string(TRUG_SOURCE_DIR) + "/examples/" + name); }

// A directory holding the example staff table and its memo file.
void lay_out_staff(const ScratchDir& dir) {
    for (const char* name : {"staff.dbf", "staff.dbt"}) dir.write(name, sample(name));
}

// NAME C 6 with these records.
TableImage names(std::initializer_list<const char*> rows) {
    TableImage t;
    t.fields = {{"NAME", 'C', 6}};
    for (const char* row : rows) t.add({row});
    return t;
}

}  // namespace

TEST(Concurrency, TwoAppendingRunsLoseNoRecord) {
    ScratchDir dir;
    lay_out_staff(dir);
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
    int of[2] = {0, 0};
    for (int32_t i = 5; i < 10005; ++i) {
        ASSERT_TRUE(dbf_read_physical(*table, i));
        std::string record(reinterpret_cast<const char*>(table->record.data()), length);
        char who = record[1];
        EXPECT_EQ(record, std::string(" ") + who + std::string(length - 2, ' ')) << "record " << i << " is not whole";
        if (who == 'A' || who == 'B') ++of[who - 'A'];
    }
    EXPECT_EQ(of[0], 5000);
    EXPECT_EQ(of[1], 5000);
}

TEST(Concurrency, ARunWaitsForAnotherProgramsLockOnTableOrMemo) {
    for (const char* locked : {"staff.dbf", "staff.dbt"}) {
        SCOPED_TRACE(locked);
        ScratchDir dir;
        lay_out_staff(dir);
        ClassicLock lock(dir.file(locked));
        int out[2];
        ASSERT_EQ(pipe(out), 0);
        Started run(dir, {"staff.dbf", "/FIELD:NOTES=\"waited\"", "/APPEND:1"}, out[1]);
        close(out[1]);
        std::this_thread::sleep_for(300ms);
        EXPECT_TRUE(run.running()) << "the run went ahead under another program's lock";
        EXPECT_EQ(dir.read("staff.dbf"), sample("staff.dbf"));
        lock.release();
        EXPECT_EQ(run.wait(), 0);
        char said[256];
        EXPECT_EQ(read(out[0], said, sizeof said), 0) << "a wait said something where no one watches";
        close(out[0]);
        EXPECT_EQ(header_count(dir.read("staff.dbf")), 6u);
    }
}

TEST(Concurrency, ATableReplacedDuringTheWaitIsOpenedAgain) {
    ScratchDir dir;
    dir.write("t.dbf", names({"FIRST"}).bytes());
    ClassicLock lock(dir.file("t.dbf"));
    Started run(dir, {"t.dbf", "/FIELD:NAME=\"LAST\"", "/APPEND:1"});
    std::this_thread::sleep_for(200ms);
    // What a sort by another program does: a new file under the table's name.
    dir.write("new.dbf", names({"FIRST", "SECOND"}).bytes());
    ASSERT_EQ(std::rename(dir.file("new.dbf").c_str(), dir.file("t.dbf").c_str()), 0);
    lock.release();
    EXPECT_EQ(run.wait(), 0);
    EXPECT_EQ(header_count(dir.read("t.dbf")), 3u);
    EXPECT_EQ(dir.read("t.dbf").substr(32), names({"FIRST", "SECOND", "LAST"}).bytes().substr(32));
}
