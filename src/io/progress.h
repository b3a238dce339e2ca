// io/progress.h
//
// A one-line indicator of a long job on the console, "Sorting: merging 42%". It
// shows only when the console is a terminal and only once the job has run for a
// second; it is redrawn in place behind a carriage return and wiped when the job
// ends, so that the lines around it read as they would without it. Listings into
// files and pipes never see a byte of it.
//
// The line goes straight to the descriptor, past the console's buffer. A console on
// a terminal leaves at each line end, so the cursor stands at the start of a line
// whenever a job starts, and that is where the indicator draws and wipes itself.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

// Milliseconds since some fixed moment; never set back.
using ProgressClock = std::function<int64_t()>;

// The system's steady clock, in milliseconds.
int64_t steady_milliseconds();

class Progress {
  public:
    // How long a job runs before the indicator shows, and the least time between two drawings.
    static constexpr int64_t kQuietMilliseconds = 1000;
    static constexpr int64_t kRedrawMilliseconds = 100;

    // An indicator that never shows.
    Progress() = default;
    // An indicator for `job` on `fd`, shown only if `fd` is a terminal; the job starts now.
    Progress(int fd, std::string job, ProgressClock clock = steady_milliseconds);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // Starts a stage of `total` steps, shown as "job: name nn%", or "job: name" for 0.
    void stage(std::string_view name, uint64_t total);
    // `done` steps of the stage are done. Cheap enough to call for every record: it
    // looks at the clock only every thousandth part of the stage.
    void advance(uint64_t done) {
        if (done >= next_look_) look(done);
    }
    // Wipes the line if it is shown; a later stage may show it again.
    void finish();
    // True while a line stands on the terminal.
    bool shown() const { return shown_length_ > 0; }

  private:
    void look(uint64_t done);
    void put(const std::string& text);

    int fd_ = -1;  // -1: never shows
    std::string job_;
    ProgressClock clock_;
    int64_t start_ = 0;
    int64_t last_draw_ = 0;
    std::string stage_;
    uint64_t total_ = 0;
    uint64_t step_ = 1;
    uint64_t next_look_ = UINT64_MAX;
    std::string drawn_;        // the text on the terminal now
    size_t shown_length_ = 0;  // its length; 0: nothing shown
};
