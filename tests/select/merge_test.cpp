// tests/select/merge_test.cpp
//
// Sorts through run files: the same records in the same order as in memory, for
// limits that take no run file, one, or more than one merge can read at once, in
// both directions; and no run file left behind, whether the sort gets through or
// the disk fills up at any write.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "select/merge.h"
#include "support/cli.h"

namespace {

// Collects the elements and checks each payload: 3 bytes made of its element.
struct Collect : SortSink {
    std::vector<int32_t> order;
    bool payloads_right = true;
    bool take(int32_t element, const uint8_t* payload) override {
        order.push_back(element);
        payloads_right &= payload[0] == uint8_t(element) && payload[1] == uint8_t(element >> 8) && payload[2] == 3;
        return true;
    }
};

size_t run_files_in(const ScratchDir& dir) {
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        count += entry.path().filename().string().rfind("t.sort", 0) == 0;
    return count;
}

}  // namespace

TEST(KeySorter, SortsThroughRunFilesAsInMemoryAndLeavesNone) {
    // Records take 16 + 2 + 0..6 + 3 bytes in a run: 21 to 27. A budget of -1 lets
    // every write pass; the others fail the disk at that write.
    struct Case { size_t records, limit, least_files; int64_t budget; bool memory_when_disk_fails; };
    std::vector<Case> cases = {{0, 100, 0, -1, false},      {1, 0, 0, -1, false},     {2, 0, 1, -1, false},
                               {50, 1 << 20, 0, -1, false}, {400, 0, 399, -1, false}, {3000, 30000, 2, -1, false}};
    for (int64_t budget = 0; budget < 40; budget += 3) cases.push_back({1000, 700, 0, budget, budget % 2 == 1});
    for (const Case& c : cases) {
        for (bool descending : {false, true}) {
            SCOPED_TRACE(testing::Message() << c.records << " records, limit " << c.limit << ", writes " << c.budget
                                            << (descending ? ", descending" : ""));
            std::mt19937 rng(static_cast<unsigned>(c.records + c.limit));
            std::vector<std::string> expected;
            ScratchDir dir;
            FileSystem fs(dir.path());
            fs.write_budget = c.budget;
            SortOptions options;
            options.memory_limit = c.limit;
            options.payload_size = 3;
            options.descending = descending;
            options.memory_when_disk_fails = c.memory_when_disk_fails;
            options.file_stem = "t";
            auto sorter = std::make_unique<KeySorter>(fs, options);
            bool added = true;
            for (size_t i = 0; i < c.records && added; ++i) {
                std::string text;  // 0 to 6 bytes of a small alphabet: many ties, many prefixes
                for (size_t k = rng() % 7; k > 0; --k) text += " 0a\xe0"[rng() % 4];
                const uint8_t payload[3] = {uint8_t(i), uint8_t(i >> 8), 3};
                added = sorter->add(text.data(), text.size(), static_cast<int32_t>(i), payload, c.records - i);
                char digits[16];
                std::snprintf(digits, sizeof digits, "%10zu", i);
                expected.push_back(text + digits);
            }
            Collect sink;
            const bool finished = added && sorter->finish(sink);
            const SortFailure failure = sorter->failure();
            const std::string failed_path = sorter->failed_path();
            const size_t files_written = sorter->files_written();
            sorter.reset();
            EXPECT_EQ(run_files_in(dir), 0u) << "a run file was left behind";
            if (!finished) {
                EXPECT_FALSE(c.memory_when_disk_fails) << "memory takes over from a failing disk";
                EXPECT_EQ(failure, SortFailure::CantWrite);
                EXPECT_EQ(failed_path.rfind("t.sort", 0), 0u) << failed_path;
                continue;
            }
            std::sort(expected.begin(), expected.end());
            if (descending) std::reverse(expected.begin(), expected.end());
            ASSERT_EQ(sink.order.size(), expected.size());
            for (size_t rank = 0; rank < expected.size(); ++rank)
                ASSERT_EQ(std::stoi(expected[rank].substr(expected[rank].size() - 10)), sink.order[rank]) << rank;
            EXPECT_TRUE(sink.payloads_right);
            if (c.budget >= 0) continue;
            // More than kMergeFanIn runs take merge passes, each writing a file more.
            EXPECT_GE(files_written, c.least_files);
            if (c.least_files == 0) EXPECT_EQ(files_written, 0u) << "all in memory";
        }
    }
}
