// commands/maintenance/sort.cpp
//
// /SORT: writes the records in sorted order into a new table, then swaps files: the
// table becomes NAME.bak and the sorted copy NAME.tmp takes its name, both in the
// table's directory. The swap comes only after the copy has been checked complete,
// and the table's path holds either the original or the whole sorted copy at every
// moment: the table first gets NAME.bak as a second name, then the copy is renamed
// over it. Where no second name can be made, the table is renamed to NAME.bak
// instead, and a failing rename is undone. The sort holds the table's lock
// throughout (commands/change.h).
//
// The records reach the copy in the sorted walk (select/order.h), which reads the
// table once in file order and, for a table bigger than the key memory limit, sorts
// the records themselves through run files beside the table. The copy is written
// in blocks and its header once, at the end.
#include <algorithm>
#include <cstring>
#include <vector>

#include "commands/change.h"
#include "commands/maintenance/maintain.h"
#include "io/progress.h"
#include "select/filter.h"
#include "select/order.h"

namespace {

// The table's path with another extension: its directory stays, and the extension
// is what follows the last '.' of its file name.
std::string beside(const std::string& path, const char* extension) {
    size_t slash = path.rfind('/');
    size_t dot = path.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) dot = path.size();
    return path.substr(0, dot) + extension;
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

// Writes the records of a sort into the copy, in blocks; the header is left to the
// end, since the copy takes the table's name only once it is whole.
class CopySink : public SortSink {
  public:
    explicit CopySink(DbfTable& copy)
        : copy_(copy), length_(copy.header.record_length), block_(std::max(kCopyBlock, length_)) {
        buffer_.reserve(block_);
    }

    bool take(int32_t, const uint8_t* record) override {
        if (buffer_.size() + length_ > block_ && !flush()) return false;
        buffer_.insert(buffer_.end(), record, record + length_);
        return true;
    }

    // Writes the records still in the buffer; false if a write failed.
    bool flush() {
        if (buffer_.empty()) return true;
        int64_t offset = dbf_seek_physical(copy_, written_);
        if (offset < 0 || !copy_.file.write_all(buffer_.data(), buffer_.size(), offset)) return false;
        written_ += static_cast<int64_t>(buffer_.size() / length_);
        buffer_.clear();
        return true;
    }

    // Records written to the file.
    int64_t written() const { return written_; }

  private:
    static constexpr size_t kCopyBlock = size_t{1} << 20;
    DbfTable& copy_;
    size_t length_;
    size_t block_;
    std::vector<uint8_t> buffer_;
    int64_t written_ = 0;
};

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

    const std::string temp_path = beside(current.path, ".tmp");
    const std::string backup = beside(current.path, ".bak");

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

    Progress progress(pass.out.descriptor(), "Sorting", pass.run.settings.progress_clock);
    SortSettings settings{pass.run.settings.key_memory_limit, &progress};
    CopySink copy(*sorted);
    SortOutcome outcome = dbf_sort_records(current, keys, settings, copy);
    progress.finish();
    bool written = outcome.failure == SortFailure::None && copy.flush();
    if (written) {
        sorted->header.record_count = static_cast<uint32_t>(copy.written());
        written = dbf_write_header(*sorted);
    }
    if (outcome.failure == SortFailure::CantRead) {
        pass.out.print("Can't read \"%s\", table not sorted\n", outcome.path.c_str());
        return;
    }
    if (outcome.failure == SortFailure::CantWrite) {
        pass.out.print("Can't write \"%s\", table not sorted\n", outcome.path.c_str());
        return;
    }
    if (!written) {
        pass.out.print("Can't write \"%s\", table not sorted\n", temp_path.c_str());
        return;
    }
    if (copy.written() != static_cast<int64_t>(current.header.record_count)) {
        pass.out.print("Can't sort all records of \"%s\", table not sorted\n", current.path.c_str());
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
