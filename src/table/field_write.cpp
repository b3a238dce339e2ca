// table/field_write.cpp
//
// Storing values into one field of the record buffer, in the stored form of the
// field's type; the reverse of reading. Numbers in N and F fields are right-aligned
// text, I a little-endian signed 32-bit integer, Y a signed 64-bit count of
// 1/10000, B an IEEE double, D the digits YYYYMMDD, T either the digits
// YYYYMMDDHHMMSS or, in 8 bytes, a day number and the milliseconds since midnight.
//
// What does not fit its field is not stored: the field keeps what it held and the
// store says false. Nothing reaches the file here except memo text.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "table/dbf.h"

namespace {

// Day number of 1 January of the year 0, less one: day 1 of year 0 is 1721060.
constexpr int64_t kDayNumberBase = 1721059;
constexpr int kMonthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

// Room for any printed value that could still fit a field: a length byte is at most
// 255. Longer output is cut by snprintf and then refused for not fitting.
constexpr size_t kPrintBuffer = 288;

bool is_field(const DbfTable& table, int field) { return field >= 0 && field < table.field_count; }

// The field's bytes for a binary store of `bytes` bytes; null unless the field is that
// wide, so that a store never spills into the next field.
uint8_t* binary_bytes(DbfTable& table, int field, int bytes) {
    if (!is_field(table, field) || dbf_field_width(table, field) < bytes) return nullptr;
    return dbf_field_ptr(table, field, bytes);
}

// Copies a printed value of exactly the field's length into the field.
bool store_printed(DbfTable& table, int field, const char* printed, int printed_length) {
    int length = table.fields[field].length;
    if (printed_length < 0 || printed_length > length) return false;
    uint8_t* bytes = dbf_field_ptr(table, field, length);
    if (bytes == nullptr) return false;
    std::memcpy(bytes, printed, static_cast<size_t>(length));
    return true;
}

// Copies `count` bytes into a binary field of at least that width.
bool store_binary(DbfTable& table, int field, const void* value, int count) {
    uint8_t* bytes = binary_bytes(table, field, count);
    if (bytes == nullptr) return false;
    std::memcpy(bytes, value, static_cast<size_t>(count));
    return true;
}

// Days from 1 January of the year 0 to 1 January of `year`; none for a year below 1.
// Year 0 and every fourth year after it are leap years, less the centuries that 400
// does not divide.
int64_t days_before_year(int64_t year) {
    if (year <= 0) return 0;
    return 365 * year + (year + 3) / 4 - (year + 99) / 100 + (year + 399) / 400;
}

// snprintf(out, size, "%*d", width, value), which to_chars and padding give exactly;
// the length printf would report.
int print_integer(char* out, size_t size, int width, int32_t value) {
    char digits[16];
    const size_t length = static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, value).ptr - digits);
    const size_t pad = width > static_cast<int>(length) ? static_cast<size_t>(width) - length : 0;
    if (pad + length >= size) return std::snprintf(out, size, "%*d", width, value);
    std::memset(out, ' ', pad);
    std::memcpy(out + pad, digits, length);
    out[pad + length] = '\0';
    return static_cast<int>(pad + length);
}

constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                   1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// "%.*f" of a number that is the double nearest to m / 10^decimals for a whole m
// below 10^15 in size: printf rounds the double's exact value, which lies within
// half a unit of its last bit of m / 10^decimals, to `decimals` places, and that
// is m again. False, with nothing written, for any other number.
bool print_scaled(double number, int decimals, char* out, size_t& length) {
    if (decimals > 22) return false;
    const double scaled = number * kPowersOfTen[decimals];
    if (!(scaled > -1e15 && scaled < 1e15)) return false;
    const int64_t m = std::llround(scaled);
    if (static_cast<double>(m) / kPowersOfTen[decimals] != number) return false;
    char digits[24];
    char* end = std::to_chars(digits, digits + sizeof digits, m < 0 ? -m : m).ptr;
    size_t count = static_cast<size_t>(end - digits);
    char* p = out;
    if (std::signbit(number)) *p++ = '-';  // -0.0 too, as printf shows it
    const size_t whole = count > static_cast<size_t>(decimals) ? count - static_cast<size_t>(decimals) : 0;
    if (whole == 0) {
        *p++ = '0';
    } else {
        std::memcpy(p, digits, whole);
        p += whole;
    }
    if (decimals > 0) {
        *p++ = '.';
        const size_t zeros = static_cast<size_t>(decimals) - (count - whole);
        std::memset(p, '0', zeros);
        p += zeros;
        std::memcpy(p, digits + whole, count - whole);
        p += count - whole;
    }
    length = static_cast<size_t>(p - out);
    return true;
}

// snprintf(out, size, "%*.*f", width, decimals, number) for a finite number:
// to_chars in fixed notation with a precision prints as printf does.
int print_fixed(char* out, size_t size, int width, int decimals, double number) {
    char digits[kPrintBuffer + 400];
    size_t length = 0;
    if (!print_scaled(number, decimals, digits, length)) {
        std::to_chars_result r = std::to_chars(digits, digits + sizeof digits, number, std::chars_format::fixed, decimals);
        if (r.ec != std::errc()) return std::snprintf(out, size, "%*.*f", width, decimals, number);
        length = static_cast<size_t>(r.ptr - digits);
    }
    const size_t pad = width > static_cast<int>(length) ? static_cast<size_t>(width) - length : 0;
    // What snprintf would cut short is refused by the caller for its length alone.
    if (pad + length >= size) return static_cast<int>(pad + length);
    std::memset(out, ' ', pad);
    std::memcpy(out + pad, digits, length);
    out[pad + length] = '\0';
    return static_cast<int>(pad + length);
}

int atoi_column(const char* text, size_t length, size_t column, size_t width) {
    if (column >= length) return 0;
    if (column + width <= length) {
        // All digits: the number they spell, as atoi reads it.
        int value = 0;
        size_t i = 0;
        for (; i < width && text[column + i] >= '0' && text[column + i] <= '9'; ++i)
            value = value * 10 + (text[column + i] - '0');
        if (i == width) return value;
    }
    char digits[8] = {};
    std::memcpy(digits, text + column, std::min(width, length - column));
    return std::atoi(digits);
}

}  // namespace

bool dbf_field_set(DbfTable& table, int field, const char* text, double number) {
    if (!is_field(table, field)) return false;
    if (text == nullptr) text = "";
    switch (table.fields[field].type) {
        case 'B': return dbf_store_double(table, field, number);
        case 'C': return dbf_store_text(table, field, text);
        case 'D': return dbf_store_date_text(table, field, text);
        case 'F': case 'N': return dbf_store_number(table, field, number);
        case 'I': {
            double whole = std::trunc(number);
            // NaN and values beyond 32 bits have no stored form.
            if (!(whole >= INT32_MIN && whole <= INT32_MAX)) return false;
            return dbf_store_int(table, field, static_cast<int32_t>(whole));
        }
        case 'L': return dbf_store_logical(table, field, text[0]);
        case 'M': return dbf_store_memo(table, field, text);
        case 'T': return dbf_store_datetime_text(table, field, text);
        case 'Y': return dbf_store_currency(table, field, number);
        default: return false;  // G among them: an OLE object is not made from text
    }
}

bool dbf_store_text(DbfTable& table, int field, const char* text) {
    if (!is_field(table, field) || text == nullptr) return false;
    size_t length = std::strlen(text);
    size_t wide = static_cast<size_t>(dbf_wide_length(table.fields[field]));
    size_t count = length < wide ? length : wide;
    uint8_t* bytes = dbf_field_ptr(table, field, static_cast<int>(count));
    if (bytes == nullptr) return false;
    std::memcpy(bytes, text, count);
    return true;
}

bool dbf_store_integer(DbfTable& table, int field, int32_t value) {
    if (!is_field(table, field)) return false;
    char printed[kPrintBuffer];
    int n = print_integer(printed, sizeof printed, table.fields[field].length, value);
    return store_printed(table, field, printed, n);
}

bool dbf_store_number(DbfTable& table, int field, double number) {
    if (!is_field(table, field)) return false;
    const FieldDesc& desc = table.fields[field];
    if (desc.decimals == 0) {
        double whole = std::trunc(number);
        if (!(whole >= INT32_MIN && whole <= INT32_MAX)) return false;
        return dbf_store_integer(table, field, static_cast<int32_t>(whole));
    }
    if (!std::isfinite(number)) return false;
    char printed[kPrintBuffer];
    int n = print_fixed(printed, sizeof printed, desc.length, desc.decimals, number);
    if (n < 0 || static_cast<size_t>(n) >= sizeof printed) return false;
    const char* point = std::strchr(printed, '.');
    if (point == nullptr || point - printed > desc.length - desc.decimals - 1) return false;
    return store_printed(table, field, printed, n);
}

bool dbf_store_int(DbfTable& table, int field, int32_t value) { return store_binary(table, field, &value, 4); }

bool dbf_store_double(DbfTable& table, int field, double number) { return store_binary(table, field, &number, 8); }

bool dbf_store_currency(DbfTable& table, int field, double number) {
    // Truncation, not rounding, decides the last digit. NaN and values beyond
    // 64 bits have no stored form.
    double units = std::trunc(number * 10000.0);
    if (!(units >= -9223372036854775808.0 && units < 9223372036854775808.0)) return false;
    int64_t value = static_cast<int64_t>(units);
    return store_binary(table, field, &value, 8);
}

bool dbf_store_logical(DbfTable& table, int field, char letter) {
    if (!is_field(table, field)) return false;
    int upper = std::toupper(static_cast<unsigned char>(letter));
    uint8_t stored = (upper == 'Y' || upper == 'N' || upper == 'F' || upper == 'T') ? static_cast<uint8_t>(upper)
                                                                                     : ' ';
    uint8_t* bytes = dbf_field_ptr(table, field, 1);
    if (bytes == nullptr) return false;
    *bytes = stored;
    return true;
}

bool dbf_store_memo(DbfTable& table, int field, const char* text) {
    if (!is_field(table, field)) return false;
    int32_t block = dbf_memo_write(table, text);
    if (block == 0) return false;
    if (dbf_wide_length(table.fields[field]) == 4) return dbf_store_int(table, field, block);
    return dbf_store_integer(table, field, block);
}

bool dbf_store_date_text(DbfTable& table, int field, const char* text) {
    if (text == nullptr) text = "";
    // Only the first 10 characters count, and in asis mode only the 8 digits.
    char work[21];
    std::memset(work, ' ', 20);
    work[20] = '\0';
    size_t length = strnlen(text, 10);
    std::memcpy(work, text, length);
    std::memset(work + length, 0, 10 - length);
    work[table.settings.date_mode == DateMode::Asis ? 8 : 10] = '\0';
    return dbf_store_datetime_text(table, field, work);
}

bool dbf_store_datetime_text(DbfTable& table, int field, const char* text) {
    if (!is_field(table, field)) return false;
    if (text == nullptr) text = "";
    // Columns of year, month, day, hour, minute and second, by DateMode; the
    // delimiters between them are never looked at.
    static constexpr size_t kColumns[4][6] = {
        {0, 4, 6, 8, 10, 12},    // asis: the stored digits
        {6, 3, 0, 11, 14, 17},   // dmy
        {6, 0, 3, 11, 14, 17},   // mdy
        {0, 5, 8, 11, 14, 17},   // ymd
    };
    const size_t* column = kColumns[static_cast<size_t>(table.settings.date_mode)];
    size_t length = std::strlen(text);
    int year = atoi_column(text, length, column[0], 4);
    int month = atoi_column(text, length, column[1], 2);
    int day = atoi_column(text, length, column[2], 2);
    int hour = 0, minute = 0, second = 0;
    if (table.fields[field].type == 'T') {
        hour = atoi_column(text, length, column[3], 2);
        minute = atoi_column(text, length, column[4], 2);
        second = atoi_column(text, length, column[5], 2);
    }
    if (month == 0 || day == 0) {
        dbf_field_blank(table, field);
        return true;
    }
    return dbf_store_datetime(table, field, year, month, day, hour, minute, second);
}

bool dbf_store_datetime(DbfTable& table, int field, int year, int month, int day, int hour, int minute,
                        int second) {
    if (!is_field(table, field)) return false;
    const FieldDesc& desc = table.fields[field];
    // The digits hold four places of year and two of each other number, none of
    // them negative; what they can't hold is not stored.
    if (year < 0 || year > 9999) return false;
    for (int part : {month, day, hour, minute, second})
        if (part < 0 || part > 99) return false;
    if (desc.type == 'T' && dbf_wide_length(desc) == 8) {
        // A day number names a day of the calendar: 30 February has none. Month and
        // day must be real; hours and the rest may run over, and read back as stored.
        if (month < 1 || month > 12) return false;
        if (day < 1 || day > kMonthDays[month - 1] + (month == 2 && is_leap_year(year) ? 1 : 0)) return false;
        int64_t milliseconds = (static_cast<int64_t>(second) + 60LL * minute + 3600LL * hour) * 1000;
        int64_t days = day;
        for (int m = 0; m < month - 1; ++m) days += kMonthDays[m] + (m == 1 && is_leap_year(year) ? 1 : 0);
        days += days_before_year(year) + kDayNumberBase;
        if (days < INT32_MIN || days > INT32_MAX || milliseconds < INT32_MIN || milliseconds > INT32_MAX)
            return false;
        int32_t stored[2] = {static_cast<int32_t>(days), static_cast<int32_t>(milliseconds)};
        return store_binary(table, field, stored, 8);
    }
    char printed[80];
    int n = 0;
    if (year >= 0 && year <= 9999 && month >= 0 && month <= 99 && day >= 0 && day <= 99 && hour >= 0 && hour <= 99 &&
        minute >= 0 && minute <= 99 && second >= 0 && second <= 99) {
        // What the format prints for numbers of these sizes, digit by digit.
        const int parts[6] = {year / 100, year % 100, month, day, hour, minute};
        for (int part : parts) {
            printed[n++] = static_cast<char>('0' + part / 10);
            printed[n++] = static_cast<char>('0' + part % 10);
        }
        printed[n++] = static_cast<char>('0' + second / 10);
        printed[n++] = static_cast<char>('0' + second % 10);
        printed[n] = '\0';
    } else {
        n = std::snprintf(printed, sizeof printed, "%04d%02d%02d%02d%02d%02d", year, month, day, hour, minute, second);
    }
    if ((desc.type != 'D' && desc.type != 'T') || n != 14) return false;
    return dbf_store_text(table, field, printed);
}
