// commands/reports/struct.h
//
// /STRUCT: the fields of the current table as a text report, a CREATE TABLE
// script, a DBCREATE script, a program-dialect script or a structure-extended table.
#pragma once

#include <string>

#include "commands/run.h"

// /STRUCT[:name.txt|.sql|.dbf|.prg|.fox]: the report to the screen or appended to a file.
void cmd_struct(Pass& pass, const char* text);
// The SQL type of a field in CREATE TABLE.
std::string sql_type_name(const DbfTable& table, int field);
