// driver/program.h
//
// The start of the program and the loop that carries it: early parameters, the
// split of the command line into tables and parameters, one pass over the
// parameters for each table, parameter list files and the settings file.
#pragma once

#include <string>

// The whole run; the exit status (0 on every path that returns).
int run_program(int argc, char** argv);
// Writes message, a blank and path, without a line end, and ends with status 1.
[[noreturn]] void die(const char* message, const char* path);
// How die ends the process: std::exit. A seam for harnesses that run the whole
// program in-process; a replacement must not return.
extern void (*die_exit)(int status);
void cmd_version();
// 0 if the file can't be opened, 1 otherwise.
int apply_parameter_file(const char* path);
// The directory part of dir_source followed by the base name of name_source.
std::string path_beside(const char* dir_source, const char* name_source);
// prefix + directory + base name of `name` + extension.
std::string path_merge(const char* prefix, const char* directory, const char* name, const char* extension);

// List files nest at most this deep; a deeper @file, or one that is already being
// read further out, counts as one that can't be opened.
inline constexpr int kMaxListDepth = 16;
