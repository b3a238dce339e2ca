// commands/change.cpp
#include "commands/change.h"

#include <chrono>
#include <thread>
#include <vector>

namespace {

// A wait shorter than this goes unremarked.
constexpr auto kQuietWait = std::chrono::milliseconds(500);
constexpr auto kPoll = std::chrono::milliseconds(20);

// Locks `file`, waiting for it; on a terminal a wait longer than kQuietWait says
// whose lock it waits for. Taken, or Unavailable where the file can't be locked.
LockStatus acquire(Pass& pass, const File& file, const std::string& name, FileLock& lock) {
    FileSystem& fs = pass.run.fs;
    LockStatus status = fs.try_lock(file, lock);
    if (status != LockStatus::Busy) return status;
    if (!pass.out.is_terminal()) return fs.lock(file, lock);
    for (auto waited = std::chrono::milliseconds(0); waited < kQuietWait; waited += kPoll) {
        std::this_thread::sleep_for(kPoll);
        status = fs.try_lock(file, lock);
        if (status != LockStatus::Busy) return status;
    }
    pid_t holder = fs.lock_holder(file);
    if (holder > 0)
        pass.out.print("Waiting for \"%s\", locked by process %d...\n", name.c_str(), static_cast<int>(holder));
    else
        pass.out.print("Waiting for \"%s\", locked by another program...\n", name.c_str());
    pass.out.flush();
    return fs.lock(file, lock);
}

// Opens the table at its path again, keeping what the run made of it.
void reopen(DbfTable& table, FileSystem& fs) {
    const std::string path = table.path;
    const std::vector<uint8_t> record = table.record;
    if (dbf_open_into(table, fs, path) != OpenFailure::None) die("Can't reopen file:", path);
    if (table.record.size() == record.size()) table.record = record;
}

}  // namespace

TableChange::TableChange(Pass& pass, DbfTable& table) : pass_(pass), table_(table) {
    FileSystem& fs = pass.run.fs;
    // Each round finds the table replaced by a run that held the lock; after a few
    // the change goes to the file this run holds.
    for (int round = 0;; ++round) {
        if (acquire(pass, table.file, table.path, table_lock_) != LockStatus::Taken) break;
        (void)dbf_finish_pack(fs, table.path);  // one that can't be finished leaves the old table
        std::optional<FileId> at_path = fs.id_of(table.path);
        if (!at_path || at_path == table.file.id() || round == 7) break;
        table_lock_.release();
        reopen(table, fs);
    }
    File memo = fs.open(table.memo_path);
    if (memo.is_open()) (void)acquire(pass, memo, table.memo_path, memo_lock_);  // unlockable: goes on without
    if (table.file.size() != table.counted_size)
        (void)dbf_refresh_count(table);  // a size that can't be had counts no records, and nothing is written
}

TableChange::~TableChange() { table_.counted_size = table_.file.size(); }

bool TableChange::appends_fit() {
    if (dbf_append_fits(table_)) return true;
    const int64_t described = dbf_computed_record_length(table_);
    // The length the file's header holds: one the fields overruled is read again.
    int stored = table_.header.record_length;
    uint8_t bytes[2];
    if ((table_.status & DBF_STATUS_BAD_RECORD_LENGTH) && table_.file.read_exactly(bytes, 2, 10))
        stored = bytes[0] | (bytes[1] << 8);
    if (stored != described)
        pass_.out.print("Can't change \"%s\": its header's record length %d disagrees with its fields' %lld\n",
                        table_.path.c_str(), stored, static_cast<long long>(described));
    else
        pass_.out.print("Can't change \"%s\": its header places the records past the end of the file\n",
                        table_.path.c_str());
    return false;
}

bool TableChange::memo_writable() {
    if (dbf_memo_state(table_) != MemoState::Damaged) return true;
    pass_.out.print("Can't change \"%s\": the header of \"%s\" names no free block within the file\n",
                    table_.path.c_str(), table_.memo_path.c_str());
    return false;
}
