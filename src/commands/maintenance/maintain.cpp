// commands/maintenance/maintain.cpp
//
// Commands on the table file as a whole. The engine does the work (table/create.cpp,
// table/pack.cpp); these handlers parse their parameter, take the table's lock for
// the change (commands/change.h) and say one line when something fails. A failing
// pack, truncation or header write leaves the table as it was and says nothing: the
// table's state tells. A header that places the records past the end of the file
// is the exception: nothing is cut there, and the handler says why.
#include "commands/maintenance/maintain.h"

#include <cstdlib>
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
    (void)dbf_pack(pass.table, mode);
}

void cmd_trunc(Pass& pass, const char* text) {
    if (*text == '\0') {
        pass.out.write("Parameter required for trunc...\n");
        return;
    }
    TableChange change(pass, pass.table);
    if (!change.appends_fit()) return;
    (void)dbf_truncate(pass.table, std::atoi(text));
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
    if (fs.same_file(text, current.path) || fs.same_file(dbf_memo_file_name(text, kind), current.memo_path)) {
        pass.out.print("Can't create \"%s\"\n", text);
        return;
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
    (void)dbf_write_header(current);
}
