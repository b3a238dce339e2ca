// tests/expr/cond_test.cpp
//
// Conditions against one record: NAME C 10 "SMITH", AGE N 3 42, PAY N 7.2 1234.50,
// BORN D 19610314, and a few fields for the odder cases.
#include <gtest/gtest.h>

#include <bitset>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "expr/cond.h"
#include "support/cli.h"
#include "support/engine.h"
#include "support/table_builder.h"
#include "table/dbf.h"

namespace {

struct Staff {
    ScratchDir dir;
    std::unique_ptr<DbfTable> table;
    std::unique_ptr<CondScratch> scratch = std::make_unique<CondScratch>();

    explicit Staff(bool deleted = false) {
        TableImage image;
        image.fields = {{"NAME", 'C', 10}, {"AGE", 'N', 3}, {"PAY", 'N', 7, 2}, {"BORN", 'D', 8}, {"NOTE", 'C', 10},
                        {"AGE_OF_MEM", 'N', 3}, {"TITLE_TEXT", 'C', 4}, {"QUOTE", 'C', 5}, {"CYR", 'C', 3}, {"RATE", 'B', 8, 2}};
        image.add({"SMITH", "42", "1234.50", "19610314", "Smith (Jr", "7", "DR", "it\"s", "\xC0\xC1\xC2",
                   double_bytes(std::nan(""))}, deleted);
        dir.write("t.dbf", image.bytes());
        table = open_table(dir.file("t.dbf"));
        EXPECT_NE(table, nullptr);
        EXPECT_TRUE(dbf_read_record(*table, 0));
    }
    int judge(const std::string& condition) { return cond_evaluate(*table, *scratch, condition.c_str()); }
    // The text with field values in place, '|', the operator's position, '|', the numeric flag.
    std::string substitute(const std::string& text) {
        char out[256];
        int32_t numeric = -1;
        int position = cond_substitute_fields(*table, text.c_str(), out, sizeof out, &numeric);
        return std::string(out) + "|" + std::to_string(position) + "|" + std::to_string(numeric);
    }
};

struct Judgement {
    const char* condition;
    int truth;
};

// Numbers, texts (the shorter length decides), NaNs (only "not equal" holds), tildes,
// clauses and their parentheses (unbalanced: nothing passes), names cut at ten
// characters, clauses without an operator (false), results beyond integers (false).
const Judgement kJudgements[] = {
    {"AGE>40", 1}, {"AGE+1=43", 1}, {"PAY*2>2000", 1}, {"PAY=1234.5", 1}, {"AGE > 40", 1}, {"(AGE)=42", 1},
    {"(AGE>40)", 1}, {"((AGE=42))", 1}, {"AGE=\"x\"", 0}, {"AGE=\"42\"", 1}, {"LEFT(NAME,2)=AGE", 0},
    {"AGE<>SQRT(-1)", 1}, {"SQRT(-1)><AGE", 1}, {"AGE=SQRT(-1)", 0}, {"AGE<=SQRT(-1)", 0}, {"AGE~>SQRT(-1)", 0},
    {"NAME=\"SMITH\"", 1}, {"NAME==\"SMITH\"", 0}, {"NAME==\"SMITH     \"", 1}, {"NAME=\"SM\"", 1},
    {"NAME=\"SMITH           \"", 1}, {"NAME=\"SMITHERS\"", 0}, {"NAME>\"SA\"", 1}, {"NAME>\"SM\"", 0},
    {"NAME>=\"SM\"", 1}, {"NAME=>\"SM\"", 1}, {"NAME<>\"SM\"", 0}, {"NAME><\"SA\"", 1}, {"NAME<\"T\"", 1},
    {"NAME<<\"T\"", 1}, {"NAME>>\"T\"", 0}, {"NAME<=\"SM\"", 1}, {"NAME=<\"SA\"", 0}, {"NAME=\"\"", 1},
    {"NAME~\"\"", 1}, {"NAME~\"MIT\"", 1}, {"NAME~\"mit\"", 0}, {"NAME~\"TIM\"", 0}, {"NAME = \"SMITH\"", 0},
    {"(NAME)=\"SMITH\"", 0}, {"2>10", 1}, {"BORN>\"19600101\"", 1}, {"BORN=\"1961\"", 1},
    {"LEFT(NAME,2)=\"SM\"", 1}, {"TRIM(NAME)==\"SMITH\"", 1}, {"QUOTE='it\"s'", 1}, {"QUOTE=\"it\"s\"", 0},
    {"NAME=\"()\"", 0}, {"NAME<>\"()\"", 1}, {"NAME=\"SMI", 1}, {"NAME=\"SMI&AGE>1", 1}, {"AGE~42", 1},
    {"AGE~<42", 1}, {"AGE~<41", 0}, {"AGE~>42", 1}, {"AGE~>43", 0}, {"AGE~=42", 0}, {"NAME~=\"SMITH\"", 0},
    {"NAME~=\"X\"", 0}, {"NAME~<\"T\"", 1}, {"NAME~<\"SM\"", 1}, {"NAME~<\"SA\"", 0}, {"NAME~>\"SA\"", 1},
    {"NAME~>\"T\"", 0}, {"(AGE>40|AGE<18)&NAME=\"S\"", 1}, {"AGE>40|NAME=\"X\"&PAY>9000", 1},
    {"(AGE>40|NAME=\"X\")&PAY>9000", 0}, {"AGE>40|AGE=42", 1}, {"((AGE=1)|(AGE=42))&NAME=\"S\"", 1},
    {"((AGE=1)|(AGE=2))&NAME=\"S\"", 0}, {"AGE=42 & NAME=\"SMITH\"", 0}, {"AGE=42 &NAME=\"SMITH\"", 1},
    {"NAME=\"(\"", 0}, {"(AGE>40", 0}, {"AGE>40)", 0}, {"AGE>40)|(AGE<18", 0}, {"TITLE_TEXTS==\"DR  S\"", 1},
    {"AGE_OF_MEM=7", 1}, {"AGE_OF_MEMBER>0", 0}, {"AGE", 0}, {"", 0}, {"\"AGE>1\"", 0}, {"AGE>1&X", 0},
    {"AGE>1|X", 1}, {"AGE>1&", 0}, {"AGE>1|", 1}, {"AGE>1&&AGE>1", 0}, {"NAME=\"A|B\"", 0}, {"NOTE=\"Smith\"", 1},
    {"NOTE~\"Jr\"", 1}, {"NOTE>\"Smith !\"", 1}, {"NOTE==\"Smith (Jr\"", 0}, {"AGE<42", 0}, {"AGE>42", 0},
    {"AGE<=42", 1}, {"AGE>=42", 1}, {"NAME<\"SMITH\"", 0}, {"NAME>\"SMITH\"", 0}, {"AGE=ABS(-42)", 1},
    {"AGE<ABS(-43)", 1}, {"\"SM\"=LEFT(NAME,2)", 1}, {"\"SMITH\"==TRIM(NAME)", 1}, {"RATE<>1", 0},
    {"(AGE>1|AGE>1)*2", 1}, {"(AGE>1|AGE>1)^99", 0}, {"(AGE>1|AGE>1)^32", 0}, {"(AGE>1|AGE<1)/4", 0},
    {"(AGE=42)", 1}, {"AGE=1|(AGE=42)", 1}, {"AGE=1|AGE=42)", 0}, {"(AGE>40)|AGE=1", 1},
};

TEST(Condition, JudgesTheRecord) {
    Staff staff;
    for (const Judgement& j : kJudgements) {
        SCOPED_TRACE(j.condition);
        EXPECT_EQ(staff.judge(j.condition), j.truth);
    }
}

TEST(Condition, SettingsOfTheTableTakePart) {
    Staff staff;
    staff.table->settings.trim_mode = TrimMode::Right;
    EXPECT_EQ(staff.judge("NAME==\"SMITH\""), 1);
    staff.table->settings.trim_mode = TrimMode::None;
    staff.table->settings.case_insensitive = 1;
    EXPECT_EQ(staff.judge("NAME~\"mit\""), 1);
    staff.table->settings.case_insensitive = 0;
    staff.table->settings.date_mode = DateMode::Dmy;  // dates still arrive as stored digits
    EXPECT_EQ(staff.judge("BORN>\"19600101\""), 1);
    staff.table->settings.ansi_text = 1;
    EXPECT_EQ(staff.substitute("CYR='\xC0'"), "\x80\x81\x82=\xC0|3|0");  // the constant stays
    EXPECT_EQ(staff.judge("CYR=\"\x80\""), 1);
    Staff deleted(true);
    EXPECT_EQ(cond_evaluate(*deleted.table, *deleted.scratch, COND_NONE), 1);
    deleted.table->settings.hide_deleted = 1;
    EXPECT_EQ(cond_evaluate(*deleted.table, *deleted.scratch, COND_NONE), 0);
    EXPECT_EQ(deleted.judge("AGE>40"), 0);
}

TEST(Condition, SubstitutionReplacesNamesOutsideQuotes) {
    Staff staff;
    // A quote in front of a word clears no word ('a'AGE), so AGE in b'a'AGE continues
    // the word b; a quote runs to the end; '(' in a value is no operator.
    const struct { const char* text; const char* out; } kSubstitutions[] = {
        {"AGE>40", " 42>40|3|1"}, {"NAME=\"SMITH\"", "SMITH     =SMITH|10|0"}, {"age<PAY", " 42<1234.50|3|1"},
        {"BORN", "19610314|-1|0"}, {"\"AGE>1\"", "AGE>1|-1|0"}, {"'a'AGE", "a 42|-1|1"}, {"b'a'AGE", "baAGE|-1|0"},
        {"XAGE=AGEX", "XAGE=AGEX|4|0"}, {"NAME'=", "SMITH     =|-1|0"}, {"NOTE=1", "Smith (Jr =1|10|0"},
        {"TITLE_TEXTS", "DR  S|-1|0"}, {"", "|-1|0"},
    };
    for (const auto& s : kSubstitutions) EXPECT_EQ(staff.substitute(s.text), s.out) << s.text;
}

TEST(Condition, LimitsMakeTheConditionFalse) {
    Staff staff;
    // A clause with its values in place may have 255 characters.
    EXPECT_EQ(staff.judge("NAME>\"A" + std::string(243, ' ')), 1);  // "SMITH     >A" and 243 blanks
    EXPECT_EQ(staff.judge("NAME>\"A" + std::string(244, ' ')), 0);
    // A clause of 1024 characters makes the whole condition false, not only itself.
    EXPECT_EQ(staff.judge("AGE>40|AGE>1" + std::string(1018, ' ')), 1);
    EXPECT_EQ(staff.judge("AGE>40|AGE>1" + std::string(1019, ' ')), 0);
    // A boolean text beyond the calculator's 79 characters, and beyond 1023.
    std::string forty = "AGE>1";
    for (int i = 1; i < 40; ++i) forty += "&AGE>1";
    EXPECT_EQ(staff.judge(forty), 1);
    EXPECT_EQ(staff.judge(forty + "&AGE>1"), 0);
    std::string many = "AGE>1";
    for (int i = 0; i < 700; ++i) many += "|AGE>1";
    EXPECT_EQ(staff.judge(many), 0);
    EXPECT_EQ(staff.judge(std::string(5000, '&')), 0);
}

}  // namespace

// Sums of boolean texts are kept from record to record; judging a series of records
// with one scratch must give what a fresh scratch gives for each.
TEST(Cond, ASeriesOfRecordsJudgesAsEachAlone) {
    ScratchDir dir;
    TableImage image;
    image.fields = {{"A", 'N', 1}, {"B", 'N', 1}, {"C", 'N', 1}, {"D", 'N', 1}, {"E", 'N', 1}};
    for (int bits = 0; bits < 32; ++bits) image.records.push_back(" " + std::bitset<5>(bits).to_string());
    dir.write("t.dbf", image.bytes());
    auto table = open_table(dir.file("t.dbf"));
    ASSERT_NE(table, nullptr);
    auto series = std::make_unique<CondScratch>();
    for (const char* condition : {"A=1&B=1|C=1&(D=1|E=1)", "(A=1|B=1)&(C=1|D=1)&E=0", "A=1|B=1|C=1|D=1|E=1",
                                  "A>0&B>0&C>0&D>0&E>0&A<2&B<2&C<2&D<2&E<2"}) {
        SCOPED_TRACE(condition);
        for (int32_t r = 0; r < 32; ++r) {
            ASSERT_TRUE(dbf_read_record(*table, r));
            auto alone = std::make_unique<CondScratch>();
            EXPECT_EQ(cond_evaluate(*table, *series, condition), cond_evaluate(*table, *alone, condition)) << r;
        }
    }
}
