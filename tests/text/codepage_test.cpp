// tests/text/codepage_test.cpp
#include <gtest/gtest.h>

#include <string>

#include "text/codepage.h"

namespace {

// The settings-file sets, as a run holds them.
class CodePage : public testing::Test {
  protected:
    CharacterSets sets;
};

using Convert = void (*)(const char*, char*);
using Fold = void (*)(char*);
using ConvertBySets = void (*)(const CharacterSets&, const char*, char*);

std::string convert(Convert fn, std::string text) {
    fn(text.c_str(), text.data());  // in place, as every caller does
    return text;
}

std::string convert(ConvertBySets fn, const CharacterSets& sets, std::string text) {
    fn(sets, text.c_str(), text.data());
    return text;
}

std::string fold(Fold fn, std::string text) {
    fn(text.data());
    return text;
}

std::string all_bytes_but_zero() {
    std::string text;
    for (int byte = 1; byte < 256; ++byte) text += static_cast<char>(byte);
    return text;
}

}  // namespace

TEST_F(CodePage, BuiltInTablesMoveWholeBlocks) {
    struct Case { int oem; int ansi; };
    const Case cases[] = {
        {0x00, 0x00}, {0x41, 0x41}, {0x7F, 0x7F},  // ASCII stays
        {0x80, 0xC0}, {0xAF, 0xEF},                // А to п
        {0xB0, 0x80}, {0xDF, 0xAF},                // line drawing
        {0xE0, 0xF0}, {0xEF, 0xFF},                // р to я
        {0xF0, 0xB0}, {0xFF, 0xBF},                // Ё and the rest
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.oem);
        EXPECT_EQ(oem_to_ansi_table[c.oem], c.ansi);
        EXPECT_EQ(ansi_to_oem_table[c.ansi], c.oem);
    }
}

TEST_F(CodePage, BuiltInTablesRoundTripEveryByte) {
    for (int byte = 0; byte < 256; ++byte) {
        EXPECT_EQ(ansi_to_oem_table[oem_to_ansi_table[byte]], byte);
        EXPECT_EQ(oem_to_ansi_table[ansi_to_oem_table[byte]], byte);
    }
    std::string all = all_bytes_but_zero();
    EXPECT_EQ(convert(ansi_to_oem_default, convert(oem_to_ansi_default, all)), all);
    EXPECT_EQ(convert(oem_to_ansi_default, convert(ansi_to_oem_default, all)), all);
}

TEST_F(CodePage, TableSlotsChooseTheConversion) {
    DbfTable table;
    std::string text = "\xC0z";
    convert_ansi_to_oem(table, text.data());
    EXPECT_EQ(text, "\x80z");
    convert_oem_to_ansi(table, text.data());
    EXPECT_EQ(text, "\xC0z");

    sets.table_oem.emplace("z");
    sets.table_ansi.emplace("Z");
    install_character_sets(table, sets);
    convert_oem_to_ansi(table, text.data());
    EXPECT_EQ(text, "\xC0Z");  // no built-in table: 0xC0 is in neither set
    convert_ansi_to_oem(table, text.data());
    EXPECT_EQ(text, "\xC0z");
}

TEST_F(CodePage, ConversionBySets) {
    sets.table_oem.emplace("ab\xA0");
    sets.table_ansi.emplace("x");
    EXPECT_EQ(convert(oem_to_ansi_by_set, sets, "a b\xA0" "c"), "x ..c");  // b and 0xA0 have no partner
    EXPECT_EQ(convert(ansi_to_oem_by_set, sets, "xyx"), "aya");

    sets.table_oem.emplace("aab");
    sets.table_ansi.emplace("pqr");
    EXPECT_EQ(convert(oem_to_ansi_by_set, sets, "ab"), "pr");  // a listed twice takes its first partner
    EXPECT_EQ(convert(ansi_to_oem_by_set, sets, "pqr"), "aab");
    EXPECT_EQ(convert(oem_to_ansi_by_set, sets, ""), "");
}

TEST_F(CodePage, DefaultFoldingFollowsCp866) {
    EXPECT_EQ(fold(fold_case_default, "az{`\xA0\xAF\xE0\xEF"), "AZ{`\x80\x8F\x90\x9F");
    // The bytes around the letter blocks, among them the ANSI lower-case letters, stay.
    EXPECT_EQ(fold(fold_case_default, "\x9F\xB0\xDF\xF0\xFF\xC0"), "\x9F\xB0\xDF\xF0\xFF\xC0");
    EXPECT_EQ(fold(fold_case_default, ""), "");
}

TEST_F(CodePage, FoldingBySets) {
    sets.normal.emplace("a\xE0\xE1");
    sets.uppercase.emplace("q\xC0");
    // Latin letters fold whatever the sets say; past the end of Uppercase= a byte
    // stays, and bytes the sets don't list get no built-in folding.
    std::string text = "a\xE0\xE1z\xA0";
    fold_case_by_set(sets, text.data());
    EXPECT_EQ(text, "A\xC0\xE1Z\xA0");
}

TEST_F(CodePage, FoldValueOnlyForCaseInsensitiveTables) {
    DbfTable table;
    std::string text = "ab\xA0";
    fold_value(text.data(), table);
    EXPECT_EQ(text, "ab\xA0");

    table.settings.case_insensitive = 1;
    fold_value(text.data(), table);
    EXPECT_EQ(text, "AB\x80");

    sets.normal.emplace("\xC1");
    sets.uppercase.emplace("\xC2");
    install_character_sets(table, sets);
    text = "b\xC1\xA0";
    fold_value(text.data(), table);
    EXPECT_EQ(text, "B\xC2\xA0");
}
