// tests/table/field_write_test.cpp
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
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
    char type;
    int length;
    int decimals = 0;
};

// A table of the field under test and a 2-byte neighbour "zz" behind it, with the
// field holding `before` in its stored form; record 0 is read into the buffer.
struct OneField {
    ScratchDir dir;
    std::unique_ptr<DbfTable> table;

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

struct NumberStore {
    const char* what;
    Shape field;
    std::string before;
    double number;
    std::string after;
};

const std::string kUnchanged5 = "  777";

std::vector<NumberStore> number_stores() {
    return {
    {"N 5.0 right-aligns", {'N', 5}, kUnchanged5, 12, "   12"},
    {"N 5.0 truncates toward zero", {'N', 5}, kUnchanged5, -12.9, "  -12"},
    {"N 5.0 too wide stores nothing", {'N', 5}, kUnchanged5, 123456, kUnchanged5},
    {"N 6.2 pads the decimals", {'N', 6, 2}, "  7.77", 1.5, "  1.50"},
    {"N 6.2 whole part too wide", {'N', 6, 2}, "  7.77", 1234.5, "  7.77"},
    {"N 6.2 whole part just fits", {'N', 6, 2}, "  7.77", -12.5, "-12.50"},
    {"F takes the same form", {'F', 6, 2}, "  7.77", 1.5, "  1.50"},
    {"N 40.2 wider than 31 bytes", {'N', 40, 2}, "7", 1.5, std::string(36, ' ') + "1.50"},
    {"N 40.0 wider than 31 bytes", {'N', 40}, "7", -123, std::string(36, ' ') + "-123"},
    {"N 12.0 holds the least 32-bit value", {'N', 12}, "7", -2147483648.0, " -2147483648"},
    {"N 20.0 beyond 32 bits", {'N', 20}, "7", 3e9, std::string(19, ' ') + "7"},
    {"N 5.0 not a number", {'N', 5}, kUnchanged5, kNaN, kUnchanged5},
    {"N 8.2 infinity", {'N', 8, 2}, "7.77", kInf, "    7.77"},
    {"N 8.2 not a number", {'N', 8, 2}, "7.77", kNaN, "    7.77"},
    {"N 255.2 far too large to print", {'N', 255, 2}, "7", 1e300, std::string(254, ' ') + "7"},
    {"N 5.6 decimals beyond the length", {'N', 5, 6}, kUnchanged5, 0.5, kUnchanged5},
    {"I truncates toward zero", {'I', 4}, le32(7), -2.7, le32(-2)},
    {"I beyond 32 bits", {'I', 4}, le32(7), 3e9, le32(7)},
    {"I not a number", {'I', 4}, le32(7), kNaN, le32(7)},
    {"I narrower than 4 bytes", {'I', 2}, "\x07\x00", 5, std::string("\x07\x00", 2)},
    {"Y in units of 1/10000", {'Y', 8}, le64(7), 1.5, le64(15000)},
    {"Y negative in two's complement", {'Y', 8}, le64(7), -1.5, le64(-15000)},
    {"Y truncates the last digit", {'Y', 8}, le64(7), 0.00019, le64(1)},
    {"Y beyond 64 bits", {'Y', 8}, le64(7), 1e16, le64(7)},
    {"Y not a number", {'Y', 8}, le64(7), kNaN, le64(7)},
    {"B double", {'B', 8}, double_bytes(7), 2.5, double_bytes(2.5)},
    {"B of 10 takes the double in its first 8 bytes", {'B', 10}, "0000000007", 2.5,
     double_bytes(2.5) + "07"},
    };
}

TEST(FieldWrite, StoresNumbers) {
    for (const NumberStore& s : number_stores()) {
        SCOPED_TRACE(s.what);
        OneField t(s.field, s.before);
        ASSERT_TRUE(t.table);
        // A store says whether it stored: never something other than the value.
        const std::string before = t.bytes(0);
        EXPECT_EQ(dbf_field_set(*t.table, 0, nullptr, s.number), s.after != before);
        EXPECT_EQ(t.bytes(0), s.after);
        EXPECT_EQ(t.bytes(1), "zz");
    }
}

struct TextStore {
    const char* what;
    Shape field;
    std::string before;
    DateMode date_mode;
    const char* text;
    std::string after;
};

std::string day_and_ms(int32_t day, int32_t ms) { return le32(day) + le32(ms); }

std::vector<TextStore> text_stores() {
    return {
    {"C keeps the bytes behind a short text", {'C', 5}, "abcde", DateMode::Asis, "xy", "xycde"},
    {"C cuts a long text", {'C', 3}, "abc", DateMode::Asis, "hello", "hel"},
    {"C of 300 bytes", {'C', 300}, "", DateMode::Asis, "wide", "wide" + std::string(296, ' ')},
    {"L from yes", {'L', 1}, "?", DateMode::Asis, "yes", "Y"},
    {"L from t", {'L', 1}, "?", DateMode::Asis, "t", "T"},
    {"L from n", {'L', 1}, "?", DateMode::Asis, "n", "N"},
    {"L from x", {'L', 1}, "?", DateMode::Asis, "x", " "},
    {"L from an empty text", {'L', 1}, "?", DateMode::Asis, "", " "},
    {"D dmy with dots", {'D', 8}, "19990101", DateMode::Dmy, "14.03.2001", "20010314"},
    {"D dmy with slashes", {'D', 8}, "19990101", DateMode::Dmy, "14/03/2001", "20010314"},
    {"D mdy", {'D', 8}, "19990101", DateMode::Mdy, "03-14-2001", "20010314"},
    {"D ymd", {'D', 8}, "19990101", DateMode::Ymd, "2001.03.14", "20010314"},
    {"D asis", {'D', 8}, "19990101", DateMode::Asis, "20010314", "20010314"},
    {"D asis uses only 8 of 10 characters", {'D', 8}, "19990101", DateMode::Asis, "2001031499", "20010314"},
    {"D dmy blanks blank the field", {'D', 8}, "19990101", DateMode::Dmy, "          ", "        "},
    {"D dmy day 0 blanks the field", {'D', 8}, "19990101", DateMode::Dmy, "00.03.2001", "        "},
    {"D dmy month 13 passes", {'D', 8}, "19990101", DateMode::Dmy, "14.13.2001", "20011314"},
    {"D dmy 30 February passes", {'D', 8}, "19990101", DateMode::Dmy, "30.02.2001", "20010230"},
    {"D dmy a year before 1000 keeps four digits", {'D', 8}, "19990101", DateMode::Dmy, "04.07.0999", "09990704"},
    {"D dmy negative month stores nothing", {'D', 8}, "19990101", DateMode::Dmy, "14.-1.2001", "19990101"},
    {"D ymd negative year stores nothing", {'D', 8}, "19990101", DateMode::Ymd, "-001.01.01", "19990101"},
    {"T of 14 negative hour stores nothing", {'T', 14}, "19990101000000", DateMode::Dmy, "14.03.2001 -1:00:00",
     "19990101000000"},
    {"T of 14 in mdy", {'T', 14}, "19990101000000", DateMode::Mdy, "03.14.2001 12:34:56", "20010314123456"},
    {"T of 14 in asis", {'T', 14}, "19990101000000", DateMode::Asis, "20010314123456", "20010314123456"},
    {"T of 8 in asis", {'T', 8}, "", DateMode::Asis, "20000101123456", day_and_ms(2451545, 45296000)},
    {"T of 8 in dmy", {'T', 8}, "", DateMode::Dmy, "01.03.2000 00:00:01", day_and_ms(2451605, 1000)},
    {"T of 8 in a common year", {'T', 8}, "", DateMode::Asis, "19000301000000", day_and_ms(2415080, 0)},
    {"T of 8 with month 13 stores nothing", {'T', 8}, day_and_ms(7, 7), DateMode::Asis, "20001301000000",
     day_and_ms(7, 7)},
    {"T of 8 with day 0 blanks", {'T', 8}, day_and_ms(7, 7), DateMode::Asis, "20000100000000",
     std::string(8, '\0')},
    {"T of 8, 29 February of a leap year", {'T', 8}, "", DateMode::Asis, "20000229000000", day_and_ms(2451604, 0)},
    {"T of 8, 29 February of a common year stores nothing", {'T', 8}, day_and_ms(7, 7), DateMode::Asis,
     "20010229000000", day_and_ms(7, 7)},
    {"T of 8, 31 April stores nothing", {'T', 8}, day_and_ms(7, 7), DateMode::Dmy, "31.04.2001 00:00:00",
     day_and_ms(7, 7)},
    {"T of 8, the year 1", {'T', 8}, "", DateMode::Asis, "00010101000000", day_and_ms(1721426, 0)},
    {"G takes no text", {'G', 10}, "         3", DateMode::Asis, "picture", "         3"},
    {"system field takes nothing", {'0', 2}, "ab", DateMode::Asis, "xy", "ab"},
    };
}

TEST(FieldWrite, StoresTexts) {
    for (const TextStore& s : text_stores()) {
        SCOPED_TRACE(s.what);
        OneField t(s.field, s.before, s.date_mode);
        ASSERT_TRUE(t.table);
        const std::string before = t.bytes(0);
        EXPECT_EQ(dbf_field_set(*t.table, 0, s.text, 99), s.after != before);
        EXPECT_EQ(t.bytes(0), s.after);
        EXPECT_EQ(t.bytes(1), "zz");
    }
}

TEST(FieldWrite, GFieldLeavesTheMemoFileAlone) {
    OneField t({'G', 10}, "");
    std::string memo = MemoImage(MemoImage::Dbase3).bytes();
    t.dir.write("t.dbt", memo);
    (void)dbf_field_set(*t.table, 0, "picture", 0);
    EXPECT_EQ(t.dir.read("t.dbt"), memo);
    EXPECT_EQ(t.bytes(0), std::string(10, ' '));
}

TEST(FieldWrite, CalendarValuesThatHaveNoStoredForm) {
    struct Case {
        const char* what;
        Shape field;
        std::string before;
        int year, month, day;
    };
    const std::vector<Case> cases = {
        {"T of 8, month 0", {'T', 8}, day_and_ms(7, 7), 2000, 0, 1},
        {"T of 8, month 13", {'T', 8}, day_and_ms(7, 7), 2000, 13, 1},
        {"T of 8, negative month", {'T', 8}, day_and_ms(7, 7), 2000, -5, 1},
        {"T of 8, year beyond the 32-bit day number", {'T', 8}, day_and_ms(7, 7), 2000000000, 1, 1},
        {"D, five-digit year", {'D', 8}, "19990101", 12345, 1, 1},
        {"T of 14, three-digit day", {'T', 14}, "19990101000000", 2001, 1, 100},
        {"D, negative year", {'D', 8}, "19990101", -1, 1, 1},
        {"D, negative day", {'D', 8}, "19990101", 2001, 1, -3},
        {"T of 8, day 32", {'T', 8}, day_and_ms(7, 7), 2001, 1, 32},
        {"T of 8, negative year", {'T', 8}, day_and_ms(7, 7), -4, 1, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        OneField t(c.field, c.before);
        EXPECT_FALSE(dbf_store_datetime(*t.table, 0, c.year, c.month, c.day, 0, 0, 0));
        EXPECT_EQ(t.bytes(0), c.before);
    }
}

TEST(FieldWrite, MemoFieldTakesTextThroughTheMemoFile) {
    OneField t({'M', 10}, "");
    t.dir.write("t.dbt", MemoImage(MemoImage::Dbase3).bytes());
    (void)dbf_field_set(*t.table, 0, "hello", 0);
    EXPECT_EQ(t.bytes(0), "         1");
    EXPECT_EQ(dbf_memo_read(*t.table, 0), "hello");
    (void)dbf_field_set(*t.table, 0, "", 0);
    EXPECT_EQ(t.bytes(0), "         1") << "an empty text changes nothing";
}

}  // namespace

// Numbers are printed without printf; the stored bytes (or the refusal) must be what
// printf's "%*.*f" and "%*d" give, for every width, place count and kind of double.
TEST(FieldWrite, NumbersStoreAsPrintfPrintsThem) {
    std::mt19937_64 rng(3);
    int stored = 0, refused = 0;
    // One N 30 field whose descriptor takes each shape in turn.
    OneField f({'N', 30, 0}, "");
    ASSERT_TRUE(f.table);
    FieldDesc& desc = f.table->fields[0];
    for (int i = 0; i < 20000; ++i) {
        const int length = 1 + static_cast<int>(rng() % 30);
        const int decimals = i % 5 == 0 ? 0 : static_cast<int>(rng() % 12);
        double number;
        switch (i % 4) {
            case 0: number = static_cast<double>(static_cast<int64_t>(rng() % 2000000000) - 1000000000) / 1000.0; break;
            case 1: number = std::ldexp(static_cast<double>(rng() % 100000), static_cast<int>(rng() % 80) - 40); break;
            case 2: number = (rng() & 1) ? -0.0 : 0.5; break;
            default: number = static_cast<double>(static_cast<int64_t>(rng())) * ((rng() & 1) ? 1e-9 : 1.0); break;
        }
        // The store as it was written with printf.
        std::string expected;
        char printed[288];
        if (decimals == 0) {
            const double whole = std::trunc(number);
            if (whole >= INT32_MIN && whole <= INT32_MAX) {
                int n = std::snprintf(printed, sizeof printed, "%*d", length, static_cast<int32_t>(whole));
                if (n <= length) expected.assign(printed, static_cast<size_t>(length));
            }
        } else {
            int n = std::snprintf(printed, sizeof printed, "%*.*f", length, decimals, number);
            const char* point = std::strchr(printed, '.');
            if (n >= 0 && static_cast<size_t>(n) < sizeof printed && point != nullptr &&
                point - printed <= length - decimals - 1 && n <= length)
                expected.assign(printed, static_cast<size_t>(length));
        }
        desc.length = static_cast<uint8_t>(length);
        desc.decimals = static_cast<uint8_t>(decimals);
        std::memset(f.table->record.data() + desc.record_offset, '?', 30);
        const std::string before = f.bytes(0);
        const bool done = dbf_store_number(*f.table, 0, number);
        ASSERT_EQ(done, !expected.empty()) << number << " in N " << length << "." << decimals;
        ASSERT_EQ(f.bytes(0), done ? expected : before) << number << " in N " << length << "." << decimals;
        (done ? stored : refused)++;
    }
    EXPECT_GT(stored, 5000);
    EXPECT_GT(refused, 1000);
}
