// export/render.cpp
//
// One record of the current table as output of the current kind: a line of
// "value|" cells or a block of "NAME      |value" lines for the screen and text
// files, one "insert" statement for SQL, one "append blank / replace" statement for
// a program script, a row of an HTML table, or a new record of the target table.
// Values are rendered by the engine into the table's value buffer; memo text comes
// from the memo file, for one field at a time.
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "driver/parameters.h"
#include "export/html.h"
#include "export/listing.h"
#include "export/output_table.h"
#include "text/codepage.h"

namespace {

bool is_true_letter(char letter) { return letter == 'T' || letter == 'Y'; }

bool is_date_type(char type) { return type == 'D' || type == 'T'; }

// Calls `line` for every line of a memo text; runs of CR and LF bytes separate
// lines, so empty lines vanish. Each line is handed over NUL-terminated.
template <typename Line>
void for_each_memo_line(const std::optional<std::string>& memo, Line line) {
    if (!memo) return;
    std::string_view rest(memo->c_str());
    std::string piece;
    while (true) {
        size_t start = rest.find_first_not_of("\r\n");
        if (start == std::string_view::npos) return;
        rest.remove_prefix(start);
        size_t end = rest.find_first_of("\r\n");
        piece.assign(rest.substr(0, end));
        line(piece.c_str());
        if (end == std::string_view::npos) return;
        rest.remove_prefix(end);
    }
}

// ---- One record's output ------------------------------------------------------------
// The text and SQL forms of a record are gathered in one line and written with one
// call: a record of many short values otherwise costs many calls into the stream.

std::string line;

void put(std::string_view text) { line.append(text); }
void put(char c) { line.push_back(c); }

// "%-10s"
void put_padded(std::string_view text) {
    put(text);
    if (text.size() < 10) line.append(10 - text.size(), ' ');
}

void write_line(FILE* out) {
    std::fwrite(line.data(), 1, line.size(), out);
    line.clear();
}

// ---- Screen and text files --------------------------------------------------------

void text_open(const DbfTable& table) {
    if (!options.show_deletion_mark) return;
    char mark = static_cast<char>(table.record[0]);
    if (table.list_fields == 0) {
        put(mark);
        put('|');
    } else {
        put_padded("*");
        put('|');
        put(mark);
        put('\n');
    }
}

void text_value(const DbfTable& table, int field, char* text) {
    size_t length = std::strlen(text);
    if (std::memchr(text, '\r', length) != nullptr) length = std::strlen(strip_cr(text));
    if (table.list_fields == 0) {
        put(std::string_view(text, length));
        put('|');
    } else {
        put_padded(dbf_field_name(table, field));
        put('|');
        put(std::string_view(text, length));
        put('\n');
    }
}

void text_close(FILE* out, const DbfTable& table) {
    if (options.show_file_name) {
        put(table.path);
        if (table.list_fields != 0) put('\n');
    }
    put('\n');
    write_line(out);
}

// ---- SQL insert script ------------------------------------------------------------
// Quotes inside values are written as they are; values keep their padding.

void sql_open(const DbfTable& table) {
    put("insert into \"");
    put(table.path);
    put("\" (");
    const char* separator = "";
    for (int32_t field : state.selected_fields) {
        put(separator);
        put(dbf_field_name(table, field));
        separator = ", ";
    }
    put(" ) values (");
}

void put_quoted(const char* value) {
    put('"');
    put(value);
    put('"');
}

void sql_value(const DbfTable& table, int field, const std::optional<std::string>& memo, bool last) {
    const char* value = table.value.data();
    const char type = table.fields[field].type;
    if (dbf_field_is_numeric(table, field)) {
        put(value);
    } else if (is_date_type(type)) {
        put_quoted(value);
    } else if (options.memo_as_text && dbf_field_is_memo(table, field)) {
        // The text in single quotes, each of its lines closed by a line feed.
        bool first = true;
        for_each_memo_line(memo, [&](const char* text) {
            if (first) put('\'');
            put(text);
            put('\n');
            first = false;
        });
        put(first ? "''" : "'");
    } else if (type == 'L') {
        put(is_true_letter(value[0]) ? "TRUE " : "FALSE");
    } else {
        put_quoted(value);
    }
    if (!last) put(", ");
}

void sql_close(FILE* out) {
    put(");\n");
    write_line(out);
}

// ---- Program script ---------------------------------------------------------------

void program_open(FILE* out) { std::fputs("append blank\nreplace ;\n", out); }

void program_value(FILE* out, const DbfTable& table, int field, const std::optional<std::string>& memo,
                   bool last) {
    const std::string name = dbf_field_name(table, field);
    const char* value = table.value.data();
    const char type = table.fields[field].type;
    if (dbf_field_is_numeric(table, field)) {
        std::fprintf(out, "\t%s with %s", name.c_str(), value);
    } else if (is_date_type(type)) {
        std::fprintf(out, "\t%s with ctod(\"%s\")", name.c_str(), value);
    } else if (dbf_field_is_memo(table, field)) {
        // Without /MEMO:text there is no memo text, and the field gets "".
        std::fprintf(out, "\t%s with ;\n", name.c_str());
        for_each_memo_line(memo, [&](const char* line) {
            std::fprintf(out, "\t\t\"%s\" + chr(13) + chr(10) +;\n", line);
        });
        std::fputs("\t\t\"\"", out);
    } else if (type == 'L') {
        std::fprintf(out, "\t%s with .%c.", name.c_str(), is_true_letter(value[0]) ? 'T' : 'F');
    } else {
        std::fprintf(out, "\t%s with \"%s\"", name.c_str(), value);
    }
    std::fputs(last ? "\n" : ", ;\n", out);
}

}  // namespace

char* strip_cr(char* text) {
    char* kept = text;
    for (const char* p = text; *p != '\0'; ++p)
        if (*p != '\r') *kept++ = *p;
    *kept = '\0';
    return text;
}

void render_record(int32_t position) {
    DbfTable& table = *state.current_table;
    FILE* out = state.out_file;
    const int kind = state.output_kind;

    // A failed read leaves the record before it in the buffer; that is rendered.
    dbf_read_record(table, position);

    switch (kind) {
        case OutputScreen: case OutputText: text_open(table); break;
        case OutputSql: sql_open(table); break;
        case OutputDbf: dbf_output_open_record(); break;
        case OutputProgram: program_open(out); break;
        case OutputHtml: html_record_open(out, table); break;
        default: break;
    }

    const size_t count = state.selected_fields.size();
    for (size_t i = 0; i < count; ++i) {
        const int field = state.selected_fields[i];
        const bool last = i + 1 == count;
        std::optional<std::string> memo;
        if (options.memo_as_text && dbf_field_is_memo(table, field)) {
            memo = dbf_memo_read(table, field);
            table.value[0] = '\0';
        } else {
            dbf_field_text(table, field);
        }
        char* text = memo ? memo->data() : table.value.data();
        // Listings are OEM text; only HTML converts, the other way, after its mark-up.
        if (table.ansi_text && kind != OutputHtml) convert_ansi_to_oem(table, text);

        switch (kind) {
            case OutputScreen: case OutputText: text_value(table, field, text); break;
            case OutputSql: sql_value(table, field, memo, last); break;
            case OutputDbf: dbf_output_value(field, text); break;
            case OutputProgram: program_value(out, table, field, memo, last); break;
            case OutputHtml: html_record_value(out, table, field, memo); break;
            default: break;
        }
    }

    switch (kind) {
        case OutputScreen: case OutputText: text_close(out, table); break;
        case OutputSql: sql_close(out); break;
        case OutputDbf: dbf_output_close_record(); break;
        case OutputHtml: html_record_close(out, table); break;
        default: break;
    }
}
