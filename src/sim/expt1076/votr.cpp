// Name translation. A schematic name is free text: bus subscripts in
// square brackets, a tilde for an inverted pin, dollar signs, double
// underscores, reserved words. votr makes a VHDL identifier of it in a fixed
// order of steps (whole-name translations, character translations, the
// range fix, reserved words, a letter in front, the legality test) and
// stores the result, so that the long way runs once per distinct name and a
// name gives its warnings once. The collision test repeats its reports
// after every symbol of a library; it keeps an index of the names that can
// take part in one, so that each call costs what it reports and what is new.
#include "votr.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "entgen_msg.h"
#include "iwobj.h"
#include "kspath.h"
#include "kterr.h"
#include "ktmem.h"
#include "ktstr.h"
#include "ktsym.h"
#include "vgstruct.h"
#include "vomain.h"
#include "votok.h"

votrname** trtable = nullptr;
int32_t trlongest = 0;
uint32_t votrgeneration = 0;

namespace {
constexpr const char* kTag = "votr";

// The string set of the design database that holds the reserved words.
constexpr int kReservedSet = 5;

// The reserved words of VHDL-1987, in upper case.
constexpr const char* kReserved[] = {
    "ABS",       "ACCESS",   "AFTER",     "ALIAS",         "ALL",      "AND",        "ARCHITECTURE",
    "ARRAY",     "ASSERT",   "ATTRIBUTE", "BEGIN",         "BLOCK",    "BODY",       "BUFFER",
    "BUS",       "CASE",     "COMPONENT", "CONFIGURATION", "CONSTANT", "DISCONNECT", "DOWNTO",
    "ELSE",      "ELSIF",    "END",       "ENTITY",        "EXIT",     "FILE",       "FOR",
    "FUNCTION",  "GENERATE", "GENERIC",   "GUARDED",       "IF",       "IN",         "INOUT",
    "IS",        "LABEL",    "LIBRARY",   "LINKAGE",       "LOOP",     "MAP",        "MOD",
    "NAND",      "NEW",      "NEXT",      "NOR",           "NOT",      "NULL",       "OF",
    "ON",        "OPEN",     "OR",        "OTHERS",        "OUT",      "PACKAGE",    "PORT",
    "PROCEDURE", "PROCESS",  "RANGE",     "RECORD",        "REGISTER", "REM",        "REPORT",
    "RETURN",    "SELECT",   "SEVERITY",  "SIGNAL",        "SUBTYPE",  "THEN",       "TO",
    "TRANSPORT", "TYPE",     "UNITS",     "UNTIL",         "USE",      "VARIABLE",   "WAIT",
    "WHEN",      "WHILE",    "WITH",      "XOR",
};
static_assert(std::size(kReserved) == 81);

// The result of the last votr.
char trbuf[VOTR_BUFSIZE];
// What a byte becomes when no rule of its own applies: itself, or its two
// hexadecimal digits.
char trchars[256][3];

// Letters and digits are ASCII ones, whatever the locale.
bool isLetter(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
bool isDigit(unsigned char c) {
    return c >= '0' && c <= '9';
}
bool isWordChar(unsigned char c) {
    return isLetter(c) || isDigit(c) || c == '_';
}

// The chain of a name: each byte shifted left by its position modulo 8,
// summed in 32 bits. The bucket order is the order of the identifier list.
uint32_t bucketOf(const char* name) {
    uint32_t h = 0;
    for (uint32_t i = 0; name[i]; ++i)
        h += static_cast<uint32_t>(static_cast<unsigned char>(name[i])) << (i % 8);
    return h % VOTR_BUCKETS;
}

// A translation that would not fit ends the run.
[[noreturn]] void tooLong() {
    voreport(4, VOM_NAMETOOLONG);
    voexit(4);
}

// The text being built in trbuf.
struct Builder {
    size_t n = 0;
    void put(const char* text, size_t len) {
        if (n + len >= VOTR_BUFSIZE) tooLong();
        std::memcpy(trbuf + n, text, len);
        n += len;
        trbuf[n] = '\0';
    }
    void put(const char* text) { put(text, std::strlen(text)); }
};

// Notes what translation did to a name for the initialization file that
// the run writes, once for each text translated.
void notePair(const char* from, const char* to) {
    if (!vo || !vo->cmdl || !vo->cmdl->writeini || !vo->ini) return;
    for (votrans* t = vo->ini->trlist; t; t = t->next)
        if (ktStrEqu(t->from, from)) return;
    votrans* t = votransbloc();
    t->from = vostcpy(from);
    t->to = vostcpy(to);
    t->fromlen = static_cast<int>(std::strlen(from));
    t->next = vo->ini->trlist;
    vo->ini->trlist = t;
}

// The first character translation that matches at `p`, or null. A rule
// matches only where the whole of its text stands: it never steps over the
// end of the name.
const votrans* charRule(const char* p) {
    for (const votrans* t = vo && vo->ini ? vo->ini->chars : nullptr; t; t = t->next) {
        if (!t->from || t->fromlen <= 0) continue;
        size_t len = static_cast<size_t>(t->fromlen);
        if (strnlen(p, len) == len && ktStrNicmp(p, t->from, t->fromlen) == 0) return t;
    }
    return nullptr;
}

// Translates `name` character by character, up to its end or its first
// blank.
void translateChars(const char* name, Builder& out) {
    const char* p = name;
    while (*p && *p != ' ') {
        auto c = static_cast<unsigned char>(*p);
        if (const votrans* t = charRule(p)) {
            out.put(t->to ? t->to : "");
            p += t->fromlen;
        } else if (p[0] == '_' && p[1] == '_') {
            out.put("5F5F");
            notePair("__", "5F5F");
            p += 2;
        } else if (p[0] == ']' && p[1] == '[') {
            out.put(",");
            p += 2;
        } else if (c == ']' || c == '[' || c == ':') {
            out.put(c == ']' ? ")" : c == '[' ? "(" : " to ");
            ++p;
        } else if (isWordChar(c)) {
            out.put(p, 1);
            ++p;
        } else {
            out.put(trchars[c], 2);
            char from[2] = {static_cast<char>(c), '\0'};
            notePair(from, trchars[c]);
            ++p;
        }
    }
}

// A bound as "%ld" reads it (0 where there is no number; a number out of
// range stops at the limit), and the position behind the digits that stand
// at `p`.
long readBound(const char* p, const char** behind) {
    long value = std::strtol(p, nullptr, 10);
    while (isDigit(static_cast<unsigned char>(*p))) ++p;
    *behind = p;
    return value;
}

// Fixes the range whose left bound stands behind `open` (a "(" or the ","
// of a second dimension): "a to b" becomes "a downto b" when a > b. The
// right bound must be followed by ")", or also by "," when `more` is set.
// Returns the position of that character in trbuf, or null when the range
// is not of the form.
char* fixRange(char* open, bool more) {
    const char* blank;
    long left = readBound(open + 1, &blank);
    if (*blank != ' ' || strnlen(blank, 4) < 4) return nullptr;
    const size_t at = static_cast<size_t>(blank - trbuf);
    char rest[VOTR_BUFSIZE];  // the text behind " to "
    std::strcpy(rest, blank + 4);
    const char* end;
    long right = readBound(rest, &end);
    if (*end != ')' && !(more && *end == ',')) return nullptr;
    const size_t close = static_cast<size_t>(end - rest);
    if (left <= right) return trbuf + at + 4 + close;
    if (at + 8 + std::strlen(rest) >= VOTR_BUFSIZE) tooLong();
    std::memcpy(trbuf + at, " downto ", 8);
    std::strcpy(trbuf + at + 8, rest);
    return trbuf + at + 8 + close;
}

// Turns the ranges of the first "(" of trbuf into falling ones where the
// left bound is the larger; at most two dimensions. 0 when the subscript is
// not one the translator understands.
int rangeFix() {
    char* open = std::strchr(trbuf, '(');
    if (!open) return 1;
    char* end = fixRange(open, true);
    if (end && *end == ',') end = fixRange(std::strchr(trbuf, ','), false);
    return end && end[1] == '\0';
}

// Puts the prefix in front of trbuf and says so when there was a name to
// change.
void prefix() {
    const char* pre = vo && vo->ini && vo->ini->prefix && *vo->ini->prefix ? vo->ini->prefix : "v";
    const size_t n = std::strlen(trbuf), k = std::strlen(pre);
    if (n + k >= VOTR_BUFSIZE) tooLong();
    char old[VOTR_BUFSIZE];
    std::memcpy(old, trbuf, n + 1);
    std::memmove(trbuf + k, trbuf, n + 1);
    std::memcpy(trbuf, pre, k);
    if (n) voreport(2, VOM_PREFIXED, old, trbuf);
}

// A legal identifier starts with a letter and holds letters, digits, single
// underscores, and the blanks, parentheses and commas of a range.
bool legal(const char* text) {
    if (!isLetter(static_cast<unsigned char>(text[0]))) return false;
    for (const char* p = text; *p; ++p) {
        if (p[0] == '_' && p[1] == '_') return false;
        if (!isWordChar(static_cast<unsigned char>(*p)) && !std::strchr(" (),", *p)) return false;
    }
    return true;
}

// The stored names by their exact text, keyed by the entries' own copies.
// The table's fixed chains give the order of the identifier list; they grow
// long in a large library, so a look-up goes through an open table that
// grows, each slot with the hash of its name: most names a run meets are
// known, and a look-up then costs one pass over the name and one compare.
struct NameSlot {
    uint32_t hash;
    votrname* entry;  // null: a free slot
};
NameSlot* names_ = nullptr;
size_t nameSlots_ = 0, nameCount_ = 0;

uint32_t nameHash(const char* name) {
    uint32_t h = 2166136261u;
    for (const char* p = name; *p; ++p) h = (h ^ static_cast<unsigned char>(*p)) * 16777619u;
    return h;
}

// The slot of `name`: its own, or the free one where it would go.
NameSlot* slotFor(const char* name, uint32_t h) {
    const size_t mask = nameSlots_ - 1;
    for (size_t i = h & mask;; i = (i + 1) & mask) {
        NameSlot& s = names_[i];
        if (!s.entry || (s.hash == h && std::strcmp(s.entry->name, name) == 0)) return &s;
    }
}

votrname* lookUp(const char* name) {
    return names_ ? slotFor(name, nameHash(name))->entry : nullptr;
}

void remember(votrname* e) {
    if (2 * (nameCount_ + 1) > nameSlots_) {
        NameSlot* old = names_;
        const size_t oldSlots = nameSlots_;
        nameSlots_ = nameSlots_ ? 2 * nameSlots_ : 64;
        names_ = static_cast<NameSlot*>(ktMemCalloc(nameSlots_, sizeof(NameSlot), kTag));
        for (size_t i = 0; i < oldSlots; ++i)
            if (old[i].entry) *slotFor(old[i].entry->name, old[i].hash) = old[i];
        if (old) ktMemFree(old);
    }
    const uint32_t h = nameHash(e->name);
    NameSlot* s = slotFor(e->name, h);
    if (!s->entry) ++nameCount_;
    *s = NameSlot{h, e};
}

void forgetNames() {
    if (names_) ktMemFree(names_);
    names_ = nullptr;
    nameSlots_ = nameCount_ = 0;
}

// ---- The collision index ---------------------------------------------------
//
// The collision test reports, in table order, every name whose translation
// is a reserved word, and every pair of names that differ only in case and
// each stand for themselves. The index keeps those names in table order
// (bucket, then newest first), and for each case-blind text the names that
// stand for themselves under it; every call first takes in the names stored
// since the call before.

// Growing arrays of the index; they live until votrfree.
template <typename T>
struct Grow {
    T* at = nullptr;
    int n = 0, cap = 0;
    void insert(int i, T value) {
        if (n == cap) {
            cap = cap ? cap * 2 : 8;
            at = static_cast<T*>(ktMemRealloc(at, sizeof(T) * static_cast<size_t>(cap), kTag));
        }
        std::memmove(at + i + 1, at + i, sizeof(T) * static_cast<size_t>(n - i));
        at[i] = value;
        ++n;
    }
    void push(T value) { insert(n, value); }
    void release() {
        if (at) ktMemFree(at);
        *this = Grow{};
    }
};

// Names stored with their own text as translation and equal without regard
// to case, by their numbers, in table order.
using Clash = Grow<int>;

// One for each stored name, numbered in the order of storing.
struct Note {
    votrname* entry;
    uint32_t bucket;
    Clash* clash;   // null when the translation differs from the name
    bool reserved;  // the translation is a reserved word
    bool listed;    // in listed_
};

Grow<Note> notes_;
int tested_ = 0;            // notes before this one are in the index
Grow<int> listed_;          // the names that take part in a report, in table order
ktSym* clashes_ = nullptr;  // case-folded text -> Clash

// Table order: lower bucket first, within a bucket the newer name.
bool before(int a, int b) {
    const Note &x = notes_.at[a], &y = notes_.at[b];
    return x.bucket != y.bucket ? x.bucket < y.bucket : a > b;
}

void releaseClash(void* clash) {
    auto* c = static_cast<Clash*>(clash);
    c->release();
    ktMemFree(c);
}

// The group of names that fold to the text of `name`, made on first use.
Clash* clashOf(const char* name) {
    if (!clashes_) {
        clashes_ = ktSymCreate(VOTR_BUCKETS, ktSymStHash, ktStrEqu, ktSymStCpy, ktSymStFree);
        ktSymDynamic(clashes_, 2.0, 2.0);
    }
    // A name that stands for itself fits in a translation.
    char key[VOTR_BUFSIZE];
    ktStrUpc(voCopyName(key, name, sizeof key));
    if (auto* c = static_cast<Clash*>(ktSymFetch(clashes_, key))) return c;
    auto* c = static_cast<Clash*>(ktMemCalloc(1, sizeof(Clash), kTag));
    ktSymStore(clashes_, key, c);
    return c;
}

void listName(int number, std::vector<int>& fresh) {
    if (notes_.at[number].listed) return;
    notes_.at[number].listed = true;
    fresh.push_back(number);
}

// Takes the names stored since the last call into the index.
void indexNewNames() {
    std::vector<int> fresh;
    for (; tested_ < notes_.n; ++tested_) {
        const int number = tested_;
        Note& note = notes_.at[number];
        const votrname* e = note.entry;
        note.reserved = insetmem(kReservedSet, e->vhdlname) != nullptr;
        if (note.reserved) listName(number, fresh);
        if (ktStrIcmp(e->name, e->vhdlname) != 0) continue;
        Clash* c = clashOf(e->name);
        note.clash = c;
        c->insert(static_cast<int>(std::lower_bound(c->at, c->at + c->n, number, before) - c->at),
                  number);
        // The second name of a text brings the first into the list as well.
        if (c->n == 2) listName(c->at[0], fresh), listName(c->at[1], fresh);
        if (c->n > 2) listName(number, fresh);
    }
    if (fresh.empty()) return;
    std::sort(fresh.begin(), fresh.end(), before);
    std::vector<int> merged(static_cast<size_t>(listed_.n) + fresh.size());
    std::merge(listed_.at, listed_.at + listed_.n, fresh.begin(), fresh.end(), merged.begin(),
               before);
    listed_.n = 0;
    for (int number : merged) listed_.push(number);
}

void releaseIndex() {
    notes_.release();
    listed_.release();
    tested_ = 0;
    if (clashes_) ktSymDestroy(clashes_, releaseClash);
    clashes_ = nullptr;
}

// Step 8 of votr: the name and its translation go into the table.
// The entry of the name of the last votr.
const votrname* last_ = nullptr;

void store(const char* name) {
    if (!trtable)
        trtable = static_cast<votrname**>(ktMemCalloc(VOTR_BUCKETS, sizeof(votrname*), kTag));
    auto* e = static_cast<votrname*>(ktMemMalloc(sizeof(votrname), kTag));
    e->name = ktStrCpy(name);
    e->vhdlname = ktStrIcmp(trbuf, name) == 0 ? e->name : ktStrCpy(trbuf);
    last_ = e;
    const uint32_t bucket = bucketOf(name);
    e->next = trtable[bucket];
    trtable[bucket] = e;
    remember(e);
    notes_.push(Note{e, bucket, nullptr, false, false});
    const size_t len = std::strlen(name);
    if (len > static_cast<size_t>(trlongest)) trlongest = static_cast<int32_t>(len);
}
}  // namespace

void votrsetup() {
    votrfree();
    constexpr char kHex[] = "0123456789ABCDEF";
    for (int c = 0; c < 256; ++c) {
        if (isWordChar(static_cast<unsigned char>(c))) {
            trchars[c][0] = static_cast<char>(c);
            trchars[c][1] = '\0';
        } else {
            trchars[c][0] = kHex[c >> 4];
            trchars[c][1] = kHex[c & 15];
        }
        trchars[c][2] = '\0';
    }
    // The set outlives the table: a second setup finds the words there.
    if (!insetmem(kReservedSet, kReserved[0]))
        for (const char* word : kReserved) inaddmem(kReservedSet, word, 0);
}

void votrfree() {
    ++votrgeneration;
    last_ = nullptr;
    releaseIndex();
    forgetNames();
    if (trtable) {
        for (int b = 0; b < VOTR_BUCKETS; ++b) {
            while (votrname* e = trtable[b]) {
                trtable[b] = e->next;
                if (e->vhdlname != e->name) ktStrFree(e->vhdlname);
                ktStrFree(e->name);
                ktMemFree(e);
            }
        }
        ktMemFree(trtable);
        trtable = nullptr;
    }
    trlongest = 0;
}

char* votr(const char* name) {
    if (!name) name = "";
    // The last result given back to translate: trbuf is about to change.
    char own[VOTR_BUFSIZE];
    if (!std::less<const char*>{}(name, trbuf) &&
        std::less<const char*>{}(name, trbuf + VOTR_BUFSIZE))
        name = std::strcpy(own, name);
    // A name seen before gives its translation again, and no warning.
    if (const votrname* known = lookUp(name)) {
        last_ = known;
        voCopyName(trbuf, known->vhdlname, sizeof trbuf);
        return trbuf;
    }

    Builder out;
    trbuf[0] = '\0';
    const votrans* word = vo && vo->ini ? vo->ini->words : nullptr;
    while (word && !(word->from && ktStrIcmp(word->from, name) == 0)) word = word->next;
    if (word)
        out.put(word->to ? word->to : "");
    else
        translateChars(name, out);

    // A subscript the range fix cannot read leaves the name as it stands.
    if (std::strchr(name, ':') && !rangeFix()) {
        out.n = 0;
        out.put(name);
    }

    if (insetmem(kReservedSet, trbuf)) {
        char old[VOTR_BUFSIZE];
        std::strcpy(old, trbuf);
        prefix();
        notePair(old, trbuf);
    }
    if (!isLetter(static_cast<unsigned char>(trbuf[0]))) prefix();
    if (!legal(trbuf)) voreport(2, VOM_BADNAME, trbuf);

    store(name);
    return trbuf;
}

const char* votrstored() {
    return last_ ? last_->vhdlname : "";
}

char* voGetScrivetName(const char* name, char* out) {
    if (!name) name = "";
    // A name without a subscript that fits is translated as it stands.
    const size_t n = strnlen(name, VOTR_BUFSIZE);
    if (n < VOTR_BUFSIZE && !std::memchr(name, '[', n)) return voCopyName(out, votr(name), VOTR_BUFSIZE);
    char base[VOTR_BUFSIZE];
    voCopyName(base, name, sizeof base);
    if (char* bracket = std::strchr(base, '[')) *bracket = '\0';
    return voCopyName(out, votr(base), VOTR_BUFSIZE);
}

char* votruncnam(const char* name) {
    char base[KS_PATHMAX] = "";
    // A name too long for a path stays whole, so that opening the file
    // names it in its refusal.
    if (ksParse(name, nullptr, nullptr, base, nullptr) != KS_OK) return vostcpy(name);
    return vostcpy(base);
}

void votest_translations() {
    indexNewNames();
    for (int i = 0; i < listed_.n; ++i) {
        const int number = listed_.at[i];
        const Note& e = notes_.at[number];
        if (e.reserved) voreport(2, VOM_RESERVED, e.entry->vhdlname, e.entry->name);
        const Clash* c = e.clash;
        if (!c || c->n < 2) continue;
        for (const int* f = std::upper_bound(c->at, c->at + c->n, number, before); f < c->at + c->n;
             ++f) {
            const votrname* other = notes_.at[*f].entry;
            voreport(2, VOM_CASECLASH, e.entry->name, other->name, other->vhdlname);
        }
    }
}

void vodump_translations() {
    if (!vo || !vo->ini || vo->ini->listids == 1) return;
    const vogroup* g = vofindgr(vo->top);
    if (!g || !g->base) return;
    // Declined overwriting leaves no file open: the first line then ends the run.
    vofopen(g->base, "xrf");
    vomsg(1);
    std::snprintf(ViewLocation, sizeof ViewLocation, " ");
    ktErrReportBuild(voErrStrID, ViewLocation, msgFp, VOM_WROTE, "identifier list", "design",
                     iggrpnam(g->grp), vomerge(g->base, "xrf"));

    // Names up to the width stand in a column; a longer one pushes its
    // translation right and is never cut.
    const int width = trlongest > 40 ? 40 : trlongest;
    const bool all = vo->ini->listids == 3;
    std::string line;
    for (int b = 0; trtable && b < VOTR_BUCKETS; ++b) {
        for (const votrname* e = trtable[b]; e; e = e->next) {
            if (!all && ktStrIcmp(e->name, e->vhdlname) == 0) continue;
            const size_t name = std::strlen(e->name);
            line.assign(e->name);
            if (name < static_cast<size_t>(width))
                line.append(static_cast<size_t>(width) - name, ' ');
            line.append(" ").append(e->vhdlname);
            votok(VOTOK_NLAFTER, line.c_str());
        }
    }
    vofclose();
}
