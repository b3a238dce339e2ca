// tests/fuzz/fuzz_html.cpp: libFuzzer entry of the html target.
#include <cstdio>

#include "fuzz/targets.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::freopen("/dev/null", "w", stdout);  // the program's own output is not the subject
    fuzz_setup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) { return fuzz_html(data, size); }
