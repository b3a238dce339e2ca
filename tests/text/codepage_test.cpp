// tests/text/codepage_test.cpp
//
// The Russian OEM/ANSI tables, conversions by the settings file's sets, and case folding.
#include <gtest/gtest.h>

#include <string>

#include "text/codepage.h"

TEST(CodePage, BuiltInTablesAndSets) {
    for (int byte = 0; byte < 256; ++byte) EXPECT_EQ(ansi_to_oem_table[oem_to_ansi_table[byte]], byte);
    const int pairs[][2] = {{0x41, 0x41}, {0x80, 0xC0}, {0xAF, 0xEF}, {0xB0, 0x80}, {0xDF, 0xAF},
                            {0xE0, 0xF0}, {0xEF, 0xFF}, {0xF0, 0xB0}, {0xFF, 0xBF}};
    for (const auto& p : pairs) EXPECT_EQ(oem_to_ansi_table[p[0]], p[1]) << p[0];

    CharacterSets sets;
    DbfTable table;
    std::string text = "\xC0z";
    convert_ansi_to_oem(table, text.data());
    EXPECT_EQ(text, "\x80z");
    sets.table_oem.emplace("aab\xA0z");
    sets.table_ansi.emplace("pqr");
    install_character_sets(table, sets);
    text = "ab\xA0\xC0z";
    convert_oem_to_ansi(table, text.data());
    EXPECT_EQ(text, "pr.\xC0.");  // a listed twice takes its first partner; no partner, a dot
    text = "pqrx";
    convert_ansi_to_oem(table, text.data());
    EXPECT_EQ(text, "aabx");
}

TEST(CodePage, FoldingByDefaultAndBySets) {
    DbfTable table;
    std::string text = "az{`\xA0\xAF\xE0\xEF\x9F\xB0\xDF\xF0\xFF\xC0";
    fold_value(text.data(), table);
    EXPECT_EQ(text, "az{`\xA0\xAF\xE0\xEF\x9F\xB0\xDF\xF0\xFF\xC0");  // only for case-insensitive tables
    table.settings.case_insensitive = 1;
    fold_value(text.data(), table);
    EXPECT_EQ(text, "AZ{`\x80\x8F\x90\x9F\x9F\xB0\xDF\xF0\xFF\xC0");

    CharacterSets sets;
    sets.normal.emplace("a\xE0\xE1");
    sets.uppercase.emplace("q\xC0");
    install_character_sets(table, sets);
    // Latin letters fold whatever the sets say; past the end of Uppercase= a byte
    // stays, and bytes the sets don't list get no built-in folding.
    text = "a\xE0\xE1z\xA0";
    fold_value(text.data(), table);
    EXPECT_EQ(text, "A\xC0\xE1Z\xA0");
}
