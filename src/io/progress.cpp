// io/progress.cpp
#include "io/progress.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <unistd.h>

int64_t steady_milliseconds() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

Progress::Progress(int fd, std::string job, ProgressClock clock)
    : fd_(fd >= 0 && isatty(fd) == 1 ? fd : -1), job_(std::move(job)), clock_(std::move(clock)) {
    if (fd_ >= 0) start_ = clock_();
}

Progress::~Progress() { finish(); }

void Progress::stage(std::string_view name, uint64_t total) {
    stage_ = name;
    total_ = total;
    // A look at every thousandth part: a percentage changes at most every ten.
    step_ = total / 1000 > 0 ? total / 1000 : 1;
    next_look_ = fd_ >= 0 ? 0 : UINT64_MAX;
    advance(0);
}

void Progress::look(uint64_t done) {
    next_look_ = done + step_;
    int64_t now = clock_();
    if (now - start_ < kQuietMilliseconds) return;
    if (shown() && now - last_draw_ < kRedrawMilliseconds) return;
    // A stage without steps shows its name alone.
    std::string text = job_ + ": " + stage_;
    if (total_ > 0) {
        text += ' ';
        text += std::to_string(done >= total_ ? 100 : done * 100 / total_);
        text += '%';
    }
    if (text == drawn_) return;
    // Blanks cover what a longer text before it left standing.
    std::string line(1, '\r');
    line += text;
    if (text.size() < shown_length_) {
        line.append(shown_length_ - text.size(), ' ');
        line += '\r';
        line += text;
    }
    put(line);
    drawn_ = text;
    shown_length_ = std::max(shown_length_, text.size());
    last_draw_ = now;
}

void Progress::finish() {
    if (!shown()) return;
    std::string wipe(1, '\r');
    wipe.append(shown_length_, ' ');
    wipe += '\r';
    put(wipe);
    drawn_.clear();
    shown_length_ = 0;
}

void Progress::put(const std::string& text) {
    // What the terminal refuses is lost: the indicator is no part of the output.
    size_t at = 0;
    while (at < text.size()) {
        ssize_t n = ::write(fd_, text.data() + at, text.size() - at);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;
        at += static_cast<size_t>(n);
    }
}
