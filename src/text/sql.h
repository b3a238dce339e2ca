// text/sql.h
//
// Text made fit for SQL scripts: string literals and names in quotes, the quote
// character doubled inside them as standard SQL has it.
#pragma once

#include <string>
#include <string_view>

// The text between two `quote` characters, each `quote` inside it doubled.
std::string sql_quoted(std::string_view text, char quote);
// A field name as a column name: as it stands if it is a plain identifier (a letter
// or '_', then letters, digits and '_'; bytes above 127 are letters) and no
// keyword, else in double quotes.
std::string sql_name(std::string_view name);
// True for the keywords of SQLite and the words PostgreSQL reserves, in any case.
bool sql_is_keyword(std::string_view word);
