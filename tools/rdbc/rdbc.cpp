// The master database compiler, a tool of the build. It reads a master
// database in its text form, with its external files and symbols, through
// the project database's own reader, and writes the same records in the
// binary form that the database reads by default. What the text holds and
// the binary form can't carry is refused, so that both files of a build
// always give the same records. The output appears whole or not at all.
//
// Usage: rdbc source output
#include <unistd.h>

#include <cstdio>
#include <string>

#include "rdb_ascii.h"
#include "rdb_binary.h"
#include "rdb_master.h"
#include "rdb_model.h"

namespace {

int usage() {
    std::fprintf(stderr, "usage: rdbc source output\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return usage();
    const char* source = argv[1];
    const char* output = argv[2];

    int status = 0;
    rdbMaster* m = rdbiParseDatabase(source, 0, rdbVERSION, 0, &status);
    if (!m) {
        std::fprintf(stderr, "rdbc: %s: the master database has faults; nothing written\n", source);
        return 1;
    }
    // Written under another name and renamed, so that no reader ever sees
    // half a file under the real one.
    std::string partial = std::string(output) + ".part" + std::to_string(getpid());
    char why[512] = "";
    int result = 0;
    if (rdbiWriteMaster(m, partial.c_str(), why, sizeof why) != rdbStatOK) {
        std::fprintf(stderr, "rdbc: %s: %s\n", source, why);
        result = 1;
    } else if (std::rename(partial.c_str(), output) != 0) {
        std::perror(("rdbc: can't rename " + partial + " to " + output).c_str());
        std::remove(partial.c_str());
        result = 1;
    }
    rdbiFreeMaster(m);
    return result;
}
