// export/output_table.h
//
// The target of /OUT:name.dbf: a table of its own, opened for one /SELECT: and
// closed behind it. An existing file is reused whatever its fields; only a file
// that can't be opened at all is created, with the selected fields. Each rendered
// record becomes one new record of the target, its values going by field name.
#pragma once

// Opens or creates the target named by state.out_file_name into state.output_table;
// leaves it null if the target can't be had. (Declared in listing.h too.)
void open_output_table();

// The frame of one record, for the listing loop. All three do nothing while
// state.output_table is null.
// Starts a new record of the target: a blank one, undeleted.
void dbf_output_open_record();
// Stores the rendered text of a field of the current table into the target's field
// of the same name, if it has one. A numeric target takes the source's number.
void dbf_output_value(int field, const char* text);
// Appends the record to the target.
void dbf_output_close_record();
