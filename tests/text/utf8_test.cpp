// tests/text/utf8_test.cpp
//
// Code page marks, and text of each page to UTF-8 and back. The expected bytes are
// what Python's codecs give for the same letters.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "text/code_page_marks.h"
#include "text/utf8.h"

// The page of each mark (0: none), a number given overriding it, 437 for no mark;
// every page a mark names converts where the C library has it.
TEST(CodePageMarks, NameTheirPages) {
    const int cases[][2] = {{0x00, 0}, {0x01, 437}, {0x02, 850}, {0x03, 1252}, {0x04, 10000}, {0x15, 437},
                            {0x1F, 852}, {0x26, 866}, {0x57, 1252}, {0x65, 866}, {0x67, 861}, {0x6B, 857},
                            {0x6C, 863}, {0x7B, 932}, {0x96, 10007}, {0xC8, 1250}, {0xC9, 1251}, {0xCB, 1253},
                            {0xCC, 1257}, {0x05, 0}, {0x30, 0}, {0xFF, 0}};
    for (const auto& c : cases) {
        const CodePage* page = code_page_for_mark(static_cast<uint8_t>(c[0]));
        EXPECT_EQ(page == nullptr ? 0 : page->number, c[1]) << c[0];
    }
    const struct { uint8_t mark; std::optional<int> given; int number; } given[] = {
        {0x00, std::nullopt, 437}, {0x30, std::nullopt, 437}, {0x65, 1251, 1251}, {0x65, 999, 0}};
    for (const auto& c : given) {
        const CodePage* page = table_code_page(c.mark, c.given);
        EXPECT_EQ(page == nullptr ? 0 : page->number, c.number) << c.mark;
    }
    for (int mark = 1; mark < 256; ++mark) {
        const CodePage* page = code_page_for_mark(static_cast<uint8_t>(mark));
        if (page != nullptr) EXPECT_EQ(TextCodec::open(*page).has_value(), page->iconv_name != nullptr) << mark;
    }
}

TEST(TextCodec, ConvertsLettersOfEachPageBothWays) {
    struct Case { int number; std::string page_bytes; std::string utf8; };
    const Case cases[] = {
        {437, "M\x81ller \xE1\x82 \xA4\xAB", "Müller ßé ñ½"},
        {737, "\x80\x9F\xE3\xA4\x98 \xE1\xE2", "Αθήνα άέ"},
        {850, "\x9Drsted \x80\xC6o \x98", "Ørsted Ção ÿ"},
        {852, "\x9D\xA2" "d\xAB \xA6lu\x9Cou\x9Fk\xEC", "Łódź Žluťoučký"},
        {866, "\x8E\xAB\xEC\xA3\xA0 \xF0\xF1", "Ольга Ёё"},
        {874, "\xC0\xD2\xC9\xD2\xE4\xB7\xC2", "ภาษาไทย"},
        {1250, "\xA3\xF3" "d\x9F \x8Elu\x9Dou\xE8k\xFD", "Łódź Žluťoučký"},
        {1251, "\xCE\xEB\xFC\xE3\xE0 \xA8\xB8 \xB9", "Ольга Ёё №"},
        {1252, "M\xFCller \x80\x93\x94", "Müller €“”"},
        {1255, "\xF9\xEC\xE5\xED \xA4", "שלום ₪"},
        {1256, "\xDA\xD1\xC8\xED", "عربي"},
        {10000, "M\x9Fller \x8E\xA7", "Müller éß"},
        {932, "\x93\xFA\x96{\x8C\xEA\xB6\xC0\xB6\xC5 a\\~", "日本語ｶﾀｶﾅ a\\~"},
        {936, "\xD6\xD0\xCE\xC4", "中文"},
        {949, "\xC7\xD1\xB1\xB9\xBE\xEE", "한국어"},
        {950, "\xA4\xA4\xA4\xE5\xA5x\xC6W", "中文台灣"},
        {65001, "Ольга 日本 \xF0\x9F\x98\x80", "Ольга 日本 \xF0\x9F\x98\x80"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.number);
        ASSERT_NE(code_page_by_number(c.number), nullptr);
        std::optional<TextCodec> codec = TextCodec::open(*code_page_by_number(c.number));
        ASSERT_TRUE(codec);
        std::string utf8 = "kept|", back = "kept|";
        codec->to_utf8(c.page_bytes, utf8);
        EXPECT_EQ(utf8, "kept|" + c.utf8);
        EXPECT_EQ(codec->from_utf8(c.utf8, back), EncodeResult::Ok);
        EXPECT_EQ(back, "kept|" + c.page_bytes);
    }
}

TEST(Utf8Next, ReadsWellFormedCharactersOnly) {
    struct Case { std::string bytes; char32_t code; size_t length; };
    const Case cases[] = {
        {"A", U'A', 1},           {"é", U'é', 2},          {"€", U'€', 3},
        {"😀", U'😀', 4},         {"\xEF\xBF\xBD", 0xFFFD, 3}, {"\xF4\x8F\xBF\xBF", 0x10FFFF, 4},
        {"\x80", 0, 0},           {"\xC1\xBF", 0, 0},      {"\xE0\x9F\xBF", 0, 0},
        {"\xED\xA0\x80", 0, 0},   {"\xF4\x90\x80\x80", 0, 0}, {"\xF5\x80\x80\x80", 0, 0},
        {"\xE2\x82", 0, 0},       {"\xE2\x28\xAC", 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes);
        Utf8Char read = utf8_next(c.bytes);
        EXPECT_EQ(read.length, c.length);
        EXPECT_EQ(read.code, c.code);
    }
}
