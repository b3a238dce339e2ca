// table/create.cpp
//
// New tables, and changes to a table file as a whole.
//
// A new table is its 32-byte header, the descriptors and the terminator 0x0D, with
// no records and no end mark: header_length is 32 x (fields + 1) + 1, nothing to
// spare. Its signature follows the memo family (0x83, 0xF5, 0x8B, 0x30, else 0x03),
// and field widths are brought to the sizes the family stores them in.
//
// A pack closes the gaps of deleted records in place and cuts the file behind the
// last live one. Rebuilding the memo file is different: every live text gets a new
// block number, so the records change together with the memo file, and neither may
// change without the other. The rebuild therefore writes a new memo file and a new
// copy of the table under scratch names beside them, and only when both are
// complete puts them in place by renaming: the old memo file becomes the `~` file
// (t.dbt -> t.~bt), the new one takes its name, and the copy takes the table's.
// Until the last rename nothing the table refers to has changed, and a failed
// rename is undone by renaming back.
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "table/dbf.h"
#include "table/file_io.h"

namespace {

constexpr size_t kCopyBatch = 256 * 1024;

uint8_t signature_for(int kind) {
    switch (kind) {
        case MemoDbase3: return 0x83;
        case MemoFoxPro: return 0xF5;
        case MemoDbase4: return 0x8B;
        case MemoVisualFoxPro: return 0x30;
        default: return 0x03;
    }
}

void set_wide(FieldDesc& desc, uint16_t wide) {
    desc.length = static_cast<uint8_t>(wide & 0xFF);
    desc.decimals = static_cast<uint8_t>(wide >> 8);
}

// Brings one descriptor to the width its type is stored with under `signature`.
// True if the field keeps its text in the memo file.
bool normalise_field(FieldDesc& desc, uint8_t signature) {
    uint16_t wide = static_cast<uint16_t>(dbf_wide_length(desc));
    switch (desc.type) {
        case 'D': case 'Y':
            set_wide(desc, 8);
            return false;
        case 'I':
            set_wide(desc, 4);
            return false;
        case 'L':
            set_wide(desc, 1);
            return false;
        case 'T':
            if (wide != 14) set_wide(desc, signature == 0x30 ? 8 : 14);
            return false;
        case 'M': case 'G':
            set_wide(desc, signature == 0x30 ? 4 : 10);
            return true;
        case 'B':
            if (wide != 10 && wide != 8) set_wide(desc, signature == 0x8B ? 10 : 8);
            return dbf_wide_length(desc) == 10;
        default:
            return false;
    }
}

bool write_all(int fd, const void* bytes, size_t count, int64_t offset) {
    return file_write_at(fd, bytes, count, offset) == static_cast<int64_t>(count);
}

bool is_writable(int fd) {
    int flags = fcntl(fd, F_GETFL);
    return flags >= 0 && (flags & O_ACCMODE) == O_RDWR;
}

bool same_file(const std::string& a, const std::string& b) {
    struct stat sa, sb;
    return stat(a.c_str(), &sa) == 0 && stat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev &&
           sa.st_ino == sb.st_ino;
}

// Compaction: live records move down over the deleted ones, in order. A record is
// only ever written over a deleted record or over one already copied further down,
// so a failure half-way loses no live record.
int compact_records(DbfTable& table) {
    int32_t count = static_cast<int32_t>(table.header.record_count);
    int32_t kept = 0;
    for (int32_t source = 0; source < count; ++source) {
        if (!dbf_read_record(table, source)) return 0;
        if (table.record[0] == '*') continue;
        if (source != kept && !dbf_write_physical(table, kept)) return 0;
        ++kept;
    }
    // A table without deleted records is not touched, and keeps its date.
    return kept == count ? 1 : dbf_truncate(table, kept);
}

// Scratch files of a memo rebuild, removed again unless they were put in place.
struct RebuildFiles {
    std::string table_copy;  // beside the table
    std::string memo;        // beside the memo file
    int copy_fd = -1;
    bool keep = false;
    ~RebuildFiles() {
        if (copy_fd >= 0 && !keep) close(copy_fd);
        if (keep) return;
        if (!table_copy.empty()) std::remove(table_copy.c_str());
        if (!memo.empty()) std::remove(memo.c_str());
    }
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
        dbf_store_int(table, field, block);
        return dbf_field_int(table, field) == block;
    }
    dbf_store_integer(table, field, block);
    return dbf_field_atol(table, field) == block;
}

// Writes every record of the table, with its memo texts moved to the new memo file,
// into the copy. The table's own files are only read.
bool write_rebuilt_copy(DbfTable& table, RebuildFiles& files) {
    const int64_t header_length = table.header.header_length;
    const size_t record_length = table.header.record_length;
    std::vector<uint8_t> head(static_cast<size_t>(header_length));
    if (file_read_at(table.fd, head.data(), head.size(), 0) != header_length) return false;
    if (!write_all(files.copy_fd, head.data(), head.size(), 0)) return false;

    // Records go out in batches; the end mark follows the last one.
    std::vector<uint8_t> batch;
    batch.reserve(kCopyBatch + record_length + 1);
    int64_t batch_offset = header_length;
    auto flush = [&]() {
        bool written = batch.empty() || write_all(files.copy_fd, batch.data(), batch.size(), batch_offset);
        batch_offset += static_cast<int64_t>(batch.size());
        batch.clear();
        return written;
    };

    const std::string old_memo = table.memo_path;
    const int32_t count = static_cast<int32_t>(table.header.record_count);
    for (int32_t r = 0; r < count; ++r) {
        if (!dbf_read_record(table, r)) return false;
        for (int field = 0; field < table.field_count; ++field) {
            if (!dbf_field_is_memo(table, field)) continue;
            // Whole, so that a binary memo keeps the bytes behind a NUL.
            std::optional<std::string> text = dbf_memo_read_bytes(table, field);
            if (!text || text->empty()) {
                dbf_field_blank(table, field);
                continue;
            }
            table.memo_path = files.memo;
            int32_t block = dbf_memo_write_bytes(table, *text);
            table.memo_path = old_memo;
            if (block == 0 || !store_block(table, field, block)) return false;
        }
        batch.insert(batch.end(), table.record.begin(), table.record.begin() + static_cast<std::ptrdiff_t>(record_length));
        if (batch.size() >= kCopyBatch && !flush()) return false;
    }
    batch.push_back(0x1A);
    return flush();
}

void copy_mode(const std::string& from, int to_fd) {
    struct stat st;
    if (stat(from.c_str(), &st) != 0) return;
    if (fchmod(to_fd, st.st_mode & 07777) != 0) return;
    // Only root, or an owner keeping to its own groups, can hand the copy over;
    // otherwise it belongs to whoever packs it.
    if (fchown(to_fd, st.st_uid, st.st_gid) != 0) return;
}

int rebuild_memo(DbfTable& table) {
    int kind = dbf_bind_memo(table);
    // Memos of an unknown family can be neither read nor written: a rebuild would
    // only blank their references.
    if (kind == MemoUnknown) return 1;
    // No memo file (or none that opens): nothing to rebuild.
    int32_t block_size = dbf_memo_block_size(table);
    if (block_size == 0) return 1;
    if (!is_writable(table.fd)) return 0;

    const std::string memo_path = table.memo_path;
    const std::string old_memo = old_memo_name(memo_path);
    if (same_file(old_memo, table.path)) return 0;

    RebuildFiles files;
    std::string name, extension;
    dbf_split_path(table.path, name, extension);
    std::string memo_owner = name + ".pack.dbf";
    files.memo = dbf_memo_file_name(memo_owner, kind);
    files.table_copy = table.path + ".pack";
    if (!dbf_create_memo(memo_owner, kind, block_size)) return 0;
    int memo_fd = dbf_open_file(files.memo.c_str());
    if (memo_fd == 0) return 0;
    copy_mode(memo_path, memo_fd);
    close(memo_fd);
    files.copy_fd = file_create(files.table_copy.c_str());
    if (files.copy_fd == 0) {
        // Descriptor 0 means "closed" to a table.
        files.copy_fd = fcntl(0, F_DUPFD_CLOEXEC, 1);
        close(0);
    }
    if (files.copy_fd < 0) return 0;
    copy_mode(table.path, files.copy_fd);
    if (!write_rebuilt_copy(table, files)) return 0;

    // The rename replaces the `~` file of an earlier pack.
    if (std::rename(memo_path.c_str(), old_memo.c_str()) != 0) return 0;
    if (std::rename(files.memo.c_str(), memo_path.c_str()) != 0) {
        std::rename(old_memo.c_str(), memo_path.c_str());
        return 0;
    }
    if (std::rename(files.table_copy.c_str(), table.path.c_str()) != 0) {
        std::rename(memo_path.c_str(), files.memo.c_str());
        std::rename(old_memo.c_str(), memo_path.c_str());
        return 0;
    }
    // The copy is the table now; the old file goes with its descriptor.
    files.keep = true;
    close(table.fd);
    table.fd = files.copy_fd;
    table.read_cache.reset();
    return 1;
}

// Positions mean physical records while a pack runs, on every way out.
struct PhysicalPositions {
    DbfTable& table;
    explicit PhysicalPositions(DbfTable& t) : table(t) { table.use_index = 0; }
    ~PhysicalPositions() { table.use_index = 1; }
};

}  // namespace

int dbf_create(const std::string& path, FieldDesc* fields, int count, int kind, int block_size, int make_memo) {
    if (count < 0 || count > kMaxFields) return 0;
    DbfHeader header{};
    header.signature = signature_for(kind);
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    header.update_year = dbf_header_year(local.tm_year);
    header.update_month = static_cast<uint8_t>(local.tm_mon + 1);
    header.update_day = static_cast<uint8_t>(local.tm_mday);

    bool has_memo = false;
    int64_t record_length = 1;
    for (int i = 0; i < count; ++i) {
        FieldDesc& desc = fields[i];
        desc.record_offset = static_cast<uint16_t>(record_length > 0xFFFF ? 0xFFFF : record_length);
        if (normalise_field(desc, header.signature)) has_memo = true;
        record_length += desc.type == 'C' ? dbf_wide_length(desc) : desc.length;
    }
    // A layout the 16-bit lengths can't describe would make a table that reads back
    // wrong; no file is made, and none is emptied.
    int64_t header_length = 32 * (static_cast<int64_t>(count) + 1) + 1;
    if (header_length > 0xFFFF || record_length > kRecordBufferSize) return 0;
    header.header_length = static_cast<uint16_t>(header_length);
    header.record_length = static_cast<uint16_t>(record_length);

    int fd = file_create(path.c_str());
    if (fd < 0) return 0;
    const uint8_t terminator = 0x0D;
    const size_t descriptor_bytes = sizeof(FieldDesc) * static_cast<size_t>(count);
    int complete = write_all(fd, &header, sizeof header, 0) &&
                   (count == 0 || write_all(fd, fields, descriptor_bytes, sizeof header)) &&
                   write_all(fd, &terminator, 1, static_cast<int64_t>(sizeof header + descriptor_bytes));
    close(fd);
    if (make_memo && has_memo) dbf_create_memo(path, kind, block_size);
    return complete;
}

void dbf_fill_field(FieldDesc& desc, const char* name, char type, uint16_t wide) {
    desc = FieldDesc{};
    std::memcpy(desc.name, name, strnlen(name, sizeof desc.name));
    desc.type = type;
    set_wide(desc, wide);
}

int dbf_truncate(DbfTable& table, int32_t count) {
    int64_t end = dbf_seek_physical(table, count);
    if (end < 0) return 0;
    uint32_t old_count = table.header.record_count;
    int64_t records_end = dbf_seek_physical(table, old_count);
    if (records_end >= 0 && end <= records_end) {
        // Shorter: the header first, so that a failing disk leaves the table as it
        // was; the cut then keeps the end mark the header write put behind the last record.
        table.header.record_count = static_cast<uint32_t>(count);
        if (!dbf_write_header(table)) {
            table.header.record_count = old_count;
            return 0;
        }
        return file_truncate(table.fd, end + 1) == 0;
    }
    // Longer: records of zero bytes, their marks too, so the old end mark and any
    // torn record behind the last one go first. A header that can't be written takes
    // them off again.
    if (records_end >= 0 && file_truncate(table.fd, records_end) != 0) return 0;
    if (file_truncate(table.fd, end) != 0) return 0;
    table.header.record_count = static_cast<uint32_t>(count);
    if (!dbf_write_header(table)) {
        table.header.record_count = old_count;
        if (records_end >= 0) file_truncate(table.fd, records_end);
        return 0;
    }
    return 1;
}

int dbf_zap(DbfTable& table) { return dbf_truncate(table, 0); }

int dbf_pack(DbfTable& table, int mode) {
    PhysicalPositions physical(table);
    int result = 1;
    if (mode == 0 || mode == 1) {
        if (!compact_records(table)) return 0;
    }
    if ((mode == 0 || mode == 2) && table.first_memo_field != -1) result = rebuild_memo(table);
    return result;
}
