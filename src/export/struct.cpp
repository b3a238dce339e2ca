// export/struct.cpp
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
#include "export/struct.h"

#include <cstdio>
#include <cstring>
#include <strings.h>

#include "driver/parameters.h"
#include "driver/program.h"
#include "table/file_io.h"

namespace {

enum StructForm { StructScreen = 0, StructText = 1, StructSql = 2, StructTable = 3, StructScript = 4, StructFox = 5 };

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

// The form a name's last four characters choose, or -1.
int form_of(const char* name) {
    static const struct { const char* end; int form; } kEnds[] = {
        {".fox", StructFox}, {".prg", StructScript}, {".dbf", StructTable}, {".sql", StructSql}, {".txt", StructText}};
    size_t length = std::strlen(name);
    if (length < 4) return -1;
    for (const auto& end : kEnds)
        if (strcasecmp(name + length - 4, end.end) == 0) return end.form;
    return -1;
}

bool is_n_or_f(const FieldDesc& desc) { return desc.type == 'N' || desc.type == 'F'; }

void write_text_head(FILE* out, DbfTable& table) {
    const DbfHeader& h = table.header;
    int kind = dbf_bind_memo(table);
    std::fprintf(out,
                 "\nDatabase name\t\t:\t%s\n"
                 "Type\t\t\t:\t%s\n"
                 "Last updated (m-d-y)\t:\t%02d-%02d-%04d\n"
                 "File size\t\t:\t%10ld\n"
                 "Header size\t\t:\t%10d\n"
                 "Record count\t\t:\t%10ld\n"
                 "Field count\t\t:\t%10d\n"
                 "Record length\t\t:\t%10d\n"
                 "\nName        Type          Length\n",
                 table.path.c_str(), dbf_memo_family_name(kind), h.update_month, h.update_day,
                 h.update_year + 1900, static_cast<long>(file_size(table.fd)), h.header_length,
                 static_cast<long>(h.record_count), table.field_count, h.record_length);
}

void write_text_row(FILE* out, const DbfTable& table, int field) {
    const FieldDesc& desc = table.fields[field];
    std::string name = dbf_field_name(table, field);
    // The decimals column goes by the length byte for N and F, unlike the scripts.
    if ((is_n_or_f(desc) && desc.length != 0) || (desc.type == 'D' && desc.decimals == 8))
        std::fprintf(out, "%-11s %-11s %5d %2d\n", name.c_str(), dbf_type_name(table, field), desc.length,
                     desc.decimals);
    else
        std::fprintf(out, "%-11s %-11s %5d\n", name.c_str(), dbf_type_name(table, field), desc.length);
}

void write_sql_row(FILE* out, const DbfTable& table, int field, bool last) {
    const FieldDesc& desc = table.fields[field];
    std::string name = dbf_field_name(table, field);
    const char* type = sql_type_name(table, field);
    if (is_n_or_f(desc) && desc.decimals != 0)
        std::fprintf(out, "\t%-11s %s(%d,%d)", name.c_str(), type, desc.length, desc.decimals);
    else if (is_n_or_f(desc) || desc.type == 'C')
        std::fprintf(out, "\t%-11s %s(%d)", name.c_str(), type, desc.length);
    else
        std::fprintf(out, "\t%-11s %s", name.c_str(), type);
    std::fputs(last ? "\n" : ",\n", out);
}

void write_fox_row(FILE* out, const DbfTable& table, int field, bool last) {
    const FieldDesc& desc = table.fields[field];
    std::string name = dbf_field_name(table, field);
    if (is_n_or_f(desc) && desc.decimals != 0)
        std::fprintf(out, "\t%-11s %c(%d,%d)", name.c_str(), desc.type, desc.length, desc.decimals);
    else if (is_n_or_f(desc) || desc.type == 'C')
        std::fprintf(out, "\t%-11s %c(%d)", name.c_str(), desc.type, desc.length);
    else
        std::fprintf(out, "\t%-11s %c", name.c_str(), desc.type);
    std::fputs(last ? " ;\n" : ", ;\n", out);
}

void write_script_row(FILE* out, const DbfTable& table, int field) {
    const FieldDesc& desc = table.fields[field];
    std::string name = dbf_field_name(table, field);
    // Blanks that line up the type for names of up to 10 characters.
    int blanks = name.size() <= 9 ? 12 - static_cast<int>(name.size()) : 2;
    std::fprintf(out, "\t{ \"%s\",%*s\"%c\", %3d, %3d },;\n", name.c_str(), blanks, "", desc.type, desc.length,
                 desc.decimals);
}

void write_table_row(FILE* out, const DbfTable& table, int field) {
    const FieldDesc& desc = table.fields[field];
    std::string name = dbf_field_name(table, field);
    // The text ends with a NUL at byte 18, the first byte of DESCRIPT, and that
    // NUL is written with the rest.
    char row[kRowSize + 1];
    std::memset(row, ' ', sizeof row);
    std::snprintf(row, sizeof row, " %-10s%c%3d%3d", name.c_str(), desc.type, desc.length, desc.decimals);
    std::fwrite(row, 1, kRowSize, out);
}

void write_table_head(FILE* out, const DbfTable& table) {
    uint8_t head[kTemplateSize];
    std::memcpy(head, kTemplate, sizeof head);
    head[4] = static_cast<uint8_t>(table.field_count & 0xFF);
    head[5] = static_cast<uint8_t>(table.field_count >> 8);
    std::fwrite(head, 1, sizeof head, out);
}

}  // namespace

const char* sql_type_name(const DbfTable& table, int field) {
    static char scratch[32];
    const FieldDesc& desc = table.fields[field];
    switch (desc.type) {
        case 'B':
            if (desc.length != 8) return "Blob(0,2)";
            if (desc.decimals == 0) return "Numeric(20)";
            std::snprintf(scratch, sizeof scratch, "Numeric(20,%d)", desc.decimals);
            return scratch;
        case 'L': return "Boolean";
        case 'M': return "Blob(0,1)";
        case 'T': return "Time";
        case 'Y': return "Money";
        default: return dbf_type_name(table, field);
    }
}

void cmd_struct(const char* text) {
    DbfTable& table = *state.current_table;
    int form = StructScreen;
    const char* name = "";
    if (text[0] == ':') {
        name = text + 1;
        form = form_of(name);
        if (form < 0) {
            std::fputs("Invalid output format...\n", stdout);
            return;
        }
    }
    FILE* out = stdout;
    if (form != StructScreen) {
        out = std::fopen(name, "a");
        if (out == nullptr) die("Can't create file:", name);
    }

    int count = table.field_count;
    switch (form) {
        case StructScreen:
        case StructText:
            write_text_head(out, table);
            for (int i = 0; i < count; ++i) write_text_row(out, table, i);
            break;
        case StructSql:
            std::fprintf(out, "CREATE TABLE \"%s\" (\n", table.path.c_str());
            for (int i = 0; i < count; ++i) write_sql_row(out, table, i, i == count - 1);
            std::fputs("\t);\n\n", out);
            break;
        case StructTable:
            write_table_head(out, table);
            for (int i = 0; i < count; ++i) write_table_row(out, table, i);
            break;
        case StructScript:
            std::fprintf(out, "DBCREATE(\"%s\", {;\n", table.path.c_str());
            for (int i = 0; i < count; ++i) write_script_row(out, table, i);
            std::fputs("\t})\n\n", out);
            break;
        case StructFox:
            std::fprintf(out, "CREATE TABLE \"%s\" ( ;\n", table.path.c_str());
            for (int i = 0; i < count; ++i) write_fox_row(out, table, i, i == count - 1);
            std::fputs("\t)\n\n", out);
            break;
    }
    if (out != stdout) std::fclose(out);
}
