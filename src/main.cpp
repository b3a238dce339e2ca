// main.cpp
#include <cstdio>
#include <unistd.h>

#include "driver/program.h"

namespace {

// Listings to the screen are often sent to a file or a pipe: there they go out in
// large blocks rather than in the stream's default 4 KiB. A terminal keeps its
// line buffering. Set before anything is written, as the stream requires.
char stdout_buffer[1 << 20];

}  // namespace

int main(int argc, char** argv) {
    if (!isatty(STDOUT_FILENO)) std::setvbuf(stdout, stdout_buffer, _IOFBF, sizeof stdout_buffer);
    return run_program(argc, argv);
}
