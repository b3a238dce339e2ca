// commands/selection/selection.cpp
//
// /FILTER:, /DELETED, /CLEAR and /ORDER:. Under /UTF8 a condition is typed in
// UTF-8 while the table holds its own code page: before the condition reaches the
// table, every run of bytes above 0x7F in it (the only place such bytes can stand
// is a constant: field names and operators are ASCII) becomes the page's bytes.
// A clause whose constant the page can't hold could never meet a record; it is
// replaced by one that never holds, its parentheses kept, so that the clauses
// around it still count. Clauses end at every '&' and '|', quoted or not, as the
// conditions themselves cut them.
#include "commands/selection/selection.h"

#include <cstring>
#include <string>
#include <string_view>

#include "expr/cond.h"
#include "io/progress.h"
#include "text/codepage.h"
#include "select/filter.h"
#include "select/order.h"

namespace {

// Bytes that cut or group a condition wherever they stand. The second byte of a
// character of a multi-byte page may be one of them ('|' or '~'); such a constant
// can't be written in a condition, and its clause is false like any other.
constexpr const char* kSyntaxBytes = "&|()\"'<>=~";

// A clause that never holds, as its ~= operator says, with the parentheses that
// `clause` leaves open or closes.
void never_clause(std::string_view clause, std::string& out) {
    int balance = 0;
    for (char c : clause) balance += c == '(' ? 1 : c == ')' ? -1 : 0;
    if (balance > 0) out.append(static_cast<size_t>(balance), '(');
    out += "\"\"~=\"\"";
    if (balance < 0) out.append(static_cast<size_t>(-balance), ')');
}

// Appends the clause with its UTF-8 runs in the table's code page; false, with
// `out` as it was, if a run does not convert (or there is no converter).
bool append_clause(TextCodec* codec, const DbfTable& table, std::string_view clause, std::string& out) {
    const size_t start = out.size();
    std::string bytes;
    for (size_t i = 0; i < clause.size();) {
        if (static_cast<uint8_t>(clause[i]) < 0x80) {
            out += clause[i++];
            continue;
        }
        size_t end = i;
        while (end < clause.size() && static_cast<uint8_t>(clause[end]) >= 0x80) ++end;
        bytes.clear();
        if (codec == nullptr || codec->from_utf8(clause.substr(i, end - i), bytes) != EncodeResult::Ok ||
            bytes.find_first_of(kSyntaxBytes) != std::string::npos) {
            out.resize(start);
            return false;
        }
        // Under /ANSI the field values are compared in OEM; their constants go the same way.
        if (table.settings.ansi_text) convert_ansi_to_oem(table, bytes.data());
        out += bytes;
        i = end;
    }
    return true;
}

// The condition as the table's bytes, for a condition typed in UTF-8.
std::string condition_in_code_page(Run& run, const DbfTable& table, const std::string& condition) {
    if (is_ascii(condition)) return condition;
    TextCodec* codec = table_codec(run, table);
    std::string out;
    for (size_t start = 0;;) {
        size_t end = condition.find_first_of("&|", start);
        if (end == std::string::npos) end = condition.size();
        std::string_view clause = std::string_view(condition).substr(start, end - start);
        if (!append_clause(codec, table, clause, out)) never_clause(clause, out);
        if (end == condition.size()) return out;
        out += condition[end];
        start = end + 1;
    }
}

}  // namespace

void cmd_filter(Pass& pass, const char* text) {
    if (*text == '\0' || std::strpbrk(text, "><={}~") == nullptr) {
        pass.out.write("Invalid filter...\n");
        return;
    }
    // The braces stand for the comparison signs and ';' for '|', which a command
    // line or a list file can't always carry. Quoted constants are no exception.
    std::string condition = text;
    for (char& c : condition) {
        if (c == '}') c = '>';
        else if (c == '{') c = '<';
        else if (c == ';') c = '|';
    }
    // The comparison table reads the condition against its own fields, in its own code page.
    const bool utf8 = pass.run.settings.utf8;
    dbf_set_filter(pass.table, (utf8 ? condition_in_code_page(pass.run, pass.table, condition) : condition).c_str());
    if (DbfTable* other = pass.run.compare_table.get()) {
        dbf_set_filter(*other, (utf8 ? condition_in_code_page(pass.run, *other, condition) : condition).c_str());
    }
}

void cmd_deleted(Pass& pass, const char* text) {
    DbfTable& table = pass.table;
    bool before = table.settings.hide_deleted;
    table.settings.hide_deleted = text[0] == '-';
    if (table.settings.hide_deleted != before) dbf_set_filter(table, COND_NONE);
    // Without a /FILTER: behind it, an index is only the deleted records left out:
    // showing them again means no filter at all (and no order either).
    if (!table.settings.hide_deleted && !table.filter_text) dbf_clear_filter(table);
}

void cmd_clear(Pass& pass) {
    dbf_clear_order(pass.table);
    dbf_clear_filter(pass.table);
}

namespace {

// Says why an order failed; true if it stands.
bool report_order(Pass& pass, const SortOutcome& outcome) {
    switch (outcome.failure) {
        case SortFailure::None:
            return true;
        case SortFailure::UnknownFields:
            pass.out.write("Invalid field[s]...\n");
            return false;
        case SortFailure::CantWrite:
        case SortFailure::Stopped:
            pass.out.print("Can't write \"%s\", table not ordered\n", outcome.path.c_str());
            return false;
        case SortFailure::CantRead:
            pass.out.print("Can't read \"%s\", table not ordered\n", outcome.path.c_str());
            return false;
    }
    return false;
}

}  // namespace

void cmd_order(Pass& pass, const char* text) {
    if (*text == '\0') {
        pass.out.write("Field[s] required for order...\n");
        return;
    }
    Progress progress(pass.out.descriptor(), "Ordering", pass.run.settings.progress_clock);
    SortSettings settings{pass.run.settings.key_memory_limit, &progress};
    // The indicator is wiped before anything is said.
    SortOutcome outcome = dbf_set_order(pass.table, text, settings);
    progress.finish();
    if (!report_order(pass, outcome) || !pass.run.compare_table) return;
    outcome = dbf_set_order(*pass.run.compare_table, text, settings);
    progress.finish();
    report_order(pass, outcome);
}
