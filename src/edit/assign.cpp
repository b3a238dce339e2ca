// edit/assign.cpp -- not yet built.
#include "edit/assign.h"
void cmd_field(const char*) {}
void cmd_update() {}
void cmd_append(const char*) {}
void cmd_import(const char*) {}
