// table/file_io.cpp
#include "table/file_io.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

int64_t file_write_budget = -1;

namespace {

std::vector<FileWatch*> watches;

// Every write and truncation passes here before it touches the file.
void mark_watchers(int fd) {
    if (watches.empty()) return;
    // Watches taken on this very descriptor need no look at the file: they are marked
    // either way (one whose descriptor was closed and reused only rereads). Only a
    // watch through another descriptor makes the file's identity worth an fstat.
    if (std::all_of(watches.begin(), watches.end(), [fd](const FileWatch* watch) { return watch->fd == fd; })) {
        for (FileWatch* watch : watches) watch->stale = true;
        return;
    }
    struct stat st;
    if (fstat(fd, &st) != 0) {
        for (FileWatch* watch : watches) watch->stale = true;
        return;
    }
    for (FileWatch* watch : watches)
        if (watch->fd == fd ||
            (watch->device == static_cast<uint64_t>(st.st_dev) && watch->inode == static_cast<uint64_t>(st.st_ino)))
            watch->stale = true;
}

}  // namespace

bool file_watch(FileWatch& watch, int fd) {
    file_unwatch(watch);
    struct stat st;
    if (fstat(fd, &st) != 0) return false;
    watch.device = static_cast<uint64_t>(st.st_dev);
    watch.inode = static_cast<uint64_t>(st.st_ino);
    watch.fd = fd;
    watch.stale = false;
    watch.registered = true;
    watches.push_back(&watch);
    return true;
}

void file_unwatch(FileWatch& watch) {
    if (!watch.registered) return;
    watches.erase(std::remove(watches.begin(), watches.end(), &watch), watches.end());
    watch.registered = false;
    watch.stale = true;
}

int64_t file_read_at(int fd, void* buffer, size_t count, int64_t offset) {
    if (offset < 0) return -1;
    size_t done = 0;
    auto* bytes = static_cast<char*>(buffer);
    while (done < count) {
        ssize_t n = pread(fd, bytes + done, count - done, offset + static_cast<int64_t>(done));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return done ? static_cast<int64_t>(done) : -1;
        if (n == 0) break;
        done += static_cast<size_t>(n);
    }
    return static_cast<int64_t>(done);
}

int64_t file_write_at(int fd, const void* buffer, size_t count, int64_t offset) {
    if (offset < 0) return -1;
    if (file_write_budget == 0) return -1;
    if (file_write_budget > 0) --file_write_budget;
    mark_watchers(fd);
    size_t done = 0;
    const auto* bytes = static_cast<const char*>(buffer);
    while (done < count) {
        ssize_t n = pwrite(fd, bytes + done, count - done, offset + static_cast<int64_t>(done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return done ? static_cast<int64_t>(done) : -1;
        done += static_cast<size_t>(n);
    }
    return static_cast<int64_t>(done);
}

int64_t file_size(int fd) {
    struct stat st;
    if (fstat(fd, &st) != 0) return -1;
    return static_cast<int64_t>(st.st_size);
}

int file_truncate(int fd, int64_t size) {
    mark_watchers(fd);
    return ftruncate(fd, static_cast<off_t>(size));
}

int file_create(const char* path) {
    return open(path, O_CREAT | O_TRUNC | O_RDWR, 0644);
}
