// The library list. A line is tested in a fixed order and only its first
// failure is kept, so the order of the tests below is part of what callers
// see. Records come from the memory layer and their strings from the pool;
// the list owns both.
#include "qlm.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kspath.h"
#include "ktmem.h"
#include "ktstr.h"

int qlm_errno = 0;

namespace {
kqLibDirectory* list_ = nullptr;

// Indexes of the list, so that neither a line read nor a library looked
// up costs as much as the list is long: a list of thousands of lines is
// read again for each name of the command line, and a library is looked
// up for each of its symbols.
struct Index {
    kqLibDirectory* tail = nullptr;                                  // last of the list
    std::unordered_map<std::string, std::vector<kqLibDirectory*>> byPath;  // given path
    // By alias in capitals: the entries in list order, and the last one
    // read, the end of the alias's chain.
    std::unordered_map<std::string, std::vector<kqLibDirectory*>> byAlias;
    std::unordered_map<std::string, kqLibDirectory*> chainEnd;
    uint32_t numbers = 0;  // ranks taken, bit by rank (0 to 20)
    int primaries = 0;
};
Index* index_ = nullptr;

Index& index() {
    if (!index_) index_ = new Index;
    return *index_;
}

std::string aliasKey(const char* alias) {
    std::string k = alias;
    ktStrUpc(k.data());
    return k;
}

bool isSeparator(char c) {
    return c == ' ' || c == '\t' || c == '\b' || c == '\r' || c == '\n' || c == '\v';
}

kqLibDirectory* fail(int status) {
    qlm_errno = status;
    return nullptr;
}

bool sameAlias(const char* a, const char* b) {
    if (!a || !b) return a == b;
    return ktStrIcmp(a, b) == 0;
}

// Takes the next token into `out` (room for `limit` characters) and tells
// whether the token was longer: a cut path or alias would name something
// else, so the caller refuses it.
const char* take(const char* at, char* out, size_t limit, bool* cut) {
    while (at && isSeparator(*at)) ++at;
    const char* behind = kqIGetToken(at, out, limit + 1);
    if (behind) *cut = static_cast<size_t>(behind - at) > limit;
    return behind;
}

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// An ASCII letter, then letters, digits and underscores, never two in a row.
bool goodAlias(std::string_view a) {
    if (a.empty() || a.size() > QLM_ALIASMAX - 2 || !isLetter(a[0])) return false;
    for (size_t i = 1; i < a.size(); ++i) {
        char c = a[i];
        if (c == '_' && a[i - 1] == '_') return false;
        if (c != '_' && !isLetter(c) && !(c >= '0' && c <= '9')) return false;
    }
    return true;
}

struct Access {
    bool numeric = false;
    uint32_t flags = 0;
    int32_t number = -1;
    int status = 0;  // the access token's own failure, before any list rule
};

Access numericAccess(const char* token) {
    Access a;
    a.numeric = true;
    // At most QLM_ACCESSMAX digits: strtol cannot overflow.
    long n = std::strtol(token, nullptr, 10);
    if (n > 20) {
        a.status = QLM_RANGE;
        return a;
    }
    a.number = static_cast<int32_t>(n);
    if (n == 0) a.flags = QLM_PRIMARY;
    else if (n >= 6) a.flags = QLM_READONLY;
    return a;
}

Access letterAccess(std::string_view t) {
    Access a;
    if (t.size() < 2 || t.front() != '[' || t.back() != ']') {
        a.status = QLM_BADLINE;
        return a;
    }
    bool p = false, r = false, w = false, m = false, l = false;
    for (char c : t.substr(1, t.size() - 2)) {
        switch (isLetter(c) ? c | 0x20 : c) {  // ASCII lower case
            case 'p': p = true; break;
            case 'r': r = true; break;
            case 'w': w = true; break;
            case 'm': m = true; break;
            case 'l': l = true; break;
            default: a.status = QLM_BADLETTER; return a;
        }
    }
    if (!p && !r && !w && !m) a.status = QLM_NOACCESS;
    else if ((r && w) || (r && p) || (w && m) || (m && p)) a.status = QLM_EXCLUSIVE;
    a.flags = (p ? QLM_PRIMARY : 0) | (r || m ? QLM_READONLY : 0) | (m ? QLM_MEGA : 0) |
              (l ? QLM_MARKED : 0);
    return a;
}

// The entry that this very line made before, if any.
kqLibDirectory* twinOf(const char* path, const char* alias, const Access& a) {
    // Entries of one path are held in the order they were read, which is
    // the list's order but for ranks; and of a rank there is only one.
    auto found = index().byPath.find(path);
    if (found == index().byPath.end()) return nullptr;
    for (kqLibDirectory* d : found->second)
        if (d->number == a.number && d->flags == a.flags && sameAlias(d->name, alias)) return d;
    return nullptr;
}

// The list-wide rules, in their order; 0 when the entry may join.
int listRule(const Access& a) {
    if (list_ && (list_->number >= 0) != a.numeric) return QLM_MIXED;
    if (a.status) return a.status;
    if (a.numeric && a.number >= 0 && a.number <= 20 && (index().numbers >> a.number & 1u))
        return QLM_SAMENUMBER;
    if (!a.numeric && (a.flags & QLM_PRIMARY) && index().primaries > 0) return QLM_SECONDPRIMARY;
    return 0;
}

// Ranked entries go in by rank (there are at most 21 of them), the others
// at the end. An entry with an alias joins the end of the alias's chain.
void link(kqLibDirectory* rec) {
    Index& x = index();
    kqLibDirectory** at = x.tail ? &x.tail->next : &list_;
    if (rec->number >= 0) {
        at = &list_;
        while (*at && (*at)->number < rec->number) at = &(*at)->next;
        if (rec->number <= 20) x.numbers |= 1u << rec->number;
    }
    rec->next = *at;
    *at = rec;
    if (!rec->next) x.tail = rec;
    if (rec->flags & QLM_PRIMARY) ++x.primaries;
    x.byPath[rec->givenpath].push_back(rec);
    if (!rec->name) return;
    const std::string key = aliasKey(rec->name);
    std::vector<kqLibDirectory*>& same = x.byAlias[key];
    // In list order: before the first of a higher rank.
    auto pos = same.end();
    if (rec->number >= 0)
        for (auto it = same.begin(); it != same.end(); ++it)
            if ((*it)->number > rec->number) {
                pos = it;
                break;
            }
    same.insert(pos, rec);
    kqLibDirectory*& end = x.chainEnd[key];
    if (end) end->nextlib = rec;
    end = rec;
}

void release(kqLibDirectory* d) {
    // Pooled strings are never null when freed; an entry may lack an alias.
    if (d->path && d->path != d->givenpath) ktStrFree(d->path);
    if (d->givenpath) ktStrFree(d->givenpath);
    if (d->name) ktStrFree(d->name);
    ktMemFree(d);
}
}  // namespace

const char* kqIGetToken(const char* line, char* out, size_t size) {
    if (!line || !out || size == 0) return nullptr;
    *out = '\0';
    while (*line && isSeparator(*line)) ++line;
    if (!*line) return nullptr;
    size_t n = 0;
    for (; *line && !isSeparator(*line); ++line)
        if (n + 1 < size) out[n++] = *line;
    out[n] = '\0';
    return line;
}

kqLibDirectory* qlm_read(const char* line) {
    char first[QLM_ACCESSMAX + 1], access[QLM_ACCESSMAX + 1];
    char path[QLM_PATHMAX + 1], alias[QLM_PATHMAX + 1];
    bool cut = false;
    const char* at = take(line, first, QLM_ACCESSMAX, &cut);
    if (!at) return fail(QLM_BADLINE);
    if (ktStrIcmp(first, "dir") == 0) {
        at = take(at, access, QLM_ACCESSMAX, &cut);
        if (!at) return fail(QLM_BADLINE);
    } else {
        std::strcpy(access, first);
    }
    if (cut) return fail(QLM_BADLINE);
    at = take(at, path, QLM_PATHMAX, &cut);
    if (!at || cut) return fail(QLM_BADLINE);

    // The alias token may be as long as the path, so that an over-long
    // alias is told as a bad alias rather than as a missing bracket.
    const char* name = nullptr;
    if (take(at, alias, QLM_PATHMAX, &cut) && alias[0] != '|') {
        size_t n = std::strlen(alias);
        if (cut || n < 2 || alias[0] != '(' || alias[n - 1] != ')') return fail(QLM_BADLINE);
        alias[n - 1] = '\0';
        name = alias + 1;
        if (!goodAlias(name)) return fail(QLM_BADALIAS);
    }

    // The numeric form is digits alone: no sign, point or exponent.
    bool digits = *access && std::strspn(access, "0123456789") == std::strlen(access);
    Access a = digits ? numericAccess(access) : letterAccess(access);
    if (a.status == 0)
        if (kqLibDirectory* twin = twinOf(path, name, a)) return twin;
    if (int rule = listRule(a)) return fail(rule);

    char abs[KS_PATHMAX];
    int st = ksExists2(path, KS_DIR, abs);
    if (st == KS_NOTFOUND) return fail(QLM_NODIR);
    if (st != KS_OK) return fail(QLM_NOEXAMINE);

    auto* rec = static_cast<kqLibDirectory*>(ktMemMalloc(sizeof(kqLibDirectory), "kqLibDirectory"));
    rec->name = name ? ktStrCpy(name) : nullptr;
    rec->givenpath = ktStrCpy(path);
    rec->path = std::strcmp(abs, path) == 0 ? rec->givenpath : ktStrCpy(abs);
    rec->flags = a.flags;
    rec->number = a.number;
    rec->nextlib = nullptr;
    rec->next = nullptr;
    link(rec);
    return rec;
}

int qlm_get_status() { return qlm_errno; }

const char* qlm_id_get_name(const kqLibDirectory* id) {
    if (!id) return fail(QLM_NULLID), nullptr;
    return id->name ? id->name : "";
}

const char* qlm_id_get_path(const kqLibDirectory* id) {
    if (!id) return fail(QLM_NULLID), nullptr;
    return id->path;
}

int qlm_id_writable(const kqLibDirectory* id) {
    if (!id) return fail(QLM_NULLID), -1;
    return (id->flags & QLM_READONLY) ? 0 : 1;
}

int qlm_id_megafile(const kqLibDirectory* id) {
    if (!id) return fail(QLM_NULLID), -1;
    return (id->flags & QLM_MEGA) ? 1 : 0;
}

int qlm_library_exists(const char* alias) { return qlm_id_next_libdir(nullptr, alias) != nullptr; }

kqLibDirectory* qlm_id_next_dir(const kqLibDirectory* id) { return id ? id->next : list_; }

kqLibDirectory* qlm_id_next_libdir(const kqLibDirectory* id, const char* alias) {
    if (!alias || !*alias) return nullptr;
    // The list's order, not the reading order of the alias chain: a
    // library's directories are searched by rank, and a directory read
    // before one of a lower number is still reached.
    if (id && !(id->name && ktStrIcmp(id->name, alias) == 0)) {
        for (kqLibDirectory* d = id->next; d; d = d->next)
            if (d->name && ktStrIcmp(d->name, alias) == 0) return d;
        return nullptr;
    }
    if (!index_) return nullptr;
    auto found = index_->byAlias.find(aliasKey(alias));
    if (found == index_->byAlias.end()) return nullptr;
    const std::vector<kqLibDirectory*>& same = found->second;
    if (!id) return same.empty() ? nullptr : same.front();
    for (size_t i = 0; i + 1 < same.size(); ++i)
        if (same[i] == id) return same[i + 1];
    return nullptr;
}

void qlm_free_all() {
    while (kqLibDirectory* d = list_) {
        list_ = d->next;
        release(d);
    }
    delete index_;
    index_ = nullptr;
}
