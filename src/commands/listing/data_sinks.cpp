// commands/listing/data_sinks.cpp
//
// The targets that other programs load: CSV (RFC 4180: fields separated by commas,
// quoted where they hold a comma, quote, CR or LF, lines ended by CR LF) and JSON
// Lines (one object per record and line, keyed by field names). Both are UTF-8.
//
// Values take their plain forms (text/csv_json.h). Numbers of N and F, dates,
// date-times and logicals are read from the record buffer as stored, so that a
// blank one stays blank (rendered, a blank number reads 0.00) and no date is lost
// to the range a listing shows; I and Y come as rendered, B as the shortest text
// that reads back as the same double. Character values lose the blanks that pad
// them to the field's width; memo texts come in full; General and binary memo
// fields have no text form. A blank number, date or logical is an empty CSV field
// and a JSON null; text is a string, empty or not.
//
// A CSV file gets its line of field names only when the listing starts it (the
// file was empty or new); a listing appended behind others adds records alone.
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "commands/listing/sink.h"
#include "table/number_text.h"
#include "text/csv_json.h"

namespace {

enum class Form { Text, Memo, StoredNumber, RenderedNumber, Double, Date, DateTime, Logical, None };

Form form_of(const DbfTable& table, int field) {
    switch (table.fields[field].type) {
        case 'N': case 'F': return Form::StoredNumber;
        case 'I': case 'Y': return Form::RenderedNumber;
        case 'B': return dbf_field_is_memo(table, field) ? Form::None : Form::Double;
        case 'D': return Form::Date;
        case 'T': return Form::DateTime;
        case 'L': return Form::Logical;
        case 'M': return Form::Memo;
        case 'G': return Form::None;
        default: return Form::Text;
    }
}

// The field's bytes in the record buffer; empty where they can't be had.
std::string_view stored(const DbfTable& table, int field) {
    const int width = dbf_field_width(table, field);
    const uint8_t* bytes = dbf_field_ptr(table, field, width);
    if (bytes == nullptr) return {};
    return {reinterpret_cast<const char*>(bytes), static_cast<size_t>(width)};
}

// A stored date: its 8 digits, also in a wider field that some writers pad with blanks.
std::string_view stored_date(const DbfTable& table, int field) {
    std::string_view date = stored(table, field);
    if (date.size() > 8 && date.find_first_not_of(' ', 8) == std::string_view::npos) date = date.substr(0, 8);
    return date;
}

constexpr uint64_t kOnes = 0x0101010101010101u, kHighs = 0x8080808080808080u;

// The high bit of each byte of `word` that is not a blank.
uint64_t nonblank_bytes(uint64_t word) {
    const uint64_t x = word ^ (kOnes * ' ');
    return (((x & ~kHighs) + ~kHighs) | x) & kHighs;
}

// A text value without the blanks that pad it to the field's width: eight bytes
// looked at together, so that the length of the padding costs no guess.
[[gnu::always_inline]] inline std::string_view unpadded(std::string_view value) {
    size_t end = value.size();
    for (uint64_t word; end >= 8;) {
        std::memcpy(&word, value.data() + end - 8, 8);
        if (const uint64_t found = nonblank_bytes(word)) return value.substr(0, end - __builtin_clzll(found) / 8);
        end -= 8;
    }
    while (end > 0 && value[end - 1] == ' ') --end;
    return value.substr(0, end);
}

// The text without the blanks in front of it, the same way.
[[gnu::always_inline]] inline std::string_view unindented(std::string_view value) {
    size_t start = 0;
    for (uint64_t word; start + 8 <= value.size(); start += 8) {
        std::memcpy(&word, value.data() + start, 8);
        if (const uint64_t found = nonblank_bytes(word)) return value.substr(start + __builtin_ctzll(found) / 8);
    }
    while (start < value.size() && value[start] == ' ') ++start;
    return value.substr(start);
}

// Appends the shortest text of a double that reads back as the same value; false
// for infinities and NaN, which no number form holds.
bool append_double(double number, std::string& out) {
    if (!std::isfinite(number)) return false;
    char digits[32];
    std::to_chars_result result = std::to_chars(digits, digits + sizeof digits, number);
    out.append(digits, result.ptr);
    return true;
}

// What the two formats share: a line per record built in one string, a column count.
class DataSink : public ListingSink {
  public:
    DataSink(ListingContext context, OutStream& out) : c_(context), out_(out) {}

    // Numbers, dates and logicals come from the record, so that a blank one stays blank.
    bool takes_stored(int field) const override {
        const char type = c_.pass.table.fields[static_cast<size_t>(field)].type;
        return type == 'N' || type == 'F' || type == 'D' || type == 'T' || type == 'L';
    }

    void record(const std::vector<FieldValue>& values, const RecordFacts&) override {
        open_record();
        for (const FieldValue& value : values) this->value(value.field, value.text, value.memo);
        close_record();
    }

  protected:
    virtual void open_record() = 0;
    // One field: its rendering, or the memo text when `memo` says it is one.
    virtual void value(int field, std::string_view text, bool memo) = 0;
    virtual void close_record() = 0;

    ListingContext c_;
    OutStream& out_;
    std::string line_;
    size_t column_ = 0;
};

class CsvSink : public DataSink {
  public:
    CsvSink(ListingContext context, OutStream& out)
        : DataSink(context, out), quick_(context.pass.run.settings.quick_listings) {
        const DbfTable& table = c_.pass.table;
        for (int32_t field : c_.fields) {
            const std::string_view bytes = stored(table, field);
            const FieldDesc& desc = table.fields[static_cast<size_t>(field)];
            const bool over_read = bytes.size() <= 16 && desc.record_offset + 16 <= kRecordBufferSize;
            const Form form = form_of(table, field);
            const bool integer = desc.type == 'I' && bytes.size() >= 4;
            columns_.push_back({form, field, bytes.data(), bytes.size(), desc.decimals, over_read, integer,
                                table.settings.trim_mode == TrimMode::Left || table.settings.trim_mode == TrimMode::All});
            // Text of type C and the forms read from the record alone can come from the
            // record buffer; a text of another type or a currency needs its rendering.
            stored_ = stored_ && !bytes.empty() &&
                      (form == Form::Text ? desc.type == 'C' : form != Form::RenderedNumber || integer);
            stored_most_ += 2 * bytes.size() + 40;
        }
    }

    bool begin() override {
        if (!c_.fresh_target) return true;
        line_.clear();
        for (size_t i = 0; i < c_.fields.size(); ++i) {
            if (i > 0) line_ += ',';
            csv_append_field(c_.names[c_.fields[i]], line_);
        }
        end_line();
        return true;
    }

    // The line is written in place; forms that are not the usual ones go through
    // text/csv_json.h in a scratch string.
    void record(const std::vector<FieldValue>& values, const RecordFacts&) override {
        size_t most = 8;
        for (size_t i = 0; i < values.size(); ++i) most += 2 * values[i].text.size() + columns_[i].width + 40;
        char* const start = out_.room(most);
        char* p = start;
        for (size_t i = 0; i < values.size(); ++i) {
            if (i > 0) *p++ = ',';
            const Column& column = columns_[i];
            const FieldValue& value = values[i];
            if (!quick_) {
                p = put_plain(column, value, p);
            } else if (column.form == Form::Text) {
                p = put_field(unpadded(value.text), p);
            } else if (column.form == Form::Memo) {
                if (value.memo) p = put_field(value.text, p);
            } else {
                p = put_from_bytes(column, value, p);
            }
        }
        end_record(start, p);
    }

    // The record's text fields are its bytes as they stand, less the blanks the
    // trim mode takes from the left; its memos have no text.
    bool record_stored() override {
        if (!stored_) return false;
        char* const start = out_.room(stored_most_);
        char* p = start;
        for (size_t i = 0; i < columns_.size(); ++i) {
            if (i > 0) *p++ = ',';
            const Column& column = columns_[i];
            if (column.form == Form::Text) {
                const std::string_view text(column.bytes, column.width);
                p = put_field(unpadded(column.trim_left ? unindented(text) : text), p);
            } else if (column.form != Form::Memo) {
                p = put_from_bytes(column, FieldValue{}, p);
            }
        }
        end_record(start, p);
        return true;
    }

    void open_record() override {}
    void value(int, std::string_view, bool) override {}
    void close_record() override {}
    void end() override {}

  private:
    // A selected field: its form and its bytes in the record buffer (none where they can't be had).
    struct Column {
        Form form;
        int field;
        const char* bytes;
        size_t width;
        int decimals;
        bool over_read;  // 16 bytes from `bytes` on lie in the record buffer
        bool integer;    // a number of type I whose four bytes are there
        bool trim_left;  // its rendering loses the blanks on its left
    };

    // A value that is not text or memo: numbers, dates and logicals from the
    // record buffer where their bytes tell all.
    char* put_from_bytes(const Column& column, const FieldValue& value, char* p) {
        switch (column.form) {
            case Form::StoredNumber: return put_number(column, p);
            case Form::Date: return put_date(column, p);
            case Form::Logical: {
                const std::optional<bool> truth = logical_value(std::string_view(column.bytes, column.width > 0));
                return truth ? put(*truth ? std::string_view("true") : std::string_view("false"), p) : p;
            }
            case Form::RenderedNumber:
                if (column.integer) {  // "%10ld" of the four bytes, without its blanks
                    int32_t number;
                    std::memcpy(&number, column.bytes, 4);
                    return std::to_chars(p, p + 12, number).ptr;
                }
                return put_slow(column, value, p);
            default: return put_slow(column, value, p);
        }
    }

    // Ends the line begun at `start`, written up to `p`.
    void end_record(char* start, char* p) {
        // A line of one empty field would be an empty line, which readers pass over.
        if (p == start && c_.fields.size() == 1) p = put("\"\"", p);
        *p++ = '\r';
        *p++ = '\n';
        out_.commit(p);
    }

    static char* put(std::string_view text, char* out) {
        if (!text.empty()) std::memcpy(out, text.data(), text.size());
        return out + text.size();
    }

    // put for a text that lies in the record buffer: a short one is copied as 16
    // bytes, which the buffer and the room both have (each value leaves 40 bytes spare).
    char* put_from_record(std::string_view text, char* out) const {
        const uint8_t* at = reinterpret_cast<const uint8_t*>(text.data());
        const uint8_t* record = c_.pass.table.record.data();
        if (text.size() <= 16 && at >= record && at + 16 <= record + kRecordBufferSize) {
            std::memcpy(out, at, 16);
            return out + text.size();
        }
        return put(text, out);
    }

    // csv_append_field at `out`.
    char* put_field(std::string_view text, char* out) const {
#if defined(__SSE2__)
        // A text in the record buffer with room behind it is looked at and copied
        // sixteen bytes at a time (each value leaves 40 bytes spare in the room).
        const uint8_t* at = reinterpret_cast<const uint8_t*>(text.data());
        const uint8_t* record = c_.pass.table.record.data();
        const size_t chunks = (text.size() + 15) / 16;
        if (text.size() <= 64 && at >= record && at + 16 * chunks <= record + kRecordBufferSize) {
            const __m128i commas = _mm_set1_epi8(','), quotes = _mm_set1_epi8('"'), crs = _mm_set1_epi8('\r'),
                          lfs = _mm_set1_epi8('\n');
            uint32_t found = 0;
            for (size_t i = 0; i < chunks; ++i) {
                const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + 16 * i));
                const __m128i hit = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, commas), _mm_cmpeq_epi8(v, quotes)),
                                                 _mm_or_si128(_mm_cmpeq_epi8(v, crs), _mm_cmpeq_epi8(v, lfs)));
                const size_t left = text.size() - 16 * i;
                const uint32_t in = left >= 16 ? 0xFFFFu : (1u << left) - 1;
                found |= static_cast<uint32_t>(_mm_movemask_epi8(hit)) & in;
                _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16 * i), v);
            }
            if (found == 0) return out + text.size();
            return put_quoted(text, out);
        }
#endif
        // Whether any byte is a comma, a quote, CR or LF: eight bytes at a time, the
        // last eight overlapping the ones before.
        auto any_zero = [](uint64_t x) { return (x - kOnes) & ~x & kHighs; };
        auto special = [&any_zero](uint64_t x) {
            return any_zero(x ^ (kOnes * ',')) | any_zero(x ^ (kOnes * '"')) | any_zero(x ^ (kOnes * '\r')) |
                   any_zero(x ^ (kOnes * '\n'));
        };
        uint64_t found = 0;
        if (text.size() >= 8) {
            uint64_t x;
            for (size_t i = 0; i + 8 < text.size(); i += 8) {
                std::memcpy(&x, text.data() + i, 8);
                found |= special(x);
            }
            std::memcpy(&x, text.data() + text.size() - 8, 8);
            found |= special(x);
        } else {
            for (char c : text) found |= c == ',' || c == '"' || c == '\r' || c == '\n';
        }
        if (found == 0) return put_from_record(text, out);
        return put_quoted(text, out);
    }

    // The text between quotes, its own quotes doubled.
    static char* put_quoted(std::string_view text, char* out) {
        *out++ = '"';
        for (char c : text) {
            if (c == '"') *out++ = '"';
            *out++ = c;
        }
        *out++ = '"';
        return out;
    }

    // A stored number as printf would print it is its own plain form without the blanks.
    char* put_number(const Column& column, char* out) {
        const int width = static_cast<int>(column.width);
        if (column.bytes != nullptr && width < 256 &&
            (column.over_read
                 ? number_is_printed_form_16(reinterpret_cast<const uint8_t*>(column.bytes), width, column.decimals)
                 : number_is_printed_form(column.bytes, width, column.decimals))) {
            return put_from_record(unindented(std::string_view(column.bytes, column.width)), out);
        }
        scratch_.clear();
        csv_append_number(std::string_view(column.bytes, column.width), scratch_);
        return put(scratch_, out);
    }

    // A stored date: YYYYMMDD to YYYY-MM-DD when its digits make a real date.
    char* put_date(const Column& column, char* out) {
        if (column.bytes != nullptr && column.width == 8) {
            const char* b = column.bytes;
            bool digits = true;
            for (int i = 0; i < 8; ++i) digits = digits && b[i] >= '0' && b[i] <= '9';
            const int year = (b[0] - '0') * 1000 + (b[1] - '0') * 100 + (b[2] - '0') * 10 + (b[3] - '0');
            const int month = (b[4] - '0') * 10 + (b[5] - '0'), day = (b[6] - '0') * 10 + (b[7] - '0');
            // Every month has 28 days; the rest ask the calendar below.
            if (digits && year >= 1 && month >= 1 && month <= 12 && day >= 1 && day <= 28) {
                std::memcpy(out, b, 4);
                out[4] = '-';
                std::memcpy(out + 5, b + 4, 2);
                out[7] = '-';
                std::memcpy(out + 8, b + 6, 2);
                return out + 10;
            }
        }
        scratch_.clear();
        csv_append_date(stored_date(c_.pass.table, column.field), scratch_);
        return put(scratch_, out);
    }

    char* put_slow(const Column& column, const FieldValue& value, char* out) {
        const DbfTable& table = c_.pass.table;
        scratch_.clear();
        switch (column.form) {
            case Form::RenderedNumber: csv_append_number(value.text, scratch_); break;
            case Form::Double:  // none: an empty field
                (void)append_double(dbf_field_double(table, column.field), scratch_);
                break;
            case Form::DateTime: csv_append_datetime(std::string_view(column.bytes, column.width), scratch_); break;
            default: break;
        }
        return put(scratch_, out);
    }

    // Every form through text/csv_json.h, as the quick ways must come to.
    char* put_plain(const Column& column, const FieldValue& value, char* out) {
        const DbfTable& table = c_.pass.table;
        const std::string_view bytes(column.bytes, column.bytes != nullptr ? column.width : 0);
        scratch_.clear();
        switch (column.form) {
            case Form::Text: {
                const size_t end = value.text.find_last_not_of(' ');
                csv_append_field(value.text.substr(0, end == std::string_view::npos ? 0 : end + 1), scratch_);
                break;
            }
            case Form::Memo:
                if (value.memo) csv_append_field(value.text, scratch_);
                break;
            case Form::StoredNumber: csv_append_number(bytes, scratch_); break;
            case Form::Date: csv_append_date(stored_date(table, column.field), scratch_); break;
            case Form::Logical: csv_append_logical(bytes, scratch_); break;
            case Form::RenderedNumber: csv_append_number(value.text, scratch_); break;
            default: return put_slow(column, value, out);
        }
        return put(scratch_, out);
    }

    void end_line() {
        if (line_.empty() && c_.fields.size() == 1) line_ += "\"\"";
        line_ += "\r\n";
        out_.write(line_);
    }

    std::vector<Column> columns_;
    std::string scratch_;
    const bool quick_;       // the quick forms may be taken
    bool stored_ = quick_;   // record_stored can write every selected field
    size_t stored_most_ = 8;  // the most a line from the record buffer takes
};

class JsonLinesSink : public DataSink {
  public:
    using DataSink::DataSink;

    bool begin() override {
        // Each selected field's key, quoted and followed by its colon.
        for (int32_t field : c_.fields) {
            std::string key;
            json_append_string(c_.names[field], key);
            key += ':';
            keys_.push_back(std::move(key));
        }
        return true;
    }

    void open_record() override {
        line_.clear();
        line_ += '{';
        column_ = 0;
    }

    void value(int field, std::string_view text, bool memo) override {
        if (column_ > 0) line_ += ',';
        line_ += keys_[column_++];
        const DbfTable& table = c_.pass.table;
        switch (form_of(table, field)) {
            case Form::Text: json_append_string(unpadded(text), line_); break;
            case Form::Memo: json_append_string(memo ? text : std::string_view(), line_); break;
            case Form::StoredNumber: json_append_number(stored(table, field), line_); break;
            case Form::RenderedNumber: json_append_number(text, line_); break;
            case Form::Double:
                if (!append_double(dbf_field_double(table, field), line_)) line_ += "null";
                break;
            case Form::Date: json_append_date(stored_date(table, field), line_); break;
            case Form::DateTime: json_append_datetime(stored(table, field), line_); break;
            case Form::Logical: json_append_logical(stored(table, field), line_); break;
            case Form::None: line_ += "null"; break;
        }
    }

    void close_record() override {
        line_ += "}\n";
        out_.write(line_);
    }

    void end() override {}

  private:
    std::vector<std::string> keys_;
};

}  // namespace

std::unique_ptr<ListingSink> make_csv_sink(ListingContext context, OutStream& out) {
    return std::make_unique<CsvSink>(context, out);
}

std::unique_ptr<ListingSink> make_json_lines_sink(ListingContext context, OutStream& out) {
    return std::make_unique<JsonLinesSink>(context, out);
}
