// edit/maintain.cpp
//
// Commands on the table file as a whole. The engine does the work (table/create.cpp);
// these handlers parse their parameter and say one line when something fails.
//
// /SORT: writes the records in sorted order into a new table, then swaps files: the
// table becomes NAME.bak and the sorted copy takes its name, both in the working
// directory next to the copy NAME.tmp. The swap comes only after the copy has been
// checked complete, and a rename that fails is undone, so the table's path holds
// either the original or the whole sorted copy.
#include "edit/maintain.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include "driver/parameters.h"
#include "driver/program.h"
#include "select/filter.h"
#include "select/order.h"
#include "table/dbf.h"

namespace {

DbfTable& table() { return *state.current_table; }

bool same_file(const std::string& a, const std::string& b) {
    struct stat sa, sb;
    return stat(a.c_str(), &sa) == 0 && stat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev &&
           sa.st_ino == sb.st_ino;
}

bool is_writable(int fd) {
    int flags = fcntl(fd, F_GETFL);
    return flags >= 0 && (flags & O_ACCMODE) == O_RDWR;
}

std::vector<FieldDesc> field_copies(const DbfTable& source) {
    return std::vector<FieldDesc>(source.fields.begin(), source.fields.begin() + source.field_count);
}

// The temporary file of a sort, removed unless it became the table.
struct TemporaryFile {
    std::string path;
    bool keep = false;
    ~TemporaryFile() {
        if (!keep) std::remove(path.c_str());
    }
};

// Records are copied byte for byte, so the copy must lay them out as the table does.
bool same_layout(const DbfTable& a, const DbfTable& b) {
    if (a.header.record_length != b.header.record_length || a.field_count != b.field_count) return false;
    for (int i = 0; i < a.field_count; ++i) {
        if (a.fields[i].record_offset != b.fields[i].record_offset) return false;
        if (dbf_field_width(a, i) != dbf_field_width(b, i)) return false;
    }
    return true;
}

// The sorted copy gets the table's permissions, and its owner where that is allowed.
void copy_mode(int from_fd, int to_fd) {
    struct stat st;
    if (fstat(from_fd, &st) != 0) return;
    if (fchmod(to_fd, st.st_mode & 07777) != 0) return;
    if (fchown(to_fd, st.st_uid, st.st_gid) != 0) return;
}

// Writes the records of `source` in the order of `order` into the open `sorted`.
// 1 if every record and the header were written.
int copy_sorted(DbfTable& source, const std::vector<int32_t>& order, DbfTable& sorted, bool& read_failed) {
    const size_t length = source.header.record_length;
    int32_t written = 0;
    for (int32_t position : order) {
        if (!dbf_read_record(source, position)) {
            read_failed = true;
            return 0;
        }
        std::memcpy(sorted.record.data(), source.record.data(), length);
        if (!dbf_write_physical(sorted, written)) return 0;
        ++written;
    }
    sorted.header.record_count = static_cast<uint32_t>(written);
    return dbf_write_header(sorted);
}

}  // namespace

void cmd_pack(const char* text) {
    if (*text != '\0') {
        if (strcasecmp(text, ":dbf") == 0) {
            options.pack_mode = 1;
        } else if (strcasecmp(text, ":memo") == 0) {
            options.pack_mode = 2;
        } else {
            std::fputs("Invalid pack parameter...\n", stdout);
            return;
        }
    }
    dbf_pack(table(), options.pack_mode);
}

void cmd_trunc(const char* text) {
    if (*text == '\0') {
        std::fputs("Parameter required for trunc...\n", stdout);
        return;
    }
    dbf_truncate(table(), std::atoi(text));
}

void cmd_make(const char* text) {
    if (*text == '\0') {
        std::fputs("Filename required for make...\n", stdout);
        return;
    }
    DbfTable& current = table();
    int kind = dbf_bind_memo(current);
    // Creating empties the named file and its memo file: never the table's own.
    if (same_file(text, current.path) || same_file(dbf_memo_file_name(text, kind), current.memo_path)) {
        std::printf("Can't create \"%s\"\n", text);
        return;
    }
    // The table's own descriptors stay as they are, so that they go on describing
    // its file; the new table gets normalised copies.
    std::vector<FieldDesc> fields = field_copies(current);
    if (!dbf_create(text, fields.data(), current.field_count, kind, current.memo_block_size, 1))
        std::printf("Can't create \"%s\"\n", text);
}

void cmd_sort(const char* text) {
    if (*text == '\0') {
        std::fputs("Field[s] required for sort...\n", stdout);
        return;
    }
    DbfTable& current = table();
    std::array<int32_t, kMaxKeyFields> keys{};
    int32_t key_count = 0;
    if (dbf_parse_field_list(current, text, key_count, keys) != 0) {
        std::fputs("Invalid field[s]...\n", stdout);
        return;
    }
    cmd_clear();

    std::string name, extension;
    dbf_split_path(current.path, name, extension);
    const std::string temp_path = path_merge("", "", name.c_str(), ".tmp");
    const std::string backup = path_merge("", "", name.c_str(), ".bak");

    current.sort_key_count = key_count;
    current.sort_keys = keys.data();
    std::optional<std::vector<int32_t>> order;
    dbf_sort_index(current, order, nullptr);
    current.sort_key_count = 0;
    current.sort_keys = nullptr;
    if (!order) return;

    if (same_file(temp_path, current.path)) {
        std::printf("Can't create \"%s\"\n", temp_path.c_str());
        return;
    }
    if (same_file(backup, current.path)) {
        std::printf("Can't rename \"%s\" to \"%s\", table not sorted\n", current.path.c_str(), backup.c_str());
        return;
    }
    int kind = dbf_bind_memo(current);
    std::vector<FieldDesc> fields = field_copies(current);
    struct stat existing;
    bool was_there = lstat(temp_path.c_str(), &existing) == 0;
    if (!dbf_create(temp_path, fields.data(), current.field_count, kind, current.memo_block_size, 0)) {
        // A part-written copy goes; whatever stood under the name before stays.
        if (!was_there) std::remove(temp_path.c_str());
        std::printf("Can't create \"%s\"\n", temp_path.c_str());
        return;
    }
    TemporaryFile temp{temp_path};
    if (!is_writable(current.fd)) {
        std::printf("Table \"%s\" is read-only, not sorted\n", current.path.c_str());
        return;
    }

    auto sorted = std::make_unique<DbfTable>();
    dbf_init(*sorted);
    sorted->fd = dbf_open_file(temp_path.c_str());
    if (sorted->fd == 0 || !dbf_read_header(*sorted) || !dbf_read_fields(*sorted)) {
        std::fputs("Can''t open temporary file...\n", stdout);
        return;
    }
    sorted->path = temp_path;
    if (!same_layout(current, *sorted)) {
        std::printf("Can't keep the record layout of \"%s\", table not sorted\n", current.path.c_str());
        return;
    }
    // The copy's signature follows the memo family; a family this program doesn't
    // know keeps its own, so the copy still names the memo file the records use.
    if (kind == MemoUnknown) sorted->header.signature = current.header.signature;

    bool read_failed = false;
    int copied = copy_sorted(current, *order, *sorted, read_failed);
    if (copied && order->size() != current.header.record_count) {
        std::printf("Can't sort all records of \"%s\", table not sorted\n", current.path.c_str());
        return;
    }
    if (!copied) {
        if (read_failed)
            std::printf("Can't read \"%s\", table not sorted\n", current.path.c_str());
        else
            std::printf("Can't write \"%s\", table not sorted\n", temp_path.c_str());
        return;
    }
    copy_mode(current.fd, sorted->fd);
    dbf_close(sorted.get());

    // A rename replaces any earlier backup. The table keeps its open descriptor
    // until its sorted copy stands at its path.
    if (std::rename(current.path.c_str(), backup.c_str()) != 0) {
        std::printf("Can't rename \"%s\" to \"%s\", table not sorted\n", current.path.c_str(), backup.c_str());
        return;
    }
    if (std::rename(temp_path.c_str(), current.path.c_str()) != 0) {
        if (std::rename(backup.c_str(), current.path.c_str()) == 0)
            std::printf("Can't rename \"%s\" to \"%s\", table not sorted\n", temp_path.c_str(),
                        current.path.c_str());
        else
            std::printf("Can't rename \"%s\" to \"%s\", the table is left in \"%s\"\n", temp_path.c_str(),
                        current.path.c_str(), backup.c_str());
        return;
    }
    temp.keep = true;

    dbf_close(&current);
    current.fd = dbf_open_file(current.path.c_str());
    if (current.fd == 0 || !dbf_read_header(current) || !dbf_read_fields(current))
        die("Can't reopen file: ", current.path.c_str());
}

void cmd_cdx() {
    DbfTable& current = table();
    if (current.header.table_flags == 0) return;
    current.header.table_flags = 0;
    dbf_write_header(current);
}

void cmd_cpzero() {
    DbfTable& current = table();
    if (current.header.code_page_mark == 0) return;
    current.header.code_page_mark = 0;
    dbf_write_header(current);
}

void cmd_check() {
    DbfTable& current = table();
    if (current.status != 0) dbf_write_header(current);
}
