// app/dispatch.cpp
//
// The dispatch table. A parameter matches a keyword when its first characters, as
// many as the keyword has, equal the keyword in any case; the first match in table
// order decides, so "fields" must stand before "field:" and "delete:" before "del".
#include "app/dispatch.h"

#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "app/version.h"
#include "commands/comparison/compare.h"
#include "commands/editing/assign.h"
#include "commands/editing/ranges.h"
#include "commands/listing/listing.h"
#include "commands/maintenance/maintain.h"
#include "commands/reports/reports.h"
#include "commands/reports/struct.h"
#include "commands/selection/selection.h"

namespace {

// Where the text handed to a handler begins.
enum class Rest {
    None,     // the handler takes no text
    Behind,   // right behind the keyword
    Further,  // one character further: the place of a colon that is not compared
    Sign,     // behind the keyword; its first character turns a flag on or off
};

struct Row {
    const char* keyword;
    Rest rest;
    void (*handler)(Pass& pass, const char* rest);
};

// '+' or the end of the text turn a flag on, anything else off.
bool sign_of(const char* rest) { return rest[0] == '+' || rest[0] == '\0'; }

TableSettings& settings(Pass& pass) { return pass.table.settings; }

constexpr Row kRows[] = {
    {"version", Rest::None, [](Pass& p, const char*) { cmd_version(p.out); }},
    {"delete:", Rest::Behind, cmd_delete},
    {"deleted", Rest::Behind, cmd_deleted},
    {"append", Rest::Behind, cmd_append},
    {"recall:", Rest::Behind, cmd_recall},
    {"cpzero", Rest::None, [](Pass& p, const char*) { cmd_cpzero(p); }},
    {"update", Rest::None, [](Pass& p, const char*) { cmd_update(p); }},
    {"browse", Rest::None, [](Pass& p, const char*) { settings(p).list_fields = false; }},
    {"fields", Rest::None, [](Pass& p, const char*) { settings(p).list_fields = true; }},
    {"struct", Rest::Behind, cmd_struct},
    {"select:", Rest::Behind, cmd_select},
    {"filter:", Rest::Behind, cmd_filter},
    {"trunc:", Rest::Behind, cmd_trunc},
    {"field:", Rest::Behind, cmd_field},
    {"range:", Rest::Behind, cmd_range},
    {"order:", Rest::Behind, cmd_order},
    {"check", Rest::None, [](Pass& p, const char*) { cmd_check(p); }},
    {"clear", Rest::None, [](Pass& p, const char*) { cmd_clear(p); }},
    {"blank", Rest::None, [](Pass& p, const char*) { cmd_blank(p); }},
    {"count", Rest::None, [](Pass& p, const char*) { cmd_count(p); }},
    {"sort:", Rest::Behind, cmd_sort},
    {"make:", Rest::Behind, cmd_make},
    {"calc:", Rest::Behind, [](Pass& p, const char* rest) { cmd_calc(p.out, rest); }},
    {"pack", Rest::Behind, cmd_pack},
    {"trim", Rest::Behind, cmd_trim},
    {"desc", Rest::None, [](Pass& p, const char*) { settings(p).sort_descending = true; }},
    {"ansi", Rest::None, [](Pass& p, const char*) { settings(p).ansi_text = true; }},
    {"case", Rest::Sign, [](Pass& p, const char* rest) { settings(p).case_insensitive = sign_of(rest); }},
    {"name", Rest::Sign, [](Pass& p, const char* rest) { p.run.settings.show_file_name = sign_of(rest); }},
    {"date", Rest::Further, cmd_date},
    {"memo", Rest::Further,
     [](Pass& p, const char* rest) { p.run.settings.memo_as_text = strcasecmp(rest, "text") == 0; }},
    {"del", Rest::Sign, [](Pass& p, const char* rest) { p.run.settings.show_deletion_mark = sign_of(rest); }},
    {"hdr", Rest::Sign, [](Pass& p, const char* rest) { p.run.settings.header_row = sign_of(rest); }},
    {"out", Rest::Behind, cmd_out},
    {"utf8", Rest::Sign, [](Pass& p, const char* rest) { p.run.settings.utf8 = sign_of(rest); }},
    {"cp:", Rest::Behind, cmd_code_page},
    {"oem", Rest::None, [](Pass& p, const char*) { settings(p).ansi_text = false; }},
    {"zap", Rest::None, [](Pass& p, const char*) { cmd_zap(p); }},
    {"asc", Rest::None, [](Pass& p, const char*) { settings(p).sort_descending = false; }},
    {"cdx", Rest::None, [](Pass& p, const char*) { cmd_cdx(p); }},
    {"cmp", Rest::Behind, cmd_cmp},
    {"s:", Rest::Behind, cmd_select},
    {"f:", Rest::Behind, cmd_filter},
    {"l:", Rest::Behind, cmd_field},
    {"o:", Rest::Behind, cmd_order},
    {"?", Rest::None, [](Pass& p, const char*) { print_usage(p.out); }},
    {"Normal=", Rest::Behind, [](Pass& p, const char* rest) { set_once(p.run.sets.normal, rest); }},
    {"Lowercase=", Rest::Behind, [](Pass& p, const char* rest) { set_once(p.run.sets.lowercase, rest); }},
    {"Uppercase=", Rest::Behind, [](Pass& p, const char* rest) { set_once(p.run.sets.uppercase, rest); }},
    {"TableOEM=", Rest::Behind, [](Pass& p, const char* rest) { set_once(p.run.sets.table_oem, rest); }},
    {"TableAnsi=", Rest::Behind, [](Pass& p, const char* rest) { set_once(p.run.sets.table_ansi, rest); }},
};

}  // namespace

void apply_parameter(Pass& pass, const char* text) {
    for (const Row& row : kRows) {
        size_t length = std::strlen(row.keyword);
        if (strncasecmp(text, row.keyword, length) != 0) continue;
        const char* rest = text + length;
        if (row.rest == Rest::Further && *rest != '\0') ++rest;
        row.handler(pass, row.rest == Rest::None ? "" : rest);
        return;
    }
    if (text[0] == '+') {
        cmd_import(pass, text + 1);
        return;
    }
    pass.out.print("Unknown function: [%s].\n", text);
}

void cmd_trim(Pass& pass, const char* text) {
    static constexpr struct { const char* text; TrimMode mode; } kModes[] = {
        {"", TrimMode::None}, {":right", TrimMode::Right}, {":left", TrimMode::Left}, {":all", TrimMode::All}};
    for (const auto& mode : kModes) {
        if (strcasecmp(text, mode.text) == 0) {
            pass.table.settings.trim_mode = mode.mode;
            return;
        }
    }
}

void cmd_date(Pass& pass, const char* text) {
    static constexpr struct { const char* text; DateMode mode; } kModes[] = {
        {"dmy", DateMode::Dmy}, {"mdy", DateMode::Mdy}, {"ymd", DateMode::Ymd}, {"asis", DateMode::Asis}};
    for (const auto& mode : kModes) {
        if (strcasecmp(text, mode.text) == 0) {
            pass.table.settings.date_mode = mode.mode;
            return;
        }
    }
    if (text[0] != '\0' && text[1] == '\0') {
        dbf_set_date_delimiter(pass.table, text[0]);
        return;
    }
    pass.out.print("Unknown date format: %s.\n", text);
}

void cmd_code_page(Pass& pass, const char* text) {
    if (text[0] == '\0') {
        pass.run.settings.code_page.reset();
        return;
    }
    char* end = nullptr;
    const long number = std::strtol(text, &end, 10);
    const CodePage* page = *end == '\0' && number > 0 && number < 100000 ? code_page_by_number(static_cast<int>(number))
                                                                       : nullptr;
    if (page == nullptr) {
        pass.out.print("Unknown code page: %s.\n", text);
        return;
    }
    pass.run.settings.code_page = page->number;
}

void cmd_version(OutStream& out) {
    out.print("Version %d.%02d compiled at %s\n", kVersion >> 8, kVersion & 0xFF, kBuildStamp);
}

void print_usage(OutStream& out) {
    out.print("TRUG Command Line utility. Version %d.%02d\n", kVersion >> 8, kVersion & 0xFF);
    out.write(
        "Use:\n"
        "  TRUGtool <filename.dbf|pattern> <parameter|@filename.lst|+filename.dbf>\n"
        "  Parameters (first character can be '/' or '-') :\n"
        "\t/ANSI\t\t\t\t/OEM\n"
        "\t/ASC\t\t\t\t/DESC\n"
        "\t/CDX\t\t\t\t/CPZERO\n"
        "\t/CHECK\t\t\t\t/CLEAR\n"
        "\t/PACK:[dbf|memo]\t\t/ZAP\n"
        "\t/DELETED[+|-]\t\t\t/DEL[+|-]\n"
        "\t/CASE[+|-]\n"
        "\t/TRUNC:N\t\t\t/BLANK\n"
        "\t/COUNT\t\t\t\t/VERSION\n"
        "\t/BROWSE\t\t\t\t/FIELDS\n"
        "\t/NAME[+|-]\t\t\t/CALC:condition\n"
        "\t/APPEND[:N|blank]\t\t/RANGE:N1,N2-N3,all\n"
        "\t/FILTER:condition\t\t/MAKE:filename.dbf\n"
        "\t/DELETE:N1,N2-N3,all\t\t/RECALL:N1,N2-N3,all\n"
        "\t/DATE:mdy|dmy|ymd|asis|char\t/UPDATE\n"
        "\t/TRIM:left|right|all\t\t/HDR[+|-]\n"
        "\t/SORT:field1;field2;...\t\t/ORDER:field1;field2;...\n"
        "\t/SELECT:field1;field2;...\t/MEMO[:text]\n"
        "\t/FIELD:field1=value;field2=value;...\n"
        "\t/STRUCT:file.txt|file.dbf|file.sql|file.prg|file.fox\n"
        "\t/OUT:file.txt|file.dbf|file.sql|file.prg|file.htm|file.csv|file.jsonl\n"
        "\t/UTF8[+|-]\t\t\t/CP:number\n"
        "\t/CMP:file.dbf [/filter] [/order] /CMP[:[i][s][c]]\n");
}
