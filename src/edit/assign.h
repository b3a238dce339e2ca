// edit/assign.h
//
// /FIELD: assignments, /UPDATE, /APPEND and +file.dbf imports.
#pragma once

void cmd_field(const char* text);
int apply_field_text();
void cmd_update();
void cmd_append(const char* text);
void cmd_import(const char* name);
