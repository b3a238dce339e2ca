// select/filter.cpp
//
// A filter is the ascending list of physical numbers of the records that passed a
// condition, built by one walk over the records visible at that moment. A new
// filter therefore narrows the one before it, and comes out in file order whatever
// order stood before (the build drops the order first). The record is judged as it
// is during the walk: a later edit or mark does not move it in or out.
//
// `filter_text` collects every condition given, "(old)&(new)", only to say whether
// a /FILTER: was ever given; nothing evaluates it.
#include "select/filter.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "driver/parameters.h"
#include "expr/cond.h"

void cmd_filter(const char* text) {
    if (*text == '\0' || std::strpbrk(text, "><={}~") == nullptr) {
        std::puts("Invalid filter...");
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
    dbf_set_filter(*state.current_table, condition.c_str());
    // The comparison table reads the condition against its own fields.
    if (state.compare_table) dbf_set_filter(*state.compare_table, condition.c_str());
}

void cmd_deleted(const char* text) {
    DbfTable& table = *state.current_table;
    int before = table.hide_deleted;
    table.hide_deleted = text[0] == '-' ? 1 : 0;
    if (table.hide_deleted != before) dbf_set_filter(table, COND_NONE);
    // Without a /FILTER: behind it, an index is only the deleted records left out:
    // showing them again means no filter at all (and no order either).
    if (!table.hide_deleted && !table.filter_text) dbf_clear_filter(table);
}

void cmd_clear() {
    DbfTable& table = *state.current_table;
    dbf_clear_order(table);
    dbf_clear_filter(table);
}

void dbf_set_filter(DbfTable& table, const char* condition) {
    if (condition != COND_NONE) {
        if (table.filter_text)
            table.filter_text = "(" + *table.filter_text + ")&(" + condition + ")";
        else
            table.filter_text = condition;
    }
    // The walk follows the old filter, not the order; the keys of the order stay.
    table.order_index.reset();
    int32_t count = dbf_record_count(table);
    std::vector<int32_t> passed;
    passed.reserve(static_cast<size_t>(count));
    table.filter_scratch.reset(new CondScratch{});
    for (int32_t position = 0; position < count; ++position) {
        dbf_read_record(table, position);
        if (cond_evaluate(table, condition) == 1) passed.push_back(dbf_filter_lookup(table, position));
    }
    table.filter_scratch.reset();
    passed.shrink_to_fit();
    table.filter_index = std::move(passed);
}

void dbf_clear_order(DbfTable& table) {
    table.order_index.reset();
    table.order_key_count = 0;
}

void dbf_clear_filter(DbfTable& table) {
    dbf_clear_order(table);
    table.filter_index.reset();
}

void dbf_drop_filter(DbfTable& table) {
    dbf_clear_filter(table);
    table.filter_text.reset();
}
