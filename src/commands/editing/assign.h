// commands/editing/assign.h
//
// /FIELD: assignments, /UPDATE, /APPEND and +file.dbf imports.
#pragma once

#include "commands/run.h"

// Keeps the assignment list for the /UPDATE and /APPEND behind it.
void cmd_field(Pass& pass, const char* text);
// Applies the assignment list to the record buffer (under /UTF8 converted to the
// table's code page first); false if any assignment failed (each failure has said so).
bool apply_field_text(Pass& pass);
// Applies the list to every visible record, or to those of /RANGE:.
void cmd_update(Pass& pass);
// /APPEND[:N|:blank]: adds records holding the assignments, or blank ones.
void cmd_append(Pass& pass, const char* text);
// +file.dbf: adds the records of another table, field by name.
void cmd_import(Pass& pass, const char* name);
