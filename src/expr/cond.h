// expr/cond.h
//
// Conditions of /FILTER:, judged against the record in the table's record buffer
// by rewriting text: each clause between '&' and '|' gets the record's values in
// place of field names, is cut at its operator and compared as numbers (through
// the calculator) or as text, and shrinks to "0" or "1". The clauses, with '&' as
// '*', '|' as '+' and their parentheses, then form a sum for the calculator.
#pragma once

#include <cstdint>

#include "table/dbf.h"

// Work area of a filter build, owned by the table while the build runs.
struct CondScratch {
    char bool_text[1024];
    char clause[1024];
    int32_t separators[1024];
    int32_t bool_length;
    char left[1024];
    char right[1024];
};

// The condition every record meets: only the deletion test counts.
inline const char* const COND_NONE = reinterpret_cast<const char*>(~uintptr_t{0});

// 1 or 0 for the record in `record`; filter_scratch must exist.
int cond_evaluate(DbfTable& table, const char* condition);
// Fills the separators; the number of clauses, or 0 if the parentheses don't balance.
int cond_split(DbfTable& table, const char* condition);
void cond_rewrite_clause(DbfTable& table, char separator);
// '0' or '1' for one comparison.
char cond_evaluate_simple(DbfTable& table, const char* text);
void cond_strip_parens(char* text);
// Copies `text` to `out` (of `out_size` bytes) with quotes dropped and field names
// replaced by values; the position in `out` of the first unquoted operator, or -1,
// or COND_TOO_LONG if the result was cut to fit `out`.
inline constexpr int COND_TOO_LONG = -2;
int cond_substitute_fields(DbfTable& table, const char* text, char* out, size_t out_size, int32_t* numeric);
// Expands TRIM( LTRIM( RTRIM( SUBSTR( LEFT( RIGHT( DTOS( SPACE( REPLICATE( in place.
char* cond_expand_functions(char* text, const DbfTable& table);
