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
//
// Locks are advisory fcntl locks, exclusive, on the whole file: bytes 0 up to
// kLockEnd, held by an open file description (F_OFD_SETLK), so that closing some
// other descriptor of the same file (a table opened a second time to import it into
// itself, a memo file opened for one read) never drops them. They conflict with the
// classic process locks (F_SETLK, lockf) of other programs both ways. One byte past
// that range carries a classic lock as well, so that a run waiting for the lock can
// name the process holding it: F_GETLK reports no process for the first kind.
// A FileSystem takes one lock per file; locking a file it holds already only nests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

class FileSystem;

// Where a lock's range ends, and the one byte behind it that names the holder.
inline constexpr int64_t kLockEnd = int64_t{1} << 62;

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
    // The names the file has in the file system; 0 if it can't be told.
    int64_t link_count() const;
    // Gives the file the permission bits, and where allowed the owner, of `model`.
    void copy_mode_from(const File& model);
    void close();

  private:
    FileSystem* fs_ = nullptr;
    int fd_ = -1;
};

// What an attempt to lock gave.
enum class LockStatus {
    Taken,        // the lock is held now
    Busy,         // another run or program holds a conflicting lock
    Unavailable,  // the file can't be locked (not open for writing, or no locks here)
};

// A lock held through FileSystem::lock or try_lock, released when it goes. The
// FileSystem must outlive it.
class FileLock {
  public:
    FileLock() = default;
    ~FileLock() { release(); }
    FileLock(FileLock&& other) noexcept;
    FileLock& operator=(FileLock&& other) noexcept;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    bool held() const { return fs_ != nullptr; }
    // Gives the lock up (or one level of it, where it was nested); nothing if not held.
    void release();

  private:
    friend class FileSystem;
    FileSystem* fs_ = nullptr;
    FileId file_;
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
    // Creates `path` holding `bytes`, whole or not at all, mode 0644 less the umask:
    // the bytes are written to a file without a name (or under a scratch name beside
    // it, where the file system has no such files), which then gets its name. False,
    // with nothing made, if the path exists already or a write fails.
    [[nodiscard]] bool publish(const std::string& path, const void* bytes, size_t count);
    [[nodiscard]] bool rename(const std::string& from, const std::string& to);
    // Gives the file `from` names a second name `to`, which must not exist yet.
    [[nodiscard]] bool link(const std::string& from, const std::string& to);
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

    // Locks the whole file exclusively if no one else holds a conflicting lock;
    // `lock` holds it when Taken. A file this FileSystem holds locked nests.
    LockStatus try_lock(const File& file, FileLock& lock);
    // The same, waiting as long as it takes; Taken or Unavailable.
    LockStatus lock(const File& file, FileLock& lock);
    // The process holding a lock that keeps `file` from being locked; 0 if there is
    // none or it can't be told.
    pid_t lock_holder(const File& file) const;

    // Writes still allowed before every further write fails, as on a disk that has
    // filled up; negative means no limit. Truncations still work. A test seam: the
    // program never sets it.
    int64_t write_budget = -1;
    // With the budget spent, truncations fail too: the files stay as the last
    // allowed write left them, as after a run killed there. A test seam.
    bool budget_freezes = false;
    // With this set, the change that finds the write budget spent ends the process
    // with SIGKILL instead of failing, and renames, links and removals count against
    // the budget as writes do: a test seam for runs killed between any two changes.
    bool write_budget_kills = false;
    // Bytes written through this FileSystem so far; for tests that bound a run.
    int64_t bytes_written = 0;

    // Registers the watch for the file behind `fd`; false if the file can't be told.
    bool watch(FileWatch& watch, int fd);
    void unwatch(FileWatch& watch);

  private:
    friend class File;
    friend class FileLock;
    // A lock this FileSystem holds: a descriptor of its own on the locked file's
    // open file description, and how often it was taken.
    struct HeldLock {
        FileId file;
        int fd = -1;
        int depth = 0;
    };

    // Every write and truncation passes here before it touches the file; false if
    // the write budget is spent (for a truncation, only if the budget freezes).
    bool before_write(int fd, bool counts);
    // Renames, links and removals pass here; they only count while the budget kills.
    void before_change();
    int open_at(const std::string& path, int flags, mode_t mode) const;
    LockStatus take_lock(const File& file, FileLock& lock, bool wait);
    void release_lock(const FileId& file);

    int directory_ = -100;  // AT_FDCWD, or a descriptor of the working directory
    std::vector<FileWatch*> watches_;
    std::vector<HeldLock> locks_;
};
