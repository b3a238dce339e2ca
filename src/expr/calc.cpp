// expr/calc.cpp
//
// The calculator is a shift-reduce parser driven by two tables written out below:
// the action table (state on top of the stack x lookahead token) and the goto
// table (symbol made by a reduction x state left on top after its pops). The
// grammar, loosest to tightest:
//
//    1  sum    : sum + term          9  signed : - unary
//    2  sum    : sum - term         10  signed : unary
//    3  sum    : term               12  unary  : atom
//    4  term   : term * factor      14  atom   : ( sum )
//    5  term   : term / factor      15  atom   : number
//    6  term   : factor             16  atom   : function ( sum )
//    7  factor : signed ^ factor
//    8  factor : signed
//
// So ^ is right-associative, a unary minus binds tighter than ^ (-2^2 is 4), only
// one minus may stand in front of an atom, and there is no unary plus.
//
// The stack holds 30 entries, the start state among them; a push onto a full
// stack fails the parse. This is what bounds nesting: 27 groups, 13 calls or 14
// carets in a row. The text itself is copied into an 80-byte working buffer, so a
// text of 80 characters or more is refused outright.
#include "expr/calc.h"

#include "table/number_text.h"

#include <array>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

enum CalcToken : uint8_t {
    TOK_PLUS = 0,
    TOK_MINUS = 1,
    TOK_MUL = 2,
    TOK_DIV = 3,
    TOK_POW = 4,
    TOK_COLON = 5,
    TOK_LPAREN = 6,
    TOK_RPAREN = 7,
    TOK_NUMBER = 8,
    TOK_FUNCTION = 10,
    TOK_END = 11,
    TOK_BAD = 12,
};

// One stack entry. `value` holds a number, or the name of a function with its NUL;
// entries of operators carry whatever the lexer last left there.
struct CalcItem {
    uint8_t state;
    union {
        double number;
        char name[8];
    } value;
};
static_assert(sizeof(CalcItem{}.value) == 8, "a value is a double or a name of at most 5 characters");

constexpr int kStackSize = 30;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr size_t kTextSize = 80;  // 79 characters and the NUL

// The state of one evaluation.
struct CalcParser {
    const char* cursor = nullptr;
    int32_t top = -1;
    CalcToken token = TOK_END;
    bool error = false;
    CalcItem stack[kStackSize];  // entries up to `top` are set
    CalcItem item = {};
};

// ---- Functions of one argument ------------------------------------------------

double calc_to_int32(double x) {
    // Truncation to a signed 32-bit integer; out of range (and NaN) is the
    // integer's lowest value, as the hardware conversion gives it.
    if (!(x > -2147483649.0 && x < 2147483648.0)) return -2147483648.0;
    return static_cast<double>(static_cast<int32_t>(x));
}

struct CalcFunction {
    const char* name;
    double (*apply)(double);
};

// The lexer tries the names in this order and takes the first that is a prefix of
// the text, so each longer name stands before the shorter one it starts with.
const CalcFunction kFunctions[] = {
    {"ABS", [](double x) { return std::fabs(x); }},
    {"ACOS", [](double x) { return std::acos(x); }},
    {"ASIN", [](double x) { return std::asin(x); }},
    {"ATAN", [](double x) { return std::atan(x); }},
    {"COSH", [](double x) { return std::cosh(x); }},
    {"COS", [](double x) { return std::cos(x); }},
    {"EXP", [](double x) { return std::exp(x); }},
    {"LOG10", [](double x) { return std::log10(x); }},
    {"LOG", [](double x) { return std::log(x); }},
    {"POW10", [](double x) { return std::pow(x, 10.0); }},  // x to the tenth
    {"ROUND", [](double x) { return calc_to_int32(x + 0.5); }},
    {"SINH", [](double x) { return std::sinh(x); }},
    {"SIN", [](double x) { return std::sin(x); }},
    {"SQRT", [](double x) { return std::sqrt(x); }},
    {"SQR", [](double x) { return x * x; }},
    {"TANH", [](double x) { return std::tanh(x); }},
    {"TAN", [](double x) { return std::tan(x); }},
    {"TRUNC", [](double x) { return calc_to_int32(x); }},
};

// ---- Grammar tables -----------------------------------------------------------

enum CalcSymbol : uint8_t { SymNone, SymSum, SymTerm, SymFactor, SymSigned, SymUnary, SymAtom };

struct CalcRule {
    CalcSymbol symbol;
    uint8_t popped;
};

constexpr CalcRule kRules[17] = {
    {SymNone, 0},   //  0 unused
    {SymSum, 3},    //  1 sum : sum + term
    {SymSum, 3},    //  2 sum : sum - term
    {SymSum, 1},    //  3 sum : term
    {SymTerm, 3},   //  4 term : term * factor
    {SymTerm, 3},   //  5 term : term / factor
    {SymTerm, 1},   //  6 term : factor
    {SymFactor, 3}, //  7 factor : signed ^ factor
    {SymFactor, 1}, //  8 factor : signed
    {SymSigned, 2}, //  9 signed : - unary
    {SymSigned, 1}, // 10 signed : unary
    {SymNone, 0},   // 11 unused
    {SymUnary, 1},  // 12 unary : atom
    {SymNone, 0},   // 13 unused
    {SymAtom, 3},   // 14 atom : ( sum )
    {SymAtom, 1},   // 15 atom : number
    {SymAtom, 4},   // 16 atom : function ( sum )
};

// Goto: the symbol a reduction made, the state on top after its pops, the new
// state. Any pair not listed leads to state 30, from which nothing continues.
struct CalcGoto {
    CalcSymbol symbol;
    uint8_t on_top;
    uint8_t next;
};

constexpr uint8_t kDeadState = 30;

constexpr CalcGoto kGotos[] = {
    {SymSum, 0, 1},     {SymSum, 9, 19},    {SymSum, 20, 28},
    {SymTerm, 0, 2},    {SymTerm, 9, 2},    {SymTerm, 20, 2},    {SymTerm, 12, 21},  {SymTerm, 13, 22},
    {SymFactor, 0, 3},  {SymFactor, 9, 3},  {SymFactor, 12, 3},  {SymFactor, 13, 3}, {SymFactor, 20, 3},
    {SymFactor, 14, 23}, {SymFactor, 15, 24}, {SymFactor, 16, 25},
    {SymSigned, 0, 4},  {SymSigned, 9, 4},  {SymSigned, 12, 4},  {SymSigned, 13, 4},
    {SymSigned, 14, 4}, {SymSigned, 15, 4}, {SymSigned, 16, 4},  {SymSigned, 20, 4},
    {SymUnary, 0, 6},   {SymUnary, 9, 6},   {SymUnary, 12, 6},   {SymUnary, 13, 6},
    {SymUnary, 14, 6},  {SymUnary, 15, 6},  {SymUnary, 16, 6},   {SymUnary, 20, 6},  {SymUnary, 5, 17},
    {SymAtom, 0, 8},    {SymAtom, 5, 8},    {SymAtom, 9, 8},     {SymAtom, 12, 8},   {SymAtom, 13, 8},
    {SymAtom, 14, 8},   {SymAtom, 15, 8},   {SymAtom, 16, 8},    {SymAtom, 20, 8},
};

enum CalcActionKind : uint8_t { ActError, ActShift, ActReduce, ActAccept };

struct CalcAction {
    CalcActionKind kind;
    uint8_t number;  // the state of a shift, the rule of a reduction
};

constexpr CalcAction S(uint8_t state) { return {ActShift, state}; }
constexpr CalcAction R(uint8_t rule) { return {ActReduce, rule}; }
constexpr CalcAction ERR{ActError, 0};
constexpr CalcAction ACC{ActAccept, 0};

// Columns of the action table; `other` takes ':' and every unknown token.
enum CalcColumn : uint8_t { ColNumber, ColFunction, ColPlus, ColMinus, ColMul, ColDiv, ColPow,
                            ColLParen, ColRParen, ColEnd, ColOther, kColumns };

constexpr CalcColumn kColumnOf[13] = {
    ColPlus, ColMinus, ColMul, ColDiv, ColPow, ColOther /* : */, ColLParen, ColRParen,
    ColNumber, ColOther /* 9 unassigned */, ColFunction, ColEnd, ColOther /* bad */,
};

constexpr int kStates = 31;

// States 7, 18 and 26 are not used. A state whose row holds one reduction
// throughout reduces whatever the lookahead is.
const CalcAction kActions[kStates][kColumns] = {
    //        number function +      -      *      /      ^      (      )      end    other
    /*  0 */ {S(10), S(11),  ERR,   S(5),  ERR,   ERR,   ERR,   S(9),  ERR,   ERR,   ERR},
    /*  1 */ {ERR,   ERR,    S(12), S(13), ERR,   ERR,   ERR,   ERR,   ERR,   ACC,   ERR},
    /*  2 */ {R(3),  R(3),   R(3),  R(3),  S(14), S(15), R(3),  R(3),  R(3),  R(3),  R(3)},
    /*  3 */ {R(6),  R(6),   R(6),  R(6),  R(6),  R(6),  R(6),  R(6),  R(6),  R(6),  R(6)},
    /*  4 */ {R(8),  R(8),   R(8),  R(8),  R(8),  R(8),  S(16), R(8),  R(8),  R(8),  R(8)},
    /*  5 */ {S(10), S(11),  ERR,   ERR,   ERR,   ERR,   ERR,   S(9),  ERR,   ERR,   ERR},
    /*  6 */ {R(10), R(10),  R(10), R(10), R(10), R(10), R(10), R(10), R(10), R(10), R(10)},
    /*  7 */ {ERR,   ERR,    ERR,   ERR,   ERR,   ERR,   ERR,   ERR,   ERR,   ERR,   ERR},
    /*  8 */ {R(12), R(12),  R(12), R(12), R(12), R(12), R(12), R(12), R(12), R(12), R(12)},
    /*  9 */ {S(10), S(11),  ERR,   S(5),  ERR,   ERR,   ERR,   S(9),  ERR,   ERR,   ERR},
    /* 10 */ {R(15), R(15),  R(15), R(15), R(15), R(15), R(15), R(15), R(15), R(15), R(15)},
    /* 11 */ {ERR,   ERR,    ERR,   ERR,   ERR,   ERR,   ERR,   S(20), ERR,   ERR,   ERR},
    /* 12 */ {S(10), S(11),  ERR,   S(5),  ERR,   ERR,   ERR,   S(9),  ERR,   ERR,   ERR},
    /* 13 */ {S(10), S(11),  ERR,   S(5),  ERR,   ERR,   ERR,   S(9),  ERR,   ERR,   ERR},
    /* 14 */ {S(10), S(11),  ERR,   S(5),  ERR,   ERR,   ERR,   S(9),  ERR,   ERR,   ERR},
    /* 15 */ {S(10), S(11),  ERR,   S(5),  ERR,   ERR,   ERR,   S(9),  ERR,   ERR,   ERR},
    /* 16 */ {S(10), S(11),  ERR,   S(5),  ERR,   ERR,   ERR,   S(9),  ERR,   ERR,   ERR},
    /* 17 */ {R(9),  R(9),   R(9),  R(9),  R(9),  R(9),  R(9),  R(9),  R(9),  R(9),  R(9)},
    /* 18 */ {ERR,   ERR,    ERR,   ERR,   ERR,   ERR,   ERR,   ERR,   ERR,   ERR,   ERR},
    /* 19 */ {ERR,   ERR,    S(12), S(13), ERR,   ERR,   ERR,   ERR,   S(27), ERR,   ERR},
    /* 20 */ {S(10), S(11),  ERR,   S(5),  ERR,   ERR,   ERR,   S(9),  ERR,   ERR,   ERR},
    /* 21 */ {R(1),  R(1),   R(1),  R(1),  S(14), S(15), R(1),  R(1),  R(1),  R(1),  R(1)},
    /* 22 */ {R(2),  R(2),   R(2),  R(2),  S(14), S(15), R(2),  R(2),  R(2),  R(2),  R(2)},
    /* 23 */ {R(4),  R(4),   R(4),  R(4),  R(4),  R(4),  R(4),  R(4),  R(4),  R(4),  R(4)},
    /* 24 */ {R(5),  R(5),   R(5),  R(5),  R(5),  R(5),  R(5),  R(5),  R(5),  R(5),  R(5)},
    /* 25 */ {R(7),  R(7),   R(7),  R(7),  R(7),  R(7),  R(7),  R(7),  R(7),  R(7),  R(7)},
    /* 26 */ {ERR,   ERR,    ERR,   ERR,   ERR,   ERR,   ERR,   ERR,   ERR,   ERR,   ERR},
    /* 27 */ {R(14), R(14),  R(14), R(14), R(14), R(14), R(14), R(14), R(14), R(14), R(14)},
    /* 28 */ {ERR,   ERR,    S(12), S(13), ERR,   ERR,   ERR,   ERR,   S(29), ERR,   ERR},
    /* 29 */ {R(16), R(16),  R(16), R(16), R(16), R(16), R(16), R(16), R(16), R(16), R(16)},
    /* 30 */ {ERR,   ERR,    ERR,   ERR,   ERR,   ERR,   ERR,   ERR,   ERR,   ERR,   ERR},
};

// ---- Lexer --------------------------------------------------------------------

bool calc_match_name(CalcParser& parser, const char* name) {
    const size_t length = std::strlen(name);
    if (std::strncmp(parser.cursor, name, length) != 0) return false;
    parser.cursor += length;
    return true;
}

bool calc_is_digit(char c) { return c >= '0' && c <= '9'; }

CalcToken calc_read_number(CalcParser& parser) {
    const char* start = parser.cursor;
    bool dot = false;
    while (calc_is_digit(*parser.cursor) || (*parser.cursor == '.' && !dot)) {
        if (*parser.cursor == '.') dot = true;
        ++parser.cursor;
    }
    if (parser.cursor - start == 1 && *start == '.') return TOK_BAD;
    if (*parser.cursor == 'E') {
        ++parser.cursor;
        if (*parser.cursor == '+' || *parser.cursor == '-') ++parser.cursor;
        for (int digits = 0; digits < 3 && calc_is_digit(*parser.cursor); ++digits) ++parser.cursor;
    }
    // The working text is shorter than this buffer, so any number fits.
    char number[kTextSize];
    const size_t length = static_cast<size_t>(parser.cursor - start);
    std::memcpy(number, start, length);
    number[length] = '\0';
    // Conversion stops where the text stops being a number: "1E" and "1E+" are 1.
    errno = 0;
    const double value = std::strtod(number, nullptr);
    if (errno == ERANGE) return TOK_BAD;
    parser.item.value.number = value;
    return TOK_NUMBER;
}

CalcToken calc_next_token(CalcParser& parser) {
    while (*parser.cursor == ' ') ++parser.cursor;  // a tab is no blank
    const char c = *parser.cursor;
    if (c == '\0') return TOK_END;  // the cursor stays: the end can be read again
    if (calc_is_digit(c) || c == '.') return calc_read_number(parser);
    if (std::isalpha(static_cast<unsigned char>(c))) {
        for (const CalcFunction& function : kFunctions) {
            if (calc_match_name(parser, function.name)) {
                std::memcpy(parser.item.value.name, function.name, std::strlen(function.name) + 1);
                return TOK_FUNCTION;
            }
        }
        return TOK_BAD;
    }
    ++parser.cursor;
    switch (c) {
        case '+': return TOK_PLUS;
        case '-': return TOK_MINUS;
        case '*': return TOK_MUL;
        case '/': return TOK_DIV;
        case '^': return TOK_POW;
        case ':': return TOK_COLON;
        case '(': return TOK_LPAREN;
        case ')': return TOK_RPAREN;
        default: return TOK_BAD;
    }
}

// ---- Stack and parser actions -------------------------------------------------

void calc_push(CalcParser& parser, const CalcItem& item) {
    if (parser.top >= kStackSize - 1) {
        parser.error = true;
        return;
    }
    // Field by field: callers have just written the state byte of `item`, and a copy
    // of the whole item would have to wait for that store to land.
    CalcItem& slot = parser.stack[++parser.top];
    slot.state = item.state;
    slot.value = item.value;
}

CalcItem calc_pop(CalcParser& parser) {
    if (parser.top < 0) {  // unreachable with the tables above; kept as a guard
        parser.error = true;
        return CalcItem{};
    }
    // Field by field, for the same reason as in calc_push.
    const CalcItem& slot = parser.stack[parser.top--];
    CalcItem item;
    item.state = slot.state;
    item.value = slot.value;
    return item;
}

void calc_shift(CalcParser& parser, uint8_t state) {
    parser.item.state = state;
    calc_push(parser, parser.item);
    parser.token = calc_next_token(parser);
}

// kGotos laid out by symbol and state, made at compile time: every reduction asks it.
using GotoTable = std::array<std::array<uint8_t, kStates>, SymAtom + 1>;

constexpr GotoTable make_goto_table() {
    GotoTable table{};
    for (auto& row : table) row.fill(kDeadState);
    // Backwards, so that where a pair were listed twice the first entry would win.
    for (size_t i = sizeof kGotos / sizeof *kGotos; i-- > 0;) table[kGotos[i].symbol][kGotos[i].on_top] = kGotos[i].next;
    return table;
}

constexpr GotoTable kGotoTable = make_goto_table();

uint8_t calc_goto(CalcParser& parser, uint8_t rule) {
    const uint8_t on_top = parser.top >= 0 ? parser.stack[parser.top].state : kDeadState;
    return on_top < kStates ? kGotoTable[kRules[rule].symbol][on_top] : kDeadState;
}

double calc_apply(CalcParser& parser, const char* name, double x) {
    for (const CalcFunction& function : kFunctions) {
        if (std::strcmp(function.name, name) == 0) return function.apply(x);
    }
    parser.error = true;  // a call entry always holds a name from the list
    return 0.0;
}

void calc_reduce(CalcParser& parser, uint8_t rule) {
    // popped[0] is the former top: the right operand (the operand of rule 9), or
    // ")" in rules 14 and 16; popped[2] is the left operand.
    CalcItem popped[4] = {};
    for (int k = 0; k < kRules[rule].popped; ++k) popped[k] = calc_pop(parser);
    auto number = [&](int k) { return popped[k].value.number; };
    double result = 0.0;
    switch (rule) {
        case 1: result = number(2) + number(0); break;
        case 2: result = number(2) - number(0); break;
        case 4: result = number(2) * number(0); break;
        case 5: result = number(0) == 0.0 ? kInfinity : number(2) / number(0); break;
        case 7: result = std::pow(number(2), number(0)); break;
        case 9: result = -number(0); break;
        case 14: result = number(1); break;
        case 16: result = calc_apply(parser, popped[3].value.name, number(1)); break;
        default: result = number(0); break;  // the single-entry rules pass the value on
    }
    parser.item.value.number = result;
    parser.item.state = calc_goto(parser, rule);
    calc_push(parser, parser.item);
    // Only the division is checked: a zero divisor or an overflow to +infinity
    // fails the parse; -infinity passes.
    if (rule == 5 && parser.item.value.number == kInfinity) parser.error = true;
}

}  // namespace

namespace {

// The quick case of the parse: blanks, at most one minus, blanks, one number of
// digits with at most one point (not the point alone), blanks and the end. The
// parse gives the number as strtod reads it, negated after a minus; so does this.
// False for any other text, which then takes the parse.
bool calc_lone_number(const char* text, double& value) {
    const char* p = text;
    while (*p == ' ') ++p;
    const bool negative = *p == '-';
    if (negative) {
        ++p;
        while (*p == ' ') ++p;
    }
    const char* start = p;
    bool dot = false;
    while (calc_is_digit(*p) || (*p == '.' && !dot)) {
        if (*p == '.') dot = true;
        ++p;
    }
    const size_t length = static_cast<size_t>(p - start);
    if (length == 0 || (length == 1 && *start == '.')) return false;
    while (*p == ' ') ++p;
    if (*p != '\0') return false;
    char number[kTextSize];
    std::memcpy(number, start, length);
    number[length] = '\0';
    // Within 79 characters no run of digits leaves the range of a double.
    double magnitude;
    if (!number_atof(number, magnitude)) magnitude = std::strtod(number, nullptr);
    value = negative ? -magnitude : magnitude;
    return true;
}

}  // namespace

double calc_evaluate(const char* text, int32_t* ok) {
    const size_t length = text != nullptr ? strnlen(text, kTextSize) : kTextSize;
    if (length >= kTextSize) {  // does not fit the working buffer
        *ok = 0;
        return 0.0;
    }
    double lone = 0.0;
    if (calc_lone_number(text, lone)) return lone;
    char work[kTextSize];
    for (size_t i = 0; i < length; ++i) work[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[i])));
    work[length] = '\0';

    CalcParser parser;
    parser.cursor = work;
    CalcItem start{};
    start.state = 0;
    start.value.number = 0.0;
    calc_push(parser, start);
    parser.token = calc_next_token(parser);

    while (!parser.error) {
        const CalcAction action = kActions[parser.stack[parser.top].state][kColumnOf[parser.token]];
        switch (action.kind) {
            case ActShift: calc_shift(parser, action.number); break;
            case ActReduce: calc_reduce(parser, action.number); break;
            case ActAccept: return parser.stack[parser.top].value.number;
            case ActError: parser.error = true; break;
        }
    }
    *ok = 0;
    return 0.0;
}
