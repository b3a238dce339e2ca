// tests/commands/maintenance/fault_test.cpp
//
// Commands that change a table, run again and again with the disk failing at the
// first, second, third ... write. After each failure the table (or the listing's
// target) still opens, its header counts the records the file holds, and the records
// are what the command promises whatever happens.
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "support/engine.h"
#include "support/inprocess.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

TableImage people() {
    TableImage t;
    t.signature = 0x83;
    t.fields = {{"NAME", 'C', 8}, {"AGE", 'N', 3}, {"NOTE", 'M', 10}};
    const char* names[] = {"ADA", "BOB", "CY", "DEE", "EVE", "FAY"};
    for (int i = 0; i < 6; ++i) t.add({names[i], std::to_string(20 + i), ""}, i == 2);
    return t;
}

// The records of a table, after checking that it opens and its header counts them.
std::vector<std::string> records_of(const ScratchDir& dir, const char* name) {
    std::vector<std::string> records;
    const std::string bytes = dir.read(name);
    auto table = open_table(dir.file(name));
    EXPECT_NE(table, nullptr) << "the table no longer opens";
    if (!table || bytes.size() < 8) return records;
    uint32_t header_count = 0;
    std::memcpy(&header_count, bytes.data() + 4, 4);
    EXPECT_EQ(header_count, static_cast<uint32_t>(dbf_record_count(*table))) << "header and file disagree";
    for (int32_t i = 0; i < dbf_record_count(*table); ++i) {
        (void)dbf_read_record(*table, i);
        records.emplace_back(reinterpret_cast<const char*>(table->record.data()), table->header.record_length);
    }
    return records;
}

// What a command promises about the table of its name while the disk fails.
enum class Promise {
    Each,      // each record as it was or as the command made it
    Prefix,    // the records it had, in front of whatever it added or kept
    Live,      // every live record at least once (a pack moves them down)
    Listed,    // the target keeps its record in front
};

std::multiset<std::string> live(const std::vector<std::string>& records) {
    std::multiset<std::string> out;
    for (const std::string& r : records)
        if (r[0] != '*') out.insert(r);
    return out;
}

}  // namespace

TEST(FailingDisk, EveryChangingCommandKeepsItsPromise) {
    const struct { std::vector<std::string> args; Promise promise; } cases[] = {
        {{"/FIELD:AGE=AGE+1", "/UPDATE"}, Promise::Each},
        {{"/DELETE:all"}, Promise::Each},
        {{"/BLANK", "/FIELD:NAME=\"NEW\"", "/APPEND:3"}, Promise::Prefix},
        {{"+t.dbf"}, Promise::Prefix},
        {{"/TRUNC:3"}, Promise::Prefix},
        {{"/TRUNC:9"}, Promise::Prefix},
        {{"/ZAP"}, Promise::Prefix},
        {{"/PACK"}, Promise::Live},
        {{"/PACK:dbf"}, Promise::Live},
        {{"/DESC", "/SORT:NAME"}, Promise::Live},
        {{"/OUT:x.dbf", "/SELECT:NAME;AGE"}, Promise::Listed},
    };
    TableImage target;
    target.fields = {{"NAME", 'C', 8}, {"AGE", 'N', 3}};
    target.add({"OLD", "99"});
    for (const auto& c : cases) {
        std::vector<std::string> call = {"t.dbf"};
        call.insert(call.end(), c.args.begin(), c.args.end());
        const char* name = c.promise == Promise::Listed ? "x.dbf" : "t.dbf";
        ScratchDir reference;
        reference.write("t.dbf", people().bytes());
        reference.write("x.dbf", target.bytes());
        const std::vector<std::string> before = records_of(reference, name);
        (void)run_in_process(reference, call);
        const std::vector<std::string> done = records_of(reference, name);
        long long budget = 0;
        for (; budget < 200; ++budget) {
            SCOPED_TRACE(c.args.back() + ", writes allowed: " + std::to_string(budget));
            ScratchDir dir;
            dir.write("t.dbf", people().bytes());
            dir.write("x.dbf", target.bytes());
            (void)run_in_process(dir, call, budget);
            const std::vector<std::string> after = records_of(dir, name);
            if (c.promise == Promise::Each) {
                ASSERT_EQ(after.size(), before.size());
                for (size_t i = 0; i < after.size(); ++i) EXPECT_TRUE(after[i] == before[i] || after[i] == done[i]) << i;
            } else if (c.promise == Promise::Live) {
                const std::multiset<std::string> kept = live(after);
                for (const std::string& r : live(before)) EXPECT_GE(kept.count(r), 1u) << r;
            } else {
                const size_t kept = c.promise == Promise::Listed ? 1 : std::min(after.size(), before.size());
                ASSERT_GE(after.size(), kept);
                for (size_t i = 0; i < kept; ++i) EXPECT_EQ(after[i], before[i]) << i;
            }
            if (dir.read(name) == reference.read(name)) break;
        }
        EXPECT_LT(budget, 200) << "the command never got through";
    }
}
