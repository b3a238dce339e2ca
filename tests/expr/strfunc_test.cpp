// tests/expr/strfunc_test.cpp
//
// Operands arrive with field values in place and quotes gone, so the texts below
// are written the way the expansion sees them.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "expr/cond.h"
#include "table/dbf.h"

namespace {

std::string expand(const std::string& input, DateMode date_mode) {
    DbfTable table;
    table.settings.date_mode = date_mode;
    std::vector<char> text(input.begin(), input.end());
    text.push_back('\0');  // exactly sized, so the sanitizer sees any growth
    return cond_expand_functions(text.data(), table);
}

struct Expansion {
    const char* what;
    const char* text;
    DateMode date_mode;
    const char* result;
};

const Expansion kExpansions[] = {
    {"trim", "TRIM(SMITH     )", DateMode::Asis, "SMITH"},
    {"name in any case", "trim(SMITH     )", DateMode::Asis, "SMITH"},
    {"ltrim", "LTRIM(  a  )", DateMode::Asis, "a  "},
    {"rtrim", "RTRIM(  a  )", DateMode::Asis, "  a"},
    {"trim both", "TRIM(  a  )", DateMode::Asis, "a"},
    {"trim all blanks", "TRIM(   )", DateMode::Asis, ""},
    {"left", "LEFT(SMITH     ,2)", DateMode::Asis, "SM"},
    {"left all", "LEFT(ABC,3)", DateMode::Asis, "ABC"},
    {"left beyond", "LEFT(ABC,9)", DateMode::Asis, "ABC"},
    {"left none", "LEFT(ABC,0)", DateMode::Asis, ""},
    {"left negative takes all", "LEFT(ABC,-1)", DateMode::Asis, "ABC"},
    {"left without comma", "LEFT(ABC)", DateMode::Asis, "ABC"},
    {"first comma ends the text", "LEFT(A,B,1)", DateMode::Asis, ""},
    {"right", "RIGHT(ABCDE,2)", DateMode::Asis, "DE"},
    {"right all", "RIGHT(ABC,3)", DateMode::Asis, "ABC"},
    {"right beyond", "RIGHT(ABC,9)", DateMode::Asis, "ABC"},
    {"right none", "RIGHT(ABC,0)", DateMode::Asis, ""},
    {"right negative", "RIGHT(ABC,-1)", DateMode::Asis, ""},
    {"right lowest count", "RIGHT(ABC,-2147483648)", DateMode::Asis, ""},
    {"substr from 0", "SUBSTR(ABCDE,1,2)", DateMode::Asis, "BC"},
    {"substr start 0", "SUBSTR(ABCDE,0,2)", DateMode::Asis, "AB"},
    {"substr to the end", "SUBSTR(ABCDE,3)", DateMode::Asis, "DE"},
    {"substr start beyond", "SUBSTR(ABCDE,9)", DateMode::Asis, ""},
    {"substr count beyond", "SUBSTR(ABCDE,1,9)", DateMode::Asis, "BCDE"},
    {"substr text only", "SUBSTR(ABCDE)", DateMode::Asis, "ABCDE"},
    {"substr negative start", "SUBSTR(ABCDE,-1,2)", DateMode::Asis, ""},
    {"substr negative count", "SUBSTR(ABCDE,1,-1)", DateMode::Asis, "BCDE"},
    {"substr parts not numbers", "SUBSTR(ABCDE, x, y)", DateMode::Asis, ""},
    {"substr blanks before numbers", "SUBSTR(ABCDE, 1, 2)", DateMode::Asis, "BC"},
    {"space unchanged", "SPACE(3)", DateMode::Asis, "3"},
    {"replicate unchanged", "REPLICATE(a,3)", DateMode::Asis, "a,3"},
    {"dtos dmy", "DTOS(14.03.2001)", DateMode::Dmy, "20010314"},
    {"dtos mdy", "DTOS(03.14.2001)", DateMode::Mdy, "20010314"},
    {"dtos ymd", "DTOS(2001.03.14)", DateMode::Ymd, "20010314"},
    {"dtos date-time", "DTOS(14.03.2001 09:08:19)", DateMode::Dmy, "20010314090819"},
    {"dtos stored digits", "DTOS(19610314)", DateMode::Asis, "19610314"},
    {"dtos stored digits under dmy", "DTOS(19610314)", DateMode::Dmy, "14"},
    {"dtos short asis", "DTOS(2001)", DateMode::Asis, "2001"},
    {"dtos year beyond the text", "DTOS(14.03)", DateMode::Dmy, ""},
    {"text around a call stays", "xTRIM( a )y", DateMode::Asis, "xay"},
    {"no word boundary", "STRIM(a)", DateMode::Asis, "Sa"},
    {"blank before the parenthesis", "TRIM (x)", DateMode::Asis, "TRIM (x)"},
    {"unknown name is text", "FOO(x)", DateMode::Asis, "FOO(x)"},
    {"inner call first", "TRIM(LEFT(SMITH     ,7))", DateMode::Asis, "SMITH"},
    {"two levels deep", "LEFT(RIGHT(SUBSTR(ABCDEFG,1,5),3),2)", DateMode::Asis, "DE"},
    {"parentheses that are no call", "TRIM((a) )", DateMode::Asis, "(a)"},
    {"two calls in a row", "LEFT(AB,1)RIGHT(CD,1)", DateMode::Asis, "AD"},
    {"missing ) runs to the end", "LEFT(ABCDE,2", DateMode::Asis, "AB"},
    {"text ends before the call", "a)TRIM(b", DateMode::Asis, "a)b"},
    {"empty argument", "TRIM()", DateMode::Asis, ""},
    {"name at the very end", "xLEFT(", DateMode::Asis, "x"},
};

TEST(StringFunctions, ExpandEachCall) {
    for (const Expansion& e : kExpansions) {
        SCOPED_TRACE(e.what);
        EXPECT_EQ(expand(e.text, e.date_mode), e.result);
    }
}

// Random operands built from names, parentheses, commas and numbers never grow
// and never leave their buffer.
TEST(StringFunctions, SurviveRandomOperands) {
    std::mt19937 random(1961);
    const std::vector<std::string> pieces = {
        "TRIM(", "ltrim(", "RTRIM(", "SUBSTR(", "LEFT(", "RIGHT(", "DTOS(", "SPACE(", "REPLICATE(",
        "(", ")", ",", " ", "-1", "2", "99999999999", "ABC", "14.03.2001 09:08:19",
    };
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        const int count = std::uniform_int_distribution<int>(0, 60)(random);
        for (int k = 0; k < count; ++k) text += pieces[random() % pieces.size()];
        if (text.size() > 1023) text.resize(1023);
        SCOPED_TRACE(text);
        ASSERT_LE(expand(text, static_cast<DateMode>(random() % 4)).size(), text.size());
    }
}

}  // namespace
