// tests/text/csv_json_test.cpp
//
// Field values in their CSV and JSON forms. Each case appends behind a prefix, so
// a value that has no form is seen to append nothing (CSV) or null (JSON).
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "text/csv_json.h"

namespace {

using Append = void (*)(std::string_view, std::string&);

std::string appended(Append append, std::string_view value) {
    std::string out = "x,";
    append(value, out);
    return out.substr(2);
}

// The 8 stored bytes of a date-time: day number and milliseconds, little-endian.
std::string stored_datetime(int32_t day, int32_t milliseconds) {
    std::string bytes;
    for (int32_t part : {day, milliseconds})
        for (int shift = 0; shift < 32; shift += 8)
            bytes += static_cast<char>((static_cast<uint32_t>(part) >> shift) & 0xFF);
    return bytes;
}

// A value and its plain form, "" where it has none.
struct Case {
    std::string value;
    std::string plain;
};

// CSV shows the plain form or nothing; JSON the plain form, in quotes if `quoted`, or null.
void check(Append csv, Append json, bool quoted, const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value);
        EXPECT_EQ(appended(csv, c.value), c.plain);
        EXPECT_EQ(appended(json, c.value), c.plain.empty() ? "null" : quoted ? '"' + c.plain + '"' : c.plain);
    }
}

}  // namespace

TEST(CsvJson, NumbersLoseTheirPaddingAndNonNumbersAreEmpty) {
    check(csv_append_number, json_append_number, false, {
        {"  -150.25", "-150.25"}, {"   1.50", "1.50"}, {"  007", "7"},     {"-007.10", "-7.10"},
        {"000", "0"},             {"-.5", "-0.5"},       {"5.", "5"},        {"+3", "3"},
        {"-0.00", "-0.00"},       {"1.5E+10", "1.5E+10"},
        {"*****", ""}, {"        ", ""}, {"", ""}, {"nan", ""}, {"-inf", ""}, {".", ""}, {"1e", ""},
        {"1.2.3", ""}, {"- 5", ""}, {"12 3", ""}, {"0x1A", ""},
    });
}

TEST(CsvJson, DatesInIsoFormAndImpossibleOnesEmpty) {
    check(csv_append_date, json_append_date, true, {
        {"20010314", "2001-03-14"}, {"20000229", "2000-02-29"}, {"00010101", "0001-01-01"},
        {"99991231", "9999-12-31"}, {"19000229", ""},  // 1900 was no leap year
        {"20010431", ""}, {"20011301", ""}, {"20010100", ""}, {"00000000", ""}, {"        ", ""},
        {"2001 314", ""}, {"2001031", ""},
    });
}

TEST(CsvJson, DateTimesFromDigitsAndFromDayNumbers) {
    check(csv_append_datetime, json_append_datetime, true, {
        {"20010314123456", "2001-03-14 12:34:56"}, {"20010314240000", ""}, {"20010314126000", ""},
        {"20010230000000", ""}, {"              ", ""},
        {stored_datetime(2451545, 45296000), "2000-01-01 12:34:56"},
        {stored_datetime(2451604, 0), "2000-02-29 00:00:00"},
        {stored_datetime(2415080, 0), "1900-03-01 00:00:00"},
        {stored_datetime(1721426, 999), "0001-01-01 00:00:00"},
        {stored_datetime(5373484, 86399999), "9999-12-31 23:59:59"},
        {stored_datetime(5373485, 0), ""}, {stored_datetime(1721425, 0), ""},
        {stored_datetime(2451545, 86400000), ""}, {stored_datetime(2451545, -1), ""},
        {stored_datetime(0, 0), ""}, {"        ", ""},
    });
}

TEST(CsvJson, LogicalsTrueFalseOrNothing) {
    check(csv_append_logical, json_append_logical, false, {
        {"T", "true"}, {"t", "true"}, {"Y", "true"}, {"y", "true"},
        {"F", "false"}, {"f", "false"}, {"N", "false"}, {"n", "false"},
        {"?", ""}, {" ", ""}, {"", ""}, {"X", ""},
    });
}

TEST(CsvJson, CsvQuotesOnlyWhatNeedsIt) {
    const struct { std::string text; std::string field; } cases[] = {
        {"plain", "plain"}, {"", ""}, {" spaces kept ", " spaces kept "}, {"Müller;\tx", "Müller;\tx"},
        {"a,b", "\"a,b\""}, {"say \"hi\"", "\"say \"\"hi\"\"\""}, {"\"", "\"\"\"\""},
        {"\"\"x\"", "\"\"\"\"\"x\"\"\""}, {"two\nlines", "\"two\nlines\""}, {"cr\r", "\"cr\r\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(appended(csv_append_field, c.text), c.field);
    }
}

TEST(CsvJson, JsonStringsEscapeControlsAndRepairBrokenUtf8) {
    const struct { std::string text; std::string json; } cases[] = {
        {"plain", "\"plain\""}, {"", "\"\""}, {"a\"b\\c/d", "\"a\\\"b\\\\c/d\""},
        {"\b\f\n\r\t", "\"\\b\\f\\n\\r\\t\""},
        {std::string("\0\x01\x1F\x7F", 4), "\"\\u0000\\u0001\\u001f\x7F\""},
        {"Ольга € 😀", "\"Ольга € 😀\""}, {"a\xFF" "b", "\"a\uFFFDb\""}, {"cut \xC3", "\"cut \uFFFD\""},
        {"\xED\xA0\x80", "\"\uFFFD\uFFFD\uFFFD\""}, {"\xC0\xAF", "\"\uFFFD\uFFFD\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(appended(json_append_string, c.text), c.json);
    }
}
