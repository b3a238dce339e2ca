// table/number_text.cpp
#include "table/number_text.h"

#include <charconv>
#include <cstring>

namespace {

constexpr int kExactDigits = 15;  // 10^15 < 2^52: a double tells such numbers apart with room to spare

struct PlainDecimal {
    bool negative = false;
    const char* whole = nullptr;  // digits before the point, leading zeros skipped
    int whole_length = 0;
    const char* fraction = "";  // digits behind the point
    int fraction_length = 0;
};

bool is_digit(char c) { return c >= '0' && c <= '9'; }

bool parse_plain(const char* p, PlainDecimal& d) {
    while (*p == ' ') ++p;
    if (*p == '-' || *p == '+') d.negative = *p++ == '-';
    const char* start = p;
    while (*p == '0') ++p;
    d.whole = p;
    while (is_digit(*p)) ++p;
    d.whole_length = static_cast<int>(p - d.whole);
    bool digits = p > start;
    if (*p == '.') {
        d.fraction = ++p;
        while (is_digit(*p)) ++p;
        d.fraction_length = static_cast<int>(p - d.fraction);
        digits = digits || d.fraction_length > 0;
    }
    while (*p == ' ') ++p;
    return digits && *p == '\0';
}

// Pads `text` of `length` bytes at the end of `out` to `width` with blanks in front.
bool place(char* out, size_t size, const char* text, size_t length, int width, size_t* written) {
    size_t pad = static_cast<size_t>(width) > length ? static_cast<size_t>(width) - length : 0;
    if (pad + length + 1 > size) return false;
    std::memset(out, ' ', pad);
    std::memcpy(out + pad, text, length);
    out[pad + length] = '\0';
    if (written != nullptr) *written = pad + length;
    return true;
}

constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11,
                                   1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

}  // namespace

bool number_atof(const char* text, double& value) {
    PlainDecimal d;
    if (!parse_plain(text, d) || d.whole_length > kExactDigits || d.fraction_length > 22) return false;
    // All digits as one integer, leading zeros (also those behind the point) dropped.
    uint64_t mantissa = 0;
    int significant = 0;
    for (int i = 0; i < d.whole_length; ++i, ++significant) mantissa = mantissa * 10 + (d.whole[i] - '0');
    for (int i = 0; i < d.fraction_length; ++i) {
        if (mantissa == 0 && d.fraction[i] == '0') continue;
        mantissa = mantissa * 10 + (d.fraction[i] - '0');
        if (++significant > kExactDigits) return false;
    }
    if (significant > kExactDigits) return false;
    // Both operands are exact and the division rounds once: strtod's value.
    double magnitude = static_cast<double>(mantissa) / kPowersOfTen[d.fraction_length];
    value = d.negative ? -magnitude : magnitude;
    return true;
}

bool number_atol(const char* text, long& value) {
    const char* p = text;
    while (*p == ' ') ++p;
    if (*p == '\0') {
        value = 0;  // blanks alone: no digits, nothing converted
        return true;
    }
    if (!is_digit(*p)) return false;
    long result = 0;
    for (int count = 0; is_digit(*p); ++p, ++count) {
        if (count == 18) return false;  // no overflow below 10^18
        result = result * 10 + (*p - '0');
    }
    value = result;
    return true;
}

bool number_format_decimal(char* out, size_t size, const char* text, int width, int decimals, size_t* written) {
    PlainDecimal d;
    if (!parse_plain(text, d) || d.fraction_length > decimals || d.whole_length + decimals > kExactDigits)
        return false;
    char digits[2 * kExactDigits + 4];
    size_t length = 0;
    if (d.negative) digits[length++] = '-';  // -0 too: atof keeps the sign and printf shows it
    if (d.whole_length == 0) digits[length++] = '0';
    std::memcpy(digits + length, d.whole, static_cast<size_t>(d.whole_length));
    length += static_cast<size_t>(d.whole_length);
    if (decimals > 0) {
        digits[length++] = '.';
        std::memcpy(digits + length, d.fraction, static_cast<size_t>(d.fraction_length));
        length += static_cast<size_t>(d.fraction_length);
        std::memset(digits + length, '0', static_cast<size_t>(decimals - d.fraction_length));
        length += static_cast<size_t>(decimals - d.fraction_length);
    }
    return place(out, size, digits, length, width, written);
}

bool number_format_long(char* out, size_t size, long value, size_t* written) {
    char digits[24];
    std::to_chars_result r = std::to_chars(digits, digits + sizeof digits, value);
    return place(out, size, digits, static_cast<size_t>(r.ptr - digits), 10, written);
}

bool number_format_currency(char* out, size_t size, int64_t value, size_t* written) {
    // Below 10^15 units the quotient by 10000.0 prints back as the exact 4 places.
    constexpr int64_t kLimit = 1000000000000000;
    if (value <= -kLimit || value >= kLimit) return false;
    uint64_t magnitude = static_cast<uint64_t>(value < 0 ? -value : value);
    char digits[32];
    char* p = digits;
    if (value < 0) *p++ = '-';
    p = std::to_chars(p, digits + sizeof digits, magnitude / 10000).ptr;
    *p++ = '.';
    uint64_t places = magnitude % 10000;
    for (int divisor = 1000; divisor > 0; divisor /= 10) *p++ = static_cast<char>('0' + places / divisor % 10);
    return place(out, size, digits, static_cast<size_t>(p - digits), 24, written);
}

bool number_is_printed_form(const char* text, int width, int decimals) {
    // Read from the end: the places, the point, the whole digits, a minus, blanks.
    const unsigned char* t = reinterpret_cast<const unsigned char*>(text);
    auto digit = [](unsigned char c) { return static_cast<unsigned>(c - '0') <= 9u; };
    int i = width;
    if (decimals > 0) {
        const int point = width - decimals - 1;
        if (point < 1 || t[point] != '.') return false;
        for (int k = point + 1; k < width; ++k)
            if (!digit(t[k])) return false;
        i = point;
    }
    const int whole_end = i;
    while (i > 0 && digit(t[i - 1])) --i;
    const int whole_length = whole_end - i;
    if (whole_length == 0 || (whole_length > 1 && t[i] == '0') || whole_length + decimals > kExactDigits) return false;
    if (i > 0 && t[i - 1] == '-') --i;
    // Blanks in front, eight at a time where there are that many.
    constexpr uint64_t kBlanks = 0x2020202020202020u;
    for (; i >= 8; i -= 8) {
        uint64_t word;
        std::memcpy(&word, t + i - 8, 8);
        if (word != kBlanks) return false;
    }
    while (i > 0)
        if (t[--i] != ' ') return false;
    return true;
}
