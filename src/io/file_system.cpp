// io/file_system.cpp
#include "io/file_system.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <dirent.h>
#include <string>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

FileId id_from(const struct stat& st) {
    return FileId{static_cast<uint64_t>(st.st_dev), static_cast<uint64_t>(st.st_ino)};
}

struct flock range(short type, int64_t start, int64_t length) {
    struct flock lock{};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = static_cast<off_t>(start);
    lock.l_len = static_cast<off_t>(length);
    return lock;
}

// One fcntl call, repeated when a signal interrupts it.
int lock_call(int fd, int command, struct flock& lock) {
    int result;
    do {
        result = fcntl(fd, command, &lock);
    } while (result != 0 && errno == EINTR);
    return result;
}

}  // namespace

// ---- FileLock -----------------------------------------------------------------------

FileLock::FileLock(FileLock&& other) noexcept : fs_(other.fs_), file_(other.file_) { other.fs_ = nullptr; }

FileLock& FileLock::operator=(FileLock&& other) noexcept {
    if (this != &other) {
        release();
        fs_ = other.fs_;
        file_ = other.file_;
        other.fs_ = nullptr;
    }
    return *this;
}

void FileLock::release() {
    if (fs_ == nullptr) return;
    fs_->release_lock(file_);
    fs_ = nullptr;
}

// ---- File ---------------------------------------------------------------------------

File::File(File&& other) noexcept : fs_(other.fs_), fd_(other.fd_) { other.fd_ = -1; }

File& File::operator=(File&& other) noexcept {
    if (this != &other) {
        close();
        fs_ = other.fs_;
        fd_ = other.fd_;
        other.fd_ = -1;
    }
    return *this;
}

void File::close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

int64_t File::read_at(void* buffer, size_t count, int64_t offset) const {
    if (fd_ < 0 || offset < 0) return -1;
    size_t done = 0;
    auto* bytes = static_cast<char*>(buffer);
    while (done < count) {
        ssize_t n = pread(fd_, bytes + done, count - done, offset + static_cast<int64_t>(done));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return done ? static_cast<int64_t>(done) : -1;
        if (n == 0) break;
        done += static_cast<size_t>(n);
    }
    return static_cast<int64_t>(done);
}

int64_t File::read_next(void* buffer, size_t count) {
    if (fd_ < 0) return -1;
    for (;;) {
        ssize_t n = ::read(fd_, buffer, count);
        if (n < 0 && errno == EINTR) continue;
        return n;
    }
}

int64_t File::write_at(const void* buffer, size_t count, int64_t offset) {
    if (fd_ < 0 || offset < 0) return -1;
    if (!fs_->before_write(fd_, true)) return -1;
    size_t done = 0;
    const auto* bytes = static_cast<const char*>(buffer);
    while (done < count) {
        ssize_t n = pwrite(fd_, bytes + done, count - done, offset + static_cast<int64_t>(done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    fs_->bytes_written += static_cast<int64_t>(done);
    return (done > 0 || count == 0) ? static_cast<int64_t>(done) : -1;
}

bool File::write_all(const void* buffer, size_t count, int64_t offset) {
    return write_at(buffer, count, offset) == static_cast<int64_t>(count);
}

bool File::read_exactly(void* buffer, size_t count, int64_t offset) const {
    return read_at(buffer, count, offset) == static_cast<int64_t>(count);
}

int64_t File::size() const {
    struct stat st;
    if (fd_ < 0 || fstat(fd_, &st) != 0) return -1;
    return static_cast<int64_t>(st.st_size);
}

bool File::truncate(int64_t size) {
    if (fd_ < 0 || size < 0) return false;
    if (!fs_->before_write(fd_, false)) return false;
    return ftruncate(fd_, static_cast<off_t>(size)) == 0;
}

bool File::writable() const {
    if (fd_ < 0) return false;
    int flags = fcntl(fd_, F_GETFL);
    return flags >= 0 && ((flags & O_ACCMODE) == O_RDWR || (flags & O_ACCMODE) == O_WRONLY);
}

std::optional<FileId> File::id() const {
    struct stat st;
    if (fd_ < 0 || fstat(fd_, &st) != 0) return std::nullopt;
    return id_from(st);
}

int64_t File::link_count() const {
    struct stat st;
    if (fd_ < 0 || fstat(fd_, &st) != 0) return 0;
    return static_cast<int64_t>(st.st_nlink);
}

void File::copy_mode_from(const File& model) {
    struct stat st;
    if (fd_ < 0 || model.fd_ < 0 || fstat(model.fd_, &st) != 0) return;
    if (fchmod(fd_, st.st_mode & 07777) != 0) return;
    // Only root, or an owner keeping to its own groups, can hand the file over;
    // otherwise it belongs to whoever made it.
    if (fchown(fd_, st.st_uid, st.st_gid) != 0) return;
}

// ---- FileSystem ---------------------------------------------------------------------

FileSystem::FileSystem(const std::string& working_directory) {
    directory_ = AT_FDCWD;
    if (!working_directory.empty()) {
        int fd = ::open(working_directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd >= 0) directory_ = fd;
    }
}

FileSystem::~FileSystem() {
    for (HeldLock& held : locks_) ::close(held.fd);
    if (directory_ != AT_FDCWD) ::close(directory_);
}

int FileSystem::open_at(const std::string& path, int flags, mode_t mode) const {
    int fd;
    do {
        fd = openat(directory_, path.c_str(), flags | O_CLOEXEC, mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

File FileSystem::open(const std::string& path) {
    int fd = open_at(path, O_RDWR, 0);
    if (fd < 0) fd = open_at(path, O_RDONLY, 0);
    return fd < 0 ? File() : File(*this, fd);
}

File FileSystem::open_read(const std::string& path) {
    int fd = open_at(path, O_RDONLY, 0);
    return fd < 0 ? File() : File(*this, fd);
}

File FileSystem::create(const std::string& path) {
    int fd = open_at(path, O_CREAT | O_TRUNC | O_RDWR, 0644);
    return fd < 0 ? File() : File(*this, fd);
}

File FileSystem::open_append(const std::string& path) {
    int fd = open_at(path, O_CREAT | O_APPEND | O_WRONLY, 0666);
    return fd < 0 ? File() : File(*this, fd);
}

File FileSystem::create_new(const std::string& path) {
    int fd = open_at(path, O_CREAT | O_EXCL | O_RDWR, 0644);
    return fd < 0 ? File() : File(*this, fd);
}

bool FileSystem::publish(const std::string& path, const void* bytes, size_t count) {
    size_t slash = path.rfind('/');
    std::string directory = slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
    int fd = open_at(directory, O_TMPFILE | O_RDWR, 0644);
    if (fd >= 0) {
        File file(*this, fd);
        if (!file.write_all(bytes, count, 0)) return false;
        before_change();
        std::string name = "/proc/self/fd/" + std::to_string(fd);
        if (linkat(AT_FDCWD, name.c_str(), directory_, path.c_str(), AT_SYMLINK_FOLLOW) == 0) return true;
        if (errno == EEXIST) return false;
    }
    // No unnamed files here: a scratch name of this process's own, linked to the path.
    std::string scratch = path + ".new" + std::to_string(getpid());
    File file = create(scratch);
    bool made = file.is_open() && file.write_all(bytes, count, 0) && link(scratch, path);
    file.close();
    (void)remove(scratch);  // a scratch name that stays behind is never read
    return made;
}

bool FileSystem::rename(const std::string& from, const std::string& to) {
    before_change();
    return renameat(directory_, from.c_str(), directory_, to.c_str()) == 0;
}

bool FileSystem::link(const std::string& from, const std::string& to) {
    before_change();
    return linkat(directory_, from.c_str(), directory_, to.c_str(), 0) == 0;
}

bool FileSystem::remove(const std::string& path) {
    before_change();
    return unlinkat(directory_, path.c_str(), 0) == 0 || errno == ENOENT;
}

std::optional<FileId> FileSystem::id_of(const std::string& path) const {
    struct stat st;
    if (fstatat(directory_, path.c_str(), &st, 0) != 0) return std::nullopt;
    return id_from(st);
}

bool FileSystem::exists(const std::string& path) const {
    struct stat st;
    return fstatat(directory_, path.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0;
}

bool FileSystem::same_file(const std::string& a, const std::string& b) const {
    std::optional<FileId> id_a = id_of(a);
    return id_a && id_a == id_of(b);
}

bool FileSystem::is_regular_file(const std::string& path) const {
    struct stat st;
    return fstatat(directory_, path.c_str(), &st, 0) == 0 && S_ISREG(st.st_mode);
}

std::vector<std::string> FileSystem::list_directory(const std::string& path) const {
    std::vector<std::string> names;
    int fd = open_at(path.empty() ? "." : path, O_RDONLY | O_DIRECTORY, 0);
    if (fd < 0) return names;
    DIR* dir = fdopendir(fd);
    if (dir == nullptr) {
        ::close(fd);
        return names;
    }
    while (const dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(std::move(name));
    }
    closedir(dir);  // closes fd too
    return names;
}

bool FileSystem::watch(FileWatch& watch, int fd) {
    unwatch(watch);
    struct stat st;
    if (fstat(fd, &st) != 0) return false;
    watch.file = id_from(st);
    watch.fd = fd;
    watch.stale = false;
    watch.registered = true;
    watches_.push_back(&watch);
    return true;
}

void FileSystem::unwatch(FileWatch& watch) {
    if (!watch.registered) return;
    watches_.erase(std::remove(watches_.begin(), watches_.end(), &watch), watches_.end());
    watch.registered = false;
    watch.stale = true;
}

LockStatus FileSystem::try_lock(const File& file, FileLock& lock) { return take_lock(file, lock, false); }

LockStatus FileSystem::lock(const File& file, FileLock& lock) { return take_lock(file, lock, true); }

LockStatus FileSystem::take_lock(const File& file, FileLock& lock, bool wait) {
    lock.release();
    std::optional<FileId> id = file.id();
    if (!id || !file.writable()) return LockStatus::Unavailable;
    for (HeldLock& held : locks_) {
        if (held.file == *id) {
            ++held.depth;
            lock.fs_ = this;
            lock.file_ = *id;
            return LockStatus::Taken;
        }
    }
    // A descriptor of its own keeps the open file description, and with it the
    // lock, alive whatever becomes of the caller's File.
    int fd = fcntl(file.fd(), F_DUPFD_CLOEXEC, 0);
    if (fd < 0) return LockStatus::Unavailable;
    struct flock whole = range(F_WRLCK, 0, kLockEnd);
    if (lock_call(fd, wait ? F_OFD_SETLKW : F_OFD_SETLK, whole) != 0) {
        bool busy = errno == EAGAIN || errno == EACCES;
        ::close(fd);
        return busy ? LockStatus::Busy : LockStatus::Unavailable;
    }
    // The byte that names this process to a waiting run; without it the wait only
    // can't say whose lock it is.
    struct flock mark = range(F_WRLCK, kLockEnd, 1);
    (void)lock_call(fd, F_SETLK, mark);
    locks_.push_back(HeldLock{*id, fd, 1});
    lock.fs_ = this;
    lock.file_ = *id;
    return LockStatus::Taken;
}

void FileSystem::release_lock(const FileId& file) {
    for (auto it = locks_.begin(); it != locks_.end(); ++it) {
        if (!(it->file == file)) continue;
        if (--it->depth > 0) return;
        struct flock mark = range(F_UNLCK, kLockEnd, 1);
        (void)lock_call(it->fd, F_SETLK, mark);  // closing would drop it too
        struct flock whole = range(F_UNLCK, 0, kLockEnd);
        (void)lock_call(it->fd, F_OFD_SETLK, whole);
        ::close(it->fd);
        locks_.erase(it);
        return;
    }
}

pid_t FileSystem::lock_holder(const File& file) const {
    if (!file.is_open()) return 0;
    for (struct flock probe : {range(F_WRLCK, kLockEnd, 1), range(F_WRLCK, 0, 0)}) {
        if (lock_call(file.fd(), F_GETLK, probe) == 0 && probe.l_type != F_UNLCK && probe.l_pid > 0)
            return probe.l_pid;
    }
    return 0;
}

void FileSystem::before_change() {
    if (!write_budget_kills) return;
    if (write_budget == 0) raise(SIGKILL);
    if (write_budget > 0) --write_budget;
}

bool FileSystem::before_write(int fd, bool counts) {
    if (!counts && budget_freezes && write_budget == 0) return false;
    if (counts || write_budget_kills) {
        if (write_budget == 0 && write_budget_kills) raise(SIGKILL);
        if (write_budget == 0) return false;
        if (write_budget > 0) --write_budget;
    }
    if (watches_.empty()) return true;
    // Watches taken on this very descriptor need no look at the file: they are marked
    // either way (one whose descriptor was closed and reused only rereads). Only a
    // watch through another descriptor makes the file's identity worth an fstat.
    if (std::all_of(watches_.begin(), watches_.end(), [fd](const FileWatch* w) { return w->fd == fd; })) {
        for (FileWatch* w : watches_) w->stale = true;
        return true;
    }
    struct stat st;
    if (fstat(fd, &st) != 0) {
        for (FileWatch* w : watches_) w->stale = true;
        return true;
    }
    FileId id = id_from(st);
    for (FileWatch* w : watches_)
        if (w->fd == fd || w->file == id) w->stale = true;
    return true;
}
