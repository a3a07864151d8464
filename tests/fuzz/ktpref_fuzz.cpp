// Fuzz target of the initialization-file reader. Each input is written as
// a file and parsed against a group of options of every kind of type;
// whatever the file holds, reading and matching it either succeed or end
// in a thrown report, never outside their buffers, and every value they
// made is released again.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzzsupport.h"
#include "kterr.h"
#include "ktex.h"
#include "ktpref.h"

namespace {
std::string file;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // A directory for the file, and the library's message file for the
    // reports of bad entries.
    fuzzSetup();
    file = fuzzWorkDir() + "/fuzz.ini";
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzWriteFile("fuzz.ini", data, size);

    struct Option {
        const char* name;
        ktTypeTS* type;
    };
    const Option options[] = {
        {"logging", &ktOnOffTS},     {"keep", &ktUnsignedIntTS}, {"action", &ktErrActionTS},
        {"title", &ktStringUpperTS}, {"scale", &ktFloatTS},      {"big", &ktInt64TS},
        {"words", &ktStrArrayTS},    {"dir", &ktDirTS},          {"type", &ktTypespecTS},
        {"void", &ktVoidTS},
    };
    ktPrefDB* group = ktPrefCreate("err");
    for (const Option& o : options) ktPrefAdd(group, o.name, o.type, nullptr, nullptr);
    int none = 0;
    ktExCatch(
        KT_EX_ALL, [&] { ktPrefParse(file.c_str(), &none, nullptr); },
        [](uint32_t, ktErrObject*) { ktExSwallow(); });
    ktPrefDestroyAll();
    return 0;
}
