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

// Work area of the evaluation of a condition, owned by whoever judges a series of records.
struct CondScratch {
    char bool_text[1024];
    char clause[1024];
    int32_t separators[1024];
    int32_t bool_length;
    char left[1024];
    char right[1024];
    // The sums of boolean texts met so far: a condition of n clauses makes at most
    // 2^n of them, and the calculator gives the same sum for the same text.
    static constexpr size_t kKnownSums = 16;
    static constexpr size_t kKnownLength = 32;
    char known_text[kKnownSums][kKnownLength] = {};
    double known_sum[kKnownSums] = {};
    bool known_ok[kKnownSums] = {};
    size_t known_count = 0;
};

// The condition every record meets: only the deletion test counts.
inline const char* const COND_NONE = reinterpret_cast<const char*>(~uintptr_t{0});

// Whether the record in the table's record buffer meets the condition.
bool cond_evaluate(DbfTable& table, CondScratch& scratch, const char* condition);
// Fills the separators; the number of clauses, or 0 if the parentheses don't balance.
int cond_split(CondScratch& scratch, const char* condition);
// Judges scratch.clause and appends its result and separator to the boolean text.
void cond_rewrite_clause(DbfTable& table, CondScratch& scratch, char separator);
// '0' or '1' for one comparison.
char cond_evaluate_simple(DbfTable& table, CondScratch& scratch, const char* text);
// Takes surplus parentheses off the ends of an operand.
void cond_strip_parens(char* text);
// Copies `text` to `out` (of `out_size` bytes) with quotes dropped and field names
// replaced by values; the position in `out` of the first unquoted operator, or -1,
// or COND_TOO_LONG if the result was cut to fit `out`.
inline constexpr int COND_TOO_LONG = -2;
int cond_substitute_fields(DbfTable& table, const char* text, char* out, size_t out_size, int32_t* numeric);
// Expands TRIM( LTRIM( RTRIM( SUBSTR( LEFT( RIGHT( DTOS( SPACE( REPLICATE( in place.
char* cond_expand_functions(char* text, const DbfTable& table);
