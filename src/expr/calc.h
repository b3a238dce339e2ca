// expr/calc.h
//
// The calculator: one line of text to one double, by a table-driven shift-reduce
// parser over numbers, + - * / ^, unary minus, parentheses and 18 functions.
#pragma once

#include <cstdint>

// On success returns the value, leaves *ok alone and upper-cases `text` in place;
// on failure returns 0.0, sets *ok to 0 and leaves `text` unchanged.
double calc_evaluate(char* text, int32_t* ok);
// /CALC: prints "%f\n" of the value or "Error\n".
void cmd_calc(const char* text);
