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

    void write(std::string_view text);
    void write(const void* bytes, size_t count) { write(std::string_view(static_cast<const char*>(bytes), count)); }
    void put(char c);
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
    OutStream() = default;
    void drain_if_due();

    int fd_ = -1;             // target descriptor, or -1 with a capture
    File owned_;              // set when the stream owns its file
    std::string* capture_ = nullptr;
    bool line_buffered_ = false;
    bool failed_ = false;
    std::string buffer_;
};
