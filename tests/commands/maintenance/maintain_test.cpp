// tests/commands/maintenance/maintain_test.cpp
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/inprocess.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

// NAME C 6, N N 3, one record per name; the ones marked with '*' deleted.
TableImage names(const std::vector<std::pair<std::string, std::string>>& rows, uint8_t signature = 0x03) {
    TableImage t;
    t.signature = signature;
    t.fields = {{"NAME", 'C', 6}, {"N", 'N', 3}};
    for (const auto& [name, n] : rows) t.add({name[0] == '*' ? name.substr(1) : name, n}, name[0] == '*');
    return t;
}

const std::vector<std::pair<std::string, std::string>> kRows = {
    {"pear", "2"}, {"*apple", "9"}, {"fig", "1"}, {"apple", "3"}, {"kiwi", "2"}};

// The records of a table file, each as its bytes without the header.
std::vector<std::string> records_of(const std::string& bytes) {
    std::vector<std::string> out;
    if (bytes.size() < 12) return out;
    size_t header = static_cast<uint8_t>(bytes[8]) | static_cast<uint8_t>(bytes[9]) << 8;
    size_t length = static_cast<uint8_t>(bytes[10]) | static_cast<uint8_t>(bytes[11]) << 8;
    for (size_t at = header; at + length <= bytes.size(); at += length) out.push_back(bytes.substr(at, length));
    return out;
}

std::vector<std::string> records_in_order(const TableImage& image, const std::vector<int>& order) {
    std::vector<std::string> out;
    for (int i : order) out.push_back(image.records[static_cast<size_t>(i)]);
    return out;
}

}  // namespace

TEST(Maintain, SortWithFailingWritesLeavesOriginalOrCompleteCopy) {
    const TableImage image = names(kRows);
    const std::vector<std::string> sorted = records_in_order(image, {1, 3, 2, 4, 0});
    std::string out;
    int budget = 0;
    for (; budget < 50; ++budget) {
        SCOPED_TRACE(budget);
        ScratchDir dir;
        dir.write("t.dbf", image.bytes());
        out = run_in_process(dir, {"t.dbf", "/SORT:NAME"}, budget).out;
        EXPECT_FALSE(dir.exists("t.tmp"));
        if (out.empty()) {
            EXPECT_EQ(records_of(dir.read("t.dbf")), sorted);
            break;
        }
        EXPECT_TRUE(out == "Can't create \"t.tmp\"\n" || out == "Can't write \"t.tmp\", table not sorted\n") << out;
        EXPECT_EQ(dir.read("t.dbf"), image.bytes());
    }
    // The new table in one write, the records in one block, the header.
    EXPECT_EQ(budget, 3);
}
