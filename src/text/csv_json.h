// text/csv_json.h
//
// Field values in the forms of CSV (RFC 4180) and JSON (RFC 8259), appended to a
// caller's string. Text arrives as UTF-8; numbers as the text a listing shows or
// the bytes stored (both are blanks, a sign, digits and a point); dates, date-times
// and logicals as their stored bytes.
//
// The plain forms serve both: a number without padding, plus sign or leading
// zeros ("  -007.50" is -7.50, "-.5" is -0.5, "5." is 5), a date YYYY-MM-DD, a
// date-time YYYY-MM-DD HH:MM:SS (fractions of a second dropped), a logical true or
// false. A value with no plain form (blanks, the stars of a number too wide for
// its field, "nan", a date that no calendar has) is an empty CSV field and a JSON
// null. No CSV form of these holds a comma or a quote, so none needs quoting.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// Appends the plain form of a number's text; false, appending nothing, when it holds none.
[[nodiscard]] bool append_plain_number(std::string_view text, std::string& out);
// Appends YYYY-MM-DD for a stored date YYYYMMDD; false, appending nothing, for a blank or impossible one.
[[nodiscard]] bool append_plain_date(std::string_view stored, std::string& out);
// Appends YYYY-MM-DD HH:MM:SS for a stored date-time, either 8 bytes (day number and
// milliseconds, little-endian) or 14 digits YYYYMMDDHHMMSS; false, appending nothing, if blank or impossible.
[[nodiscard]] bool append_plain_datetime(std::string_view stored, std::string& out);
// The value of a stored logical: T t Y y true, F f N n false, anything else ('?', blank) none.
// Inline: a CSV line asks it for every logical of every record.
[[nodiscard]] inline std::optional<bool> logical_value(std::string_view stored) {
    if (stored.empty()) return std::nullopt;
    switch (stored[0]) {
        case 'T': case 't': case 'Y': case 'y': return true;
        case 'F': case 'f': case 'N': case 'n': return false;
        default: return std::nullopt;
    }
}

// Appends one CSV field: as it is, or in double quotes with its quotes doubled when
// it holds a comma, a quote, CR or LF.
void csv_append_field(std::string_view text, std::string& out);
// Appends a number's plain form, or nothing.
void csv_append_number(std::string_view text, std::string& out);
// Appends a stored date's plain form, or nothing.
void csv_append_date(std::string_view stored, std::string& out);
// Appends a stored date-time's plain form, or nothing.
void csv_append_datetime(std::string_view stored, std::string& out);
// Appends true, false, or nothing.
void csv_append_logical(std::string_view stored, std::string& out);

// Appends a JSON string of UTF-8 text: in quotes, with \" \\ \b \f \n \r \t, other
// control characters as \u00XX, and each byte of malformed UTF-8 as U+FFFD.
void json_append_string(std::string_view text, std::string& out);
// Appends a number's plain form, or null.
void json_append_number(std::string_view text, std::string& out);
// Appends a stored date's plain form as a JSON string, or null.
void json_append_date(std::string_view stored, std::string& out);
// Appends a stored date-time's plain form as a JSON string, or null.
void json_append_datetime(std::string_view stored, std::string& out);
// Appends true, false or null.
void json_append_logical(std::string_view stored, std::string& out);
