// text/codepage.h
//
// Two single-byte code pages, OEM (CP866) and ANSI (CP1251), converted by two
// built-in 256-byte tables or by character sets of the settings file, and case
// folding for case-insensitive work. All operations keep a text's length; the
// conversions are called with the same buffer as source and destination.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "table/dbf.h"

// The character sets of the settings file: TableOEM= and TableAnsi= pair their
// bytes by position for conversion, Normal= and Uppercase= for folding. The first
// value of each key stays.
struct CharacterSets {
    std::optional<std::string> normal, lowercase, uppercase, table_oem, table_ansi;
};

// Settings values keep at most this many characters.
inline constexpr size_t kSettingsValueMax = 255;

// The built-in pair, indexed by a byte's unsigned value; each is the other's inverse.
extern const std::array<uint8_t, 256> oem_to_ansi_table;
extern const std::array<uint8_t, 256> ansi_to_oem_table;

// Converts a NUL-terminated text by the built-in tables; source and destination may be one buffer.
void oem_to_ansi_default(const char* source, char* destination);
void ansi_to_oem_default(const char* source, char* destination);
// Converts by the TableOEM=/TableAnsi= pairs; a byte without a partner becomes '.'.
void oem_to_ansi_by_set(const CharacterSets& sets, const char* source, char* destination);
void ansi_to_oem_by_set(const CharacterSets& sets, const char* source, char* destination);
// Folds a-z, and the bytes of Normal= to their partners in Uppercase=.
void fold_case_by_set(const CharacterSets& sets, char* text);
// The letters of CP866 to upper case.
void fold_case_default(char* text);
// Folds only if the table is case-insensitive, by its sets or the default.
void fold_value(char* text, const DbfTable& table);
// Converts in place by the table's sets, or the built-in table.
void convert_ansi_to_oem(const DbfTable& table, char* text);
void convert_oem_to_ansi(const DbfTable& table, char* text);
// Points the table at the sets where both halves of a pair are given.
void install_character_sets(DbfTable& table, const CharacterSets& sets);
// Gives `slot` the text (up to a NUL, at most kSettingsValueMax bytes) unless it has a value.
void set_once(std::optional<std::string>& slot, std::string_view text);
