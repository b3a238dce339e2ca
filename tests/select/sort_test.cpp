// tests/select/sort_test.cpp
//
// Runs sorted in memory against the plain comparison of whole keys (the text, then
// "%10d" of the element), on key shapes that trouble sorts, payloads carried along.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "select/sort.h"

namespace {

std::string whole_key(const std::string& text, int32_t element) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%10d", element);
    return text + digits;
}

// Key texts of shape 0 to 5: random numbers right-aligned in 6 columns, few values
// (ties the element decides), all equal, descending, texts of several lengths that
// are prefixes of one another with bytes above 127, and texts of several lengths
// alike for 81 bytes, beyond what the radix sort reads.
std::string key_text(int shape, size_t i, size_t n, std::mt19937& rng) {
    char text[32];
    switch (shape) {
        case 0: std::snprintf(text, sizeof text, "%6ld", static_cast<long>(rng() % 1000000)); return text;
        case 1: return std::to_string(rng() % 3);
        case 2: return "7";
        case 3: std::snprintf(text, sizeof text, "%6zu", n - i); return text;
        case 4: {
            std::string t;
            for (size_t k = rng() % 14; k > 0; --k) t += " 019ab\x80\xff"[rng() % 8];
            return t;
        }
        default:
            return std::string(1, rng() % 2 ? 'a' : 'c') + std::string(80, 'b') + std::to_string(rng() % 50) +
                   std::string(rng() % 3, 'y');
    }
}

}  // namespace

TEST(SortRun, SortsAsWholeKeysCompareAndCarriesPayloads) {
    std::mt19937 rng(20010314);
    for (int shape = 0; shape < 6; ++shape) {
        for (size_t n : {0, 1, 2, 3, 17, 63, 64, 65, 140, 257, 5000}) {
            SCOPED_TRACE(testing::Message() << "shape " << shape << ", " << n << " records");
            std::vector<std::string> texts, expected;
            SortRun run(size_t{1} << 30, 5);
            for (size_t i = 0; i < n; ++i) {
                texts.push_back(key_text(shape, i, n, rng));
                const int32_t e = static_cast<int32_t>(i);
                uint8_t payload[5];
                std::memcpy(payload, &e, 4);
                payload[4] = static_cast<uint8_t>(e * 7);
                ASSERT_TRUE(run.add(texts.back().data(), texts.back().size(), e, payload, n - i));
                expected.push_back(whole_key(texts.back(), e));
            }
            run.sort();
            std::sort(expected.begin(), expected.end());
            ASSERT_EQ(run.size(), n);
            for (size_t rank = 0; rank < n; ++rank) {
                SortRecord r = run.at(rank);
                ASSERT_EQ(whole_key(std::string(r.text, r.length), r.element), expected[rank]) << rank;
                int32_t carried;
                std::memcpy(&carried, r.payload, 4);
                ASSERT_EQ(carried, r.element);
                ASSERT_EQ(r.payload[4], static_cast<uint8_t>(r.element * 7));
            }
        }
    }
}

// Keys longer than the first of the run, up to the longest a key may be, grow the
// arena where the limit leaves room and end the run where it does not.
TEST(SortRun, GrowsForLongerKeysWithinTheLimit) {
    const std::string short_text(4, 'a');
    const std::string long_text(kMaxKeyText, 'b');
    SortRun roomy(size_t{4} << 20, 0);
    ASSERT_TRUE(roomy.add(short_text.data(), short_text.size(), 0, nullptr, 3));
    ASSERT_TRUE(roomy.add(long_text.data(), long_text.size(), 1, nullptr, 2));
    ASSERT_TRUE(roomy.add(short_text.data(), short_text.size(), 2, nullptr, 1));
    roomy.sort();
    EXPECT_EQ(roomy.at(0).element, 0);
    EXPECT_EQ(roomy.at(1).element, 2);
    EXPECT_EQ(roomy.at(2).length, kMaxKeyText);
    SortRun tight(1000, 0);
    ASSERT_TRUE(tight.add(short_text.data(), short_text.size(), 0, nullptr, 3));
    EXPECT_FALSE(tight.add(long_text.data(), long_text.size(), 1, nullptr, 2));
    EXPECT_EQ(tight.size(), 1u);
}
