// io/out_stream.cpp
#include "io/out_stream.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <unistd.h>

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
      line_buffered_(other.line_buffered_), failed_(other.failed_), data_(std::move(other.data_)),
      size_(other.size_), capacity_(other.capacity_) {
    other.fd_ = -1;
    other.capture_ = nullptr;
    other.size_ = other.capacity_ = 0;
}

OutStream::~OutStream() { flush(); }

void OutStream::grow(size_t count) {
    size_t wanted = std::max({size_ + count, capacity_ * 2, size_t{4096}});
    std::unique_ptr<char[]> bigger = std::make_unique_for_overwrite<char[]>(wanted);
    if (size_ > 0) std::memcpy(bigger.get(), data_.get(), size_);
    data_ = std::move(bigger);
    capacity_ = wanted;
}

void OutStream::print(const char* format, ...) {
    // Most texts fit 256 bytes of room; a longer one is printed again.
    size_t room = 256;
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (room > capacity_ - size_) grow(room);
        va_list args;
        va_start(args, format);
        int n = std::vsnprintf(data_.get() + size_, room, format, args);
        va_end(args);
        if (n < 0) return;
        if (static_cast<size_t>(n) < room) {
            size_ += static_cast<size_t>(n);
            break;
        }
        room = static_cast<size_t>(n) + 1;
    }
    drain_if_due();
}

void OutStream::drain_if_due() {
    if (size_ >= kBlock || (line_buffered_ && std::memchr(data_.get(), '\n', size_) != nullptr)) flush();
}

bool OutStream::flush() {
    if (capture_ != nullptr) {
        capture_->append(data_.get(), size_);
        size_ = 0;
        return !failed_;
    }
    if (fd_ < 0) {
        size_ = 0;
        return !failed_;
    }
    size_t done = 0;
    while (done < size_) {
        ssize_t n = ::write(fd_, data_.get() + done, size_ - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            failed_ = true;
            break;
        }
        done += static_cast<size_t>(n);
    }
    size_ = 0;
    return !failed_;
}
