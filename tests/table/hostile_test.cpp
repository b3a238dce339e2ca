// tests/table/hostile_test.cpp
//
// Files that claim more than they hold: a header counting four billion records, a
// memo block whose length word says four gigabytes. The program answers from what
// the files really hold, and its memory stays near the size of its fixed buffers.
#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/table_builder.h"

namespace {

// Beyond what the same command costs on a sound table. (A child's peak also counts
// what it shared with the test process before it became the program, so only the
// difference says something.)
constexpr long kExtraMemoryKb = 64 * 1024;

struct Claim {
    const char* what;
    std::string table;
    std::string memo_name;
    std::string memo;
    std::vector<std::string> args;
    std::string out;
};

TableImage with_memo(uint8_t signature) {
    TableImage t;
    t.signature = signature;
    t.fields = {{"NAME", 'C', 4}, {"NOTE", 'M', 10}};
    t.add({"a", "1"});
    return t;
}

}  // namespace

TEST(HostileFiles, ClaimsBeyondTheFileCostNothing) {
    TableImage huge_count;
    huge_count.fields = {{"A", 'C', 3}};
    huge_count.add({"abc"});
    huge_count.record_count = 0xFFFFFFFF;
    TableImage long_header = huge_count;
    long_header.header_length = 65535;
    long_header.record_length = 65535;
    // FoxPro layout: next free block 2, block size 64.
    std::string fox_header = be32(2) + std::string(2, '\0') + std::string("\x00\x40", 2);
    const Claim claims[] = {
        {"four billion records in the header", huge_count.bytes(), "", "", {"/COUNT", "/S:*"}, "1\nabc|\n"},
        {"header and records of 65535 bytes in a tiny file", long_header.bytes(), "", "", {"/COUNT", "/S:*"},
         "0\n"},
        {"FoxPro length word of 0xFFFFFFF0", with_memo(0xF5).bytes(), "t.fpt",
         fox_header + std::string(64 - fox_header.size(), '\0') + std::string("\x00\x00\x00\x01\xFF\xFF\xFF\xF0", 8) +
             "text",
         {"/MEMO:text", "/S:*"}, "a   ||\n"},
        {"dBase IV size of 0x7FFFFFFF", with_memo(0x8B).bytes(), "t.dbt",
         std::string("\x02\0\0\0", 4) + std::string(14, '\0') + std::string("\x02\x01\x00\x02", 4) +
             std::string(512 - 22, '\0') + std::string("\xFF\xFF\x08\x00\xFF\xFF\xFF\x7F", 8) + "text",
         {"/MEMO:text", "/S:*"}, "a   ||\n"},
    };
    ScratchDir sound;
    TableImage small;
    small.fields = {{"A", 'C', 3}};
    small.add({"abc"});
    sound.write("t.dbf", small.bytes());
    const long baseline_kb = sound.run({"t.dbf", "/COUNT", "/MEMO:text", "/S:*"}).max_rss_kb;
    for (const Claim& c : claims) {
        SCOPED_TRACE(c.what);
        ScratchDir dir;
        dir.write("t.dbf", c.table);
        if (!c.memo_name.empty()) dir.write(c.memo_name, c.memo);
        std::vector<std::string> args = {"t.dbf"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        RunResult r = dir.run(args);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, c.out);
        EXPECT_LT(r.max_rss_kb, baseline_kb + kExtraMemoryKb);
    }
}
