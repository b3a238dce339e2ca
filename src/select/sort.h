// select/sort.h
//
// A generic in-place sort that knows nothing of tables: a quicksort without
// recursion, 30 pending ranges, the larger part pushed, runs of 8 or fewer
// elements by selection.
#pragma once

#include <cstddef>

using SortCompare = int (*)(const void* a, const void* b, void* context);

void sort_elements(void* base, size_t count, size_t size, SortCompare compare, void* context);
void sort_small_run(char* first, char* last, size_t size, SortCompare compare, void* context);
void swap_bytes(char* a, char* b, size_t size);

// The most ranges that were pending at once during the last sort_elements. A test
// seam: nothing in the program reads it.
extern size_t sort_pending_peak;
