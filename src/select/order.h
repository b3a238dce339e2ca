// select/order.h
//
// A virtual order: an array that maps each visible position to a filter position,
// built by sorting text keys made of the rendered field values; and the sorted walk
// over whole records that /SORT: copies a table by.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "io/progress.h"
#include "select/merge.h"
#include "table/dbf.h"

// The most bytes the keys of one sort may take in memory, with what the sort keeps
// beside them, unless the run sets another limit. Beyond it the sort goes through
// run files beside the table.
inline constexpr size_t kDefaultKeyMemoryLimit = size_t{256} << 20;

// What a sort may use.
struct SortSettings {
    size_t key_memory_limit = kDefaultKeyMemoryLimit;
    Progress* progress = nullptr;  // advanced as records are read and merged; may be null
};

// How a sort ended: SortFailure::None, or why not and the file that failed.
struct SortOutcome {
    SortFailure failure = SortFailure::None;
    std::string path;
};

// Orders the visible records by the fields of a list text. UnknownFields, with the
// old order in force, if not even the first field is known; on any other failure
// no order stands. A record that can't be read gets the key of the buffer as it
// stands; run files the disk refuses leave their records in memory.
[[nodiscard]] SortOutcome dbf_set_order(DbfTable& table, const char* text, const SortSettings& settings);
// Hands every visible record to `sink`, sorted by `keys` (field indexes) as an order
// would be, with the record's bytes as payload. Reads through the filter and any
// order that stands. Fails with CantRead and the table's path if a record can't be
// read, with the run file's path if one can't be written or read, and with Stopped
// if the sink refused a record.
[[nodiscard]] SortOutcome dbf_sort_records(DbfTable& table, const std::vector<int32_t>& keys,
                                           const SortSettings& settings, SortSink& sink);
// The key of the record in the buffer: each key field's rendering padded to its
// width, negative numbers complemented; cut to fit `key_size` bytes with the NUL.
void dbf_build_key(DbfTable& table, const std::vector<int32_t>& keys, char* key, size_t key_size);
