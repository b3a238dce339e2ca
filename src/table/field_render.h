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
#pragma once

#include <cstdint>
#include <ctime>
#include <string_view>
#include <utility>
#include <vector>

#include "table/dbf.h"

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

  private:
    enum class Kind { Text, Decimal, Integer, Currency, Memo, Date, Plain };

    std::string_view text(const DbfTable& table, bool may_hold_nul);
    std::string_view decimal(DbfTable& table);
    std::string_view date(DbfTable& table, bool may_hold_nul);
    std::string_view plain(DbfTable& table);
    bool digits_of_date(const DbfTable& table, std::tm& tm) const;

    int field_;
    Kind kind_ = Kind::Plain;
    int width_ = 0;            // bytes read from the record
    int date_width_ = 0;       // bytes a text date is read from
    int decimals_ = 0;
    bool bytes_present_ = false;  // the field lies within the record buffer
    std::pair<size_t, size_t> raw_range_{0, 0};
    TrimMode trim_ = TrimMode::None;
    // Dates: the mode, and whether its format is the usual one around `delimiter`.
    DateMode date_mode_ = DateMode::Asis;
    bool datetime_ = false;
    bool usual_format_ = false;
    char delimiter_ = '.';
    std::vector<char> out_;
};
