// Start and end of the project database, stand-in: it lacks the master
// database itself. rdbInit reads no file of classes and databases; it
// starts error reporting and exceptions as the real start does, under the
// name of the master file, and then the objects and views of rdb_api work
// without classes. Properties are those that the stand-in objects keep.
#include <cstdlib>
#include <cstring>

#include "kterr.h"
#include "ktex.h"
#include "rdb_api.h"

namespace {
int started_ = 0;
}

int rdbInit(int, const char*, int) {
    if (started_) return rdbStatDONE;
    // The services are started with no arguments of the process: the count
    // is 0 and argument 0 names the master file, which names the log.
    const char* ascii = std::getenv("RDBASCII");
    static char file[16];
    std::strcpy(file, ascii && std::strcmp(ascii, "0") != 0 ? "rd520.mdb" : "rd520.bdb");
    static char* args[] = {file, nullptr};
    int count = 0;
    ktErrInit(&count, args);
    ktExInit(&count, args);
    started_ = 1;
    return rdbStatOK;
}

int rdbExit() {
    if (!started_) return rdbStatINIT;
    rdbiCloseAllProjects();
    started_ = 0;
    return rdbStatOK;
}

int rdbiStarted() {
    return started_;
}

void* rdbGetObjProp(rdbObject* object, int number, int* status) {
    return rdbiGetObjProp(object, number, status);
}
