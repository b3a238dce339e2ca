// select/filter.h
//
// A filter: the physical numbers of the records that passed a condition, built by
// one walk over the visible records. Filters narrow; clearing widens.
#pragma once

#include "table/dbf.h"

// Keeps the visible records that meet `condition` (a text, or COND_NONE for the
// deletion test alone) as the new filter, in file order; drops the order.
void dbf_set_filter(DbfTable& table, const char* condition);
void dbf_clear_order(DbfTable& table);
// Drops filter and order; the filter text stays.
void dbf_clear_filter(DbfTable& table);
// Drops filter, order and filter text.
void dbf_drop_filter(DbfTable& table);
