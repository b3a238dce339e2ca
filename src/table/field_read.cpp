// table/field_read.cpp
//
// Turning the bytes of one field of the record buffer into text, numbers and
// calendar values. Binary layouts: I is a signed 32-bit integer, Y a signed 64-bit
// integer of units of 1/10000, B of length 8 an IEEE double, T of wide length 8 a
// signed 32-bit Julian day number (2451545 is 1 January 2000) followed by a signed
// 32-bit count of milliseconds since midnight, all little-endian. Everything else
// is text: N and F right-aligned numbers, D as YYYYMMDD, T as YYYYMMDDHHMMSS.
//
// A date is shown with the numbers it stores, and only if its year is written in
// four digits and those numbers, carried over as a calendar carries them, name a
// moment of the years 1 to 9999; otherwise it shows as blanks. So 30 February 2001
// shows as stored (it is 2 March), while a blank date (year 0), month 13 of 9999
// and "04/25/1989" (the year "04/2") do not show.
//
// A field whose bytes would reach past the record buffer (possible only behind very
// wide character fields) is read as if it were missing: the empty text for C, L and
// raw copies, blanks for D and T, zero for every number, "Empty memo" for memos.
//
// All rendering lands in the table's value buffer, which holds a 65535-byte field
// and its terminator; numbers are printed straight into it, so a number wider than
// its field comes out at full width and still fits.
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "table/dbf.h"
#include "table/number_text.h"

namespace {

constexpr int kDaysInMonth[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
constexpr int32_t kLastDayNumber = 5373484;  // 31 December 9999
constexpr int32_t kDayZero = 1721059;        // the day before 1 January of the year 0

// The buffer every rendering goes to; only a table that was never accepted lacks it.
char* value_buffer(DbfTable& table) {
    if (table.value.size() < static_cast<size_t>(kValueBufferSize)) table.value.assign(kValueBufferSize, 0);
    return table.value.data();
}

// The first `length` bytes of a field as a text, for atol and atof. The length byte
// is at most 255, so the copy always fits.
void field_digits(const DbfTable& table, int field, char (&digits)[256]) {
    int length = table.fields[field].length;
    digits[0] = '\0';
    const uint8_t* bytes = dbf_field_ptr(table, field, length);
    if (bytes == nullptr) return;
    std::memcpy(digits, bytes, static_cast<size_t>(length));
    digits[length] = '\0';
}

// atoi of `count` columns of a date text from `start` on; columns the text lacks count as empty.
int date_part(const char* text, int text_length, int start, int count) {
    if (start + count <= text_length) {
        int value = 0;
        int i = 0;
        for (; i < count && text[start + i] >= '0' && text[start + i] <= '9'; ++i) value = value * 10 + (text[start + i] - '0');
        if (i == count) return value;
    }
    char part[5] = {};
    for (int i = 0; i < count && start + i < text_length; ++i) part[i] = text[start + i];
    return std::atoi(part);
}

// What a blank date decodes to: the year 0, month -1, day 0, which is no date of the
// years 1 to 9999.
std::tm unreadable_date() {
    std::tm tm{};
    tm.tm_year = -1900;
    tm.tm_mon = -1;
    return tm;
}

std::tm date_from_day_number(int32_t day_number, int32_t milliseconds) {
    if (day_number > kLastDayNumber) return unreadable_date();
    std::tm tm{};
    // Day 1 is 1 January of the year 0. Day numbers up to kDayZero leave both loops
    // at once, with a day of month of 0 or less in the year 0.
    int64_t day = static_cast<int64_t>(day_number) - kDayZero;
    int year = 0;
    int month = 0;
    while (day > 0) {
        int days = 365 + (is_leap_year(year) ? 1 : 0);
        if (day <= days) break;
        ++year;
        day -= days;
    }
    while (day > 0 && month < 11) {
        int days = kDaysInMonth[month] + (month == 1 && is_leap_year(year) ? 1 : 0);
        if (day <= days) break;
        ++month;
        day -= days;
    }
    tm.tm_mday = static_cast<int>(day < INT_MIN ? INT_MIN : day);
    tm.tm_mon = month;
    tm.tm_year = year - 1900;
    int32_t seconds = milliseconds / 1000;
    tm.tm_hour = seconds / 3600;
    tm.tm_min = (seconds % 3600) / 60;
    tm.tm_sec = seconds % 60;
    return tm;
}

// Days from 1 January of the year 1 to the first of `month` (1 to 12) of `year`, in
// the proleptic Gregorian calendar; negative before it.
int64_t days_to_month(int64_t year, int64_t month) {
    // Years counted from March, so that the leap day ends a year.
    int64_t y = year - (month <= 2 ? 1 : 0);
    int64_t era = (y >= 0 ? y : y - 399) / 400;
    int64_t year_of_era = y - era * 400;
    int64_t day_of_year = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5;
    int64_t day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
    // 1 March of the year 0 is day -306 counted from 1 January of the year 1.
    return era * 146097 + day_of_era - 306;
}

// The seconds from the start of the year 1 to the moment the fields name, each field
// carried into the next larger as a calendar does: month 13 is January of the year
// after, day 0 the last day of the month before, hour 24 the next day.
int64_t seconds_of(const std::tm& tm) {
    int64_t month = tm.tm_mon;  // from 0
    int64_t year = static_cast<int64_t>(tm.tm_year) + 1900 + (month >= 0 ? month / 12 : (month - 11) / 12);
    month -= (month >= 0 ? month / 12 : (month - 11) / 12) * 12;
    int64_t days = days_to_month(year, month + 1) + tm.tm_mday - 1;
    return days * 86400 + static_cast<int64_t>(tm.tm_hour) * 3600 + static_cast<int64_t>(tm.tm_min) * 60 +
           tm.tm_sec;
}

constexpr int64_t kFirstShownSecond = 0;                         // 1 January of the year 1, 00:00:00
constexpr int64_t kLastShownSecond = 3652058LL * 86400 + 86399;  // 31 December 9999, 23:59:59

bool is_day_number_layout(const FieldDesc& desc) { return desc.type == 'T' && dbf_wide_length(desc) == 8; }

char* render_date(DbfTable& table, int field, Rendering how) {
    char* value = value_buffer(table);
    bool datetime = table.fields[field].type == 'T';
    const DateMode mode = table.settings.date_mode;
    if (!dbf_field_date_shown(table, field)) {
        // A key shows a blank date as wide as a rendered one.
        int blanks = datetime ? 19 : (mode != DateMode::Asis || how == Rendering::Key ? 10 : 8);
        std::memset(value, ' ', static_cast<size_t>(blanks));
        value[blanks] = '\0';
        return value;
    }
    std::tm tm = dbf_field_date(table, field);
    int day = tm.tm_mday, month = tm.tm_mon + 1, year = tm.tm_year + 1900;
    if (how == Rendering::Key) return dbf_field_raw_text(table, field);
    int first = 0, second = 0, third = 0;
    switch (mode) {
        case DateMode::Dmy: first = day; second = month; third = year; break;
        case DateMode::Mdy: first = month; second = day; third = year; break;
        case DateMode::Ymd: first = year; second = month; third = day; break;
        case DateMode::Asis: return dbf_field_raw_text(table, field);
    }
    const size_t index = static_cast<size_t>(mode);
    if (datetime) {
        std::snprintf(value, table.value.size(), table.datetime_format[index].c_str(), first, second,
                      third, tm.tm_hour, tm.tm_min, tm.tm_sec);
    } else {
        std::snprintf(value, table.value.size(), table.date_format[index].c_str(), first, second, third);
    }
    return value;
}

char* render_memo(DbfTable& table, int field) {
    const FieldDesc& desc = table.fields[field];
    long block = dbf_wide_length(desc) == 4 ? dbf_field_int(table, field) : dbf_field_atol(table, field);
    char* value = value_buffer(table);
    // Both texts in "%-10s".
    std::memcpy(value, block != 0 ? "Full memo " : "Empty memo", 11);
    return value;
}

}  // namespace

bool is_leap_year(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

long dbf_field_atol(const DbfTable& table, int field) {
    char digits[256];
    field_digits(table, field, digits);
    long value;
    return number_atol(digits, value) ? value : std::atol(digits);
}

double dbf_field_atof(const DbfTable& table, int field) {
    char digits[256];
    field_digits(table, field, digits);
    double value;
    return number_atof(digits, value) ? value : std::atof(digits);
}

int32_t dbf_field_int(const DbfTable& table, int field) {
    int32_t value = 0;
    if (const uint8_t* bytes = dbf_field_ptr(table, field, 4)) std::memcpy(&value, bytes, 4);
    return value;
}

double dbf_field_double(const DbfTable& table, int field) {
    double value = 0.0;
    if (const uint8_t* bytes = dbf_field_ptr(table, field, 8)) std::memcpy(&value, bytes, 8);
    return value;
}

double dbf_field_currency(const DbfTable& table, int field) {
    int64_t value = 0;
    if (const uint8_t* bytes = dbf_field_ptr(table, field, 8)) std::memcpy(&value, bytes, 8);
    return static_cast<double>(value) / 10000.0;
}

char* dbf_trim_value(DbfTable& table, TrimMode mode) {
    char* value = value_buffer(table);
    if (mode == TrimMode::Right || mode == TrimMode::All) {
        size_t length = std::strlen(value);
        while (length > 0 && value[length - 1] == ' ') value[--length] = '\0';
    }
    if (mode == TrimMode::Left || mode == TrimMode::All) {
        size_t blanks = 0;
        while (value[blanks] == ' ') ++blanks;
        if (blanks > 0) {
            // Moving the text left blank by blank leaves zeros behind its new end;
            // the sort key, which pads a trimmed value back to its width, relies on it.
            size_t length = std::strlen(value + blanks);
            std::memmove(value, value + blanks, length + 1);
            std::memset(value + length + 1, 0, blanks);
        }
    }
    return value;
}

char* dbf_field_raw_text(DbfTable& table, int field) {
    char* value = value_buffer(table);
    // The wide length for every type: at most 65535 bytes, so the terminator fits too.
    int length = dbf_wide_length(table.fields[field]);
    const uint8_t* bytes = dbf_field_ptr(table, field, length);
    if (bytes == nullptr) {
        length = 0;
    } else {
        std::memcpy(value, bytes, static_cast<size_t>(length));
    }
    value[length] = '\0';
    return dbf_trim_value(table, table.settings.trim_mode);
}

char* dbf_field_text(DbfTable& table, int field, Rendering how) {
    const FieldDesc& desc = table.fields[field];
    char* value = value_buffer(table);
    size_t size = table.value.size();
    char format[32];
    switch (desc.type) {
        case 'C': case 'L':
            return dbf_field_raw_text(table, field);
        case 'D': case 'T':
            return render_date(table, field, how);
        case 'N': case 'F': {
            // Stored digits that print back as themselves skip atof and printf.
            char digits[256];
            field_digits(table, field, digits);
            if (number_format_decimal(value, size, digits, desc.length, desc.decimals)) return value;
            std::snprintf(format, sizeof format, "%%%d.%df", desc.length, desc.decimals);
            std::snprintf(value, size, format, dbf_field_atof(table, field));
            return value;
        }
        case 'Y': {
            int64_t units = 0;
            if (const uint8_t* bytes = dbf_field_ptr(table, field, 8)) std::memcpy(&units, bytes, 8);
            if (!number_format_currency(value, size, units))
                std::snprintf(value, size, "%24.4f", dbf_field_currency(table, field));
            return value;
        }
        case 'I':
            if (!number_format_long(value, size, dbf_field_int(table, field)))
                std::snprintf(value, size, "%10ld", static_cast<long>(dbf_field_int(table, field)));
            return value;
        case 'B':
            if (desc.length != 8) return render_memo(table, field);
            std::snprintf(format, sizeof format, "%%20.%df", desc.decimals);
            std::snprintf(value, size, format, dbf_field_double(table, field));
            return value;
        case 'M': case 'G':
            return render_memo(table, field);
        default:
            value[0] = '\0';
            return value;
    }
}

double dbf_field_number(DbfTable& table, int field) {
    switch (table.fields[field].type) {
        case 'B': return dbf_field_double(table, field);
        case 'F': case 'N': return dbf_field_atof(table, field);
        case 'I': return dbf_field_int(table, field);
        case 'Y': return dbf_field_currency(table, field);
        default: return 0.0;
    }
}

std::tm dbf_field_date(DbfTable& table, int field) {
    const FieldDesc& desc = table.fields[field];
    if (is_day_number_layout(desc)) {
        const uint8_t* bytes = dbf_field_ptr(table, field, 8);
        if (bytes == nullptr) return unreadable_date();
        int32_t day_number, milliseconds;
        std::memcpy(&day_number, bytes, 4);
        std::memcpy(&milliseconds, bytes + 4, 4);
        return date_from_day_number(day_number, milliseconds);
    }
    // Text: only the field's own bytes are read, so a D or T field narrower than
    // its standard width lacks the last columns, which then count as 0.
    int width = dbf_field_width(table, field);
    const uint8_t* bytes = dbf_field_ptr(table, field, width);
    if (bytes == nullptr) return unreadable_date();
    const char* text = reinterpret_cast<const char*>(bytes);
    int length = width < 14 ? width : 14;
    std::tm tm{};
    tm.tm_year = date_part(text, length, 0, 4) - 1900;
    tm.tm_mon = date_part(text, length, 4, 2) - 1;
    tm.tm_mday = date_part(text, length, 6, 2);
    if (desc.type == 'T') {
        tm.tm_hour = date_part(text, length, 8, 2);
        tm.tm_min = date_part(text, length, 10, 2);
        tm.tm_sec = date_part(text, length, 12, 2);
    }
    return tm;
}

bool dbf_field_date_shown(DbfTable& table, int field) {
    // A year is stored in four digits, 0999 for 999: text whose first columns only
    // read as a small number ("04/25/1989" as the year 4) is no date.
    if (!is_day_number_layout(table.fields[field])) {
        const uint8_t* year = dbf_field_width(table, field) >= 4 ? dbf_field_ptr(table, field, 4) : nullptr;
        if (year == nullptr) return false;
        for (int i = 0; i < 4; ++i)
            if (year[i] < '0' || year[i] > '9') return false;
    }
    int64_t second = seconds_of(dbf_field_date(table, field));
    return second >= kFirstShownSecond && second <= kLastShownSecond;
}

int dbf_display_width(const DbfTable& table, int field) {
    const FieldDesc& desc = table.fields[field];
    switch (desc.type) {
        case 'B': return dbf_wide_length(desc) == 10 ? 10 : 20;
        case 'D': return table.settings.date_mode == DateMode::Asis ? dbf_field_width(table, field) : 10;
        case 'T': return table.settings.date_mode == DateMode::Asis ? dbf_field_width(table, field) : 19;
        case 'G': case 'I': case 'M': return 10;
        case 'Y': return 24;
        default: return dbf_field_width(table, field);
    }
}

const char* dbf_type_name(const DbfTable& table, int field) {
    const FieldDesc& desc = table.fields[field];
    switch (desc.type) {
        case 'C': return "Character";
        case 'N': return "Numeric";
        case 'F': return "Float";
        case 'L': return "Logical";
        case 'D': return "Date";
        case 'M': return "Memo";
        case 'T': return "DateTime";
        case 'G': return "General";
        case 'B': return desc.length == 8 ? "Double" : "Binary";
        case 'I': return "Integer";
        case 'Y': return "Currency";
        case '0': return "System";
        default: return "Unknown";
    }
}
