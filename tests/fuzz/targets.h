// tests/fuzz/targets.h
//
// The fuzz targets, each a function of one input: the libFuzzer entry points in
// fuzz_*.cpp call them while fuzzing, and replay_test.cpp calls them on every file
// of the committed corpus in the ordinary test run. Files they need are made in a
// scratch directory that fuzz_setup creates.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Creates the scratch directory once; returns its path.
const std::string& fuzz_setup();

// Table open and judge, then every field of every record in every date and trim
// mode, as text and as number.
int fuzz_table(const uint8_t* data, size_t size);
// A memo field read and written: byte 0 chooses the layout, byte 1 the field width,
// bytes 2 to 5 the block number; the rest is the memo file.
int fuzz_memo(const uint8_t* data, size_t size);
int fuzz_calc(const uint8_t* data, size_t size);
// The input as a condition and as an assignment list against a fixed record.
int fuzz_cond(const uint8_t* data, size_t size);
int fuzz_html(const uint8_t* data, size_t size);
// The whole program: two bytes of length, a table image of that length, then
// parameters separated by line feeds. Paths are kept inside the scratch directory.
// Where the length's top bit is set, two more bytes of length and a memo file image
// follow the table, written as both t.dbt and t.fpt. Aborts when the run breaks a
// bound of program_bounds_kept.
int fuzz_program(const uint8_t* data, size_t size);

// What one whole-program run cost.
struct ProgramRun {
    double seconds = 0;
    int64_t bytes_written = 0;  // through its file system
    int64_t file_bytes = 0;     // the sizes of all files in the scratch directory at its end
};
// The run behind fuzz_program, measured.
ProgramRun fuzz_program_run(const uint8_t* data, size_t size);
// True if a run stayed within a second and a few megabytes of writes and files,
// which no input of the whole-program target can need; otherwise says why in `why`.
bool program_bounds_kept(const ProgramRun& run, std::string& why);
