// app/program.h
//
// The start of the program and the loop that carries it: early parameters, the
// split of the command line into tables and parameters, one pass over the
// parameters for each table, parameter list files and the settings file.
#pragma once

#include <string>

#include "commands/run.h"

// The whole run over the console and file system given; the exit status. A fatal
// message is printed to the console and ends the run with status 1.
int run_program(OutStream& console, FileSystem& fs, int argc, char** argv);
// Applies a parameter list file; false if it can't be opened (or is being read already).
bool apply_parameter_file(Pass& pass, const std::string& path);
// The directory part of dir_source followed by the base name of name_source.
std::string path_beside(const std::string& dir_source, const std::string& name_source);

// List files nest at most this deep; a deeper @file, or one that is already being
// read further out, counts as one that can't be opened.
inline constexpr int kMaxListDepth = 16;
