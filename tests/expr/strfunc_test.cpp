// tests/expr/strfunc_test.cpp
//
// Operands arrive with field values in place and quotes gone, so the texts below
// are written the way the expansion sees them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "expr/cond.h"
#include "table/dbf.h"

TEST(StringFunctions, ExpandEachCall) {
    const struct { const char* text; DateMode date_mode; const char* result; } kExpansions[] = {
    {"TRIM(SMITH     )", DateMode::Asis, "SMITH"}, {"trim(SMITH     )", DateMode::Asis, "SMITH"},
    {"LTRIM(  a  )", DateMode::Asis, "a  "}, {"RTRIM(  a  )", DateMode::Asis, "  a"},
    {"TRIM(  a  )", DateMode::Asis, "a"}, {"TRIM(   )", DateMode::Asis, ""},
    {"LEFT(SMITH     ,2)", DateMode::Asis, "SM"}, {"LEFT(ABC,3)", DateMode::Asis, "ABC"},
    {"LEFT(ABC,9)", DateMode::Asis, "ABC"}, {"LEFT(ABC,0)", DateMode::Asis, ""},
    {"LEFT(ABC,-1)", DateMode::Asis, "ABC"}, {"LEFT(ABC)", DateMode::Asis, "ABC"},
    {"LEFT(A,B,1)", DateMode::Asis, ""}, {"RIGHT(ABCDE,2)", DateMode::Asis, "DE"},
    {"RIGHT(ABC,3)", DateMode::Asis, "ABC"}, {"RIGHT(ABC,9)", DateMode::Asis, "ABC"},
    {"RIGHT(ABC,0)", DateMode::Asis, ""}, {"RIGHT(ABC,-1)", DateMode::Asis, ""},
    {"RIGHT(ABC,-2147483648)", DateMode::Asis, ""}, {"SUBSTR(ABCDE,1,2)", DateMode::Asis, "BC"},
    {"SUBSTR(ABCDE,0,2)", DateMode::Asis, "AB"}, {"SUBSTR(ABCDE,3)", DateMode::Asis, "DE"},
    {"SUBSTR(ABCDE,9)", DateMode::Asis, ""}, {"SUBSTR(ABCDE,1,9)", DateMode::Asis, "BCDE"},
    {"SUBSTR(ABCDE)", DateMode::Asis, "ABCDE"}, {"SUBSTR(ABCDE,-1,2)", DateMode::Asis, ""},
    {"SUBSTR(ABCDE,1,-1)", DateMode::Asis, "BCDE"}, {"SUBSTR(ABCDE, x, y)", DateMode::Asis, ""},
    {"SUBSTR(ABCDE, 1, 2)", DateMode::Asis, "BC"}, {"SPACE(3)", DateMode::Asis, "3"},
    {"REPLICATE(a,3)", DateMode::Asis, "a,3"}, {"DTOS(14.03.2001)", DateMode::Dmy, "20010314"},
    {"DTOS(03.14.2001)", DateMode::Mdy, "20010314"}, {"DTOS(2001.03.14)", DateMode::Ymd, "20010314"},
    {"DTOS(14.03.2001 09:08:19)", DateMode::Dmy, "20010314090819"}, {"DTOS(19610314)", DateMode::Asis, "19610314"},
    {"DTOS(19610314)", DateMode::Dmy, "14"}, {"DTOS(2001)", DateMode::Asis, "2001"},
    {"DTOS(14.03)", DateMode::Dmy, ""}, {"xTRIM( a )y", DateMode::Asis, "xay"}, {"STRIM(a)", DateMode::Asis, "Sa"},
    {"TRIM (x)", DateMode::Asis, "TRIM (x)"}, {"FOO(x)", DateMode::Asis, "FOO(x)"},
    {"TRIM(LEFT(SMITH     ,7))", DateMode::Asis, "SMITH"},
    {"LEFT(RIGHT(SUBSTR(ABCDEFG,1,5),3),2)", DateMode::Asis, "DE"}, {"TRIM((a) )", DateMode::Asis, "(a)"},
    {"LEFT(AB,1)RIGHT(CD,1)", DateMode::Asis, "AD"}, {"LEFT(ABCDE,2", DateMode::Asis, "AB"},
    {"a)TRIM(b", DateMode::Asis, "a)b"}, {"TRIM()", DateMode::Asis, ""}, {"xLEFT(", DateMode::Asis, "x"},
    {"DTOS(03.14.2001 09:08:19)", DateMode::Mdy, "20010314090819"},
    {"DTOS(2001.03.14 09:08:19)", DateMode::Ymd, "20010314090819"},
    {"DTOS(20010314090819)", DateMode::Asis, "20010314090819"}, {"DTOS(14.03.2001 0)", DateMode::Dmy, "200103140"}, {"DTOS(2001031409)", DateMode::Asis, "20010314"},
    {"DTOS(14.03.2001 09)", DateMode::Dmy, "2001031409"},
    };
    for (const auto& e : kExpansions) {
        DbfTable table;
        table.settings.date_mode = e.date_mode;
        std::vector<char> text(e.text, e.text + std::strlen(e.text) + 1);  // exactly sized for the sanitizer
        EXPECT_STREQ(cond_expand_functions(text.data(), table), e.result) << e.text;
    }
}
