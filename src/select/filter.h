// select/filter.h
//
// A filter: the physical numbers of the records that passed a condition, built by
// one walk over the visible records. Filters narrow; /CLEAR widens.
#pragma once

#include "table/dbf.h"

void cmd_filter(const char* text);
void cmd_deleted(const char* text);
void cmd_clear();
// `condition` is a text or COND_NONE.
void dbf_set_filter(DbfTable& table, const char* condition);
void dbf_clear_order(DbfTable& table);
void dbf_clear_filter(DbfTable& table);
void dbf_drop_filter(DbfTable& table);
