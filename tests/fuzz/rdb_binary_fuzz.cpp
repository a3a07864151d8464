// Fuzz target of the binary master database: any bytes as the file, read
// through its version checks, and every master freed again.
#include <cstddef>
#include <cstdint>

#include "fuzzfile.h"
#include "rdb_binary.h"
#include "rdb_master.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzEnvironment();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int status;
    rdbiReadMaster(fuzzFile(".bdb", data, size), 1, "1.0", 0, &status);
    while (rdbExit() == 0) {
    }
    return 0;
}
