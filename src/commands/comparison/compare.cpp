// commands/comparison/compare.cpp
//
// /CMP:file.dbf opens a second table beside the current one and gives it the
// current table's settings block, so that both render values by the same rules.
// /FILTER: and /ORDER: between the two parameters act on both tables. The closing
// /CMP[:letters] prints the reports -- i: header facts, s: structures, c: data --
// always in that order and always to standard output, then closes the second table.
//
// Fields pair by name, in any case; records pair by visible position, each table
// under its own filter and order.
#include "commands/comparison/compare.h"

#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <strings.h>

#include "expr/cond.h"
#include "select/filter.h"

namespace {

// Values in messages show at most this many characters; they are compared whole.
constexpr size_t kShownValue = 20;

const char* const kMarks[] = {"--", "<>", "~=", "= ", "=="};

// The part of a path behind its last backslash; slashes mean nothing here.
std::string display_name(const DbfTable& table) {
    size_t cut = table.path.rfind('\\');
    return cut == std::string::npos ? table.path : table.path.substr(cut + 1);
}

std::string shown(const char* text) {
    std::string value = text;
    if (value.size() > kShownValue) value.resize(kShownValue);
    return value;
}

void open_comparison(Pass& pass, const char* text) {
    // The first character, normally the colon, is not looked at.
    const char* name = text[0] != '\0' ? text + 1 : text;
    pass.run.compare_table = dbf_open(pass.run.fs, name);
    if (!pass.run.compare_table) die("Can't open", name);
    pass.run.compare_table->settings = pass.table.settings;
    pass.run.compare_armed = true;
}

void close_comparison(Pass& pass, const char* text) {
    bool info = true, structure = false, data = false;
    if (text[0] == ':') {
        info = std::strchr(text, 'i') != nullptr;
        structure = std::strchr(text, 's') != nullptr;
        data = std::strchr(text, 'c') != nullptr;
    }
    DbfTable& compare = *pass.run.compare_table;
    // Hidden deleted records need a filter index even when no /FILTER: built one.
    if (!compare.filter_text && compare.settings.hide_deleted) dbf_set_filter(compare, COND_NONE);
    if (info) report_info(pass.out, pass.table, compare);
    if (structure) report_structure(pass.out, pass.table, compare);
    if (data) report_data(pass.out, pass.table, compare);
    dbf_free(pass.run.compare_table);
    pass.run.compare_armed = false;
}

// Both memos of one field pair.
void compare_memos(OutStream& out, DbfTable& a, int j, const std::string& name_a, DbfTable& b, int k,
                   const std::string& name_b) {
    const std::optional<std::string> memo_a = dbf_memo_read(a, j);
    const std::optional<std::string> memo_b = dbf_memo_read(b, k);
    if (!memo_a && !memo_b) return;
    std::string field_a = dbf_field_name(a, j), field_b = dbf_field_name(b, k);
    if (memo_a && memo_b) {
        if (*memo_a != *memo_b)
            out.print("  %-12s: %s - '%s'\n<> %-12s: %s - '%s'\n\n", name_a.c_str(), field_a.c_str(),
                      shown(memo_a->c_str()).c_str(), name_b.c_str(), field_b.c_str(), shown(memo_b->c_str()).c_str());
    } else {
        std::string text_a = memo_a ? shown(memo_a->c_str()) : "<empty>";
        std::string text_b = memo_b ? shown(memo_b->c_str()) : "<empty>";
        out.print("%-12s: %s - '%s' <> %-12s: %s - '%s'\n\n", name_a.c_str(), field_a.c_str(), text_a.c_str(),
                  name_b.c_str(), field_b.c_str(), text_b.c_str());
    }
}

}  // namespace

void cmd_cmp(Pass& pass, const char* text) {
    if (!pass.run.compare_armed || !pass.run.compare_table)
        open_comparison(pass, text);
    else
        close_comparison(pass, text);
}

void report_info(OutStream& out, DbfTable& a, DbfTable& b) {
    const DbfHeader& ha = a.header;
    const DbfHeader& hb = b.header;
    std::string name_a = display_name(a), name_b = display_name(b);
    const char* family_a = dbf_memo_family_name(dbf_bind_memo(a));
    const char* family_b = dbf_memo_family_name(dbf_bind_memo(b));
    out.print("File: %-30s | File: %-30s\n", name_a.c_str(), name_b.c_str());
    out.print("Type: %-30s | Type: %-30s\n", family_a, family_b);
    out.print("Last updated: %02d.%02d.%04d             | Last updated: %02d.%02d.%04d\n", ha.update_month,
                ha.update_day, ha.update_year + 1900, hb.update_month, hb.update_day, hb.update_year + 1900);
    out.print("File size: %13ld             | File size: %13ld\n", static_cast<long>(a.file.size()),
                static_cast<long>(b.file.size()));
    out.print("Header size: %11d             | Header size: %11d\n", ha.header_length, hb.header_length);
    out.print("Record count: %10d             | Record count: %10d\n", dbf_record_count(a), dbf_record_count(b));
    out.print("Field count: %11d             | Field count: %11d\n", dbf_field_count(a), dbf_field_count(b));
    out.print("Record length: %9d             | Record length: %9d\n\n", ha.record_length, hb.record_length);
}

int field_match(const DbfTable& table_a, int index, const DbfTable& table_b, int* found) {
    std::string name = dbf_field_name(table_a, index);
    for (int k = 0; k < table_b.field_count; ++k) {
        if (strcasecmp(dbf_field_name(table_b, k).c_str(), name.c_str()) != 0) continue;
        if (found != nullptr) *found = k;
        const FieldDesc& a = table_a.fields[index];
        const FieldDesc& b = table_b.fields[k];
        if (a.type != b.type) return 1;
        if (dbf_wide_length(a) != dbf_wide_length(b)) return 2;
        if (a.record_offset != b.record_offset) return 3;
        return 4;
    }
    return 0;
}

std::string field_summary(const DbfTable& table, int index) {
    char summary[64];
    const FieldDesc& desc = table.fields[index];
    std::string name = dbf_field_name(table, index);
    if (((desc.type == 'N' || desc.type == 'F') && desc.length != 0) || (desc.type == 'D' && desc.decimals == 8))
        std::snprintf(summary, sizeof summary, "%-11s %-11s %5d %2d", name.c_str(), dbf_type_name(table, index),
                      desc.length, desc.decimals);
    else
        std::snprintf(summary, sizeof summary, "%-11s %-11s %5d   ", name.c_str(), dbf_type_name(table, index),
                      desc.length);
    return std::string(summary);
}

void report_structure(OutStream& out, const DbfTable& a, const DbfTable& b) {
    bool unmatched = false;
    for (int j = 0; j < a.field_count; ++j) {
        int k = 0;
        int match = field_match(a, j, b, &k);
        if (match != 0) {
            out.print("%-32s", field_summary(a, j).c_str());
            out.print("  |%2s| ", kMarks[match]);
            out.print("%-32s", field_summary(b, k).c_str());
        } else {
            out.print("%-30s", field_summary(a, j).c_str());
            out.print("  |%2s| ", kMarks[0]);
            out.print("%-30s", "-");
            unmatched = true;
        }
        out.put('\n');
    }
    if (a.field_count >= b.field_count && !unmatched) return;
    for (int k = 0; k < b.field_count; ++k) {
        if (field_match(b, k, a, nullptr) != 0) continue;
        out.print("%-32s", "-");
        out.print("  |%2s| ", kMarks[0]);
        out.print("%-32s", field_summary(b, k).c_str());
        out.put('\n');
    }
}

void report_data(OutStream& out, DbfTable& a, DbfTable& b) {
    std::string name_a = display_name(a), name_b = display_name(b);
    int compare_refused = 0;
    int32_t i = 0;
    for (; i < dbf_record_count(a); ++i) {
        if (i >= dbf_record_count(b)) {
            out.print("EOF found: %s\n", b.path.c_str());
            break;
        }
        // A record that can't be read is compared as the buffer stands.
        (void)dbf_read_record(a, i);
        (void)dbf_read_record(b, i);
        int32_t position_a = dbf_order_lookup(a, i), position_b = dbf_order_lookup(b, i);
        for (int j = 0; j < a.field_count; ++j) {
            int k = 0;
            if (field_match(a, j, b, &k) == 0) continue;
            const FieldDesc& da = a.fields[j];
            const FieldDesc& db = b.fields[k];
            bool memo_a = dbf_field_is_memo(a, j), memo_b = dbf_field_is_memo(b, k);
            if (memo_a && memo_b) {
                compare_memos(out, a, j, name_a, b, k, name_b);
            } else if (memo_a || memo_b) {
                if (compare_refused == 0)
                    out.print("Can't compare %s: %s (%s) with %s: %s (%s)\n\n", name_a.c_str(),
                                dbf_field_name(a, j).c_str(), dbf_type_name(a, j), name_b.c_str(),
                                dbf_field_name(b, k).c_str(), dbf_type_name(b, k));
                compare_refused = 1;
            } else if (dbf_field_is_numeric(a, j) && dbf_field_is_numeric(b, k)) {
                double number_a = dbf_field_number(a, j);
                double number_b = dbf_field_number(b, k);
                if (number_a != number_b)
                    out.print("  %-12s %5d: %-10s (%c) %f\n<>%-12s %5d: %-10s (%c) %f\n\n", name_a.c_str(),
                                position_a, dbf_field_name(a, j).c_str(), da.type, number_a, name_b.c_str(),
                                position_b, dbf_field_name(b, k).c_str(), db.type, number_b);
            } else {
                dbf_field_text(a, j);
                std::string text_a = dbf_trim_value(a, TrimMode::Right);
                dbf_field_text(b, k);
                std::string text_b = dbf_trim_value(b, TrimMode::Right);
                if (text_a != text_b)
                    out.print("  %-12s %5d: %-10s (%c) '%s'\n<>%-12s %5d: %-10s (%c) '%s'\n\n", name_a.c_str(),
                                position_a, dbf_field_name(a, j).c_str(), da.type, shown(text_a.c_str()).c_str(),
                                name_b.c_str(), position_b, dbf_field_name(b, k).c_str(), db.type,
                                shown(text_b.c_str()).c_str());
            }
        }
    }
    if (i < dbf_record_count(b)) out.print("EOF found: %s\n", a.path.c_str());
}
