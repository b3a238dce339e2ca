// tests/io/progress_test.cpp
//
// The progress indicator on a pseudo-terminal, with a clock moved by hand: what a
// terminal receives and when, and that a pipe receives nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <pty.h>
#include <string>
#include <termios.h>
#include <unistd.h>

#include "io/progress.h"

namespace {

// A pseudo-terminal in raw mode: what is written to `terminal` is read back from
// the other side byte for byte.
struct Terminal {
    int other = -1; int terminal = -1;
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
        for (ssize_t n; (n = read(other, buffer, sizeof buffer)) > 0 || (n < 0 && errno == EINTR);)
            bytes.append(buffer, static_cast<size_t>(std::max<ssize_t>(n, 0)));
        return bytes;
    }
};

// A clock that stands still until a test moves it.
struct HandClock {
    int64_t now = 0;
    ProgressClock clock() { return [this] { return now; }; }
};

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
    EXPECT_EQ(t.received(), "\r" + std::string(21, ' ') + "\r");
    progress.finish();
    EXPECT_EQ(t.received(), "") << "wiped once";
}

TEST(Progress, StaysSilentOffATerminal) {
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
}
