// table/field_render.cpp
#include "table/field_render.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>
#include <string>

#include "table/number_text.h"

namespace {

constexpr int64_t kDay = 86400;
// Seconds from 1970 (as if in UTC) that a time zone can't move out of the signed
// 32-bit range, nor onto -1: zone offsets stay below a day, leap seconds far below.
constexpr int64_t kSafeLow = static_cast<int64_t>(INT32_MIN) + 2 * kDay;
constexpr int64_t kSafeHigh = static_cast<int64_t>(INT32_MAX) - 2 * kDay;

int64_t floor_div(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

// Days from 1 January 1970 to the given day of the proleptic Gregorian calendar.
int64_t days_from_civil(int64_t year, int64_t month, int64_t day) {
    year -= month <= 2;
    const int64_t era = floor_div(year, 400);
    const int64_t year_of_era = year - era * 400;
    const int64_t day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const int64_t day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
    return era * 146097 + day_of_era - 719468;
}

// Whether mktime, with the fields as they are (not normalised) and tm_isdst 0,
// surely gives a time within the signed 32-bit range and other than -1, in any zone.
// False means "ask mktime", not "invalid".
bool surely_shown(const std::tm& tm) {
    const int64_t months = tm.tm_mon;
    const int64_t year = static_cast<int64_t>(tm.tm_year) + 1900 + floor_div(months, 12);
    const int64_t month = months - floor_div(months, 12) * 12 + 1;
    const int64_t seconds = (days_from_civil(year, month, 1) + tm.tm_mday - 1) * kDay +
                            static_cast<int64_t>(tm.tm_hour) * 3600 + static_cast<int64_t>(tm.tm_min) * 60 + tm.tm_sec;
    return (seconds >= kSafeLow && seconds <= -2 * kDay) || (seconds >= 2 * kDay && seconds <= kSafeHigh);
}

// The quick case of surely_shown: a plain calendar date from 1902 to 2037, away
// from the moment -1 around the start of 1970; hours, minutes and seconds of up to
// 99 move it by less than five days.
bool plainly_shown(const std::tm& tm, bool datetime) {
    const int year = tm.tm_year + 1900;
    if (year < 1902 || year > 2037 || year == 1969 || year == 1970) return false;
    if (tm.tm_mon < 0 || tm.tm_mon > 11 || tm.tm_mday < 1 || tm.tm_mday > 31) return false;
    return !datetime || (tm.tm_hour >= 0 && tm.tm_hour <= 99 && tm.tm_min >= 0 && tm.tm_min <= 99 &&
                         tm.tm_sec >= 0 && tm.tm_sec <= 99);
}

int digit_pair(const uint8_t* bytes) { return (bytes[0] - '0') * 10 + (bytes[1] - '0'); }

// "%02d" of a number in 0..99 and "%04d" of one in 0..9999.
char* two_digits(char* out, int value) {
    out[0] = static_cast<char>('0' + value / 10);
    out[1] = static_cast<char>('0' + value % 10);
    return out + 2;
}

char* four_digits(char* out, int value) {
    out = two_digits(out, value / 100);
    return two_digits(out, value % 100);
}

// The usual date format of a mode with its delimiter, as the table keeps them.
std::string usual_date_format(DateMode mode, char delimiter) {
    std::string format = mode == DateMode::Ymd ? "%04d.%02d.%02d" : "%02d.%02d.%04d";
    format[4] = format[9] = delimiter;
    return format;
}

std::string usual_datetime_format(DateMode mode, char delimiter) {
    return usual_date_format(mode, delimiter) + " %02d:%02d:%02d";
}

}  // namespace

FieldRenderer::FieldRenderer(const DbfTable& table, int field) : field_(field) {
    const FieldDesc& desc = table.fields[static_cast<size_t>(field)];
    trim_ = table.settings.trim_mode;
    switch (desc.type) {
        case 'C': case 'L':
            kind_ = Kind::Text;
            width_ = dbf_wide_length(desc);
            break;
        case 'N': case 'F':
            kind_ = Kind::Decimal;
            width_ = desc.length;
            decimals_ = desc.decimals;
            break;
        case 'I':
            kind_ = Kind::Integer;
            break;
        case 'Y':
            kind_ = Kind::Currency;
            break;
        case 'M': case 'G':
            kind_ = Kind::Memo;
            break;
        case 'B':
            kind_ = desc.length != 8 ? Kind::Memo : Kind::Plain;
            break;
        case 'D': case 'T': {
            kind_ = Kind::Date;
            width_ = dbf_wide_length(desc);
            // A date-time of 8 bytes is a day number and milliseconds: read by dbf_field_date.
            date_width_ = desc.type == 'T' && width_ == 8 ? 0 : desc.length;
            datetime_ = desc.type == 'T';
            date_mode_ = table.settings.date_mode;
            if (date_mode_ == DateMode::Asis) break;
            const size_t index = static_cast<size_t>(date_mode_);
            const std::string& format = datetime_ ? table.datetime_format[index] : table.date_format[index];
            delimiter_ = format.size() > 4 ? format[4] : '.';
            usual_format_ = delimiter_ != '%' && delimiter_ != '\0' &&
                            format == (datetime_ ? usual_datetime_format(date_mode_, delimiter_)
                                                 : usual_date_format(date_mode_, delimiter_));
            break;
        }
        default:
            kind_ = Kind::Plain;
            break;
    }
    bytes_present_ = dbf_field_ptr(table, field, width_) != nullptr;
    if (kind_ == Kind::Text || (kind_ == Kind::Date && date_mode_ == DateMode::Asis)) {
        const size_t start = std::min<size_t>(desc.record_offset, kRecordBufferSize);
        raw_range_ = {start, std::min<size_t>(start + static_cast<size_t>(width_), kRecordBufferSize)};
    }
    out_.assign(static_cast<size_t>(std::max(width_, 64)) + 1, '\0');
    offset_ = desc.record_offset;
    over_read_ = static_cast<int64_t>(offset_) + width_ + 32 <= kRecordBufferSize;
    int quick_bytes = width_;
    if (kind_ == Kind::Integer) quick_bytes = 4;
    if (kind_ == Kind::Currency) quick_bytes = 8;
    if (kind_ == Kind::Memo) {
        memo_length_ = dbf_wide_length(desc) == 4 ? 0 : desc.length;
        quick_bytes = memo_length_ == 0 ? 4 : memo_length_;
    }
    quick_present_ = dbf_field_ptr(table, field, quick_bytes) != nullptr;
    quick_room_ = out_.size() + 32;
}

// dbf_field_text itself, copied out of the value buffer, which the next field's
// rendering may need.
std::string_view FieldRenderer::plain(DbfTable& table) {
    const char* text = dbf_field_text(table, field_);
    const size_t length = std::strlen(text);
    if (out_.size() <= length) out_.resize(length + 1);
    std::memcpy(out_.data(), text, length + 1);
    return std::string_view(out_.data(), length);
}

// The field's bytes as dbf_field_raw_text gives them: cut at a NUL, then trimmed.
std::string_view FieldRenderer::text(const DbfTable& table, bool may_hold_nul) {
    if (!bytes_present_) return std::string_view();
    const char* bytes = reinterpret_cast<const char*>(table.record.data() + offset_);
    size_t end = static_cast<size_t>(width_);
    if (may_hold_nul) {
        if (const void* nul = std::memchr(bytes, '\0', end)) end = static_cast<size_t>(static_cast<const char*>(nul) - bytes);
    }
    size_t start = 0;
    if (trim_ == TrimMode::Right || trim_ == TrimMode::All)
        while (end > 0 && bytes[end - 1] == ' ') --end;
    if (trim_ == TrimMode::Left || trim_ == TrimMode::All)
        while (start < end && bytes[start] == ' ') ++start;
    return std::string_view(bytes + start, end - start);
}

std::string_view FieldRenderer::decimal(DbfTable& table) {
    if (!bytes_present_) return plain(table);
    const char* stored =
        reinterpret_cast<const char*>(table.record.data() + table.fields[static_cast<size_t>(field_)].record_offset);
    if (number_is_printed_form(stored, width_, decimals_)) return std::string_view(stored, static_cast<size_t>(width_));
    const char* end = decimal_quick(reinterpret_cast<const uint8_t*>(stored), out_.data());
    if (end == nullptr) return plain(table);
    return std::string_view(out_.data(), static_cast<size_t>(end - out_.data()));
}

// A stored number printf prints otherwise, printed at `out` (which has room for out_'s size).
char* FieldRenderer::decimal_quick(const uint8_t* bytes, char* out) const {
    char digits[256];
    std::memcpy(digits, bytes, static_cast<size_t>(width_));
    digits[width_] = '\0';
    size_t length = 0;
    if (!number_format_decimal(out, out_.size(), digits, width_, decimals_, &length)) return nullptr;
    return out + length;
}

char* FieldRenderer::currency_quick(const uint8_t* record, char* out) const {
    int64_t units = 0;
    if (quick_present_) std::memcpy(&units, record + offset_, 8);
    size_t length = 0;
    if (!number_format_currency(out, out_.size(), units, &length)) return nullptr;
    return out + length;
}

std::string_view FieldRenderer::date(DbfTable& table, bool may_hold_nul) {
    if (date_mode_ == DateMode::Asis && !datetime_ && date_width_ >= 8 && bytes_present_ &&
        plain_stored_date(table.record.data() + offset_))
        return text(table, may_hold_nul);  // the common case straight from the digits
    if (date_mode_ != DateMode::Asis && !usual_format_) return plain(table);
    std::tm tm{};
    if (!digits_of_date(table.record.data(), tm)) tm = dbf_field_date(table, field_);
    if (!plainly_shown(tm, datetime_) && !surely_shown(tm)) return plain(table);
    if (date_mode_ == DateMode::Asis) return text(table, may_hold_nul);
    const char* end = print_date(tm, out_.data());
    if (end == nullptr) return plain(table);
    return std::string_view(out_.data(), static_cast<size_t>(end - out_.data()));
}

// date() for the dates whose digits tell all.
char* FieldRenderer::date_quick(const uint8_t* record, char* out) const {
    if (date_mode_ == DateMode::Asis && !datetime_ && date_width_ >= 8 && bytes_present_ &&
        plain_stored_date(record + offset_))
        return text_quick(record + offset_, out);
    if (date_mode_ != DateMode::Asis && !usual_format_) return nullptr;
    std::tm tm{};
    if (!digits_of_date(record, tm) || !plainly_shown(tm, datetime_)) return nullptr;
    return date_mode_ == DateMode::Asis ? text_quick(record + offset_, out) : print_date(tm, out);
}

char* FieldRenderer::print_date(const std::tm& tm, char* out) const {
    const int day = tm.tm_mday, month = tm.tm_mon + 1, year = tm.tm_year + 1900;
    int first = day, second = month, third = year;
    if (date_mode_ == DateMode::Mdy) {
        first = month;
        second = day;
    } else if (date_mode_ == DateMode::Ymd) {
        first = year;
        third = day;
    }
    const bool year_first = date_mode_ == DateMode::Ymd;
    const int two_a = year_first ? second : first, two_b = year_first ? third : second;
    if (year < 0 || year > 9999 || two_a < 0 || two_a > 99 || two_b < 0 || two_b > 99) return nullptr;
    if (datetime_ && (tm.tm_hour < 0 || tm.tm_hour > 99 || tm.tm_min < 0 || tm.tm_min > 99 || tm.tm_sec < 0 ||
                      tm.tm_sec > 99))
        return nullptr;
    char* p = out;
    p = year_first ? four_digits(p, first) : two_digits(p, first);
    *p++ = delimiter_;
    p = two_digits(p, second);
    *p++ = delimiter_;
    p = year_first ? two_digits(p, third) : four_digits(p, third);
    if (datetime_) {
        *p++ = ' ';
        p = two_digits(p, tm.tm_hour);
        *p++ = ':';
        p = two_digits(p, tm.tm_min);
        *p++ = ':';
        p = two_digits(p, tm.tm_sec);
    }
    *p = '\0';
    return p;
}

// dbf_field_date of a text date whose columns are all digits, read straight from
// them; false for any other date.
bool FieldRenderer::digits_of_date(const uint8_t* record, std::tm& tm) const {
    const int needed = datetime_ ? 14 : 8;
    if (date_width_ < needed || !bytes_present_) return false;
    const uint8_t* bytes = record + offset_;
    for (int i = 0; i < needed; ++i)
        if (bytes[i] < '0' || bytes[i] > '9') return false;
    tm.tm_year = digit_pair(bytes) * 100 + digit_pair(bytes + 2) - 1900;
    tm.tm_mon = digit_pair(bytes + 4) - 1;
    tm.tm_mday = digit_pair(bytes + 6);
    if (datetime_) {
        tm.tm_hour = digit_pair(bytes + 8);
        tm.tm_min = digit_pair(bytes + 10);
        tm.tm_sec = digit_pair(bytes + 12);
    }
    return true;
}

std::string_view FieldRenderer::render(DbfTable& table, bool may_hold_nul) {
    size_t length = 0;
    switch (kind_) {
        case Kind::Text:
            return text(table, may_hold_nul);
        case Kind::Decimal:
            return decimal(table);
        case Kind::Integer: {
            const char* end = put_quick(table.record.data(), out_.data());  // never declines
            return std::string_view(out_.data(), static_cast<size_t>(end - out_.data()));
        }
        case Kind::Currency: {
            int64_t units = 0;
            if (const uint8_t* bytes = dbf_field_ptr(table, field_, 8)) std::memcpy(&units, bytes, 8);
            if (!number_format_currency(out_.data(), out_.size(), units, &length)) return plain(table);
            return std::string_view(out_.data(), length);
        }
        case Kind::Memo: {
            const FieldDesc& desc = table.fields[static_cast<size_t>(field_)];
            const bool binary = dbf_wide_length(desc) == 4;
            // Blanks alone name no block, as atol reads them.
            const uint8_t* bytes = binary ? nullptr : dbf_field_ptr(table, field_, desc.length);
            if (bytes != nullptr && std::all_of(bytes, bytes + desc.length, [](uint8_t b) { return b == ' '; }))
                return std::string_view("Empty memo");
            long block = binary ? dbf_field_int(table, field_) : dbf_field_atol(table, field_);
            return block != 0 ? std::string_view("Full memo ") : std::string_view("Empty memo");
        }
        case Kind::Date:
            return date(table, may_hold_nul);
        case Kind::Plain:
            break;
    }
    return plain(table);
}
