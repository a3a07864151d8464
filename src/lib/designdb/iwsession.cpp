// Database session. Stand-in: no object pool, message file, project
// database or library list is opened, and no message is ever counted.
#include "iwsession.h"

#include "iwobj.h"
#include "ktmem.h"
#include "ktstr.h"

namespace {
int open_ = 0;
}

int iwinit() {
    open_ = 1;
    return 1;
}

void iwfinish() {
    // The groups go with the session, as the object pool would take them.
    while (iwgroup* g = Ireftop) {
        Ireftop = g->nextref;
        ktStrFree(g->name);
        ktMemFree(g->symbols);
        ktMemFree(g);
    }
    open_ = 0;
}

void iwcleanup() {}

int iwmsgcount(int /*mask*/) { return 0; }
