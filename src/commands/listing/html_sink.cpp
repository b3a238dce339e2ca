// commands/listing/html_sink.cpp
//
// The HTML table of a listing: one <table> per listing, one <tr> per record in the
// browse layout, one <tr> per field in the fields layout. Text cells go through
// html_value and leave in ANSI; the other kinds of listing stay in OEM. Under
// /UTF8 they leave in UTF-8 instead, converted from the table's code page, and a
// file that starts with the listing says so in a <meta charset> line first.
#include <algorithm>
#include <array>
#include <cstring>

#include <string>
#include <string_view>
#include <vector>

#include "commands/listing/sink.h"
#include "text/codepage.h"
#include "text/html.h"

namespace {

class HtmlSink : public ListingSink {
  public:
    HtmlSink(ListingContext context, OutStream& out) : c_(context), out_(out) {
        const DbfTable& table = c_.pass.table;
        kinds_.resize(static_cast<size_t>(table.field_count), Cell::Text);
        for (int field = 0; field < table.field_count; ++field) {
            const char type = table.fields[static_cast<size_t>(field)].type;
            if (type == 'D' || type == 'T')
                kinds_[static_cast<size_t>(field)] = Cell::Date;
            else if (dbf_field_is_numeric(table, field))
                kinds_[static_cast<size_t>(field)] = Cell::Number;
        }
        // Text cells leave in ANSI by the built-in table, unless the table is ANSI
        // already or the settings file gives its own sets (which may touch mark-up).
        if (!table.settings.ansi_text && table.settings.conversion == nullptr) to_ansi_ = &oem_to_ansi_table;
    }

    bool begin() override {
        const DbfTable& table = c_.pass.table;
        const RunSettings& settings = c_.pass.run.settings;
        if (c_.utf8 != nullptr && c_.fresh_target) out_.write("<meta charset=\"utf-8\">\n");
        out_.write("<table width=\"100%\" border=\"1\" cellspacing=\"1\" cellpadding=\"1\">\n");
        if (!settings.header_row || table.settings.list_fields) return true;
        out_.write("<tr>");
        if (settings.show_deletion_mark) out_.write("<td align=center>*</td>");
        for (int32_t field : c_.fields) out_.print("<td align=center>%s</td>", c_.names[field].c_str());
        out_.write("</tr>\n");
        return true;
    }

    void record(const std::vector<FieldValue>& values, const RecordFacts&) override {
        open_record();
        for (const FieldValue& value : values) this->value(value);
        close_record();
    }

    bool record_quick(const QuickValues& values, const RecordFacts& facts) override {
        const DbfTable& table = c_.pass.table;
        const RunSettings& settings = c_.pass.run.settings;
        if (table.settings.list_fields || settings.show_file_name || c_.utf8 != nullptr) return false;
        // Each cell adds 24 bytes of mark-up at most.
        char* p = out_.room(values.room() + 24 * values.size() + 64);
        const auto put = [&p](std::string_view text) {
            std::memcpy(p, text.data(), text.size());
            p += text.size();
        };
        put("<tr valign=top>");
        if (settings.show_deletion_mark) {
            const char mark = static_cast<char>(table.record[0]);
            if (mark == ' ') {
                put("<td>&nbsp;</td>");
            } else {
                put("<td align=center>");
                *p++ = mark;
                put("</td>");
            }
        }
        for (size_t i = 0; i < values.size(); ++i) {
            // The value goes behind the opening of its cell, which its kind tells.
            const Cell kind = kinds_[static_cast<size_t>(c_.fields[i])];
            const std::string_view open = kind == Cell::Date     ? std::string_view("<td align=center>")
                                          : kind == Cell::Number ? std::string_view("<td align=right>")
                                                                 : std::string_view("<td>");
            char* const cell = p;
            put(open);
            char* const end = values.put_trimmed(i, p);
            if (end == nullptr) return false;
            const std::string_view value(p, static_cast<size_t>(end - p));
            if (value.empty()) {
                p = cell;
                put("<td>&nbsp;</td>");
            } else if (kind != Cell::Text) {
                p = end;
                put("</td>");
            } else if ((table.settings.ansi_text || to_ansi_ != nullptr) && html_is_plain(value)) {
                // The text as it is, a blank behind it, each byte through the table
                // (which keeps ASCII as it is).
                if (to_ansi_ != nullptr && facts.may_hold_high)
                    for (char* c = p; c != end; ++c) *c = static_cast<char>((*to_ansi_)[static_cast<uint8_t>(*c)]);
                p = end;
                put(" </td>");
            } else {
                return false;
            }
        }
        put("</tr>\n");
        out_.commit(p);
        return true;
    }

    void end() override { out_.write("</table>\n"); }


  private:
    void open_record() {
        const DbfTable& table = c_.pass.table;
        out_.write("<tr valign=top>");
        if (!c_.pass.run.settings.show_deletion_mark) return;
        char mark = static_cast<char>(table.record[0]);
        if (table.settings.list_fields) out_.write("<td>*</td>");
        if (mark == ' ')
            out_.write("<td>&nbsp;</td>");
        else
            out_.print("<td align=%s>%c</td>", table.settings.list_fields ? "left" : "center", mark);
        if (table.settings.list_fields) out_.write("</tr>\n");
    }

    void value(const FieldValue& cell) {
        DbfTable& table = c_.pass.table;
        const int field = cell.field;
        const bool memo = cell.memo;
        // The rendering loses its blanks at both ends.
        std::string_view value = memo ? std::string_view() : cell.text;
        while (!value.empty() && value.back() == ' ') value.remove_suffix(1);
        while (!value.empty() && value.front() == ' ') value.remove_prefix(1);
        const bool fields_layout = table.settings.list_fields;
        if (fields_layout) {
            out_.write("<tr valign=top><td valign=top>");
            out_.write(c_.names[static_cast<size_t>(field)]);
            out_.write("</td>");
        }
        const Cell kind = kinds_[static_cast<size_t>(field)];
        if (!memo && value.empty()) {
            out_.write("<td>&nbsp;</td>");
        } else if (!fields_layout && kind == Cell::Date) {
            out_.write("<td align=center>");
            out_.write(value);
            out_.write("</td>");
        } else if (!fields_layout && kind == Cell::Number) {
            out_.write("<td align=right>");
            out_.write(value);
            out_.write("</td>");
        } else if (c_.utf8 == nullptr && (table.settings.ansi_text || to_ansi_ != nullptr) &&
                   html_is_plain(memo ? cell.text : value)) {
            // The text as it is, a blank behind it, each byte through the table.
            const std::string_view text = memo ? cell.text : value;
            char* p = out_.room(text.size() + 10);
            std::memcpy(p, "<td>", 4);
            p += 4;
            if (to_ansi_ != nullptr) {
                for (char c : text) *p++ = static_cast<char>((*to_ansi_)[static_cast<uint8_t>(c)]);
            } else {
                std::memcpy(p, text.data(), text.size());
                p += text.size();
            }
            std::memcpy(p, " </td>", 6);
            out_.commit(p + 6);
        } else {
            cell_.clear();
            html_append(cell_, memo ? cell.text : value, escaped_);
            out_.write("<td>");
            if (c_.utf8 != nullptr) {
                converted_.clear();
                c_.utf8->to_utf8(std::string_view(cell_.c_str()), converted_);
                out_.write(converted_);
            } else {
                if (!table.settings.ansi_text) convert_oem_to_ansi(table, cell_.data());
                out_.write(std::string_view(cell_.c_str()));
            }
            out_.write("</td>");
        }
        if (fields_layout) out_.write("</tr>\n");
    }

    void close_record() {
        const DbfTable& table = c_.pass.table;
        if (c_.pass.run.settings.show_file_name) {
            if (table.settings.list_fields)
                out_.print("<tr><td colspan=2>%s</td>", table.path.c_str());
            else
                out_.print("<td>%s</td>", table.path.c_str());
        }
        out_.write("</tr>\n");
    }

    enum class Cell { Text, Date, Number };

    ListingContext c_;
    OutStream& out_;
    std::vector<Cell> kinds_;  // by field
    const std::array<uint8_t, 256>* to_ansi_ = nullptr;
    std::string cell_, escaped_;  // working space, kept from cell to cell
    std::string converted_;       // a cell in UTF-8
};

}  // namespace

std::unique_ptr<ListingSink> make_html_sink(ListingContext context, OutStream& out) {
    return std::make_unique<HtmlSink>(context, out);
}
