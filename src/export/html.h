// export/html.h
//
// The HTML table of a listing: one <table> per listing, one <tr> per record in the
// browse layout, one <tr> per field in the fields layout. Text cells go through
// html_value (listing.h) and leave in ANSI; the other kinds of listing stay in OEM.
// Shared by the export loop and the record renderer only.
#pragma once

#include <cstdio>
#include <optional>
#include <string>

#include "table/dbf.h"

// The <table> line and, with /HDR in the browse layout, the row of field names.
void html_write_head(FILE* out, const DbfTable& table);
void html_write_tail(FILE* out);
// Deletion-mark cells, if asked for, behind the record's <tr>.
void html_record_open(FILE* out, const DbfTable& table);
// One field: VALUE is the table's value buffer, `memo` the memo text or none.
void html_record_value(FILE* out, DbfTable& table, int field, const std::optional<std::string>& memo);
void html_record_close(FILE* out, const DbfTable& table);
