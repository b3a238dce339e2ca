// tests/select/order_test.cpp
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "select/order.h"
#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"

namespace {

struct OpenTable {
    ScratchDir dir;
    std::unique_ptr<DbfTable> table;
    explicit OpenTable(const TableImage& image) {
        dir.write("t.dbf", image.bytes());
        table = open_table(dir.file("t.dbf"));
    }
};

TableImage image_of(const std::vector<FieldSpec>& fields, const std::vector<std::vector<std::string>>& rows) {
    TableImage image;
    image.fields = fields;
    for (const auto& row : rows) image.add(row);
    return image;
}

struct Flags {
    DateMode date_mode = DateMode::Asis;
    TrimMode trim_mode = TrimMode::None;
    bool case_insensitive = false;
    bool descending = false;
};

std::vector<int32_t> order_of(const TableImage& image, const char* keys, Flags flags = {}) {
    OpenTable t(image);
    if (!t.table) return {-999};
    t.table->settings.date_mode = flags.date_mode;
    t.table->settings.trim_mode = flags.trim_mode;
    t.table->settings.case_insensitive = flags.case_insensitive;
    t.table->settings.sort_descending = flags.descending;
    if (dbf_set_order(*t.table, keys, {}).failure != SortFailure::None || !t.table->order_index) return {-998};
    return *t.table->order_index;
}

const FieldSpec kNum5{"NUM", 'N', 5};
const FieldSpec kNum52{"NUM", 'N', 5, 2};
const FieldSpec kName3{"NAME", 'C', 3};
const FieldSpec kDate{"DAY", 'D', 8};

}  // namespace

TEST(Order, SortsEachKindOfKey) {
    struct Case {
        const char* what;
        std::vector<FieldSpec> fields;
        std::vector<std::vector<std::string>> rows;
        const char* keys;
        Flags flags;
        std::vector<int32_t> expected;
    };
    const std::vector<Case> kCases = {
        {"numbers with signs", {kNum5}, {{"10"}, {"-5"}, {"3"}, {"-10"}, {"0"}}, "NUM", {}, {3, 1, 4, 2, 0}},
        {"numbers descending", {kNum5}, {{"10"}, {"-5"}, {"3"}, {"-10"}, {"0"}}, "NUM", {.descending = true},
         {0, 2, 4, 1, 3}},
        {"negative fractions", {kNum52}, {{"-0.25"}, {"-0.50"}, {"-0.30"}}, "NUM", {}, {1, 2, 0}},
        {"blank number reads as zero", {kNum5}, {{""}, {"-3"}, {"1"}}, "NUM", {}, {1, 0, 2}},
        {"integer field, rendered wider than stored", {{"I", 'I', 4}},
         {{le32(-5)}, {le32(3)}, {le32(-100)}, {le32(0)}}, "I", {}, {2, 0, 3, 1}},
        {"dates by stored digits under dmy", {kDate}, {{"20010314"}, {"19991231"}, {"20000102"}, {""}}, "DAY",
         {.date_mode = DateMode::Dmy}, {3, 1, 2, 0}},
        {"dates of every year by their digits, blank and impossible ones first", {kDate},
         {{"20010314"}, {"18991231"}, {""}, {"19020101"}, {"00001231"}, {"20400101"}, {"09990101"}}, "DAY",
         {.date_mode = DateMode::Ymd}, {2, 4, 6, 1, 3, 0, 5}},
        {"ties ascending keep positions", {kName3}, {{"b"}, {"a"}, {"b"}, {"a"}}, "NAME", {}, {1, 3, 0, 2}},
        {"ties descending reverse positions", {kName3}, {{"b"}, {"a"}, {"b"}, {"a"}}, "NAME", {.descending = true},
         {2, 0, 3, 1}},
        {"case counts by default", {kName3}, {{"abc"}, {"ABC"}, {"abd"}, {"ABB"}}, "NAME", {}, {3, 1, 0, 2}},
        {"case folded", {kName3}, {{"abc"}, {"ABC"}, {"abd"}, {"ABB"}}, "NAME", {.case_insensitive = 1},
         {3, 0, 1, 2}},
        {"padded first key, second decides ties", {kName3, {"B", 'N', 2}}, {{"xy", "1"}, {"x", "5"}, {"x", "2"}},
         "NAME;B", {}, {2, 1, 0}},
        {"unknown later name ends the list", {kName3, {"B", 'N', 2}}, {{"x", "5"}, {"x", "2"}}, "NAME;nosuch,B", {},
         {0, 1}},
        {"leading blanks count", {{"S", 'C', 4}}, {{"  b"}, {"a"}, {" c"}}, "S", {}, {0, 2, 1}},
        {"trim right changes nothing", {{"S", 'C', 4}}, {{"  b"}, {"a"}, {" c"}}, "S", {.trim_mode = TrimMode::Right},
         {0, 2, 1}},
        {"trim left drops the leading blanks", {{"S", 'C', 4}}, {{"  b"}, {"a"}, {" c"}}, "S",
         {.trim_mode = TrimMode::Left}, {1, 0, 2}},
        {"trim left keeps later fields in their columns", {{"S", 'C', 4}, {"T", 'C', 1}},
         {{"  a", "z"}, {"ab", "a"}}, "S;T", {.trim_mode = TrimMode::Left}, {0, 1}},
        {"eight records", {kNum5}, {{"8"}, {"7"}, {"6"}, {"5"}, {"4"}, {"3"}, {"2"}, {"1"}}, "NUM",
         {}, {7, 6, 5, 4, 3, 2, 1, 0}},
        {"nine records", {kNum5}, {{"9"}, {"8"}, {"7"}, {"6"}, {"5"}, {"4"}, {"3"}, {"2"}, {"1"}}, "NUM",
         {}, {8, 7, 6, 5, 4, 3, 2, 1, 0}},
        {"one record", {kNum5}, {{"1"}}, "NUM", {}, {0}},
        {"no record", {kNum5}, {}, "NUM", {}, {}},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(order_of(image_of(c.fields, c.rows), c.keys, c.flags), c.expected);
    }
}

TEST(Order, SortsFilterPositionsAndReadsThroughTheFilter) {
    OpenTable t(image_of({kNum5}, {{"5"}, {"4"}, {"3"}, {"2"}, {"1"}}));
    t.table->filter_index = std::vector<int32_t>{0, 2, 3};
    ASSERT_EQ(dbf_set_order(*t.table, "NUM", {}).failure, SortFailure::None);
    EXPECT_EQ(*t.table->order_index, (std::vector<int32_t>{2, 1, 0}));
    // A new order sorts the filtered records, not the previous order's sequence.
    t.table->settings.sort_descending = 1;
    ASSERT_EQ(dbf_set_order(*t.table, "NUM", {}).failure, SortFailure::None);
    EXPECT_EQ(*t.table->order_index, (std::vector<int32_t>{0, 1, 2}));
}

TEST(Order, UnknownFirstNameKeepsTheOldOrder) {
    OpenTable t(image_of({kNum5}, {{"2"}, {"1"}}));
    ASSERT_EQ(dbf_set_order(*t.table, "NUM", {}).failure, SortFailure::None);
    EXPECT_EQ(dbf_set_order(*t.table, "nosuch", {}).failure, SortFailure::UnknownFields);
    ASSERT_TRUE(t.table->order_index);
    EXPECT_EQ(*t.table->order_index, (std::vector<int32_t>{1, 0}));
}

TEST(SortKey, IsBuiltFromPaddedAndComplementedValues) {
    struct Case { const char* what; char type; int length; int decimals; std::string stored; TrimMode trim_mode; std::string key; };
    const Case kCases[] = {
        {"text padded back after trimming", 'C', 5, 0, "  ab", TrimMode::All, "ab   "},
        {"text trimmed left", 'C', 4, 0, "  ab", TrimMode::Left, "ab  "},
        {"zero bytes read as blanks", 'C', 4, 0, std::string("a\0b\0", 4), TrimMode::None, "a b "},
        {"negative number complemented", 'N', 7, 2, "-5", TrimMode::None, "\x0a\x0a\x0a\x05.\x0a\x0a"},
        {"wider negative number complemented", 'N', 7, 2, "-10", TrimMode::None, "\x0a\x0a\x09\x0a.\x0a\x0a"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        OpenTable t(image_of({{"F", c.type, c.length, c.decimals}}, {{c.stored}}));
        ASSERT_TRUE(t.table);
        t.table->settings.trim_mode = c.trim_mode;
        ASSERT_TRUE(dbf_read_record(*t.table, 0));
        char key[64];
        dbf_build_key(*t.table, {0}, key, sizeof key);
        EXPECT_EQ(std::string(key), c.key);
    }
}

TEST(SortKey, IsCutToItsBuffer) {
    OpenTable t(image_of({{"S", 'C', 4}, {"N", 'N', 5}}, {{"abcd", "-12"}}));
    const std::vector<int32_t> fields = {0, 1, 0};
    ASSERT_TRUE(dbf_read_record(*t.table, 0));
    char key[8];
    std::memset(key, 'Z', sizeof key);
    dbf_build_key(*t.table, fields, key, 7);
    EXPECT_EQ(std::string(key), std::string("abcd\x0a\x0a", 6));
    EXPECT_EQ(key[7], 'Z');
    dbf_build_key(*t.table, fields, key, 1);
    EXPECT_EQ(key[0], '\0');
}

// Twenty names of a wide field give a key of 1.2 MB: it is cut so that the element
// number still fits the 65536-byte buffer, and the fields past the cut don't count.
TEST(SortKey, KeysBeyondTheBufferStillEndInTheirNumber) {
    const FieldSpec big{"BIG", 'C', 60000};
    const FieldSpec small{"SMALL", 'C', 5};
    auto image = image_of({big, small}, {{"x", "b"}, {"x", "a"}, {"w", "c"}});
    EXPECT_EQ(order_of(image, "BIG;SMALL;BIG"), (std::vector<int32_t>{2, 1, 0}));
    EXPECT_EQ(order_of(image, "BIG;BIG;SMALL"), (std::vector<int32_t>{2, 0, 1}));
    EXPECT_EQ(order_of(image, "BIG;BIG;SMALL", {.descending = true}), (std::vector<int32_t>{1, 0, 2}));
    std::string twenty = "BIG";
    for (int i = 1; i < 20; ++i) twenty += ";BIG";
    EXPECT_EQ(order_of(image, twenty.c_str()), (std::vector<int32_t>{2, 0, 1}));
}

// Random tables against a reference that compares the typed values directly:
// text (folded under /CASE), numbers as doubles, dates as digits with dates that
// can't be shown (blank, or of the year 0) first; ties by position.
TEST(Order, AgreesWithAReferenceOnRandomTables) {
    std::mt19937 rng(1914);
    auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    const char kLetters[] = "abAB z0";
    const char* const kKeyLists[] = {"NAME", "NUM", "DAY", "NAME;NUM", "DAY;NAME", "NUM;DAY;NAME"};
    const std::vector<std::vector<int>> kKeyFields = {{0}, {1}, {2}, {0, 1}, {2, 0}, {1, 2, 0}};
    for (int round = 0; round < 150; ++round) {
        int width = 1 + pick(4), list = pick(6);
        Flags flags{.date_mode = static_cast<DateMode>(pick(4)), .case_insensitive = pick(2) == 1, .descending = pick(2) == 1};
        SCOPED_TRACE(testing::Message() << "round " << round << ", " << kKeyLists[list]);
        TableImage image;
        image.fields = {{"NAME", 'C', width}, {"NUM", 'N', 7, 2}, {"DAY", 'D', 8}};
        struct Row { std::string name; double number; std::string day; };
        std::vector<Row> rows(static_cast<size_t>(pick(60)));
        for (Row& row : rows) {
            for (int j = 0; j < width; ++j) row.name += kLetters[pick(7)];
            char number[16] = "", day[16] = "";
            int cents = pick(4000) - 2000;  // never 0: "-0.00" would sort apart from 0.00
            if (pick(5) != 0) std::snprintf(number, sizeof number, "%.2f", (cents ? cents : 1) / 100.0);
            const int kind = pick(5);
            const int years[] = {0, 1 + pick(1900), 1902 + pick(136), 2039 + pick(7961), 0};
            if (kind > 0) std::snprintf(day, sizeof day, "%04d%02d%02d", years[kind], 1 + pick(12), 1 + pick(28));
            image.add({row.name, number, day});
            row.number = std::atof(number);
            row.day = kind == 4 ? "" : day;
        }
        auto folded = [&](std::string text) {
            if (flags.case_insensitive)
                for (char& ch : text) ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
            return text;
        };
        auto compare_field = [&](int field, const Row& x, const Row& y) {
            if (field == 0) return folded(x.name).compare(folded(y.name));
            if (field == 1) return (x.number > y.number) - (x.number < y.number);
            return x.day.compare(y.day);
        };
        std::vector<int32_t> expected(rows.size());
        std::iota(expected.begin(), expected.end(), 0);
        std::sort(expected.begin(), expected.end(), [&](int32_t a, int32_t b) {
            int r = 0;
            for (int field : kKeyFields[list])
                if ((r = compare_field(field, rows[a], rows[b])) != 0) break;
            if (r == 0) r = a < b ? -1 : 1;
            return flags.descending ? r > 0 : r < 0;
        });
        EXPECT_EQ(order_of(image, kKeyLists[list], flags), expected);
    }
}
