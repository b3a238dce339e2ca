// select/filter.cpp
#include "select/filter.h"

void cmd_filter(const char*) {}
void cmd_deleted(const char*) {}
void cmd_clear() {}

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
