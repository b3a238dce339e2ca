// io/read_window.cpp
#include "io/read_window.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <sys/mman.h>

namespace {

constexpr size_t kFirstFill = 4 * 1024;
constexpr size_t kLargestFill = size_t{1} << 20;
// Windows from this size on lie on huge pages where the system gives them: a walk
// out of order through a file held whole then misses the address cache less.
constexpr size_t kHugePage = size_t{2} << 20;

uint8_t* allocate(size_t count) {
    if (count < 2 * kHugePage) return static_cast<uint8_t*>(std::malloc(count));
    const size_t rounded = (count + kHugePage - 1) / kHugePage * kHugePage;
    void* bytes = nullptr;
    if (posix_memalign(&bytes, kHugePage, rounded) != 0) return nullptr;
    (void)madvise(bytes, rounded, MADV_HUGEPAGE);  // a hint; small pages do too
    return static_cast<uint8_t*>(bytes);
}

}  // namespace

void ReadWindow::Release::operator()(uint8_t* bytes) const { std::free(bytes); }

const uint8_t* ReadWindow::view(const File& file, int64_t offset, size_t count, size_t& available) {
    available = 0;
    if (offset < 0 || !file.is_open()) return nullptr;
    const bool usable = valid() && watch_.fd == file.fd();
    const int64_t end = start_ + static_cast<int64_t>(length_);
    // Forward: the first read, on from the last read by no more than a fill, or on
    // from inside the window.
    const bool forward = next_read_ < 0 ||
                         (offset >= next_read_ &&
                          offset - next_read_ <= static_cast<int64_t>(std::max(next_fill_, kFirstFill))) ||
                         (usable && offset >= start_ && offset <= end);
    next_read_ = offset + static_cast<int64_t>(count);
    if (usable && offset >= start_ && (offset < end || to_end_)) {
        size_t have = offset < end ? static_cast<size_t>(end - offset) : 0;
        if (have >= count || to_end_) {
            available = std::min(have, count);
            return bytes_.get() + std::min(static_cast<size_t>(offset - start_), length_);
        }
    }
    bool filled;
    if (forward) {
        size_t size = std::max({next_fill_, kFirstFill, count});
        next_fill_ = std::min(size * 2, std::max(kLargestFill, count));
        filled = fill(file, offset, size);
    } else {
        next_fill_ = kFirstFill;
        int64_t size = file.size();
        if (size >= 0 && static_cast<uint64_t>(size) <= whole_limit_ && size > offset) {
            filled = fill(file, 0, static_cast<size_t>(size));
            to_end_ = true;
        } else {
            filled = fill(file, offset, count);
        }
    }
    if (!filled) return nullptr;
    size_t skip = static_cast<size_t>(offset - start_);
    available = skip < length_ ? std::min(length_ - skip, count) : 0;
    return bytes_.get() + std::min(skip, length_);
}

int64_t ReadWindow::read(const File& file, void* out, size_t count, int64_t offset) {
    size_t available = 0;
    const uint8_t* bytes = view(file, offset, count, available);
    if (bytes == nullptr) return -1;
    if (available > 0) std::memcpy(out, bytes, available);
    return static_cast<int64_t>(available);
}

bool ReadWindow::fill(const File& file, int64_t offset, size_t count) {
    if (capacity_ < count || bytes_ == nullptr) {
        bytes_.reset();
        capacity_ = 0;
        bytes_.reset(allocate(std::max<size_t>(count, 1)));
        if (bytes_ == nullptr) throw std::bad_alloc();
        capacity_ = std::max<size_t>(count, 1);
    }
    if (!watch_.registered || watch_.fd != file.fd() || fs_ != &file.fs()) {
        if (fs_ != nullptr) fs_->unwatch(watch_);
        fs_ = &file.fs();
        // A file that can't be watched is still read; the window just isn't kept.
        (void)fs_->watch(watch_, file.fd());
    }
    watch_.stale = false;
    int64_t got = file.read_at(bytes_.get(), count, offset);
    if (got < 0) {
        start_ = -1;
        length_ = 0;
        return false;
    }
    start_ = offset;
    length_ = static_cast<size_t>(got);
    to_end_ = length_ < count;
    return true;
}

int64_t ReadWindow::write(File& file, const void* data, size_t count, int64_t offset) {
    const bool was_valid = valid() && watch_.fd == file.fd();
    int64_t written = file.write_at(data, count, offset);
    if (!was_valid) return written;
    if (written != static_cast<int64_t>(count)) {
        start_ = -1;
        length_ = 0;
        return written;
    }
    const int64_t end = start_ + static_cast<int64_t>(length_);
    int64_t from = std::max(offset, start_);
    int64_t to = std::min(offset + static_cast<int64_t>(count), end);
    if (from < to)
        std::memcpy(bytes_.get() + (from - start_), static_cast<const uint8_t*>(data) + (from - offset),
                    static_cast<size_t>(to - from));
    // Bytes written past the window's end are not in it: it no longer reaches the end.
    if (offset + static_cast<int64_t>(count) > end) to_end_ = false;
    watch_.stale = false;
    return written;
}

void ReadWindow::forget() {
    if (fs_ != nullptr) fs_->unwatch(watch_);
    fs_ = nullptr;
    bytes_.reset();
    capacity_ = 0;
    start_ = -1;
    length_ = 0;
    to_end_ = false;
    next_read_ = -1;
    next_fill_ = 0;
}
