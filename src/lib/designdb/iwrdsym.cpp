// Symbol reader. Stand-in: makes an empty group and symbol of the name
// without opening or reading any symbol file.
#include "iwrdsym.h"

#include <cstring>
#include <string>

#include "iwobj.h"

iwsym* iwrdsym(const char* name) {
    if (!name || !*name) return nullptr;
    // The group's name is the design name without its version.
    std::string n = name;
    size_t colon = n.find(':');
    size_t dot = n.rfind('.');
    if (dot != std::string::npos && (colon == std::string::npos || dot > colon)) n.resize(dot);
    iwgroup* g = iwmkgroup(n.c_str());
    g->nextref = Ireftop;
    Ireftop = g;
    return g->symbols;
}
