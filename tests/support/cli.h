// tests/support/cli.h
//
// Runs the built program the way a user does: in a fresh temporary directory that
// holds a link to the program (so a trugtool.ini can lie beside it), with TZ=UTC.
// Standard error must stay empty; a run that writes to it fails the test.
#pragma once

#include <string>
#include <vector>

struct RunResult {
    int status = -1;  // exit status; 128 + signal for a program killed by a signal
    std::string out;
    std::string err;
    long max_rss_kb = 0;  // the run's peak resident memory
};

class ScratchDir {
  public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    void write(const std::string& name, const std::string& bytes) const;
    std::string read(const std::string& name) const;
    bool exists(const std::string& name) const;

    // Runs ./trugtool with these arguments in this directory. With `as_nobody` the
    // program runs as an unprivileged user, to whom root's files are read-only.
    RunResult run(const std::vector<std::string>& args, bool as_nobody = false) const;

  private:
    std::string path_;
};

// The program started in a ScratchDir's directory without waiting for it, as
// ScratchDir::run starts it; its standard output goes to `out_fd` (a pipe's or a
// terminal's end) or nowhere. The destructor waits for its end.
class Started {
  public:
    Started(const ScratchDir& dir, std::vector<std::string> args, int out_fd = -1);
    ~Started() { (void)wait(); }
    Started(const Started&) = delete;
    Started& operator=(const Started&) = delete;

    // True while the program runs.
    bool running();
    // Sends it SIGKILL.
    void kill();
    // Waits for the end; the exit status, 128 + the signal that ended it, or -1.
    int wait();

  private:
    int pid_ = -1;
    int status_ = -1;
};

// True where the tests can switch to an unprivileged user (they run as root).
bool can_run_as_nobody();
// True under `make check-deep` (TRUG_DEEP set): sweeps that take minutes run whole.
bool deep_tests();
