// select/order.cpp -- not yet built.
#include "select/order.h"
void cmd_order(const char*) {}
