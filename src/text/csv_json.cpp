// text/csv_json.cpp
//
// A date-time of 8 bytes is a signed 32-bit Julian day number (2451545 is
// 1 January 2000) and a signed 32-bit count of milliseconds since midnight, both
// little-endian; the calendar is the Gregorian one carried back before 1582, as
// the formats use it. Years run from 1 to 9999, as in the 4-digit stored form.
#include "text/csv_json.h"

#include <cstdint>

#include "text/utf8.h"

namespace {

constexpr int32_t kFirstDay = 1721426;  // 1 January 1
constexpr int32_t kLastDay = 5373484;   // 31 December 9999
constexpr int32_t kMillisecondsPerDay = 86400000;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

bool all_digits(std::string_view text) {
    for (char c : text)
        if (!is_digit(c)) return false;
    return true;
}

// The value of a run of digits, checked by the caller.
int digits_value(std::string_view digits) {
    int value = 0;
    for (char c : digits) value = value * 10 + (c - '0');
    return value;
}

bool is_leap_year(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

bool is_real_date(int year, int month, int day) {
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (year < 1 || month < 1 || month > 12 || day < 1) return false;
    return day <= kDays[month - 1] + (month == 2 && is_leap_year(year) ? 1 : 0);
}

// Appends `value` in `width` digits with leading zeros; the value fits.
void append_padded(int value, int width, std::string& out) {
    char digits[4];
    for (int i = width - 1; i >= 0; --i, value /= 10) digits[i] = static_cast<char>('0' + value % 10);
    out.append(digits, static_cast<size_t>(width));
}

void append_calendar(int year, int month, int day, std::string& out) {
    append_padded(year, 4, out);
    out += '-';
    append_padded(month, 2, out);
    out += '-';
    append_padded(day, 2, out);
}

void append_clock(int hour, int minute, int second, std::string& out) {
    out += ' ';
    append_padded(hour, 2, out);
    out += ':';
    append_padded(minute, 2, out);
    out += ':';
    append_padded(second, 2, out);
}

int32_t little_endian_int32(std::string_view bytes) {
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i) value = (value << 8) | static_cast<uint8_t>(bytes[static_cast<size_t>(i)]);
    return static_cast<int32_t>(value);
}

bool append_julian_datetime(std::string_view stored, std::string& out) {
    int32_t day_number = little_endian_int32(stored.substr(0, 4));
    int32_t milliseconds = little_endian_int32(stored.substr(4, 4));
    if (day_number < kFirstDay || day_number > kLastDay) return false;
    if (milliseconds < 0 || milliseconds >= kMillisecondsPerDay) return false;
    // Julian day number to Gregorian calendar (Richards' algorithm).
    int64_t j = day_number;
    int64_t f = j + 1401 + (((4 * j + 274277) / 146097) * 3) / 4 - 38;
    int64_t e = 4 * f + 3;
    int64_t h = 5 * ((e % 1461) / 4) + 2;
    int day = static_cast<int>((h % 153) / 5 + 1);
    int month = static_cast<int>((h / 153 + 2) % 12 + 1);
    int year = static_cast<int>(e / 1461 - 4716 + (14 - month) / 12);
    int seconds = milliseconds / 1000;
    append_calendar(year, month, day, out);
    append_clock(seconds / 3600, seconds % 3600 / 60, seconds % 60, out);
    return true;
}

bool append_digit_datetime(std::string_view stored, std::string& out) {
    if (stored.size() != 14 || !all_digits(stored)) return false;
    int year = digits_value(stored.substr(0, 4)), month = digits_value(stored.substr(4, 2));
    int day = digits_value(stored.substr(6, 2)), hour = digits_value(stored.substr(8, 2));
    int minute = digits_value(stored.substr(10, 2)), second = digits_value(stored.substr(12, 2));
    if (!is_real_date(year, month, day) || hour > 23 || minute > 59 || second > 59) return false;
    append_calendar(year, month, day, out);
    append_clock(hour, minute, second, out);
    return true;
}

// Appends null in place of a value that has no plain form.
void or_null(bool appended, std::string& out) {
    if (!appended) out += "null";
}

// Appends a plain form in quotes, or null.
void quoted_or_null(bool (*append)(std::string_view, std::string&), std::string_view stored, std::string& out) {
    out += '"';
    if (append(stored, out)) {
        out += '"';
    } else {
        out.pop_back();
        out += "null";
    }
}

}  // namespace

bool append_plain_number(std::string_view text, std::string& out) {
    size_t begin = text.find_first_not_of(' ');
    if (begin == std::string_view::npos) return false;
    text = text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
    size_t i = 0;
    bool negative = false;
    if (text[0] == '-' || text[0] == '+') {
        negative = text[0] == '-';
        ++i;
    }
    const auto digits = [&] {
        size_t start = i;
        while (i < text.size() && is_digit(text[i])) ++i;
        return text.substr(start, i - start);
    };
    std::string_view whole = digits();
    std::string_view fraction;
    if (i < text.size() && text[i] == '.') {
        ++i;
        fraction = digits();
    }
    if (whole.empty() && fraction.empty()) return false;
    std::string_view exponent;
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        size_t start = i++;
        if (i < text.size() && (text[i] == '-' || text[i] == '+')) ++i;
        if (digits().empty()) return false;
        exponent = text.substr(start, i - start);
    }
    if (i != text.size()) return false;
    while (whole.size() > 1 && whole[0] == '0') whole.remove_prefix(1);
    if (negative) out += '-';
    out += whole.empty() ? std::string_view("0") : whole;
    if (!fraction.empty()) {
        out += '.';
        out += fraction;
    }
    out += exponent;
    return true;
}

bool append_plain_date(std::string_view stored, std::string& out) {
    if (stored.size() != 8 || !all_digits(stored)) return false;
    int year = digits_value(stored.substr(0, 4)), month = digits_value(stored.substr(4, 2));
    int day = digits_value(stored.substr(6, 2));
    if (!is_real_date(year, month, day)) return false;
    append_calendar(year, month, day, out);
    return true;
}

bool append_plain_datetime(std::string_view stored, std::string& out) {
    return stored.size() == 8 ? append_julian_datetime(stored, out) : append_digit_datetime(stored, out);
}

void csv_append_field(std::string_view text, std::string& out) {
    bool plain = true;
    for (char c : text) plain = plain && c != ',' && c != '"' && c != '\r' && c != '\n';
    if (plain) {
        out += text;
        return;
    }
    out += '"';
    for (size_t quote; (quote = text.find('"')) != std::string_view::npos; text.remove_prefix(quote + 1)) {
        out += text.substr(0, quote + 1);
        out += '"';
    }
    out += text;
    out += '"';
}

void csv_append_number(std::string_view text, std::string& out) {
    (void)append_plain_number(text, out);  // no number: an empty field
}

void csv_append_date(std::string_view stored, std::string& out) {
    (void)append_plain_date(stored, out);  // no date: an empty field
}

void csv_append_datetime(std::string_view stored, std::string& out) {
    (void)append_plain_datetime(stored, out);  // no date-time: an empty field
}

void csv_append_logical(std::string_view stored, std::string& out) {
    std::optional<bool> value = logical_value(stored);
    if (value) out += *value ? "true" : "false";
}

void json_append_string(std::string_view text, std::string& out) {
    static constexpr char kHex[] = "0123456789abcdef";
    out += '"';
    size_t run = 0;  // start of the bytes that go out as they are
    for (size_t i = 0; i < text.size();) {
        uint8_t byte = static_cast<uint8_t>(text[i]);
        if (byte >= 0x20 && byte < 0x80 && byte != '"' && byte != '\\') {
            ++i;
            continue;
        }
        if (byte >= 0x80) {
            size_t length = utf8_next(text.substr(i)).length;
            if (length != 0) {
                i += length;
                continue;
            }
        }
        out += text.substr(run, i - run);
        switch (byte) {
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            case '\b': out += "\\b"; break;
            case '\f': out += "\\f"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\t': out += "\\t"; break;
            default:
                if (byte >= 0x80) {
                    out += kReplacementUtf8;
                } else {
                    out += "\\u00";
                    out += kHex[byte >> 4];
                    out += kHex[byte & 0x0F];
                }
        }
        run = ++i;
    }
    out += text.substr(run);
    out += '"';
}

void json_append_number(std::string_view text, std::string& out) { or_null(append_plain_number(text, out), out); }

void json_append_date(std::string_view stored, std::string& out) { quoted_or_null(append_plain_date, stored, out); }

void json_append_datetime(std::string_view stored, std::string& out) {
    quoted_or_null(append_plain_datetime, stored, out);
}

void json_append_logical(std::string_view stored, std::string& out) {
    std::optional<bool> value = logical_value(stored);
    out += !value ? "null" : *value ? "true" : "false";
}
