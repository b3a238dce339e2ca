// expr/cond.cpp
//
// Conditions judged by rewriting text, anew for every record.
//
//   AGE>40|NAME="X"&PAY>9000
//
// is cut at every '&' and '|' into clauses. Each clause gets the record's values in
// place of its field names (" 42>40"), is cut at its first unquoted operator and
// compared, as numbers through the calculator if a numeric field took part, else as
// text. It leaves one byte, '0' or '1', in the boolean text, which keeps the
// parentheses that group clauses and turns '&' into '*' and '|' into '+':
//
//   1+0*0
//
// The calculator sums that up, so '&' binds tighter than '|' by the precedence of
// '*' over '+'. A condition that cannot be judged, for whatever reason, is false.
//
// Limits: a clause of 1023 characters, 1023 separators, a boolean text of 1023
// characters, and 255 characters for a clause once the values stand in it. Past
// any of them the clause or the condition is false; nothing is read or written
// outside its buffer.
#include "expr/cond.h"

#include <cmath>
#include <cstring>
#include <strings.h>

#include "expr/calc.h"
#include "text/codepage.h"

namespace {

constexpr size_t kClauseSize = sizeof(CondScratch::clause);
constexpr size_t kBoolSize = sizeof(CondScratch::bool_text);
constexpr size_t kSeparatorSlots = sizeof(CondScratch::separators) / sizeof(int32_t);
constexpr size_t kSimpleSize = 256;  // a clause with its values in place
constexpr size_t kNameSize = 11;     // a field name and its NUL

// Operator codes: the 8-bit sum of the operator's characters, except '==', whose
// sum 122 is taken by '<>' and '><'.
enum CondOperator : uint8_t {
    OP_EQUAL = 61,          // =
    OP_EXACT = 33,          // ==
    OP_LESS = 60,           // <
    OP_LESS_2 = 120,        // <<
    OP_GREATER = 62,        // >
    OP_GREATER_2 = 124,     // >>
    OP_LESS_EQUAL = 121,    // <= =<
    OP_GREATER_EQUAL = 123, // >= =>
    OP_NOT_EQUAL = 122,     // <> ><
    OP_CONTAINS = 126,      // ~
    OP_TILDE_LESS = 186,    // ~<
    OP_TILDE_GREATER = 188, // ~>
    OP_NEVER = 187,         // ~=
};

bool is_word_byte(unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool is_operator_byte(char c) { return c == '>' || c == '<' || c == '=' || c == '~'; }

int balance_of(const char* text, size_t length) {
    int balance = 0;
    for (size_t i = 0; i < length; ++i) {
        if (text[i] == '(') ++balance;
        else if (text[i] == ')') --balance;
    }
    return balance;
}

// The field whose name equals the first `length` bytes of `name` in any case, or -1.
// Descriptor names are bounded by their 11 bytes; nothing is allocated.
int find_field_word(const DbfTable& table, const char* name, size_t length) {
    const unsigned char first = static_cast<unsigned char>(name[0]);
    const unsigned char first_lower = first >= 'A' && first <= 'Z' ? first + 32 : first;
    for (int f = 0; f < table.field_count; ++f) {
        const char* field_name = table.fields[f].name;
        // strncasecmp folds ASCII letters alone (the program keeps the C locale):
        // a first byte that differs after that folding rules the field out.
        unsigned char c = static_cast<unsigned char>(field_name[0]);
        if ((c >= 'A' && c <= 'Z' ? c + 32 : c) != first_lower) continue;
        if (strnlen(field_name, sizeof(table.fields[f].name)) == length &&
            strncasecmp(field_name, name, length) == 0)
            return f;
    }
    return -1;
}

// Bytes written to the boolean text are counted even when they no longer fit, so
// that cond_evaluate can tell an overflow from a complete text.
void bool_append(CondScratch& scratch, char c) {
    if (scratch.bool_length >= 0 && static_cast<size_t>(scratch.bool_length) < kBoolSize)
        scratch.bool_text[scratch.bool_length] = c;
    if (scratch.bool_length < INT32_MAX) ++scratch.bool_length;
}

char text_compare(uint8_t code, const char* left, const char* right) {
    const size_t left_length = std::strlen(left);
    const size_t right_length = std::strlen(right);
    const size_t n = left_length < right_length ? left_length : right_length;
    const int r = std::memcmp(left, right, n);  // bytes as unsigned
    bool holds = false;
    switch (code) {
        case OP_EQUAL: holds = r == 0; break;
        case OP_EXACT: holds = left_length == right_length && r == 0; break;
        case OP_LESS: case OP_LESS_2: holds = r < 0; break;
        case OP_GREATER: case OP_GREATER_2: holds = r > 0; break;
        case OP_LESS_EQUAL: holds = r <= 0; break;
        case OP_GREATER_EQUAL: holds = r >= 0; break;
        case OP_NOT_EQUAL: holds = r != 0; break;
        case OP_CONTAINS: holds = std::strstr(left, right) != nullptr; break;
        // In numbers these are <= and >=; texts get the same ordering.
        case OP_TILDE_LESS: holds = r <= 0; break;
        case OP_TILDE_GREATER: holds = r >= 0; break;
        default: holds = false; break;  // ~= never holds
    }
    return holds ? '1' : '0';
}

// Exact comparison; with a NaN on either side only "not equal" holds, which is
// what the built-in comparisons give.
char number_compare(uint8_t code, double left, double right) {
    bool holds = false;
    switch (code) {
        case OP_EQUAL: case OP_EXACT: case OP_CONTAINS: holds = left == right; break;
        case OP_LESS: case OP_LESS_2: holds = left < right; break;
        case OP_GREATER: case OP_GREATER_2: holds = left > right; break;
        case OP_LESS_EQUAL: case OP_TILDE_LESS: holds = left <= right; break;
        case OP_GREATER_EQUAL: case OP_TILDE_GREATER: holds = left >= right; break;
        case OP_NOT_EQUAL: holds = left != right; break;
        default: holds = false; break;
    }
    return holds ? '1' : '0';
}

// The calculator's sum of the boolean text, from the texts already summed when it
// is one of them.
double bool_sum(CondScratch& scratch, int32_t& ok) {
    const char* text = scratch.bool_text;
    const size_t length = strnlen(text, kBoolSize);
    const bool short_text = length < CondScratch::kKnownLength;
    if (short_text) {
        for (size_t i = 0; i < scratch.known_count; ++i) {
            if (std::strcmp(scratch.known_text[i], text) != 0) continue;
            if (!scratch.known_ok[i]) ok = 0;
            return scratch.known_sum[i];
        }
    }
    int32_t summed = 1;
    const double sum = calc_evaluate(text, &summed);
    if (short_text) {
        const size_t slot = scratch.known_count < CondScratch::kKnownSums ? scratch.known_count++
                                                                           : length % CondScratch::kKnownSums;
        std::memcpy(scratch.known_text[slot], text, length + 1);
        scratch.known_sum[slot] = sum;
        scratch.known_ok[slot] = summed != 0;
    }
    if (!summed) ok = 0;
    return sum;
}

}  // namespace

bool cond_evaluate(DbfTable& table, CondScratch& scratch, const char* condition) {
    if (table.settings.hide_deleted && !table.record.empty() && table.record[0] == '*') return false;
    if (condition == COND_NONE) return true;
    if (condition == nullptr) return false;

    scratch.bool_length = 0;
    const int clauses = cond_split(scratch, condition);
    if (clauses == 0) return false;
    if (clauses == 1) return cond_evaluate_simple(table, scratch, condition) != '0';

    int32_t p = 0;
    for (int i = 0; i < clauses; ++i) {
        const int32_t end = scratch.separators[i];
        const size_t length = static_cast<size_t>(end - p);
        if (length >= kClauseSize) return false;
        std::memcpy(scratch.clause, condition + p, length);
        scratch.clause[length] = '\0';
        p = end + 1;
        cond_rewrite_clause(table, scratch, condition[end]);
    }
    // The last clause ended at the NUL, which closed the boolean text, if it fit.
    if (static_cast<size_t>(scratch.bool_length) > kBoolSize) return false;

    int32_t ok = 1;
    const double sum = bool_sum(scratch, ok);
    // Truncated toward zero to 64 bits; out of that range (or NaN) the low word is 0.
    if (!(sum > -9.2e18 && sum < 9.2e18)) return false;
    const int64_t whole = static_cast<int64_t>(sum);
    return static_cast<uint32_t>(static_cast<uint64_t>(whole)) != 0;
}

int cond_split(CondScratch& scratch, const char* condition) {
    if (condition == nullptr) return 0;
    int64_t balance = 0;
    size_t count = 0;
    size_t i = 0;
    for (; condition[i] != '\0'; ++i) {
        const char c = condition[i];
        if (c == '(') {
            ++balance;
        } else if (c == ')') {
            --balance;
        } else if (c == '&' || c == '|') {
            if (count + 1 >= kSeparatorSlots) return 0;  // no slot left for the length
            if (i > INT32_MAX) return 0;
            scratch.separators[count++] = static_cast<int32_t>(i);
        }
    }
    if (balance != 0 || i > INT32_MAX) return 0;
    scratch.separators[count] = static_cast<int32_t>(i);
    return static_cast<int>(count + 1);
}

void cond_rewrite_clause(DbfTable& table, CondScratch& scratch, char separator) {
    char* clause = scratch.clause;
    clause[kClauseSize - 1] = '\0';
    const size_t n = std::strlen(clause);
    const int balance = balance_of(clause, n);

    if (balance == 0) {
        bool_append(scratch, cond_evaluate_simple(table, scratch, clause));
    } else if (balance > 0) {
        // The last unmatched '(': what stands up to it groups clauses and goes over
        // as it is; the comparison lies behind it.
        int depth = 0;
        size_t mark = n;  // none
        for (size_t i = n; i-- > 0;) {
            if (depth == 0) mark = n;
            if (clause[i] == ')') {
                --depth;
            } else if (clause[i] == '(') {
                ++depth;
                if (mark == n) mark = i;
            }
        }
        if (mark == n) {
            bool_append(scratch, cond_evaluate_simple(table, scratch, clause));
        } else {
            for (size_t i = 0; i <= mark; ++i) bool_append(scratch, clause[i]);
            bool_append(scratch, cond_evaluate_simple(table, scratch, clause + mark + 1));
        }
    } else {
        // The first unmatched ')': the comparison stands in front of it, and the
        // rest of the clause goes over behind the result.
        int depth = 0;
        size_t mark = n;  // none
        for (size_t i = 0; i < n; ++i) {
            if (depth == 0) mark = n;
            if (clause[i] == '(') {
                ++depth;
            } else if (clause[i] == ')') {
                --depth;
                if (mark == n) mark = i;
            }
        }
        if (mark == n) {
            bool_append(scratch, cond_evaluate_simple(table, scratch, clause));
        } else {
            char front[kClauseSize];
            std::memcpy(front, clause, mark);
            front[mark] = '\0';
            bool_append(scratch, cond_evaluate_simple(table, scratch, front));
            for (size_t i = mark; i < n; ++i) bool_append(scratch, clause[i]);
        }
    }

    switch (separator) {
        case '&': bool_append(scratch, '*'); break;
        case '|': bool_append(scratch, '+'); break;
        default: bool_append(scratch, separator); break;
    }
}

char cond_evaluate_simple(DbfTable& table, CondScratch& scratch, const char* text) {
    if (text == nullptr) return '0';
    int32_t left_ok = 1;
    int32_t right_ok = 1;
    int32_t numeric = 0;
    char substituted[kSimpleSize];
    const int q = cond_substitute_fields(table, text, substituted, sizeof substituted, &numeric);
    // Without an operator there is nothing to judge, and a text that outgrew its
    // buffer would be judged on a piece of itself: both are false.
    if (q < 0) return '0';

    const size_t position = static_cast<size_t>(q);
    std::memcpy(scratch.left, substituted, position);
    scratch.left[position] = '\0';

    const char c1 = substituted[position];
    const char c2 = substituted[position + 1];  // at worst the NUL behind c1
    uint8_t code = 0;
    const char* behind = nullptr;
    if (c2 == '>' || c2 == '<' || c2 == '=') {
        code = (c1 == '=' && c2 == '=') ? static_cast<uint8_t>(OP_EXACT)
                                        : static_cast<uint8_t>(static_cast<uint8_t>(c1) + static_cast<uint8_t>(c2));
        behind = substituted + position + 2;
    } else {
        code = static_cast<uint8_t>(c1);
        behind = substituted + position + 1;
    }
    std::strcpy(scratch.right, behind);  // under 256 bytes into 1024

    cond_strip_parens(scratch.left);
    cond_strip_parens(scratch.right);

    if (numeric) {
        const double left = calc_evaluate(scratch.left, &left_ok);
        const double right = calc_evaluate(scratch.right, &right_ok);
        if (!left_ok || !right_ok) return '0';
        return number_compare(code, left, right);
    }
    fold_value(scratch.left, table);
    fold_value(scratch.right, table);
    cond_expand_functions(scratch.left, table);
    cond_expand_functions(scratch.right, table);
    return text_compare(code, scratch.left, scratch.right);
}

void cond_strip_parens(char* text) {
    if (text == nullptr || *text == '\0') return;
    if (std::strpbrk(text, "()") == nullptr) return;  // nothing to strip
    size_t length = std::strlen(text);
    int64_t balance = 0;
    for (size_t i = 0; i < length; ++i) {
        if (text[i] == '(') ++balance;
        else if (text[i] == ')') --balance;
    }
    // A surplus parenthesis that is not at an end stays: the operand is compared
    // as it then stands.
    size_t start = 0;
    while (balance > 0 && start < length && text[start] == '(') {
        ++start;
        --balance;
    }
    while (balance < 0 && length > start && text[length - 1] == ')') {
        --length;
        ++balance;
    }
    std::memmove(text, text + start, length - start);
    text[length - start] = '\0';
}

int cond_substitute_fields(DbfTable& table, const char* text, char* out, size_t out_size, int32_t* numeric) {
    int32_t seen_numeric = 0;
    if (numeric != nullptr) *numeric = 0;
    if (out == nullptr || out_size == 0) return COND_TOO_LONG;
    out[0] = '\0';
    if (text == nullptr) return -1;

    size_t o = 0;
    bool overflow = false;
    auto put = [&](char c) {
        if (o + 1 < out_size) out[o++] = c;
        else overflow = true;
    };

    char quote = 0;
    bool in_word = false;
    int operator_at = -1;
    for (size_t i = 0; text[i] != '\0'; ++i) {
        const char c = text[i];
        if (quote != 0) {
            if (c == quote) quote = 0;
            else put(c);
            continue;
        }
        if (c == '"' || c == '\'') {
            quote = c;
            continue;
        }
        if (is_operator_byte(c) && operator_at == -1 && !overflow) operator_at = static_cast<int>(o);
        if (!is_word_byte(static_cast<unsigned char>(c))) {
            in_word = false;
            put(c);
            continue;
        }
        if (in_word) {
            put(c);
            continue;
        }

        // A word starts here; its first ten characters may name a field.
        char name[kNameSize];
        size_t name_length = 0;
        while (name_length < kNameSize - 1 && is_word_byte(static_cast<unsigned char>(text[i + name_length]))) {
            name[name_length] = text[i + name_length];
            ++name_length;
        }
        name[name_length] = '\0';
        const int field = find_field_word(table, name, name_length);
        in_word = true;
        if (field < 0) {
            put(c);
            continue;
        }

        const int is_numeric = dbf_field_is_numeric(table, field);
        out[o] = '\0';
        const char type = table.fields[field].type;
        const char* value = (type == 'D' || type == 'T') ? dbf_field_raw_text(table, field)
                                                         : dbf_field_text(table, field);
        const size_t value_start = o;
        bool has_digit = false;
        for (const char* v = value != nullptr ? value : ""; *v != '\0'; ++v) {
            if (*v >= '0' && *v <= '9') has_digit = true;
            put(*v);
        }
        if (is_numeric && !has_digit) put('0');
        out[o] = '\0';
        if (!is_numeric && table.settings.ansi_text) convert_ansi_to_oem(table, out + value_start);
        if (is_numeric) seen_numeric = 1;
        i += name_length - 1;
    }
    out[o] = '\0';
    if (numeric != nullptr) *numeric = seen_numeric;
    return overflow ? COND_TOO_LONG : operator_at;
}
