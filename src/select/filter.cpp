// select/filter.cpp
//
// A filter is the ascending list of physical numbers of the records that passed a
// condition, built by one walk over the records visible at that moment. A new
// filter therefore narrows the one before it, and comes out in file order whatever
// order stood before (the build drops the order first). The record is judged as it
// is during the walk: a later edit or mark does not move it in or out.
//
// `filter_text` collects every condition given, "(old)&(new)", only to say whether
// a condition was ever given; nothing evaluates it.
#include "select/filter.h"

#include <memory>
#include <string>
#include <vector>

#include "expr/cond.h"

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
    auto scratch = std::make_unique<CondScratch>();
    for (int32_t position = 0; position < count; ++position) {
        // A record that can't be read is judged as the buffer stands.
        (void)dbf_read_record(table, position);
        if (cond_evaluate(table, *scratch, condition)) passed.push_back(dbf_filter_lookup(table, position));
    }
    passed.shrink_to_fit();
    table.filter_index = std::move(passed);
}

void dbf_clear_order(DbfTable& table) { table.order_index.reset(); }

void dbf_clear_filter(DbfTable& table) {
    dbf_clear_order(table);
    table.filter_index.reset();
}

void dbf_drop_filter(DbfTable& table) {
    dbf_clear_filter(table);
    table.filter_text.reset();
}
