// commands/comparison/compare.h
//
// /CMP:file.dbf opens a second table beside the current one; parameters between
// it and the closing /CMP[:isc] act on both; the closing one prints the reports.
#pragma once

#include <string>

#include "commands/run.h"

// Opens the comparison table, or closes it with the reports its letters ask for.
void cmd_cmp(Pass& pass, const char* text);
// i: header facts of both tables side by side.
void report_info(OutStream& out, DbfTable& a, DbfTable& b);
// How field `index` of table_a pairs with table_b: 0 missing, 1 another type,
// 2 another size, 3 another offset, 4 the same; the partner's index to `found`.
int field_match(const DbfTable& table_a, int index, const DbfTable& table_b, int* found);
// Name, type, length and decimals of a field, as the structure report shows them.
std::string field_summary(const DbfTable& table, int index);
// s: the fields of both tables paired by name.
void report_structure(OutStream& out, const DbfTable& a, const DbfTable& b);
// c: the values that differ, record by record.
void report_data(OutStream& out, DbfTable& a, DbfTable& b);
