// tests/select/order_test.cpp
#include <gtest/gtest.h>

#include <memory>
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
        {"negative fractions", {kNum52}, {{"-0.25"}, {"-0.50"}, {"-0.30"}}, "NUM", {}, {1, 2, 0}},
        {"integer field, rendered wider than stored", {{"I", 'I', 4}},
         {{le32(-5)}, {le32(3)}, {le32(-100)}, {le32(0)}}, "I", {}, {2, 0, 3, 1}},
        {"dates of every year by their digits, blank and impossible ones first", {kDate},
         {{"20010314"}, {"18991231"}, {""}, {"19020101"}, {"00001231"}, {"20400101"}, {"09990101"}}, "DAY",
         {.date_mode = DateMode::Ymd}, {2, 4, 6, 1, 3, 0, 5}},
        {"ties ascending keep positions", {kName3}, {{"b"}, {"a"}, {"b"}, {"a"}}, "NAME", {}, {1, 3, 0, 2}},
        {"ties descending reverse positions", {kName3}, {{"b"}, {"a"}, {"b"}, {"a"}}, "NAME", {.descending = true},
         {2, 0, 3, 1}},
        {"case folded", {kName3}, {{"abc"}, {"ABC"}, {"abd"}, {"ABB"}}, "NAME", {.case_insensitive = 1},
         {3, 0, 1, 2}},
        {"padded first key, second decides ties", {kName3, {"B", 'N', 2}}, {{"xy", "1"}, {"x", "5"}, {"x", "2"}},
         "NAME;B", {}, {2, 1, 0}},
        {"unknown later name ends the list", {kName3, {"B", 'N', 2}}, {{"x", "5"}, {"x", "2"}}, "NAME;nosuch,B", {},
         {0, 1}},
        {"leading blanks count", {{"S", 'C', 4}}, {{"  b"}, {"a"}, {" c"}}, "S", {}, {0, 2, 1}},
        {"trim left drops the leading blanks", {{"S", 'C', 4}}, {{"  b"}, {"a"}, {" c"}}, "S",
         {.trim_mode = TrimMode::Left}, {1, 0, 2}},
        {"trim left keeps later fields in their columns", {{"S", 'C', 4}, {"T", 'C', 1}},
         {{"  a", "z"}, {"ab", "a"}}, "S;T", {.trim_mode = TrimMode::Left}, {0, 1}},
        {"nine records", {kNum5}, {{"9"}, {"8"}, {"7"}, {"6"}, {"5"}, {"4"}, {"3"}, {"2"}, {"1"}}, "NUM",
         {}, {8, 7, 6, 5, 4, 3, 2, 1, 0}},
        {"no record", {kNum5}, {}, "NUM", {}, {}},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(order_of(image_of(c.fields, c.rows), c.keys, c.flags), c.expected);
    }
}

