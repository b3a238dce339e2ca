// text/sql.cpp
#include "text/sql.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace {

// Upper case, sorted: every keyword SQLite knows, and PostgreSQL's reserved words.
constexpr std::string_view kKeywords[] = {
    "ABORT", "ACTION", "ADD", "AFTER", "ALL", "ALTER", "ALWAYS", "ANALYSE", "ANALYZE", "AND", "ANY", "ARRAY",
    "AS", "ASC", "ASYMMETRIC", "ATTACH", "AUTOINCREMENT", "BEFORE", "BEGIN", "BETWEEN", "BOTH", "BY", "CASCADE",
    "CASE", "CAST", "CHECK", "COLLATE", "COLUMN", "COMMIT", "CONFLICT", "CONSTRAINT", "CREATE", "CROSS",
    "CURRENT", "CURRENT_CATALOG", "CURRENT_DATE", "CURRENT_ROLE", "CURRENT_TIME", "CURRENT_TIMESTAMP",
    "CURRENT_USER", "DATABASE", "DEFAULT", "DEFERRABLE", "DEFERRED", "DELETE", "DESC", "DETACH", "DISTINCT",
    "DO", "DROP", "EACH", "ELSE", "END", "ESCAPE", "EXCEPT", "EXCLUDE", "EXCLUSIVE", "EXISTS", "EXPLAIN", "FAIL",
    "FALSE", "FETCH", "FILTER", "FIRST", "FOLLOWING", "FOR", "FOREIGN", "FROM", "FULL", "GENERATED", "GLOB",
    "GRANT", "GROUP", "GROUPS", "HAVING", "IF", "IGNORE", "IMMEDIATE", "IN", "INDEX", "INDEXED", "INITIALLY",
    "INNER", "INSERT", "INSTEAD", "INTERSECT", "INTO", "IS", "ISNULL", "JOIN", "KEY", "LAST", "LATERAL",
    "LEADING", "LEFT", "LIKE", "LIMIT", "LOCALTIME", "LOCALTIMESTAMP", "MATCH", "MATERIALIZED", "NATURAL", "NO",
    "NOT", "NOTHING", "NOTNULL", "NULL", "NULLS", "OF", "OFFSET", "ON", "ONLY", "OR", "ORDER", "OTHERS", "OUTER",
    "OVER", "PARTITION", "PLACING", "PLAN", "PRAGMA", "PRECEDING", "PRIMARY", "QUERY", "RAISE", "RANGE",
    "RECURSIVE", "REFERENCES", "REGEXP", "REINDEX", "RELEASE", "RENAME", "REPLACE", "RESTRICT", "RETURNING",
    "RIGHT", "ROLLBACK", "ROW", "ROWS", "SAVEPOINT", "SELECT", "SESSION_USER", "SET", "SOME", "SYMMETRIC",
    "TABLE", "TEMP", "TEMPORARY", "THEN", "TIES", "TO", "TRAILING", "TRANSACTION", "TRIGGER", "TRUE",
    "UNBOUNDED", "UNION", "UNIQUE", "UPDATE", "USER", "USING", "VACUUM", "VALUES", "VARIADIC", "VIEW", "VIRTUAL",
    "WHEN", "WHERE", "WINDOW", "WITH", "WITHOUT",
};

// Letters, digits and '_', not starting with a digit. Bytes above 127 count as
// letters: SQLite and PostgreSQL take the letters of other scripts in names.
bool is_plain_identifier(std::string_view name) {
    auto letter = [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || static_cast<unsigned char>(c) >= 0x80;
    };
    if (name.empty() || !letter(name[0])) return false;
    return std::all_of(name.begin(), name.end(), [&](char c) { return letter(c) || (c >= '0' && c <= '9'); });
}

}  // namespace

std::string sql_quoted(std::string_view text, char quote) {
    std::string out;
    out.reserve(text.size() + 2);
    out.push_back(quote);
    for (char c : text) {
        if (c == quote) out.push_back(quote);
        out.push_back(c);
    }
    out.push_back(quote);
    return out;
}

bool sql_is_keyword(std::string_view word) {
    std::string upper(word);
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return std::binary_search(std::begin(kKeywords), std::end(kKeywords), std::string_view(upper));
}

std::string sql_name(std::string_view name) {
    if (is_plain_identifier(name) && !sql_is_keyword(name)) return std::string(name);
    return sql_quoted(name, '"');
}
