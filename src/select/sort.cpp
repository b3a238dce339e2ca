// select/sort.cpp
//
// Quicksort over elements of any size, driven by a comparison with a context. The
// pivot is the middle element, moved to the front of its range and kept there for
// the whole partition, so that the comparison sees the same second argument over
// and over (the order builder caches one key per side on that). The larger part of
// each partition is pushed and the smaller one sorted at once: at most log2(count)
// ranges are pending, and a partition of 9 or more elements is needed for a push,
// so 30 entries hold every count below 9 * 2^30.
#include "select/sort.h"

namespace {

constexpr size_t kPendingRanges = 30;
constexpr size_t kSmallRun = 8;

}  // namespace

void swap_bytes(char* a, char* b, size_t size) {
    if (a == b) return;
    for (size_t i = 0; i < size; ++i) {
        char byte = a[i];
        a[i] = b[i];
        b[i] = byte;
    }
}

void sort_small_run(char* first, char* last, size_t size, SortCompare compare, void* context) {
    // Selection from the top: the greatest element goes to the end of the run.
    while (last > first) {
        char* greatest = first;
        for (char* element = first + size; element <= last; element += size)
            if (compare(element, greatest, context) > 0) greatest = element;
        swap_bytes(greatest, last, size);
        last -= size;
    }
}

size_t sort_elements(void* base, size_t count, size_t size, SortCompare compare, void* context) {
    size_t peak = 0;
    if (count < 2 || size == 0) return peak;
    char* low_ends[kPendingRanges];
    char* high_ends[kPendingRanges];
    size_t pending = 0;
    char* lo = static_cast<char*>(base);
    char* hi = lo + (count - 1) * size;

    // A part that finds no free entry is sorted by selection on the spot. That is
    // only a guard for counts of more than 9 * 2^30 elements, which the bound above
    // does not cover.
    auto push = [&](char* low, char* high) {
        if (pending == kPendingRanges) {
            sort_small_run(low, high, size, compare, context);
            return;
        }
        low_ends[pending] = low;
        high_ends[pending] = high;
        ++pending;
        if (pending > peak) peak = pending;
    };

    for (;;) {
        size_t elements = static_cast<size_t>(hi - lo) / size + 1;
        if (elements <= kSmallRun) {
            sort_small_run(lo, hi, size, compare, context);
        } else {
            swap_bytes(lo + (elements / 2) * size, lo, size);
            char* l = lo;
            char* h = hi + size;
            for (;;) {
                do l += size; while (l <= hi && compare(l, lo, context) <= 0);
                do h -= size; while (h > lo && compare(h, lo, context) >= 0);
                if (h < l) break;
                swap_bytes(l, h, size);
            }
            swap_bytes(lo, h, size);
            // Left part lo .. h - size, right part l .. hi; compared by their spans.
            // Both are computed as signed distances: a part may be empty, and then
            // its end stands before its start.
            if ((h - lo) - static_cast<ptrdiff_t>(size) >= hi - l) {
                if (lo + size < h) push(lo, h - size);
                if (l < hi) {
                    lo = l;
                    continue;
                }
            } else {
                if (l < hi) push(l, hi);
                if (lo + size < h) {
                    hi = h - size;
                    continue;
                }
            }
        }
        if (pending == 0) return peak;
        --pending;
        lo = low_ends[pending];
        hi = high_ends[pending];
    }
}
