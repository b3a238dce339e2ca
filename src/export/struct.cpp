// export/struct.cpp -- not yet built.
#include "export/struct.h"
void cmd_struct(const char*) {}
