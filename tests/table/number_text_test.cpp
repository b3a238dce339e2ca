// tests/table/number_text_test.cpp
//
// The quick conversions against the C library calls they stand for, on many values:
// wherever a quick form answers, its bytes (or the bits of its double) are the
// library's.
#include <gtest/gtest.h>

#include <climits>
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

TEST(NumberText, DecimalsPrintAsSnprintfOfAtof) {
    std::mt19937 rng(31);
    int quick = 0;
    for (int i = 0; i < 400000; ++i) {
        std::string text = random_number_text(rng);
        int width = static_cast<int>(rng() % 21), decimals = static_cast<int>(rng() % 17);
        char out[512];
        if (!number_format_decimal(out, sizeof out, text.c_str(), width, decimals)) continue;
        ++quick;
        ASSERT_EQ(std::string(out), printed(decimal_format(width, decimals).c_str(), std::atof(text.c_str())))
            << "'" << text << "' width " << width << " decimals " << decimals;
    }
    EXPECT_GT(quick, 100000) << "the quick form should answer for most plain decimals";
}

TEST(NumberText, AtofGivesTheLibrarysBits) {
    std::mt19937 rng(32);
    int quick = 0;
    for (int i = 0; i < 400000; ++i) {
        std::string text = random_number_text(rng);
        double value;
        if (!number_atof(text.c_str(), value)) continue;
        ++quick;
        double expected = std::atof(text.c_str());
        ASSERT_EQ(std::memcmp(&value, &expected, sizeof value), 0) << "'" << text << "'";
    }
    EXPECT_GT(quick, 100000);
}

TEST(NumberText, EdgeCases) {
    struct Case { const char* text; int width, decimals; bool quick; const char* shown; };
    const Case kCases[] = {
        {"-0.00", 6, 2, true, " -0.00"},  // atof keeps the sign of zero, printf shows it
        {"-0", 3, 0, true, " -0"},
        {"+5", 4, 1, true, " 5.0"},
        {".5", 5, 2, true, " 0.50"},
        {"5.", 2, 0, true, " 5"},
        {"-.5", 0, 1, true, "-0.5"},
        {"123456789012345", 1, 0, true, "123456789012345"},
        {"1234567890123.5", 1, 2, true, "1234567890123.50"},  // 15 digits with the places
        {"12345678901234.5", 1, 2, false, ""},                // 16
        {"1.005", 6, 2, false, ""},                           // more places than shown: rounding
        {"", 4, 2, false, ""},
        {"-", 4, 2, false, ""},
        {"1e3", 4, 0, false, ""},
        {"\t5", 4, 0, false, ""},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.text);
        char out[64];
        ASSERT_EQ(number_format_decimal(out, sizeof out, c.text, c.width, c.decimals), c.quick);
        std::string library = printed(decimal_format(c.width, c.decimals).c_str(), std::atof(c.text));
        if (c.quick) {
            EXPECT_EQ(std::string(out), c.shown);
            EXPECT_EQ(library, c.shown);
        }
    }
    char small[4];
    EXPECT_FALSE(number_format_decimal(small, sizeof small, "12.5", 0, 2)) << "five bytes don't fit four";
}

TEST(NumberText, IntegersAndCurrencyPrintAsSnprintf) {
    std::mt19937_64 rng(33);
    const int64_t kEdges[] = {0, 1, -1, 9999, -9999, 10000, -10000, 999999999999999, -999999999999999,
                              1000000000000000, -1000000000000000, INT32_MAX, INT32_MIN, INT64_MAX, INT64_MIN};
    auto check = [](int64_t v) {
        char out[64], expected[64];
        std::snprintf(expected, sizeof expected, "%24.4f", static_cast<double>(v) / 10000.0);
        if (number_format_currency(out, sizeof out, v)) {
            ASSERT_STREQ(out, expected) << v;
        }
        long l = static_cast<long>(v);
        std::snprintf(expected, sizeof expected, "%10ld", l);
        ASSERT_TRUE(number_format_long(out, sizeof out, l));
        ASSERT_STREQ(out, expected) << v;
    };
    for (int64_t v : kEdges) check(v);
    for (int i = 0; i < 300000; ++i) {
        int bits = static_cast<int>(rng() % 64);
        check(static_cast<int64_t>(rng() >> bits) * ((rng() & 1) ? -1 : 1));
    }
}

TEST(NumberText, AtolAsTheLibrary) {
    const char* const kTexts[] = {"", "   ", "17", "        17", "0000000017", "  12 34", "12abc", "-5", "+5",
                                  "\t9", "x", "99999999999999999", "999999999999999999", "9999999999999999999999"};
    for (const char* text : kTexts) {
        SCOPED_TRACE(text);
        long value;
        if (number_atol(text, value)) {
            EXPECT_EQ(value, std::atol(text));
        }
    }
    long value;
    EXPECT_TRUE(number_atol("        17", value));
    EXPECT_TRUE(number_atol("          ", value));
}
