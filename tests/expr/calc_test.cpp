// tests/expr/calc_test.cpp
//
// The calculator: expressions, their failures, and the limits of its stack and text.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "expr/calc.h"

namespace {

struct Outcome {
    bool ok;
    double value;
};

Outcome evaluate(const std::string& input) {
    std::vector<char> text(input.begin(), input.end());
    text.push_back('\0');  // exactly sized, so the sanitizer sees any overrun
    int32_t ok = 1;
    const double value = calc_evaluate(text.data(), &ok);
    return {ok == 1, value};
}

std::string repeat(const std::string& piece, int times) { return times > 0 ? piece + repeat(piece, times - 1) : ""; }

struct Case {
    const char* text;
    bool ok;
    double value;
};

// Precedence, unary minus, stray tokens, division, numbers, functions and rounding.
const Case kCases[] = {
    {"", false, 0}, {"   ", false, 0}, {"1+2*3", true, 7}, {"1-2-3", true, -4}, {"2/2/2", true, 0.5},
    {"2*3/4", true, 1.5}, {"-(1+2)*3", true, -9}, {"2^3^2", true, 512}, {"2 ^ 3", true, 8}, {"2*3^2", true, 18},
    {"-2^2", true, 4}, {"2^-1", true, 0.5}, {"--1", false, 0}, {"1--1", true, 2}, {"1+-1", true, 0},
    {"1---1", false, 0}, {"+1", false, 0}, {"2*-3", true, -6}, {"-(-1)", true, 1}, {"1:2", false, 0},
    {"1,2", false, 0}, {"(1", false, 0}, {"1)", false, 0}, {"()", false, 0}, {"2(3)", false, 0}, {"(2)3", false, 0},
    {"1 2", false, 0}, {"1\t+2", false, 0}, {"1+\xe9", false, 0}, {"1/0", false, 0}, {"-1/0", false, 0},
    {"0/0", false, 0}, {"1/(1-1)", false, 0}, {"1/-0", false, 0}, {"1E308/0.1", false, 0},
    {"-1E308/0.1", true, -INFINITY}, {".5", true, 0.5}, {"5.", true, 5}, {".", false, 0}, {"1.2.3", false, 0},
    {"1e3", true, 1000}, {"1E+3", true, 1000}, {"1.5E-2", true, 0.015}, {"1E", true, 1}, {"1E+", true, 1},
    {"1E999", false, 0}, {"1E-999", false, 0}, {"1E1234", false, 0}, {"1E123", true, 1e123}, {"1E001", true, 10},
    {"1E0012", false, 0}, {"sqr(3)", true, 9}, {"SQRT(16)", true, 4}, {"cos(0)+cosh(0)", true, 2},
    {"LOG10(100)", true, 2}, {"LOG(EXP(2))", true, 2}, {"tanh(0)+sinh(0)+sin(0)+tan(0)", true, 0},
    {"ABS(-2)", true, 2}, {"ABSOLUTE(1)", false, 0}, {"COSX", false, 0}, {"ABS 1", false, 0}, {"ABS (1)", true, 1},
    {"FOO(1)", false, 0}, {"ABS", false, 0}, {"POW10(2)", true, 1024}, {"ROUND(2.5)", true, 3},
    {"ROUND(-2.5)", true, -2}, {"ROUND(-2.6)", true, -2}, {"ROUND(-3.5)", true, -3}, {"TRUNC(-2.7)", true, -2},
    {"TRUNC(3000000000)", true, -2147483648.0}, {"ROUND(-3000000000)", true, -2147483648.0},
    {"TRUNC(2147483647.9)", true, 2147483647}, {"LOG(0)", true, -INFINITY}, {"EXP(1000)", true, INFINITY},
    {"2*(3+4)", true, 14}, {"2^(1+1)", true, 4}, {"8/(1+1)", true, 4}, {"1-(2)", true, -1}, {"2*-(1+2)", true, -6},
    {"2+(3)*2", true, 8},
};

}  // namespace

TEST(Calc, EvaluatesEachExpression) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.text);
        const Outcome out = evaluate(c.text);
        EXPECT_EQ(out.ok, c.ok);
        if (std::isinf(c.value)) EXPECT_EQ(out.value, c.value);
        else EXPECT_DOUBLE_EQ(out.value, c.value);
    }
    EXPECT_TRUE(std::isnan(evaluate("1+sqrt(-1)").value));
}

// The stack of 30 entries bounds every kind of nesting; a text of 80 characters fails.
TEST(Calc, NestingAndLengthStopAtTheirLimits) {
    const struct { const char *open, *close; int deepest; } kDepths[] = {{"(", ")", 27}, {"ABS(", ")", 13}, {"", "^1", 14}};
    for (const auto& d : kDepths)
        for (int k = 1; k <= d.deepest + 2; ++k) {
            const std::string text = repeat(d.open, k) + "1" + repeat(d.close, k);
            EXPECT_EQ(evaluate(text).ok, k <= d.deepest) << text;
            EXPECT_EQ(evaluate(text).value, k <= d.deepest ? 1.0 : 0.0) << text;
        }
    const std::string fits = std::string("1") + repeat("+1", 39);  // 79 characters, no depth
    EXPECT_DOUBLE_EQ(evaluate(fits).value, 40);
    for (const std::string& text : {fits + " ", std::string("abs(1)") + repeat(" ", 74)}) {
        EXPECT_FALSE(evaluate(text).ok) << text;
        EXPECT_EQ(evaluate(text).value, 0.0) << text;
    }
}

// A lone number takes a quick way past the parser. In parentheses it takes the
// parse: the two must agree on every text, down to the sign of zero and to failure.
TEST(Calc, LoneNumbersAsTheParseReadsThem) {
    std::mt19937 rng(23);
    const std::string alphabet = "0123456789 .-e+x";
    for (int i = 0; i < 50000; ++i) {
        std::string text(rng() % 30, ' ');
        for (char& c : text) c = alphabet[rng() % (i % 2 ? 13 : alphabet.size())];
        int32_t quick_ok = 1, parsed_ok = 1;
        const double quick = calc_evaluate(text.c_str(), &quick_ok);
        const double parsed = calc_evaluate(("(" + text + ")").c_str(), &parsed_ok);
        ASSERT_EQ(quick_ok, parsed_ok) << '"' << text << '"';
        if (quick_ok) ASSERT_EQ(std::memcmp(&quick, &parsed, sizeof quick), 0) << '"' << text << '"';
    }
}
