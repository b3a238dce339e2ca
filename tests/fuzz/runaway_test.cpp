// tests/fuzz/runaway_test.cpp
//
// Damaged tables never make a run write without bound or run long. Two findings
// once did: a memo file whose next free block lay far past its end grew to 131 GB
// behind an import of the table into itself, and a header whose record length
// disagreed with its fields grew the table past 496 MB. Both run in well under a
// second now and leave every file as it was. Around them, damaged tables of every
// family meet random parameter lists for a bounded time (two seconds here, a minute
// under `make check-deep`), each run held to the bounds of the whole-program fuzz
// target.
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <random>

#include <gtest/gtest.h>

#include "fuzz/targets.h"
#include "support/cli.h"
#include "support/table_builder.h"

namespace {

struct Finding {
    const char* name;
    std::vector<std::string> args;
    std::vector<std::string> said;  // the lines about refused changes
};

const Finding kFindings[] = {
    {"runaway-f000",
     {"/?", "/FILTER:LEFT(A,2)=\"ab\"|N<0", "+t.dbf", "/OUT:o.htm", "/UPDATE", "/DATE:dmy"},
     {"Can't change \"t.dbf\": the header of \"t.fpt\" names no free block within the file"}},
    {"runaway-f001",
     {"/APPEND:blank", "/APPEND:2", "/FILTER:(D>\"2000\"&L=\"T\")", "/DATE:ymd", "+t.dbf", "/CMP:t.dbf", "/ORDER:A"},
     std::vector<std::string>(3, "Can't change \"t.dbf\": its header's record length 65535 disagrees with its fields' 78")},
};

// The tables of the findings, their damage rebuilt: six records of every type with
// memo texts; a FoxPro memo file naming block 0x7A600019 as its next free one, or a
// dBase III header naming records of 65,535 bytes.
void lay_out_finding(const ScratchDir& dir, const Finding& finding) {
    const bool fox = std::string(finding.name) == "runaway-f000";
    MemoImage memo(fox ? MemoImage::FoxPro : MemoImage::Dbase3, fox ? 64 : 512);
    TableImage t;
    t.signature = fox ? 0x99 : 0x83;  // an unknown signature with memos reads as FoxPro
    t.fields = {{"A", 'C', 12}, {"N", 'N', 8, 2}, {"D", 'D', 8}, {"L", 'L', 1}, {"M", 'M', 10},
                {"I", 'I', 4},  {"Y", 'Y', 8},    {"T", 'T', 8}, {"B", 'B', 8, 2}, {"G", 'G', 10}};
    for (int i = 0; i < 6; ++i) {
        std::string text;
        for (int k = 0; k < 20; ++k) text += "memo " + std::to_string(i % 3) + " ";
        t.add({"ab" + std::to_string(i), i % 2 ? "-2.25" : "123456.7", i == 3 ? "20010314" : "", i % 2 ? "N" : "T",
               std::to_string(memo.add(text)), le32(i - 3), le64(15000), "", double_bytes(2.5), ""},
              i == 2);
    }
    std::string memo_bytes = memo.bytes();
    if (fox) memo_bytes.replace(0, 4, be32(0x7A600019));
    else t.record_length = 0xFFFF;
    dir.write("t.dbf", t.bytes());
    dir.write(fox ? "t.fpt" : "t.dbt", memo_bytes);
}

std::map<std::string, std::string> files_of(const ScratchDir& dir) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        if (entry.is_regular_file()) files[entry.path().filename().string()] = read_file(entry.path().string());
    return files;
}

// Runs a finding and judges it: fast, every file as it was, the refusals said.
void run_finding(const ScratchDir& dir, const Finding& finding, bool check_lines) {
    std::vector<std::string> call = {"t.dbf"};
    call.insert(call.end(), finding.args.begin(), finding.args.end());
    const auto before = files_of(dir);
    auto start = std::chrono::steady_clock::now();
    RunResult result = dir.run(call);
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(result.status, 0);
    EXPECT_LT(seconds, 0.5);
    EXPECT_EQ(files_of(dir), before) << "a file changed";
    if (!check_lines) return;
    std::vector<std::string> refusals;
    size_t at = 0;
    while ((at = result.out.find("Can't change", at)) != std::string::npos) {
        size_t end = result.out.find('\n', at);
        refusals.push_back(result.out.substr(at, end - at));
        at = end;
    }
    EXPECT_EQ(refusals, finding.said) << result.out;
}

// ---- Damaged tables, random parameters ------------------------------------------

const char* const kParameters[] = {
    "/APPEND:9", "/APPEND:blank", "/APPEND:1", "+t.dbf", "+m.dbf", "/OUT:t.dbf", "/OUT:x.dbf", "/OUT:x.htm",
    "/OUT:x.txt", "/S:*", "/SELECT:NAME;NOTE", "/FIELD:NOTE=\"a memo\";AGE=AGE+1", "/FIELD:NAME=NAME+NAME",
    "/UPDATE", "/PACK", "/PACK:memo", "/PACK:dbf", "/SORT:NAME", "/ORDER:NAME", "/FILTER:AGE>1", "/CMP:t.dbf",
    "/CMP:isc", "/TRUNC:5", "/TRUNC:0", "/ZAP", "/DELETE:all", "/RECALL:1-9", "/RANGE:1-9", "/CHECK", "/CDX",
    "/CPZERO", "/MEMO:text", "/COUNT", "/STRUCT", "/DATE:dmy", "/CLEAR", "/MAKE:m.dbf", "/BLANK", "/DELETED",
};

struct Family {
    uint8_t signature;
    MemoImage::Layout layout;
    int block_size;
};

const Family kFamilies[] = {
    {0x83, MemoImage::Dbase3, 512}, {0xF5, MemoImage::FoxPro, 64}, {0x8B, MemoImage::Dbase4, 512},
    {0x8B, MemoImage::Dbase4, 1},   {0x03, MemoImage::Dbase3, 512},
};

void put_le(std::string& bytes, size_t at, uint64_t value, int width) {
    for (int i = 0; i < width && at + i < bytes.size(); ++i) bytes[at + i] = static_cast<char>(value >> (8 * i));
}

// One whole-program input: a table and memo file of a random family, damaged in a
// few random places, and a random parameter list.
std::string damaged_input(std::mt19937& random) {
    auto pick = [&](uint64_t below) { return static_cast<uint64_t>(random() % below); };
    const Family& family = kFamilies[pick(std::size(kFamilies))];
    MemoImage memo(family.layout, family.block_size);
    TableImage t;
    t.signature = family.signature;
    t.fields = {{"NAME", 'C', static_cast<int>(1 + pick(300))}, {"AGE", 'N', 3}, {"BORN", 'D', 8}, {"NOTE", 'M', 10}};
    for (uint64_t i = 0, n = pick(12); i < n; ++i)
        t.add({"N" + std::to_string(i), std::to_string(i), "20010314", std::to_string(memo.add("text " + std::to_string(i)))},
              pick(4) == 0);
    std::string table = t.bytes(), memo_bytes = memo.bytes();
    const uint64_t absurd[] = {0, 1, 0xFFFF, 0xFFFFFFFF, 0x7A600019, memo_bytes.size(), 1000000};
    for (uint64_t k = 0, damages = 1 + pick(3); k < damages; ++k) {
        switch (pick(8)) {
            case 0: put_le(table, 10, absurd[pick(std::size(absurd))], 2); break;  // record length
            case 1: put_le(table, 8, 65 + pick(table.size() + 200), 2); break;     // header length
            case 2: put_le(table, 4, absurd[pick(std::size(absurd))], 4); break;   // record count
            case 3: table.resize(pick(table.size() + 1)); break;
            case 4: if (!table.empty()) table[pick(table.size())] = static_cast<char>(random()); break;
            case 5:  // the next free block, either byte order
                if (memo_bytes.size() >= 4) {
                    uint64_t next = absurd[pick(std::size(absurd))];
                    memo_bytes.replace(0, 4, pick(2) ? be32(static_cast<uint32_t>(next)) : le32(static_cast<int32_t>(next)));
                }
                break;
            case 6: put_le(memo_bytes, pick(2) ? 6 : 20, absurd[pick(3)], 2); break;  // block sizes
            case 7: memo_bytes.resize(pick(memo_bytes.size() + 1)); break;
        }
    }
    table.resize(std::min<size_t>(table.size(), 0x7FFF));
    memo_bytes.resize(std::min<size_t>(memo_bytes.size(), 0xFFFF));
    std::string input;
    input += static_cast<char>(table.size() & 0xFF);
    input += static_cast<char>((table.size() >> 8) | 0x80);
    input += table;
    input += static_cast<char>(memo_bytes.size() & 0xFF);
    input += static_cast<char>(memo_bytes.size() >> 8);
    input += memo_bytes;
    for (uint64_t i = 0, n = 2 + pick(9); i < n; ++i) input += std::string(kParameters[pick(std::size(kParameters))]) + "\n";
    return input;
}

}  // namespace

TEST(Runaway, TheFindingsEndAtOnceAndChangeNoFile) {
    for (const Finding& finding : kFindings) {
        SCOPED_TRACE(finding.name);
        ScratchDir dir;
        lay_out_finding(dir, finding);
        run_finding(dir, finding, true);
        // The files as they were found, where the shared folder stands beside the checkout.
        std::filesystem::path found = std::filesystem::path(TRUG_SOURCE_DIR) / "../shared/findings" / finding.name;
        if (!std::filesystem::exists(found)) continue;
        ScratchDir original;
        for (const auto& entry : std::filesystem::directory_iterator(found))
            if (entry.path().filename() != "args")
                original.write(entry.path().filename().string(), read_file(entry.path().string()));
        run_finding(original, finding, false);
    }
}

TEST(Runaway, DamagedTablesWithRandomParametersStayWithinBounds) {
    const auto budget = std::chrono::seconds(deep_tests() ? 60 : 2);
    const char* chosen = std::getenv("TRUG_SEED");
    const unsigned seed = chosen ? static_cast<unsigned>(std::strtoul(chosen, nullptr, 10))
                                 : deep_tests() ? std::random_device{}() : 20;
    std::mt19937 random(seed);
    auto start = std::chrono::steady_clock::now();
    int runs = 0;
    while (std::chrono::steady_clock::now() - start < budget) {
        std::string input = damaged_input(random);
        ProgramRun run = fuzz_program_run(reinterpret_cast<const uint8_t*>(input.data()), input.size());
        std::string why;
        ASSERT_TRUE(program_bounds_kept(run, why)) << why << " (seed " << seed << ", run " << runs << ")";
        ++runs;
    }
    EXPECT_GT(runs, 20);
}
