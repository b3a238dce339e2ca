// commands/listing/sink.h
//
// The targets of a listing behind one interface. A listing calls begin, then for
// every record open_record, value for each selected field and close_record, then
// end. The record to render stands in the table's record buffer; each value comes
// rendered (text) or, for a memo under /MEMO:text (and always in CSV and JSON
// Lines), as the memo text, both already converted to the listing's code page:
// OEM, or UTF-8 under /UTF8. HTML alone converts after its mark-up, from the
// table's bytes.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands/run.h"

// What a sink sees of the listing it serves.
struct ListingContext {
    Pass& pass;
    const std::vector<int32_t>& fields;     // the selected fields, in order
    const std::vector<std::string>& names;  // every field's name as the listing shows it, by field index
    TextCodec* utf8;                        // the table's code page to UTF-8 for a UTF-8 listing; else null
    bool fresh_target;                      // the target file was empty or new when it opened
};

class ListingSink {
  public:
    virtual ~ListingSink() = default;
    // What stands before the records; false if the target can't be had, after a message.
    virtual bool begin() = 0;
    virtual void open_record() = 0;
    // One field: `text` is the rendering in the table's value buffer, or the memo
    // text when `memo` holds one.
    virtual void value(int field, const char* text, const std::optional<std::string>& memo, bool last) = 0;
    virtual void close_record() = 0;
    // What stands behind the records.
    virtual void end() = 0;
};

// The row of "value|" cells (or "NAME      |value" lines) of the screen and text files.
std::unique_ptr<ListingSink> make_text_sink(ListingContext context, OutStream& out);
// One "insert" statement per record.
std::unique_ptr<ListingSink> make_sql_sink(ListingContext context, OutStream& out);
// One "append blank / replace" statement per record, between "use" lines.
std::unique_ptr<ListingSink> make_program_sink(ListingContext context, OutStream& out);
// An HTML table.
std::unique_ptr<ListingSink> make_html_sink(ListingContext context, OutStream& out);
// RFC 4180 CSV in UTF-8: a line of field names into a fresh file, then a line per record.
std::unique_ptr<ListingSink> make_csv_sink(ListingContext context, OutStream& out);
// JSON Lines: one object per record, keyed by field names.
std::unique_ptr<ListingSink> make_json_lines_sink(ListingContext context, OutStream& out);
// New records of the table named by /OUT:name.dbf.
std::unique_ptr<ListingSink> make_table_sink(ListingContext context);

// Removes every CR from a text in place; returns it.
char* strip_cr(char* text);
// Writes `text` padded with blanks on the right to `width` characters (UTF-8
// characters under /UTF8, bytes otherwise); a longer text stands whole.
void put_padded(OutStream& out, std::string_view text, int width, bool utf8);
