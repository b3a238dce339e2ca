// select/order.h
//
// A virtual order: an array that maps each visible position to a filter position,
// built by sorting text keys made of the rendered field values.
#pragma once

#include <cstddef>
#include <vector>

#include "table/dbf.h"

// The most bytes the keys of one sort may take in memory, terminators included,
// unless the run sets another limit.
inline constexpr size_t kDefaultKeyMemoryLimit = size_t{256} << 20;

// Orders the visible records by the fields of a list text; false, with the old
// order in force, if not even the first field is known.
bool dbf_set_order(DbfTable& table, const char* text, size_t key_memory_limit);
// The filter positions of the visible records sorted by `keys` (field indexes),
// ascending or descending by the table's setting. Reads through the filter and
// any order that stands.
std::vector<int32_t> dbf_sort_index(DbfTable& table, const std::vector<int32_t>& keys, size_t key_memory_limit);
// The key of the record in the buffer: each key field's rendering padded to its
// width, negative numbers complemented; cut to fit `key_size` bytes with the NUL.
void dbf_build_key(DbfTable& table, const std::vector<int32_t>& keys, char* key, size_t key_size);
