// Design objects. All of them come from the session's pool and go with it;
// nothing here frees an object. The schematic-side accessors read records
// that this system never makes, and take null and empty values at every
// step.
#include "iwobj.h"

#include <cstring>
#include <string>

#include "iwmem.h"
#include "iwname.h"
#include "ktmem.h"
#include "ktstr.h"
#include "ktsym.h"

iwgroup* Ireftop = nullptr;
ktSym* Igrp_table = nullptr;

namespace {

struct GlobalNet {
    char* name;
    GlobalNet* next;
};

GlobalNet* globalNets_ = nullptr;
const GlobalNet* globalCursor_ = nullptr;

template <typename T>
T* make(int kind) {
    auto* o = static_cast<T*>(iwballoc(Idatamem, sizeof(T)));
    std::memset(static_cast<void*>(o), 0, sizeof(T));
    o->kind = static_cast<uint32_t>(kind);
    return o;
}

// The group that an object belongs to.
iwgroup* groupOf(void* object) {
    if (!object) return nullptr;
    switch (*static_cast<uint32_t*>(object)) {
        case IW_KGROUP:
            return static_cast<iwgroup*>(object);
        case IW_KSYM:
            return static_cast<iwsym*>(object)->group;
        case IW_KSHEET:
            return static_cast<iwsheet*>(object)->group;
        case IW_KNET:
            return static_cast<iwnet*>(object)->group;
        default:
            return nullptr;
    }
}

bool isRingEnd(const iwnode* n) {
    return !n || n->kind == IW_KNET || n->index <= 0;
}

iwpin* asPin(iwnode* n) {
    return reinterpret_cast<iwpin*>(n);
}

// The component's symbol, through the header entry of the pin array.
iwsym* symbolOf(iwpin* pin) {
    iwcomp* c = igpinown(pin);
    return c ? c->symbol : nullptr;
}

}  // namespace

// ---- objects ------------------------------------------------------------------

iwsym* iwmksym(iwgroup* group) {
    auto* s = make<iwsym>(IW_KSYM);
    s->version = 1;
    s->type = IW_TUNKNOWN;
    s->group = group;
    return s;
}

iwgroup* iwmkgroup(const char* name) {
    auto* g = make<iwgroup>(IW_KGROUP);
    g->name = iwmkname(name);
    g->symbols = iwmksym(g);
    return g;
}

void iagrpsym(iwgroup* group, iwsym* symbol) {
    if (!group || !symbol) return;
    symbol->group = group;
    if (!group->symbols) {
        symbol->next = nullptr;
        group->symbols = symbol;
        return;
    }
    iwsym** at = &group->symbols->next;
    while (*at && (*at)->version <= symbol->version) at = &(*at)->next;
    symbol->next = *at;
    *at = symbol;
}

iwsym* ifsymsym(int version, iwsym* first) {
    for (iwsym* s = first; s; s = s->next)
        if (s->version == version) return s;
    return nullptr;
}

iwspin* iwalcspin() {
    return make<iwspin>(IW_KSPIN);
}

iwspin* iwmkspin(const char* name) {
    iwspin* p = iwalcspin();
    p->name = iwmkname(name);
    return p;
}

iwspin* idsymspn(iwsym* symbol, iwspin* spin) {
    if (!symbol || !spin) return nullptr;
    for (iwspin** at = &symbol->pins; *at; at = &(*at)->next)
        if (*at == spin) {
            *at = spin->next;
            --symbol->pincount;
            return spin->next;
        }
    return nullptr;
}

iwatt* iwmkatt(const char* name, const char* value) {
    auto* a = make<iwatt>(IW_KATT);
    a->name = iwmkname(name);
    a->value = iwmkname(value);
    return a;
}

iwatt* iwaddatt(iwatt* list, iwatt* attribute) {
    if (!attribute) return list;
    attribute->next = nullptr;
    iwatt** at = &list;
    for (; *at; at = &(*at)->next) {
        int c = std::strcmp(attribute->name, (*at)->name);
        if (c < 0) break;
        if (c == 0 && attribute->value && (*at)->value &&
            std::strcmp(attribute->value, (*at)->value) <= 0)
            break;
    }
    attribute->next = *at;
    *at = attribute;
    return list;
}

iwatt* iwdupatt(iwatt* list, const char* name, const char* value) {
    if (!name) return nullptr;
    for (iwatt* a = list; a; a = a->next) {
        int c = std::strcmp(a->name, name);
        if (c > 0) return nullptr;
        if (c == 0 && ktStrIcmp(a->value, value) == 0) return a;
    }
    return nullptr;
}

// ---- the group table ----------------------------------------------------------------

ktSym* store_grp(ktSym* table, iwgroup* group) {
    if (!table) {
        table = ktSymCreate(2003, ktSymStHash, ktStrEqu, ktSymReturn, ktSymDummy);
        ktSymDynamic(table, 2.0, 2.0);
    }
    ktSymStore(table, group->name, group);
    return table;
}

iwgroup* fetch_grp(ktSym* table, const char* name) {
    if (!table || !name) return nullptr;
    return static_cast<iwgroup*>(ktSymFetch(table, name));
}

void destroy_grp_table(ktSym* table) {
    if (table) ktSymDestroy(table, ktSymDummy);
}

iwgroup* iwgrpref(char* name) {
    if (!name) return nullptr;
    return fetch_grp(Igrp_table, ktStrUpc(name));
}

// ---- accessors ----------------------------------------------------------------------

namespace {
// The attribute `key` (in capitals) of a list sorted by name: the walk
// stops at the first name that sorts after it. A name whose first byte
// differs is decided by that byte, which spares most calls of strcmp.
iwatt* findSorted(const char* key, iwatt* list) {
    const auto k0 = static_cast<unsigned char>(key[0]);
    for (iwatt* a = list; a && a->name; a = a->next) {
        const auto a0 = static_cast<unsigned char>(a->name[0]);
        if (a0 != k0) {
            if (a0 > k0) return nullptr;
            continue;
        }
        int c = std::strcmp(a->name, key);
        if (c == 0) return a;
        if (c > 0) return nullptr;
    }
    return nullptr;
}

[[gnu::noinline]] iwatt* findFolded(const char* name, size_t n, iwatt* list) {
    char wanted[16384];
    std::memcpy(wanted, name, n + 1);
    return findSorted(ktStrUpc(wanted), list);
}
}  // namespace

iwatt* ifattatt(const char* name, iwatt* list) {
    if (!name) return nullptr;
    // A name already in capitals, as the callers' own names are, is looked
    // up as it stands; only one with a lower-case letter is copied.
    bool lower = false;
    size_t n = 0;
    for (; name[n]; ++n) lower |= name[n] >= 'a' && name[n] <= 'z';
    // A name too long for the look-up buffer names no stored attribute.
    if (n >= 16384) return nullptr;
    return lower ? findFolded(name, n, list) : findSorted(name, list);
}

iwnet* ifnetnet(const char* name, void* object) {
    iwgroup* g = groupOf(object);
    if (!name || !g || !g->nets) return nullptr;
    std::string wanted = name;
    ktStrUpc(wanted.data());
    return static_cast<iwnet*>(ktSymFetch(g->nets, wanted.c_str()));
}

iwpin* igcompin(iwcomp* component) {
    if (!component || !component->pins || !component->symbol || component->symbol->pincount <= 0)
        return nullptr;
    return &component->pins[1];
}

iwpin* ignetpin(iwnet* net) {
    if (!net || !net->firstpin || net->firstpin == &net->head) return nullptr;
    return asPin(net->firstpin);
}

iwspin* ignetspn(iwnet* net) {
    if (!net || !net->group || !net->group->symbols) return nullptr;
    for (iwspin* p = net->group->symbols->pins; p; p = p->next)
        if (p->net == net) return p;
    return nullptr;
}

iwpin* igpincnx(iwpin* pin) {
    iwsym* s = pin ? symbolOf(pin) : nullptr;
    if (!s || pin->head.index >= s->pincount) return nullptr;
    return pin + 1;
}

iwnet* igpinnet(iwpin* pin) {
    if (!pin) return nullptr;
    iwnode* n = pin->nextpin;
    while (n && !isRingEnd(n)) n = asPin(n)->nextpin;
    return n && n->kind == IW_KNET ? reinterpret_cast<iwnet*>(n) : nullptr;
}

iwpin* igpinnnx(iwpin* pin) {
    if (!pin || isRingEnd(pin->nextpin)) return nullptr;
    return asPin(pin->nextpin);
}

iwcomp* igpinown(iwpin* pin) {
    if (!pin || pin->head.index < 0) return nullptr;
    return (pin - pin->head.index)->owner;
}

iwspin* igpinspn(iwpin* pin) {
    iwsym* s = pin ? symbolOf(pin) : nullptr;
    if (!s || pin->head.index < 1) return nullptr;
    iwspin* p = s->pins;
    for (int i = 1; p && i < pin->head.index; ++i) p = p->next;
    return p;
}

const char* iggrpnam(const iwgroup* group) {
    if (!group || !group->name) return "";
    if (const char* colon = std::strchr(group->name, ':')) return colon + 1;
    return ktStrBlk(group->name);
}

const char* iggrplnm(const iwgroup* group) {
    if (!group || !group->name) return "";
    const char* colon = std::strchr(group->name, ':');
    if (!colon) return "";
    std::string alias(group->name, static_cast<size_t>(colon - group->name));
    return iwmkname(alias.c_str());
}

const char* iwgblnet(const void* cursor) {
    globalCursor_ = cursor ? (globalCursor_ ? globalCursor_->next : nullptr) : globalNets_;
    return globalCursor_ ? globalCursor_->name : nullptr;
}

void iwfreegblnets() {
    while (GlobalNet* n = globalNets_) {
        globalNets_ = n->next;
        ktMemFree(n);
    }
    globalCursor_ = nullptr;
}

// ---- tags -----------------------------------------------------------------------------

namespace {
uint32_t* tagOf(void* object, int kind) {
    if (!object) return nullptr;
    switch (kind) {
        case IW_KPIN:
            return &static_cast<iwpin*>(object)->tag;
        case IW_KNET:
            return &static_cast<iwnet*>(object)->tag;
        case IW_KCOMP:
            return &static_cast<iwcomp*>(object)->tag;
        case IW_KSHEET:
            return &static_cast<iwsheet*>(object)->tag;
        case IW_KSPIN:
            return &static_cast<iwspin*>(object)->tag;
        case IW_KSYM:
            return &static_cast<iwsym*>(object)->tag;
        case IW_KGROUP:
            return &static_cast<iwgroup*>(object)->tag;
        default:
            return nullptr;
    }
}
}  // namespace

void iwsettag(void* object, int kind, uint32_t value) {
    if (uint32_t* t = tagOf(object, kind)) *t = value;
}

uint32_t iwgettag(const void* object, int kind, int* ok) {
    uint32_t* t = tagOf(const_cast<void*>(object), kind);
    if (ok) *ok = t != nullptr;
    return t ? *t : 0;
}

namespace {
constexpr int kSetBuckets = 117;

struct SetMember {
    SetMember* next;
    const char* text;
    int owned;  // the text is the set's own copy
};

struct StringSet {
    int identity;
    SetMember* heads[kSetBuckets];
    StringSet* next;
};

// Newest set first. Sets live as long as the process: nothing releases them.
StringSet* sets_ = nullptr;

// Case-blind: ten times the hash so far plus each folded byte, as a signed
// byte, in unsigned 32-bit arithmetic.
uint32_t setBucket(const char* text) {
    uint32_t h = 0;
    for (const char* p = text; *p; ++p)
        h = h * 10 + static_cast<uint32_t>(static_cast<signed char>(ktCharUpc(*p)));
    return h % kSetBuckets;
}

StringSet* findSet(int identity) {
    for (StringSet* s = sets_; s; s = s->next)
        if (s->identity == identity) return s;
    return nullptr;
}
}  // namespace

const char* inaddmem(int set, const char* text, int copy) {
    if (!text) return nullptr;
    StringSet* s = findSet(set);
    if (!s) {
        s = static_cast<StringSet*>(ktMemCalloc(1, sizeof(StringSet), "Lark:inaddmem()"));
        s->identity = set;
        s->next = sets_;
        sets_ = s;
    }
    auto* m = static_cast<SetMember*>(ktMemMalloc(sizeof(SetMember), "Lark:inaddmem()"));
    m->text = copy ? ktStrCpy(text) : text;
    m->owned = copy != 0;
    SetMember*& head = s->heads[setBucket(text)];
    m->next = head;
    head = m;
    return m->text;
}

const char* insetmem(int set, const char* text) {
    StringSet* s = text ? findSet(set) : nullptr;
    if (!s) return nullptr;
    for (SetMember* m = s->heads[setBucket(text)]; m; m = m->next)
        if (ktStrIcmp(m->text, text) == 0) return m->text;
    return nullptr;
}

