// Fuzz target of the library list as the project database reads it, and
// of object references: any bytes as the lines of scrivet.ini, each DIR
// line read into its parts; the first line also parsed as a reference
// against the shipped master database.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "fuzzfile.h"
#include "rdb_api.h"
#include "rdb_ref.h"
#include "rdb_view.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzEnvironment();
    if (rdbInit(1, "5.3.1", 0) != rdbStatOK) std::abort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    if (!text.empty()) {
        auto f = fuzzMemFile(text);
        int lines = 0, last = 0;
        for (;;) {
            rdbiDirLine l;
            if (rdbiReadDirLine(f.get(), &l, &lines) == rdbStatEOF) break;
            // Each line is read once, and a path that is kept fits a path.
            if (l.line <= last || l.path.size() >= 256) std::abort();
            last = l.line;
        }
    }
    rdbiObjref ref;
    std::string first = text.substr(0, text.find('\n'));
    if (rdbiParseObjref(first.c_str(), &ref) == rdbStatOK &&
        ref.elems.front().cls != rdbClassMASTERDB)
        std::abort();
    return 0;
}
