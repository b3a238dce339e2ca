// tests/fuzz/targets.cpp
#include "fuzz/targets.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

#include "app/program.h"
#include "commands/editing/assign.h"
#include "expr/calc.h"
#include "expr/cond.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "table/dbf.h"
#include "text/html.h"

namespace fs = std::filesystem;

namespace {

std::string scratch_file(const char* name) { return fuzz_setup() + "/" + name; }

std::string as_text(const uint8_t* data, size_t size, size_t limit) {
    std::string text(reinterpret_cast<const char*>(data), std::min(size, limit));
    text.erase(std::find(text.begin(), text.end(), '\0'), text.end());
    return text;
}

// Keeps the scratch directory to what one run made.
void clear_scratch() {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(fuzz_setup(), ignored)) fs::remove_all(entry.path(), ignored);
}

}  // namespace

const std::string& fuzz_setup() {
    static const std::string dir = [] {
        std::string pattern = (fs::temp_directory_path() / "trugfuzz-XXXXXX").string();
        char* made = mkdtemp(pattern.data());
        if (made == nullptr) std::abort();
        return std::string(made);
    }();
    return dir;
}

int fuzz_table(const uint8_t* data, size_t size) {
    std::string path = scratch_file("table.dbf");
    write_file(path, std::string(reinterpret_cast<const char*>(data), size));
    std::unique_ptr<DbfTable> table = open_table(path);
    if (!table) return 0;
    int32_t records = std::min<int32_t>(dbf_record_count(*table), 64);
    for (int32_t r = 0; r < records; ++r) {
        (void)dbf_read_record(*table, r);
        int modes = r < 4 ? 16 : 1;
        for (int m = 0; m < modes; ++m) {
            table->settings.date_mode = static_cast<DateMode>(m % 4);
            table->settings.trim_mode = static_cast<TrimMode>(m / 4);
            for (int f = 0; f < table->field_count; ++f) {
                dbf_field_text(*table, f);
                dbf_field_raw_text(*table, f);
                dbf_field_number(*table, f);
                dbf_field_date_shown(*table, f);
                dbf_display_width(*table, f);
                dbf_type_name(*table, f);
            }
        }
        for (int f = 0; f < table->field_count; ++f) dbf_field_text(*table, f, Rendering::Key);
    }
    dbf_free(table);
    return 0;
}

int fuzz_memo(const uint8_t* data, size_t size) {
    if (size < 6) return 0;
    static const uint8_t kSignatures[] = {0x83, 0x8B, 0xF5, 0x30, 0xE5};
    uint8_t signature = kSignatures[data[0] % 5];
    bool binary = data[1] & 1;
    int32_t block = 0;
    std::memcpy(&block, data + 2, 4);
    TableImage image;
    image.signature = signature;
    image.fields = {{"NOTE", 'M', binary ? 4 : 10}};
    image.add({binary ? le32(block) : std::to_string(block)});
    std::string table_path = scratch_file("memo.dbf");
    write_file(table_path, image.bytes());
    std::unique_ptr<DbfTable> table = open_table(table_path);
    if (!table) return 0;
    write_file(table->memo_path, std::string(reinterpret_cast<const char*>(data + 6), size - 6));
    (void)dbf_read_record(*table, 0);
    dbf_memo_read(*table, 0);
    dbf_memo_block_size(*table);
    if (data[1] & 2) {
        dbf_store_memo(*table, 0, "a text\x1A with its end mark");
        dbf_memo_read(*table, 0);
    }
    dbf_free(table);
    return 0;
}

int fuzz_calc(const uint8_t* data, size_t size) {
    std::string text = as_text(data, size, 4096);
    int32_t ok = 1;
    calc_evaluate(text.data(), &ok);
    return 0;
}

int fuzz_cond(const uint8_t* data, size_t size) {
    static std::unique_ptr<DbfTable> table = [] {
        TableImage image;
        image.fields = {{"NAME", 'C', 10}, {"AGE", 'N', 3}, {"PAY", 'N', 7, 2}, {"BORN", 'D', 8},
                        {"NOTE", 'C', 12}, {"RATE", 'B', 8}, {"WHEN", 'T', 8}};
        image.add({"SMITH", "42", "1234.50", "19610314", "Smith (Jr", double_bytes(2.5), le32(2451545) + le32(1)});
        std::string path = scratch_file("cond.dbf");
        write_file(path, image.bytes());
        return open_table(path);
    }();
    if (!table) std::abort();
    std::string text = as_text(data, size, 70000);
    (void)dbf_read_record(*table, 0);
    table->settings.hide_deleted = size & 1;
    table->settings.case_insensitive = (size >> 1) & 1;
    table->settings.ansi_text = (size >> 2) & 1;
    table->settings.date_mode = static_cast<DateMode>((size >> 3) & 3);
    auto scratch = std::make_unique<CondScratch>();
    cond_evaluate(*table, *scratch, text.c_str());
    // The same text as an assignment list, into the record buffer only.
    std::string said;
    OutStream console(said);
    Run run(console, test_fs());
    run.field_text = text;
    Pass pass{run, *table, console};
    (void)apply_field_text(pass, 0);
    return 0;
}

int fuzz_html(const uint8_t* data, size_t size) {
    std::string text = as_text(data, size, 1 << 20);
    html_value(text.c_str());
    return 0;
}

namespace {

// What a whole-program run may cost. At most two tables (the second named by the
// first parameter), each given at most kGrowingParameters appends of at most 9
// records of at most 64 KiB, imports of itself, listings and structure reports,
// stay below this, whatever else the parameters do, also under the sanitizers. The
// most one run can be asked for: a structure report of a table of 2,043 fields
// (all a header can name) as a table of 2,043 records, which the second table's
// listing copies into a table of records of 64 KiB: 128 MiB.
constexpr double kRunSeconds = 1.0;
constexpr int64_t kRunBytes = int64_t{160} << 20;
constexpr int kGrowingParameters = 3;

bool marked(const std::string& parameter) {
    return !parameter.empty() && (parameter[0] == '/' || parameter[0] == '-' || parameter[0] == '@' || parameter[0] == '+');
}

// True for a parameter that adds records or writes a listing or a structure report.
bool grows(const std::string& parameter) {
    if (!parameter.empty() && parameter[0] == '+') return true;
    std::string word = parameter.substr(parameter.empty() || (parameter[0] != '/' && parameter[0] != '-') ? 0 : 1, 4);
    for (char& c : word) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return word.rfind("app", 0) == 0 || word.rfind("tru", 0) == 0 || word.rfind("sel", 0) == 0 ||
           word.rfind("s:", 0) == 0 || word.rfind("str", 0) == 0;
}

int64_t scratch_bytes() {
    int64_t total = 0;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(fuzz_setup(), ignored)) {
        std::error_code error;
        uintmax_t size = entry.is_regular_file(error) ? entry.file_size(error) : 0;
        if (!error) total += static_cast<int64_t>(size);
    }
    return total;
}

}  // namespace

ProgramRun fuzz_program_run(const uint8_t* data, size_t size) {
    ProgramRun measured;
    if (size < 2) return measured;
    size_t at = 2;
    const size_t declared = data[0] | (data[1] << 8);
    size_t length = std::min<size_t>(declared & 0x7FFF, size - at);
    clear_scratch();
    write_file(scratch_file("t.dbf"), std::string(reinterpret_cast<const char*>(data + at), length));
    at += length;
    if ((declared & 0x8000) && size - at >= 2) {
        size_t memo_length = std::min<size_t>(data[at] | (data[at + 1] << 8), size - at - 2);
        std::string memo(reinterpret_cast<const char*>(data + at + 2), memo_length);
        write_file(scratch_file("t.dbt"), memo);
        write_file(scratch_file("t.fpt"), memo);
        at += 2 + memo_length;
    }
    // Parameters: at most 16 lines. No path may leave the scratch directory, no number
    // asks for more than 9 records, and only a few parameters add records or write
    // listings: slashes behind the first character become '_', runs of digits keep
    // one, and growing parameters beyond the first kGrowingParameters are left out.
    // List files are left out too: their lines would pass unfiltered. An unmarked
    // first parameter names a second table, which replays the list; the second
    // parameter is marked, so that no third one does.
    std::vector<std::string> parameters;
    std::string current;
    int digits = 0, growing = 0;
    auto take = [&]() {
        if (!current.empty() && current[0] == '@') return;
        if (grows(current) && ++growing > kGrowingParameters) return;
        parameters.push_back(current);
    };
    for (size_t i = at; i < size && parameters.size() < 16; ++i) {
        char c = static_cast<char>(data[i]);
        if (c == '\n') {
            take();
            current.clear();
            digits = 0;
            continue;
        }
        if (c == '\0' || current.size() >= 200) continue;
        if ((c == '/' || c == '\\') && !current.empty()) c = '_';
        digits = (c >= '0' && c <= '9') ? digits + 1 : 0;
        if (digits > 1) continue;
        current += c;
    }
    if (!current.empty() && parameters.size() < 16) take();
    if (parameters.empty()) return measured;
    if (parameters.size() > 1 && !marked(parameters[0]) && !marked(parameters[1])) parameters[1].insert(0, "/");

    std::vector<std::string> args = {"trugtool", "t.dbf"};
    args.insert(args.end(), parameters.begin(), parameters.end());
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);

    std::string said;
    OutStream console(said);
    FileSystem files(fuzz_setup());
    auto start = std::chrono::steady_clock::now();
    run_program(console, files, static_cast<int>(argv.size() - 1), argv.data());
    measured.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    measured.bytes_written = files.bytes_written;
    measured.file_bytes = scratch_bytes();
    return measured;
}

bool program_bounds_kept(const ProgramRun& run, std::string& why) {
    if (run.seconds > kRunSeconds) why = "the run took " + std::to_string(run.seconds) + " s";
    else if (run.bytes_written > kRunBytes) why = "the run wrote " + std::to_string(run.bytes_written) + " bytes";
    else if (run.file_bytes > kRunBytes) why = "the run left files of " + std::to_string(run.file_bytes) + " bytes";
    else return true;
    return false;
}

int fuzz_program(const uint8_t* data, size_t size) {
    std::string why;
    if (!program_bounds_kept(fuzz_program_run(data, size), why)) {
        std::fprintf(stderr, "whole-program run out of bounds: %s\n", why.c_str());
        std::abort();
    }
    return 0;
}
