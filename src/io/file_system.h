// io/file_system.h
//
// Every file the program touches goes through one FileSystem: tables, memo files,
// listing targets, list files and the scratch files of a rewrite. A run gets its
// FileSystem from whoever starts it, so a test can put a disk that fills up, or
// another working directory, under a whole run without touching the process.
//
// A File owns one open descriptor and closes it when it goes. Reads and writes are
// positioned (pread/pwrite) and retried until complete, so a short count means the
// end of the file or a failed device, never an interrupted call.
//
// Readers that keep file contents in memory (the record read-ahead) register a
// FileWatch; every write or truncation through this FileSystem marks the watches
// on that file stale, whichever descriptor it went through.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

class FileSystem;

// A file's identity: two paths or descriptors name the same file when these agree.
struct FileId {
    uint64_t device = 0;
    uint64_t inode = 0;
    bool operator==(const FileId&) const = default;
};

// An open file. Default-constructed and moved-from files are closed.
class File {
  public:
    File() = default;
    File(FileSystem& fs, int fd) : fs_(&fs), fd_(fd) {}
    ~File() { close(); }
    File(File&& other) noexcept;
    File& operator=(File&& other) noexcept;
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool is_open() const { return fd_ >= 0; }
    // The descriptor, or -1; for locks and identity checks, not for I/O.
    int fd() const { return fd_; }
    // The FileSystem it was opened through; only for an open file.
    FileSystem& fs() const { return *fs_; }

    // Reads up to `count` bytes at `offset`; the bytes that arrived, or -1.
    [[nodiscard]] int64_t read_at(void* buffer, size_t count, int64_t offset) const;
    // Writes `count` bytes at `offset`; the bytes written, or -1.
    [[nodiscard]] int64_t write_at(const void* buffer, size_t count, int64_t offset);
    // True if all `count` bytes were written at `offset`.
    [[nodiscard]] bool write_all(const void* buffer, size_t count, int64_t offset);
    // Reads up to `count` bytes from the current position on, as a pipe is read;
    // the bytes that arrived (0 at the end), or -1.
    [[nodiscard]] int64_t read_next(void* buffer, size_t count);
    // True if exactly `count` bytes were read at `offset`.
    [[nodiscard]] bool read_exactly(void* buffer, size_t count, int64_t offset) const;
    // Size of the file, or -1.
    [[nodiscard]] int64_t size() const;
    // Cuts or extends the file to `size` bytes; true on success.
    [[nodiscard]] bool truncate(int64_t size);
    // True if the file was opened for writing.
    bool writable() const;
    // The file's identity, if it can be told.
    std::optional<FileId> id() const;
    // Gives the file the permission bits, and where allowed the owner, of `model`.
    void copy_mode_from(const File& model);
    void close();

  private:
    FileSystem* fs_ = nullptr;
    int fd_ = -1;
};

// A reader's claim on a file's contents; see the opening comment.
struct FileWatch {
    FileId file;
    int fd = -1;  // the descriptor it was taken on
    bool stale = true;
    bool registered = false;
};

class FileSystem {
  public:
    // Relative paths resolve against `working_directory`; empty means the process's.
    explicit FileSystem(const std::string& working_directory = "");
    ~FileSystem();
    FileSystem(const FileSystem&) = delete;
    FileSystem& operator=(const FileSystem&) = delete;

    // Opens read-write, else read-only; closed if neither works.
    File open(const std::string& path);
    // Opens read-only; closed on failure.
    File open_read(const std::string& path);
    // Opens for reading and writing, creating or emptying the file, mode 0644 less the umask.
    File create(const std::string& path);
    // Opens for appending, creating the file with mode 0666 less the umask.
    File open_append(const std::string& path);
    // Creates a new file that did not exist, mode 0644 less the umask; closed if it existed.
    File create_new(const std::string& path);
    [[nodiscard]] bool rename(const std::string& from, const std::string& to);
    // Removes a file; true if it is gone.
    bool remove(const std::string& path);
    // The identity of the file a path names (following links), if there is one.
    std::optional<FileId> id_of(const std::string& path) const;
    // True if something, a dangling link included, stands under the name.
    bool exists(const std::string& path) const;
    // True if both paths name one existing file.
    bool same_file(const std::string& a, const std::string& b) const;
    // True if the path names a regular file (following links).
    bool is_regular_file(const std::string& path) const;
    // The names in a directory ("" is the working directory), "." and ".." left
    // out, in no particular order; none if it can't be read.
    std::vector<std::string> list_directory(const std::string& path) const;

    // Writes still allowed before every further write fails, as on a disk that has
    // filled up; negative means no limit. Truncations still work. A test seam: the
    // program never sets it.
    int64_t write_budget = -1;
    // With the budget spent, truncations fail too: the files stay as the last
    // allowed write left them, as after a run killed there. A test seam.
    bool budget_freezes = false;

    // Registers the watch for the file behind `fd`; false if the file can't be told.
    bool watch(FileWatch& watch, int fd);
    void unwatch(FileWatch& watch);

  private:
    friend class File;
    // Every write and truncation passes here before it touches the file; false if
    // the write budget is spent (for a truncation, only if the budget freezes).
    bool before_write(int fd, bool counts);
    int open_at(const std::string& path, int flags, mode_t mode) const;

    int directory_ = -100;  // AT_FDCWD, or a descriptor of the working directory
    std::vector<FileWatch*> watches_;
};
