// driver/parameters.h
//
// One parameter text becomes one action or one change of state. Everything a user
// can ask of the program passes through apply_parameter: from the command line,
// from @list files and from the settings file trugtool.ini alike.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "table/dbf.h"

// Display options of a run; they stay from table to table.
struct RunOptions {
    int show_deletion_mark = 0;  // /DEL
    int pack_mode = 0;           // /PACK:dbf 1, /PACK:memo 2
    int memo_as_text = 0;        // /MEMO:text
    int show_file_name = 0;      // /NAME
    int header_row = 0;          // /HDR
};

enum OutputKind { OutputScreen = 0, OutputText = 1, OutputSql = 2, OutputDbf = 3, OutputProgram = 4, OutputHtml = 5 };

// Working state of a run; nothing clears it between tables.
struct RunState {
    DbfTable* current_table = nullptr;        // borrowed from the table pass
    std::unique_ptr<DbfTable> compare_table;  // second table of /CMP
    int compare_armed = 0;
    int output_kind = OutputScreen;
    std::optional<std::string> out_file_name;  // no value: the screen
    FILE* out_file = nullptr;                  // stream of the listing under way
    std::unique_ptr<DbfTable> output_table;    // target of /OUT:x.dbf, source of +x.dbf
    std::vector<int32_t> selected_fields;      // fields of the listing under way
    std::optional<std::string> field_text;     // assignment list of /FIELD:
    std::optional<std::vector<int32_t>> ranges;  // /RANGE: list; no value: all records
    // Character sets of the settings file; the first value of each key stays.
    std::optional<std::string> normal_set, lowercase_set, uppercase_set, table_oem_set, table_ansi_set;
};

extern RunOptions options;
extern RunState state;

// Settings values keep at most this many characters.
inline constexpr size_t kSettingsValueMax = 255;

// `text` is a parameter without its leading '/' or '-'.
void apply_parameter(const char* text);
void print_usage();
void cmd_count();
void cmd_trim(const char* text);
void cmd_date(const char* text);
void set_once(const char* text, std::optional<std::string>& slot);
