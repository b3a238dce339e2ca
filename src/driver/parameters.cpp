// driver/parameters.cpp
//
// The dispatch table. A parameter matches a keyword when its first characters, as
// many as the keyword has, equal the keyword in any case; the first match in table
// order decides, so "fields" must stand before "field:" and "delete:" before "del".
#include "driver/parameters.h"

#include <cstdio>
#include <cstring>
#include <strings.h>

#include "compare/compare.h"
#include "driver/program.h"
#include "edit/assign.h"
#include "edit/maintain.h"
#include "edit/ranges.h"
#include "export/listing.h"
#include "export/struct.h"
#include "expr/calc.h"
#include "select/filter.h"
#include "select/order.h"

RunOptions options;
RunState state;

namespace {

// Where the text handed to a handler begins.
enum Rest {
    RestNone,    // the handler takes no text
    RestBehind,  // right behind the keyword
    RestFurther, // one character further: the place of a colon that is not compared
    RestSign,    // behind the keyword; its first character turns a flag on or off
};

struct Row {
    const char* keyword;
    Rest rest;
    void (*handler)(const char* rest);
};

DbfTable& table() { return *state.current_table; }

// '+' or the end of the text turn a flag on, anything else off.
int sign_of(const char* rest) { return rest[0] == '+' || rest[0] == '\0'; }

const Row kRows[] = {
    {"version", RestNone, [](const char*) { cmd_version(); }},
    {"delete:", RestBehind, cmd_delete},
    {"deleted", RestBehind, cmd_deleted},
    {"append", RestBehind, cmd_append},
    {"recall:", RestBehind, cmd_recall},
    {"cpzero", RestNone, [](const char*) { cmd_cpzero(); }},
    {"update", RestNone, [](const char*) { cmd_update(); }},
    {"browse", RestNone, [](const char*) { table().list_fields = 0; }},
    {"fields", RestNone, [](const char*) { table().list_fields = 1; }},
    {"struct", RestBehind, cmd_struct},
    {"select:", RestBehind, cmd_select},
    {"filter:", RestBehind, cmd_filter},
    {"trunc:", RestBehind, cmd_trunc},
    {"field:", RestBehind, cmd_field},
    {"range:", RestBehind, cmd_range},
    {"order:", RestBehind, cmd_order},
    {"check", RestNone, [](const char*) { cmd_check(); }},
    {"clear", RestNone, [](const char*) { cmd_clear(); }},
    {"blank", RestNone, [](const char*) { dbf_blank_record(table()); }},
    {"count", RestNone, [](const char*) { cmd_count(); }},
    {"sort:", RestBehind, cmd_sort},
    {"make:", RestBehind, cmd_make},
    {"calc:", RestBehind, cmd_calc},
    {"pack", RestBehind, cmd_pack},
    {"trim", RestBehind, cmd_trim},
    {"desc", RestNone, [](const char*) { table().sort_descending = 1; }},
    {"ansi", RestNone, [](const char*) { table().ansi_text = 1; }},
    {"case", RestSign, [](const char* rest) { table().case_insensitive = sign_of(rest); }},
    {"name", RestSign, [](const char* rest) { options.show_file_name = sign_of(rest); }},
    {"date", RestFurther, cmd_date},
    {"memo", RestFurther, [](const char* rest) { options.memo_as_text = strcasecmp(rest, "text") == 0; }},
    {"del", RestSign, [](const char* rest) { options.show_deletion_mark = sign_of(rest); }},
    {"hdr", RestSign, [](const char* rest) { options.header_row = sign_of(rest); }},
    {"out", RestBehind, cmd_out},
    {"oem", RestNone, [](const char*) { table().ansi_text = 0; }},
    {"zap", RestNone, [](const char*) { dbf_zap(table()); }},
    {"asc", RestNone, [](const char*) { table().sort_descending = 0; }},
    {"cdx", RestNone, [](const char*) { cmd_cdx(); }},
    {"cmp", RestBehind, cmd_cmp},
    {"s:", RestBehind, cmd_select},
    {"f:", RestBehind, cmd_filter},
    {"l:", RestBehind, cmd_field},
    {"o:", RestBehind, cmd_order},
    {"?", RestNone, [](const char*) { print_usage(); }},
    {"Normal=", RestBehind, [](const char* rest) { set_once(rest, state.normal_set); }},
    {"Lowercase=", RestBehind, [](const char* rest) { set_once(rest, state.lowercase_set); }},
    {"Uppercase=", RestBehind, [](const char* rest) { set_once(rest, state.uppercase_set); }},
    {"TableOEM=", RestBehind, [](const char* rest) { set_once(rest, state.table_oem_set); }},
    {"TableAnsi=", RestBehind, [](const char* rest) { set_once(rest, state.table_ansi_set); }},
};

}  // namespace

void apply_parameter(const char* text) {
    for (const Row& row : kRows) {
        size_t length = std::strlen(row.keyword);
        if (strncasecmp(text, row.keyword, length) != 0) continue;
        const char* rest = text + length;
        if (row.rest == RestFurther && *rest != '\0') ++rest;
        row.handler(row.rest == RestNone ? "" : rest);
        return;
    }
    if (text[0] == '+') {
        cmd_import(text + 1);
        return;
    }
    std::printf("Unknown function: [%s].\n", text);
}

void cmd_count() {
    const DbfTable& current = table();
    if (options.show_file_name)
        std::printf("%8d|%s\n", dbf_record_count(current), current.path.c_str());
    else
        std::printf("%d\n", dbf_record_count(current));
}

void cmd_trim(const char* text) {
    static const struct { const char* text; int mode; } kModes[] = {
        {"", TrimNone}, {":right", TrimRight}, {":left", TrimLeft}, {":all", TrimAll}};
    for (const auto& mode : kModes) {
        if (strcasecmp(text, mode.text) == 0) {
            table().trim_mode = mode.mode;
            return;
        }
    }
}

void cmd_date(const char* text) {
    static const struct { const char* text; int mode; } kModes[] = {
        {"dmy", DateDmy}, {"mdy", DateMdy}, {"ymd", DateYmd}, {"asis", DateAsis}};
    for (const auto& mode : kModes) {
        if (strcasecmp(text, mode.text) == 0) {
            table().date_mode = mode.mode;
            return;
        }
    }
    if (text[0] != '\0' && text[1] == '\0') {
        dbf_set_date_delimiter(table(), text[0]);
        return;
    }
    std::printf("Unknown date format: %s.\n", text);
}

void set_once(const char* text, std::optional<std::string>& slot) {
    if (slot) return;
    slot = std::string(text, strnlen(text, kSettingsValueMax));
}
