// io/out_stream.h
//
// Buffered text output: the console (standard output, where everything the program
// says goes) and the files a listing or a report appends to. Bytes collect in a
// buffer and leave in large writes; a console on a terminal leaves at each line end
// instead, so that a user sees every line as it is made. A capture into a string
// serves tests that run the program in-process.
//
// A write that fails is remembered, not reported: the run goes on as it would and
// asks failed() at its end.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "io/file_system.h"

class OutStream {
  public:
    // Writes to a descriptor the stream does not own (standard output).
    static OutStream to_descriptor(int fd);
    // Writes to a file it owns, from its end on.
    explicit OutStream(File file);
    // Collects everything in `capture`.
    explicit OutStream(std::string& capture);
    ~OutStream();
    OutStream(OutStream&& other) noexcept;
    OutStream(const OutStream&) = delete;
    OutStream& operator=(const OutStream&) = delete;
    OutStream& operator=(OutStream&&) = delete;

    void write(std::string_view text) {
        if (text.size() > capacity_ - size_) grow(text.size());
        if (!text.empty()) std::memcpy(data_.get() + size_, text.data(), text.size());
        size_ += text.size();
        if (size_ >= kBlock || line_buffered_) drain_if_due();
    }
    void write(const void* bytes, size_t count) { write(std::string_view(static_cast<const char*>(bytes), count)); }
    void put(char c) {
        if (size_ == capacity_) grow(1);
        data_[size_++] = c;
        if (size_ >= kBlock || (line_buffered_ && c == '\n')) drain_if_due();
    }
    // Room for `count` more bytes: the caller writes up to that many at the pointer
    // and hands back where it stopped with commit. Nothing else may come between.
    char* room(size_t count) {
        if (count > capacity_ - size_) grow(count);
        return data_.get() + size_;
    }
    void commit(const char* end) {
        size_ = static_cast<size_t>(end - data_.get());
        if (size_ >= kBlock || line_buffered_) drain_if_due();
    }
    // printf into the stream.
    [[gnu::format(printf, 2, 3)]] void print(const char* format, ...);
    // Hands the buffer to the file; false if a write has failed, now or before.
    bool flush();
    // True once a write of this stream has failed.
    bool failed() const { return failed_; }
    // True for a console on a terminal, where a person watches.
    bool is_terminal() const { return line_buffered_; }
    // The descriptor written to; -1 for a capture. For a progress indicator, not for output.
    int descriptor() const { return fd_; }

  private:
    // Output to files and pipes leaves in blocks of this size.
    static constexpr size_t kBlock = size_t{1} << 20;

    OutStream() = default;
    void drain_if_due();
    // Makes room for `count` bytes behind the buffered ones.
    void grow(size_t count);

    int fd_ = -1;             // target descriptor, or -1 with a capture
    File owned_;              // set when the stream owns its file
    std::string* capture_ = nullptr;
    bool line_buffered_ = false;
    bool failed_ = false;
    std::unique_ptr<char[]> data_;  // the buffered bytes
    size_t size_ = 0;
    size_t capacity_ = 0;
};
