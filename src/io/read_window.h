// io/read_window.h
//
// A window of a file held in memory, for a reader that walks forward through the
// file or jumps about in one small enough to hold whole: the records of a table,
// the texts of a memo file.
//
// A read that goes forward from where the last one ended (by at most the size of the
// next fill) fills the window from there with one read, twice as large as the one
// before, up to 1 MiB; a walk in file order costs one system call a megabyte. A read
// that goes back, or leaps far ahead, is a walk in another order: a file of at most
// `whole_limit` bytes is then read whole, once, and every later read is a copy; a
// larger file is read where asked, that read alone.
//
// The window stays true through a FileWatch: a write or truncation through any File
// of the same FileSystem marks it stale, and the next read fills it again. Its
// owner's own writes go through it and patch it instead, so that a walk that writes as it
// reads keeps its window.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "io/file_system.h"

class ReadWindow {
  public:
    // The largest file read whole for a walk out of file order, unless the owner says otherwise.
    static constexpr size_t kDefaultWholeLimit = size_t{128} << 20;

    explicit ReadWindow(size_t whole_limit = kDefaultWholeLimit) : whole_limit_(whole_limit) {}
    ~ReadWindow() { forget(); }
    ReadWindow(const ReadWindow&) = delete;
    ReadWindow& operator=(const ReadWindow&) = delete;

    // Copies up to `count` bytes at `offset` of `file` into `out`; the bytes that
    // arrived (fewer only where the file ends), or -1.
    [[nodiscard]] int64_t read(const File& file, void* out, size_t count, int64_t offset);
    // Points at up to `count` bytes at `offset` of `file` and sets `available` to
    // how many are there (fewer only where the file ends); null after a failed read.
    // The bytes stay until the next call.
    [[nodiscard]] const uint8_t* view(const File& file, int64_t offset, size_t count, size_t& available);
    // Writes `count` bytes at `offset` through `file`, the File the window reads,
    // and keeps the window true; the bytes written, or -1.
    [[nodiscard]] int64_t write(File& file, const void* data, size_t count, int64_t offset);
    // Asks the processor to fetch the window's byte at `offset`, if the window holds
    // it, ahead of a read; a walk out of order calls it for the reads to come.
    void prefetch(int64_t offset) const {
        if (start_ >= 0 && offset >= start_ && offset < start_ + static_cast<int64_t>(length_))
            __builtin_prefetch(bytes_.get() + (offset - start_));
    }
    // Drops the contents and the watch; the next read starts afresh.
    void forget();
    // Sets the largest file read whole.
    void set_whole_limit(size_t bytes) { whole_limit_ = bytes; }

  private:
    bool valid() const { return start_ >= 0 && watch_.registered && !watch_.stale; }
    // Reads `count` bytes at `offset` into the window; false on a read error.
    bool fill(const File& file, int64_t offset, size_t count);

    FileSystem* fs_ = nullptr;  // the one the watch is registered with
    FileWatch watch_;
    struct Release {
        void operator()(uint8_t* bytes) const;
    };
    std::unique_ptr<uint8_t, Release> bytes_;
    size_t capacity_ = 0;
    int64_t start_ = -1;     // file offset of bytes_[0]; -1 while empty
    size_t length_ = 0;      // valid bytes
    bool to_end_ = false;    // the window reaches the end of the file
    int64_t next_read_ = -1; // where a read going on from the last one starts
    size_t next_fill_ = 0;   // size of the next forward fill
    size_t whole_limit_;
};
