// tests/text/utf8_test.cpp
//
// Code page marks, and text of each page to UTF-8 and back. The expected bytes are
// what Python's codecs give for the same letters.
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <stdexcept>
#include <string>

#include "text/code_page_marks.h"
#include "text/utf8.h"

namespace {

TextCodec codec_for(int number) {
    const CodePage* page = code_page_by_number(number);
    if (page == nullptr) throw std::runtime_error("no page " + std::to_string(number));
    std::optional<TextCodec> codec = TextCodec::open(*page);
    if (!codec) throw std::runtime_error("page " + std::to_string(number) + " does not open");
    return std::move(*codec);
}

std::string to_utf8(TextCodec& codec, std::string_view text) {
    std::string out;
    codec.to_utf8(text, out);
    return out;
}

}  // namespace

TEST(CodePageMarks, NameTheirPages) {
    struct Case { uint8_t mark; int number; };  // 0: no page
    const Case cases[] = {
        {0x00, 0},   {0x01, 437},  {0x02, 850},  {0x03, 1252}, {0x04, 10000}, {0x1F, 852}, {0x26, 866},
        {0x57, 1252}, {0x65, 866}, {0x67, 861},  {0x6B, 857},  {0x7B, 932},   {0x96, 10007}, {0xC8, 1250},
        {0xC9, 1251}, {0xCB, 1253}, {0xCC, 1257}, {0x05, 0},   {0x30, 0},     {0xFF, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.mark);
        const CodePage* page = code_page_for_mark(c.mark);
        EXPECT_EQ(page == nullptr ? 0 : page->number, c.number);
    }
}

TEST(CodePageMarks, GivenNumberOverridesMarkAndNoMarkMeans437) {
    struct Case { uint8_t mark; std::optional<int> given; int number; };  // 0: no page
    const Case cases[] = {
        {0x00, std::nullopt, 437}, {0x30, std::nullopt, 437}, {0x65, std::nullopt, 866},
        {0x65, 1251, 1251},        {0x00, 1252, 1252},        {0x65, 999, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.mark);
        const CodePage* page = table_code_page(c.mark, c.given);
        EXPECT_EQ(page == nullptr ? 0 : page->number, c.number);
    }
}

// Every page a mark names converts, except those the C library lacks.
TEST(CodePageMarks, EveryNamedPageOpens) {
    for (int mark = 1; mark < 256; ++mark) {
        const CodePage* page = code_page_for_mark(static_cast<uint8_t>(mark));
        if (page == nullptr) continue;
        SCOPED_TRACE(page->number);
        EXPECT_EQ(TextCodec::open(*page).has_value(), page->iconv_name != nullptr);
    }
}

TEST(TextCodec, ConvertsLettersOfEachPageBothWays) {
    struct Case { int number; std::string page_bytes; std::string utf8; };
    const Case cases[] = {
        {437, "M\x81ller \xE1\x82 \xA4\xAB", "Müller ßé ñ½"},
        {737, "\x80\x9F\xE3\xA4\x98 \xE1\xE2", "Αθήνα άέ"},
        {850, "\x9Drsted \x80\xC6o \x98", "Ørsted Ção ÿ"},
        {852, "\x9D\xA2" "d\xAB \xA6lu\x9Cou\x9Fk\xEC", "Łódź Žluťoučký"},
        {857, "\x98stanbul \xA7\x9F", "İstanbul ğş"},
        {860, "A\x87\x84o \x8E", "Ação Ã"},
        {861, "\x8D\xA2r \x8C\x98", "Þór ðý"},
        {863, "Qu\x82" "bec \xAE\xAF", "Québec «»"},
        {865, "\x92r\x9B \xAF", "Ærø ¤"},
        {866, "\x8E\xAB\xEC\xA3\xA0 \xF0\xF1", "Ольга Ёё"},
        {874, "\xC0\xD2\xC9\xD2\xE4\xB7\xC2", "ภาษาไทย"},
        {1250, "\xA3\xF3" "d\x9F \x8Elu\x9Dou\xE8k\xFD", "Łódź Žluťoučký"},
        {1251, "\xCE\xEB\xFC\xE3\xE0 \xA8\xB8 \xB9", "Ольга Ёё №"},
        {1252, "M\xFCller \x80\x93\x94", "Müller €“”"},
        {1253, "\xC1\xE8\xDE\xED\xE1 \xC0", "Αθήνα ΐ"},
        {1254, "\xDDstanbul \xF0\xFE", "İstanbul ğş"},
        {1255, "\xF9\xEC\xE5\xED \xA4", "שלום ₪"},
        {1256, "\xDA\xD1\xC8\xED", "عربي"},
        {1257, "R\xEEga \xC0\xFE", "Rīga Ąž"},
        {10000, "M\x9Fller \x8E\xA7", "Müller éß"},
        {10007, "\x8E\xEB\xFC\xE3\xE0", "Ольга"},
        {10029, "\xFC\x97" "d\x90", "Łódź"},
        {932, "\x93\xFA\x96{\x8C\xEA\xB6\xC0\xB6\xC5 a\\~", "日本語ｶﾀｶﾅ a\\~"},
        {936, "\xD6\xD0\xCE\xC4", "中文"},
        {949, "\xC7\xD1\xB1\xB9\xBE\xEE", "한국어"},
        {950, "\xA4\xA4\xA4\xE5\xA5x\xC6W", "中文台灣"},
        {65001, "Ольга 日本 \xF0\x9F\x98\x80", "Ольга 日本 \xF0\x9F\x98\x80"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.number);
        TextCodec codec = codec_for(c.number);
        EXPECT_EQ(to_utf8(codec, c.page_bytes), c.utf8);
        std::string back = "kept|";
        EXPECT_EQ(codec.from_utf8(c.utf8, back), EncodeResult::Ok);
        EXPECT_EQ(back, "kept|" + c.page_bytes);
    }
}

TEST(TextCodec, UndefinedAndBrokenBytesBecomeReplacementsAndTheRestConverts) {
    struct Case { int number; std::string page_bytes; std::string utf8; };
    const Case cases[] = {
        {1252, "a\x81" "b\x8D\x8F\x90\x9D", "a\uFFFDb\uFFFD\uFFFD\uFFFD\uFFFD"},
        {1251, "\x98\xC0", "\uFFFDА"}, {1253, "\xAA\xD2\xFF", "\uFFFD\uFFFD\uFFFD"}, {857, "\xD5", "\uFFFD"},
        {1255, "\xD9\xF9", "\uFFFDש"}, {874, "\xDB\xC0", "\uFFFDภ"},
        {932, "\x81 \x93\xFA", "\uFFFD 日"},  // lead byte with no valid second byte
        {932, "ab\x93", "ab\uFFFD"},            // cut at the end of the value
        {936, "\xFF\xD6\xD0", "\uFFFD中"}, {950, "\xA4\xA4\xA4", "中\uFFFD"}, {949, "\xC7", "\uFFFD"},
        {65001, "a\xFF" "b\xED\xA0\x80" "c\xC3", "a\uFFFDb\uFFFD\uFFFD\uFFFDc\uFFFD"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.number);
        TextCodec codec = codec_for(c.number);
        EXPECT_EQ(to_utf8(codec, c.page_bytes), c.utf8);
    }
}

TEST(TextCodec, TextThePageCannotHoldFailsAndLeavesTheOutputAlone) {
    struct Case { int number; std::string utf8; EncodeResult result; };
    const Case cases[] = {
        {1252, "Ольга", EncodeResult::NotInCodePage}, {866, "price €5", EncodeResult::NotInCodePage},
        {437, "\uFFFD", EncodeResult::NotInCodePage},  // a replacement never goes back as a byte
        {932, "한", EncodeResult::NotInCodePage},       {936, "\xF0\x9F\x98\x80", EncodeResult::NotInCodePage},
        {1251, "ok \xC3(", EncodeResult::BadUtf8},     {950, "\xFF", EncodeResult::BadUtf8},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.number);
        TextCodec codec = codec_for(c.number);
        std::string out = "kept";
        EXPECT_EQ(codec.from_utf8(c.utf8, out), c.result);
        EXPECT_EQ(out, "kept");
    }
}

// Each byte of each single-byte page that has a character comes back as itself.
TEST(TextCodec, EveryDefinedByteOfSingleBytePagesRoundTrips) {
    for (int mark = 1; mark < 256; ++mark) {
        const CodePage* page = code_page_for_mark(static_cast<uint8_t>(mark));
        if (page == nullptr || page->multi_byte || page->iconv_name == nullptr) continue;
        SCOPED_TRACE(page->number);
        TextCodec codec = codec_for(page->number);
        for (int byte = 0; byte < 256; ++byte) {
            const std::string text(1, static_cast<char>(byte));
            std::string utf8 = to_utf8(codec, text);
            if (utf8 == kReplacementUtf8) continue;
            std::string back;
            EXPECT_EQ(codec.from_utf8(utf8, back), EncodeResult::Ok) << byte;
            EXPECT_EQ(back, text) << byte;
        }
    }
}

// Whatever bytes a multi-byte page is given, it gives well-formed UTF-8, and no
// less of it than one character per 2 bytes.
TEST(TextCodec, MultiBytePagesTurnAnyBytesIntoWellFormedText) {
    std::mt19937 rng(19);
    for (int number : {932, 936, 949, 950}) {
        SCOPED_TRACE(number);
        TextCodec codec = codec_for(number);
        for (int round = 0; round < 2000; ++round) {
            std::string bytes(rng() % 12, '\0');
            for (char& byte : bytes) byte = static_cast<char>(rng() % 3 == 0 ? rng() % 0x80 : 0x80 + rng() % 0x80);
            const std::string utf8 = to_utf8(codec, bytes);
            size_t characters = 0;
            for (size_t i = 0; i < utf8.size(); ++characters) {
                size_t length = utf8_next(std::string_view(utf8).substr(i)).length;
                ASSERT_NE(length, 0u) << round;
                i += length;
            }
            EXPECT_GE(characters * 2, bytes.size()) << round;
        }
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
