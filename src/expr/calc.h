// expr/calc.h
//
// The calculator: one line of text to one double, by a table-driven shift-reduce
// parser over numbers, + - * / ^, unary minus, parentheses and 18 functions.
#pragma once

#include <cstdint>

// The value of `text`, letters taken in any case. On failure returns 0.0 and sets
// *ok to 0; on success leaves *ok alone, so that one flag can gather a series.
double calc_evaluate(const char* text, int32_t* ok);
