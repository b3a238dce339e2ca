// commands/listing/listing.h
//
// Listings: /OUT chooses a target, /SELECT: writes the chosen fields of every
// visible record (or those of /RANGE:) to it, as text, SQL inserts, a program
// script, an HTML table, CSV, JSON Lines or records of another table.
#pragma once

#include "commands/run.h"

// Remembers the kind and name of the target: /OUT:name.ext, or the screen for /OUT.
void cmd_out(Pass& pass, const char* text);
// Lists the fields of a list text ("*" for all) to the target.
void cmd_select(Pass& pass, const char* text);
