// compare/compare.h
//
// /CMP:file.dbf opens a second table beside the current one; parameters between
// it and the closing /CMP[:isc] act on both; the closing one prints the reports.
#pragma once

#include "table/dbf.h"

void cmd_cmp(const char* text);
void report_info();
int field_match(const DbfTable& table_a, int index, const DbfTable& table_b, int* found);
const char* field_summary(const DbfTable& table, int index);
void report_structure();
void report_data();
