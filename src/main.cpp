// main.cpp
#include "driver/program.h"

int main(int argc, char** argv) { return run_program(argc, argv); }
