// What the fuzz targets share. A target is tests/fuzz/<name>_fuzz.cpp with
// LLVMFuzzerTestOneInput; it runs under libFuzzer (preset fuzz) and, through
// replay_main.cpp, in the ordinary test run over its seed corpus
// tests/fuzz/corpus/<name>/. Input is refused the way each layer refuses it
// (a kt throw, a status, a report); what a target must never see is a crash,
// a sanitizer report, a hang or a broken promise, which FUZZ_CHECK turns
// into an abort that both drivers report.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ktex.h"
#include "ktfmt.h"

// Once per process, before a target touches the system: a private working
// directory is made (removed at exit), KDIR names the build's support
// files, the system layer's default directory is the working directory,
// reports and standard output are written nowhere, and no log file is
// made. Later calls do nothing.
void fuzzSetup();
// fuzzSetup, then the root of the translator's records with an empty
// command line, and the translator's message file open: what a target
// needs before it calls one piece of the translator.
void fuzzTranslatorSetup();
// The working directory, absolute, without a trailing '/'.
const std::string& fuzzWorkDir();

// Makes the working directory the current one for the life of the guard,
// so that what the code reads and writes by relative names stays there;
// then goes back, since the drivers name the corpus and the files they
// write relative to where they were started.
class FuzzInWorkDir {
public:
    FuzzInWorkDir();
    ~FuzzInWorkDir();
    FuzzInWorkDir(const FuzzInWorkDir&) = delete;
    FuzzInWorkDir& operator=(const FuzzInWorkDir&) = delete;

private:
    int back_;  // a descriptor of the directory to go back to
};
// Writes the bytes to `name` in the working directory, replacing what was
// there; returns the absolute path.
std::string fuzzWriteFile(const char* name, const uint8_t* data, size_t size);

// The input as a text: up to its first zero byte, as a C string sees it.
std::string fuzzText(const uint8_t* data, size_t size);
// The input cut at each '\n' (a final empty line is dropped).
std::vector<std::string> fuzzLines(const uint8_t* data, size_t size);

// Runs `body` inside a frame that takes every kt throw and swallows it:
// the way the library refuses bad input. True when something was thrown.
template <typename Body>
bool fuzzRefused(Body body) {
    return ktExCatch(
        KT_EX_ALL,
        [&] {
            body();
            return false;
        },
        [](uint32_t, struct ktErrObject*) {
            ktExSwallow();
            return true;
        });
}

// The translator ends a run with voexit, which ends the process. The fuzz
// programs are linked so that every call of it from another file comes
// here instead: inside fuzzCatchExit the summary is made as voexit makes
// it and the call returns to fuzzCatchExit, which gives the code passed;
// outside, the process ends as it would. Whatever the run had open (its
// initialization file, its output) is the target's to close.
struct FuzzExit {
    int code;
};
template <typename Body>
int fuzzCatchExit(Body body) {
    extern int fuzzExitCatching;
    struct Depth {
        Depth() { ++fuzzExitCatching; }
        ~Depth() { --fuzzExitCatching; }
    } depth;
    try {
        body();
    } catch (const FuzzExit& e) {
        return e.code;
    }
    return -1;
}

// The copies of an empty text the translator has made (vostcpy of ""),
// counted by fuzzsupport, which the program's calls reach first. vostfree
// leaves such a copy in place, its byte still in vomemtotal: by at most
// these does the total of a finished input stay above where it started.
extern long fuzzEmptyCopies;

[[noreturn]] void fuzzFail(const char* file, int line, const char* what);
#define FUZZ_CHECK(cond) ((cond) ? (void)0 : fuzzFail(__FILE__, __LINE__, #cond))

// The argument class that every directive of a format takes, so that a
// target can pass real arguments for it: one of KT_SPFMT_INT, _LONG,
// _INT64, _DOUBLE, _STRING, _PINT, _PSHORT, _PLONG; 0 when the directives
// take arguments of several classes or more than kFuzzArgs of them. A
// format with no directive takes KT_SPFMT_INT.
constexpr int kFuzzArgs = 16;
int fuzzArgClass(const char* format);

// Calls `call(args...)` with kFuzzArgs arguments of the class `cls` gave:
// numbers, a short text, or pointers to variables that %n may write.
template <typename Call>
void fuzzWithArgs(int cls, Call call) {
    static int ints[kFuzzArgs];
    static short shorts[kFuzzArgs];
    static long longs[kFuzzArgs];
    auto repeat = [&](auto v) { call(v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v); };
    switch (cls) {
        case KT_SPFMT_LONG:
            repeat(-123456789L);
            break;
        case KT_SPFMT_INT64:
            repeat(static_cast<int64_t>(-0x123456789abLL));
            break;
        case KT_SPFMT_DOUBLE:
            repeat(-1234.5678);
            break;
        case KT_SPFMT_STRING:
            repeat(static_cast<const char*>("text"));
            break;
        case KT_SPFMT_PINT:
            call(&ints[0], &ints[1], &ints[2], &ints[3], &ints[4], &ints[5], &ints[6], &ints[7],
                 &ints[8], &ints[9], &ints[10], &ints[11], &ints[12], &ints[13], &ints[14],
                 &ints[15]);
            break;
        case KT_SPFMT_PSHORT:
            call(&shorts[0], &shorts[1], &shorts[2], &shorts[3], &shorts[4], &shorts[5], &shorts[6],
                 &shorts[7], &shorts[8], &shorts[9], &shorts[10], &shorts[11], &shorts[12],
                 &shorts[13], &shorts[14], &shorts[15]);
            break;
        case KT_SPFMT_PLONG:
            call(&longs[0], &longs[1], &longs[2], &longs[3], &longs[4], &longs[5], &longs[6],
                 &longs[7], &longs[8], &longs[9], &longs[10], &longs[11], &longs[12], &longs[13],
                 &longs[14], &longs[15]);
            break;
        default:
            repeat(-42);
            break;
    }
}
