// tests/expr/calc_test.cpp
#include <gtest/gtest.h>

#include <cctype>
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

std::string repeat(const std::string& piece, int times) {
    std::string out;
    for (int k = 0; k < times; ++k) out += piece;
    return out;
}

struct Case {
    const char* text;
    bool ok;
    double value;
};

const Case kCases[] = {
    // empty
    {"", false, 0}, {"   ", false, 0},
    // precedence and associativity
    {"1+2*3", true, 7}, {"1-2-3", true, -4}, {"2/2/2", true, 0.5}, {"2*3/4", true, 1.5},
    {"-(1+2)*3", true, -9}, {"2^3^2", true, 512}, {"2 ^ 3", true, 8}, {"2*3^2", true, 18},
    // unary minus: once, before an atom, tighter than ^
    {"-2^2", true, 4}, {"2^-1", true, 0.5}, {"--1", false, 0}, {"1--1", true, 2}, {"1+-1", true, 0},
    {"1---1", false, 0}, {"+1", false, 0}, {"2*-3", true, -6}, {"-(-1)", true, 1},
    // stray and missing tokens
    {"1:2", false, 0}, {"1,2", false, 0}, {"(1", false, 0}, {"1)", false, 0}, {"()", false, 0},
    {"2(3)", false, 0}, {"(2)3", false, 0}, {"1 2", false, 0}, {"1\t+2", false, 0}, {"1+\xe9", false, 0},
    // division: zero divisors and +infinity fail, -infinity passes
    {"1/0", false, 0}, {"-1/0", false, 0}, {"0/0", false, 0}, {"1/(1-1)", false, 0}, {"1/-0", false, 0},
    {"1E308/0.1", false, 0}, {"-1E308/0.1", true, -INFINITY},
    // numbers
    {".5", true, 0.5}, {"5.", true, 5}, {".", false, 0}, {"1.2.3", false, 0},
    {"1e3", true, 1000}, {"1E+3", true, 1000}, {"1.5E-2", true, 0.015}, {"1E", true, 1}, {"1E+", true, 1},
    {"1E999", false, 0}, {"1E-999", false, 0}, {"1E1234", false, 0}, {"1E123", true, 1e123},
    {"1E001", true, 10}, {"1E0012", false, 0},
    // functions: name order, no word boundary, parenthesis right behind
    {"sqr(3)", true, 9}, {"SQRT(16)", true, 4}, {"cos(0)+cosh(0)", true, 2}, {"LOG10(100)", true, 2},
    {"LOG(EXP(2))", true, 2}, {"tanh(0)+sinh(0)+sin(0)+tan(0)", true, 0}, {"ABS(-2)", true, 2},
    {"ABSOLUTE(1)", false, 0}, {"COSX", false, 0}, {"ABS 1", false, 0}, {"ABS (1)", true, 1},
    {"FOO(1)", false, 0}, {"ABS", false, 0}, {"POW10(2)", true, 1024},
    {"ROUND(2.5)", true, 3}, {"ROUND(-2.5)", true, -2}, {"ROUND(-2.6)", true, -2}, {"ROUND(-3.5)", true, -3},
    {"TRUNC(-2.7)", true, -2}, {"TRUNC(3000000000)", true, -2147483648.0},
    {"ROUND(-3000000000)", true, -2147483648.0}, {"TRUNC(2147483647.9)", true, 2147483647},
    // results of functions are not checked
    {"LOG(0)", true, -INFINITY}, {"EXP(1000)", true, INFINITY},
};

TEST(Calc, EvaluatesEachExpression) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.text);
        const Outcome out = evaluate(c.text);
        EXPECT_EQ(out.ok, c.ok);
        if (std::isinf(c.value)) {
            EXPECT_EQ(out.value, c.value);
        } else {
            EXPECT_DOUBLE_EQ(out.value, c.value);
        }
    }
}

TEST(Calc, NanFlowsThroughUnchecked) {
    const Outcome out = evaluate("1+sqrt(-1)");
    EXPECT_TRUE(out.ok);
    EXPECT_TRUE(std::isnan(out.value));
}


// The stack of 30 entries bounds every kind of nesting.
TEST(Calc, NestingStopsWhereTheStackIsFull) {
    struct Depth { const char* what; std::string (*build)(int); int deepest; };
    const Depth kDepths[] = {
        {"groups", [](int k) { return repeat("(", k) + std::string("1") + repeat(")", k); }, 27},
        {"calls", [](int k) { return repeat("ABS(", k) + "1" + repeat(")", k); }, 13},
        {"carets", [](int k) { return std::string("1") + repeat("^1", k); }, 14},
    };
    for (const Depth& d : kDepths) {
        for (int k = 1; k <= d.deepest + 2; ++k) {
            SCOPED_TRACE(std::string(d.what) + " " + std::to_string(k));
            const Outcome out = evaluate(d.build(k));
            EXPECT_EQ(out.ok, k <= d.deepest);
            EXPECT_EQ(out.value, k <= d.deepest ? 1.0 : 0.0);
        }
    }
    // A flat sum reduces as it goes and needs no depth.
    EXPECT_DOUBLE_EQ(evaluate(std::string("1") + repeat("+1", 39)).value, 40);
}

TEST(Calc, TextOf80CharactersOrMoreFails) {
    const std::string fits = std::string("1") + repeat("+1", 39);  // 79 characters
    ASSERT_EQ(fits.size(), 79u);
    EXPECT_TRUE(evaluate(fits).ok);
    for (const std::string& text : {fits + " ", std::string("abs(1)") + repeat(" ", 74), repeat("1", 500)}) {
        SCOPED_TRACE(text.size());
        const Outcome out = evaluate(text);
        EXPECT_FALSE(out.ok);
        EXPECT_EQ(out.value, 0.0);
    }
}

// A random expression of the grammar, `depth` levels at most.
std::string random_expression(std::mt19937& random, int depth) {
    static const char* const kNumbers[] = {"0", "1", "2.5", ".5", "7.", "1E3", "1e-2", "3E+1"};
    static const char* const kOperators[] = {"+", "-", "*", "/", "^", " + ", "*-"};
    static const char* const kCalls[] = {"ABS(", "sqrt(", "Cosh(", "LOG10(", "ROUND(", "TRUNC(", "pow10("};
    std::string out;
    const unsigned terms = 1 + random() % 3;
    for (unsigned k = 0; k < terms; ++k) {
        if (k > 0) out += kOperators[random() % 7];
        if (random() % 4 == 0) out += "-";
        switch (depth > 0 ? random() % 4 : 0) {
            case 1: out += "("; out += random_expression(random, depth - 1); out += ")"; break;
            case 2: out += kCalls[random() % 7]; out += random_expression(random, depth - 1); out += ")"; break;
            default: out += kNumbers[random() % 8]; break;
        }
    }
    return out;
}

// Random and mutated texts: the parse must end, touch nothing beyond the text,
// and keep its contract either way.
TEST(Calc, SurvivesRandomTexts) {
    std::mt19937 random(20240517);
    const std::vector<std::string> pieces = {
        "1", ".", "E", "(", ")", "+", "-", "*", "/", "^", " ", ":", ",", "ABS(", "cosh", "x", "\t", "\xff",
    };
    auto pick = [&](size_t size) { return std::uniform_int_distribution<size_t>(0, size - 1)(random); };
    for (int round = 0; round < 8000; ++round) {
        std::string text;
        switch (round % 4) {
            case 0:  // random bytes, NUL excluded
                for (size_t k = pick(120); k > 0; --k) text += static_cast<char>(1 + pick(255));
                break;
            case 1:  // an expression of the grammar
                text = random_expression(random, static_cast<int>(pick(5)));
                break;
            case 2: {  // deep nesting, balanced or one off
                const int open = static_cast<int>(pick(32));
                const int close = open + static_cast<int>(pick(3)) - 1;
                text = repeat(round % 8 == 2 ? "(" : "-ABS(", open) + "1" + repeat(")", close);
                break;
            }
            default:  // an expression with a few mutations
                text = random_expression(random, static_cast<int>(pick(4)));
                for (size_t k = 1 + pick(3); k > 0; --k) {
                    const size_t at = pick(text.size() + 1);
                    const std::string& piece = pieces[pick(pieces.size())];
                    switch (pick(3)) {
                        case 0: text.insert(at, piece); break;
                        case 1: if (at < text.size()) text.erase(at, 1); break;
                        default: if (at < text.size()) text[at] = piece[0]; break;
                    }
                }
        }
        SCOPED_TRACE(text);
        const Outcome out = evaluate(text);
        if (!out.ok) {
            ASSERT_EQ(out.value, 0.0);
            ASSERT_FALSE(std::signbit(out.value));
            continue;
        }
        ASSERT_LT(text.size(), 80u);
        std::string upper = text;
        for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        // The upper-cased text means the same.
        const Outcome again = evaluate(upper);
        ASSERT_TRUE(again.ok);
        ASSERT_TRUE(again.value == out.value || (std::isnan(again.value) && std::isnan(out.value)));
    }
}

}  // namespace

// A lone number takes a quick way past the parser. In parentheses it takes the
// parse: the two must agree on every text, down to the sign of zero and to failure.
TEST(Calc, LoneNumbersAsTheParseReadsThem) {
    std::mt19937 rng(23);
    const std::string alphabet = "0123456789 .-e+x";
    int numbers = 0;
    for (int i = 0; i < 200000; ++i) {
        std::string text(rng() % 30, ' ');
        for (char& c : text) c = alphabet[rng() % (i % 2 ? 13 : alphabet.size())];
        int32_t quick_ok = 1, parsed_ok = 1;
        const double quick = calc_evaluate(text.c_str(), &quick_ok);
        const double parsed = calc_evaluate(("(" + text + ")").c_str(), &parsed_ok);
        ASSERT_EQ(quick_ok, parsed_ok) << '"' << text << '"';
        if (!quick_ok) continue;
        ++numbers;
        ASSERT_EQ(std::memcmp(&quick, &parsed, sizeof quick), 0) << '"' << text << "\": " << quick << " / " << parsed;
    }
    EXPECT_GT(numbers, 10000);
    for (const char* text : {"-0", "  -  0.000  ", ".5", "5.", "007", "123456789012345678901234567890"}) {
        int32_t ok = 1;
        (void)calc_evaluate(text, &ok);
        EXPECT_EQ(ok, 1) << text;
    }
}
