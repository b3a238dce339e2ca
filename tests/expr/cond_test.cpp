// tests/expr/cond_test.cpp
//
// Conditions against one record: NAME C 10 "SMITH", AGE N 3 42, PAY N 7.2 1234.50,
// BORN D 19610314, and a few fields for the odder cases.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
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
        image.fields = {{"NAME", 'C', 10},       {"AGE", 'N', 3},         {"PAY", 'N', 7, 2},
                        {"BORN", 'D', 8},        {"NOTE", 'C', 10},       {"AGE_OF_MEM", 'N', 3},
                        {"TITLE_TEXT", 'C', 4},  {"QUOTE", 'C', 5},       {"CYR", 'C', 3},
                        {"RATE", 'B', 8, 2}};
        image.add({"SMITH", "42", "1234.50", "19610314", "Smith (Jr", "7", "DR", "it\"s", "\xC0\xC1\xC2",
                   double_bytes(std::nan(""))},
                  deleted);
        dir.write("t.dbf", image.bytes());
        table = open_table(dir.file("t.dbf"));
        EXPECT_NE(table, nullptr);
        EXPECT_TRUE(dbf_read_record(*table, 0));
    }
    int judge(const std::string& condition) { return cond_evaluate(*table, *scratch, condition.c_str()); }
    std::string substitute(const std::string& text, int* position = nullptr, int32_t* numeric = nullptr) {
        char out[256];
        int32_t flag = -1;
        int q = cond_substitute_fields(*table, text.c_str(), out, sizeof out, &flag);
        if (position) *position = q;
        if (numeric) *numeric = flag;
        return out;
    }
};

struct Judgement {
    const char* condition;
    int truth;
};

const Judgement kJudgements[] = {
    // Numbers.
    {"AGE>40", 1},
    {"AGE+1=43", 1},
    {"PAY*2>2000", 1},
    {"PAY=1234.5", 1},
    {"AGE > 40", 1},
    {"(AGE)=42", 1},
    {"(AGE>40)", 1},
    {"((AGE=42))", 1},
    {"AGE=\"x\"", 0},
    {"AGE=\"42\"", 1},
    {"LEFT(NAME,2)=AGE", 0},
    // Against a NaN only "not equal" holds.
    {"AGE<>SQRT(-1)", 1},
    {"SQRT(-1)><AGE", 1},
    {"AGE=SQRT(-1)", 0},
    {"AGE<=SQRT(-1)", 0},
    {"AGE~>SQRT(-1)", 0},
    // Text: the shorter length decides.
    {"NAME=\"SMITH\"", 1},
    {"NAME==\"SMITH\"", 0},
    {"NAME==\"SMITH     \"", 1},
    {"NAME=\"SM\"", 1},
    {"NAME=\"SMITH           \"", 1},
    {"NAME=\"SMITHERS\"", 0},
    {"NAME>\"SA\"", 1},
    {"NAME>\"SM\"", 0},
    {"NAME>=\"SM\"", 1},
    {"NAME=>\"SM\"", 1},
    {"NAME<>\"SM\"", 0},
    {"NAME><\"SA\"", 1},
    {"NAME<\"T\"", 1},
    {"NAME<<\"T\"", 1},
    {"NAME>>\"T\"", 0},
    {"NAME<=\"SM\"", 1},
    {"NAME=<\"SA\"", 0},
    {"NAME=\"\"", 1},
    {"NAME~\"\"", 1},
    {"NAME~\"MIT\"", 1},
    {"NAME~\"mit\"", 0},
    {"NAME~\"TIM\"", 0},
    {"NAME = \"SMITH\"", 0},
    {"(NAME)=\"SMITH\"", 0},
    {"2>10", 1},
    {"BORN>\"19600101\"", 1},
    {"BORN=\"1961\"", 1},
    {"LEFT(NAME,2)=\"SM\"", 1},
    {"TRIM(NAME)==\"SMITH\"", 1},
    {"QUOTE='it\"s'", 1},
    {"QUOTE=\"it\"s\"", 0},
    {"NAME=\"()\"", 0},
    {"NAME<>\"()\"", 1},
    {"NAME=\"SMI", 1},
    {"NAME=\"SMI&AGE>1", 1},
    // Operators with a tilde: ~ is equality in numbers and ~= never holds.
    {"AGE~42", 1},
    {"AGE~<42", 1},
    {"AGE~<41", 0},
    {"AGE~>42", 1},
    {"AGE~>43", 0},
    {"AGE~=42", 0},
    {"NAME~=\"SMITH\"", 0},
    {"NAME~=\"X\"", 0},
    // ~< and ~> order texts the way <= and >= do.
    {"NAME~<\"T\"", 1},
    {"NAME~<\"SM\"", 1},
    {"NAME~<\"SA\"", 0},
    {"NAME~>\"SA\"", 1},
    {"NAME~>\"T\"", 0},
    // Several clauses.
    {"(AGE>40|AGE<18)&NAME=\"S\"", 1},
    {"AGE>40|NAME=\"X\"&PAY>9000", 1},
    {"(AGE>40|NAME=\"X\")&PAY>9000", 0},
    {"AGE>40|AGE=42", 1},
    {"((AGE=1)|(AGE=42))&NAME=\"S\"", 1},
    {"((AGE=1)|(AGE=2))&NAME=\"S\"", 0},
    {"AGE=42 & NAME=\"SMITH\"", 0},
    {"AGE=42 &NAME=\"SMITH\"", 1},
    // Unbalanced or crossed parentheses: nothing passes.
    {"NAME=\"(\"", 0},
    {"(AGE>40", 0},
    {"AGE>40)", 0},
    {"AGE>40)|(AGE<18", 0},
    // Words of more than ten characters are looked up by their first ten.
    {"TITLE_TEXTS==\"DR  S\"", 1},
    {"AGE_OF_MEM=7", 1},
    {"AGE_OF_MEMBER>0", 0},
    // A clause without an operator cannot be judged, and is false.
    {"AGE", 0},
    {"", 0},
    {"\"AGE>1\"", 0},
    {"AGE>1&X", 0},
    {"AGE>1|X", 1},
    {"AGE>1&", 0},
    {"AGE>1|", 1},
    {"AGE>1&&AGE>1", 0},
    {"NAME=\"A|B\"", 0},
    // An operand whose surplus parenthesis stands inside it is compared as it stands.
    {"NOTE=\"Smith\"", 1},
    {"NOTE~\"Jr\"", 1},
    {"NOTE>\"Smith !\"", 1},  // the '(' stays in the operand
    {"NOTE==\"Smith (Jr\"", 0},  // the quoted '(' unbalances the condition
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
}

TEST(Condition, DeletedRecordsAndTheConditionOfAll) {
    Staff live;
    EXPECT_EQ(cond_evaluate(*live.table, *live.scratch, COND_NONE), 1);
    live.table->settings.hide_deleted = 1;
    EXPECT_EQ(cond_evaluate(*live.table, *live.scratch, COND_NONE), 1);
    Staff deleted(true);
    EXPECT_EQ(cond_evaluate(*deleted.table, *deleted.scratch, COND_NONE), 1);
    EXPECT_EQ(deleted.judge("AGE>40"), 1);
    deleted.table->settings.hide_deleted = 1;
    EXPECT_EQ(cond_evaluate(*deleted.table, *deleted.scratch, COND_NONE), 0);
    EXPECT_EQ(deleted.judge("AGE>40"), 0);
}

TEST(Condition, SplitCountsClausesAndBalance) {
    Staff staff;
    const struct { const char* condition; int clauses; } kSplits[] = {
        {"", 1}, {"A=1", 1}, {"A=1&B=2|C=3", 3}, {"&&", 3}, {")A=1&B=2(", 2}, {"((", 0}, {"\"(\"&x", 0},
    };
    for (const auto& s : kSplits) {
        SCOPED_TRACE(s.condition);
        EXPECT_EQ(cond_split(*staff.scratch, s.condition), s.clauses);
    }
    ASSERT_EQ(cond_split(*staff.scratch, "A=1&B=2|C"), 3);
    const int32_t* separators = staff.scratch->separators;
    EXPECT_EQ(separators[0], 3);
    EXPECT_EQ(separators[1], 7);
    EXPECT_EQ(separators[2], 9);
}

TEST(Condition, ClausesLeaveTheirParenthesesInTheBooleanText) {
    Staff staff;
    const struct { const char* clause; char separator; const char* text; } kRewrites[] = {
        {"(AGE>40", '|', "(1+"},
        {"AGE<18)", '&', "0)*"},
        {"((AGE=1)", '|', "(0+"},
        {"(AGE=42))", '\0', "1)"},
        {"((AGE=42", 'x', "((1x"},
        {"AGE=42)+1", '&', "1)+1*"},
        {"AGE=42", '|', "1+"},
    };
    for (const auto& r : kRewrites) {
        SCOPED_TRACE(r.clause);
        CondScratch& scratch = *staff.scratch;
        std::memset(scratch.bool_text, 0, sizeof scratch.bool_text);
        scratch.bool_length = 0;
        std::strcpy(scratch.clause, r.clause);
        cond_rewrite_clause(*staff.table, scratch, r.separator);
        EXPECT_EQ(std::string(scratch.bool_text), r.text);
        EXPECT_EQ(scratch.bool_length, static_cast<int32_t>(std::strlen(r.text) + (r.separator == '\0')));
    }
}

TEST(Condition, StripTakesOnlySurplusParenthesesAtTheEnds) {
    const struct { const char* text; const char* stripped; } kStrips[] = {
        {"", ""}, {"((a", "a"}, {"a))", "a"}, {"(a)", "(a)"}, {"((a)", "(a)"}, {"(a))", "(a)"},
        {"(AGE+1)*2", "(AGE+1)*2"}, {"Smith (Jr", "Smith (Jr"}, {"(Smith (Jr", "Smith (Jr"},
        {")a(", ")a("}, {"(((", ""}, {")))", ""}, {"a)(", "a)("}, {")(", ")("},
    };
    for (const auto& s : kStrips) {
        SCOPED_TRACE(s.text);
        std::vector<char> text(s.text, s.text + std::strlen(s.text) + 1);
        cond_strip_parens(text.data());
        EXPECT_STREQ(text.data(), s.stripped);
    }
}

TEST(Condition, SubstitutionReplacesNamesOutsideQuotes) {
    Staff staff;
    const struct { const char* text; const char* out; int position; int numeric; } kSubstitutions[] = {
        {"AGE>40", " 42>40", 3, 1},
        {"NAME=\"SMITH\"", "SMITH     =SMITH", 10, 0},
        {"age<PAY", " 42<1234.50", 3, 1},
        {"BORN", "19610314", -1, 0},
        {"\"AGE>1\"", "AGE>1", -1, 0},
        {"'a'AGE", "a 42", -1, 1},       // a quote in front of a word clears no word
        {"b'a'AGE", "baAGE", -1, 0},     // ...so AGE here continues the word b
        {"XAGE=AGEX", "XAGE=AGEX", 4, 0},
        {"NAME'=", "SMITH     =", -1, 0},  // the quote runs to the end
        {"NOTE=1", "Smith (Jr =1", 10, 0}, // '(' in a value is no operator, '=' of the input is
        {"TITLE_TEXTS", "DR  S", -1, 0},
        {"", "", -1, 0},
    };
    for (const auto& s : kSubstitutions) {
        SCOPED_TRACE(s.text);
        int position = 99;
        int32_t numeric = -1;
        EXPECT_EQ(staff.substitute(s.text, &position, &numeric), s.out);
        EXPECT_EQ(position, s.position);
        EXPECT_EQ(numeric, s.numeric);
    }
}

TEST(Condition, ANumberWithoutDigitsGetsAZero) {
    Staff staff;
    int32_t numeric = 0;
    const std::string rate = staff.substitute("RATE", nullptr, &numeric);
    EXPECT_EQ(numeric, 1);
    ASSERT_GE(rate.size(), 4u);
    EXPECT_EQ(rate.substr(rate.size() - 4), "nan0");
    EXPECT_EQ(staff.judge("RATE<>1"), 0);  // "nan0" is no number: the clause cannot be judged
}

TEST(Condition, AnsiValuesAreConvertedToOem) {
    Staff staff;
    EXPECT_EQ(staff.substitute("CYR"), "\xC0\xC1\xC2");
    staff.table->settings.ansi_text = 1;
    EXPECT_EQ(staff.substitute("CYR='\xC0'"), "\x80\x81\x82=\xC0");  // the constant stays
    EXPECT_EQ(staff.judge("CYR=\"\x80\""), 1);
}

TEST(Condition, SubstitutionNeverWritesPastItsBuffer) {
    Staff staff;
    for (size_t size = 1; size < 20; ++size) {
        SCOPED_TRACE(size);
        std::vector<char> out(size + 8, '#');
        int32_t numeric = 0;
        int q = cond_substitute_fields(*staff.table, "NAME=AGE", out.data(), size, &numeric);
        const size_t length = std::strlen(out.data());
        EXPECT_LT(length, size);
        EXPECT_EQ(std::string(out.data() + size, 8), std::string(8, '#'));
        EXPECT_EQ(q, size > 14 ? 10 : COND_TOO_LONG);  // "SMITH     = 42" is 14 bytes
    }
}

TEST(Condition, LimitsMakeTheConditionFalse) {
    Staff staff;
    // A clause with its values in place may have 255 characters.
    EXPECT_EQ(staff.judge("NAME>\"A" + std::string(243, ' ')), 1);  // "SMITH     >A" and 243 blanks
    EXPECT_EQ(staff.judge("NAME>\"A" + std::string(244, ' ')), 0);
    EXPECT_EQ(staff.judge("NAME~\"" + std::string(300, 'x')), 0);
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
    EXPECT_EQ(staff.judge(std::string(1023, '|')), 0);
    EXPECT_EQ(staff.judge(std::string(5000, '&')), 0);
}

TEST(Condition, ResultsOutsideIntegersAreFalse) {
    Staff staff;
    EXPECT_EQ(staff.judge("(AGE>1|AGE>1)*2"), 1);
    EXPECT_EQ(staff.judge("(AGE>1|AGE>1)^99"), 0);    // beyond 64 bits
    EXPECT_EQ(staff.judge("(AGE>1|AGE>1)^32"), 0);    // low 32 bits are 0
    EXPECT_EQ(staff.judge("(AGE>1|AGE<1)/4"), 0);     // truncated toward zero
}

// Random and mutated conditions: the evaluator must answer 0 or 1 without a crash,
// a hang or a stray access, whatever it is given.
TEST(Condition, SurvivesAnyText) {
    Staff staff;
    std::mt19937 random(20010314);
    const char* const kPieces[] = {"AGE", "NAME", "PAY", "BORN", "NOTE", "AGE_OF_MEMBER", "(", ")", "((", "))",
                                   "&", "|", "=", "==", "<", ">", "<>", "~", "~<", "~>", "~=", "\"", "'",
                                   "42", "1e308", "-", "*", "^", " ", "TRIM(", "LEFT(", "SUBSTR(", "DTOS(",
                                   ",", "SQRT(", "LOG(", "\xFF", "\x80"};
    const std::string seeds[] = {"(AGE>40|AGE<18)&NAME=\"S\"", "((AGE=1)|(AGE=42))&NAME=\"S\"",
                                 "LEFT(NAME,2)=\"SM\"", "AGE>40)|(AGE<18", "NAME=\"SMI&AGE>1"};
    auto random_size = [&](size_t limit) { return static_cast<size_t>(random() % limit); };
    for (int round = 0; round < 4000; ++round) {
        std::string text;
        switch (round % 4) {
            case 0:  // random bytes
                for (size_t i = random_size(200); i > 0; --i) text += static_cast<char>(1 + random() % 255);
                break;
            case 1:  // random pieces
                for (size_t i = random_size(80); i > 0; --i) text += kPieces[random_size(std::size(kPieces))];
                break;
            case 2: {  // mutated seeds
                text = seeds[random_size(std::size(seeds))];
                for (size_t i = random_size(6) + 1; i > 0; --i) {
                    const size_t at = random_size(text.size() + 1);
                    if (random() % 2 && at < text.size()) text.erase(at, 1);
                    else text.insert(at, kPieces[random_size(std::size(kPieces))]);
                }
                break;
            }
            default: {  // deep nesting and long texts
                const size_t depth = random_size(3000);
                text = std::string(depth, '(') + "AGE=42" + std::string(depth, ')');
                if (round % 8 == 3) text += "|" + std::string(random_size(70000), 'x');
                if (round % 16 == 7) text = std::string(65537, '(') + text;
                break;
            }
        }
        SCOPED_TRACE(round);
        const int truth = staff.judge(text);
        ASSERT_TRUE(truth == 0 || truth == 1);
    }
    EXPECT_EQ(staff.judge(std::string(100, '(') + "AGE=42" + std::string(100, ')')), 1);
}

}  // namespace

// Sums of boolean texts are kept from record to record; judging a series of records
// with one scratch must give what a fresh scratch gives for each.
TEST(Cond, ASeriesOfRecordsJudgesAsEachAlone) {
    ScratchDir dir;
    TableImage image;
    image.fields = {{"A", 'N', 1}, {"B", 'N', 1}, {"C", 'N', 1}, {"D", 'N', 1}, {"E", 'N', 1}};
    for (int bits = 0; bits < 32; ++bits) {
        std::vector<std::string> values;
        for (int k = 0; k < 5; ++k) values.push_back(std::to_string((bits >> k) & 1));
        image.add(values);
    }
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
