// select/merge.h
//
// A sort of any number of records within a memory limit. Records collect in a run
// in memory (select/sort.h); a full run is sorted and written to a run file beside
// the table. When every record is in, the run files and the last run, which stays
// in memory, are merged, at most kMergeFanIn at a time: passes that write bigger
// runs while more are left, then one that hands the records over in order. Where
// every record fits the limit no file is written.
//
// A run file holds its records in order, each as a 16-bit text length, the text,
// the 32-bit element and the payload, integers little-endian, written and read in
// blocks of kRunBlock bytes. Run files are named after the table, "t.sort1",
// "t.sort2", ... (a name already taken is skipped), and removed as soon as they are
// merged, and on every way out, failures and exceptions included.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "io/file_system.h"
#include "io/progress.h"
#include "select/sort.h"

// Runs merged at once, and the block each is read through: 16 MiB in all.
inline constexpr size_t kMergeFanIn = 16;
inline constexpr size_t kRunBlock = size_t{1} << 20;

struct SortOptions {
    size_t memory_limit = 0;   // bytes the run in memory may take
    size_t payload_size = 0;   // bytes each record carries
    bool descending = false;   // greatest key first
    // When a run file can't be written: keep the records in memory, past the limit
    // (true), or fail (false).
    bool memory_when_disk_fails = false;
    std::string file_stem;     // run files are file_stem + ".sort" + a number
    Progress* progress = nullptr;
};

// Why a sort did not get through: no key field known, a file that could not be
// written or read, or a sink that refused a record.
enum class SortFailure { None, UnknownFields, CantWrite, CantRead, Stopped };

// Takes the records of a sort in order.
class SortSink {
  public:
    virtual ~SortSink() = default;
    // The next record: its element and payload. False stops the sort.
    virtual bool take(int32_t element, const uint8_t* payload) = 0;
};

// A run file written and not yet merged.
struct RunFile {
    std::string path;
    uint64_t records = 0;
    uint64_t bytes = 0;
};

class KeySorter {
  public:
    KeySorter(FileSystem& fs, SortOptions options);
    // Removes every run file that is left.
    ~KeySorter();
    KeySorter(const KeySorter&) = delete;
    KeySorter& operator=(const KeySorter&) = delete;

    // Adds a record whose key text is `length` bytes; `remaining` counts the records
    // still to come, this one included. False once the sort has failed.
    [[nodiscard]] bool add(const char* text, size_t length, int32_t element, const uint8_t* payload,
                           size_t remaining);
    // Hands every record to `sink` in order. False if the sort failed or the sink
    // stopped it.
    [[nodiscard]] bool finish(SortSink& sink);
    SortFailure failure() const { return failure_; }
    // The run file that could not be written or read.
    const std::string& failed_path() const { return failed_path_; }
    // Run files written so far, merge passes included.
    size_t files_written() const { return files_written_; }

  private:
    bool spill();
    bool create_run_file(RunFile& run, File& file);
    bool merge_into_file(size_t count);
    void remove_run(const RunFile& run);
    bool fail(SortFailure failure, const std::string& path);

    FileSystem& fs_;
    SortOptions options_;
    SortRun run_;
    std::vector<RunFile> runs_;
    size_t next_name_ = 1;
    bool spilling_ = true;
    size_t files_written_ = 0;
    SortFailure failure_ = SortFailure::None;
    std::string failed_path_;
};
