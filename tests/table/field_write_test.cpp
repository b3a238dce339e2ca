// tests/table/field_write_test.cpp
#include <gtest/gtest.h>

#include <limits>

#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// Type, length byte and decimals of the field under test.
struct Shape {
    char type; int length; int decimals = 0;
};

// A table of the field under test and a 2-byte neighbour "zz" behind it, with the
// field holding `before` in its stored form; record 0 is read into the buffer.
struct OneField {
    ScratchDir dir; std::unique_ptr<DbfTable> table;

    OneField(const Shape& shape, const std::string& before, DateMode date_mode = DateMode::Asis) {
        TableImage image;
        image.fields = {{"F", shape.type, shape.length, shape.decimals}, {"NEXT", 'C', 2}};
        image.add({before, "zz"});
        dir.write("t.dbf", image.bytes());
        table = open_table(dir.file("t.dbf"));
        if (!table) return;
        (void)dbf_read_record(*table, 0);
        table->settings.date_mode = date_mode;
    }

    std::string bytes(int field) const {
        const uint8_t* start = table->record.data() + table->fields[field].record_offset;
        return std::string(reinterpret_cast<const char*>(start), static_cast<size_t>(dbf_field_width(*table, field)));
    }
};

struct Store {
    const char* what; Shape field; std::string before; DateMode date_mode;
    const char* text;  // null: the number is stored
    double number; std::string after;
};

std::string day_and_ms(int32_t day, int32_t ms) { return le32(day) + le32(ms); }

}  // namespace

// A store says whether it stored, and never stores something other than the value.
TEST(FieldWrite, StoresNumbersAndTexts) {
    const std::string kUnchanged5 = "  777";
    const Store stores[] = {
        {"N 5.0 right-aligns", {'N', 5}, kUnchanged5, DateMode::Asis, nullptr, 12, "   12"},
        {"N 5.0 too wide stores nothing", {'N', 5}, kUnchanged5, DateMode::Asis, nullptr, 123456, kUnchanged5},
        {"N 6.2 whole part too wide", {'N', 6, 2}, "  7.77", DateMode::Asis, nullptr, 1234.5, "  7.77"},
        {"N 6.2 whole part just fits", {'N', 6, 2}, "  7.77", DateMode::Asis, nullptr, -12.5, "-12.50"},
        {"N 40.2 wider than 31 bytes", {'N', 40, 2}, "7", DateMode::Asis, nullptr, 1.5, std::string(36, ' ') + "1.50"},
        {"N 8.2 infinity", {'N', 8, 2}, "7.77", DateMode::Asis, nullptr, kInf, "    7.77"},
        {"N 255.2 far too large to print", {'N', 255, 2}, "7", DateMode::Asis, nullptr, 1e300, std::string(254,
         ' ') + "7"},
        {"N 5.6 decimals beyond the length", {'N', 5, 6}, kUnchanged5, DateMode::Asis, nullptr, 0.5, kUnchanged5},
        {"I truncates toward zero", {'I', 4}, le32(7), DateMode::Asis, nullptr, -2.7, le32(-2)},
        {"I beyond 32 bits", {'I', 4}, le32(7), DateMode::Asis, nullptr, 3e9, le32(7)},
        {"Y in units of 1/10000", {'Y', 8}, le64(7), DateMode::Asis, nullptr, 1.5, le64(15000)},
        {"Y truncates the last digit", {'Y', 8}, le64(7), DateMode::Asis, nullptr, 0.00019, le64(1)},
        {"B double", {'B', 8}, double_bytes(7), DateMode::Asis, nullptr, 2.5, double_bytes(2.5)},
        {"B of 10 takes the double in its first 8 bytes", {'B', 10}, "0000000007", DateMode::Asis, nullptr, 2.5,
         double_bytes(2.5) + "07"},
        {"C keeps the bytes behind a short text", {'C', 5}, "abcde", DateMode::Asis, "xy", 0, "xycde"},
        {"C cuts a long text", {'C', 3}, "abc", DateMode::Asis, "hello", 0, "hel"},
        {"L from yes", {'L', 1}, "?", DateMode::Asis, "yes", 0, "Y"},
        {"D dmy with dots", {'D', 8}, "19990101", DateMode::Dmy, "14.03.2001", 0, "20010314"},
        {"D asis uses only 8 of 10 characters", {'D', 8}, "19990101", DateMode::Asis, "2001031499", 0, "20010314"},
        {"D dmy day 0 blanks the field", {'D', 8}, "19990101", DateMode::Dmy, "00.03.2001", 0, "        "},
        {"D dmy negative month stores nothing", {'D', 8}, "19990101", DateMode::Dmy, "14.-1.2001", 0, "19990101"},
        {"T of 14 in mdy", {'T', 14}, "19990101000000", DateMode::Mdy, "03.14.2001 12:34:56", 0, "20010314123456"},
        {"T of 8 in asis", {'T', 8}, "", DateMode::Asis, "20000101123456", 0, day_and_ms(2451545, 45296000)},
        {"T of 8 in dmy", {'T', 8}, "", DateMode::Dmy, "01.03.2000 00:00:01", 0, day_and_ms(2451605, 1000)},
        {"T of 8, 29 February of a leap year", {'T', 8}, "", DateMode::Asis, "20000229000000", 0, day_and_ms(2451604,
         0)},
        {"T of 8, 29 February of a common year stores nothing", {'T', 8}, day_and_ms(7, 7), DateMode::Asis,
         "20010229000000", 0, day_and_ms(7, 7)},
        {"T of 8, 31 December of a leap year", {'T', 8}, "", DateMode::Dmy, "31.12.2000 00:00:00", 0,
         day_and_ms(2451910, 0)},
        {"T of 8, 1 January after it", {'T', 8}, "", DateMode::Dmy, "01.01.2001 00:00:00", 0, day_and_ms(2451911, 0)},
        {"T of 8, 1 March of 2100, no leap year", {'T', 8}, "", DateMode::Ymd, "2100.03.01 00:00:00", 0,
         day_and_ms(2488129, 0)},
        {"T of 8, 29 February of 2100 stores nothing", {'T', 8}, day_and_ms(7, 7), DateMode::Ymd,
         "2100.02.29 00:00:00", 0, day_and_ms(7, 7)},
        {"G takes no text", {'G', 10}, "         3", DateMode::Asis, "picture", 0, "         3"},
    };
    for (const Store& s : stores) {
        SCOPED_TRACE(s.what);
        OneField t(s.field, s.before, s.date_mode);
        ASSERT_TRUE(t.table);
        const std::string before = t.bytes(0);
        EXPECT_EQ(dbf_field_set(*t.table, 0, s.text, s.number), s.after != before);
        EXPECT_EQ(t.bytes(0), s.after);
        EXPECT_EQ(t.bytes(1), "zz");
    }
}

TEST(FieldWrite, CalendarValuesThatHaveNoStoredForm) {
    struct Case {
        const char* what; Shape field; std::string before;
        int year, month, day;
    };
    const std::vector<Case> cases = {
        {"T of 8, month 13", {'T', 8}, day_and_ms(7, 7), 2000, 13, 1},
        {"T of 8, year beyond the 32-bit day number", {'T', 8}, day_and_ms(7, 7), 2000000000, 1, 1},
        {"D, five-digit year", {'D', 8}, "19990101", 12345, 1, 1},
        {"T of 14, three-digit day", {'T', 14}, "19990101000000", 2001, 1, 100},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        OneField t(c.field, c.before);
        EXPECT_FALSE(dbf_store_datetime(*t.table, 0, c.year, c.month, c.day, 0, 0, 0));
        EXPECT_EQ(t.bytes(0), c.before);
    }
}
