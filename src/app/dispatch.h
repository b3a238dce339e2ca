// app/dispatch.h
//
// One parameter text becomes one action or one change of state. Everything a user
// can ask of the program passes through apply_parameter: from the command line,
// from @list files and from the settings file trugtool.ini alike.
#pragma once

#include "commands/run.h"

// `text` is a parameter without its leading '/' or '-'.
void apply_parameter(Pass& pass, const char* text);
void print_usage(OutStream& out);
void cmd_version(OutStream& out);
// /TRIM[:right|:left|:all]
void cmd_trim(Pass& pass, const char* text);
// /DATE:dmy|mdy|ymd|asis, or one character to put between the numbers.
void cmd_date(Pass& pass, const char* text);
// /CP:number: the code page of tables without a mark, and over a wrong one; /CP: alone goes back to the marks.
void cmd_code_page(Pass& pass, const char* text);
