// export/listing.h
//
// Listings: /OUT chooses a target, /SELECT: writes the chosen fields of every
// visible record to it, as text, SQL inserts, a program script, an HTML table or
// records of another table.
#pragma once

#include <string>

void cmd_out(const char* text);
void cmd_select(const char* text);
void render_record(int32_t position);
char* strip_cr(char* text);
// The HTML form of a text: escapes, <br> for line ends, links for addresses.
std::string html_value(const char* text);
// Opens or creates the target table of /OUT:x.dbf into state.output_table.
void open_output_table();
