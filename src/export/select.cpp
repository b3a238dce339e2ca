// export/select.cpp
//
// /OUT and /SELECT:. /OUT only remembers the kind and the name of a target; each
// /SELECT: opens that target, writes what its kind puts in front of the records,
// renders every visible record (or those of /RANGE:), writes what comes behind and
// closes the target again. Text targets are opened for appending, never truncated,
// so a second listing or the next table's pass adds to what is there.
#include <cstdio>
#include <cstring>
#include <strings.h>
#include <vector>

#include "driver/parameters.h"
#include "export/html.h"
#include "export/listing.h"

namespace {

struct Ending {
    const char* text;
    int kind;
};

const Ending kEndings[] = {
    {".txt", OutputText}, {".sql", OutputSql},     {".dbf", OutputDbf},   {".prg", OutputProgram},
    {".fox", OutputProgram}, {".htm", OutputHtml}, {".html", OutputHtml},
};

bool ends_with_case(const char* name, const char* ending) {
    size_t name_length = std::strlen(name);
    size_t ending_length = std::strlen(ending);
    return name_length >= ending_length && strcasecmp(name + name_length - ending_length, ending) == 0;
}

// Rendering a record is a few short writes per field; a large buffer turns them
// into few large writes to the file.
constexpr size_t kFileBufferSize = 1 << 20;

// The target of one listing. The buffer must outlive the stream that uses it.
struct Target {
    std::vector<char> buffer;
};

bool open_target(const DbfTable& table, Target& target) {
    state.out_file = nullptr;
    switch (state.output_kind) {
        case OutputScreen:
            state.out_file = stdout;
            return true;
        case OutputDbf:
            // Opening a table target is open_output_table's work (listing.h); until
            // that is linked in here, a table target reports that it can't be opened.
            return state.output_table != nullptr;
        default:
            break;
    }
    FILE* file = std::fopen(state.out_file_name->c_str(), "a");
    if (file == nullptr) return false;
    target.buffer.resize(kFileBufferSize);
    std::setvbuf(file, target.buffer.data(), _IOFBF, target.buffer.size());
    state.out_file = file;
    if (state.output_kind == OutputProgram) std::fprintf(file, "use %s\n", table.path.c_str());
    if (state.output_kind == OutputHtml) html_write_head(file, table);
    return true;
}

void close_target(const DbfTable& table) {
    switch (state.output_kind) {
        case OutputScreen:
            return;
        case OutputDbf:
            if (state.output_table) {
                dbf_close(state.output_table.get());
                state.output_table.reset();
            }
            return;
        case OutputProgram:
            std::fprintf(state.out_file, "use\t&&\t%s\n\n", table.path.c_str());
            break;
        case OutputHtml:
            html_write_tail(state.out_file);
            break;
        default:
            break;
    }
    std::fclose(state.out_file);
}

// The row of field names of the screen and text listings, each name padded to
// its column's width but never cut.
void write_header_row(FILE* out, const DbfTable& table) {
    if (options.show_deletion_mark) std::fputs("*|", out);
    char format[32];
    for (int32_t field : state.selected_fields) {
        std::snprintf(format, sizeof format, "%%-%ds|", dbf_display_width(table, field));
        std::fprintf(out, format, dbf_field_name(table, field).c_str());
    }
    std::fputs("\n", out);
}

bool select_fields(const DbfTable& table, const char* text) {
    if (text[0] == '*') {
        state.selected_fields.resize(table.field_count);
        for (int i = 0; i < table.field_count; ++i) state.selected_fields[i] = i;
        return true;
    }
    int32_t count = 0;
    std::array<int32_t, kMaxKeyFields> indexes{};
    if (dbf_parse_field_list(table, text, count, indexes) != 0) return false;
    state.selected_fields.assign(indexes.begin(), indexes.begin() + count);
    return true;
}

void release_fields() {
    state.selected_fields.clear();
    state.selected_fields.shrink_to_fit();
}

}  // namespace

void cmd_out(const char* text) {
    if (text[0] != ':') {
        state.output_kind = OutputScreen;
        state.out_file_name.reset();
        return;
    }
    const char* name = text + 1;
    for (const Ending& ending : kEndings) {
        if (ends_with_case(name, ending.text)) {
            state.output_kind = ending.kind;
            state.out_file_name = name;
            return;
        }
    }
    std::printf("Invalid output format...\n");
}

void cmd_select(const char* text) {
    DbfTable& table = *state.current_table;
    if (text[0] == '\0') {
        std::printf("Field[s] required for select...\n");
        return;
    }
    if (!select_fields(table, text)) {
        std::printf("Invalid field[s]...\n");
        release_fields();
        return;
    }

    Target target;
    if (!open_target(table, target)) {
        std::printf("Can't open %s\n", state.out_file_name ? state.out_file_name->c_str() : "");
        release_fields();
        return;
    }

    if (options.header_row && (state.output_kind == OutputScreen || state.output_kind == OutputText) &&
        table.list_fields == 0)
        write_header_row(state.out_file, table);

    if (!state.ranges) {
        for (int32_t i = 0; i < dbf_record_count(table); ++i) render_record(i);
    } else {
        for (int32_t position : *state.ranges)
            if (position < dbf_record_count(table)) render_record(position);
    }

    close_target(table);
    release_fields();
}
