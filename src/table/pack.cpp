// table/pack.cpp
//
// Packing a table. A pack closes the gaps of deleted records in place and cuts the
// file behind the last live one. Rebuilding the memo file is different: every live
// text gets a new block number, so the records change together with the memo file,
// and neither may change without the other. The rebuild therefore writes a new memo
// file and a new copy of the table under scratch names beside them, and only when
// both are complete puts them in place by renaming: the old memo file becomes the
// `~` file (t.dbt -> t.~bt), the new one takes its name, and the copy takes the
// table's. Until the last rename nothing the table refers to has changed, and a
// failed rename is undone by renaming back.
//
// A pack works on physical records, whatever filter or order stands. Records and
// memo texts go out in blocks (table/record_writer.h).
#include <vector>

#include "table/dbf.h"
#include "table/record_writer.h"

namespace {

constexpr size_t kCopyBatch = 256 * 1024;

// Compaction: live records move down over the deleted ones, in order, gathered in
// runs. A run is written only after every record it covers has been read, and each
// of those is deleted or stands in this run or an earlier one at a lower place; so
// a failure half-way, even in the middle of a run's write, loses no live record.
bool compact_records(DbfTable& table, Progress& progress) {
    int32_t count = static_cast<int32_t>(table.header.record_count);
    int32_t kept = 0;
    RecordUpdater moved(table);
    progress.stage("moving records", static_cast<uint64_t>(count));
    for (int32_t source = 0; source < count; ++source) {
        progress.advance(static_cast<uint64_t>(source));
        if (!dbf_read_physical(table, source)) return false;
        if (table.record[0] == '*') continue;
        if (source != kept && !moved.write_physical(kept)) return false;
        ++kept;
    }
    if (!moved.finish()) return false;
    // A table without deleted records is not touched, and keeps its date.
    return kept == count || dbf_truncate(table, kept);
}

// Scratch files of a memo rebuild, removed again unless they were put in place.
struct RebuildFiles {
    explicit RebuildFiles(FileSystem& fs) : fs(fs) {}
    ~RebuildFiles() {
        if (keep) return;
        copy.close();
        new_memo.reset();
        if (!table_copy.empty()) fs.remove(table_copy);
        if (!memo.empty()) fs.remove(memo);
    }
    FileSystem& fs;
    std::string table_copy;  // beside the table
    std::string memo;        // beside the memo file
    File copy;
    MemoFilePtr new_memo;    // the memo file `memo`, its texts gathered
    bool keep = false;
};

// The old memo file's name for the texts it held: the first character of its
// extension becomes '~'.
std::string old_memo_name(const std::string& memo_path) {
    std::string name = memo_path;
    size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot + 1 < name.size()) name[dot + 1] = '~';
    return name;
}

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

// Writes every record of the table, with its memo texts moved to the new memo file,
// into the copy. The table's own files are only read.
bool write_rebuilt_copy(DbfTable& table, RebuildFiles& files, Progress& progress) {
    const int64_t header_length = table.header.header_length;
    const size_t record_length = table.header.record_length;
    std::vector<uint8_t> head(static_cast<size_t>(header_length));
    if (!table.file.read_exactly(head.data(), head.size(), 0)) return false;
    if (!files.copy.write_all(head.data(), head.size(), 0)) return false;

    // Records go out in batches, each behind the memo texts it names; the end mark
    // follows the last one.
    std::vector<uint8_t> batch;
    batch.reserve(kCopyBatch + record_length + 1);
    int64_t batch_offset = header_length;
    MemoFile& new_memo = *files.new_memo;
    auto flush = [&]() {
        bool written = dbf_memo_flush(new_memo) &&
                       (batch.empty() || files.copy.write_all(batch.data(), batch.size(), batch_offset));
        batch_offset += static_cast<int64_t>(batch.size());
        batch.clear();
        return written;
    };

    const int32_t count = static_cast<int32_t>(table.header.record_count);
    progress.stage("rebuilding memos", static_cast<uint64_t>(count));
    for (int32_t r = 0; r < count; ++r) {
        progress.advance(static_cast<uint64_t>(r));
        if (!dbf_read_physical(table, r)) return false;
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
        batch.insert(batch.end(), table.record.begin(),
                     table.record.begin() + static_cast<std::ptrdiff_t>(record_length));
        if ((batch.size() >= kCopyBatch || dbf_memo_waiting(new_memo) >= kRecordBlockBytes) && !flush())
            return false;
    }
    batch.push_back(0x1A);
    return flush();
}

bool rebuild_memo(DbfTable& table, Progress& progress) {
    MemoKind kind = dbf_bind_memo(table);
    // Memos of an unknown family can be neither read nor written: a rebuild would
    // only blank their references.
    if (kind == MemoKind::Unknown) return true;
    // No memo file (or none that opens): nothing to rebuild.
    int32_t block_size = dbf_memo_block_size(table);
    if (block_size == 0) return true;
    if (!table.file.writable()) return false;

    FileSystem& fs = table.file.fs();
    const std::string memo_path = table.memo_path;
    const std::string old_memo = old_memo_name(memo_path);
    if (fs.same_file(old_memo, table.path)) return false;

    RebuildFiles files(fs);
    std::string name, extension;
    dbf_split_path(table.path, name, extension);
    std::string memo_owner = name + ".pack.dbf";
    files.memo = dbf_memo_file_name(memo_owner, kind);
    files.table_copy = table.path + ".pack";
    if (!dbf_create_memo(fs, memo_owner, kind, block_size)) return false;
    {
        File new_memo = fs.open(files.memo);
        if (!new_memo.is_open()) return false;
        new_memo.copy_mode_from(fs.open_read(memo_path));
    }
    files.copy = fs.create(files.table_copy);
    if (!files.copy.is_open()) return false;
    files.copy.copy_mode_from(table.file);
    files.new_memo = dbf_memo_attach(table, files.memo);
    if (!write_rebuilt_copy(table, files, progress)) return false;
    files.new_memo.reset();

    // The rename replaces the `~` file of an earlier pack. A rename undone on
    // the way back can only be tried.
    if (!fs.rename(memo_path, old_memo)) return false;
    if (!fs.rename(files.memo, memo_path)) {
        (void)fs.rename(old_memo, memo_path);
        return false;
    }
    if (!fs.rename(files.table_copy, table.path)) {
        (void)fs.rename(memo_path, files.memo);
        (void)fs.rename(old_memo, memo_path);
        return false;
    }
    // The copy is the table now; the old file goes with its descriptor, and the old
    // memo file, now the `~` file, with the table's hold on it.
    files.keep = true;
    dbf_memo_release(table);
    table.read_cache.reset();
    table.file = std::move(files.copy);
    return true;
}

}  // namespace

bool dbf_pack(DbfTable& table, PackMode mode, Progress* progress) {
    if (table.partial) return false;  // the records past the last position would be lost
    Progress silent;
    Progress& shown = progress != nullptr ? *progress : silent;
    if (mode == PackMode::All || mode == PackMode::Records) {
        if (!compact_records(table, shown)) return false;
    }
    if ((mode == PackMode::All || mode == PackMode::Memo) && table.first_memo_field != -1)
        return rebuild_memo(table, shown);
    return true;
}
