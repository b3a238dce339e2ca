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
std::string stored(int32_t day, int32_t milliseconds) {
    std::string bytes;
    for (int32_t part : {day, milliseconds})
        for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>((static_cast<uint32_t>(part) >> shift) & 0xFF);
    return bytes;
}

}  // namespace

// A value and its plain form ("" where it has none): CSV shows it or nothing, JSON
// shows it (in quotes for dates) or null.
TEST(CsvJson, PlainFormsOfEachType) {
    const struct { Append csv, json; bool quoted; std::vector<std::pair<std::string, std::string>> cases; } kinds[] = {
        {csv_append_number, json_append_number, false,
         {{"  -150.25", "-150.25"}, {"  007", "7"}, {"-007.10", "-7.10"}, {"000", "0"}, {"-.5", "-0.5"}, {"5.", "5"},
          {"+3", "3"}, {"-0.00", "-0.00"}, {"1.5E+10", "1.5E+10"}, {"*****", ""}, {"        ", ""}, {"nan", ""},
          {".", ""}, {"1e", ""}, {"1.2.3", ""}, {"- 5", ""}, {"12 3", ""}, {"0x1A", ""}}},
        {csv_append_date, json_append_date, true,
         {{"20010314", "2001-03-14"}, {"20000229", "2000-02-29"}, {"00010101", "0001-01-01"},
          {"99991231", "9999-12-31"}, {"19000229", ""}, {"20010431", ""}, {"20011301", ""}, {"20010100", ""},
          {"00000000", ""}, {"        ", ""}, {"2001 314", ""}, {"2001031", ""}}},
        {csv_append_datetime, json_append_datetime, true,
         {{"20010314123456", "2001-03-14 12:34:56"}, {"20010314240000", ""}, {"20010314126000", ""},
          {"20010230000000", ""}, {stored(2451545, 45296000), "2000-01-01 12:34:56"},
          {stored(2451604, 0), "2000-02-29 00:00:00"}, {stored(2415080, 0), "1900-03-01 00:00:00"},
          {stored(1721426, 999), "0001-01-01 00:00:00"}, {stored(5373484, 86399999), "9999-12-31 23:59:59"},
          {stored(5373485, 0), ""}, {stored(1721425, 0), ""}, {stored(2451545, 86400000), ""},
          {stored(2451545, -1), ""}, {"        ", ""}}},
        {csv_append_logical, json_append_logical, false,
         {{"T", "true"}, {"t", "true"}, {"Y", "true"}, {"y", "true"}, {"F", "false"}, {"f", "false"},
          {"N", "false"}, {"n", "false"}, {"?", ""}, {" ", ""}, {"", ""}, {"X", ""}}},
    };
    for (const auto& kind : kinds)
        for (const auto& [value, plain] : kind.cases) {
            SCOPED_TRACE(value);
            EXPECT_EQ(appended(kind.csv, value), plain);
            EXPECT_EQ(appended(kind.json, value), plain.empty() ? "null" : kind.quoted ? '"' + plain + '"' : plain);
        }
}

TEST(CsvJson, TextQuotedAndEscaped) {
    const struct { Append append; std::string text, out; } cases[] = {
        {csv_append_field, "plain", "plain"}, {csv_append_field, " a;\tb ", " a;\tb "},
        {csv_append_field, "a,b", "\"a,b\""}, {csv_append_field, "say \"hi\"", "\"say \"\"hi\"\"\""},
        {csv_append_field, "\"", "\"\"\"\""}, {csv_append_field, "two\nlines", "\"two\nlines\""},
        {csv_append_field, "cr\r", "\"cr\r\""}, {json_append_string, "", "\"\""},
        {json_append_string, "a\"b\\c/d", "\"a\\\"b\\\\c/d\""},
        {json_append_string, "\b\f\n\r\t", "\"\\b\\f\\n\\r\\t\""},
        {json_append_string, std::string("\0\x01\x1F\x7F", 4), "\"\\u0000\\u0001\\u001f\x7F\""},
        {json_append_string, "Ольга € 😀", "\"Ольга € 😀\""}, {json_append_string, "a\xFF" "b", "\"a\uFFFDb\""},
        {json_append_string, "cut \xC3", "\"cut \uFFFD\""},
        {json_append_string, "\xED\xA0\x80", "\"\uFFFD\uFFFD\uFFFD\""},
        {json_append_string, "\xC0\xAF", "\"\uFFFD\uFFFD\""},
    };
    for (const auto& c : cases) EXPECT_EQ(appended(c.append, c.text), c.out) << c.text;
}
