// commands/editing/assign.cpp
//
// Changing records field by field. /FIELD: keeps an assignment list
//
//   PRICE=PRICE*2;NAME="New name";TOTAL=PRICE*QTY
//
// split at every ';' (quotes do not protect one), each assignment cut at its first
// '='. A value takes the record's values in place of field names, as the right
// side of a condition does, and is read from the record buffer as it stands when
// the assignment runs: earlier assignments of the list are seen by later ones, and
// a field's own old value by its own assignment. Numeric fields take the value
// through the calculator, all others as text.
//
// /UPDATE applies the list to records in the file, /APPEND adds records, and
// +file.dbf adds the records of another table by field names. Records go to the
// file in blocks through a record writer (table/record_writer.h): a write that
// fails costs the records of its block, and the header always counts what the file
// holds. Each of them changes the table under its lock (commands/change.h); one
// that would store memo texts in a damaged memo file changes nothing. An import of
// the table into itself adds the records it had when the import began.
//
// Nothing is stored as something it is not. A value its field can't hold (a number
// too wide, a date the digits can't take) leaves the field as it was and draws a
// line naming the field; a record of /UPDATE whose list failed (an unknown field, a
// value that can't be worked out) is not written at all, and a line names it.
#include "commands/editing/assign.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <strings.h>
#include <vector>

#include "commands/change.h"
#include "expr/calc.h"
#include "expr/cond.h"
#include "table/record_writer.h"

namespace {

constexpr size_t kWorkSize = 65536;  // a value with the record's values in place

// The count of /APPEND:N, read as atoi reads it, held to the int range.
int append_count(const char* text) {
    const long count = std::strtol(text, nullptr, 10);
    if (count > INT_MAX) return INT_MAX;
    if (count < INT_MIN) return INT_MIN;
    return static_cast<int>(count);
}

// One record of /UPDATE. A record that cannot be read is not touched: the buffer
// would hold another record's bytes. Nor is one whose assignment list failed: the
// record is changed as the list says or not at all.
void update_record(Pass& pass, RecordUpdater& updater, int32_t position) {
    if (!updater.read(position)) return;
    const int32_t number = position + 1;  // as the user counts, and as /RANGE: takes it
    if (!apply_field_text(pass, number)) {
        pass.out.print("Record %d not updated\n", number);
        return;
    }
    // Records that can't be written keep their old values; the update goes on.
    (void)updater.write(position);
}

// Stores a value into the field of the record buffer. A value the field can't hold
// leaves the field as it was, and says so: with the record's number under /UPDATE.
void store_value(Pass& pass, int field, const char* text, double number, int32_t record) {
    DbfTable& table = pass.table;
    const int width = dbf_field_width(table, field);
    const uint8_t* bytes = dbf_field_ptr(table, field, width);
    std::vector<uint8_t> old;
    if (bytes != nullptr) old.assign(bytes, bytes + width);
    // Blank first: a text shorter than the field leaves no rest of the old one behind.
    dbf_field_blank(table, field);
    if (dbf_field_set(table, field, text, number)) return;
    if (uint8_t* back = dbf_field_ptr(table, field, width); back != nullptr && !old.empty())
        std::memcpy(back, old.data(), old.size());
    const std::string name = dbf_field_name(table, field);
    if (record > 0)
        pass.out.print("Value not stored: %s, record %d\n", name.c_str(), record);
    else
        pass.out.print("Value not stored: %s\n", name.c_str());
}

// The source field's value as the pair of text and number that a store takes.
// `memo` keeps a memo's text alive while the store runs.
const char* import_value(DbfTable& source, int field, std::optional<std::string>& memo, double& number) {
    number = 0.0;
    if (dbf_field_is_memo(source, field)) {
        memo = dbf_memo_read(source, field);
        return memo ? memo->c_str() : "";
    }
    char* text = dbf_field_text(source, field);
    if (dbf_field_is_numeric(source, field)) {
        number = dbf_field_number(source, field);
        return dbf_trim_value(source, TrimMode::All);
    }
    number = std::atof(text);
    return text;
}

// Calls `take` with each assignment of a list, in order: the pieces between ';'.
// A `take` that returns false ends the walk; so does the list's end.
template <class Take>
void for_each_assignment(std::string_view list, Take take) {
    for (size_t start = 0; start <= list.size();) {
        size_t end = list.find(';', start);
        if (end == std::string_view::npos) end = list.size();
        if (!take(list.substr(start, end - start))) return;
        start = end + 1;
    }
}

// The assignment list in the table's code page: as typed, or under /UTF8 converted
// from UTF-8. No value if an assignment holds what the page can't; with `report`,
// a message names its field. /UPDATE and /APPEND ask first, and then change no record.
std::optional<std::string> table_field_text(Pass& pass, bool report) {
    const std::string& list = *pass.run.field_text;
    if (!pass.run.settings.utf8 || is_ascii(list)) return list;
    TextCodec* codec = table_codec(pass.run, pass.table);
    if (codec == nullptr) return std::nullopt;
    std::string converted;
    bool failed = false;
    for_each_assignment(list, [&](std::string_view assignment) {
        if (assignment.data() != list.data()) converted += ';';  // between assignments
        const EncodeResult result = codec->from_utf8(assignment, converted);
        if (result == EncodeResult::Ok) return true;
        const int name_length = static_cast<int>(std::min(assignment.find('='), assignment.size()));
        if (report && result == EncodeResult::NotInCodePage)
            pass.out.print("Not in code page %d: %.*s\n", codec->page().number, name_length, assignment.data());
        if (report && result == EncodeResult::BadUtf8)
            pass.out.print("Not UTF-8: %.*s\n", name_length, assignment.data());
        failed = true;
        return false;
    });
    if (failed) return std::nullopt;
    return converted;
}

// Whether the assignment list can be applied to this table; if not, a message said why.
bool field_text_fits(Pass& pass) { return table_field_text(pass, true).has_value(); }

// True if an assignment of the list names a memo field, whose value goes to the memo file.
bool assigns_memo(const Pass& pass) {
    if (!pass.run.field_text) return false;
    bool memo = false;
    for_each_assignment(*pass.run.field_text, [&](std::string_view assignment) {
        const size_t equals = assignment.find('=');
        if (equals == std::string_view::npos) return true;
        const int field = dbf_find_field(pass.table, std::string(assignment.substr(0, equals)).c_str());
        memo = field >= 0 && pass.table.fields[field].type == 'M';
        return !memo;
    });
    return memo;
}

// True if a memo field of `table` takes a value from a field of `source`.
bool imports_memo(const DbfTable& table, const DbfTable& source) {
    for (int field = 0; field < dbf_field_count(table); ++field)
        if (table.fields[field].type == 'M' && dbf_find_field(source, dbf_field_name(table, field).c_str()) >= 0)
            return true;
    return false;
}

void import_records(DbfTable& table, DbfTable& source) {
    RecordAppender appender(table);
    const int32_t count = dbf_record_count(source);
    for (int32_t record = 0; record < count; ++record) {
        if (!dbf_read_record(source, record)) break;
        dbf_blank_record(table);
        for (int field = 0; field < dbf_field_count(table); ++field) {
            const int partner = dbf_find_field(source, dbf_field_name(table, field).c_str());
            if (partner < 0) continue;
            std::optional<std::string> memo;
            double number = 0.0;
            const char* text = import_value(source, partner, memo, number);
            (void)dbf_field_set(table, field, text, number);  // what does not fit stays blank
        }
        // A table that takes no record now takes none of the ones behind it.
        if (!appender.add()) break;
    }
    (void)appender.finish();  // the header tells what arrived
}

}  // namespace

void cmd_field(Pass& pass, const char* text) {
    if (text[0] == '\0' || std::strchr(text, '=') == nullptr) {
        pass.out.write("Invalid condition...\n");
        return;
    }
    pass.run.field_text = std::string(text);
}

bool apply_field_text(Pass& pass, int32_t record) {
    if (!pass.run.field_text) return false;
    DbfTable& table = pass.table;
    bool result = true;
    int32_t ok = 1;  // once for the whole list: after a failure every numeric value fails
    const bool convert = pass.run.settings.utf8 && !is_ascii(*pass.run.field_text);
    const std::optional<std::string> converted = convert ? table_field_text(pass, false) : std::nullopt;
    if (convert && !converted) return false;
    const std::string& list = convert ? *converted : *pass.run.field_text;
    // Not cleared: every use follows cond_substitute_fields, which terminates its
    // text; clearing 64 KiB for each record of an /UPDATE cost more than the rest.
    std::unique_ptr<char[]> work(new char[kWorkSize]);

    for_each_assignment(list, [&](std::string_view piece) {
        const std::string assignment(piece);  // the value is read as a C string
        const size_t equals = assignment.find('=');
        if (equals == std::string::npos) return true;
        const std::string name = assignment.substr(0, equals);
        const char* value = assignment.c_str() + equals + 1;
        const int field = dbf_find_field(table, name.c_str());
        if (field < 0) {
            pass.out.print("Invalid field: %s\n", name.c_str());
            result = false;
            return true;
        }

        int32_t numeric = 0;
        const int fits = cond_substitute_fields(table, value, work.get(), kWorkSize, &numeric) != COND_TOO_LONG;
        if (!fits) {
            // The value with the record's values in it does not fit the working
            // buffer; a piece of it is not stored.
            dbf_field_blank(table, field);
            pass.out.print("Error in: %s\n", work.get());
            result = false;
        } else if (dbf_field_is_numeric(table, field)) {
            const double number = calc_evaluate(work.get(), &ok);
            if (ok) {
                store_value(pass, field, nullptr, number, record);
            } else {
                // A new record of /APPEND keeps the field blank; /UPDATE writes nothing.
                dbf_field_blank(table, field);
                pass.out.print("Error in: %s\n", work.get());
                result = false;
            }
        } else {
            store_value(pass, field, work.get(), 0.0, record);
        }
        return true;
    });
    return result;
}

void cmd_update(Pass& pass) {
    if (!pass.run.field_text) {
        pass.out.write("Fields must be specified...\n");
        return;
    }
    if (!field_text_fits(pass)) return;
    DbfTable& table = pass.table;
    TableChange change(pass, table);
    if (assigns_memo(pass) && !change.memo_writable()) return;
    RecordUpdater updater(table);
    if (!pass.run.ranges) {
        for (int32_t position = 0; position < dbf_record_count(table); ++position)
            update_record(pass, updater, position);
    } else {
        for (const int32_t position : *pass.run.ranges)
            if (position >= 0 && position < dbf_record_count(table)) update_record(pass, updater, position);
    }
    (void)updater.finish();  // records that could not be written keep their old values
}

void cmd_append(Pass& pass, const char* text) {
    int count = 1;
    bool blank = false;
    if (text[0] == ':') {
        if (strcasecmp(text + 1, "blank") == 0) blank = true;
        else count = append_count(text + 1);
    }
    if (!blank && pass.run.field_text && !field_text_fits(pass)) return;
    // A count of 0 or below adds nothing, and takes no lock.
    std::optional<TableChange> change;
    if (count > 0) {
        change.emplace(pass, pass.table);
        if (!change->appends_fit()) return;
        if (!blank && assigns_memo(pass) && !change->memo_writable()) return;
    }
    if (!blank && pass.run.field_text) (void)apply_field_text(pass, 0);  // its messages said what failed
    if (blank && count > 0) dbf_blank_record(pass.table);
    RecordAppender appender(pass.table);
    for (int i = 0; i < count; ++i) {
        if (!appender.add()) break;
    }
    (void)appender.finish();  // the header tells what arrived
}

void cmd_import(Pass& pass, const char* name) {
    TableChange change(pass, pass.table);
    // Opened under the lock: a table imported into itself counts the records it has now.
    std::unique_ptr<DbfTable> source = dbf_open(pass.run.fs, name);
    if (!source) return;
    if (dbf_record_count(*source) > 0) {
        if (!change.appends_fit()) return;
        if (imports_memo(pass.table, *source) && !change.memo_writable()) return;
    }
    // Dates pass through the same text form both ways.
    source->settings.date_mode = pass.table.settings.date_mode;
    import_records(pass.table, *source);
    dbf_free(source);
}
