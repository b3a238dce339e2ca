// app/main.cpp
#include <unistd.h>

#include "app/program.h"

int main(int argc, char** argv) {
    FileSystem fs;
    OutStream console = OutStream::to_descriptor(STDOUT_FILENO);
    return run_program(console, fs, argc, argv);
}
