// io/out_stream.cpp
#include "io/out_stream.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <unistd.h>

namespace {

// Output to files and pipes leaves in blocks of this size.
constexpr size_t kBlock = size_t{1} << 20;

}  // namespace

OutStream OutStream::to_descriptor(int fd) {
    OutStream stream;
    stream.fd_ = fd;
    stream.line_buffered_ = isatty(fd) == 1;
    return stream;
}

OutStream::OutStream(File file) : fd_(file.fd()), owned_(std::move(file)) {}

OutStream::OutStream(std::string& capture) : capture_(&capture) {}

OutStream::OutStream(OutStream&& other) noexcept
    : fd_(other.fd_), owned_(std::move(other.owned_)), capture_(other.capture_),
      line_buffered_(other.line_buffered_), failed_(other.failed_), buffer_(std::move(other.buffer_)) {
    other.fd_ = -1;
    other.capture_ = nullptr;
}

OutStream::~OutStream() { flush(); }

void OutStream::write(std::string_view text) {
    buffer_.append(text);
    drain_if_due();
}

void OutStream::put(char c) {
    buffer_.push_back(c);
    if (c == '\n' || buffer_.size() >= kBlock) drain_if_due();
}

void OutStream::print(const char* format, ...) {
    size_t used = buffer_.size();
    // Most texts fit the room behind the bytes already there; a longer one is printed again.
    size_t room = 256;
    for (int attempt = 0; attempt < 2; ++attempt) {
        buffer_.resize(used + room);
        va_list args;
        va_start(args, format);
        int n = std::vsnprintf(buffer_.data() + used, room, format, args);
        va_end(args);
        if (n < 0) {
            buffer_.resize(used);
            return;
        }
        if (static_cast<size_t>(n) < room) {
            buffer_.resize(used + static_cast<size_t>(n));
            break;
        }
        room = static_cast<size_t>(n) + 1;
    }
    drain_if_due();
}

void OutStream::drain_if_due() {
    if (buffer_.size() >= kBlock || (line_buffered_ && buffer_.find('\n') != std::string::npos)) flush();
}

bool OutStream::flush() {
    if (capture_ != nullptr) {
        capture_->append(buffer_);
        buffer_.clear();
        return !failed_;
    }
    if (fd_ < 0) {
        buffer_.clear();
        return !failed_;
    }
    size_t done = 0;
    while (done < buffer_.size()) {
        ssize_t n = ::write(fd_, buffer_.data() + done, buffer_.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            failed_ = true;
            break;
        }
        done += static_cast<size_t>(n);
    }
    buffer_.clear();
    return !failed_;
}
