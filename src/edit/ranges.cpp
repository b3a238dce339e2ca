// edit/ranges.cpp -- not yet built.
#include "edit/ranges.h"
void cmd_range(const char*) {}
void cmd_delete(const char*) {}
void cmd_recall(const char*) {}
