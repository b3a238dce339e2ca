// tests/select/sort_test.cpp
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "select/sort.h"

namespace {

// Elements are positions into a key array, as the order builder sorts them; equal
// keys fall back on the position, so every pair of elements is ordered.
struct Keys {
    std::vector<int> keys;
    long comparisons = 0;
};

int by_key_then_position(const void* a, const void* b, void* context) {
    auto& k = *static_cast<Keys*>(context);
    ++k.comparisons;
    int32_t x, y;
    std::memcpy(&x, a, 4);
    std::memcpy(&y, b, 4);
    if (k.keys[x] != k.keys[y]) return k.keys[x] < k.keys[y] ? -1 : 1;
    return (x > y) - (x < y);
}

// Equal keys are equal here: the sort need not be stable, only ordered.
int by_key_only(const void* a, const void* b, void* context) {
    auto& k = *static_cast<Keys*>(context);
    int32_t x, y;
    std::memcpy(&x, a, 4);
    std::memcpy(&y, b, 4);
    return (k.keys[x] > k.keys[y]) - (k.keys[x] < k.keys[y]);
}

enum Shape { Random, FewValues, Sorted, Reversed, AllEqual, OrganPipe };
const char* const kShapeNames[] = {"random", "few values", "sorted", "reversed", "all equal", "organ pipe"};

std::vector<int> make_keys(Shape shape, size_t n, std::mt19937& rng) {
    std::vector<int> keys(n);
    for (size_t i = 0; i < n; ++i) {
        switch (shape) {
            case Random: keys[i] = static_cast<int>(rng() % 1000000); break;
            case FewValues: keys[i] = static_cast<int>(rng() % 3); break;
            case Sorted: keys[i] = static_cast<int>(i); break;
            case Reversed: keys[i] = static_cast<int>(n - i); break;
            case AllEqual: keys[i] = 7; break;
            case OrganPipe: keys[i] = static_cast<int>(std::min(i, n - i)); break;
        }
    }
    return keys;
}

std::vector<size_t> sizes_to_try() {
    std::vector<size_t> sizes;
    for (size_t n = 0; n <= 300; ++n) sizes.push_back(n);
    for (size_t n = 301; n < 2000; n += 37) sizes.push_back(n);
    for (size_t p = 512; p <= 2048; p *= 2) {
        sizes.push_back(p - 1);
        sizes.push_back(p);
        sizes.push_back(p + 1);
    }
    sizes.push_back(2000);
    return sizes;
}

// Pending ranges never exceed log2 of the count, which for the largest count of
// 32-bit positions is 31 -- and a push needs 9 elements, so 28 at most there.
size_t pending_bound(size_t n) { return n < 2 ? 0 : static_cast<size_t>(std::floor(std::log2(double(n)))); }

}  // namespace

TEST(SortElements, MatchesStableSortOfTheSameKeys) {
    std::mt19937 rng(20010314);
    for (int shape = Random; shape <= OrganPipe; ++shape) {
        for (size_t n : sizes_to_try()) {
            SCOPED_TRACE(std::string(kShapeNames[shape]) + ", " + std::to_string(n) + " elements");
            Keys k{make_keys(static_cast<Shape>(shape), n, rng)};
            std::vector<int32_t> elements(n);
            std::iota(elements.begin(), elements.end(), 0);
            std::vector<int32_t> expected = elements;
            std::stable_sort(expected.begin(), expected.end(),
                             [&](int32_t a, int32_t b) { return k.keys[a] < k.keys[b]; });
            size_t peak = sort_elements(elements.data(), n, 4, by_key_then_position, &k);
            ASSERT_EQ(elements, expected);
            EXPECT_LE(peak, pending_bound(n));
            // No quadratic behaviour on sorted, reversed and equal keys. (A middle
            // pivot is the maximum of an organ pipe: that shape is quadratic.)
            if (n >= 64 && (shape == Sorted || shape == Reversed || shape == AllEqual)) {
                EXPECT_LT(k.comparisons, static_cast<long>(5 * n * std::log2(double(n))));
            }
        }
    }
}

TEST(SortElements, OrdersTiesWithoutATieBreak) {
    std::mt19937 rng(7);
    for (int shape : {FewValues, AllEqual}) {
        for (size_t n : {9ul, 10ul, 100ul, 1000ul}) {
            SCOPED_TRACE(std::string(kShapeNames[shape]) + ", " + std::to_string(n) + " elements");
            Keys k{make_keys(static_cast<Shape>(shape), n, rng)};
            std::vector<int32_t> elements(n);
            std::iota(elements.begin(), elements.end(), 0);
            sort_elements(elements.data(), n, 4, by_key_only, &k);
            EXPECT_TRUE(std::is_sorted(elements.begin(), elements.end(),
                                       [&](int32_t a, int32_t b) { return k.keys[a] < k.keys[b]; }));
            std::vector<int32_t> sorted = elements;
            std::sort(sorted.begin(), sorted.end());
            std::vector<int32_t> all(n);
            std::iota(all.begin(), all.end(), 0);
            EXPECT_EQ(sorted, all) << "not a permutation";
        }
    }
}

TEST(SortElements, MovesElementsOfAnySizeWhole) {
    // 7-byte elements: a distinct key byte, and six bytes that must travel with it.
    auto compare = [](const void* a, const void* b, void*) {
        return int(*static_cast<const unsigned char*>(a)) - int(*static_cast<const unsigned char*>(b));
    };
    std::vector<unsigned char> keys(200);
    std::iota(keys.begin(), keys.end(), 0);
    std::shuffle(keys.begin(), keys.end(), std::mt19937(3));
    std::string elements;
    for (unsigned char key : keys) elements += std::string(1, char(key)) + std::string(6, char(key ^ 0x5A));
    sort_elements(elements.data(), keys.size(), 7, compare, nullptr);
    for (size_t i = 0; i < keys.size(); ++i)
        EXPECT_EQ(elements.substr(7 * i, 7), std::string(1, char(i)) + std::string(6, char(i ^ 0x5A)));
}

TEST(SortElements, PendingRangesStayWithinLog2OnAMillionElements) {
    for (int shape : {Random, Sorted, Reversed}) {
        SCOPED_TRACE(kShapeNames[shape]);
        std::mt19937 rng(11);
        const size_t n = 1000000;
        Keys k{make_keys(static_cast<Shape>(shape), n, rng)};
        std::vector<int32_t> elements(n);
        std::iota(elements.begin(), elements.end(), 0);
        size_t peak = sort_elements(elements.data(), n, 4, by_key_then_position, &k);
        EXPECT_TRUE(std::is_sorted(elements.begin(), elements.end(), [&](int32_t a, int32_t b) {
            return by_key_then_position(&a, &b, &k) < 0;
        }));
        EXPECT_LE(peak, pending_bound(n));
    }
}
