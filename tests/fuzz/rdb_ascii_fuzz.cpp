// Fuzz target of the text master database: any bytes as the file, read
// with its external files and symbols, and every master freed again.
#include <cstddef>
#include <cstdint>

#include "fuzzfile.h"
#include "rdb_ascii.h"
#include "rdb_master.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzEnvironment();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int status;
    rdbiParseDatabase(fuzzFile(".mdb", data, size), 1, "1.0", 0, &status);
    while (rdbExit() == 0) {
    }
    return 0;
}
