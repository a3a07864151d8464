// Vector ports. A pin whose port name is a member of the vector's bus
// (D2 of D[3:0]) takes the vector's name, range and type; a pin whose port
// already has the vector's base name keeps its type and takes the range.
// The port clause then writes one port for all of them, with the mode and
// default of the first. Each record gets its own copies, so a second
// vector over the same pins simply replaces them.
#include "vovector.h"

#include <cstring>
#include <string>
#include <string_view>
#include <unordered_set>

#include "iwobj.h"
#include "ktbus.h"
#include "ktstr.h"
#include "vgstruct.h"
#include "voportinfo.h"
#include "votr.h"

namespace {
// Letters, digits and underscores only: such a name is a bus of one member,
// itself.
bool plainName(const char* name) {
    for (const char* p = name; *p; ++p) {
        const auto c = static_cast<unsigned char>(*p);
        if (!((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
              c == '_'))
            return false;
    }
    return *name != '\0';
}

// The plain port names of the symbol that are members of a bus text. The
// bus is expanded once, streaming, and each member is looked up among the
// pins' names: a wide bus costs its iteration, not a copy of each member.
// Empty when the text is no bus the expansion can read, or one too wide.
std::unordered_set<std::string> membersOf(const iwsym* symbol, const char* bus) {
    // The views name the pins' texts, which the caller then replaces: the
    // members found are copies.
    std::unordered_set<std::string_view> names;
    std::unordered_set<std::string> members;
    for (const iwspin* p = symbol->pins; p; p = p->next)
        if (const voPort* r = voPinPort(p); r && r->name && plainName(r->name))
            names.emplace(r->name);
    // A bus too wide to count has no members a pin could be: its expansion
    // would outlast the run.
    if (names.empty() || (ktBusExpandWidth(bus) == 0 && ktBusExpandStatus() == KT_BUS_TOOLARGE))
        return members;
    // A member is no longer than its bus text, unless a padded number makes it so.
    std::string name(std::strlen(bus) + 256, '\0');
    const int size = static_cast<int>(name.size());
    for (vecrec* it = ktBusExpand(nullptr, bus, name.data(), size); it;
         it = ktBusExpand(it, bus, name.data(), size))
        if (auto found = names.find(std::string_view(name.c_str())); found != names.end())
            members.emplace(*found);
    if (ktBusExpandStatus() != KT_BUS_OK) members.clear();
    return members;
}

void applyVector(iwsym* symbol, const char* value) {
    char s[VO_BUFSIZE];
    voCopyName(s, value ? value : "", sizeof s);
    // The type stands behind the last colon, unless that colon is the one
    // of the range: a value without a type of its own.
    const char* vtype = nullptr;
    if (char* colon = std::strrchr(s, ':'); colon && !std::strchr(colon, ']')) {
        *colon = '\0';
        vtype = colon + 1;
    }
    char base[VOTR_BUFSIZE];
    voGetScrivetName(s, base);
    char* range = nullptr;
    voGetPortRange(s, &range);
    const std::unordered_set<std::string> members = membersOf(symbol, s);

    for (iwspin* p = symbol->pins; p; p = p->next) {
        voPort* r = voPinPort(p);
        if (!r || !r->name) continue;
        const bool member =
            ktStrIcmp(r->name, s) != 0 &&
            (plainName(r->name) ? members.count(r->name) != 0 : ktBusExpandSubset(s, r->name) != 0);
        if (member) {
            voPortSetText(p, &r->name, base);
            voPortSetText(p, &r->range, range);
            if (vtype) voPortSetText(p, &r->type, vtype);
        } else if (ktStrIcmp(r->name, base) == 0) {
            voPortSetText(p, &r->range, range);
        }
    }
    if (range) vofree(range, std::strlen(range) + 1);
}
}  // namespace

void voSetPinVector(vogroup* g) {
    iwsym* symbol = g && g->grp ? g->grp->symbols : nullptr;
    if (!symbol) return;
    for (const iwatt* a = ifattatt("VHDL_VECTOR", symbol->attributes); a;
         a = ifattatt("VHDL_VECTOR", a->next))
        applyVector(symbol, a->value);
}
