// expr/strfunc.cpp
//
// Text functions inside an operand of a text comparison, expanded by rewriting.
// By the time they run, field names have become values and quotes are gone, so a
// call is any of the names below, opening parenthesis included, wherever it
// stands; its argument is the text up to the matching ')' (or to the end), commas
// and all, and the result takes the place of the call.
//
// A handler rewrites its argument in place and returns it. No result is longer
// than its argument, so an operand never grows.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <vector>

#include "expr/cond.h"

namespace {

// The first comma ends a part; there is no way to quote one. A part that is no
// number counts as 0, read like atoi: blanks skipped, digits up to the first other
// byte, and a value beyond 32 bits folded into them.
int32_t part_number(const char* text) {
    return static_cast<int32_t>(std::strtol(text, nullptr, 10));
}

// Moves `length` bytes from `from` to the start of `argument` and ends it there.
char* put_result(char* argument, const char* from, size_t length) {
    std::memmove(argument, from, length);
    argument[length] = '\0';
    return argument;
}

// The common core of SUBSTR, LEFT and RIGHT: at most `count` bytes of `text`
// (`length` bytes) from byte `start`, both taken as unsigned, so that a negative
// start is past the end and a negative count takes all the rest.
char* take_substring(char* argument, const char* text, size_t length, uint32_t start, uint32_t count) {
    if (count > length) count = static_cast<uint32_t>(length);
    if (start > length) start = static_cast<uint32_t>(length);
    const size_t available = length - start;
    return put_result(argument, text + start, count < available ? count : available);
}

char* str_ltrim(char* argument, const DbfTable&) {
    const char* from = argument;
    while (*from == ' ') ++from;
    return put_result(argument, from, std::strlen(from));
}

char* str_rtrim(char* argument, const DbfTable&) {
    size_t length = std::strlen(argument);
    while (length > 0 && argument[length - 1] == ' ') --length;
    argument[length] = '\0';
    return argument;
}

char* str_trim(char* argument, const DbfTable& table) {
    return str_rtrim(str_ltrim(argument, table), table);
}

// text,start[,count]; the start counts from 0.
char* str_substr(char* argument, const DbfTable&) {
    char* first = std::strchr(argument, ',');
    if (first == nullptr) return argument;
    *first = '\0';
    char* start_part = first + 1;
    char* second = std::strchr(start_part, ',');
    if (second != nullptr) *second = '\0';
    const size_t length = std::strlen(argument);
    const uint32_t count = second != nullptr ? static_cast<uint32_t>(part_number(second + 1))
                                             : static_cast<uint32_t>(length);
    const uint32_t start = static_cast<uint32_t>(part_number(start_part));
    return take_substring(argument, argument, length, start, count);
}

// text,count: the same as SUBSTR from 0.
char* str_left(char* argument, const DbfTable&) {
    char* comma = std::strchr(argument, ',');
    if (comma == nullptr) return argument;
    *comma = '\0';
    const uint32_t count = static_cast<uint32_t>(part_number(comma + 1));
    return take_substring(argument, argument, std::strlen(argument), 0, count);
}

// text,count: the last `count` bytes. A count of 0 or below gives the empty text.
char* str_right(char* argument, const DbfTable&) {
    char* comma = std::strchr(argument, ',');
    if (comma == nullptr) return argument;
    *comma = '\0';
    const int64_t count = part_number(comma + 1);
    const int64_t length = static_cast<int64_t>(std::strlen(argument));
    if (count >= length) return argument;
    const int64_t start = length - count;  // beyond the end when count is negative
    return take_substring(argument, argument, static_cast<size_t>(length),
                          static_cast<uint32_t>(start > length ? length : start), static_cast<uint32_t>(count));
}

// A date as displayed, back to YYYYMMDD, and HHMMSS behind it for a date-time.
// The parts are read by fixed columns of the table's date mode and moved as bytes;
// the result ends at the first part that comes up short.
char* str_dtos(char* argument, const DbfTable& table) {
    struct Columns { int year, month, day, hour, minute, second; };
    Columns columns = {0, 4, 6, 8, 10, 12};  // stored digits
    switch (table.settings.date_mode) {
        case DateMode::Dmy: columns = {6, 3, 0, 11, 14, 17}; break;
        case DateMode::Mdy: columns = {6, 0, 3, 11, 14, 17}; break;
        case DateMode::Ymd: columns = {0, 5, 8, 11, 14, 17}; break;
        case DateMode::Asis: break;
    }
    const size_t length = std::strlen(argument);
    char result[20] = {};
    auto take = [&](int column, int width, int at) {
        for (int k = 0; k < width && static_cast<size_t>(column + k) < length; ++k) {
            result[at + k] = argument[column + k];
        }
    };
    take(columns.year, 4, 0);
    take(columns.month, 2, 4);
    take(columns.day, 2, 6);
    if (length > 10) {
        take(columns.hour, 2, 8);
        take(columns.minute, 2, 10);
        take(columns.second, 2, 12);
    }
    // Every byte taken comes from a distinct column, so the result fits the argument.
    return put_result(argument, result, std::strlen(result));
}

char* str_space(char* argument, const DbfTable&) { return argument; }

char* str_replicate(char* argument, const DbfTable&) { return argument; }

struct CondFunction {
    const char* name;  // with its opening parenthesis
    char* (*handler)(char* argument, const DbfTable& table);
};

// Searched in this order.
const CondFunction cond_functions[] = {
    {"TRIM(", str_trim},     {"LTRIM(", str_ltrim}, {"RTRIM(", str_rtrim},
    {"SUBSTR(", str_substr}, {"LEFT(", str_left},   {"RIGHT(", str_right},
    {"DTOS(", str_dtos},     {"SPACE(", str_space}, {"REPLICATE(", str_replicate},
};

const CondFunction* match_function(const char* at) {
    for (const CondFunction& function : cond_functions) {
        // The names are upper case; only that letter in either case can begin a match.
        if ((at[0] & 0xDF) != function.name[0]) continue;
        if (strncasecmp(at, function.name, std::strlen(function.name)) == 0) return &function;
    }
    return nullptr;
}

}  // namespace

char* cond_expand_functions(char* text, const DbfTable& table) {
    // Every function name ends in '(': a text without one calls nothing.
    if (std::strchr(text, '(') == nullptr) return text;
    const size_t n = std::strlen(text);
    std::vector<char> copy(text, text + n + 1);
    size_t i = 0;
    size_t o = 0;
    while (i < n) {
        const CondFunction* function = match_function(copy.data() + i);
        if (function == nullptr) {
            text[o++] = copy[i++];
            continue;
        }
        i += std::strlen(function->name);
        // The argument runs to the matching ')', or to the end of the text.
        size_t end = i;
        int depth = 1;
        bool nested = false;
        for (; end < n; ++end) {
            if (copy[end] == ')' && --depth == 0) break;
            if (copy[end] == '(') {
                ++depth;
                nested = true;
            }
        }
        copy[end] = '\0';
        char* argument = copy.data() + i;
        if (nested) cond_expand_functions(argument, table);  // inner calls first
        const char* result = function->handler(argument, table);
        const size_t length = std::strlen(result);
        std::memcpy(text + o, result, length);
        o += length;
        i = end + 1;
    }
    text[o] = '\0';
    return text;
}
