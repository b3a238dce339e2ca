// commands/reports/reports.h
//
// Short answers: the number of records, and the calculator.
#pragma once

#include "commands/run.h"

// /COUNT: the visible records, with the table's path under /NAME.
void cmd_count(Pass& pass);
// /CALC:expression: "%f\n" of the value, or "Error\n".
void cmd_calc(OutStream& out, const char* text);
