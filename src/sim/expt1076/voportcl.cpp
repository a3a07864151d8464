// Port clause. The opening text sets a hanging indent, so every port
// stands under the first and a port's comments stand above it inside the
// clause; the first port's first comment continues the opening line. The
// names already written are kept in a table, so a symbol with many pins
// costs time in proportion to its pins.
#include "voportcl.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "entgen_msg.h"
#include "iwobj.h"
#include "ktmsg.h"
#include "ktstr.h"
#include "vgstruct.h"
#include "vomain.h"
#include "vomodel.h"
#include "voportinfo.h"
#include "votok.h"
#include "votr.h"

namespace {
// A pin writes at most this many comments; a longer name is cut to
// kMaxCommentName - 1 characters before its prefix is tested.
constexpr int kMaxComments = 256;
constexpr int kMaxCommentName = 256;

// The layout voStringCompare sorts: the name first.
struct Pair {
    char* name;
    char* value;
};

// The port names written so far, upper case, since names compare without
// regard to case: the names one after another in `names`, found through a
// table of open addressing that stays at most half full.
struct NameSet {
    std::string names;
    std::vector<uint32_t> slots = std::vector<uint32_t>(64, kEmpty);  // offsets into `names`
    size_t used = 0;
    static constexpr uint32_t kEmpty = UINT32_MAX;

    size_t slotOf(const char* key, size_t hash) const {
        const size_t mask = slots.size() - 1;
        size_t i = hash & mask;
        while (slots[i] != kEmpty && std::strcmp(names.c_str() + slots[i], key) != 0)
            i = (i + 1) & mask;
        return i;
    }

    static size_t hashOf(const char* key) {
        size_t h = 2166136261u;
        for (const char* p = key; *p; ++p) h = (h ^ static_cast<unsigned char>(*p)) * 16777619u;
        return h;
    }

    void grow() {
        std::vector<uint32_t> old(slots.size() * 2, kEmpty);
        old.swap(slots);
        for (uint32_t at : old) {
            if (at == kEmpty) continue;
            const char* key = names.c_str() + at;
            slots[slotOf(key, hashOf(key))] = at;
        }
    }

    // Adds `name`; false when it was there already. The key is the name cut
    // to VOTR_BUFSIZE - 1 characters, in capitals, hashed as it is made.
    bool add(const char* name) {
        char key[VOTR_BUFSIZE];
        size_t h = 2166136261u, n = 0;
        for (const char* p = name ? name : ""; *p && n < sizeof key - 1; ++p, ++n) {
            const char c = ktCharUpc(*p);
            key[n] = c;
            h = (h ^ static_cast<unsigned char>(c)) * 16777619u;
        }
        key[n] = '\0';
        const size_t i = slotOf(key, h);
        if (slots[i] != kEmpty) return false;
        slots[i] = static_cast<uint32_t>(names.size());
        names.append(key, n + 1);
        if (2 * ++used > slots.size()) grow();
        return true;
    }
};
}  // namespace

void voport_clause(vogroup* group, int) {
    const iwsym* symbol = group && group->grp ? group->grp->symbols : nullptr;
    NameSet written;
    bool opened = false;
    for (iwspin* p = symbol ? symbol->pins : nullptr; p; p = p->next) {
        const voPort* r = voPinPort(p);
        // Later pins of a vector port are passed over, and their comments
        // with them. A pin without a record has no port: the clause opens
        // at the first port, and an entity without any has none.
        if (!r || !written.add(r->name)) continue;
        if (opened)
            votok(VOTOK_NLAFTER, ";");
        else
            votokmsg(VOTOK_HANG, VOM_PORTS);
        opened = true;
        voport_decl(p);
    }
    if (opened) votok(VOTOK_NLAFTER | VOTOK_UNHANG, ");");
}

void voport_decl(iwspin* pin) {
    const voPort* r = voPinPort(pin);
    if (!r) return;
    voPrintCOM(pin->attributes);
    if (r->brf)
        votokmsg(0, VOM_PORTBRF, r->name, r->mode, r->brf, r->type, r->range);
    else
        votokmsg(0, VOM_PORT, r->name, r->mode, r->type, r->range);
    if (r->value) votokmsg(0, VOM_DEFAULT, r->value);
}

void voPrintCOM(iwatt* attributes) {
    Pair table[kMaxComments];
    int n = 0;
    for (const iwatt* a = attributes; a && n < kMaxComments; a = a->next) {
        // The prefix lies well inside the cut, so the whole name is tested;
        // most names fail at the first letter.
        const char* whole = a->name ? a->name : "";
        if ((whole[0] | 0x20) != 'v' || ktStrNicmp(whole, "VHDL_COM_", 9) != 0) continue;
        char name[kMaxCommentName];
        voCopyName(name, whole, sizeof name);
        table[n++] = {ktStrCpy(name + 9), ktStrCpy(a->value ? a->value : "")};
    }
    if (n > 1) std::qsort(table, static_cast<size_t>(n), sizeof(Pair), voStringCompare);
    for (int i = 0; i < n; ++i) {
        votokmsg(VOTOK_NLAFTER, VOM_COMMENT, table[i].value);
        ktStrFree(table[i].name);
        ktStrFree(table[i].value);
    }
}
