// export/html.cpp
//
// HTML output of a listing, and html_value, which turns a field's text into the
// contents of a <td>: it escapes what HTML reserves, makes <br> of line ends and
// links of words that look like mail, web or FTP addresses. The text is rebuilt
// word by word, so runs of blanks and tabs between words come out as one blank.
#include "export/html.h"

#include <cstring>
#include <string_view>

#include "driver/parameters.h"
#include "export/listing.h"
#include "text/codepage.h"

namespace {

// The longest replacement of one input byte: LF becomes " <br>\n ".
constexpr size_t kMaxEscapeGrowth = 7;
// A link repeats its word and adds at most this many bytes of mark-up:
// <a href="mailto:  ">  </a> and a blank, or <a href="http://  ">  </a> and a blank.
constexpr size_t kMaxLinkTags = 23;

// Stage 1: the escapes. A blank goes before "<br>" and behind its line feed,
// before "&lt;" and behind "&gt;", so that the words split there.
std::string escape(const char* text) {
    std::string escaped;
    escaped.reserve(kMaxEscapeGrowth * std::strlen(text));
    for (const char* p = text; *p != '\0'; ++p) {
        switch (*p) {
            case '\n': escaped += " <br>\n "; break;
            case '<': escaped += " &lt;"; break;
            case '>': escaped += "&gt; "; break;
            case '&': escaped += "&amp;"; break;
            case '"': escaped += "&quot;"; break;
            case '\r': break;
            default: escaped += *p; break;
        }
    }
    return escaped;
}

void append_link(std::string& out, std::string_view prefix, std::string_view href, std::string_view word) {
    out += "<a href=\"";
    out += prefix;
    out += href;
    out += "\">";
    out += word;
    out += "</a> ";
}

// Stage 2, one word. The tests see the escaped word, entities and all.
void append_word(std::string& out, std::string_view word) {
    size_t at = word.find('@');
    if (at != std::string_view::npos && word.find('.', at + 1) != std::string_view::npos) {
        // "&lt;" can only open a word and "&gt;" only close one: <a@b.c> mails a@b.c.
        std::string_view address = word;
        if (word.find("&lt;") != std::string_view::npos) address.remove_prefix(4);
        size_t close = address.find("&gt;");
        if (close != std::string_view::npos) address = address.substr(0, close);
        append_link(out, "mailto:", address, word);
        return;
    }
    if (word.starts_with("http://") || word.starts_with("ftp://")) {
        append_link(out, "", word, word);
        return;
    }
    if (word.size() > 4 && (word.starts_with("www.") || word.starts_with("ftp.")) &&
        word.find('.', 4) != std::string_view::npos) {
        append_link(out, word[0] == 'w' ? "http://" : "ftp://", word, word);
        return;
    }
    out += word;
    out += ' ';
}

}  // namespace

std::string html_value(const char* text) {
    const std::string escaped = escape(text);
    // Every word of w bytes gives at most 2w + 23 bytes, and a word has at least
    // one byte and a delimiter behind it, so there are at most (n + 1) / 2 words.
    std::string result;
    result.reserve(2 * escaped.size() + kMaxLinkTags * ((escaped.size() + 1) / 2));
    std::string_view rest = escaped;
    while (true) {
        size_t start = rest.find_first_not_of(" \t");
        if (start == std::string_view::npos) break;
        rest.remove_prefix(start);
        size_t end = rest.find_first_of(" \t");
        append_word(result, rest.substr(0, end));
        if (end == std::string_view::npos) break;
        rest.remove_prefix(end);
    }
    return result;
}

void html_write_head(FILE* out, const DbfTable& table) {
    std::fprintf(out, "<table width=\"100%%\" border=\"1\" cellspacing=\"1\" cellpadding=\"1\">\n");
    if (!options.header_row || table.list_fields != 0) return;
    std::fprintf(out, "<tr>");
    if (options.show_deletion_mark) std::fprintf(out, "<td align=center>*</td>");
    for (int32_t field : state.selected_fields)
        std::fprintf(out, "<td align=center>%s</td>", dbf_field_name(table, field).c_str());
    std::fprintf(out, "</tr>\n");
}

void html_write_tail(FILE* out) { std::fprintf(out, "</table>\n"); }

void html_record_open(FILE* out, const DbfTable& table) {
    std::fprintf(out, "<tr valign=top>");
    if (!options.show_deletion_mark) return;
    char mark = static_cast<char>(table.record[0]);
    if (table.list_fields == 1) std::fprintf(out, "<td>*</td>");
    if (mark == ' ')
        std::fprintf(out, "<td>&nbsp;</td>");
    else
        std::fprintf(out, "<td align=%s>%c</td>", table.list_fields == 0 ? "center" : "left", mark);
    if (table.list_fields == 1) std::fprintf(out, "</tr>\n");
}

void html_record_value(FILE* out, DbfTable& table, int field, const std::optional<std::string>& memo) {
    const char* value = dbf_trim_value(table, TrimAll);
    const bool fields_layout = table.list_fields == 1;
    if (fields_layout)
        std::fprintf(out, "<tr valign=top><td valign=top>%s</td>", dbf_field_name(table, field).c_str());
    const char type = table.fields[field].type;
    if (!memo && value[0] == '\0') {
        std::fprintf(out, "<td>&nbsp;</td>");
    } else if (!fields_layout && (type == 'D' || type == 'T')) {
        std::fprintf(out, "<td align=center>%s</td>", value);
    } else if (!fields_layout && dbf_field_is_numeric(table, field)) {
        std::fprintf(out, "<td align=right>%s</td>", value);
    } else {
        std::string cell = html_value(memo ? memo->c_str() : value);
        if (!table.ansi_text) convert_oem_to_ansi(table, cell.data());
        std::fprintf(out, "<td>%s</td>", cell.c_str());
    }
    if (fields_layout) std::fprintf(out, "</tr>\n");
}

void html_record_close(FILE* out, const DbfTable& table) {
    if (options.show_file_name) {
        if (table.list_fields == 1)
            std::fprintf(out, "<tr><td colspan=2>%s</td>", table.path.c_str());
        else
            std::fprintf(out, "<td>%s</td>", table.path.c_str());
    }
    std::fprintf(out, "</tr>\n");
}
