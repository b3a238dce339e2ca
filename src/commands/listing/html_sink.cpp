// commands/listing/html_sink.cpp
//
// The HTML table of a listing: one <table> per listing, one <tr> per record in the
// browse layout, one <tr> per field in the fields layout. Text cells go through
// html_value and leave in ANSI; the other kinds of listing stay in OEM. Under
// /UTF8 they leave in UTF-8 instead, converted from the table's code page, and a
// file that starts with the listing says so in a <meta charset> line first.
#include "commands/listing/sink.h"
#include "text/codepage.h"
#include "text/html.h"

namespace {

class HtmlSink : public ListingSink {
  public:
    HtmlSink(ListingContext context, OutStream& out) : c_(context), out_(out) {}

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

    void open_record() override {
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

    void value(int field, const char*, const std::optional<std::string>& memo, bool) override {
        DbfTable& table = c_.pass.table;
        const char* value = dbf_trim_value(table, TrimMode::All);
        const bool fields_layout = table.settings.list_fields;
        if (fields_layout) out_.print("<tr valign=top><td valign=top>%s</td>", c_.names[field].c_str());
        const char type = table.fields[field].type;
        if (!memo && value[0] == '\0') {
            out_.write("<td>&nbsp;</td>");
        } else if (!fields_layout && (type == 'D' || type == 'T')) {
            out_.print("<td align=center>%s</td>", value);
        } else if (!fields_layout && dbf_field_is_numeric(table, field)) {
            out_.print("<td align=right>%s</td>", value);
        } else {
            std::string cell = html_value(memo ? memo->c_str() : value);
            out_.write("<td>");
            if (c_.utf8 != nullptr) {
                converted_.clear();
                c_.utf8->to_utf8(cell.c_str(), converted_);
                out_.write(converted_);
            } else {
                if (!table.settings.ansi_text) convert_oem_to_ansi(table, cell.data());
                out_.write(cell.c_str());
            }
            out_.write("</td>");
        }
        if (fields_layout) out_.write("</tr>\n");
    }

    void close_record() override {
        const DbfTable& table = c_.pass.table;
        if (c_.pass.run.settings.show_file_name) {
            if (table.settings.list_fields)
                out_.print("<tr><td colspan=2>%s</td>", table.path.c_str());
            else
                out_.print("<td>%s</td>", table.path.c_str());
        }
        out_.write("</tr>\n");
    }

    void end() override { out_.write("</table>\n"); }

  private:
    ListingContext c_;
    OutStream& out_;
    std::string converted_;  // a cell in UTF-8
};

}  // namespace

std::unique_ptr<ListingSink> make_html_sink(ListingContext context, OutStream& out) {
    return std::make_unique<HtmlSink>(context, out);
}
