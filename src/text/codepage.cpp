// text/codepage.cpp -- not yet built.
#include "text/codepage.h"
void oem_to_ansi_by_set(const char*, char*) {}
void ansi_to_oem_by_set(const char*, char*) {}
void fold_case_by_set(char*) {}
