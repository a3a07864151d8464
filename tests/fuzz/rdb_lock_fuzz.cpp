// Fuzz target of the lock file reader: any bytes as the lines of a lock
// file, read into the record, and the last line read as a lock test.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "fuzzfile.h"
#include "rdb_lock.h"

namespace {

template <size_t N>
void terminated(const char (&field)[N]) {
    if (strnlen(field, N) >= N) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzEnvironment();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    if (!text.empty()) {
        auto f = fuzzMemFile(text);
        rdbLockRec rec{};
        if (rdbiReadLockInfo(f.get(), &rec) == 0) {
            // Every text of a record that reads fits its field.
            terminated(rec.owner);
            terminated(rec.facVer);
            terminated(rec.dbVer);
            terminated(rec.host);
            terminated(rec.className);
        }
    }
    // A test's words, written and read again, are the same test.
    uint32_t test = rdbStrToLockTest(text.c_str());
    if (rdbStrToLockTest(rdbLockTestToStr(test)) != test) std::abort();
    return 0;
}
