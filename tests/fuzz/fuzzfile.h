// What the fuzz targets of file readers share: the input written to a
// scratch file of the process, the environment the readers look at set to
// a known state, and their printed output put aside.
#pragma once
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

// A file of this process in the temporary directory, holding `data`.
inline const char* fuzzFile(const char* extension, const unsigned char* data, size_t size) {
    static std::string path;
    if (path.empty()) {
        const char* tmp = std::getenv("TMPDIR");
        path = std::string(tmp && *tmp ? tmp : "/tmp") + "/entgen-fuzz-" +
               std::to_string(getpid()) + extension;
    }
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) std::abort();
    if (size && std::fwrite(data, 1, size, f) != size) std::abort();
    std::fclose(f);
    return path.c_str();
}

// The support files of the build, no debug pauses, and standard output
// (the readers' reports) out of the way of libFuzzer's own.
inline void fuzzEnvironment() {
    setenv("KDIR", ENTGEN_SHARE_DIR, 1);
    for (const char* name : {"RDBDEBUG", "RDBVERBOSE", "LOCKMODE", "RDBASCII"}) unsetenv(name);
    if (!std::freopen("/dev/null", "w", stdout)) std::abort();
}

// The text as a stream to read, closed when the pointer goes.
inline std::unique_ptr<FILE, decltype(&std::fclose)> fuzzMemFile(std::string& text) {
    std::unique_ptr<FILE, decltype(&std::fclose)> f{fmemopen(text.data(), text.size(), "r"),
                                                    &std::fclose};
    if (!f) std::abort();
    return f;
}
