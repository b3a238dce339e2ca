// edit/maintain.cpp -- not yet built.
#include "edit/maintain.h"
void cmd_pack(const char*) {}
void cmd_trunc(const char*) {}
void cmd_make(const char*) {}
void cmd_sort(const char*) {}
void cmd_cdx() {}
void cmd_cpzero() {}
void cmd_check() {}
