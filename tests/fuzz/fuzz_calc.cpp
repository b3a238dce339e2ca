// tests/fuzz/fuzz_calc.cpp: libFuzzer entry of the calc target.
#include <cstdio>

#include "fuzz/targets.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::freopen("/dev/null", "w", stdout);  // the program's own output is not the subject
    fuzz_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) { return fuzz_calc(data, size); }
