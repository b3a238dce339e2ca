// tests/select/merge_test.cpp
//
// Sorts through run files: the same records in the same order as in memory, for
// every limit and direction; and no run file left behind, whether the sort gets
// through, the disk fills up, a run file is damaged or the sink stops it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "select/merge.h"
#include "support/cli.h"

namespace {

struct Record {
    std::string text;
    int32_t element;
};

// Texts of 0 to 6 bytes from a small alphabet: many ties, many prefixes.
std::vector<Record> random_records(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<Record> records;
    for (size_t i = 0; i < n; ++i) {
        std::string text;
        for (size_t k = rng() % 7; k > 0; --k) text += " 0a\xe0"[rng() % 4];
        records.push_back({text, static_cast<int32_t>(i)});
    }
    return records;
}

// The payload of a record: 3 bytes made of its element.
std::string payload_of(int32_t element) {
    return {static_cast<char>(element), static_cast<char>(element >> 8), static_cast<char>(element * 3)};
}

// The order the keys allow, by whole keys.
std::vector<int32_t> expected_order(const std::vector<Record>& records, bool descending) {
    std::vector<std::pair<std::string, int32_t>> keys;
    for (const Record& r : records) {
        char digits[16];
        std::snprintf(digits, sizeof digits, "%10d", r.element);
        keys.push_back({r.text + digits, r.element});
    }
    std::sort(keys.begin(), keys.end());
    if (descending) std::reverse(keys.begin(), keys.end());
    std::vector<int32_t> order;
    for (const auto& key : keys) order.push_back(key.second);
    return order;
}

// Collects the elements and checks each payload; stops after `stop_after` records.
struct Collect : SortSink {
    std::vector<int32_t> order;
    bool payloads_right = true;
    size_t stop_after = SIZE_MAX;
    bool take(int32_t element, const uint8_t* payload) override {
        if (order.size() == stop_after) return false;
        order.push_back(element);
        if (std::string(reinterpret_cast<const char*>(payload), 3) != payload_of(element)) payloads_right = false;
        return true;
    }
};

struct Outcome {
    bool added = true;
    bool finished = false;
    SortFailure failure = SortFailure::None;
    std::string path;
    size_t files_written = 0;
    Collect sink;
};

Outcome sort_through(FileSystem& fs, const std::vector<Record>& records, size_t limit, bool descending,
                     bool memory_when_disk_fails, size_t stop_after = SIZE_MAX) {
    SortOptions options;
    options.memory_limit = limit;
    options.payload_size = 3;
    options.descending = descending;
    options.memory_when_disk_fails = memory_when_disk_fails;
    options.file_stem = "t";
    Outcome out;
    out.sink.stop_after = stop_after;
    KeySorter sorter(fs, options);
    for (size_t i = 0; i < records.size() && out.added; ++i) {
        std::string payload = payload_of(records[i].element);
        out.added = sorter.add(records[i].text.data(), records[i].text.size(), records[i].element,
                               reinterpret_cast<const uint8_t*>(payload.data()), records.size() - i);
    }
    if (out.added) out.finished = sorter.finish(out.sink);
    out.failure = sorter.failure();
    out.path = sorter.failed_path();
    out.files_written = sorter.files_written();
    return out;
}

// Run files, and other files named like them, in the directory.
size_t files_in(const ScratchDir& dir) {
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        count += entry.path().filename().string().rfind("t.sort", 0) == 0;
    return count;
}

}  // namespace

TEST(KeySorter, SortsThroughRunFilesAsInMemory) {
    // Records take 16 + 2 + 0..6 + 3 bytes in a run: 21 to 27.
    struct Case { size_t records; size_t limit; size_t least_files; };
    const Case kCases[] = {
        {0, 100, 0},     {1, 0, 0},        {2, 0, 1},        {50, 1 << 20, 0},  {50, 300, 3},
        {400, 0, 399},   {400, 100, 100},  {400, 1000, 10},  {3000, 2000, 30},  {3000, 30000, 2},
    };
    for (const Case& c : kCases) {
        for (bool descending : {false, true}) {
            SCOPED_TRACE(testing::Message() << c.records << " records, limit " << c.limit
                                            << (descending ? ", descending" : ""));
            ScratchDir dir;
            FileSystem fs(dir.path());
            std::vector<Record> records = random_records(c.records, static_cast<unsigned>(c.records + c.limit));
            Outcome out = sort_through(fs, records, c.limit, descending, false);
            EXPECT_TRUE(out.finished);
            EXPECT_EQ(out.failure, SortFailure::None);
            EXPECT_EQ(out.sink.order, expected_order(records, descending));
            EXPECT_TRUE(out.sink.payloads_right);
            // More than kMergeFanIn runs take merge passes, each writing a file more.
            EXPECT_GE(out.files_written, c.least_files);
            if (c.least_files == 0) {
                EXPECT_EQ(out.files_written, 0u) << "everything fitted in memory";
            }
            EXPECT_EQ(files_in(dir), 0u) << "a run file was left behind";
        }
    }
}

TEST(KeySorter, SkipsNamesThatAreTaken) {
    ScratchDir dir;
    dir.write("t.sort1", "a user's file");
    dir.write("t.sort3", "another");
    FileSystem fs(dir.path());
    std::vector<Record> records = random_records(200, 3);
    Outcome out = sort_through(fs, records, 500, false, false);
    EXPECT_EQ(out.sink.order, expected_order(records, false));
    EXPECT_EQ(dir.read("t.sort1"), "a user's file");
    EXPECT_EQ(dir.read("t.sort3"), "another");
    EXPECT_EQ(files_in(dir), 2u);
}

// The disk fills up at every write in turn: a sort that must write its runs fails
// and names the run file; one that may keep them in memory gets through. Neither
// leaves a file.
TEST(KeySorter, FailingDiskLeavesNoRunFile) {
    const std::vector<Record> records = random_records(3000, 9);
    for (bool memory_when_disk_fails : {false, true}) {
        bool got_through = false;
        for (int64_t budget = 0; budget < 400 && !got_through; ++budget) {
            SCOPED_TRACE(testing::Message() << "writes allowed: " << budget
                                            << (memory_when_disk_fails ? ", memory when the disk fails" : ""));
            ScratchDir dir;
            FileSystem fs(dir.path());
            fs.write_budget = budget;
            Outcome out = sort_through(fs, records, 2000, budget % 2 == 1, memory_when_disk_fails);
            EXPECT_EQ(files_in(dir), 0u);
            got_through = out.finished;
            if (memory_when_disk_fails || out.finished) {
                EXPECT_TRUE(out.finished);
                EXPECT_EQ(out.sink.order, expected_order(records, budget % 2 == 1));
                EXPECT_TRUE(out.sink.payloads_right);
            } else {
                EXPECT_EQ(out.failure, SortFailure::CantWrite);
                EXPECT_EQ(out.path.rfind("t.sort", 0), 0u) << out.path;
            }
        }
        EXPECT_TRUE(got_through);
    }
}

TEST(KeySorter, ADamagedRunFileFailsTheSort) {
    struct Case { const char* what; std::string bytes; };
    const Case kCases[] = {
        {"emptied", ""},
        {"cut inside a record", std::string("\x05\x00" "ab", 4)},
        {"a length beyond any key", std::string("\xff\xff", 2) + std::string(100, 'x')},
        {"more records than were written", std::string(4000, '\0')},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        FileSystem fs(dir.path());
        SortOptions options;
        options.memory_limit = 300;
        options.file_stem = "t";
        KeySorter sorter(fs, options);
        std::vector<Record> records = random_records(100, 4);
        for (size_t i = 0; i < records.size(); ++i)
            ASSERT_TRUE(sorter.add(records[i].text.data(), records[i].text.size(), records[i].element, nullptr,
                                   records.size() - i));
        ASSERT_TRUE(dir.exists("t.sort1"));
        dir.write("t.sort1", c.bytes);
        Collect sink;
        EXPECT_FALSE(sorter.finish(sink));
        EXPECT_EQ(sorter.failure(), SortFailure::CantRead);
        EXPECT_EQ(sorter.failed_path(), "t.sort1");
        EXPECT_EQ(files_in(dir), 0u);
    }
}

TEST(KeySorter, RunFilesGoWhenTheSortEndsEarly) {
    const std::vector<Record> records = random_records(500, 5);
    {
        SCOPED_TRACE("the sink stops it");
        ScratchDir dir;
        FileSystem fs(dir.path());
        Outcome out = sort_through(fs, records, 400, false, false, 10);
        EXPECT_FALSE(out.finished);
        EXPECT_EQ(out.failure, SortFailure::None);
        EXPECT_EQ(out.sink.order.size(), 10u);
        EXPECT_EQ(files_in(dir), 0u);
    }
    {
        SCOPED_TRACE("never finished, as when an exception passes");
        ScratchDir dir;
        FileSystem fs(dir.path());
        {
            SortOptions options;
            options.memory_limit = 400;
            options.file_stem = "t";
            KeySorter sorter(fs, options);
            for (size_t i = 0; i < records.size(); ++i)
                ASSERT_TRUE(sorter.add(records[i].text.data(), records[i].text.size(), records[i].element, nullptr,
                                       records.size() - i));
            EXPECT_GT(files_in(dir), 10u);
        }
        EXPECT_EQ(files_in(dir), 0u);
    }
}
