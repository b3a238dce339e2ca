// app/program.cpp
//
// The command line is table names up to the first argument that starts with '/',
// '-', '@' or '+' (an absolute path to an existing file is a table name), then
// parameters. Each table gets one pass: open and judge it,
// apply trugtool.ini from beside the program, install the character sets, replay
// every parameter in order, close it.
#include "app/program.h"

#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <vector>

#include "app/dispatch.h"
#include "commands/reports/reports.h"

namespace {

// A list file is read in lines of at most this many bytes, terminator included;
// a longer line arrives in pieces, each taken as a line of its own.
constexpr size_t kListLineSize = 1024;

bool is_parameter_mark(char c) { return c == '/' || c == '-' || c == '@' || c == '+'; }

// A table name starts with none of the parameter marks, or is an absolute path to a
// file that exists: "/data/t.dbf" is a table, "/COUNT" and "/data/" are not.
bool is_table_name(const FileSystem& fs, const char* argument) {
    return !is_parameter_mark(argument[0]) || (argument[0] == '/' && fs.is_regular_file(argument));
}

// The lines of a list file, as fgets would deliver them into a buffer of
// kListLineSize bytes: each up to and including its line feed, or cut short.
class LineReader {
  public:
    explicit LineReader(File& file) : file_(file) {}

    // The next line, NUL-terminated in `line`; false at the end of the file.
    bool next(char (&line)[kListLineSize]) {
        size_t length = 0;
        while (length + 1 < kListLineSize) {
            if (at_ == filled_ && !fill()) break;
            char c = buffer_[at_++];
            line[length++] = c;
            if (c == '\n') break;
        }
        line[length] = '\0';
        return length > 0;
    }

  private:
    bool fill() {
        int64_t got = file_.read_next(buffer_, sizeof buffer_);
        at_ = 0;
        filled_ = got > 0 ? static_cast<size_t>(got) : 0;
        return filled_ > 0;
    }

    File& file_;
    char buffer_[4096];
    size_t at_ = 0;
    size_t filled_ = 0;
};

// Keeps a list file's identity on the run's stack while it is read.
struct OpenList {
    OpenList(Run& run, FileId id) : run(run) { run.open_lists.push_back(id); }
    ~OpenList() { run.open_lists.pop_back(); }
    Run& run;
};

void apply_line(Pass& pass, char* line) {
    size_t length = std::strlen(line);
    switch (line[0]) {
        case '@':
            if (length > 0 && line[length - 1] == '\n') line[length - 1] = '\0';
            if (!apply_parameter_file(pass, line + 1)) pass.out.print("Can't open file: %s\n", line + 1);
            break;
        case ';': case ' ': case '\n':
            break;
        default:
            if (length > 0 && line[length - 1] == '\n') line[length - 1] = '\0';
            apply_parameter(pass, (line[0] == '-' || line[0] == '/') ? line + 1 : line);
            break;
    }
}

void table_pass(Run& run, const std::string& path, const std::string& settings_path, int first_parameter, int argc,
                char** argv) {
    DbfTable table;
    switch (dbf_open_into(table, run.fs, path)) {
        case OpenFailure::None: break;
        case OpenFailure::CantOpen: die("Can't open", path);
        case OpenFailure::InvalidHeader: die("Invalid header...", path);
        case OpenFailure::InvalidFields: die("Field definition error...", path);
    }
    Pass pass{run, table, run.out};
    // A missing settings file is normal.
    (void)apply_parameter_file(pass, settings_path);
    install_character_sets(table, run.sets);
    for (int i = first_parameter; i < argc; ++i) {
        const char* parameter = argv[i];
        if (parameter[0] == '@') {
            // A list named on the command line that can't be opened is passed over.
            (void)apply_parameter_file(pass, parameter + 1);
        } else if (parameter[0] == '-' || parameter[0] == '/') {
            apply_parameter(pass, parameter + 1);
        } else {
            apply_parameter(pass, parameter);
        }
    }
}

// The whole run, up to a fatal message.
int run_tables(Run& run, int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        print_usage(run.out);
        return 0;
    }
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        cmd_version(run.out);
        return 0;
    }
    if (argc >= 2 && (argv[1][0] == '/' || argv[1][0] == '-') && !is_table_name(run.fs, argv[1])) {
        const char* early = argv[1] + 1;
        if (strncasecmp(early, "version", 7) == 0) {
            cmd_version(run.out);
            return 0;
        }
        if (strncasecmp(early, "calc:", 5) == 0) {
            cmd_calc(run.out, early + 5);
            return 0;
        }
        if (early[0] == '?' || early[0] == 'h') {
            print_usage(run.out);
            return 0;
        }
    }
    if (argc < 3) {
        print_usage(run.out);
        return 0;
    }
    const std::string settings_path = path_beside(argv[0], "trugtool.ini");
    int first_parameter = 1;
    while (first_parameter < argc && is_table_name(run.fs, argv[first_parameter])) ++first_parameter;
    for (int i = 1; i < first_parameter; ++i) table_pass(run, argv[i], settings_path, first_parameter, argc, argv);
    return 0;
}

}  // namespace

std::string path_beside(const std::string& dir_source, const std::string& name_source) {
    size_t dir_end = dir_source.rfind('/');
    std::string out = dir_end == std::string::npos ? "" : dir_source.substr(0, dir_end + 1);
    size_t base = name_source.rfind('/');
    out += base == std::string::npos ? name_source : name_source.substr(base + 1);
    return out;
}

bool apply_parameter_file(Pass& pass, const std::string& path) {
    Run& run = pass.run;
    if (run.open_lists.size() >= static_cast<size_t>(kMaxListDepth)) return false;
    File file = run.fs.open_read(path);
    if (!file.is_open()) return false;
    std::optional<FileId> id = file.id();
    if (!id) return false;
    // A list that names one being read further out would read it without end, or,
    // named twice, in an exponential number of passes.
    for (const FileId& open : run.open_lists)
        if (open == *id) return false;
    OpenList guard(run, *id);
    LineReader reader(file);
    char line[kListLineSize];
    while (reader.next(line)) apply_line(pass, line);
    return true;
}

int run_program(OutStream& console, FileSystem& fs, int argc, char** argv) {
    // Local time is the system's zone either way; naming it spares the C library a
    // look at /etc/localtime on every header date stamp.
    if (std::getenv("TZ") == nullptr) setenv("TZ", ":/etc/localtime", 0);
    Run run(console, fs);
    int status = 0;
    try {
        status = run_tables(run, argc, argv);
    } catch (const Fatal& fatal) {
        console.write(fatal.message);
        status = 1;
    }
    // Output that was lost makes the run a failure, though it went on to the end.
    if (!console.flush() || run.output_failed) status = 1;
    return status;
}
