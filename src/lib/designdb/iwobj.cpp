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

char upperAscii(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

// Case-blind: ten times the hash so far plus each folded byte, as a signed
// byte, in unsigned 32-bit arithmetic.
uint32_t setBucket(const char* text) {
    uint32_t h = 0;
    for (const char* p = text; *p; ++p)
        h = h * 10 + static_cast<uint32_t>(static_cast<signed char>(upperAscii(*p)));
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

const char* iwgblnet(const void*) {
    return nullptr;
}
