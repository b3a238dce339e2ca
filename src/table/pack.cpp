// table/pack.cpp
//
// Packing a table: deleted records go, and a memo rebuild gives every live text a
// new block in a new memo file, leaving the dead ones behind. Nothing is changed in
// place. The packed records, and the new memo file, are written under scratch names
// beside the table and put in place by renaming only once they are complete, so a
// run killed at any moment leaves the old table or the new one, never a mixture:
//
//   t.dbf.pack     the copy while it is written
//   t.pack.dbt     the new memo file while it is written (t.pack.fpt for FoxPro)
//   t.dbf.packed   the complete copy, while the new memo file takes its place
//
// Without a memo rebuild one rename of the copy over the table does it. With one,
// the table and its memo file change together, and two renames can't be one step:
// the copy first becomes t.dbf.packed; the old memo file gets a second name, the
// `~` file (t.dbt -> t.~bt), which keeps the old texts; the new memo file is renamed
// over the old one; and the copy over the table. A run killed between these steps
// leaves t.dbf.packed behind, and the next open of the table takes the rest of the
// steps first (dbf_finish_pack). Scratch files of a run killed earlier are made
// anew by the next pack; no one reads them.
//
// A pack works on physical records, whatever filter or order stands. A pack of the
// records alone leaves a table without deleted records untouched, with its date.
// Records and memo texts go out in blocks, each block of records behind the texts
// it names.
#include <cstring>
#include <vector>

#include "io/progress.h"
#include "table/dbf.h"
#include "table/record_writer.h"

namespace {

constexpr size_t kCopyBatch = 256 * 1024;

std::string copy_name(const std::string& path) { return path + ".pack"; }

std::string committed_name(const std::string& path) { return path + ".packed"; }

std::string new_memo_name(const std::string& path, MemoKind kind) {
    std::string name, extension;
    dbf_split_path(path, name, extension);
    return dbf_memo_file_name(name + ".pack.dbf", kind);
}

// The old memo file's name for the texts it held: the first character of its
// extension becomes '~'.
std::string old_memo_name(const std::string& memo_path) {
    std::string name = memo_path;
    size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot + 1 < name.size()) name[dot + 1] = '~';
    return name;
}

// Scratch files of a pack, removed again unless they were put in place.
struct ScratchFiles {
    explicit ScratchFiles(FileSystem& fs) : fs(fs) {}
    ~ScratchFiles() {
        if (keep) return;
        copy.close();
        new_memo.reset();
        if (!table_copy.empty()) fs.remove(table_copy);
        if (!memo.empty()) fs.remove(memo);
    }
    FileSystem& fs;
    std::string table_copy;  // beside the table
    std::string memo;        // beside the memo file; empty without a memo rebuild
    File copy;
    MemoFilePtr new_memo;  // the memo file `memo`, its texts gathered
    bool keep = false;
};

// Stores block number `block` in a memo field the way a memo store does, and
// tells whether the field holds it now (a narrow text field may not).
bool store_block(DbfTable& table, int field, int32_t block) {
    if (dbf_wide_length(table.fields[field]) == 4) {
        (void)dbf_store_int(table, field, block);  // judged by reading back
        return dbf_field_int(table, field) == block;
    }
    (void)dbf_store_integer(table, field, block);  // judged by reading back
    return dbf_field_atol(table, field) == block;
}

// Whether any record carries the deletion mark; no value if one can't be read.
std::optional<bool> any_deleted(DbfTable& table) {
    const int32_t count = static_cast<int32_t>(table.header.record_count);
    for (int32_t r = 0; r < count; ++r) {
        if (!dbf_read_physical(table, r)) return std::nullopt;
        if (table.record[0] == '*') return true;
    }
    return false;
}

// Moves the memo texts of the record in the buffer to the new memo file.
bool move_memos(DbfTable& table, MemoFile& new_memo) {
    for (int field = 0; field < table.field_count; ++field) {
        if (!dbf_field_is_memo(table, field)) continue;
        // Whole, so that a binary memo keeps the bytes behind a NUL.
        std::optional<std::string> text = dbf_memo_read_bytes(table, field);
        if (!text || text->empty()) {
            dbf_field_blank(table, field);
            continue;
        }
        int32_t block = dbf_memo_append(new_memo, *text);
        if (block == 0 || !store_block(table, field, block)) return false;
    }
    return true;
}

// Writes the header and the records of the table into the copy: deleted ones left
// out if `compact`, memo texts moved if `rebuild`. The copy's header counts the
// records written into `kept` and, where some were left out, carries today's date,
// as any header write of a changed table does. The table's own files are only read.
bool write_copy(DbfTable& table, ScratchFiles& files, bool compact, bool rebuild, uint32_t& kept,
                Progress& progress) {
    const int64_t header_length = table.header.header_length;
    const size_t record_length = table.header.record_length;
    std::vector<uint8_t> head(static_cast<size_t>(header_length));
    if (!table.file.read_exactly(head.data(), head.size(), 0)) return false;

    // Records go out in batches behind the header; the end mark follows the last.
    std::vector<uint8_t> batch;
    batch.reserve(kCopyBatch + record_length + 1);
    int64_t batch_offset = header_length;
    auto flush = [&]() {
        bool written = (!files.new_memo || dbf_memo_flush(*files.new_memo)) &&
                       (batch.empty() || files.copy.write_all(batch.data(), batch.size(), batch_offset));
        batch_offset += static_cast<int64_t>(batch.size());
        batch.clear();
        return written;
    };

    const int32_t count = static_cast<int32_t>(table.header.record_count);
    kept = 0;
    progress.stage(compact ? "moving records" : "rebuilding memos", static_cast<uint64_t>(count));
    for (int32_t r = 0; r < count; ++r) {
        progress.advance(static_cast<uint64_t>(r));
        if (!dbf_read_physical(table, r)) return false;
        if (compact && table.record[0] == '*') continue;
        if (rebuild && !move_memos(table, *files.new_memo)) return false;
        batch.insert(batch.end(), table.record.begin(),
                     table.record.begin() + static_cast<std::ptrdiff_t>(record_length));
        ++kept;
        const bool texts_full = files.new_memo && dbf_memo_waiting(*files.new_memo) >= kRecordBlockBytes;
        if ((batch.size() >= kCopyBatch || texts_full) && !flush()) return false;
    }
    batch.push_back(0x1A);
    if (!flush()) return false;

    // Header and descriptors go last: a copy without them was never complete. The
    // header is the table's as it stands in memory (its signature repaired) where
    // records were left out, and the file's own otherwise.
    DbfHeader header;
    if (kept != table.header.record_count) {
        header = table.header;
        dbf_stamp_today(header);
    } else {
        std::memcpy(&header, head.data(), sizeof header);
    }
    header.record_count = kept;
    std::memcpy(head.data(), &header, sizeof header);
    if (!files.copy.write_all(head.data(), head.size(), 0)) return false;
    table.header.update_year = header.update_year;
    table.header.update_month = header.update_month;
    table.header.update_day = header.update_day;
    return true;
}

// Gives the memo file its `~` name beside its own (replacing the one of an earlier
// pack) and renames the new memo file over it. Where the file system has no second
// names, the old file is renamed away instead, and put back if the new one can't
// take its place.
bool put_memo_in_place(FileSystem& fs, const std::string& memo_path, const std::string& new_memo,
                       const std::string& old_memo) {
    if (!fs.remove(old_memo)) return false;
    if (fs.link(memo_path, old_memo)) return fs.rename(new_memo, memo_path);
    if (!fs.rename(memo_path, old_memo)) return false;
    if (fs.rename(new_memo, memo_path)) return true;
    (void)fs.rename(old_memo, memo_path);  // a rename undone on the way back can only be tried
    return false;
}

// Puts the complete copy and the new memo file in place; see the opening comment.
bool commit(DbfTable& table, ScratchFiles& files) {
    FileSystem& fs = files.fs;
    if (files.memo.empty()) return fs.rename(files.table_copy, table.path);
    const std::string committed = committed_name(table.path);
    if (!fs.rename(files.table_copy, committed)) return false;
    files.table_copy = committed;  // removed on failure from here on
    const std::string old_memo = old_memo_name(table.memo_path);
    if (!put_memo_in_place(fs, table.memo_path, files.memo, old_memo)) return false;
    if (fs.rename(committed, table.path)) return true;
    // Back to the old memo file, which kept its `~` name.
    (void)fs.rename(old_memo, table.memo_path);  // a rename undone on the way back can only be tried
    return false;
}

}  // namespace

bool dbf_pack(DbfTable& table, PackMode mode, Progress* progress) {
    if (table.partial) return false;  // the records past the last position would be lost
    Progress silent;
    Progress& shown = progress != nullptr ? *progress : silent;
    const bool compact = mode != PackMode::Memo;
    bool rebuild = mode != PackMode::Records && table.first_memo_field != -1;
    const MemoKind kind = dbf_bind_memo(table);
    // Memos of an unknown family can be neither read nor written: a rebuild would
    // only blank their references. No memo file (or none that opens): nothing to
    // rebuild either.
    const int32_t block_size = rebuild && kind != MemoKind::Unknown ? dbf_memo_block_size(table) : 0;
    if (block_size == 0) rebuild = false;
    if (!rebuild) {
        if (!compact) return true;
        std::optional<bool> deleted = any_deleted(table);
        if (!deleted) return false;
        if (!*deleted) return true;
    }
    if (!table.file.writable()) return false;

    FileSystem& fs = table.file.fs();
    const std::string memo_path = table.memo_path;
    if (rebuild && fs.same_file(old_memo_name(memo_path), table.path)) return false;
    ScratchFiles files(fs);
    if (rebuild) {
        std::string name, extension;
        dbf_split_path(table.path, name, extension);
        files.memo = new_memo_name(table.path, kind);
        if (!dbf_create_memo(fs, name + ".pack.dbf", kind, block_size)) return false;
        File new_memo = fs.open(files.memo);
        if (!new_memo.is_open()) return false;
        new_memo.copy_mode_from(fs.open_read(memo_path));
    }
    files.table_copy = copy_name(table.path);
    files.copy = fs.create(files.table_copy);
    if (!files.copy.is_open()) return false;
    files.copy.copy_mode_from(table.file);
    uint32_t kept = 0;
    if (rebuild) files.new_memo = dbf_memo_attach(table, files.memo);
    if (!write_copy(table, files, compact, rebuild, kept, shown)) return false;
    files.new_memo.reset();  // every text is in the file: the last flush wrote them
    if (!commit(table, files)) return false;
    // The copy is the table now; the old file goes with its descriptor, and the old
    // memo file, now the `~` file, with the table's hold on it.
    files.keep = true;
    dbf_memo_release(table);
    table.read_cache.reset();
    table.file = std::move(files.copy);
    table.header.record_count = kept;
    return true;
}

bool dbf_finish_pack(FileSystem& fs, const std::string& path) {
    const std::string committed = committed_name(path);
    if (!fs.exists(committed)) return true;
    DbfTable table;
    table.file = fs.open(path);
    FileLock lock;
    if (fs.lock(table.file, lock) != LockStatus::Taken) return false;
    // Another run may have finished it while this one waited.
    if (!fs.exists(committed)) return true;
    if (!dbf_read_header(table) || !dbf_read_fields(table)) return false;
    table.path = path;
    const MemoKind kind = dbf_bind_memo(table);
    const std::string new_memo = new_memo_name(path, kind);
    // A new memo file still under its scratch name has not yet taken the old one's place.
    if (fs.exists(new_memo) && !put_memo_in_place(fs, table.memo_path, new_memo, old_memo_name(table.memo_path)))
        return false;
    return fs.rename(committed, path);
}
