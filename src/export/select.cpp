// export/select.cpp -- not yet built.
#include "export/listing.h"
void cmd_out(const char*) {}
void cmd_select(const char*) {}
