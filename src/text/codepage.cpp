// text/codepage.cpp
//
// The built-in conversion is not the published pair of code pages but a
// permutation in which whole blocks of the upper half trade places:
//
//   OEM 0x00-0x7F  <->  ANSI 0x00-0x7F   unchanged
//   OEM 0x80-0xAF  <->  ANSI 0xC0-0xEF   Cyrillic А to п
//   OEM 0xB0-0xDF  <->  ANSI 0x80-0xAF   line drawing
//   OEM 0xE0-0xEF  <->  ANSI 0xF0-0xFF   Cyrillic р to я
//   OEM 0xF0-0xFF  <->  ANSI 0xB0-0xBF   Ё and the rest
//
// So the 64 Russian letters land on their true codes and every byte survives a
// conversion there and back.
//
// The settings file can replace both: TableOEM= and TableAnsi= pair their bytes by
// position, as do Normal= and Uppercase= for folding. A set is read up to its first
// NUL; a position at or past that end holds nothing.
#include "text/codepage.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::array<uint8_t, 256> build_oem_to_ansi() {
    std::array<uint8_t, 256> table{};
    for (int byte = 0; byte < 256; ++byte) {
        int mapped = byte;
        if (byte >= 0xF0) mapped = byte - 0x40;
        else if (byte >= 0xE0) mapped = byte + 0x10;
        else if (byte >= 0xB0) mapped = byte - 0x30;
        else if (byte >= 0x80) mapped = byte + 0x40;
        table[byte] = static_cast<uint8_t>(mapped);
    }
    return table;
}

constexpr std::array<uint8_t, 256> invert(const std::array<uint8_t, 256>& forward) {
    std::array<uint8_t, 256> table{};
    for (int byte = 0; byte < 256; ++byte) table[forward[byte]] = static_cast<uint8_t>(byte);
    return table;
}

constexpr bool is_inverse(const std::array<uint8_t, 256>& forward, const std::array<uint8_t, 256>& back) {
    for (int byte = 0; byte < 256; ++byte)
        if (back[forward[byte]] != byte || forward[back[byte]] != byte) return false;
    return true;
}

constexpr std::array<uint8_t, 256> kOemToAnsi = build_oem_to_ansi();
constexpr std::array<uint8_t, 256> kAnsiToOem = invert(kOemToAnsi);
static_assert(is_inverse(kOemToAnsi, kAnsiToOem), "the built-in tables must form a permutation");

void convert_by_table(const std::array<uint8_t, 256>& table, const char* source, char* destination) {
    size_t i = 0;
    for (; source[i] != '\0'; ++i) destination[i] = static_cast<char>(table[static_cast<uint8_t>(source[i])]);
    destination[i] = '\0';
}

// First position of a byte in a set, or -1. A set that was never given is empty.
int find_in_set(const std::optional<std::string>& set, char byte) {
    if (!set) return -1;
    const char* text = set->c_str();
    const char* found = std::strchr(text, byte);
    return found == nullptr ? -1 : static_cast<int>(found - text);
}

// The byte at a position of a set, or NUL where the set has ended.
char byte_in_set(const std::optional<std::string>& set, int position) {
    if (!set) return '\0';
    const char* text = set->c_str();
    return static_cast<size_t>(position) < std::strlen(text) ? text[position] : '\0';
}

void convert_by_set(const std::optional<std::string>& from, const std::optional<std::string>& to,
                    const char* source, char* destination) {
    size_t i = 0;
    for (; source[i] != '\0'; ++i) {
        char byte = source[i];
        int position = find_in_set(from, byte);
        if (position >= 0) {
            char partner = byte_in_set(to, position);
            byte = partner != '\0' ? partner : '.';
        }
        destination[i] = byte;
    }
    destination[i] = '\0';
}

}  // namespace

const std::array<uint8_t, 256> oem_to_ansi_table = kOemToAnsi;
const std::array<uint8_t, 256> ansi_to_oem_table = kAnsiToOem;

void oem_to_ansi_default(const char* source, char* destination) {
    convert_by_table(kOemToAnsi, source, destination);
}

void ansi_to_oem_default(const char* source, char* destination) {
    convert_by_table(kAnsiToOem, source, destination);
}

void oem_to_ansi_by_set(const CharacterSets& sets, const char* source, char* destination) {
    convert_by_set(sets.table_oem, sets.table_ansi, source, destination);
}

void ansi_to_oem_by_set(const CharacterSets& sets, const char* source, char* destination) {
    convert_by_set(sets.table_ansi, sets.table_oem, source, destination);
}

void fold_case_by_set(const CharacterSets& sets, char* text) {
    for (char* p = text; *p != '\0'; ++p) {
        uint8_t byte = static_cast<uint8_t>(*p);
        if (byte >= 'a' && byte <= 'z') {  // Latin letters fold whatever the sets say
            *p = static_cast<char>(byte - 0x20);
            continue;
        }
        int position = find_in_set(sets.normal, *p);
        if (position < 0) continue;
        char partner = byte_in_set(sets.uppercase, position);
        if (partner != '\0') *p = partner;
    }
}

// The letters of CP866, whether the table's text is OEM or not.
void fold_case_default(char* text) {
    for (char* p = text; *p != '\0'; ++p) {
        uint8_t byte = static_cast<uint8_t>(*p);
        if (byte >= 0x61 && byte <= 0x7A) *p = static_cast<char>(byte - 0x20);       // a to z
        else if (byte >= 0xA0 && byte <= 0xAF) *p = static_cast<char>(byte - 0x20);  // а to п
        else if (byte >= 0xE0 && byte <= 0xEF) *p = static_cast<char>(byte - 0x50);  // р to я
    }
}

void fold_value(char* text, const DbfTable& table) {
    if (!table.settings.case_insensitive) return;
    if (table.settings.folding != nullptr)
        fold_case_by_set(*table.settings.folding, text);
    else
        fold_case_default(text);
}

void convert_ansi_to_oem(const DbfTable& table, char* text) {
    if (table.settings.conversion != nullptr)
        ansi_to_oem_by_set(*table.settings.conversion, text, text);
    else
        ansi_to_oem_default(text, text);
}

void convert_oem_to_ansi(const DbfTable& table, char* text) {
    if (table.settings.conversion != nullptr)
        oem_to_ansi_by_set(*table.settings.conversion, text, text);
    else
        oem_to_ansi_default(text, text);
}

void install_character_sets(DbfTable& table, const CharacterSets& sets) {
    if (sets.table_oem && sets.table_ansi) table.settings.conversion = &sets;
    if (sets.normal && sets.uppercase) table.settings.folding = &sets;
}

void set_once(std::optional<std::string>& slot, std::string_view text) {
    if (slot) return;
    slot = std::string(text.substr(0, std::min(text.find('\0'), kSettingsValueMax)));
}
