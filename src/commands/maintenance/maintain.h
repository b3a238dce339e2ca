// commands/maintenance/maintain.h
//
// Commands on the table file as a whole: /PACK, /TRUNC:, /ZAP, /MAKE:, /SORT:,
// /BLANK, and the header repairs /CDX, /CPZERO and /CHECK.
#pragma once

#include "commands/run.h"

// /PACK[:dbf|:memo]: closes the gaps of deleted records and/or rebuilds the memo file.
void cmd_pack(Pass& pass, const char* text);
// /TRUNC:N: cuts the table to N records, or extends it; N is a whole number.
void cmd_trunc(Pass& pass, const char* text);
// /ZAP: takes every record off.
void cmd_zap(Pass& pass);
// /BLANK: blanks the record buffer.
void cmd_blank(Pass& pass);
// /MAKE:name.dbf: a new empty table with the current table's fields; never over an
// existing file or memo file.
void cmd_make(Pass& pass, const char* text);
// /SORT:fields: rewrites the table in the order of the fields, keeping the old one as .bak.
void cmd_sort(Pass& pass, const char* text);
// Clears the structural-index flag.
void cmd_cdx(Pass& pass);
// Clears the code page mark.
void cmd_cpzero(Pass& pass);
// Writes back a header that opening had to repair.
void cmd_check(Pass& pass);
