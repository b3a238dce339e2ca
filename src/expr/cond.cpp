// expr/cond.cpp -- not yet built.
#include "expr/cond.h"
void CondScratchDeleter::operator()(CondScratch* scratch) const { delete scratch; }
