// commands/maintenance/sort.cpp
//
// /SORT: writes the records in sorted order into a new table, then swaps files: the
// table becomes NAME.bak and the sorted copy takes its name, both in the working
// directory next to the copy NAME.tmp. The swap comes only after the copy has been
// checked complete, and the table's path holds either the original or the whole
// sorted copy at every moment: the table first gets NAME.bak as a second name, then
// the copy is renamed over it. Where no second name can be made, the table is
// renamed to NAME.bak instead, and a failing rename is undone. The sort holds the
// table's lock throughout (commands/change.h).
#include <cstring>
#include <vector>

#include "commands/change.h"
#include "commands/maintenance/maintain.h"
#include "select/filter.h"
#include "select/order.h"

namespace {

// The base name of `path` (directories dropped) with another extension.
std::string base_with(const std::string& path, const char* extension) {
    size_t slash = path.rfind('/');
    std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
    return base + extension;
}

// The temporary file of a sort, removed unless it became the table.
struct TemporaryFile {
    FileSystem& fs;
    std::string path;
    bool keep = false;
    ~TemporaryFile() {
        if (!keep) fs.remove(path);
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

// Writes the records of `source` in the order of `order` into the open `sorted`.
// True if every record and the header were written.
bool copy_sorted(DbfTable& source, const std::vector<int32_t>& order, DbfTable& sorted, bool& read_failed) {
    const size_t length = source.header.record_length;
    int32_t written = 0;
    for (int32_t position : order) {
        if (!dbf_read_record(source, position)) {
            read_failed = true;
            return false;
        }
        std::memcpy(sorted.record.data(), source.record.data(), length);
        if (!dbf_write_physical(sorted, written)) return false;
        ++written;
    }
    sorted.header.record_count = static_cast<uint32_t>(written);
    return dbf_write_header(sorted);
}

}  // namespace

void cmd_sort(Pass& pass, const char* text) {
    if (*text == '\0') {
        pass.out.write("Field[s] required for sort...\n");
        return;
    }
    DbfTable& current = pass.table;
    FileSystem& fs = pass.run.fs;
    TableChange change(pass, current);
    std::vector<int32_t> keys = dbf_parse_field_list(current, text);
    if (keys.empty()) {
        pass.out.write("Invalid field[s]...\n");
        return;
    }
    dbf_clear_filter(current);  // the file is sorted whole, whatever view stood

    std::string name, extension;
    dbf_split_path(current.path, name, extension);
    const std::string temp_path = base_with(name, ".tmp");
    const std::string backup = base_with(name, ".bak");

    const std::vector<int32_t> order = dbf_sort_index(current, keys, pass.run.settings.key_memory_limit);

    if (fs.same_file(temp_path, current.path)) {
        pass.out.print("Can't create \"%s\"\n", temp_path.c_str());
        return;
    }
    if (fs.same_file(backup, current.path)) {
        // A second name of the table, as a sort killed before its last rename leaves
        // it, goes; the table's only name does not.
        if (current.file.link_count() < 2 || !fs.remove(backup)) {
            pass.out.print("Can't rename \"%s\" to \"%s\", table not sorted\n", current.path.c_str(),
                           backup.c_str());
            return;
        }
    }
    MemoKind kind = dbf_bind_memo(current);
    std::vector<FieldDesc> fields(current.fields.begin(), current.fields.begin() + current.field_count);
    bool was_there = fs.exists(temp_path);
    if (!dbf_create(fs, temp_path, fields.data(), current.field_count, kind, current.settings.memo_block_size,
                    false)) {
        // A part-written copy goes; whatever stood under the name before stays.
        if (!was_there) fs.remove(temp_path);
        pass.out.print("Can't create \"%s\"\n", temp_path.c_str());
        return;
    }
    TemporaryFile temp{fs, temp_path};
    if (!current.file.writable()) {
        pass.out.print("Table \"%s\" is read-only, not sorted\n", current.path.c_str());
        return;
    }

    std::unique_ptr<DbfTable> sorted = dbf_open(fs, temp_path);
    if (!sorted) {
        pass.out.write("Can''t open temporary file...\n");
        return;
    }
    if (!same_layout(current, *sorted)) {
        pass.out.print("Can't keep the record layout of \"%s\", table not sorted\n", current.path.c_str());
        return;
    }
    // The copy's signature follows the memo family; a family this program doesn't
    // know keeps its own, so the copy still names the memo file the records use.
    if (kind == MemoKind::Unknown) sorted->header.signature = current.header.signature;

    bool read_failed = false;
    bool copied = copy_sorted(current, order, *sorted, read_failed);
    if (copied && order.size() != current.header.record_count) {
        pass.out.print("Can't sort all records of \"%s\", table not sorted\n", current.path.c_str());
        return;
    }
    if (!copied) {
        if (read_failed)
            pass.out.print("Can't read \"%s\", table not sorted\n", current.path.c_str());
        else
            pass.out.print("Can't write \"%s\", table not sorted\n", temp_path.c_str());
        return;
    }
    sorted->file.copy_mode_from(current.file);
    dbf_close(*sorted);

    // The backup replaces any earlier one. The table keeps its open descriptor
    // until its sorted copy stands at its path.
    const bool linked = fs.remove(backup) && fs.link(current.path, backup);
    if (!linked && !fs.rename(current.path, backup)) {
        pass.out.print("Can't rename \"%s\" to \"%s\", table not sorted\n", current.path.c_str(), backup.c_str());
        return;
    }
    if (!fs.rename(temp_path, current.path)) {
        if (linked || fs.rename(backup, current.path))
            pass.out.print("Can't rename \"%s\" to \"%s\", table not sorted\n", temp_path.c_str(),
                           current.path.c_str());
        else
            pass.out.print("Can't rename \"%s\" to \"%s\", the table is left in \"%s\"\n", temp_path.c_str(),
                           current.path.c_str(), backup.c_str());
        return;
    }
    temp.keep = true;

    dbf_close(current);
    const std::string path = current.path;
    if (dbf_open_into(current, fs, path) != OpenFailure::None) die("Can't reopen file: ", path);
}
