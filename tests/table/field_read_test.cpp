// tests/table/field_read_test.cpp
#include <gtest/gtest.h>

#include <memory>

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
    char type; int length; int decimals = 0;
};

struct Shown {
    const char* what; Layout field; std::string stored; DateMode date_mode; TrimMode trim_mode; std::string shown;
};

const std::string k10(10, ' '), k19(19, ' ');

const Shown kRenderings[] = {
    {"C trim all", {'C', 6}, "  ab  ", DateMode::Asis, TrimMode::All, "ab"},
    {"C embedded zero ends the text", {'C', 5}, std::string("ab\0cd", 5), DateMode::Asis, TrimMode::None, "ab"},
    {"N 8.2 pads left", {'N', 8, 2}, "1.5", DateMode::Asis, TrimMode::None, "    1.50"},
    {"N longer than 31 bytes", {'N', 40, 30}, "1.25", DateMode::Asis, TrimMode::None,
     "        1.250000000000000000000000000000"},
    {"Y in 24 columns", {'Y', 8, 4}, le64(123456), DateMode::Asis, TrimMode::None, "                 12.3456"},
    {"B double with decimals", {'B', 8, 3}, double_bytes(2.5), DateMode::Asis, TrimMode::None, "               2.500"},
    {"B memo of wide length 10", {'B', 10}, "17", DateMode::Asis, TrimMode::None, "Full memo "},
    {"M blank", {'M', 10}, "", DateMode::Asis, TrimMode::None, "Empty memo"},
    {"M binary block", {'M', 4}, le32(17), DateMode::Asis, TrimMode::None, "Full memo "},

    {"D dmy", {'D', 8}, "20010314", DateMode::Dmy, TrimMode::None, "14.03.2001"},
    {"blank D dmy", {'D', 8}, "", DateMode::Dmy, TrimMode::All, k10},
    // Every date of the years 1 to 9999 shows; the numbers are carried over as a
    // calendar carries them before the years are judged, and shown as stored.
    {"D of the year 0 is blank", {'D', 8}, "00001231", DateMode::Dmy, TrimMode::None, k10},
    {"D 31 December 9999 shows", {'D', 8}, "99991231", DateMode::Dmy, TrimMode::None, "31.12.9999"},
    {"D 32 December 9999 is blank", {'D', 8}, "99991232", DateMode::Dmy, TrimMode::None, k10},
    {"D month 13 shows its numbers", {'D', 8}, "20011301", DateMode::Dmy, TrimMode::None, "01.13.2001"},

    {"T day number dmy", {'T', 8}, day_time(2451545, 45296000), DateMode::Dmy, TrimMode::None, "01.01.2000 12:34:56"},
    {"T asis shows stored bytes up to a zero", {'T', 8}, day_time(2451545, 0), DateMode::Asis, TrimMode::None, "Yh%"},
    {"T 31 December of a leap year", {'T', 8}, day_time(2451910, 0), DateMode::Dmy, TrimMode::None,
     "31.12.2000 00:00:00"},
    {"T 31 December of a common year", {'T', 8}, day_time(2452275, 0), DateMode::Dmy, TrimMode::None,
     "31.12.2001 00:00:00"},
    {"T 28 February of 2100", {'T', 8}, day_time(2488128, 0), DateMode::Ymd, TrimMode::None, "2100.02.28 00:00:00"},
    {"T 1 March of 2100", {'T', 8}, day_time(2488129, 0), DateMode::Ymd, TrimMode::None, "2100.03.01 00:00:00"},
    {"T 1 January of the year 1", {'T', 8}, day_time(1721426, 0), DateMode::Dmy, TrimMode::None,
     "01.01.0001 00:00:00"},
    {"T text hour 24 shows its numbers", {'T', 14}, "20010314240000", DateMode::Dmy, TrimMode::None,
     "14.03.2001 24:00:00"},
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
        EXPECT_EQ(std::string(dbf_field_text(*table, 0)), r.shown);
    }
}

TEST(FieldRead, DisplayWidthsAndTypeNames) {
    struct Case { Layout field; DateMode date_mode; int width; const char* name; };
    const Case cases[] = {
        {{'D', 8}, DateMode::Mdy, 10, "Date"},
        {{'T', 8}, DateMode::Asis, 8, "DateTime"},
        {{'T', 8}, DateMode::Ymd, 19, "DateTime"},
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

