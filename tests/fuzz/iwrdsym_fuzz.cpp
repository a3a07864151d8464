// Fuzz target of the symbol reader. Each input is a symbol file, and what
// follows its first zero byte, if any, the symbol's ".pin" file; an odd
// first byte turns the bus expansion of pins on. Whatever the files hold,
// the read ends, stays inside its buffers, and leaves a symbol whose pin
// count is the number of its pins.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzzsupport.h"
#include "iwmsg.h"
#include "iwobj.h"
#include "iwrdsym.h"
#include "iwsession.h"
#include "qlm.h"

namespace {
std::string lib;
FILE* quiet = nullptr;
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The shared working directory, which goes away at exit.
    fuzzSetup();
    FuzzInWorkDir in;
    std::filesystem::create_directories("cells/sym");
    std::ofstream("scrivet.ini") << "DIR [p] ./cells (cells)\n";
    lib = fuzzWorkDir() + "/cells/sym/";
    quiet = std::fopen("/dev/null", "w");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInWorkDir in;
    std::string input(reinterpret_cast<const char*>(data), size);
    size_t zero = input.find('\0');
    std::ofstream(lib + "f.1", std::ios::binary) << input.substr(0, zero);
    std::filesystem::remove(lib + "f.pin");
    if (zero != std::string::npos)
        std::ofstream(lib + "f.pin", std::ios::binary) << input.substr(zero + 1);

    // A session per input: a symbol read twice in one session keeps its pins.
    if (!iwinit()) std::abort();
    iwmsgclose();
    iwmsgsetup(7, quiet, "%s");
    if (size && (data[0] & 1)) iwexpbus();
    char name[] = "cells:f.1";
    if (iwsym* s = iwrdsym(name)) {
        long pins = 0;
        for (iwspin* p = s->pins; p; p = p->next) ++pins;
        if (pins != s->pincount) std::abort();
    }
    iwfinish();
    qlm_free_all();
    return 0;
}
