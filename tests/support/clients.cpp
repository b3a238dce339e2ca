// tests/support/clients.cpp
#include "support/clients.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "support/table_builder.h"

namespace {

// Standard output of a shell command; standard error joins it when `with_errors`.
std::string capture(const std::string& command, bool with_errors) {
    std::string out;
    FILE* pipe = popen((command + (with_errors ? " 2>&1" : " 2>/dev/null")).c_str(), "r");
    if (pipe == nullptr) return "popen failed";
    char buffer[4096];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, got);
    pclose(pipe);
    return out;
}

std::string beside(const std::string& path, const std::string& name) {
    return path.substr(0, path.rfind('/') + 1) + name;
}

// dbfread reads dBase IV memos with 512-byte blocks whatever the header says, and
// takes the block head's size for the text alone, so it reads 8 bytes too far, into
// the zero gap behind the text: trailing NULs go.
const char kDbfReader[] = R"(import sys
import dbfread
table = dbfread.DBF(sys.argv[1], encoding='cp866', char_decode_errors='strict')
print('fields ' + ' '.join('%s:%s:%d:%d' % (f.name, f.type, f.length, f.decimal_count) for f in table.fields))
def show(value):
    if isinstance(value, str):
        return repr(value.rstrip('\x00'))
    if hasattr(value, 'isoformat'):
        return value.isoformat()
    return repr(value)
for kind, records in (('live', table.records), ('deleted', table.deleted)):
    for record in records:
        print(kind + ' ' + '|'.join(show(v) for v in record.values()))
)";

// Behind the page: reports what the browser built, each line percent-encoded and
// the lines separated by blanks.
const char kBrowserReport[] = R"(<pre id="result"></pre>
<script>
var tables = document.getElementsByTagName('table');
var lines = ['tables=' + tables.length];
for (const row of tables[0].rows)
  lines.push(row.cells.length + ':' + Array.from(row.cells).map(c => c.textContent).join('|'));
for (const a of tables[0].getElementsByTagName('a'))
  lines.push('link=' + a.getAttribute('href') + '|' + a.textContent);
document.getElementById('result').textContent = lines.map(encodeURIComponent).join(' ');
</script></body></html>
)";

}  // namespace

std::optional<std::string> dbfread_view(const std::string& path) {
    if (std::system("/usr/bin/python3 -c 'import dbfread' >/dev/null 2>&1") != 0) return std::nullopt;
    const std::string script = beside(path, ".read_dbf.py");
    write_file(script, kDbfReader);
    return capture("/usr/bin/python3 " + script + " " + path, true);
}

std::optional<std::string> sqlite_rows(const std::string& path, const std::string& query) {
    if (access("/usr/bin/sqlite3", X_OK) != 0) return std::nullopt;
    const std::string script = beside(path, ".query.sql");
    write_file(script, ".output /dev/null\n.dbconfig dqs_dml on\n.output stdout\n" + read_file(path) + query + ";\n");
    return capture("/usr/bin/sqlite3 -batch -bail :memory: < " + script, true);
}

std::optional<std::string> browser_view(const std::string& path) {
    const char* chromium = "/usr/bin/chromium";
    if (access(chromium, X_OK) != 0) return std::nullopt;
    const std::string page = beside(path, ".report.htm");
    write_file(page, read_file(path) + kBrowserReport);
    const std::string dom = capture("timeout 120 " + std::string(chromium) +
                                        " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run"
                                        " --disable-background-networking --disable-component-update --disable-sync"
                                        " --user-data-dir=" + beside(path, ".profile") + " --dump-dom file://" + page,
                                    false);
    const std::string open = "<pre id=\"result\">";
    const size_t start = dom.find(open), end = dom.find("</pre>", start);
    if (start == std::string::npos || end == std::string::npos) return "the browser gave no page:\n" + dom;
    std::string view;
    const std::string report = dom.substr(start + open.size(), end - start - open.size());
    for (size_t i = 0; i < report.size(); ++i) {
        if (report[i] == '%' && i + 2 < report.size()) {
            view += static_cast<char>(std::stoi(report.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            view += report[i] == ' ' ? '\n' : report[i];
        }
    }
    return view + "\n";
}
