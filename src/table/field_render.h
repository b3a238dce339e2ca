// table/field_render.h
//
// Field rendering for walks over many records, such as a listing: the text
// dbf_field_text gives, byte for byte, up to its first NUL (where every reader of
// that text ends it), but with the field's layout and the table's settings worked
// out once rather than for every value.
//
// The quick ways, each falling back on dbf_field_text where it can't be sure:
//   - character and logical fields are cut at their first NUL and trimmed where
//     they stand in the record buffer;
//   - a number stored as printf would print it is that text; others go through
//     the exact quick conversions of table/number_text.h;
//   - a date or date-time is judged by calendar arithmetic where it lies well
//     inside the span of a signed 32-bit time_t (more than two days from either
//     end, and from the moment -1), where no time zone can move it out; only dates
//     near those edges ask mktime. Its numbers are printed by hand for the usual
//     formats.
//   - memo fields give the two fixed words.
//
// put_quick is the quickest way of all, for a sink that writes a whole record in
// one pass: the common cases above written straight into the sink's room, with no
// call per field; it declines what it can't do and the caller renders the record.
#pragma once

#include <charconv>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <string_view>
#include <utility>
#include <vector>

#include "table/dbf.h"
#include "table/number_text.h"

class FieldRenderer {
  public:
    // Prepares `field` for rendering under the table's settings as they stand now.
    FieldRenderer(const DbfTable& table, int field);

    // The field of the record in the table's buffer, as dbf_field_text renders it
    // for display, up to its first NUL. It stays until the next call or the next
    // record read; the value buffer may be overwritten. `may_hold_nul` false
    // promises that no byte of raw_range() is NUL.
    std::string_view render(DbfTable& table, bool may_hold_nul = true);

    // Where the renderings that are the field's own bytes (character, logical, and
    // dates shown as stored) come from: [first, second) of the record buffer; an
    // empty range for every other kind.
    std::pair<size_t, size_t> raw_range() const { return raw_range_; }

    // Writes what render() gives for the record at `record` (the table's record
    // buffer) at `out`, which has room for quick_room() bytes, and returns the end
    // of it; null, with nothing written that counts, where only render() can tell.
    // The caller has made sure that no byte of raw_range() is NUL.
    inline char* put_quick(const uint8_t* record, char* out) const;
    // put_quick without the blanks at either end of what it writes.
    inline char* put_quick_trimmed(const uint8_t* record, char* out) const;
    // The room put_quick may write in.
    size_t quick_room() const { return quick_room_; }
    // Whether a date field's eight stored digits of a day from 1902 to 2037 (1969
    // and 1970 aside) render as those digits in the date mode's columns: as stored,
    // or day, month and four-digit year in the mode's order.
    bool dates_in_columns() const {
        return kind_ == Kind::Date && !datetime_ && (date_mode_ == DateMode::Asis ? date_width_ >= 8 : usual_format_);
    }

  private:
    enum class Kind { Text, Decimal, Integer, Currency, Memo, Date, Plain };

    std::string_view text(const DbfTable& table, bool may_hold_nul);
    std::string_view decimal(DbfTable& table);
    std::string_view date(DbfTable& table, bool may_hold_nul);
    std::string_view plain(DbfTable& table);
    bool digits_of_date(const uint8_t* record, std::tm& tm) const;
    // The date in the usual format of the date mode at `out`; null where a number
    // of it does not fit its columns.
    char* print_date(const std::tm& tm, char* out) const;
    char* date_quick(const uint8_t* record, char* out) const;
    char* decimal_quick(const uint8_t* bytes, char* out) const;
    char* currency_quick(const uint8_t* record, char* out) const;
    // `count` bytes from `in` to `out`; with `over` it may read and write up to 32
    // bytes past either end.
    static char* copy(char* out, const uint8_t* in, size_t count, bool over) {
        if (over && count <= 16)
            std::memcpy(out, in, 16);
        else if (over && count <= 32)
            std::memcpy(out, in, 32);
        else
            std::memcpy(out, in, count);
        return out + count;
    }
    // The bytes of a text field as text() gives them, without a NUL in them.
    char* text_quick(const uint8_t* bytes, char* out) const {
        size_t start = 0, end = static_cast<size_t>(width_);
        if (trim_ == TrimMode::Right || trim_ == TrimMode::All)
            while (end > 0 && bytes[end - 1] == ' ') --end;
        if (trim_ == TrimMode::Left || trim_ == TrimMode::All)
            while (start < end && bytes[start] == ' ') ++start;
        return copy(out, bytes + start, end - start, over_read_);
    }
    // Whether a stored date's 8 digits make a plain calendar date that is shown as it stands.
    static bool plain_stored_date(const uint8_t* b) {
        for (int i = 0; i < 8; ++i)
            if (b[i] < '0' || b[i] > '9') return false;
        const int year = (b[0] - '0') * 1000 + (b[1] - '0') * 100 + (b[2] - '0') * 10 + (b[3] - '0');
        const int month = (b[4] - '0') * 10 + (b[5] - '0'), day = (b[6] - '0') * 10 + (b[7] - '0');
        return year >= 1902 && year <= 2037 && year != 1969 && year != 1970 && month >= 1 && month <= 12 &&
               day >= 1 && day <= 31;
    }
    static char* memo_words(char* out, bool full) {
        std::memcpy(out, full ? "Full memo " : "Empty memo", 10);
        return out + 10;
    }

    int field_;
    Kind kind_ = Kind::Plain;
    int width_ = 0;            // bytes read from the record
    int date_width_ = 0;       // bytes a text date is read from
    int decimals_ = 0;
    bool bytes_present_ = false;  // the field lies within the record buffer
    size_t offset_ = 0;           // of the field in the record
    bool over_read_ = false;      // 32 bytes past the field are still in the record buffer
    bool quick_present_ = false;  // the bytes the quick way reads lie within the record buffer
    int memo_length_ = 0;         // memo fields: the stored length; 0 for a binary block number
    size_t quick_room_ = 0;
    std::pair<size_t, size_t> raw_range_{0, 0};
    TrimMode trim_ = TrimMode::None;
    // Dates: the mode, and whether its format is the usual one around `delimiter`.
    DateMode date_mode_ = DateMode::Asis;
    bool datetime_ = false;
    bool usual_format_ = false;
    char delimiter_ = '.';
    std::vector<char> out_;
};

char* FieldRenderer::put_quick(const uint8_t* record, char* out) const {
    const uint8_t* bytes = record + offset_;
    switch (kind_) {
        case Kind::Text:
            return bytes_present_ ? text_quick(bytes, out) : out;
        case Kind::Decimal:
            if (!bytes_present_) return nullptr;
            if (over_read_ && width_ <= 16
                    ? number_is_printed_form_16(bytes, width_, decimals_)
                    : number_is_printed_form(reinterpret_cast<const char*>(bytes), width_, decimals_))
                return copy(out, bytes, static_cast<size_t>(width_), over_read_);
            return decimal_quick(bytes, out);
        case Kind::Integer: {
            // "%10ld": the digits right-aligned behind blanks, or wider if they must be.
            int32_t value = 0;
            if (quick_present_) std::memcpy(&value, bytes, 4);
            if (value > -100000000 && value < 1000000000) {
                // Nine characters at most: written from the right over ten blanks.
                std::memcpy(out, "                ", 16);
                uint32_t rest = static_cast<uint32_t>(value < 0 ? -value : value);
                char* p = out + 10;
                do {
                    *--p = static_cast<char>('0' + rest % 10);
                    rest /= 10;
                } while (rest != 0);
                if (value < 0) *--p = '-';
                return out + 10;
            }
            return std::to_chars(out, out + 16, value).ptr;
        }
        case Kind::Memo: {
            if (memo_length_ == 0) {
                int32_t block = 0;
                if (quick_present_) std::memcpy(&block, bytes, 4);
                return memo_words(out, block != 0);
            }
            // atol of the stored digits: blanks alone, or nothing, name no block.
            if (!quick_present_) return memo_words(out, false);
            int i = 0;
            while (i < memo_length_ && bytes[i] == ' ') ++i;
            if (i == memo_length_) return memo_words(out, false);
            const uint8_t first = bytes[i];
            if (first == '+' || first == '-' || (first >= '\t' && first <= '\r')) return nullptr;
            bool full = false;
            for (; i < memo_length_ && bytes[i] >= '0' && bytes[i] <= '9'; ++i) full = full || bytes[i] != '0';
            return memo_words(out, full);
        }
        case Kind::Date:
            if (date_mode_ == DateMode::Asis && !datetime_ && date_width_ >= 8 && bytes_present_ &&
                plain_stored_date(bytes))
                return text_quick(bytes, out);
            return date_quick(record, out);
        case Kind::Currency:
            return currency_quick(record, out);
        case Kind::Plain:
            break;
    }
    return nullptr;
}

char* FieldRenderer::put_quick_trimmed(const uint8_t* record, char* out) const {
    const uint8_t* bytes = record + offset_;
#if defined(__SSE2__)
    // The field's own bytes without their blanks, found from a mask of them all
    // rather than byte by byte.
    const bool whole = bytes_present_ && over_read_ && width_ <= 32;
    if (whole && (kind_ == Kind::Text || (kind_ == Kind::Date && date_mode_ == DateMode::Asis && !datetime_ &&
                                          date_width_ >= 8 && plain_stored_date(bytes)))) {
        const __m128i blank = _mm_set1_epi8(' ');
        const auto blanks = [&blank](const uint8_t* at) {
            return static_cast<uint32_t>(
                _mm_movemask_epi8(_mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at)), blank)));
        };
        const uint64_t all = (uint64_t{1} << width_) - 1;
        const uint64_t others = ~(blanks(bytes) | uint64_t{blanks(bytes + 16)} << 16) & all;
        if (others == 0) return out;
        const int start = __builtin_ctzll(others), end = 64 - __builtin_clzll(others);
        std::memcpy(out, bytes + start, 32);
        return out + (end - start);
    }
    if (kind_ == Kind::Decimal && bytes_present_ && over_read_ && width_ <= 16 &&
        number_is_printed_form_16(bytes, width_, decimals_)) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
        const uint32_t blanks = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_set1_epi8(' '))));
        const int start = __builtin_ctz(~blanks);  // the printed form ends in a digit
        std::memcpy(out, bytes + start, 16);
        return out + (width_ - start);
    }
    if (kind_ == Kind::Integer) {
        int32_t value = 0;
        if (quick_present_) std::memcpy(&value, bytes, 4);
        return std::to_chars(out, out + 16, value).ptr;
    }
#endif
    char* end = put_quick(record, out);
    if (end == nullptr) return nullptr;
    const char* start = out;
    while (end > start && end[-1] == ' ') --end;
    while (start < end && *start == ' ') ++start;
    if (start > out) std::memmove(out, start, static_cast<size_t>(end - start));
    return out + (end - start);
}
