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
