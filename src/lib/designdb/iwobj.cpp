// Design objects. Stand-in: groups and symbols come from the general heap
// rather than the object pool, and names are not interned in a table.
#include "iwobj.h"

#include <cstring>

#include "ktmem.h"
#include "ktstr.h"

iwgroup* Ireftop = nullptr;

char* iwmkname(const char* text) { return ktStrUpc(ktStrCpy(text ? text : "")); }

iwgroup* iwmkgroup(const char* name) {
    auto* g = static_cast<iwgroup*>(ktMemCalloc(1, sizeof(iwgroup), "iwgroup"));
    auto* s = static_cast<iwsym*>(ktMemCalloc(1, sizeof(iwsym), "iwsym"));
    g->kind = 7;
    g->name = iwmkname(name);
    g->symbols = s;
    s->kind = 6;
    s->version = 1;
    s->type = -1;
    s->group = g;
    return g;
}

const char* iggrpnam(const iwgroup* group) {
    if (!group || !group->name) return "";
    const char* colon = std::strchr(group->name, ':');
    if (colon) return colon + 1;
    const char* p = group->name;
    while (*p == ' ' || *p == '\t') ++p;
    return p;
}

const char* iggrplnm(const iwgroup* group) {
    // The alias is the text before the first colon; the stand-in keeps one
    // copy per call site's lifetime in a static buffer.
    static char alias[256];
    if (!group || !group->name) return "";
    const char* colon = std::strchr(group->name, ':');
    if (!colon) return "";
    size_t n = static_cast<size_t>(colon - group->name);
    if (n >= sizeof alias) n = sizeof alias - 1;
    std::memcpy(alias, group->name, n);
    alias[n] = '\0';
    return alias;
}
