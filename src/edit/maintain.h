// edit/maintain.h
//
// Commands on the table file as a whole: /PACK, /TRUNC:, /MAKE:, /SORT:, and the
// header repairs /CDX, /CPZERO and /CHECK.
#pragma once

void cmd_pack(const char* text);
void cmd_trunc(const char* text);
void cmd_make(const char* text);
void cmd_sort(const char* text);
void cmd_cdx();
void cmd_cpzero();
void cmd_check();
