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

std::string expand(const std::string& input, int date_mode) {
    DbfTable table;
    dbf_init(table);
    table.date_mode = date_mode;
    std::vector<char> text(input.begin(), input.end());
    text.push_back('\0');  // exactly sized, so the sanitizer sees any growth
    return cond_expand_functions(text.data(), table);
}

struct Expansion {
    const char* what;
    const char* text;
    int date_mode;
    const char* result;
};

const Expansion kExpansions[] = {
    {"trim", "TRIM(SMITH     )", DateAsis, "SMITH"},
    {"name in any case", "trim(SMITH     )", DateAsis, "SMITH"},
    {"ltrim", "LTRIM(  a  )", DateAsis, "a  "},
    {"rtrim", "RTRIM(  a  )", DateAsis, "  a"},
    {"trim both", "TRIM(  a  )", DateAsis, "a"},
    {"trim all blanks", "TRIM(   )", DateAsis, ""},
    {"left", "LEFT(SMITH     ,2)", DateAsis, "SM"},
    {"left all", "LEFT(ABC,3)", DateAsis, "ABC"},
    {"left beyond", "LEFT(ABC,9)", DateAsis, "ABC"},
    {"left none", "LEFT(ABC,0)", DateAsis, ""},
    {"left negative takes all", "LEFT(ABC,-1)", DateAsis, "ABC"},
    {"left without comma", "LEFT(ABC)", DateAsis, "ABC"},
    {"first comma ends the text", "LEFT(A,B,1)", DateAsis, ""},
    {"right", "RIGHT(ABCDE,2)", DateAsis, "DE"},
    {"right all", "RIGHT(ABC,3)", DateAsis, "ABC"},
    {"right beyond", "RIGHT(ABC,9)", DateAsis, "ABC"},
    {"right none", "RIGHT(ABC,0)", DateAsis, ""},
    {"right negative", "RIGHT(ABC,-1)", DateAsis, ""},
    {"right lowest count", "RIGHT(ABC,-2147483648)", DateAsis, ""},
    {"substr from 0", "SUBSTR(ABCDE,1,2)", DateAsis, "BC"},
    {"substr start 0", "SUBSTR(ABCDE,0,2)", DateAsis, "AB"},
    {"substr to the end", "SUBSTR(ABCDE,3)", DateAsis, "DE"},
    {"substr start beyond", "SUBSTR(ABCDE,9)", DateAsis, ""},
    {"substr count beyond", "SUBSTR(ABCDE,1,9)", DateAsis, "BCDE"},
    {"substr text only", "SUBSTR(ABCDE)", DateAsis, "ABCDE"},
    {"substr negative start", "SUBSTR(ABCDE,-1,2)", DateAsis, ""},
    {"substr negative count", "SUBSTR(ABCDE,1,-1)", DateAsis, "BCDE"},
    {"substr parts not numbers", "SUBSTR(ABCDE, x, y)", DateAsis, ""},
    {"substr blanks before numbers", "SUBSTR(ABCDE, 1, 2)", DateAsis, "BC"},
    {"space unchanged", "SPACE(3)", DateAsis, "3"},
    {"replicate unchanged", "REPLICATE(a,3)", DateAsis, "a,3"},
    {"dtos dmy", "DTOS(14.03.2001)", DateDmy, "20010314"},
    {"dtos mdy", "DTOS(03.14.2001)", DateMdy, "20010314"},
    {"dtos ymd", "DTOS(2001.03.14)", DateYmd, "20010314"},
    {"dtos date-time", "DTOS(14.03.2001 09:08:19)", DateDmy, "20010314090819"},
    {"dtos stored digits", "DTOS(19610314)", DateAsis, "19610314"},
    {"dtos stored digits under dmy", "DTOS(19610314)", DateDmy, "14"},
    {"dtos short asis", "DTOS(2001)", DateAsis, "2001"},
    {"dtos year beyond the text", "DTOS(14.03)", DateDmy, ""},
    {"dtos unknown mode reads stored digits", "DTOS(19610314)", 7, "19610314"},
    {"text around a call stays", "xTRIM( a )y", DateAsis, "xay"},
    {"no word boundary", "STRIM(a)", DateAsis, "Sa"},
    {"blank before the parenthesis", "TRIM (x)", DateAsis, "TRIM (x)"},
    {"unknown name is text", "FOO(x)", DateAsis, "FOO(x)"},
    {"inner call first", "TRIM(LEFT(SMITH     ,7))", DateAsis, "SMITH"},
    {"two levels deep", "LEFT(RIGHT(SUBSTR(ABCDEFG,1,5),3),2)", DateAsis, "DE"},
    {"parentheses that are no call", "TRIM((a) )", DateAsis, "(a)"},
    {"two calls in a row", "LEFT(AB,1)RIGHT(CD,1)", DateAsis, "AD"},
    {"missing ) runs to the end", "LEFT(ABCDE,2", DateAsis, "AB"},
    {"text ends before the call", "a)TRIM(b", DateAsis, "a)b"},
    {"empty argument", "TRIM()", DateAsis, ""},
    {"name at the very end", "xLEFT(", DateAsis, "x"},
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
        ASSERT_LE(expand(text, static_cast<int>(random() % 4)).size(), text.size());
    }
}

}  // namespace
