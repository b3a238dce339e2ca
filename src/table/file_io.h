// table/file_io.h
//
// The engine's only road to its files: positioned reads and writes on descriptors.
// Writes pass one counter, so that tests can make the Nth write from now fail and
// see what a full disk or a lost device leaves behind.
#pragma once

#include <cstddef>
#include <cstdint>

// Reads up to `count` bytes at `offset`; the bytes that arrived, or -1.
int64_t file_read_at(int fd, void* buffer, size_t count, int64_t offset);
// Writes `count` bytes at `offset`; the bytes written, or -1.
int64_t file_write_at(int fd, const void* buffer, size_t count, int64_t offset);
// Size of the open file, or -1.
int64_t file_size(int fd);
int file_truncate(int fd, int64_t size);
// Opens for reading and writing, creating or emptying the file, mode 0644 less the umask.
int file_create(const char* path);

// A reader's claim on a file: any write or truncation of that file, through any
// descriptor, marks it stale. Caches register while they hold file content.
struct FileWatch {
    uint64_t device = 0;
    uint64_t inode = 0;
    int fd = -1;  // the descriptor it was taken on
    bool stale = true;
    bool registered = false;
};
// Registers the watch for the file behind `fd`; false if the file can't be told.
bool file_watch(FileWatch& watch, int fd);
void file_unwatch(FileWatch& watch);

// Writes still allowed before every further write fails; negative means no limit.
// A test seam, as a disk that fills up: truncations still work. The program never
// sets it.
extern int64_t file_write_budget;
