// select/sort.h
//
// A generic in-place sort that knows nothing of tables: a quicksort without
// recursion, 30 pending ranges, the larger part pushed, runs of 8 or fewer
// elements by selection.
#pragma once

#include <cstddef>

using SortCompare = int (*)(const void* a, const void* b, void* context);

// Sorts `count` elements of `size` bytes ascending by `compare` (negative, zero or
// positive, like strcmp). Returns the most ranges that were pending at once.
size_t sort_elements(void* base, size_t count, size_t size, SortCompare compare, void* context);
// Selection sort of the elements from `first` to `last`, both included.
void sort_small_run(char* first, char* last, size_t size, SortCompare compare, void* context);
// Exchanges two elements of `size` bytes.
void swap_bytes(char* a, char* b, size_t size);
