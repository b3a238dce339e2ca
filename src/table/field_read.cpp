// table/field_read.cpp
//
// Turning the bytes of one field of the record buffer into text, numbers and
// calendar values. Binary layouts: I is a signed 32-bit integer, Y a signed 64-bit
// integer of units of 1/10000, B of length 8 an IEEE double, all little-endian.
#include <cstdlib>
#include <cstring>

#include "table/dbf.h"

namespace {

// The first `length` bytes of a field as a NUL-terminated text, for atol and atof.
std::string field_digits(const DbfTable& table, int field) {
    int length = table.fields[field].length;
    const uint8_t* bytes = dbf_field_ptr(table, field, length);
    if (bytes == nullptr) return std::string();
    return std::string(reinterpret_cast<const char*>(bytes), static_cast<size_t>(length));
}

}  // namespace

bool is_leap_year(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

long dbf_field_atol(const DbfTable& table, int field) { return std::atol(field_digits(table, field).c_str()); }

double dbf_field_atof(const DbfTable& table, int field) { return std::atof(field_digits(table, field).c_str()); }

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
