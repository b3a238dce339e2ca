// commands/run.h
//
// The context every command works in. A Run holds what lives for the whole run:
// the settings that parameters set and that stay from table to table, the output
// target, the /FIELD: text, the /RANGE: list, the comparison table, the character
// sets of the settings file, the list files being read, the code page converters,
// and the console and file system everything goes through. A Pass adds the table
// of one pass over the parameters. Nothing a run needs lives anywhere else.
//
// A fatal message (a table that can't be opened, a report that can't be created)
// ends the run: die() throws Fatal, and whoever started the run prints its text and
// ends with status 1.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "io/file_system.h"
#include "io/out_stream.h"
#include "io/progress.h"
#include "select/order.h"
#include "table/dbf.h"
#include "text/codecs.h"
#include "text/codepage.h"

// Display options and the like; they stay from table to table.
struct RunSettings {
    bool show_deletion_mark = false;  // /DEL
    PackMode pack_mode = PackMode::All;  // /PACK:dbf, /PACK:memo
    bool memo_as_text = false;        // /MEMO:text
    bool show_file_name = false;      // /NAME
    bool header_row = false;          // /HDR
    bool utf8 = false;                // /UTF8: text goes out in UTF-8, typed text comes in as UTF-8
    std::optional<int> code_page;     // /CP:number: the page of unmarked tables, over any mark
    // The most bytes the keys of one order may take in memory.
    size_t key_memory_limit = kDefaultKeyMemoryLimit;
    // The clock of progress indicators; tests put one in that they move by hand.
    ProgressClock progress_clock = steady_milliseconds;
    // Whether listings may write records in one pass from quick renderings, and a
    // listing into a table copy values the store would write unchanged; tests turn
    // it off to have every record go the plain way.
    bool quick_listings = true;
};

// What /OUT chose for the listings behind it.
enum class OutputKind { Screen, Text, Sql, Table, Program, Html, Csv, JsonLines };

struct OutputTarget {
    OutputKind kind = OutputKind::Screen;
    std::optional<std::string> file_name;  // no value: the screen
};

struct Run {
    Run(OutStream& console, FileSystem& files) : out(console), fs(files) {}
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    OutStream& out;  // the console
    FileSystem& fs;
    RunSettings settings;
    TextCodecs codecs;  // converters to and from UTF-8, by code page
    OutputTarget output;
    std::optional<std::string> field_text;       // assignment list of /FIELD:
    std::optional<std::vector<int32_t>> ranges;  // /RANGE: list; no value: all records
    std::unique_ptr<DbfTable> compare_table;     // second table of /CMP
    bool compare_armed = false;
    CharacterSets sets;                          // of the settings file
    std::vector<FileId> open_lists;              // list files being read, outermost first
    // A listing or report target could not be opened or written: the run goes on,
    // and ends with status 1.
    bool output_failed = false;
};

// One pass over the parameters for one table.
struct Pass {
    Run& run;
    DbfTable& table;
    OutStream& out;  // the run's console
};

// A message that ends the run with status 1; printed as it stands, without a line end.
struct Fatal {
    std::string message;
};

// The converter between the table's code page (its mark, or /CP: over it) and
// UTF-8; null, after a message, where the C library has none for that page.
[[nodiscard]] TextCodec* table_codec(Run& run, const DbfTable& table);

// Ends the run: message, a blank and path.
[[noreturn]] void die(std::string_view message, std::string_view path);
