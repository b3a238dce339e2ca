// commands/reports/struct.cpp
//
// /STRUCT[:name]: one report on the fields of the current table, in file order.
// The end of the name picks the form; every file is opened for appending, so
// reports collect behind each other and nothing is ever truncated.
//
// The structure-extended table (form 3) is a dBase III table of five fields,
// written as a constant 193-byte head -- 32 bytes of header, five descriptors and
// the 0x0D terminator -- and one 50-byte record per reported field:
//
//   byte  0      deletion mark ' '
//   bytes 1-10   FIELD_NAME  C 10
//   byte  11     FIELD_TYPE  C 1
//   bytes 12-14  FIELD_LEN   N 3
//   bytes 15-17  FIELD_DEC   N 3
//   bytes 18-49  DESCRIPT    C 32, a NUL and 31 blanks
//
// The header's record count is the number of fields reported; no end mark 0x1A
// follows the last record.
//
// Under /UTF8 the text forms show field names in UTF-8, converted from the table's
// code page and lined up by characters; the structure-extended table keeps the
// bytes of the descriptors, as a table of that code page.
#include "commands/reports/struct.h"

#include <cstdio>
#include <cstring>
#include <optional>
#include <strings.h>

namespace {

enum class StructForm { Screen, Text, Sql, Table, Script, Fox };

constexpr int kTemplateSize = 193;
constexpr int kRowSize = 50;

// The head of the structure-extended table, apart from the record count at 4-5.
constexpr uint8_t kTemplate[kTemplateSize] = {
    0x03, 0x64, 0x09, 0x0D, 0x00, 0x00, 0x00, 0x00, 0xC1, 0x00, 0x32, 0x00,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    // FIELD_NAME C, offset 1, length 10
    'F', 'I', 'E', 'L', 'D', '_', 'N', 'A', 'M', 'E', 0, 'C', 1, 0, 0, 0,
    10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    // FIELD_TYPE C, offset 11, length 1
    'F', 'I', 'E', 'L', 'D', '_', 'T', 'Y', 'P', 'E', 0, 'C', 11, 0, 0, 0,
    1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    // FIELD_LEN N, offset 12, length 3
    'F', 'I', 'E', 'L', 'D', '_', 'L', 'E', 'N', 0, 0, 'N', 12, 0, 0, 0,
    3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    // FIELD_DEC N, offset 15, length 3
    'F', 'I', 'E', 'L', 'D', '_', 'D', 'E', 'C', 0, 0, 'N', 15, 0, 0, 0,
    3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    // DESCRIPT C, offset 18, length 32
    'D', 'E', 'S', 'C', 'R', 'I', 'P', 'T', 0, 0, 0, 'C', 18, 0, 0, 0,
    32, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0x0D,
};

// The form a name's last four characters choose, if any.
std::optional<StructForm> form_of(const char* name) {
    static constexpr struct { const char* end; StructForm form; } kEnds[] = {
        {".fox", StructForm::Fox}, {".prg", StructForm::Script}, {".dbf", StructForm::Table},
        {".sql", StructForm::Sql}, {".txt", StructForm::Text}};
    size_t length = std::strlen(name);
    if (length < 4) return std::nullopt;
    for (const auto& end : kEnds)
        if (strcasecmp(name + length - 4, end.end) == 0) return end.form;
    return std::nullopt;
}

bool is_n_or_f(const FieldDesc& desc) { return desc.type == 'N' || desc.type == 'F'; }

// A field name as a text report shows it, and the bytes it takes beyond its
// characters, which a printf width must add to line it up.
struct ShownName {
    std::string text;
    int extra = 0;
};

ShownName shown_name(const DbfTable& table, int field, TextCodec* utf8) {
    std::string name = dbf_field_name(table, field);
    if (utf8 == nullptr) return {std::move(name), 0};
    ShownName shown;
    utf8->to_utf8(name, shown.text);
    shown.extra = static_cast<int>(shown.text.size() - utf8_length(shown.text));
    return shown;
}

void write_text_head(OutStream& out, DbfTable& table) {
    const DbfHeader& h = table.header;
    MemoKind kind = dbf_bind_memo(table);
    out.print("\nDatabase name\t\t:\t%s\n"
                 "Type\t\t\t:\t%s\n"
                 "Last updated (m-d-y)\t:\t%02d-%02d-%04d\n"
                 "File size\t\t:\t%10ld\n"
                 "Header size\t\t:\t%10d\n"
                 "Record count\t\t:\t%10ld\n"
                 "Field count\t\t:\t%10d\n"
                 "Record length\t\t:\t%10d\n"
                 "\nName        Type          Length\n",
                 table.path.c_str(), dbf_memo_family_name(kind), h.update_month, h.update_day,
                 h.update_year + 1900, static_cast<long>(table.file.size()), h.header_length,
                 static_cast<long>(h.record_count), table.field_count, h.record_length);
}

void write_text_row(OutStream& out, const DbfTable& table, int field, const ShownName& name) {
    const FieldDesc& desc = table.fields[field];
    const int width = 11 + name.extra;
    // The decimals column goes by the length byte for N and F, unlike the scripts.
    if ((is_n_or_f(desc) && desc.length != 0) || (desc.type == 'D' && desc.decimals == 8))
        out.print("%-*s %-11s %5d %2d\n", width, name.text.c_str(), dbf_type_name(table, field), desc.length,
                     desc.decimals);
    else
        out.print("%-*s %-11s %5d\n", width, name.text.c_str(), dbf_type_name(table, field), desc.length);
}

void write_sql_row(OutStream& out, const DbfTable& table, int field, const ShownName& name, bool last) {
    const FieldDesc& desc = table.fields[field];
    const int width = 11 + name.extra;
    const std::string type = sql_type_name(table, field);
    if (is_n_or_f(desc) && desc.decimals != 0)
        out.print("\t%-*s %s(%d,%d)", width, name.text.c_str(), type.c_str(), desc.length, desc.decimals);
    else if (is_n_or_f(desc) || desc.type == 'C')
        out.print("\t%-*s %s(%d)", width, name.text.c_str(), type.c_str(), desc.length);
    else
        out.print("\t%-*s %s", width, name.text.c_str(), type.c_str());
    out.write(last ? "\n" : ",\n");
}

void write_fox_row(OutStream& out, const DbfTable& table, int field, const ShownName& name, bool last) {
    const FieldDesc& desc = table.fields[field];
    const int width = 11 + name.extra;
    if (is_n_or_f(desc) && desc.decimals != 0)
        out.print("\t%-*s %c(%d,%d)", width, name.text.c_str(), desc.type, desc.length, desc.decimals);
    else if (is_n_or_f(desc) || desc.type == 'C')
        out.print("\t%-*s %c(%d)", width, name.text.c_str(), desc.type, desc.length);
    else
        out.print("\t%-*s %c", width, name.text.c_str(), desc.type);
    out.write(last ? " ;\n" : ", ;\n");
}

void write_script_row(OutStream& out, const DbfTable& table, int field, const ShownName& name) {
    const FieldDesc& desc = table.fields[field];
    // Blanks that line up the type for names of up to 10 characters.
    const int characters = static_cast<int>(name.text.size()) - name.extra;
    int blanks = characters <= 9 ? 12 - characters : 2;
    out.print("\t{ \"%s\",%*s\"%c\", %3d, %3d },;\n", name.text.c_str(), blanks, "", desc.type, desc.length,
                 desc.decimals);
}

void write_table_row(OutStream& out, const DbfTable& table, int field) {
    const FieldDesc& desc = table.fields[field];
    std::string name = dbf_field_name(table, field);
    // The text ends with a NUL at byte 18, the first byte of DESCRIPT, and that
    // NUL is written with the rest.
    char row[kRowSize + 1];
    std::memset(row, ' ', sizeof row);
    std::snprintf(row, sizeof row, " %-10s%c%3d%3d", name.c_str(), desc.type, desc.length, desc.decimals);
    out.write(row, kRowSize);
}

void write_table_head(OutStream& out, const DbfTable& table) {
    uint8_t head[kTemplateSize];
    std::memcpy(head, kTemplate, sizeof head);
    head[4] = static_cast<uint8_t>(table.field_count & 0xFF);
    head[5] = static_cast<uint8_t>(table.field_count >> 8);
    out.write(head, sizeof head);
}

}  // namespace

std::string sql_type_name(const DbfTable& table, int field) {
    const FieldDesc& desc = table.fields[field];
    switch (desc.type) {
        case 'B':
            if (desc.length != 8) return "Blob(0,2)";
            if (desc.decimals == 0) return "Numeric(20)";
            return "Numeric(20," + std::to_string(desc.decimals) + ")";
        case 'L': return "Boolean";
        case 'M': return "Blob(0,1)";
        case 'T': return "Time";
        case 'Y': return "Money";
        default: return dbf_type_name(table, field);
    }
}

void cmd_struct(Pass& pass, const char* text) {
    DbfTable& table = pass.table;
    StructForm form = StructForm::Screen;
    const char* name = "";
    if (text[0] == ':') {
        name = text + 1;
        std::optional<StructForm> chosen = form_of(name);
        if (!chosen) {
            pass.out.write("Invalid output format...\n");
            return;
        }
        form = *chosen;
    }
    TextCodec* utf8 = nullptr;
    if (pass.run.settings.utf8 && form != StructForm::Table) {
        utf8 = table_codec(pass.run, table);
        if (utf8 == nullptr) return;
    }
    std::optional<OutStream> file;
    if (form != StructForm::Screen) {
        File opened = pass.run.fs.open_append(name);
        if (!opened.is_open()) die("Can't create file:", name);
        file.emplace(std::move(opened));
    }
    OutStream& out = file ? *file : pass.out;

    int count = table.field_count;
    const auto shown = [&](int field) { return shown_name(table, field, utf8); };
    switch (form) {
        case StructForm::Screen:
        case StructForm::Text:
            write_text_head(out, table);
            for (int i = 0; i < count; ++i) write_text_row(out, table, i, shown(i));
            break;
        case StructForm::Sql:
            out.print("CREATE TABLE \"%s\" (\n", table.path.c_str());
            for (int i = 0; i < count; ++i) write_sql_row(out, table, i, shown(i), i == count - 1);
            out.write("\t);\n\n");
            break;
        case StructForm::Table:
            write_table_head(out, table);
            for (int i = 0; i < count; ++i) write_table_row(out, table, i);
            break;
        case StructForm::Script:
            out.print("DBCREATE(\"%s\", {;\n", table.path.c_str());
            for (int i = 0; i < count; ++i) write_script_row(out, table, i, shown(i));
            out.write("\t})\n\n");
            break;
        case StructForm::Fox:
            out.print("CREATE TABLE \"%s\" ( ;\n", table.path.c_str());
            for (int i = 0; i < count; ++i) write_fox_row(out, table, i, shown(i), i == count - 1);
            out.write("\t)\n\n");
            break;
    }
}
