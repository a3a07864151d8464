// Switches of the memory and string layers are read once per process, so a
// test of a switch runs its body in a process of its own: a death test in
// the "threadsafe" style starts this program anew for it. Checks inside
// such a body end the process with status 1 and say what failed.
#pragma once
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <vector>

class FreshProcess : public ::testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

#define CHILD_CHECK(cond)                                                                 \
    do {                                                                                  \
        if (!(cond)) {                                                                    \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
            std::fflush(stderr);                                                          \
            std::_Exit(1);                                                                \
        }                                                                                 \
    } while (0)

// Sets "NAME=value" entries, which live as long as the process; the body
// calls it before any allocation.
inline void setEnv(std::initializer_list<const char*> vars) {
    for (const char* v : vars) putenv(const_cast<char*>(v));
}

// An abort that is expected leaves no core file behind.
inline void noCoreFile() {
    rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

// The lines of a usage report, gathered through its sink.
inline std::vector<std::string>& usageLines() {
    static std::vector<std::string> lines;
    return lines;
}

inline void gatherLine(const char* line) {
    usageLines().emplace_back(line);
}

inline bool hasLine(const std::string& line) {
    return std::find(usageLines().begin(), usageLines().end(), line) != usageLines().end();
}
