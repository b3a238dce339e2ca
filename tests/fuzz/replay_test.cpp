// tests/fuzz/replay_test.cpp
//
// Every input of the committed fuzz corpus, each crash once found among them, runs
// through its target in the ordinary suite, so the sanitizer run catches a return.
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

#include <gtest/gtest.h>

#include "fuzz/targets.h"
#include "support/table_builder.h"

namespace fs = std::filesystem;

namespace {

// The program's own output would drown the test log; it goes to /dev/null meanwhile.
struct QuietStdout {
    int saved;
    QuietStdout() {
        std::fflush(stdout);
        saved = dup(1);
        int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        close(null);
    }
    ~QuietStdout() {
        std::fflush(stdout);
        dup2(saved, 1);
        close(saved);
    }
};

int replay(const char* target, int (*run)(const uint8_t*, size_t)) {
    fs::path dir = fs::path(TRUG_SOURCE_DIR) / "tests/fuzz/corpus" / target;
    int count = 0;
    for (const auto& entry : fs::directory_iterator(dir)) {
        std::string input = read_file(entry.path().string());
        SCOPED_TRACE(entry.path().string());
        QuietStdout quiet;
        run(reinterpret_cast<const uint8_t*>(input.data()), input.size());
        ++count;
    }
    return count;
}

}  // namespace

TEST(FuzzCorpus, Table) { EXPECT_GT(replay("table", fuzz_table), 0); }
TEST(FuzzCorpus, Memo) { EXPECT_GT(replay("memo", fuzz_memo), 0); }
TEST(FuzzCorpus, Calc) { EXPECT_GT(replay("calc", fuzz_calc), 0); }
TEST(FuzzCorpus, Cond) { EXPECT_GT(replay("cond", fuzz_cond), 0); }
TEST(FuzzCorpus, Html) { EXPECT_GT(replay("html", fuzz_html), 0); }
TEST(FuzzCorpus, Program) {
    EXPECT_GT(replay("program", [](const uint8_t* data, size_t size) {
                  std::string why;
                  EXPECT_TRUE(program_bounds_kept(fuzz_program_run(data, size), why)) << why;
                  return 0;
              }),
              0);
}
