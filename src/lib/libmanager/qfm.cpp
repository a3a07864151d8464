// File search. Stand-in: with no library list nothing is ever found and a
// loop visits no file; q_merge_lib_comp is complete.
#include "qfm.h"

#include <cstdio>

qfm_id* qfm_find_file(const char*, int, const char*, const char*) { return nullptr; }

int qfm_id_file_exists(const qfm_id* id) { return id != nullptr; }

void qfm_free_id(qfm_id*) {}

int qfm_file_loop(const char*, int, const char*, const char*, qfm_loop_fn, void*) { return 0; }

char* q_merge_lib_comp(const char* lib, const char* comp) {
    static char buf[512];
    if (lib && *lib) std::snprintf(buf, sizeof buf, "%s:%s", lib, comp ? comp : "");
    else std::snprintf(buf, sizeof buf, "%s", comp ? comp : "");
    return buf;
}
