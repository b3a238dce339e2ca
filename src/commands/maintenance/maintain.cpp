// commands/maintenance/maintain.cpp
//
// Commands on the table file as a whole. The engine does the work (table/create.cpp,
// table/pack.cpp); these handlers parse their parameter, take the table's lock for
// the change (commands/change.h) and say one line when something fails. A failing
// pack, truncation or header write leaves the table as it was and says nothing: the
// table's state tells. A header that places the records past the end of the file
// is the exception: nothing is cut there, and the handler says why.
#include "commands/maintenance/maintain.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <optional>
#include <strings.h>
#include <vector>

#include "commands/change.h"

void cmd_pack(Pass& pass, const char* text) {
    PackMode& mode = pass.run.settings.pack_mode;
    if (*text != '\0') {
        if (strcasecmp(text, ":dbf") == 0) {
            mode = PackMode::Records;
        } else if (strcasecmp(text, ":memo") == 0) {
            mode = PackMode::Memo;
        } else {
            pass.out.write("Invalid pack parameter...\n");
            return;
        }
    }
    TableChange change(pass, pass.table);
    Progress progress(pass.out.descriptor(), "Packing", pass.run.settings.progress_clock);
    (void)dbf_pack(pass.table, mode, &progress);  // fails quietly: the table stays as it was
}

namespace {

// A whole number: an optional sign and digits, nothing else; held to the int range.
std::optional<int32_t> whole_number(const char* text) {
    const char* digits = (*text == '+' || *text == '-') ? text + 1 : text;
    if (*digits < '0' || *digits > '9') return std::nullopt;
    for (const char* p = digits; *p != '\0'; ++p)
        if (*p < '0' || *p > '9') return std::nullopt;
    errno = 0;
    long long value = std::strtoll(text, nullptr, 10);
    if (errno == ERANGE || value > INT32_MAX) return INT32_MAX;
    if (value < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(value);
}

}  // namespace

void cmd_trunc(Pass& pass, const char* text) {
    std::optional<int32_t> count = whole_number(text);
    if (!count) {
        pass.out.write("Parameter required for trunc...\n");
        return;
    }
    TableChange change(pass, pass.table);
    if (!change.appends_fit()) return;
    // A negative count names no record to cut at: nothing changes.
    (void)dbf_truncate(pass.table, *count);
}

void cmd_zap(Pass& pass) {
    TableChange change(pass, pass.table);
    if (!change.appends_fit()) return;
    (void)dbf_zap(pass.table);
}

void cmd_blank(Pass& pass) { dbf_blank_record(pass.table); }

void cmd_make(Pass& pass, const char* text) {
    if (*text == '\0') {
        pass.out.write("Filename required for make...\n");
        return;
    }
    DbfTable& current = pass.table;
    FileSystem& fs = pass.run.fs;
    MemoKind kind = dbf_bind_memo(current);
    // Creating empties the named file and its memo file: never the table's own.
    const std::string memo = dbf_memo_file_name(text, kind);
    if (fs.same_file(text, current.path) || fs.same_file(memo, current.memo_path)) {
        pass.out.print("Can't create \"%s\"\n", text);
        return;
    }
    // Nor another file: what stands under either name stays, and the user decides.
    for (const std::string& name : {std::string(text), memo}) {
        if (fs.exists(name) && (name == text || current.first_memo_field != -1)) {
            pass.out.print("File \"%s\" exists, not created\n", name.c_str());
            return;
        }
    }
    // The table's own descriptors stay as they are, so that they go on describing
    // its file; the new table gets normalised copies.
    std::vector<FieldDesc> fields(current.fields.begin(), current.fields.begin() + current.field_count);
    if (!dbf_create(fs, text, fields.data(), current.field_count, kind, current.settings.memo_block_size, true))
        pass.out.print("Can't create \"%s\"\n", text);
}

void cmd_cdx(Pass& pass) {
    DbfTable& current = pass.table;
    if (current.header.table_flags == 0) return;
    TableChange change(pass, current);
    current.header.table_flags = 0;
    (void)dbf_write_header(current);
}

void cmd_cpzero(Pass& pass) {
    DbfTable& current = pass.table;
    if (current.header.code_page_mark == 0) return;
    TableChange change(pass, current);
    current.header.code_page_mark = 0;
    (void)dbf_write_header(current);
}

void cmd_check(Pass& pass) {
    DbfTable& current = pass.table;
    if (current.status == 0) return;
    TableChange change(pass, current);
    // The header holds the record length the fields give now.
    if (dbf_write_header(current)) current.status &= ~DBF_STATUS_BAD_RECORD_LENGTH;
}
