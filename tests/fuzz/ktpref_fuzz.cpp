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

#include "kterr.h"
#include "ktex.h"
#include "ktpref.h"

namespace {
std::string file;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The library's message file, for the reports of bad entries.
    setenv("KDIR", ENTGEN_SHARE_DIR, 0);
    char dir[] = "/tmp/ktpref-fuzz-XXXXXX";
    if (!mkdtemp(dir)) std::abort();
    file = std::string(dir) + "/fuzz.ini";
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FILE* f = std::fopen(file.c_str(), "wb");
    if (!f) std::abort();
    std::fwrite(data, 1, size, f);
    std::fclose(f);

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
