// edit/ranges.h
//
// Record lists typed by the user, counted from 1: "1;3,5-7". /RANGE: keeps one for
// later listings and updates; /DELETE: and /RECALL: set and clear marks at once.
#pragma once

#include <cstdint>
#include <functional>

void cmd_range(const char* text);
void cmd_delete(const char* text);
void cmd_recall(const char* text);
// Calls `visit` with each position of a list text (from 0), in typed order.
void parse_record_list(const char* text, const std::function<void(int32_t)>& visit);
