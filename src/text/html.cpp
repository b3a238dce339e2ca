// text/html.cpp
//
// html_value turns a field's text into the contents of a <td>: it escapes what HTML
// reserves, makes <br> of line ends and links of words that look like mail, web or
// FTP addresses. The text is rebuilt word by word, so runs of blanks and tabs
// between words come out as one blank.
#include "text/html.h"

#include <array>
#include <cstring>
#include <string_view>

namespace {

// The longest replacement of one input byte: LF becomes " <br>\n ".
constexpr size_t kMaxEscapeGrowth = 7;
// A link repeats its word and adds at most this many bytes of mark-up:
// <a href="mailto:  ">  </a> and a blank, or <a href="http://  ">  </a> and a blank.
constexpr size_t kMaxLinkTags = 23;

// Stage 1: the escapes. A blank goes before "<br>" and behind its line feed,
// before "&lt;" and behind "&gt;", so that the words split there.
void escape(std::string_view text, std::string& escaped) {
    escaped.clear();
    escaped.reserve(kMaxEscapeGrowth * text.size());
    for (const char* p = text.data(); p != text.data() + text.size() && *p != '\0'; ++p) {
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

void html_append(std::string& out, std::string_view text, std::string& scratch) {
    escape(text, scratch);
    // Every word of w bytes gives at most 2w + 23 bytes, and a word has at least
    // one byte and a delimiter behind it, so there are at most (n + 1) / 2 words.
    out.reserve(out.size() + 2 * scratch.size() + kMaxLinkTags * ((scratch.size() + 1) / 2));
    std::string_view rest = scratch;
    while (true) {
        size_t start = rest.find_first_not_of(" \t");
        if (start == std::string_view::npos) break;
        rest.remove_prefix(start);
        size_t end = rest.find_first_of(" \t");
        append_word(out, rest.substr(0, end));
        if (end == std::string_view::npos) break;
        rest.remove_prefix(end);
    }
}

// The bytes html_is_plain must look at: what the escapes change, what splits
// words, what may make a link.
constexpr std::array<bool, 256> kNoteworthy = [] {
    std::array<bool, 256> table{};
    for (unsigned char c : std::string_view("\0\n\r\t<>&\"@: wf", 13)) table[c] = true;
    return table;
}();

// Of the noteworthy bytes, those that always make a text not plain (1) and the
// letters that may open an address (2).
constexpr std::array<uint8_t, 256> kPlainClass = [] {
    std::array<uint8_t, 256> table{};
    for (unsigned char c : std::string_view("\0\n\r\t<>&\"@:", 10)) table[c] = 1;
    table['w'] = table['f'] = 2;
    return table;
}();

bool html_is_plain(std::string_view text) {
    if (text.empty() || text.front() == ' ' || text.back() == ' ') return false;
    // One pass with no branch on the bytes: most texts have none of the noteworthy
    // ones but single blanks.
    const size_t last = text.size() - 1;
    unsigned found = kPlainClass[static_cast<unsigned char>(text[last])];
    for (size_t i = 0; i < last; ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        found |= kPlainClass[c] | static_cast<unsigned>((c == ' ') & (text[i + 1] == ' '));
    }
    if ((found & 1) != 0) return false;
    if (found == 0) return true;
    for (size_t i = 0; i < text.size(); ++i) {
        if (!kNoteworthy[static_cast<unsigned char>(text[i])]) continue;
        switch (text[i]) {
            case '\0': case '\n': case '\r': case '\t': case '<': case '>': case '&': case '"':
            case '@': case ':':
                return false;
            case ' ':
                if (text[i + 1] == ' ') return false;
                break;
            case 'w': case 'f':
                // "www." and "ftp." open a web or FTP address at the start of a word.
                if ((i == 0 || text[i - 1] == ' ') &&
                    (text.substr(i, 4) == "www." || text.substr(i, 4) == "ftp."))
                    return false;
                break;
            default:
                break;
        }
    }
    return true;
}

std::string html_value(const char* text) {
    std::string result, scratch;
    html_append(result, text, scratch);
    return result;
}

