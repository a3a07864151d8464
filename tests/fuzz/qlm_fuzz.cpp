// The library list: the input is a scrivet.ini. The translator reads its
// DIR lines into the list as it does at start, twice, since a file read
// again must change nothing; then every line is offered to the list once
// more on its own, with or without its word DIR. The list must stay in rank
// order with distinct ranks, hold at most one primary directory of the
// letter form, name absolute paths, and find each library by its alias.
// It is emptied after each input.
#include <filesystem>
#include <string>
#include <vector>

#include "fuzzsupport.h"
#include "ktmsg.h"
#include "qlm.h"
#include "vocmdlin.h"
#include "vomain.h"

namespace {
// Walks the list, checks it, and gives its length.
int checkList() {
    int n = 0, primaries = 0;
    int32_t lastNumber = -1;
    for (kqLibDirectory* d = qlm_id_next_dir(nullptr); d; d = qlm_id_next_dir(d)) {
        FUZZ_CHECK(++n <= 100000);  // a list that loops never ends
        const char* name = qlm_id_get_name(d);
        const char* path = qlm_id_get_path(d);
        FUZZ_CHECK(name && path && path[0] == '/');
        FUZZ_CHECK(qlm_id_writable(d) == 0 || qlm_id_writable(d) == 1);
        FUZZ_CHECK(qlm_id_megafile(d) == 0 || qlm_id_megafile(d) == 1);
        if (d->number >= 0) {
            FUZZ_CHECK(d->number > lastNumber && d->number <= 20);
            lastNumber = d->number;
        } else if (d->flags & QLM_PRIMARY) {
            FUZZ_CHECK(++primaries == 1);
        }
        if (!*name) continue;
        FUZZ_CHECK(qlm_library_exists(name));
        bool found = false;
        for (kqLibDirectory* l = qlm_id_next_libdir(nullptr, name); l && !found;
             l = qlm_id_next_libdir(l, name))
            found = l == d;
        FUZZ_CHECK(found);
    }
    return n;
}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzSetup();
    for (const char* dir : {"cells/sym", "lib/sym", "ro"})
        std::filesystem::create_directories(fuzzWorkDir() + "/" + dir);
    msgFp = ktMsgFileOpen("entgen", nullptr, nullptr, nullptr, nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInWorkDir here;
    fuzzWriteFile("scrivet.ini", data, size);
    read_tmdir(0);
    int n = checkList();
    read_tmdir(0);
    FUZZ_CHECK(checkList() == n);
    for (const std::string& line : fuzzLines(data, size)) qlm_read(line.c_str());
    checkList();
    qlm_free_all();
    return 0;
}
