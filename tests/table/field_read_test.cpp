// tests/table/field_read_test.cpp
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <random>

#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

// Writes the image, opens it and reads record 0 when there is one.
std::unique_ptr<DbfTable> open_image(const ScratchDir& dir, const TableImage& image) {
    dir.write("t.dbf", image.bytes());
    std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
    if (table && !image.records.empty()) {
        EXPECT_TRUE(dbf_read_record(*table, 0));
    }
    return table;
}

std::unique_ptr<DbfTable> one_field(const ScratchDir& dir, const FieldSpec& field, const std::string& stored) {
    TableImage image;
    image.fields = {field};
    image.add({stored});
    return open_image(dir, image);
}

std::string day_time(int32_t day, int32_t milliseconds) { return le32(day) + le32(milliseconds); }

// The field is named F; type, length byte and decimals.
struct Layout {
    char type;
    int length;
    int decimals = 0;
};

struct Shown {
    const char* what;
    Layout field;
    std::string stored;
    DateMode date_mode;
    TrimMode trim_mode;
    std::string shown;
    Rendering how = Rendering::Display;
};

const std::string k10(10, ' '), k19(19, ' ');

const Shown kRenderings[] = {
    {"C untrimmed", {'C', 6}, "  ab  ", DateMode::Asis, TrimMode::None, "  ab  "},
    {"C trim right", {'C', 6}, "  ab  ", DateMode::Asis, TrimMode::Right, "  ab"},
    {"C trim left", {'C', 6}, "  ab  ", DateMode::Asis, TrimMode::Left, "ab  "},
    {"C trim all", {'C', 6}, "  ab  ", DateMode::Asis, TrimMode::All, "ab"},
    {"C all blank trim all", {'C', 6}, "", DateMode::Asis, TrimMode::All, ""},
    {"C trims blanks only, not tabs", {'C', 4}, "\tx\t", DateMode::Asis, TrimMode::All, "\tx\t"},
    {"C embedded zero ends the text", {'C', 5}, std::string("ab\0cd", 5), DateMode::Asis, TrimMode::None, "ab"},
    {"L shows the stored letter", {'L', 1}, "?", DateMode::Asis, TrimMode::None, "?"},
    {"N 8.2 pads left", {'N', 8, 2}, "1.5", DateMode::Asis, TrimMode::None, "    1.50"},
    {"blank N reads as zero", {'N', 8, 2}, "", DateMode::Asis, TrimMode::None, "    0.00"},
    {"N wider than its field", {'N', 4, 2}, "9999", DateMode::Asis, TrimMode::None, "9999.00"},
    {"N longer than 31 bytes", {'N', 40, 30}, "1.25", DateMode::Asis, TrimMode::None,
     "        1.250000000000000000000000000000"},
    {"F rounds half to even", {'F', 6, 1}, "-2.25", DateMode::Asis, TrimMode::None, "  -2.2"},
    {"Y in 24 columns", {'Y', 8, 4}, le64(123456), DateMode::Asis, TrimMode::None, "                 12.3456"},
    {"I in 10 columns", {'I', 4}, le32(-5), DateMode::Asis, TrimMode::None, "        -5"},
    {"I wider than 10 columns", {'I', 4}, le32(INT32_MIN), DateMode::Asis, TrimMode::None, "-2147483648"},
    {"B double with decimals", {'B', 8, 3}, double_bytes(2.5), DateMode::Asis, TrimMode::None, "               2.500"},
    {"B memo of wide length 10", {'B', 10}, "17", DateMode::Asis, TrimMode::None, "Full memo "},
    {"B of length 4 holds a block number", {'B', 4}, le32(3), DateMode::Asis, TrimMode::None, "Full memo "},
    {"M block 17", {'M', 10}, "        17", DateMode::Asis, TrimMode::None, "Full memo "},
    {"M blank", {'M', 10}, "", DateMode::Asis, TrimMode::None, "Empty memo"},
    {"M binary block", {'M', 4}, le32(17), DateMode::Asis, TrimMode::None, "Full memo "},
    {"M binary block 0", {'M', 4}, le32(0), DateMode::Asis, TrimMode::None, "Empty memo"},
    {"0 field is empty", {'0', 1}, "\x01", DateMode::Asis, TrimMode::None, ""},

    {"D asis", {'D', 8}, "20010314", DateMode::Asis, TrimMode::None, "20010314"},
    {"D dmy", {'D', 8}, "20010314", DateMode::Dmy, TrimMode::None, "14.03.2001"},
    {"D mdy", {'D', 8}, "20010314", DateMode::Mdy, TrimMode::None, "03.14.2001"},
    {"D sort-key mode shows the digits", {'D', 8}, "20010314", DateMode::Ymd, TrimMode::None, "20010314", Rendering::Key},
    {"blank D asis", {'D', 8}, "", DateMode::Asis, TrimMode::None, "        "},
    {"blank D dmy", {'D', 8}, "", DateMode::Dmy, TrimMode::All, k10},
    // Every date of the years 1 to 9999 shows; the numbers are carried over as a
    // calendar carries them before the years are judged, and shown as stored.
    {"D 1 January of the year 1 shows", {'D', 8}, "00010101", DateMode::Ymd, TrimMode::None, "0001.01.01"},
    {"D of the year 0 is blank", {'D', 8}, "00001231", DateMode::Dmy, TrimMode::None, k10},
    {"D day 0 of the year 1 is blank", {'D', 8}, "00010100", DateMode::Dmy, TrimMode::None, k10},
    {"D 31 December 9999 shows", {'D', 8}, "99991231", DateMode::Dmy, TrimMode::None, "31.12.9999"},
    {"D 32 December 9999 is blank", {'D', 8}, "99991232", DateMode::Dmy, TrimMode::None, k10},
    {"D month 13 shows its numbers", {'D', 8}, "20011301", DateMode::Dmy, TrimMode::None, "01.13.2001"},
    {"D month 13 of 9999 is blank", {'D', 8}, "99991301", DateMode::Dmy, TrimMode::None, k10},
    {"D of another layout is blank", {'D', 10}, "04/25/1989", DateMode::Dmy, TrimMode::None, k10},
    {"D whose year has a blank is blank", {'D', 8}, " 9990101", DateMode::Ymd, TrimMode::None, k10},
    {"D month with a blank shows", {'D', 8}, "2001 301", DateMode::Ymd, TrimMode::None, "2001.03.01"},
    {"D sort key of 1567", {'D', 8}, "15670704", DateMode::Dmy, TrimMode::None, "15670704", Rendering::Key},
    {"D 30 February keeps its digits", {'D', 8}, "20010230", DateMode::Dmy, TrimMode::None, "30.02.2001"},
    {"D short field lacks the day", {'D', 6}, "200103", DateMode::Dmy, TrimMode::None, "00.03.2001"},

    {"T day number dmy", {'T', 8}, day_time(2451545, 45296000), DateMode::Dmy, TrimMode::None, "01.01.2000 12:34:56"},
    {"T day number mdy", {'T', 8}, day_time(2451545, 45296999), DateMode::Mdy, TrimMode::None, "01.01.2000 12:34:56"},
    {"T day number on 29 February", {'T', 8}, day_time(2451604, 0), DateMode::Ymd, TrimMode::None, "2000.02.29 00:00:00"},
    {"T asis shows stored bytes up to a zero", {'T', 8}, day_time(2451545, 0), DateMode::Asis, TrimMode::None, "Yh%"},
    {"T zero bytes asis", {'T', 8}, "", DateMode::Asis, TrimMode::None, k19},
    {"T zero bytes dmy", {'T', 8}, "", DateMode::Dmy, TrimMode::None, k19},
    {"T 1 January of the year 1", {'T', 8}, day_time(1721426, 0), DateMode::Dmy, TrimMode::None,
     "01.01.0001 00:00:00"},
    {"T the day before is blank", {'T', 8}, day_time(1721425, 86399999), DateMode::Dmy, TrimMode::None, k19},
    {"T 31 December 9999", {'T', 8}, day_time(5373484, 86399000), DateMode::Ymd, TrimMode::None,
     "9999.12.31 23:59:59"},
    {"T past year 9999 is blank", {'T', 8}, day_time(5373485, 0), DateMode::Dmy, TrimMode::None, k19},
    {"T most negative day is blank", {'T', 8}, day_time(INT32_MIN, INT32_MIN), DateMode::Dmy, TrimMode::None, k19},
    {"T largest day is blank", {'T', 8}, day_time(INT32_MAX, 0), DateMode::Dmy, TrimMode::None, k19},
    {"T text the second before 1970", {'T', 14}, "19691231235959", DateMode::Dmy, TrimMode::None,
     "31.12.1969 23:59:59"},
    {"T text second 60 of 9999 is blank", {'T', 14}, "99991231235960", DateMode::Dmy, TrimMode::None, k19},
    {"T text hour 24 shows its numbers", {'T', 14}, "20010314240000", DateMode::Dmy, TrimMode::None,
     "14.03.2001 24:00:00"},
    {"T text ymd", {'T', 14}, "20010314123456", DateMode::Ymd, TrimMode::None, "2001.03.14 12:34:56"},
    {"blank T text", {'T', 14}, "", DateMode::Asis, TrimMode::None, k19},
};

}  // namespace

TEST(FieldRead, RendersEachStoredForm) {
    ScratchDir dir;
    for (const Shown& r : kRenderings) {
        SCOPED_TRACE(r.what);
        auto table = one_field(dir, {"F", r.field.type, r.field.length, r.field.decimals}, r.stored);
        ASSERT_NE(table, nullptr);
        table->settings.date_mode = r.date_mode;
        table->settings.trim_mode = r.trim_mode;
        EXPECT_EQ(std::string(dbf_field_text(*table, 0, r.how)), r.shown);
    }
}

TEST(FieldRead, DateDelimiterAppliesToRendering) {
    ScratchDir dir;
    auto t = one_field(dir, {"T", 'T', 14}, "20010314123456");
    dbf_set_date_delimiter(*t, '/');
    t->settings.date_mode = DateMode::Dmy;
    EXPECT_STREQ(dbf_field_text(*t, 0), "14/03/2001 12:34:56");
}

TEST(FieldRead, BlankDateDecodesToYearZero) {
    ScratchDir dir;
    auto table = one_field(dir, {"D", 'D', 8}, "");
    std::tm tm = dbf_field_date(*table, 0);
    EXPECT_EQ(tm.tm_year, -1900);
    EXPECT_EQ(tm.tm_mon, -1);
    EXPECT_EQ(tm.tm_mday, 0);
    EXPECT_FALSE(dbf_field_date_shown(*table, 0));
}

// Which dates show, against the C library's own calendar arithmetic: timegm carries
// the numbers over as a calendar does, and the moment must fall in the years 1 to
// 9999. The answer is the same in every time zone.
TEST(FieldRead, DatesShowInTheYearsOneTo9999InEveryZone) {
    ScratchDir dir;
    TableImage image;
    image.fields = {{"T", 'T', 14}};
    std::mt19937 rng(34);
    std::vector<std::string> stored = {"00010101000000", "00001231235959", "99991231235959", "99991231235960",
                                       "19691231235959", "19011213204551", "20380119031408", "00000013000000",
                                       "00011300000000", "99991300000000", "00010100000000", "99990000000000"};
    for (int i = 0; i < 4000; ++i) {
        char text[32];
        int year = i % 2 ? static_cast<int>(rng() % 10000) : (i % 4 ? static_cast<int>(rng() % 3) : 9997 + static_cast<int>(rng() % 3));
        std::snprintf(text, sizeof text, "%04d%02d%02d%02d%02d%02d", year, static_cast<int>(rng() % 100),
                      static_cast<int>(rng() % 100), static_cast<int>(rng() % 100), static_cast<int>(rng() % 100),
                      static_cast<int>(rng() % 100));
        stored.push_back(text);
    }
    for (const std::string& text : stored) image.add({text});
    dir.write("t.dbf", image.bytes());
    std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
    ASSERT_TRUE(table);
    std::tm first{}, last{};
    first.tm_year = 1 - 1900;
    first.tm_mday = 1;
    last.tm_year = 9999 - 1900;
    last.tm_mon = 11;
    last.tm_mday = 31;
    last.tm_hour = 23;
    last.tm_min = 59;
    last.tm_sec = 59;
    const time_t lowest = timegm(&first), highest = timegm(&last);
    const char* saved = std::getenv("TZ");
    const std::string saved_zone = saved ? saved : "";
    for (const char* zone : {"UTC", "XYZ5", "ABC-11"}) {
        SCOPED_TRACE(zone);
        setenv("TZ", zone, 1);
        tzset();
        for (size_t i = 0; i < stored.size(); ++i) {
            ASSERT_TRUE(dbf_read_record(*table, static_cast<int32_t>(i)));
            std::tm tm = dbf_field_date(*table, 0);
            time_t moment = timegm(&tm);
            ASSERT_EQ(dbf_field_date_shown(*table, 0), moment >= lowest && moment <= highest) << stored[i];
        }
    }
    if (saved) setenv("TZ", saved_zone.c_str(), 1);
    else unsetenv("TZ");
    tzset();
}

TEST(FieldRead, NumbersByType) {
    struct Case { const char* what; Layout field; std::string stored; double number; };
    const Case cases[] = {
        {"N", {'N', 8, 2}, "1.5", 1.5},
        {"I", {'I', 4}, le32(-5), -5.0},
        {"Y", {'Y', 8, 4}, le64(123456), 12.3456},
        {"B", {'B', 8}, double_bytes(2.5), 2.5},
        {"D", {'D', 8}, "20010314", 0.0},
    };
    ScratchDir dir;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto table = one_field(dir, {"F", c.field.type, c.field.length, c.field.decimals}, c.stored);
        EXPECT_DOUBLE_EQ(dbf_field_number(*table, 0), c.number);
    }
}

TEST(FieldRead, SystemAndUnknownTypes) {
    ScratchDir dir;
    TableImage image;
    image.fields = {{"A", 'C', 2}, {"B", 'C', 2}, {"S", '0', 3}, {"X", 'X', 5}};
    image.add({"ab", "cd", "\x01\x02\x03", "12345"});
    auto table = open_image(dir, image);
    ASSERT_NE(table, nullptr);
    for (int field : {2, 3}) {
        SCOPED_TRACE(field);
        EXPECT_STREQ(dbf_field_text(*table, field), "");
        EXPECT_EQ(dbf_field_number(*table, field), 0.0);
        EXPECT_EQ(dbf_display_width(*table, field), field == 2 ? 3 : 5);
    }
    EXPECT_STREQ(dbf_type_name(*table, 2), "System");
    EXPECT_STREQ(dbf_type_name(*table, 3), "Unknown");
}

TEST(FieldRead, DisplayWidthsAndTypeNames) {
    struct Case { Layout field; DateMode date_mode; int width; const char* name; };
    const Case cases[] = {
        {{'C', 300}, DateMode::Asis, 300, "Character"},
        {{'D', 8}, DateMode::Asis, 8, "Date"},
        {{'D', 8}, DateMode::Mdy, 10, "Date"},
        {{'T', 8}, DateMode::Asis, 8, "DateTime"},
        {{'T', 14}, DateMode::Asis, 14, "DateTime"},
        {{'T', 8}, DateMode::Ymd, 19, "DateTime"},
        {{'M', 4}, DateMode::Asis, 10, "Memo"},
        {{'I', 4}, DateMode::Asis, 10, "Integer"},
        {{'Y', 8, 4}, DateMode::Asis, 24, "Currency"},
        {{'B', 8}, DateMode::Asis, 20, "Double"},
        {{'B', 10}, DateMode::Asis, 10, "Binary"},
        {{'B', 4}, DateMode::Asis, 20, "Binary"},
    };
    ScratchDir dir;
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.field.type << c.field.length);
        auto table = one_field(dir, {"F", c.field.type, c.field.length, c.field.decimals}, "");
        table->settings.date_mode = c.date_mode;
        EXPECT_EQ(dbf_display_width(*table, 0), c.width);
        EXPECT_STREQ(dbf_type_name(*table, 0), c.name);
    }
}

// Behind a character field of 65530 bytes the record buffer has room for one more
// field of 4 bytes; fields past that read as missing rather than beyond the buffer.
TEST(FieldRead, FieldsPastTheRecordBufferReadAsMissing) {
    ScratchDir dir;
    TableImage image;
    image.fields = {{"BIG", 'C', 65530}, {"LAST", 'C', 4}, {"N", 'N', 8, 2}, {"I", 'I', 4},
                    {"D", 'D', 8},       {"T", 'T', 8},    {"T14", 'T', 14}, {"L", 'L', 1},
                    {"M", 'M', 10},      {"C", 'C', 5},    {"Y", 'Y', 8, 4}, {"B", 'B', 8, 2}};
    image.add({"x", "edge", "1.5", le32(7), "20010314", day_time(2451545, 0), "20010314000000", "T", "17",
               "abc", le64(10000), double_bytes(1.0)});
    image.record_length = kRecordBufferSize;
    auto table = open_image(dir, image);
    ASSERT_NE(table, nullptr);
    table->settings.date_mode = DateMode::Dmy;
    EXPECT_STREQ(dbf_field_text(*table, 1), "edge");
    const char* const shown[] = {"    0.00", "         0", "          ", k19.c_str(), k19.c_str(),
                                 "",         "Empty memo", "",           "                  0.0000",
                                 "                0.00"};
    for (int field = 2; field < 12; ++field) {
        SCOPED_TRACE(dbf_field_name(*table, field));
        EXPECT_STREQ(dbf_field_text(*table, field), shown[field - 2]);
        EXPECT_STREQ(dbf_field_raw_text(*table, field), "");
        EXPECT_EQ(dbf_field_number(*table, field), 0.0);
        EXPECT_EQ(dbf_field_atol(*table, field), 0);
    }
    EXPECT_FALSE(dbf_field_date_shown(*table, 4));
    EXPECT_FALSE(dbf_field_date_shown(*table, 5));
}

// A character field of the largest wide length fills the value buffer with its
// terminator; no trimming reaches outside it.
TEST(FieldRead, WidestCharacterFieldFitsTheValueBuffer) {
    ScratchDir dir;
    TableImage image;
    image.fields = {{"BIG", 'C', 65534}};
    image.add({std::string(65534, 'z')});
    auto table = open_image(dir, image);
    ASSERT_NE(table, nullptr);
    table->settings.trim_mode = TrimMode::All;
    EXPECT_EQ(std::strlen(dbf_field_text(*table, 0)), 65534u);
}
