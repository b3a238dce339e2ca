// commands/editing/ranges.h
//
// Record lists typed by the user, counted from 1: "1;3,5-7". /RANGE: keeps one for
// later listings and updates; /DELETE: and /RECALL: set and clear marks at once.
//
// Items are separated by ';' or ',' (a run of separators is one). An item "N" is
// position N-1; an item "N1-N2" is the positions N1-1 up to N2-1, ascending. Numbers
// read like atoi; an item whose (first) number is 0 gives nothing, and so does a
// range whose end lies below its start.
#pragma once

#include <cstdint>
#include <functional>

#include "commands/run.h"

// Adds the positions of a list to the run's /RANGE: list; "all" drops the list.
void cmd_range(Pass& pass, const char* text);
// Marks the listed records deleted.
void cmd_delete(Pass& pass, const char* text);
// Clears the deletion marks of the listed records.
void cmd_recall(Pass& pass, const char* text);
// Calls `visit` with each position of a list text (from 0), in typed order. A range
// item stops before `range_limit`, so that "1-2000000000" costs no more than the
// positions a caller can use; single numbers are passed on whatever their size.
void parse_record_list(const char* text, const std::function<void(int32_t)>& visit,
                       int32_t range_limit = INT32_MAX);
