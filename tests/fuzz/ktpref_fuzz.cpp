// Fuzz target of the initialization-file reader. Each input is written as
// wexcombe.ini in the working directory and read by name, as the library
// reads it at start, into the groups the library declares ("err" and
// "ex", with their options and types) and a third group whose options
// share some of their names with a type of every other kind, so that one
// global entry meets several types. Whatever the file holds, reading and
// matching it either succeed or end in a thrown report, never outside
// their buffers; every value is one its type allows; a second reading of
// the same file changes nothing; and every value made is released again.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzzsupport.h"
#include "ktex.h"
#include "ktpref.h"

namespace {
struct Option {
    const char* group;
    const char* name;
    ktTypeTS* type;
    ktTypedata low, high;  // the values an enumeration or number may take
};
constexpr ktTypedata kMaxInt = 2147483647;
const Option kOptions[] = {
    {"err", "action_status", &ktErrActionTS, 0, 2},
    {"err", "action_note", &ktErrActionTS, 0, 2},
    {"err", "action_warning", &ktErrActionTS, 0, 2},
    {"err", "action_error", &ktErrActionTS, 0, 2},
    {"err", "style_stderr", &ktErrStyleTS, 0, 1},
    {"err", "style_statusLine", &ktErrStyleTS, 0, 1},
    {"err", "style_alertBox", &ktErrStyleTS, 0, 1},
    {"err", "stdout", &ktOnOffTS, 0, 1},
    {"err", "logging", &ktOnOffTS, 0, 1},
    {"err", "keep_logfiles", &ktUnsignedIntTS, 0, kMaxInt},
    {"ex", "catch_signals", &ktYesNoTS, 0, 1},
    // Names shared with the groups above, under other types.
    {"any", "logging", &ktFloatTS, 0, -1},
    {"any", "keep_logfiles", &ktInt64TS, 0, -1},
    {"any", "stdout", &ktStringUpperTS, 0, -1},
    {"any", "catch_signals", &ktErrSevTS, 0, 6},
    {"any", "words", &ktStrArrayTS, 0, -1},
    {"any", "dir", &ktDirTS, 0, -1},
    {"any", "type", &ktTypespecTS, 0, -1},
    {"any", "void", &ktVoidTS, 0, -1},
    {"any", "count", &ktPositiveIntTS, 1, kMaxInt},
    {"any", "char", &ktCharTS, 0, 1023},
};

ktPrefDB* groupOf(const char* name) {
    // A group made again is the same group with one more reference.
    ktPrefDB* g = ktPrefCreate(name);
    ktPrefDestroy(g);
    return g;
}

// The values of numbers and enumerations after a reading, each in its
// range, for the second reading to compare.
std::vector<ktTypedata> values() {
    std::vector<ktTypedata> v;
    for (const Option& o : kOptions) {
        if (o.low > o.high) continue;
        ktTypedata value = ktPrefVal(groupOf(o.group), o.name);
        FUZZ_CHECK(value >= o.low && value <= o.high);
        v.push_back(value);
    }
    return v;
}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // A directory for the file, and the library's message file for the
    // reports of bad entries.
    fuzzSetup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInWorkDir here;
    fuzzWriteFile("wexcombe.ini", data, size);
    for (const Option& o : kOptions)
        ktPrefAdd(ktPrefCreate(o.group), o.name, o.type, nullptr,
                  o.low <= o.high ? &o.low : nullptr);
    int count = 0;
    int read = -1;
    fuzzRefused([&] { read = ktPrefParse("wexcombe", &count, nullptr); });
    FUZZ_CHECK(read != 0);
    std::vector<ktTypedata> first = values();
    // The file was read: a second parse matches the same entries again, and
    // a bad one was reported once already.
    FUZZ_CHECK(!fuzzRefused([&] { read = ktPrefParse("wexcombe", &count, nullptr); }));
    FUZZ_CHECK(read == 1 && values() == first);
    ktPrefDestroyAll();
    return 0;
}
