// commands/selection/selection.h
//
// /FILTER:, /DELETED, /CLEAR and /ORDER:: the view every later parameter works
// through. Between /CMP:file and the closing /CMP, filters and orders act on the
// comparison table too.
#pragma once

#include "commands/run.h"

// Narrows the view to the records that meet a condition.
void cmd_filter(Pass& pass, const char* text);
// /DELETED- hides deleted records, /DELETED shows them again.
void cmd_deleted(Pass& pass, const char* text);
// Drops filter and order.
void cmd_clear(Pass& pass);
// Orders the view by a list of fields.
void cmd_order(Pass& pass, const char* text);
