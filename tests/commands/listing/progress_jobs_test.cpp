// tests/commands/listing/progress_jobs_test.cpp
//
// /PACK and listings into files on a console that is a terminal, with a clock that
// jumps a second at every look: the progress line shows and is gone before the next
// thing said; on a pipe, and for a listing onto the console, not a byte of it.
#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <pty.h>
#include <string>
#include <termios.h>
#include <thread>
#include <unistd.h>

#include "commands/listing/listing.h"
#include "commands/maintenance/maintain.h"
#include "commands/reports/reports.h"
#include "support/cli.h"
#include "support/table_builder.h"

namespace {

// A raw pseudo-terminal: what goes to `terminal` is read from `other` as it comes
// (a full terminal would stop the writer), and handed over by received().
struct Terminal {
    int other = -1;
    int terminal = -1;
    std::string bytes;
    std::thread reader;
    Terminal() {
        if (openpty(&other, &terminal, nullptr, nullptr, nullptr) != 0) return;
        termios modes{};
        tcgetattr(terminal, &modes);
        cfmakeraw(&modes);
        tcsetattr(terminal, TCSANOW, &modes);
        reader = std::thread([this] {
            char buffer[4096];
            for (;;) {
                ssize_t n = read(other, buffer, sizeof buffer);
                if (n > 0) bytes.append(buffer, static_cast<size_t>(n));
                else if (!(n < 0 && errno == EINTR)) return;  // the terminal side closed
            }
        });
    }
    ~Terminal() {
        close_terminal();
        if (other >= 0) close(other);
    }
    void close_terminal() {
        if (terminal >= 0) close(terminal);
        terminal = -1;
        if (reader.joinable()) reader.join();
    }
    // Everything written to the terminal; closes it.
    std::string received() {
        close_terminal();
        return bytes;
    }
};

struct Job {
    const char* what;
    std::vector<std::pair<const char*, const char*>> steps;  // handler, its text
    const char* shown;  // what the line starts with; null: nothing may show
};

// Runs the steps and then /COUNT on a console writing to `fd`; what the run left.
void run_steps(int fd, const Job& job) {
    ScratchDir dir;
    TableImage image;
    image.signature = 0x83;
    image.fields = {{"K", 'N', 6}, {"M", 'M', 10}};
    MemoImage memo(MemoImage::Dbase3);
    for (int i = 0; i < 3000; ++i) image.add({std::to_string(i), i % 3 ? "" : std::to_string(memo.add("x"))}, i % 2);
    dir.write("t.dbf", image.bytes());
    dir.write("t.dbt", memo.bytes());
    FileSystem fs(dir.path());
    OutStream console = OutStream::to_descriptor(fd);
    ::Run run(console, fs);
    int64_t now = 0;
    run.settings.progress_clock = [&now] { return now += 1000; };
    std::unique_ptr<DbfTable> table = dbf_open(fs, "t.dbf");
    ASSERT_TRUE(table);
    Pass pass{run, *table, console};
    for (const auto& [handler, text] : job.steps) {
        if (std::string(handler) == "out") cmd_out(pass, text);
        else if (std::string(handler) == "select") cmd_select(pass, text);
        else cmd_pack(pass, text);
    }
    cmd_count(pass);
    console.flush();
}

}  // namespace

TEST(ProgressOfLongJobs, PackAndListingsIntoFilesShowItOnATerminalOnly) {
    const Job jobs[] = {
        {"pack", {{"pack", ""}}, "\rPacking: moving records "},
        {"pack of the memo file", {{"pack", ":memo"}}, "\rPacking: rebuilding memos "},
        {"listing into a text file", {{"out", ":o.txt"}, {"select", "*"}}, "\rListing: records "},
        {"listing into a table", {{"out", ":o.dbf"}, {"select", "K"}}, "\rListing: records "},
        {"listing onto the console", {{"select", "K"}}, nullptr},
    };
    for (const Job& job : jobs) {
        SCOPED_TRACE(job.what);
        Terminal t;
        ASSERT_GE(t.terminal, 0);
        run_steps(t.terminal, job);
        const std::string bytes = t.received();
        const std::string count = job.steps[0].first == std::string("pack") && job.steps[0].second[0] == '\0'
                                      ? "1500\n"
                                      : "3000\n";
        ASSERT_GE(bytes.size(), count.size());
        EXPECT_EQ(bytes.substr(bytes.size() - count.size()), count);
        if (job.shown == nullptr) {
            EXPECT_EQ(bytes.find("\r"), std::string::npos);
            continue;
        }
        EXPECT_EQ(bytes.rfind(job.shown, 0), 0u) << bytes.substr(0, 40);
        // Wiped: blanks over the line, the cursor back at its start, then the count.
        const std::string before_count = bytes.substr(0, bytes.size() - count.size());
        ASSERT_FALSE(before_count.empty());
        EXPECT_EQ(before_count.back(), '\r');
        const size_t wipe = before_count.rfind('\r', before_count.size() - 2);
        ASSERT_NE(wipe, std::string::npos);
        EXPECT_EQ(before_count.substr(wipe + 1, before_count.size() - wipe - 2).find_first_not_of(' '),
                  std::string::npos);
    }
    // On a pipe nothing shows.
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    run_steps(pipe_ends[1], jobs[0]);
    close(pipe_ends[1]);
    char buffer[64];
    ssize_t n = read(pipe_ends[0], buffer, sizeof buffer);
    close(pipe_ends[0]);
    EXPECT_EQ(std::string(buffer, n > 0 ? static_cast<size_t>(n) : 0), "1500\n");
}
