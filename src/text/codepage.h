// text/codepage.h
//
// Two single-byte code pages, OEM (CP866) and ANSI (CP1251), converted by two
// built-in 256-byte tables or by character sets of the settings file, and case
// folding for case-insensitive work. All operations keep a text's length; the
// conversions are called with the same buffer as source and destination.
#pragma once

#include <array>
#include <cstdint>

#include "table/dbf.h"

// The built-in pair, indexed by a byte's unsigned value; each is the other's inverse.
extern const std::array<uint8_t, 256> oem_to_ansi_table;
extern const std::array<uint8_t, 256> ansi_to_oem_table;

void oem_to_ansi_default(const char* source, char* destination);
void ansi_to_oem_default(const char* source, char* destination);
void oem_to_ansi_by_set(const char* source, char* destination);
void ansi_to_oem_by_set(const char* source, char* destination);
void fold_case_by_set(char* text);
void fold_case_default(char* text);
// Folds only if the table is case-insensitive, through its slot or the default.
void fold_value(char* text, const DbfTable& table);
// Converts in place through the table's slot, or the built-in table.
void convert_ansi_to_oem(const DbfTable& table, char* text);
void convert_oem_to_ansi(const DbfTable& table, char* text);
