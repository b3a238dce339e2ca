// commands/listing/sink.h
//
// The targets of a listing behind one interface. A listing calls begin, then
// record for every record, then end. The record to render stands in the table's
// record buffer; each value comes rendered or, for a memo under /MEMO:text (and
// always in CSV and JSON Lines), as the memo text, both already converted to the
// listing's code page: OEM, or UTF-8 under /UTF8. HTML alone converts after its
// mark-up, from the table's bytes.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands/run.h"
#include "table/field_render.h"

// One value of a record: the field's rendering up to its first NUL, or, for a memo
// under /MEMO:text that has one, the memo text.
struct FieldValue {
    int field = 0;
    std::string_view text;
    bool memo = false;    // text is a memo text
    bool stored = false;  // no text: the sink asked to read the record buffer itself
};

// What the listing found out about the record it hands over.
struct RecordFacts {
    // False when no rendering (memo texts aside) can hold a CR: neither the bytes
    // the renderings come from nor a conversion can put one there.
    bool may_hold_cr = true;
    // The same for a double quote, and for a byte beyond ASCII.
    bool may_hold_quote = true;
    bool may_hold_high = true;
    // The bytes of all the record's values together.
    size_t text_bytes = 0;
};

// What a sink sees of the listing it serves.
struct ListingContext {
    Pass& pass;
    const std::vector<int32_t>& fields;     // the selected fields, in order
    const std::vector<std::string>& names;  // every field's name as the listing shows it, by field index
    TextCodec* utf8;                        // the table's code page to UTF-8 for a UTF-8 listing; else null
    bool fresh_target;                      // the target file was empty or new when it opened
};

// The values of a record as FieldRenderer::put_quick writes them, for a sink that
// writes a whole record in one pass. They hold no NUL and no converted text.
class QuickValues {
  public:
    QuickValues(const std::vector<const FieldRenderer*>& renderers, size_t room)
        : renderers_(renderers.data()), size_(renderers.size()), room_(room) {}
    // The record to render: the table's record buffer.
    void set_record(const uint8_t* record) { record_ = record; }
    size_t size() const { return size_; }
    // The most all values together take, with the room put may write in.
    size_t room() const { return room_; }
    // Writes the i-th value at `out` and returns its end; null where it has no quick form.
    char* put(size_t i, char* out) const { return renderers_[i]->put_quick(record_, out); }
    // The same without blanks at either end.
    char* put_trimmed(size_t i, char* out) const { return renderers_[i]->put_quick_trimmed(record_, out); }

  private:
    const FieldRenderer* const* renderers_;
    size_t size_;
    size_t room_;
    const uint8_t* record_ = nullptr;
};

class ListingSink {
  public:
    virtual ~ListingSink() = default;
    // What stands before the records; false if the target can't be had, after a message.
    virtual bool begin() = 0;
    // Whether, after begin(), the sink reads the field's value from the record
    // buffer itself and needs no rendering of it.
    virtual bool takes_stored(int field) const {
        (void)field;
        return false;
    }
    // One record, whose bytes stand in the table's record buffer: a value for each
    // selected field, in order. The texts stay until the call returns.
    virtual void record(const std::vector<FieldValue>& values, const RecordFacts& facts) = 0;
    // The same record in one pass from its quick values, if the sink can; false,
    // with nothing written, and record() gets it.
    virtual bool record_quick(const QuickValues& values, const RecordFacts& facts) {
        (void)values;
        (void)facts;
        return false;
    }
    // The same record straight from the record buffer, if the sink can: the listing
    // asks only where no text field holds a NUL or a byte beyond ASCII and no memo
    // field names a block. False, with nothing written, and record() gets it.
    virtual bool record_stored() { return false; }
    // What stands behind the records.
    virtual void end() = 0;
};

// Writes a record's pieces straight into a stream's buffer, in room made once for
// the most the record can take; what was written joins the stream when it goes.
class InPlace {
  public:
    InPlace(OutStream& out, size_t most) : out_(out), p_(out.room(most)) {}
    ~InPlace() { out_.commit(p_); }
    InPlace(const InPlace&) = delete;
    InPlace& operator=(const InPlace&) = delete;

    void put(char c) { *p_++ = c; }
    void write(std::string_view text) {
        if (!text.empty()) std::memcpy(p_, text.data(), text.size());
        p_ += text.size();
    }
    // A literal: its length is known where it is written.
    template <size_t N>
    void write(const char (&text)[N]) {
        std::memcpy(p_, text, N - 1);
        p_ += N - 1;
    }

  private:
    OutStream& out_;
    char* p_;
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
