// The attribute expression preprocessor. A reference is an "@" that starts
// a name: one inside a quoted text is part of a string, and one behind a
// name character (A@B, @@X) belongs to the word in front of it.
//
// Expansion walks a stack of texts of its own rather than the machine's:
// a chain of variables that refer to each other may be as long as the
// definitions are many, and each link would otherwise cost a frame. Its
// output stops at IP_TEXTMAX - 1 bytes and its work at IP_EXPANDMAX
// references, so no definitions, however made, write past the buffer or
// keep it busy for long.
#include "ipprep.h"

#include <sys/stat.h>

#include <cstdarg>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "iwmsg.h"
#include "iwname.h"
#include "iwobj.h"
#include "iwrdsym.h"
#include "ixeval.h"
#include "kspath.h"
#include "kssrch.h"
#include "ktdufs.h"
#include "ktmem.h"
#include "ktstr.h"
#include "rdb_api.h"

iplevel** Iptable = nullptr;
int Iplevel = 0;

namespace {

constexpr uint32_t kRecursionBuckets = 13;

// Letters and digits are ASCII ones, whatever the locale.
bool continuesName(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '@';
}

bool isWhite(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

// The level of new definitions; a value set from outside the table's range
// falls back to level 0 rather than indexing past it.
int currentLevel() {
    return Iplevel >= 0 && Iplevel < IP_LEVELS ? Iplevel : 0;
}

// ---- the table -------------------------------------------------------------------

// The texts of one line of a variable file, in one allocation with it.
struct FilePair {
    FilePair* next;
    char* name;
    char* value;
};

FilePair* filePairs_ = nullptr;

void makeTable() {
    Iptable = static_cast<iplevel**>(ktMemCalloc(IP_LEVELS, sizeof(iplevel*), "Lark:ipinit()"));
}

int adddef(int level, const char* name, const char* value) {
    if (!name) return IP_NONAME;
    if (!value) value = "";
    if (!Iptable) makeTable();
    iplevel*& slot = Iptable[level];
    if (!slot) slot = static_cast<iplevel*>(ktMemCalloc(1, sizeof(iplevel), "Lark:ipadddef()"));
    ipentry** at = &slot->buckets[iwhash(name, IP_BUCKETS)];
    for (; *at; at = &(*at)->next) {
        int c = std::strcmp(name, (*at)->name);
        if (c == 0) return std::strcmp(value, (*at)->value) == 0 ? IP_OK : IP_TWICE;
        if (c < 0) break;
    }
    auto* e = static_cast<ipentry*>(ktMemFlAlloc(sizeof(ipentry), "Lark:ipadddef()"));
    e->name = name;
    e->value = value;
    e->next = *at;
    *at = e;
    return IP_OK;
}

const char* lookup(int level, const char* name) {
    const iplevel* l = Iptable[level];
    if (!l) return nullptr;
    for (const ipentry* e = l->buckets[iwhash(name, IP_BUCKETS)]; e; e = e->next) {
        int c = std::strcmp(name, e->name);
        if (c == 0) return e->value;
        if (c < 0) break;
    }
    return nullptr;
}

// Takes out of the table every entry that `drop` picks, and frees it.
template <typename Pick>
void removeEntries(Pick drop) {
    if (!Iptable) return;
    for (int level = 0; level < IP_LEVELS; ++level) {
        if (!Iptable[level]) continue;
        for (ipentry*& head : Iptable[level]->buckets)
            for (ipentry** at = &head; *at;) {
                ipentry* e = *at;
                if (!drop(e)) {
                    at = &e->next;
                    continue;
                }
                *at = e->next;
                ktMemFlFree(e, sizeof(ipentry));
            }
    }
}

// ---- variable files --------------------------------------------------------------------

// Defines the variable of one line, upper-cased in place: "@NAME ... =
// value" at the current level, "@@NAME ... = value" at level 99. A line
// that doesn't begin with "@" defines nothing and is IP_OK.
int defineLine(char* line) {
    char* p = line;
    while (isWhite(*p)) ++p;
    if (*p != '@') return IP_OK;
    int level = currentLevel();
    if (*++p == '@') {
        level = IP_GLOBAL;
        ++p;
    }
    ktStrUpc(p);
    char* end = p;
    while (*end && !isWhite(*end) && *end != '=') ++end;
    if (end == p) return adddef(level, nullptr, nullptr);
    std::string_view value;
    if (char* eq = std::strchr(end, '=')) {
        value = eq + 1;
        while (!value.empty() && isWhite(value.front())) value.remove_prefix(1);
        while (!value.empty() && isWhite(value.back())) value.remove_suffix(1);
    }
    size_t n = static_cast<size_t>(end - p);
    auto* pair = static_cast<FilePair*>(
        ktMemMalloc(sizeof(FilePair) + n + 2 + value.size() + 1, "Lark:ipincfile()"));
    pair->name = reinterpret_cast<char*>(pair + 1);
    pair->name[0] = '@';
    std::memcpy(pair->name + 1, p, n);
    pair->name[n + 1] = '\0';
    pair->value = pair->name + n + 2;
    if (!value.empty()) std::memcpy(pair->value, value.data(), value.size());
    pair->value[value.size()] = '\0';
    pair->next = filePairs_;
    filePairs_ = pair;
    return adddef(level, pair->name, pair->value);
}

// ---- scratch buffers -------------------------------------------------------------------

struct Scratch {
    Scratch* next;
    int free;
    int size;
    char* buffer;
};

Scratch* scratch_ = nullptr;

// A scratch buffer given back when the holder goes.
struct ScratchBuf {
    explicit ScratchBuf(int size) : p(static_cast<char*>(ipqkalloc(size))) {}
    ~ScratchBuf() { ipqkfree(p); }
    ScratchBuf(const ScratchBuf&) = delete;
    ScratchBuf& operator=(const ScratchBuf&) = delete;
    char* p;
};

// ---- expansion -------------------------------------------------------------------------

// The names being expanded right now.
class RecursionSet {
public:
    RecursionSet() = default;
    RecursionSet(const RecursionSet&) = delete;
    RecursionSet& operator=(const RecursionSet&) = delete;
    ~RecursionSet() {
        for (Entry*& head : buckets_)
            while (Entry* e = head) {
                head = e->next;
                ktStrFree(e->name);
                ktMemFlFree(e, sizeof(Entry));
            }
    }
    bool has(const char* name) const {
        for (const Entry* e = buckets_[iwhash(name, kRecursionBuckets)]; e; e = e->next)
            if (std::strcmp(e->name, name) == 0) return true;
        return false;
    }
    // The stored copy, which remove takes back.
    const char* add(const char* name) {
        auto* e = static_cast<Entry*>(ktMemFlAlloc(sizeof(Entry), "Lark:ipexpand()"));
        e->name = ktStrCpy(name);
        Entry*& head = buckets_[iwhash(name, kRecursionBuckets)];
        e->next = head;
        head = e;
        return e->name;
    }
    void remove(const char* stored) {
        for (Entry** at = &buckets_[iwhash(stored, kRecursionBuckets)]; *at; at = &(*at)->next)
            if ((*at)->name == stored) {
                Entry* e = *at;
                *at = e->next;
                ktStrFree(e->name);
                ktMemFlFree(e, sizeof(Entry));
                return;
            }
    }

private:
    struct Entry {
        char* name;
        Entry* next;
    };
    Entry* buckets_[kRecursionBuckets] = {};
};

// One text being walked: the source itself or the value of a variable,
// each a text of its own that starts afresh.
struct Source {
    const char* begin;
    const char* at;
    bool quoted;
    const char* name;  // the variable whose value this is, in the recursion set
};

struct Expansion {
    char* out;  // IP_TEXTMAX bytes
    int length = 0;
    int status = IP_OK;

    // Appends a byte; false, with IP_TOOLONG, when the buffer is full.
    bool put(char c) {
        if (length >= IP_TEXTMAX - 1) {
            status = IP_TOOLONG;
            return false;
        }
        out[length++] = c;
        return true;
    }
};

// Expands `text` into x.out, unterminated; stops at the first fault that
// ends the expansion (a name met again, a full buffer, too much work).
void expand(Expansion& x, const char* text) {
    RecursionSet expanding;
    std::vector<Source> stack{{text, text, false, nullptr}};
    std::string name;
    int followed = 0;
    while (!stack.empty()) {
        Source& s = stack.back();
        char c = *s.at;
        if (c == '\0') {
            if (s.name) expanding.remove(s.name);
            stack.pop_back();
            continue;
        }
        bool reference = c == '@' && !s.quoted &&
                         (s.at == s.begin || !continuesName(static_cast<unsigned char>(s.at[-1])));
        if (!reference) {
            if (c == '"') s.quoted = !s.quoted;
            if (!x.put(c)) return;
            ++s.at;
            continue;
        }
        const char* end = s.at + 1;
        while (continuesName(static_cast<unsigned char>(*end))) ++end;
        name.assign(s.at, end);
        if (expanding.has(name.c_str())) {
            for (char n : name)
                if (!x.put(n)) break;
            x.status = IP_RECURSIVE;
            return;
        }
        const char* value = ipgetvar(name.c_str());
        if (!value) {
            // The reference stays as written: the rest of its name follows
            // as ordinary text, behind a letter or digit.
            x.status = IP_UNDEFINED;
            if (!x.put(c)) return;
            ++s.at;
            continue;
        }
        if (++followed > IP_EXPANDMAX) {
            x.status = IP_TOOLONG;
            return;
        }
        s.at = end;
        const char* stored = expanding.add(name.c_str());
        stack.push_back({value, value, false, stored});  // `s` is stale from here
    }
}

}  // namespace

// ---- the table -------------------------------------------------------------------

int ipinit(iwgroup* group) {
    if (Iptable) ipfinish();
    Iplevel = 0;
    makeTable();
    if (!group) return IP_OK;
    for (iwsym* s = group->symbols; s; s = s->next)
        if (int code = ipaddlist(s->attributes)) return code;
    return IP_OK;
}

void ipfinish() {
    ipfinfile();
    ipqkpurge();
    removeEntries([](const ipentry*) { return true; });
    if (Iptable) {
        for (int level = 0; level < IP_LEVELS; ++level)
            if (Iptable[level]) ktMemFree(Iptable[level]);
        ktMemFree(Iptable);
    }
    Iptable = nullptr;
}

void ipfinfile() {
    if (!filePairs_) return;
    std::unordered_set<const char*> names;
    for (const FilePair* p = filePairs_; p; p = p->next) names.insert(p->name);
    removeEntries([&](const ipentry* e) { return names.count(e->name) != 0; });
    while (FilePair* p = filePairs_) {
        filePairs_ = p->next;
        ktMemFree(p);
    }
}

int ipincfile(const char* name) {
    if (!name) return IP_NOFILE;
    std::string file = std::string(name) + ".var";
    // A name cut to fit would be another file's.
    if (file.size() >= static_cast<size_t>(KS_PATHMAX)) return IP_NOFILE;
    // Only a regular file: the open of a FIFO would wait for a writer.
    struct stat st;
    FILE* f = stat(file.c_str(), &st) == 0 && S_ISREG(st.st_mode) ? iwfileopen(file.c_str(), "r")
                                                                  : nullptr;
    if (!f) f = iwvarfopen(file.c_str());
    if (!f) {
        ksPathBuf found;
        if (ksSrchkdirs(file.c_str(), KS_FILE, found) == KS_OK) f = iwfileopen(found, "r");
    }
    if (!f) return IP_NOFILE;
    std::unique_ptr<FILE, decltype(&std::fclose)> stream{f, &std::fclose};

    ScratchBuf line(IP_TEXTMAX);
    int result = IP_OK;
    bool tail = false;  // the rest of a line longer than the buffer
    for (;;) {
        // Filled to its last byte, the buffer holds the head of a longer
        // line, whose rest is no line of its own.
        line.p[IP_TEXTMAX - 1] = '\x01';
        if (!ktDufsFgets(line.p, IP_TEXTMAX, f)) break;
        bool cut = line.p[IP_TEXTMAX - 1] == '\0' && line.p[IP_TEXTMAX - 2] != '\n' &&
                   line.p[IP_TEXTMAX - 2] != '\0';
        if (!tail && defineLine(line.p) != IP_OK) result = IP_TWICE;
        tail = cut;
    }
    return result;
}

int ipaddlist(iwatt* attributes) {
    for (iwatt* a = attributes; a; a = a->next)
        if (int code = ipaddatt(a)) return code;
    return IP_OK;
}

int ipaddatt(iwatt* attribute) {
    if (!attribute || ipvardef(attribute->name) != IP_VARDEF) return IP_OK;
    return ipadddef(attribute->name, attribute->value);
}

int ipadddef(const char* name, const char* value) {
    return adddef(currentLevel(), name, value);
}

int ipvardef(const char* name) {
    return name && name[0] == '@' && !iwsysatt(name) ? IP_VARDEF : IP_OK;
}

int ipvarref(const char* text) {
    if (!text || !std::strchr(text, '@')) return IP_OK;
    bool quoted = false;
    for (const char* p = text; *p; ++p) {
        if (*p == '"') {
            quoted = !quoted;
        } else if (*p == '@' && !quoted &&
                   (p == text || !continuesName(static_cast<unsigned char>(p[-1])))) {
            return IP_VARREF;
        }
    }
    return IP_OK;
}

const char* ipgetvar(const char* name) {
    if (!name || !Iptable) return nullptr;
    if (const char* v = lookup(IP_GLOBAL, name)) return v;
    for (int level = currentLevel(); level >= 1; --level)
        if (const char* v = lookup(level, name)) return v;
    return lookup(0, name);
}

// ---- expansion and evaluation -------------------------------------------------------

int ipexpand(char* out, const char* text, int size) {
    ScratchBuf buffer(IP_TEXTMAX);
    Expansion x{buffer.p};
    expand(x, text ? text : "");
    buffer.p[x.length] = '\0';
    if (x.length < size) {
        if (out) std::memcpy(out, buffer.p, static_cast<size_t>(x.length) + 1);
    } else {
        x.status = IP_TOOLONG;
    }
    return x.status;
}

int ipevaluate(char* out, const char* text, int size) {
    if (out && size > 0) out[0] = '\0';
    if (!text || !*text) return IP_OK;
    ScratchBuf buffer(IP_TEXTMAX);
    if (ipvarref(text) == IP_OK) {
        ktStrncpyNullTerm(buffer.p, text, IP_TEXTMAX);
    } else if (int status = ipexpand(buffer.p, text, IP_TEXTMAX)) {
        if (out && size > 0) ktStrncpyNullTerm(out, buffer.p, static_cast<size_t>(size));
        return status;
    }
    int kind = ixevaluate(out, buffer.p, size);
    return kind > 0 ? IP_OK : kind;
}

const char* ipgetmsg(int code, ...) {
    // A code that is none of ours or the evaluator's has the evaluator's
    // words for any such code, rather than a message that doesn't exist.
    if (code < 0 || code == 1 || code == 2 || code > IP_NOFILE)
        return ixgetmsg(code < 0 ? code : IX_FRESH);
    va_list args;
    va_start(args, code);
    const char* text = iwmsggenv(code + 334, args);
    va_end(args);
    return text;
}

// ---- files and buffers ------------------------------------------------------------

FILE* iwvarfopen(const char* path) {
    std::string alias;
    ksPathBuf base, ext;
    if (!iwsplitfile(path, &alias, base, ext)) return nullptr;
    const rdbClass* cls = rdbGetClassId(rdbSchemaTESMARK, "rdbClassDLYBIN");
    char* ref = cls ? rdbMakeTmObjref("", alias.c_str(), cls, base, ext, 0) : nullptr;
    if (!ref) return nullptr;
    int status = 0;
    rdbObject* obj = rdbOpenObject(ref, rdbModeREAD, &status);
    ktMemFree(ref);
    if (!obj) return nullptr;
    bool ours = status != rdbStatOPEN;
    if (!ours) rdbReopenObj(obj, rdbModeREAD);
    FILE* f = rdbObjGetFilePtr(obj, 0, &status);
    rdbObjSetUserData(obj, nullptr);
    // The stream is ours now; an object some other caller opened stays open.
    if (ours) rdbCloseObj(obj, 0);
    return f;
}

FILE* iwfileopen(const char* path, const char* mode) {
    return std::fopen(path, mode);
}

void* ipqkalloc(int size) {
    if (size < 1) size = 1;
    Scratch* s = scratch_;
    while (s && !(s->free && s->size == size)) s = s->next;
    if (!s) {
        s = static_cast<Scratch*>(ktMemMalloc(sizeof(Scratch), "Lark:ipqkalloc()"));
        s->buffer = static_cast<char*>(ktMemMalloc(static_cast<size_t>(size), "Lark:ipqkalloc()"));
        s->size = size;
        s->next = scratch_;
        scratch_ = s;
    }
    s->free = 0;
    return s->buffer;
}

void ipqkfree(void* buffer) {
    for (Scratch* s = scratch_; s; s = s->next)
        if (s->buffer == buffer) {
            s->free = 1;
            return;
        }
}

void ipqkpurge() {
    while (Scratch* s = scratch_) {
        scratch_ = s->next;
        ktMemFree(s->buffer);
        ktMemFree(s);
    }
}
