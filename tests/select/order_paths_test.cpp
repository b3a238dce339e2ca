// tests/select/order_paths_test.cpp
//
// The sort with every key in memory against whole keys compared by strcmp, and
// against the sort through run files that a small key memory limit forces: the
// same order on random tables, and no file left.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "select/order.h"
#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "text/codepage.h"

namespace {

struct Sorted {
    std::vector<int32_t> order;
    bool operator==(const Sorted&) const = default;
};

// Sorts with the keys in memory up to `limit` bytes; 0 makes a run of every record.
Sorted sort_with(DbfTable& table, const char* keys, size_t limit) {
    if (dbf_set_order(table, keys, {limit, nullptr}).failure != SortFailure::None || !table.order_index)
        return {{-1}};
    return {*table.order_index};
}

// The files in the directory of `path`.
size_t files_beside(const std::string& path) {
    std::string directory = path.substr(0, path.rfind('/'));
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) count += entry.is_regular_file();
    return count;
}

// The order the keys allow, from whole keys built as the order builds them, the
// "%10d" element number behind each, compared by strcmp.
Sorted reference_order(DbfTable& table, const char* key_list) {
    std::vector<int32_t> fields = dbf_parse_field_list(table, key_list);
    std::vector<std::pair<std::string, int32_t>> keys;
    std::vector<char> key(65536);
    table.order_index.reset();
    for (int32_t i = 0; i < dbf_record_count(table); ++i) {
        (void)dbf_read_record(table, i);  // a record cut short keys the buffer as it stands
        dbf_build_key(table, fields, key.data(), key.size() - 10);
        fold_value(key.data(), table);
        char digits[16];
        std::snprintf(digits, sizeof digits, "%10d", i);
        keys.push_back({std::string(key.data()) + digits, i});
    }
    std::sort(keys.begin(), keys.end(), [](const auto& a, const auto& b) {
        return std::strcmp(a.first.c_str(), b.first.c_str()) < 0;
    });
    if (table.settings.sort_descending) std::reverse(keys.begin(), keys.end());
    Sorted sorted;
    for (const auto& k : keys) sorted.order.push_back(k.second);
    return sorted;
}

void expect_same_paths(DbfTable& table, const char* keys) {
    const size_t files = files_beside(table.path);
    Sorted in_memory = sort_with(table, keys, size_t{1} << 30);
    EXPECT_EQ(in_memory, reference_order(table, keys));
    // Runs of one record, of a few (each record takes 18 bytes beside its key, which
    // is 3 to 19 bytes here), of some thirty, and two runs. (Every run is a file:
    // small tables take the small runs.)
    const size_t count = static_cast<size_t>(dbf_record_count(table));
    for (size_t limit : {size_t{0}, size_t{100}, size_t{1000}, 20 * count}) {
        if ((limit == 0 && count > 40) || (limit == 100 && count > 100)) continue;
        SCOPED_TRACE(testing::Message() << "limit " << limit);
        EXPECT_EQ(sort_with(table, keys, limit), in_memory);
        EXPECT_EQ(files_beside(table.path), files) << "a run file was left behind";
    }
}

int pick(std::mt19937& rng, int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }

const char kLetters[] = "abAB z0-.\xE0\x80";

std::string random_text(std::mt19937& rng, int width) {
    std::string text;
    int length = static_cast<int>(rng() % static_cast<unsigned>(width + 1));
    for (int i = 0; i < length; ++i) text += kLetters[rng() % (sizeof kLetters - 1)];
    return text;
}

// Five fields of every kind of key; values drawn from small sets so that ties are common.
TableImage random_table(std::mt19937& rng, int records, int extra_record_bytes) {
    TableImage image;
    image.fields = {{"NAME", 'C', 4}, {"NUM", 'N', 7, 2}, {"DAY", 'D', 8}, {"INT", 'I', 4}, {"PAD", 'C', 3}};
    for (int i = 0; i < records; ++i) {
        char number[16] = "", day[16] = "";
        if (rng() % 5) std::snprintf(number, sizeof number, "%.2f", (static_cast<int>(rng() % 400) - 200) / 10.0);
        if (rng() % 4) std::snprintf(day, sizeof day, "%04d%02d%02d", 1890 + pick(rng, 160), 1 + pick(rng, 12),
                                     1 + pick(rng, 28));
        std::string pad = std::string(rng() % 3, ' ') + random_text(rng, 1);
        image.add({random_text(rng, 4), number, day, le32(static_cast<int32_t>(rng() % 7) - 3), pad}, rng() % 7 == 0);
        image.records.back() += std::string(static_cast<size_t>(extra_record_bytes), 'x');
    }
    if (extra_record_bytes != 0)
        image.record_length = static_cast<uint16_t>(image.computed_record_length() + extra_record_bytes);
    return image;
}

}  // namespace

TEST(OrderPaths, AgreeOnRandomTables) {
    std::mt19937 rng(2024);
    const char* const kKeyLists[] = {"NAME", "NUM", "DAY", "INT", "PAD", "NAME;NUM", "PAD;DAY;INT", "INT;NAME"};
    const int kSizes[] = {0, 1, 2, 8, 9, 10, 31, 100, 700};
    for (int size : kSizes) {
        for (int round = 0; round < 12; ++round) {
            const char* keys = kKeyLists[rng() % 8];
            // Header record lengths above the computed one, and one below it: records
            // are read at the header's stride, and the last field partly lies beyond
            // what a read brings.
            int extra = round % 4 == 1 ? 3 : 0;
            TableImage image = random_table(rng, size, extra);
            if (round % 4 == 3) image.record_length = static_cast<uint16_t>(image.computed_record_length() - 2);
            ScratchDir dir;
            dir.write("t.dbf", image.bytes());
            std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
            ASSERT_TRUE(table);
            table->settings.case_insensitive = rng() % 2 == 1;
            table->settings.sort_descending = rng() % 2 == 1;
            table->settings.trim_mode = static_cast<TrimMode>(rng() % 4);
            table->settings.date_mode = static_cast<DateMode>(rng() % 4);
            if (rng() % 3 == 0) {
                std::vector<int32_t> passed;
                for (int32_t i = 0; i < dbf_record_count(*table); ++i)
                    if (rng() % 3) passed.push_back(i);
                table->filter_index = passed;
            }
            SCOPED_TRACE(testing::Message() << "size " << size << ", round " << round << ", " << keys);
            expect_same_paths(*table, keys);
        }
    }
}

// Records changed between two sorts of one run: the walk that builds the keys reads
// through the same window as the writes.
TEST(OrderPaths, SeeRecordsWrittenBetweenSorts) {
    std::mt19937 rng(7);
    ScratchDir dir;
    dir.write("t.dbf", random_table(rng, 300, 0).bytes());
    std::unique_ptr<DbfTable> table = open_table(dir.file("t.dbf"));
    ASSERT_TRUE(table);
    for (int step = 0; step < 6; ++step) {
        SCOPED_TRACE(step);
        Sorted stored = sort_with(*table, "NUM;NAME", size_t{1} << 30);
        EXPECT_EQ(sort_with(*table, "NUM;NAME", 2000), stored);
        // Move the first and the last record of this order to the other end.
        for (int32_t position : {0, dbf_record_count(*table) - 1}) {
            ASSERT_TRUE(dbf_read_record(*table, position));
            ASSERT_TRUE(dbf_store_number(*table, 1, position == 0 ? 9999.99 : -999.99));
            ASSERT_TRUE(dbf_write_record(*table, position));
        }
        ASSERT_TRUE(dbf_append_record(*table, true));
        Sorted after = sort_with(*table, "NUM;NAME", size_t{1} << 30);
        EXPECT_NE(after.order, stored.order);
        EXPECT_EQ(after, sort_with(*table, "NUM;NAME", 2000));
    }
}
