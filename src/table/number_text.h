// table/number_text.h
//
// Quick forms of the C library conversions that field rendering runs once per field
// and record. Each gives exactly the bytes or the value of the call it stands for,
// or declines (false) where it can't be sure of that, and the caller makes the call.
//
// A "plain decimal" is: blanks, an optional sign, digits with at most one point
// among or around them (one digit at least), blanks, the end of the text. The
// parse and the print are exact for one with at most 15 significant digits: a
// double holds such a number closely enough that strtod's correctly rounded value
// prints back, through printf's rounding, as the same digits.
#pragma once

#include <cstddef>
#include <cstdint>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// atof(text).
bool number_atof(const char* text, double& value);
// atol(text), for blanks followed by digits or by nothing.
bool number_atol(const char* text, long& value);
// snprintf(out, size, "%<width>.<decimals>f", atof(text)), for a plain decimal of
// no more than `decimals` places; `size` must hold the text and its terminator.
// The formatters put the length of what they wrote in `length` when given one.
bool number_format_decimal(char* out, size_t size, const char* text, int width, int decimals,
                           size_t* length = nullptr);
// snprintf(out, size, "%10ld", value).
bool number_format_long(char* out, size_t size, long value, size_t* length = nullptr);
// snprintf(out, size, "%24.4f", value / 10000.0), the rendering of a currency.
bool number_format_currency(char* out, size_t size, int64_t value, size_t* length = nullptr);
// Whether the `width` bytes at `text` are already what
// snprintf("%<width>.<decimals>f", atof(text)) prints: blanks, an optional minus,
// digits without a leading zero (but a lone one), the point and exactly `decimals`
// digits if there are any, no more than 15 digits in all, nothing behind.
bool number_is_printed_form(const char* text, int width, int decimals);
// number_is_printed_form for a width of at most 16, reading 16 bytes at `text`
// whatever the width: every byte of the text at once.
inline bool number_is_printed_form_16(const uint8_t* text, int width, int decimals) {
#if defined(__SSE2__)
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    const uint32_t all = (1u << width) - 1;
    const __m128i is_digit =
        _mm_and_si128(_mm_cmpgt_epi8(v, _mm_set1_epi8('0' - 1)), _mm_cmplt_epi8(v, _mm_set1_epi8('9' + 1)));
    const uint32_t digits = static_cast<uint32_t>(_mm_movemask_epi8(is_digit)) & all;
    const uint32_t blanks = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_set1_epi8(' '))));
    int whole_end = width;
    if (decimals > 0) {
        // The point, then exactly `decimals` digits.
        const int point = width - decimals - 1;
        if (point < 1 || text[point] != '.') return false;
        const uint32_t places = all & ~((2u << point) - 1);
        if ((digits & places) != places) return false;
        whole_end = point;
    }
    // The whole digits reach back to the last byte before the point that is none.
    const uint32_t others = ((1u << whole_end) - 1) & ~digits;
    const int start = others != 0 ? 32 - __builtin_clz(others) : 0;
    const int whole_length = whole_end - start;
    if (whole_length == 0 || (whole_length > 1 && text[start] == '0') || whole_length + decimals > 15) return false;
    // Back over a minus, with no branch: numbers differ in their signs.
    const uint32_t minus = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_set1_epi8('-'))));
    const int sign = start - static_cast<int>(((minus << 1) >> start) & 1);
    const uint32_t front = (1u << sign) - 1;
    return (blanks & front) == front;
#else
    return number_is_printed_form(reinterpret_cast<const char*>(text), width, decimals);
#endif
}
