// tests/support/transcript_test.cpp
//
// Runs every transcript (*.t) under tests/, and the tutorial of README.md: the real
// program, in a fresh directory per case, with TZ=UTC and a umask of 002; its standard
// error must stay empty.
//
// A transcript is made of paragraphs separated by blank lines; lines whose first
// non-blank character is '#' are comments. A paragraph with a command line is a case;
// one without sets up files for every case below it (a file of the same name set up
// again replaces it). In a case, the lines before the first command set up files for
// that case alone, and its commands run one after another in the same directory:
//
//   $ t.dbf /OUT:x.txt /S:*      runs ./trugtool with these arguments ("nobody$" runs it
//                                as an unprivileged user, to whom root's files are read-only)
//   > ab |                       the exact standard output, one line each
//   [1]                          the exit status, when it is not 0
//   file x.txt                   then checks of what the command left behind
//
// Output lines are "> text" (">" alone is an empty line). A line ending in " (esc)"
// takes escapes, " (no-eol)" has no line feed, and a line "..." stands for any lines
// at all.
//
// Setting up:
//   table NAME [sig=HEX] [date=YYYY-MM-DD|today] [count=N] [header=N] [reclen=N]
//              [flags=HEX] [cp=HEX] [noeof]: FIELD TYPE LENGTH[.DECIMALS], ...
//     memo dbt3|dbt4|fpt [BLOCK-SIZE]   its memo file, named after the table
//     row VALUE|VALUE|...               a record as the table builder places values ("del"
//                                       for a deleted one); "{text}" in an M field stores
//                                       the text in the memo file and its block number here
//     text TEXT                         a memo text no record points to
//     patch OFFSET BYTES                bytes written over the finished table
//   file NAME                      followed by its content as output lines
//   copy FROM [NAME]               a file set up above, or a sample table of examples/
//   chmod MODE NAME
//
// Checks after a command:
//   table ... / file NAME ...      the file holds exactly these bytes
//   copy FROM NAME                 the file holds what FROM held when the case began
//   no NAME... / same NAME...      the files don't exist / the command left them as they were
//   mode MODE NAME                 the file's permission bits
//   dbfread NAME / sqlite NAME QUERY / browser NAME
//                                  followed by the output lines of that independent reader
//                                  (support/clients.h); passed over where it is not installed
//   memory MB                      the run's peak memory stays within MB of a plain run's
//
// Arguments are separated by blanks; '...' groups. In arguments, names and values a
// backslash escapes: \\ \t \r \n \0 \xHH, \{TEXT*N} for N copies of TEXT, and before
// any other character (\| \' \ ) that character itself.
#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <ostream>
#include <stdexcept>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "support/cli.h"
#include "support/clients.h"
#include "support/table_builder.h"

namespace fs = std::filesystem;

namespace {

std::string unescape(std::string_view text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = i + 1 < text.size() && text[i] == '\\' ? text[++i] : 0;
        if (c == 0) out += text[i];
        else if (c == 'x') out += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16)), i += 2;
        else if (c != '{') out += c == 't' ? '\t' : c == 'r' ? '\r' : c == 'n' ? '\n' : c == '0' ? '\0' : c;
        else {
            const size_t end = text.find('}', i), star = text.rfind('*', end);
            const std::string piece = unescape(text.substr(i + 1, star - i - 1));
            for (int n = std::stoi(std::string(text.substr(star + 1, end - star - 1))); n > 0; --n) out += piece;
            i = end;
        }
    }
    return out;
}

// Splits at each `separator` no backslash escapes; the pieces keep their escapes.
std::vector<std::string_view> split_at(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    size_t start = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\') ++i;
        else if (text[i] == separator) pieces.push_back(text.substr(start, i - start)), start = i + 1;
    }
    pieces.push_back(text.substr(std::min(start, text.size())));
    return pieces;
}

// Splits at blanks outside single quotes, then unescapes each word.
std::vector<std::string> split_words(std::string_view text) {
    std::vector<std::string> words;
    std::string word;
    bool in_word = false, quoted = false;
    for (size_t i = 0; i <= text.size(); ++i) {
        const bool end = i == text.size() || (text[i] == ' ' && !quoted);
        if (end && in_word) words.push_back(unescape(word));
        if (end) {
            word.clear();
            in_word = false;
            continue;
        }
        in_word = true;
        if (text[i] == '\'') quoted = !quoted;
        else if (text[i] == '\\' && i + 1 < text.size()) word += text.substr(i++, 2);
        else word += text[i];
    }
    return words;
}

// Bytes as a transcript writes them, for failure messages that can be pasted back.
std::string render(std::string_view bytes) {
    std::string out;
    for (size_t start = 0; start < bytes.size();) {
        const size_t end = std::min(bytes.find('\n', start), bytes.size());
        std::string escaped;
        bool plain = true;
        for (const char c : bytes.substr(start, end - start)) {
            const auto u = static_cast<unsigned char>(c);
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02X", u);
            plain = plain && !((u < 0x20 && c != '\t') || u >= 0x7F);
            escaped += c == '\\' ? std::string("\\\\") : (u < 0x20 && c != '\t') || u >= 0x7F ? hex : std::string(1, c);
        }
        const std::string line(bytes.substr(start, end - start));
        out += line.empty() ? ">" : plain ? "> " + line : "> " + escaped + " (esc)";
        out += end == bytes.size() ? " (no-eol)\n" : "\n";
        start = end + 1;
    }
    return out.empty() ? "(nothing)\n" : out;
}

// Expected bytes: literal pieces, with any bytes at all between them where "..." stood.
struct Pattern {
    std::vector<std::string> pieces{""};
    std::string source;  // the lines as written

    void add(const std::string& text) { pieces.back() += text; }
    std::string text() const { return pieces[0]; }
    bool matches(std::string_view s, size_t k = 0) const {
        if (s.substr(0, pieces[k].size()) != pieces[k]) return false;
        if (k + 1 == pieces.size()) return s.size() == pieces[k].size();
        for (size_t n = pieces[k].size(); n <= s.size(); ++n)
            if (matches(s.substr(n), k + 1)) return true;
        return false;
    }
};

// A setup step or a check: kind is file, chmod, no, same, mode, dbfread, sqlite, browser or memory.
struct Step {
    Step(int line_, std::string kind_, std::string name_, std::string arg_ = "")
        : line(line_), kind(std::move(kind_)), name(std::move(name_)), arg(std::move(arg_)) {}
    int line;
    std::string kind, name, arg;
    Pattern bytes;
};

struct Command {
    int line = 0;
    bool nobody = false;
    std::vector<std::string> args;
    Pattern out;
    int status = 0;
    std::vector<Step> checks;
};

struct Case {
    std::vector<Step> setup;
    std::vector<Command> commands;
};

class Reader {
  public:
    Reader(const std::string& path, const std::string& shown) : shown_(shown) {
        std::ifstream in(path);
        for (std::string line; std::getline(in, line);) lines_.push_back(line);
    }

    std::vector<Case> cases() {
        if (shown_.ends_with(".md")) return tutorial();
        std::vector<Case> out;
        for (std::vector<Step> shared;;) {
            while (at_ < lines_.size() && (blank() || comment())) ++at_;
            if (at_ == lines_.size()) return out;
            std::vector<Command> commands;
            local_ = shared;
            while (at_ < lines_.size() && !blank()) {
                if (comment()) ++at_;
                else if (command_line()) commands.push_back(command());
                else for (Step& s : steps(false)) define(std::move(s));
            }
            if (commands.empty()) shared = local_;
            else out.push_back({local_, std::move(commands)});
        }
    }

    // The console blocks of a Markdown file: "$ trugtool ..." and "$ cat FILE" with
    // the lines they print, in order in one directory holding the sample tables.
    std::vector<Case> tutorial() {
        Case c;
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(std::string(TRUG_SOURCE_DIR) + "/examples"))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        for (const std::string& name : names) {
            c.setup.emplace_back(0, "file", name);
            c.setup.back().bytes.add(copy_of(name));
        }
        Pattern* out = nullptr;
        for (bool in_block = false; at_ < lines_.size(); ++at_) {
            if (line() == "```console" || line() == "```") in_block = line() != "```";
            else if (!in_block) continue;
            else if (line().starts_with("$ trugtool ")) {
                c.commands.emplace_back();
                c.commands.back().line = static_cast<int>(at_ + 1);
                c.commands.back().args = split_words(line().substr(11));
                out = &c.commands.back().out;
            } else if (line().starts_with("$ cat ") && !c.commands.empty()) {
                c.commands.back().checks.emplace_back(static_cast<int>(at_ + 1), "file", std::string(line().substr(6)));
                out = &c.commands.back().checks.back().bytes;
            } else if (line().starts_with("$") || out == nullptr) {
                fail("a tutorial runs only trugtool and cat");
            } else {
                out->add(std::string(line()) + "\n");
                out->source += "> " + std::string(line()) + "\n";
            }
        }
        return {c};
    }

  private:
    std::string shown_;
    std::vector<std::string> lines_;
    size_t at_ = 0;
    std::vector<Step> local_;  // what the paragraph read so far sets up

    [[noreturn]] void fail(const std::string& what) const {
        throw std::runtime_error(shown_ + ":" + std::to_string(at_ + 1) + ": " + what);
    }
    std::string_view line() const { return lines_[at_]; }
    std::string_view trimmed() const { return line().substr(std::min(line().find_first_not_of(' '), line().size())); }
    bool blank() const { return trimmed().empty(); }
    bool comment() const { return trimmed()[0] == '#'; }
    bool command_line() const { return line() == "$" || line().starts_with("$ ") || line().starts_with("nobody$ "); }

    void define(Step step) {
        auto same = std::find_if(local_.begin(), local_.end(),
                                 [&](const Step& s) { return s.kind == "file" && step.kind == "file" && s.name == step.name; });
        if (same != local_.end()) *same = std::move(step);
        else local_.push_back(std::move(step));
    }

    Command command() {
        Command c;
        c.line = static_cast<int>(at_ + 1);
        c.nobody = line()[0] == 'n';
        c.args = split_words(line().substr(line().find('$') + 1));
        ++at_;
        c.out = block();
        if (at_ < lines_.size() && line().starts_with("[")) c.status = std::stoi(std::string(line().substr(1))), ++at_;
        while (at_ < lines_.size() && !blank() && !command_line()) {
            if (comment()) ++at_;
            else for (Step& s : steps(true)) c.checks.push_back(std::move(s));
        }
        return c;
    }

    // The output lines from here on.
    Pattern block() {
        Pattern p;
        for (; at_ < lines_.size() && (line().starts_with(">") || line() == "..."); ++at_) {
            p.source += std::string(line()) + "\n";
            std::string_view text = line().substr(line().starts_with("> ") ? 2 : 1);
            const auto suffix = [&](std::string_view mark) {
                const bool has = text.size() >= mark.size() && text.substr(text.size() - mark.size()) == mark;
                if (has) text.remove_suffix(mark.size());
                return has;
            };
            const bool eol = !suffix(" (no-eol)");
            if (line() == "...") p.pieces.emplace_back();
            else p.add((suffix(" (esc)") ? unescape(text) : std::string(text)) + (eol ? "\n" : ""));
        }
        return p;
    }

    std::vector<Step> steps(bool check) {
        const std::string raw(line());
        const size_t colon = raw.starts_with("table ") ? std::min(raw.find(':'), raw.size()) : raw.size();
        const std::vector<std::string> w = split_words(raw.substr(0, colon));
        const std::string& kind = w[0];
        Step s{static_cast<int>(at_ + 1), kind, w.size() > 1 ? w[1] : "", w.size() > 2 ? w[2] : ""};
        ++at_;
        if (kind == "table") return table(w, raw.substr(std::min(colon + 1, raw.size())));
        if (kind == "file" || (check && (kind == "dbfread" || kind == "sqlite" || kind == "browser"))) {
            if (kind == "sqlite") s.arg = raw.substr(std::min(raw.size(), raw.find(' ', kind.size() + 1) + 1));
            s.bytes = block();
            return {s};
        }
        if (kind == "copy") {
            Step file(s.line, "file", s.arg.empty() ? s.name : s.arg);
            file.bytes.add(copy_of(s.name));
            return {file};
        }
        if (!check && kind == "chmod") return {{s.line, kind, s.arg, s.name}};
        if (check && (kind == "mode" || kind == "memory"))
            return {{s.line, kind, kind == "mode" ? s.arg : "", s.name}};
        if (check && (kind == "no" || kind == "same")) {
            std::vector<Step> each;
            for (size_t i = 1; i < w.size(); ++i) each.push_back({s.line, kind, w[i]});
            return each;
        }
        --at_;
        fail(std::string("not a ") + (check ? "check" : "setup") + " line");
    }

    std::string copy_of(const std::string& name) const {
        for (const Step& s : local_)
            if (s.kind == "file" && s.name == name) return s.bytes.text();
        const std::string path = std::string(TRUG_SOURCE_DIR) + "/examples/" + name;
        if (!file_exists(path)) fail("nothing to copy by the name " + name);
        return read_file(path);
    }

    // A table and its memo file, from the `table` line and the lines below it.
    std::vector<Step> table(const std::vector<std::string>& head, std::string_view fields) {
        const int first = static_cast<int>(at_);
        TableImage t;
        for (size_t i = 2; i < head.size(); ++i) {
            const size_t eq = head[i].find('=');
            const std::string key = head[i].substr(0, eq), value = eq == std::string::npos ? "" : head[i].substr(eq + 1);
            const auto hex = [&] { return static_cast<uint8_t>(std::stoi(value, nullptr, 16)); };
            if (key == "sig") t.signature = hex();
            else if (key == "flags") t.table_flags = hex();
            else if (key == "cp") t.code_page_mark = hex();
            else if (key == "count") t.record_count = static_cast<uint32_t>(std::stoul(value));
            else if (key == "header") t.header_length = static_cast<uint16_t>(std::stoi(value));
            else if (key == "reclen") t.record_length = static_cast<uint16_t>(std::stoi(value));
            else if (key == "noeof") t.end_mark = false;
            else if (key == "date") set_date(t, value);
            else fail("unknown table attribute " + key);
        }
        for (std::string_view field : split_at(fields, ',')) {
            const std::vector<std::string> f = split_words(field);
            if (f.empty()) continue;
            if (f.size() != 3) fail("a field is NAME TYPE LENGTH[.DECIMALS]");
            const size_t dot = f[2].find('.');
            t.fields.push_back({f[0], f[1][0], std::stoi(f[2]), dot == std::string::npos ? 0 : std::stoi(f[2].substr(dot + 1))});
        }
        std::optional<MemoImage> memo;
        std::string memo_name, bytes;
        for (; at_ < lines_.size() && line().starts_with("  "); ++at_) {
            const std::string_view text = trimmed();
            const std::string keyword(text.substr(0, text.find(' ')));
            const std::string_view rest = text.substr(std::min(text.size(), keyword.size() + 1));
            if (keyword == "row" || keyword == "del") {
                std::vector<std::string> values;
                for (std::string_view piece : split_at(rest, '|')) values.push_back(unescape(piece));
                for (size_t i = 0; i < values.size() && i < t.fields.size(); ++i) {
                    std::string& v = values[i];
                    if (t.fields[i].type != 'M' || v.size() < 2 || v.front() != '{' || v.back() != '}') continue;
                    if (!memo) fail("a memo text needs a memo line first");
                    const int32_t block = memo->add(v.substr(1, v.size() - 2));
                    v = t.fields[i].length == 4 ? le32(block) : std::to_string(block);
                }
                t.add(values, keyword == "del");
            } else if (keyword == "memo") {
                const std::vector<std::string> m = split_words(rest);
                const auto layout = m[0] == "fpt" ? MemoImage::FoxPro : m[0] == "dbt4" ? MemoImage::Dbase4 : MemoImage::Dbase3;
                memo.emplace(layout, m.size() > 1 ? std::stoi(m[1]) : 512);
                memo_name = head[1].substr(0, head[1].rfind('.')) + (m[0] == "fpt" ? ".fpt" : ".dbt");
            } else if (keyword == "text" && memo) {
                memo->add(unescape(rest));
            } else if (keyword == "patch") {
                const std::vector<std::string> p = split_words(rest);
                if (bytes.empty()) bytes = t.bytes();
                bytes.replace(std::stoul(p[0]), p[1].size(), p[1]);
            } else {
                fail("not a line of a table");
            }
        }
        std::vector<Step> files(1, Step{first, "file", head[1]});
        files[0].bytes.add(bytes.empty() ? t.bytes() : bytes);
        if (memo) files.push_back({first, "file", memo_name}), files[1].bytes.add(memo->bytes());
        return files;
    }

    void set_date(TableImage& t, const std::string& value) const {
        std::tm date{};
        const std::time_t now = std::time(nullptr);
        if (value == "today") gmtime_r(&now, &date);
        else if (std::sscanf(value.c_str(), "%d-%d-%d", &date.tm_year, &date.tm_mon, &date.tm_mday) == 3)
            date.tm_year -= 1900, date.tm_mon -= 1;
        else fail("a date is YYYY-MM-DD or today");
        while (date.tm_year > 255) date.tm_year -= 100;  // the header's year byte
        t.year = static_cast<uint8_t>(date.tm_year);
        t.month = static_cast<uint8_t>(date.tm_mon + 1);
        t.day = static_cast<uint8_t>(date.tm_mday);
    }
};

void check(const ScratchDir& dir, const Step& s, const std::string& path, const RunResult& run,
           const std::map<std::string, std::string>& before) {
    const auto fail = [&](const std::string& what) { ADD_FAILURE_AT(path.c_str(), s.line) << what; };
    const auto compare = [&](const std::string& what, const std::optional<std::string>& seen) {
        if (!seen) std::printf("%s:%d: %s is not installed; passed over\n", path.c_str(), s.line, s.kind.c_str());
        else if (!s.bytes.matches(*seen)) fail(what + " is:\n" + render(*seen) + "expected:\n" + s.bytes.source);
    };
    const std::string file = dir.file(s.name);
    struct stat st {};
    if (s.kind == "file" && !dir.exists(s.name)) fail(s.name + " is missing");
    else if (s.kind == "file") compare(s.name, dir.read(s.name));
    else if (s.kind == "dbfread") compare("dbfread's view of " + s.name, dbfread_view(file));
    else if (s.kind == "sqlite") compare("sqlite3's rows", sqlite_rows(file, s.arg));
    else if (s.kind == "browser") compare("the browser's view of " + s.name, browser_view(file));
    else if (s.kind == "no" && dir.exists(s.name)) fail(s.name + " exists");
    else if (s.kind == "same" && before.at(s.name) != (dir.exists(s.name) ? dir.read(s.name) : "<none>"))
        fail(s.name + " changed");
    else if (s.kind == "mode" && (stat(file.c_str(), &st) != 0 || (st.st_mode & 0777) != std::stoul(s.arg, nullptr, 8)))
        fail("the mode of " + s.name + " is not " + s.arg);
    else if (s.kind == "memory" && run.max_rss_kb > ScratchDir().run({"/VERSION"}).max_rss_kb + std::stol(s.arg) * 1024)
        fail("peak memory " + std::to_string(run.max_rss_kb) + " kB");
}

void run_case(const Case& c, const std::string& path) {
    ScratchDir dir;
    for (const Step& s : c.setup) {
        const std::string file = dir.file(s.name);
        if (s.kind == "file") fs::create_directories(fs::path(file).parent_path()), dir.write(s.name, s.bytes.text());
        else if (s.kind == "chmod") chmod(file.c_str(), static_cast<mode_t>(std::stoul(s.arg, nullptr, 8)));
    }
    for (const Command& command : c.commands) {
        if (command.nobody && !can_run_as_nobody()) return;
        testing::ScopedTrace trace(path.c_str(), command.line, "in this command");
        std::map<std::string, std::string> before;
        for (const Step& s : command.checks)
            if (s.kind == "same") before[s.name] = dir.exists(s.name) ? dir.read(s.name) : "<none>";
        const RunResult run = dir.run(command.args, command.nobody);
        if (run.status != command.status || !command.out.matches(run.out))
            ADD_FAILURE_AT(path.c_str(), command.line) << "exit status " << run.status << " (expected " << command.status
                                                       << "), output:\n" << render(run.out) << "expected:\n"
                                                       << command.out.source;
        for (const Step& s : command.checks) check(dir, s, path, run, before);
    }
}

// One test per case, named by its transcript and the line of its first command. A
// transcript that can't be read becomes one failing test.
struct Where {
    std::string path;
    size_t index;
    int line;
};

void PrintTo(const Where& where, std::ostream* out) { *out << where.path << ":" << where.line; }

std::vector<Case> read_cases(const std::string& path) {
    return Reader(std::string(TRUG_SOURCE_DIR) + "/" + path, path).cases();
}

std::vector<Where> all_cases() {
    std::vector<std::string> paths = {"README.md"};
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(TRUG_SOURCE_DIR) / "tests"))
        if (entry.path().extension() == ".t") paths.push_back(fs::relative(entry.path(), TRUG_SOURCE_DIR).string());
    std::sort(paths.begin(), paths.end());
    std::vector<Where> found;
    for (const std::string& path : paths) {
        try {
            const std::vector<Case> cases = read_cases(path);
            for (size_t i = 0; i < cases.size(); ++i) found.push_back({path, i, cases[i].commands[0].line});
        } catch (const std::exception&) {
            found.push_back({path, SIZE_MAX, 0});
        }
    }
    return found;
}

class Transcript : public testing::TestWithParam<Where> {};

TEST_P(Transcript, Case) {
    const Where& where = GetParam();
    std::vector<Case> cases;
    try {
        cases = read_cases(where.path);
    } catch (const std::exception& e) {
        FAIL() << e.what();
    }
    ASSERT_LT(where.index, cases.size()) << where.path << " changed while the tests ran";
    const mode_t mask = umask(002);
    run_case(cases[where.index], where.path);
    umask(mask);
}

INSTANTIATE_TEST_SUITE_P(Files, Transcript, testing::ValuesIn(all_cases()), [](const auto& info) {
    const std::string& path = info.param.path;
    const size_t from = path.starts_with("tests/") ? 6 : 0;
    std::string name = path.substr(from, path.rfind('.') - from) + "_" + std::to_string(info.param.line);
    std::replace_if(name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
});

}  // namespace
