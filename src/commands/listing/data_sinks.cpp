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
#include <string_view>

#include "commands/listing/sink.h"
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

// A text value without the blanks that pad it to the field's width.
std::string_view unpadded(const char* text) {
    std::string_view value(text);
    size_t end = value.find_last_not_of(' ');
    return value.substr(0, end == std::string_view::npos ? 0 : end + 1);
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

  protected:
    ListingContext c_;
    OutStream& out_;
    std::string line_;
    size_t column_ = 0;
};

class CsvSink : public DataSink {
  public:
    using DataSink::DataSink;

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

    void open_record() override {
        line_.clear();
        column_ = 0;
    }

    void value(int field, const char* text, const std::optional<std::string>& memo, bool) override {
        if (column_++ > 0) line_ += ',';
        const DbfTable& table = c_.pass.table;
        switch (form_of(table, field)) {
            case Form::Text: csv_append_field(unpadded(text), line_); break;
            case Form::Memo:
                if (memo) csv_append_field(*memo, line_);
                break;
            case Form::StoredNumber: csv_append_number(stored(table, field), line_); break;
            case Form::RenderedNumber: csv_append_number(text, line_); break;
            case Form::Double: (void)append_double(dbf_field_double(table, field), line_); break;  // none: empty
            case Form::Date: csv_append_date(stored_date(table, field), line_); break;
            case Form::DateTime: csv_append_datetime(stored(table, field), line_); break;
            case Form::Logical: csv_append_logical(stored(table, field), line_); break;
            case Form::None: break;
        }
    }

    void close_record() override { end_line(); }

    void end() override {}

  private:
    void end_line() {
        // A line of one empty field would be an empty line, which readers pass over.
        if (line_.empty() && c_.fields.size() == 1) line_ += "\"\"";
        line_ += "\r\n";
        out_.write(line_);
    }
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

    void value(int field, const char* text, const std::optional<std::string>& memo, bool) override {
        if (column_ > 0) line_ += ',';
        line_ += keys_[column_++];
        const DbfTable& table = c_.pass.table;
        switch (form_of(table, field)) {
            case Form::Text: json_append_string(unpadded(text), line_); break;
            case Form::Memo: json_append_string(memo ? std::string_view(*memo) : std::string_view(), line_); break;
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
