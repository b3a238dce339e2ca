// tests/io/progress_test.cpp
//
// The progress indicator on a pseudo-terminal, with a clock moved by hand: what a
// terminal receives and when, and that a pipe receives nothing. Then /ORDER: and
// /SORT: on a terminal: the indicator comes and goes, and the output around it
// reads as it does without it.
#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <pty.h>
#include <string>
#include <termios.h>
#include <unistd.h>

#include "commands/maintenance/maintain.h"
#include "commands/reports/reports.h"
#include "commands/selection/selection.h"
#include "io/progress.h"
#include "support/cli.h"
#include "support/table_builder.h"

namespace {

// A pseudo-terminal in raw mode: what is written to `terminal` is read back from
// the other side byte for byte.
struct Terminal {
    int other = -1;
    int terminal = -1;
    Terminal() {
        if (openpty(&other, &terminal, nullptr, nullptr, nullptr) != 0) return;
        termios modes{};
        tcgetattr(terminal, &modes);
        cfmakeraw(&modes);
        tcsetattr(terminal, TCSANOW, &modes);
        fcntl(other, F_SETFL, fcntl(other, F_GETFL) | O_NONBLOCK);
    }
    ~Terminal() {
        if (other >= 0) close(other);
        if (terminal >= 0) close(terminal);
    }
    // Everything written to the terminal since the last call.
    std::string received() const {
        std::string bytes;
        char buffer[4096];
        for (;;) {
            ssize_t n = read(other, buffer, sizeof buffer);
            if (n > 0) {
                bytes.append(buffer, static_cast<size_t>(n));
            } else if (n < 0 && errno == EINTR) {
                continue;
            } else {
                return bytes;
            }
        }
    }
};

// A clock that stands still until a test moves it.
struct HandClock {
    int64_t now = 0;
    ProgressClock clock() {
        return [this] { return now; };
    }
};

// The text on the line after the terminal has shown `bytes`: carriage returns go
// back to the start of the line and overwrite it.
std::string line_after(const std::string& bytes) {
    std::string line;
    size_t column = 0;
    for (char c : bytes) {
        if (c == '\r') {
            column = 0;
        } else {
            if (column < line.size()) line[column] = c;
            else line += c;
            ++column;
        }
    }
    return line;
}

}  // namespace

TEST(Progress, DrawsAfterASecondAndWipesItself) {
    Terminal t;
    ASSERT_GE(t.terminal, 0);
    HandClock hand;
    hand.now = 5000;
    Progress progress(t.terminal, "Sorting", hand.clock());
    progress.stage("reading", 1000);
    struct Step { int64_t at; uint64_t done; std::string received; };
    const Step kSteps[] = {
        {5100, 100, ""},                                // within the first second: quiet
        {5999, 500, ""},
        {6000, 600, "\rSorting: reading 60%"},         // a second in: drawn
        {6050, 700, ""},                                // drawn a moment ago
        {6150, 700, ""},                                // no new step: the clock is not read
        {6150, 701, "\rSorting: reading 70%"},
        {6300, 709, ""},                                // the same text is not drawn again
        {6400, 1000, "\rSorting: reading 100%"},
    };
    for (const Step& s : kSteps) {
        SCOPED_TRACE(s.at);
        hand.now = s.at;
        progress.advance(s.done);
        EXPECT_EQ(t.received(), s.received);
    }
    // A shorter text covers the rest of the longer one with blanks.
    hand.now = 6600;
    progress.stage("merging", 0);
    EXPECT_EQ(t.received(), "\rSorting: merging     \rSorting: merging");
    EXPECT_TRUE(progress.shown());
    progress.finish();
    std::string wipe = t.received();
    EXPECT_EQ(wipe, "\r" + std::string(21, ' ') + "\r");
    EXPECT_EQ(line_after(wipe), std::string(21, ' '));
    progress.finish();
    EXPECT_EQ(t.received(), "") << "wiped once";
}

TEST(Progress, StaysSilentOffATerminalAndOnQuickJobs) {
    HandClock hand;
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    fcntl(pipe_ends[0], F_SETFL, O_NONBLOCK);
    {
        Progress progress(pipe_ends[1], "Sorting", hand.clock());
        progress.stage("reading", 10);
        hand.now = 100000;
        for (uint64_t i = 0; i <= 10; ++i) progress.advance(i);
        EXPECT_FALSE(progress.shown());
    }
    char byte;
    EXPECT_EQ(read(pipe_ends[0], &byte, 1), -1) << "a pipe got a byte";
    close(pipe_ends[0]);
    close(pipe_ends[1]);

    Terminal t;
    ASSERT_GE(t.terminal, 0);
    {
        Progress progress(t.terminal, "Sorting", hand.clock());
        progress.stage("reading", 10);
        hand.now += 999;
        for (uint64_t i = 0; i <= 10; ++i) progress.advance(i);
    }
    EXPECT_EQ(t.received(), "") << "a job under a second";
    {
        Progress never;
        never.stage("reading", 10);
        never.advance(10);
    }
    EXPECT_EQ(t.received(), "");
}

// The handlers on a console that is a terminal, with a clock that jumps a second at
// every look: the indicator shows, and is wiped before anything else is said.
TEST(Progress, OrderAndSortShowItOnATerminalOnly) {
    TableImage image;
    image.fields = {{"K", 'N', 6}};
    for (int i = 0; i < 3000; ++i) image.add({std::to_string((i * 7919) % 3001)});
    for (const char* job : {"/ORDER:", "/SORT:"}) {
        SCOPED_TRACE(job);
        Terminal t;
        ASSERT_GE(t.terminal, 0);
        ScratchDir dir;
        dir.write("t.dbf", image.bytes());
        FileSystem fs(dir.path());
        OutStream console = OutStream::to_descriptor(t.terminal);
        ::Run run(console, fs);
        int64_t now = 0;
        run.settings.progress_clock = [&now] { return now += 1000; };
        run.settings.key_memory_limit = 20000;  // through run files
        std::unique_ptr<DbfTable> table = dbf_open(fs, "t.dbf");
        ASSERT_TRUE(table);
        Pass pass{run, *table, console};
        if (std::string(job) == "/ORDER:") cmd_order(pass, "K");
        else cmd_sort(pass, "K");
        cmd_count(pass);
        console.flush();
        std::string bytes = t.received();
        std::string job_name = std::string(job) == "/ORDER:" ? "Ordering: " : "Sorting: ";
        EXPECT_EQ(bytes.rfind("\r" + job_name + "reading ", 0), 0u) << bytes.substr(0, 40);
        EXPECT_NE(bytes.find(job_name + "merging 50%"), std::string::npos);
        // The count stands on a wiped line.
        size_t count = bytes.rfind("3000");
        ASSERT_NE(count, std::string::npos);
        EXPECT_EQ(bytes.substr(count), "3000\n");
        EXPECT_EQ(line_after(bytes.substr(0, count)).find_first_not_of(' '), std::string::npos);
        EXPECT_EQ(bytes[count - 1], '\r');
    }
}
