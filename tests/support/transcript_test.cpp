// tests/support/transcript_test.cpp
//
// Runs every transcript (*.t) under tests/: the real program, in a fresh directory
// per case, with TZ=UTC and a umask of 002; its standard error must stay empty.
//
// A transcript is made of paragraphs separated by blank lines; lines whose first
// non-blank character is '#' are comments. A paragraph with a command line is a case;
// one without sets up files for every case below it (a file of the same name set up
// again replaces it). In a case, the lines before the first command set up files for
// that case alone, and its commands run one after another in the same directory:
//
//   $ t.dbf /OUT:x.txt /S:*      runs ./trugtool with these arguments ("nobody$" runs it
//                                as an unprivileged user, to whom root's files are read-only);
//                                "~/" in an argument is the case's directory, which its
//                                output shows as "~" 
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
//   copy FROM NAME                 a file set up above, under another name
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
#include <sstream>
#include <stdexcept>
#include <tuple>
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

// The unescaped pieces between the `separator`s that no backslash escapes and, with
// `quotes`, no single quotes enclose; split at blanks, there are no empty pieces.
std::vector<std::string> split(std::string_view text, char separator, bool quotes = false) {
    std::vector<std::string> pieces;
    std::string piece;
    bool quoted = false, seen = false;
    for (size_t i = 0; i <= text.size(); ++i) {
        if (i == text.size() || (text[i] == separator && !quoted)) {
            if (separator != ' ' || seen) pieces.push_back(unescape(piece));
            piece.clear(), seen = false;
            continue;
        }
        seen = true;
        if (quotes && text[i] == '\'') quoted = !quoted;
        else if (text[i] == '\\' && i + 1 < text.size()) piece += text.substr(i++, 2);
        else piece += text[i];
    }
    return pieces;
}

// Bytes as a transcript writes them, for failure messages that can be pasted back.
std::string render(std::string_view bytes) {
    std::string out;
    for (size_t start = 0; start < bytes.size(); start = std::min(bytes.find('\n', start), bytes.size()) + 1) {
        const std::string_view line = bytes.substr(start, bytes.find('\n', start) - start);
        std::string escaped;
        for (const char c : line) {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned char>(c));
            escaped += c == '\\' ? "\\\\" : (c >= 0x20 && c < 0x7F) || c == '\t' ? std::string(1, c) : std::string(hex);
        }
        out += line.empty() ? ">" : "> " + escaped + (escaped == line ? "" : " (esc)");
        out += start + line.size() == bytes.size() ? " (no-eol)\n" : "\n";
    }
    return out.empty() ? "(nothing)\n" : out;
}

// Expected bytes: literal pieces, with any bytes at all between them where "..." stood.
struct Pattern {
    std::vector<std::string> pieces{""};
    std::string source;  // the lines as written

    bool matches(std::string_view s, size_t k = 0) const {
        if (s.substr(0, pieces[k].size()) != pieces[k]) return false;
        if (k + 1 == pieces.size()) return s.size() == pieces[k].size();
        for (size_t n = pieces[k].size(); n <= s.size(); ++n)
            if (matches(s.substr(n), k + 1)) return true;
        return false;
    }
};

// A line of a case: a run ("$" or "nobody$", its arguments in `words`), or a file set
// up or checked, or one of the other kinds of the list above; `words` is the line's.
struct Step {
    int line;
    std::string kind;
    std::vector<std::string> words;
    Pattern bytes{};  // a file's, or the run's output
    int status = 0;
    bool nobody = false;
    std::string arg{};  // the query of sqlite
    const std::string& name() const { return words.at(kind == "chmod" || kind == "mode" ? 2 : 1); }
};

struct Case {
    std::string path;
    int line = 0;  // of its first run
    std::vector<Step> steps;
    std::string error{};  // why the transcript could not be read
};

struct Reader {
    std::string path_;
    std::vector<std::string> lines_;
    size_t at_ = 0;

    explicit Reader(std::string path) : path_(std::move(path)) {
        std::ifstream in(std::string(TRUG_SOURCE_DIR) + "/" + path_);
        for (std::string line; std::getline(in, line);) lines_.push_back(line);
        lines_.emplace_back();
    }

    // The cases, each after the steps of the paragraphs without runs above it.
    std::vector<Case> cases() {
        std::vector<Case> out;
        for (std::vector<Step> shared; at_ < lines_.size(); ++at_) {
            std::vector<Step> steps = shared;
            size_t first_run = std::string::npos;
            for (; !trimmed().empty(); ++at_) {
                if (trimmed()[0] == '#') continue;
                if (run_line() && first_run == std::string::npos) first_run = steps.size();
                for (Step& s : step(first_run != std::string::npos, steps)) steps.push_back(std::move(s));
                --at_;
            }
            if (first_run == std::string::npos) shared = std::move(steps);
            else out.push_back({path_, steps[first_run].line, std::move(steps)});
        }
        return out;
    }

    [[noreturn]] void fail(const std::string& what) const {
        throw std::runtime_error(path_ + ":" + std::to_string(at_ + 1) + ": " + what);
    }
    std::string_view line() const { return lines_[at_]; }
    std::string_view trimmed() const { return line().substr(std::min(line().find_first_not_of(' '), line().size())); }
    bool run_line() const { return line() == "$" || line().starts_with("$ ") || line().starts_with("nobody$ "); }

    // The output lines from here on.
    Pattern block() {
        Pattern p;
        for (; line().starts_with(">") || line() == "..."; ++at_) {
            p.source += std::string(line()) + "\n";
            std::string_view text = line().substr(line().starts_with("> ") ? 2 : 1);
            const auto suffix = [&](std::string_view mark) { return text.ends_with(mark) && (text.remove_suffix(mark.size()), true); };
            const bool eol = !suffix(" (no-eol)");
            if (line() == "...") p.pieces.emplace_back();
            else p.pieces.back() += (suffix(" (esc)") ? unescape(text) : std::string(text)) + (eol ? "\n" : "");
        }
        return p;
    }

    static Step file(int line, const std::string& name, const std::string& bytes) {
        Step s{line, "file", {"file", name}};
        s.bytes.pieces[0] = bytes;
        return s;
    }

    // The steps of the line here and of the lines that belong to it; `so_far` are the
    // case's steps above it.
    std::vector<Step> step(bool check, const std::vector<Step>& so_far) {
        const std::string raw(line());
        const size_t colon = raw.starts_with("table ") ? std::min(raw.find(':'), raw.size()) : raw.size();
        const bool run = run_line();
        Step s{static_cast<int>(++at_), run ? "$" : "", split(run ? raw.substr(raw.find('$') + 1) : raw.substr(0, colon), ' ', true)};
        if (!run) s.kind = s.words.at(0);
        if (s.kind == "table") return table(s.words, raw.substr(std::min(colon + 1, raw.size())));
        const std::string kinds = check ? " $ file copy no same mode dbfread sqlite browser memory " : " file copy chmod ";
        if (kinds.find(" " + s.kind + " ") == std::string::npos || (!run && s.words.size() < 2)) {
            --at_;
            fail(std::string("not a ") + (check ? "check" : "setup") + " line");
        }
        s.nobody = raw[0] == 'n';
        if (s.kind == "copy") {
            const Step* from = nullptr;  // as the case began
            for (auto it = so_far.begin(); it != so_far.end() && it->kind != "$"; ++it)
                if (it->kind == "file" && it->name() == s.words[1]) from = &*it;
            if (from == nullptr) fail("nothing to copy by the name " + s.words[1]);
            return {file(s.line, s.words.at(2), from->bytes.pieces[0])};
        }
        if (s.kind == "sqlite") s.arg = raw.substr(std::min(raw.size(), raw.find(' ', 7) + 1));
        if (run || s.kind == "file" || s.kind == "dbfread" || s.kind == "sqlite" || s.kind == "browser") s.bytes = block();
        if (run && line().starts_with("[")) s.status = std::stoi(std::string(line().substr(1))), ++at_;
        return {s};
    }

    // A table and its memo file, from the `table` line and the lines below it.
    std::vector<Step> table(const std::vector<std::string>& head, std::string_view fields) {
        const int first = static_cast<int>(at_);
        TableImage t;
        for (size_t i = 2; i < head.size(); ++i) {
            const size_t eq = std::min(head[i].find('='), head[i].size());
            const std::string key = head[i].substr(0, eq), value = head[i].substr(std::min(eq + 1, head[i].size()));
            const auto n = std::strtoul(value.c_str(), nullptr, key == "sig" || key == "flags" || key == "cp" ? 16 : 10);
            std::tm now{};
            const std::time_t clock = std::time(nullptr);
            gmtime_r(&clock, &now);
            int y = now.tm_year + 1900, m = now.tm_mon + 1, d = now.tm_mday;
            if (key == "sig") t.signature = static_cast<uint8_t>(n);
            else if (key == "flags") t.table_flags = static_cast<uint8_t>(n);
            else if (key == "cp") t.code_page_mark = static_cast<uint8_t>(n);
            else if (key == "count") t.record_count = static_cast<uint32_t>(n);
            else if (key == "header") t.header_length = static_cast<uint16_t>(n);
            else if (key == "reclen") t.record_length = static_cast<uint16_t>(n);
            else if (key == "noeof") t.end_mark = false;
            else if (key == "date" && (value == "today" || std::sscanf(value.c_str(), "%d-%d-%d", &y, &m, &d) == 3))
                t.year = static_cast<uint8_t>(y - 1900), t.month = static_cast<uint8_t>(m), t.day = static_cast<uint8_t>(d);
            else fail("unknown table attribute " + head[i]);
        }
        for (const std::string& field : split(fields, ',')) {
            std::istringstream in(field);
            std::string name, type, length;
            if (!(in >> name)) continue;
            if (!(in >> type >> length)) fail("a field is NAME TYPE LENGTH[.DECIMALS]");
            const size_t dot = length.find('.');
            t.fields.push_back({name, type[0], std::stoi(length), dot == std::string::npos ? 0 : std::stoi(length.substr(dot + 1))});
        }
        std::optional<MemoImage> memo;
        std::string memo_name, bytes;
        for (; line().starts_with("  "); ++at_) {
            const std::string_view text = trimmed();
            const std::string keyword(text.substr(0, text.find(' ')));
            const std::string_view rest = text.substr(std::min(text.size(), keyword.size() + 1));
            if (keyword == "row" || keyword == "del") {
                std::vector<std::string> values = split(rest, '|');
                for (size_t i = 0; i < values.size() && i < t.fields.size(); ++i) {
                    std::string& v = values[i];
                    if (t.fields[i].type != 'M' || v.size() < 2 || v.front() != '{' || v.back() != '}') continue;
                    if (!memo) fail("a memo text needs a memo line first");
                    const int32_t block = memo->add(v.substr(1, v.size() - 2));
                    v = t.fields[i].length == 4 ? le32(block) : std::to_string(block);
                }
                t.add(values, keyword == "del");
            } else if (keyword == "memo") {
                const std::vector<std::string> m = split(rest, ' ');
                memo.emplace(m[0] == "fpt" ? MemoImage::FoxPro : m[0] == "dbt4" ? MemoImage::Dbase4 : MemoImage::Dbase3,
                             m.size() > 1 ? std::stoi(m[1]) : 512);
                memo_name = head[1].substr(0, head[1].rfind('.')) + (m[0] == "fpt" ? ".fpt" : ".dbt");
            } else if (keyword == "text" && memo) {
                memo->add(unescape(rest));
            } else if (keyword == "patch") {
                const std::vector<std::string> p = split(rest, ' ');
                if (bytes.empty()) bytes = t.bytes();
                bytes.replace(std::stoul(p[0]), p[1].size(), p[1]);
            } else {
                fail("not a line of a table");
            }
        }
        std::vector<Step> files{file(first, head[1], bytes.empty() ? t.bytes() : bytes)};
        if (memo) files.push_back(file(first, memo_name, memo->bytes()));
        return files;
    }
};

// "~/" in an argument is the directory and its slash; the directory's path in the
// output, with or without its leading slash, is "~".
std::string placed(std::string text, const ScratchDir& dir, bool to_path) {
    for (const std::string& from : to_path ? std::vector<std::string>{"~/"} : std::vector{dir.path(), dir.path().substr(1)})
        for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at))
            text.replace(at, from.size(), to_path ? dir.path() + "/" : "~");
    return text;
}

void run_case(const Case& c) {
    ScratchDir dir;
    RunResult run;
    bool ran = false;
    std::map<std::string, std::string> before;  // the files "same" names, as the run found them
    const auto contents = [&](const std::string& name) { return dir.exists(name) ? dir.read(name) : "<none>"; };
    for (size_t i = 0; i < c.steps.size(); ++i) {
        const Step& s = c.steps[i];
        const auto fail = [&](const std::string& what) { ADD_FAILURE_AT(c.path.c_str(), s.line) << what; };
        const auto compare = [&](const std::string& what, const std::optional<std::string>& seen) {
            if (!seen) std::printf("%s:%d: %s is not installed; passed over\n", c.path.c_str(), s.line, s.kind.c_str());
            else if (!s.bytes.matches(*seen)) fail(what + " is:\n" + render(*seen) + "expected:\n" + s.bytes.source);
        };
        const std::string file = s.kind == "$" ? "" : dir.file(s.name());
        struct stat st {};
        if (s.kind == "$") {
            if (s.nobody && !can_run_as_nobody()) return;
            for (size_t j = i + 1; j < c.steps.size() && c.steps[j].kind != "$"; ++j)
                for (size_t k = 1; c.steps[j].kind == "same" && k < c.steps[j].words.size(); ++k)
                    before[c.steps[j].words[k]] = contents(c.steps[j].words[k]);
            std::vector<std::string> args;
            for (const std::string& arg : s.words) args.push_back(placed(arg, dir, true));
            testing::ScopedTrace trace(c.path.c_str(), s.line, "in this command");
            run = dir.run(args, s.nobody);
            ran = true;
            const std::string out = placed(run.out, dir, false);
            if (run.status != s.status || !s.bytes.matches(out))
                fail("exit status " + std::to_string(run.status) + " (expected " + std::to_string(s.status) +
                     "), output:\n" + render(out) + "expected:\n" + s.bytes.source);
        } else if (!ran && s.kind == "file") {
            fs::create_directories(fs::path(file).parent_path());
            dir.write(s.name(), s.bytes.pieces[0]);
        } else if (s.kind == "chmod") {
            chmod(file.c_str(), static_cast<mode_t>(std::stoul(s.words[1], nullptr, 8)));
        } else if (s.kind == "file") {
            if (dir.exists(s.name())) compare(s.name(), dir.read(s.name()));
            else fail(s.name() + " is missing");
        } else if (s.kind == "dbfread" || s.kind == "sqlite" || s.kind == "browser") {
            compare(s.kind + "'s view of " + s.name(), s.kind == "dbfread" ? dbfread_view(file)
                                                        : s.kind == "sqlite" ? sqlite_rows(file, s.arg) : browser_view(file));
        } else if (s.kind == "mode" && (stat(file.c_str(), &st) != 0 || (st.st_mode & 0777) != std::stoul(s.words[1], nullptr, 8))) {
            fail("the mode of " + s.name() + " is not " + s.words[1]);
        } else if (s.kind == "memory" && run.max_rss_kb > ScratchDir().run({"/VERSION"}).max_rss_kb + std::stol(s.words[1]) * 1024) {
            fail("peak memory " + std::to_string(run.max_rss_kb) + " kB");
        }
        for (size_t k = 1; (s.kind == "no" || s.kind == "same") && k < s.words.size(); ++k)
            if (s.kind == "no" ? dir.exists(s.words[k]) : before.at(s.words[k]) != contents(s.words[k]))
                fail(s.words[k] + (s.kind == "no" ? " exists" : " changed"));
    }
}

void PrintTo(const Case& c, std::ostream* out) { *out << c.path << ":" << c.line; }

// One test per case, named by its transcript and the line of its first run. A
// transcript that can't be read becomes one failing test.
std::vector<Case> all_cases() {
    std::vector<Case> found;
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(TRUG_SOURCE_DIR) / "tests")) {
        if (entry.path().extension() != ".t") continue;
        const std::string path = fs::relative(entry.path(), TRUG_SOURCE_DIR).string();
        try {
            for (Case& c : Reader(path).cases()) found.push_back(std::move(c));
        } catch (const std::exception& e) {
            found.push_back({path, 0, {}, e.what()});
        }
    }
    std::sort(found.begin(), found.end(), [](const Case& a, const Case& b) { return std::tie(a.path, a.line) < std::tie(b.path, b.line); });
    return found;
}

class Transcript : public testing::TestWithParam<Case> {};

TEST_P(Transcript, Case) {
    ASSERT_EQ(GetParam().error, "");
    const mode_t mask = umask(002);
    run_case(GetParam());
    umask(mask);
}

INSTANTIATE_TEST_SUITE_P(Files, Transcript, testing::ValuesIn(all_cases()), [](const auto& info) {
    const std::string& path = info.param.path;
    std::string name = path.substr(6, path.rfind('.') - 6) + "_" + std::to_string(info.param.line);
    std::replace_if(name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
});

}  // namespace
