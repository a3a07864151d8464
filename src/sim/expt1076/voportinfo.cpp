// Port information: the pin type tables and the words of the direction
// codes. voGetPortInfo is a stand-in: it makes no port record yet.
#include "voportinfo.h"

#include "ktstr.h"
#include "vgstruct.h"

namespace {
struct Direction {
    int code;
    const char* word;
};
constexpr Direction kDirections[] = {
    {VOPORT_IN, "IN"},         {VOPORT_OUT, "OUT"},         {VOPORT_INOUT, "INOUT"},
    {VOPORT_BUFFER, "BUFFER"}, {VOPORT_LINKAGE, "LINKAGE"},
};

vopint* findIn(vopint* list, const char* name) {
    for (vopint* p = list; p; p = p->next)
        if (ktStrIcmp(p->name, name) == 0) return p;
    return nullptr;
}
}  // namespace

void voGetPortInfo(iwsym*, iwspin*, vogroup*) {}

const char* voport_dir_string(int code) {
    for (const Direction& d : kDirections)
        if (d.code == code) return d.word;
    return "UnKnownPORT";
}

vopint* vofind_pintype(const char* name) {
    if (!vo || !vo->ini) return nullptr;
    vopint* p = findIn(vo->ini->pintypes, name);
    return p ? p : findIn(vo->ini->autopins, name);
}

void voaddpintype(const char* name, int dir, vopint** list) {
    vopint** tail = list;
    for (; *tail; tail = &(*tail)->next)
        if (ktStrIcmp((*tail)->name, name) == 0) return;
    // A copy, since the list's release takes its names with it; an empty
    // name, which the release leaves alone, is the shared empty string.
    static char empty[1] = "";
    vopint* p = vopintbloc();
    p->name = name && *name ? vostcpy(name) : empty;
    p->dir = dir;
    *tail = p;
}
