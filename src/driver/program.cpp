// driver/program.cpp
//
// The command line is table names up to the first argument that starts with '/',
// '-', '@' or '+', then parameters. Each table gets one pass: open and judge it,
// apply trugtool.ini from beside the program, install the code-page hooks, replay
// every parameter in order, close it.
#include "driver/program.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sys/stat.h>
#include <utility>
#include <vector>
#include <strings.h>

#include "driver/parameters.h"
#include "driver/version.h"
#include "expr/calc.h"
#include "text/codepage.h"

namespace {

constexpr char kBuildStamp[] = __DATE__ " " __TIME__;
constexpr int kListLineSize = 1024;

bool is_parameter_mark(char c) { return c == '/' || c == '-' || c == '@' || c == '+'; }

// The list files now being read, outermost first, by device and inode: a list that
// names one of them again would read it without end, or, named twice, in an
// exponential number of passes.
std::vector<std::pair<dev_t, ino_t>> open_lists;

void install_hooks(DbfTable& table) {
    if (state.table_oem_set && state.table_ansi_set) {
        table.ansi_to_oem = ansi_to_oem_by_set;
        table.oem_to_ansi = oem_to_ansi_by_set;
    }
    if (state.normal_set && state.uppercase_set) table.fold_case = fold_case_by_set;
}

void table_pass(const char* argument, const std::string& settings_path, int first_parameter, int argc,
                char** argv) {
    std::string path = argument;
    auto table = std::make_unique<DbfTable>();
    state.current_table = table.get();
    dbf_init(*table);
    table->fd = dbf_open_file(path.c_str());
    if (table->fd == 0) die("Can't open", path.c_str());
    if (!dbf_read_header(*table)) die("Invalid header...", path.c_str());
    if (!dbf_read_fields(*table)) die("Field definition error...", path.c_str());
    table->path = path;
    dbf_bind_memo(*table);
    apply_parameter_file(settings_path.c_str());
    install_hooks(*table);
    for (int i = first_parameter; i < argc; ++i) {
        const char* parameter = argv[i];
        if (parameter[0] == '@') {
            apply_parameter_file(parameter + 1);
        } else if (parameter[0] == '-' || parameter[0] == '/') {
            apply_parameter(parameter + 1);
        } else {
            apply_parameter(parameter);
        }
    }
    table->path.clear();
    dbf_close(table.get());
    state.current_table = nullptr;
}

}  // namespace

void (*die_exit)(int status) = std::exit;

[[noreturn]] void die(const char* message, const char* path) {
    std::printf("%s %s", message, path);
    std::fflush(stdout);
    die_exit(1);
    std::abort();  // die_exit does not come back
}

void cmd_version() {
    std::printf("Version %d.%02d compiled at %s\n", kVersion >> 8, kVersion & 0xFF, kBuildStamp);
}

void print_usage() {
    std::printf("TRUG Command Line utility. Version %d.%02d\n", kVersion >> 8, kVersion & 0xFF);
    std::fputs(
        "Use:\n"
        "  TRUGtool <filename.dbf|pattern> <parameter|@filename.lst|+filename.dbf>\n"
        "  Parameters (first character can be '/' or '-') :\n"
        "\t/ANSI\t\t\t\t/OEM\n"
        "\t/ASC\t\t\t\t/DESC\n"
        "\t/CDX\t\t\t\t/CPZERO\n"
        "\t/CHECK\t\t\t\t/CLEAR\n"
        "\t/PACK:[dbf|memo]\t\t/ZAP\n"
        "\t/DELETED[+|-]\t\t\t/DEL[+|-]\n"
        "\t/CASE[+|-]\n"
        "\t/TRUNC:N\t\t\t/BLANK\n"
        "\t/COUNT\t\t\t\t/VERSION\n"
        "\t/BROWSE\t\t\t\t/FIELDS\n"
        "\t/NAME[+|-]\t\t\t/CALC:condition\n"
        "\t/APPEND[:N|blank]\t\t/RANGE:N1,N2-N3,all\n"
        "\t/FILTER:condition\t\t/MAKE:filename.dbf\n"
        "\t/DELETE:N1,N2-N3,all\t\t/RECALL:N1,N2-N3,all\n"
        "\t/DATE:mdy|dmy|ymd|asis|char\t/UPDATE\n"
        "\t/TRIM:left|right|all\t\t/HDR[+|-]\n"
        "\t/SORT:field1;field2;...\t\t/ORDER:field1;field2;...\n"
        "\t/SELECT:field1;field2;...\t/MEMO[:text]\n"
        "\t/FIELD:field1=value;field2=value;...\n"
        "\t/STRUCT:file.txt|file.dbf|file.sql|file.prg|file.fox\n"
        "\t/OUT:file.txt|file.dbf|file.sql|file.prg|file.htm\n"
        "\t/CMP:file.dbf [/filter] [/order] /CMP[:[i][s][c]]\n",
        stdout);
}

std::string path_beside(const char* dir_source, const char* name_source) {
    const char* dir_end = std::strrchr(dir_source, '/');
    std::string out = dir_end ? std::string(dir_source, static_cast<size_t>(dir_end - dir_source + 1)) : "";
    const char* base = std::strrchr(name_source, '/');
    out += base ? base + 1 : name_source;
    return out;
}

std::string path_merge(const char* prefix, const char* directory, const char* name, const char* extension) {
    const char* base = std::strrchr(name, '/');
    std::string out = prefix;
    out += directory;
    out += base ? base + 1 : name;
    out += extension;
    return out;
}

int apply_parameter_file(const char* path) {
    if (open_lists.size() >= static_cast<size_t>(kMaxListDepth)) return 0;
    std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path, "r"), std::fclose);
    if (!file) return 0;
    struct stat st;
    if (fstat(fileno(file.get()), &st) != 0) return 0;
    for (const auto& open : open_lists)
        if (open.first == st.st_dev && open.second == st.st_ino) return 0;
    struct OpenGuard {
        explicit OpenGuard(const struct stat& st) { open_lists.emplace_back(st.st_dev, st.st_ino); }
        ~OpenGuard() { open_lists.pop_back(); }
    } guard(st);
    char line[kListLineSize];
    while (std::fgets(line, sizeof line, file.get()) != nullptr) {
        size_t length = std::strlen(line);
        switch (line[0]) {
            case '@': {
                if (length > 0 && line[length - 1] == '\n') line[length - 1] = '\0';
                if (!apply_parameter_file(line + 1)) std::printf("Can't open file: %s\n", line + 1);
                break;
            }
            case ';': case ' ': case '\n':
                break;
            default: {
                if (length > 0 && line[length - 1] == '\n') line[length - 1] = '\0';
                apply_parameter((line[0] == '-' || line[0] == '/') ? line + 1 : line);
                break;
            }
        }
    }
    return 1;
}

int run_program(int argc, char** argv) {
    // Local time is the system's zone either way; naming it spares the C library a
    // look at /etc/localtime on every date a listing renders.
    if (std::getenv("TZ") == nullptr) setenv("TZ", ":/etc/localtime", 0);
    if (argc >= 2 && (argv[1][0] == '/' || argv[1][0] == '-')) {
        const char* early = argv[1] + 1;
        if (strncasecmp(early, "version", 7) == 0) {
            cmd_version();
            return 0;
        }
        if (strncasecmp(early, "calc:", 5) == 0) {
            cmd_calc(early + 5);
            return 0;
        }
        if (early[0] == '?' || early[0] == 'h') {
            print_usage();
            return 0;
        }
    }
    if (argc < 3) {
        print_usage();
        return 0;
    }
    std::string settings_path = path_beside(argv[0], "trugtool.ini");
    int first_parameter = 1;
    while (first_parameter < argc && !is_parameter_mark(argv[first_parameter][0])) ++first_parameter;
    for (int i = 1; i < first_parameter; ++i) table_pass(argv[i], settings_path, first_parameter, argc, argv);
    return 0;
}
