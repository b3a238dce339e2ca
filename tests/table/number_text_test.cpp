// tests/table/number_text_test.cpp
//
// The quick conversions against the C library calls they stand for, on many values:
// wherever a quick form answers, its bytes (or the bits of its double) are the
// library's.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "table/number_text.h"

namespace {

std::string printed(const char* format, double value) {
    char out[512];
    std::snprintf(out, sizeof out, format, value);
    return out;
}

std::string decimal_format(int width, int decimals) {
    char format[32];
    std::snprintf(format, sizeof format, "%%%d.%df", width, decimals);
    return format;
}

// Stored number texts as a table may hold them: mostly plain decimals, some not.
std::string random_number_text(std::mt19937& rng) {
    auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    const char* const kOdd[] = {"", " ", "-", "+", ".", "-.", "1e5", "0x1A", "12.5x", "\t7", "inf", "-nan", "1.2.3", "- 5",
                                "1 2", "00000000000000000000012.5"};
    if (pick(10) == 0) return kOdd[pick(sizeof kOdd / sizeof *kOdd)];
    std::string text(static_cast<size_t>(pick(4)), ' ');
    if (int sign = pick(6); sign == 0) text += '-';
    else if (sign == 1) text += '+';
    int whole = pick(18), fraction = pick(3) ? pick(9) : 0;
    for (int i = 0; i < whole; ++i) text += static_cast<char>('0' + (i == 0 && pick(3) ? 9 : pick(10)));
    if (fraction > 0 || pick(4) == 0) text += '.';
    for (int i = 0; i < fraction; ++i) text += static_cast<char>('0' + pick(10));
    // Halves and near-halves at the last place, where printf's rounding decides.
    if (fraction > 0 && pick(3) == 0) text.back() = '5';
    text.append(static_cast<size_t>(pick(3)), ' ');
    return text;
}

}  // namespace

TEST(NumberText, QuickFormsAreTheLibrarys) {
    std::mt19937 rng(31);
    int quick_printed = 0, quick_read = 0;
    for (int i = 0; i < 150000; ++i) {
        std::string text = random_number_text(rng);
        int width = static_cast<int>(rng() % 21), decimals = static_cast<int>(rng() % 17);
        char out[512];
        if (number_format_decimal(out, sizeof out, text.c_str(), width, decimals)) {
            ++quick_printed;
            ASSERT_EQ(std::string(out), printed(decimal_format(width, decimals).c_str(), std::atof(text.c_str())))
                << "'" << text << "' width " << width << " decimals " << decimals;
        }
        double value, expected = std::atof(text.c_str());
        if (number_atof(text.c_str(), value)) {
            ++quick_read;
            ASSERT_EQ(std::memcmp(&value, &expected, sizeof value), 0) << "'" << text << "'";
        }
        // Currency in units of 1/10000 and longs, of every magnitude.
        const int64_t units = static_cast<int64_t>((uint64_t{rng()} << 32 | rng()) >> (rng() % 64)) * (i % 2 ? -1 : 1);
        char library[64];
        std::snprintf(library, sizeof library, "%24.4f", static_cast<double>(units) / 10000.0);
        if (number_format_currency(out, sizeof out, units)) ASSERT_STREQ(out, library) << units;
        std::snprintf(library, sizeof library, "%10ld", static_cast<long>(units));
        ASSERT_TRUE(number_format_long(out, sizeof out, static_cast<long>(units)));
        ASSERT_STREQ(out, library) << units;
    }
    EXPECT_GT(quick_printed, 30000) << "the quick form should answer for most plain decimals";
    EXPECT_GT(quick_read, 30000);
}
