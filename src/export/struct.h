// export/struct.h
//
// /STRUCT: the fields of the current table as a text report, a CREATE TABLE
// script, a DBCREATE script, a program-dialect script or a structure-extended table.
#pragma once

#include "table/dbf.h"

void cmd_struct(const char* text);
const char* sql_type_name(const DbfTable& table, int field);
