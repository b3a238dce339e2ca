// select/order.h
//
// A virtual order: an array that maps each visible position to a filter position,
// built by sorting text keys made of the rendered field values.
#pragma once

#include "table/dbf.h"

void cmd_order(const char* text);
int dbf_set_order(DbfTable& table, const char* text, ProgressFn progress);
int dbf_sort_index(DbfTable& table, std::optional<std::vector<int32_t>>& index_slot, ProgressFn progress);
void dbf_build_key(DbfTable& table, char* key, size_t key_size);
int dbf_sort_compare(const void* a, const void* b, void* table);

// The most bytes the keys of one sort may take in memory, terminators included;
// a sort whose keys need more compares with two keys at a time, reading records
// as it goes. Read at the start of each sort.
extern size_t sort_key_arena_limit;
