// compare/compare.cpp -- not yet built.
#include "compare/compare.h"
void cmd_cmp(const char*) {}
