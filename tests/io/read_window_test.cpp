// tests/io/read_window_test.cpp
//
// The read window must hand out exactly what the file holds at the moment of the
// read, however the reads wander (forward, back, past the end, across the window's
// edge) and whoever wrote to the file in between. Each walk is checked byte for byte
// against a copy of the file kept by the test.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "io/read_window.h"
#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"

namespace {

std::string pattern(size_t size, unsigned seed) {
    std::string bytes(size, '\0');
    std::mt19937 random(seed);
    for (char& c : bytes) c = static_cast<char>(random());
    return bytes;
}

// What the file holds at [offset, offset + count): fewer bytes where it ends.
std::string expected(const std::string& file, int64_t offset, size_t count) {
    if (offset >= static_cast<int64_t>(file.size())) return "";
    return file.substr(static_cast<size_t>(offset), count);
}

std::string read_through(ReadWindow& window, const File& file, int64_t offset, size_t count) {
    std::string out(count, '\0');
    int64_t got = window.read(file, out.data(), count, offset);
    EXPECT_GE(got, 0);
    out.resize(got < 0 ? 0 : static_cast<size_t>(got));
    return out;
}

struct Walk {
    const char* what;
    size_t file_size;
    size_t whole_limit;
    std::vector<std::pair<int64_t, size_t>> reads;  // offset, count
};

std::vector<Walk> walks() {
    std::vector<std::pair<int64_t, size_t>> forward, backward, scattered;
    for (int64_t at = 0; at < 3'000'000; at += 99) forward.push_back({at, 99});
    for (int64_t at = 2'999'900; at >= 0; at -= 99 * 37) backward.push_back({at, 99});
    std::mt19937 random(7);
    for (int i = 0; i < 5000; ++i) scattered.push_back({static_cast<int64_t>(random() % 3'100'000), random() % 5000});
    return {
        {"forward in records, across many fills", 3'000'000, 128 << 20, forward},
        {"backward, the file held whole", 3'000'000, 128 << 20, backward},
        {"backward, the file too large to hold", 3'000'000, 1 << 20, backward},
        {"scattered, past the end too, held whole", 3'000'000, 128 << 20, scattered},
        {"scattered, read where asked", 3'000'000, 1000, scattered},
        {"reads larger than any fill", 5'000'000, 1 << 20, {{0, 3'000'000}, {100, 4'999'950}, {4'999'000, 2'000'000}}},
        {"an empty file", 0, 128 << 20, {{0, 10}, {5, 1}, {0, 0}}},
    };
}

}  // namespace

TEST(ReadWindow, EveryWalkReadsWhatTheFileHolds) {
    for (const Walk& w : walks()) {
        SCOPED_TRACE(w.what);
        ScratchDir dir;
        const std::string bytes = pattern(w.file_size, 1);
        dir.write("f", bytes);
        File file = test_fs().open(dir.file("f"));
        ReadWindow window(w.whole_limit);
        for (const auto& [offset, count] : w.reads)
            ASSERT_EQ(read_through(window, file, offset, count), expected(bytes, offset, count))
                << offset << " +" << count;
    }
}

TEST(ReadWindow, WritesFromAnywhereAreSeen) {
    for (size_t whole_limit : {size_t{128} << 20, size_t{100}}) {
        SCOPED_TRACE(whole_limit);
        ScratchDir dir;
        std::string bytes = pattern(400'000, 2);
        dir.write("f", bytes);
        File file = test_fs().open(dir.file("f"));
        File other = test_fs().open(dir.file("f"));
        ReadWindow window(whole_limit);
        // A backward read loads the file whole (or reads where asked), a forward walk fills.
        ASSERT_EQ(read_through(window, file, 300'000, 10), expected(bytes, 300'000, 10));
        ASSERT_EQ(read_through(window, file, 1000, 10), expected(bytes, 1000, 10));

        // Through the window itself: patched in place, and past its end.
        const std::string own = "own write";
        ASSERT_EQ(window.write(file, own.data(), own.size(), 1005), static_cast<int64_t>(own.size()));
        bytes.replace(1005, own.size(), own);
        ASSERT_EQ(read_through(window, file, 1000, 30), expected(bytes, 1000, 30));
        ASSERT_EQ(window.write(file, own.data(), own.size(), 400'000), static_cast<int64_t>(own.size()));
        bytes += own;
        ASSERT_EQ(read_through(window, file, 399'995, 30), expected(bytes, 399'995, 30));

        // Through another File of the same file system.
        const std::string theirs = "another descriptor";
        ASSERT_TRUE(other.write_all(theirs.data(), theirs.size(), 1010));
        bytes.replace(1010, theirs.size(), theirs);
        ASSERT_EQ(read_through(window, file, 1000, 40), expected(bytes, 1000, 40));

        // A truncation through the other File, then growth again.
        ASSERT_TRUE(other.truncate(2000));
        bytes.resize(2000);
        ASSERT_EQ(read_through(window, file, 1990, 40), expected(bytes, 1990, 40));
        ASSERT_EQ(read_through(window, file, 300'000, 10), "");
        ASSERT_TRUE(other.write_all(theirs.data(), theirs.size(), 2000));
        bytes += theirs;
        ASSERT_EQ(read_through(window, file, 1990, 40), expected(bytes, 1990, 40));
    }
}

TEST(ReadWindow, AFailedOwnWriteLeavesNoFalseBytes) {
    ScratchDir dir;
    const std::string bytes = pattern(10'000, 3);
    dir.write("f", bytes);
    File file = test_fs().open(dir.file("f"));
    ReadWindow window;
    ASSERT_EQ(read_through(window, file, 0, 100), expected(bytes, 0, 100));
    {
        WriteBudget none(0);
        EXPECT_EQ(window.write(file, "xxxx", 4, 10), -1);
    }
    EXPECT_EQ(read_through(window, file, 0, 100), expected(bytes, 0, 100));
}

TEST(ReadWindow, AFileOpenedElsewhereAfterForgetIsReadAfresh) {
    ScratchDir dir;
    dir.write("a", std::string(5000, 'a'));
    dir.write("b", std::string(5000, 'b'));
    ReadWindow window;
    {
        File a = test_fs().open(dir.file("a"));
        ASSERT_EQ(read_through(window, a, 0, 10), std::string(10, 'a'));
    }
    window.forget();
    File b = test_fs().open(dir.file("b"));  // may get the same descriptor number
    EXPECT_EQ(read_through(window, b, 0, 10), std::string(10, 'b'));
}
