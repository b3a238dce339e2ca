// tests/support/clients.h
//
// Independent programs that read what trugtool writes: Debian's python3-dbfread for
// tables, sqlite3 for SQL scripts, a headless Chromium for HTML pages. Each function
// returns what its client saw, as text, or nothing when the client is not installed.
// Helper files go beside the file read, in the test's own directory.
#pragma once

#include <optional>
#include <string>

// dbfread's view of the table at `path`: a line "fields NAME:TYPE:LENGTH:DECIMALS ...",
// then "live v|v|..." per live record and "deleted v|v|..." per deleted one.
std::optional<std::string> dbfread_view(const std::string& path);

// The rows sqlite3 prints for `query` after it ran the script at `path` in a fresh
// database, double-quoted values taken as string literals.
std::optional<std::string> sqlite_rows(const std::string& path, const std::string& query);

// What a headless Chromium builds of the page at `path`: "tables=N", then per row of
// the first table its cell count and cell texts, then "link=href|text" per link.
std::optional<std::string> browser_view(const std::string& path);
