// The name table. A bucket is appended to when the new
// text sorts after its tail, which keeps names that come in rising order
// (pins P1, P2, ...) at constant cost. The text is compared in capitals,
// as it is stored: compared as given, a text in lower case (a comment, a
// type) would sort after everything in its bucket and be entered again at
// each call, and a library's buckets would grow with every symbol read.
#include "iwname.h"

#include <array>
#include <cstring>
#include <initializer_list>

#include "iwmem.h"
#include "ktmem.h"
#include "ktstr.h"

namespace {

struct Entry {
    char* text;
    Entry* next;
};

Entry** heads_ = nullptr;
Entry** tails_ = nullptr;

// The entry last found for each of kRecent slots of the hash. The names a
// library repeats in every symbol (attribute names, pin types and numbers)
// are then found at once, not by a walk along their bucket, whose entries
// lie scattered over the pool by the time a library is half read.
constexpr int kRecentBits = 10;
constexpr uint32_t kRecent = 1u << kRecentBits;
Entry** recent_ = nullptr;

constexpr char upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// upper() of every byte.
constexpr auto kUpper = [] {
    std::array<char, 256> t{};
    for (int c = 0; c < 256; ++c) t[c] = upper(static_cast<char>(c));
    return t;
}();

uint32_t hashOf(const char* text) {
    uint32_t h = 0;
    for (; text && *text; ++text)
        h = h * 10 + static_cast<uint32_t>(static_cast<signed char>(upper(*text)));
    return h;
}

// strcmp of `text` folded to capitals against a stored name.
int compareFolded(const char* text, const char* stored) {
    for (;; ++text, ++stored) {
        const auto a = static_cast<unsigned char>(upper(*text));
        const auto b = static_cast<unsigned char>(*stored);
        if (a != b || a == 0) return a - b;
    }
}

Entry* newEntry(const char* text, Entry* next) {
    size_t n = std::strlen(text);
    auto* e = static_cast<Entry*>(iwballoc(Idatamem, sizeof(Entry) + n + 1));
    e->text = reinterpret_cast<char*>(e + 1);
    for (size_t i = 0; i <= n; ++i) e->text[i] = upper(text[i]);
    e->next = next;
    return e;
}

// The entry of `text` in bucket b, made when there is none; `compare`
// compares the text with a stored name.
template <typename Compare>
Entry* find(uint32_t b, const char* text, Compare compare) {
    if (!heads_[b]) return heads_[b] = tails_[b] = newEntry(text, nullptr);
    int c = compare(tails_[b]->text);
    if (c == 0) return tails_[b];
    if (c > 0) return tails_[b] = tails_[b]->next = newEntry(text, nullptr);
    for (Entry** at = &heads_[b];; at = &(*at)->next) {
        int d = compare((*at)->text);
        if (d == 0) return *at;
        if (d < 0) return *at = newEntry(text, *at);
    }
}
}  // namespace

char* iwmkname(const char* text) {
    if (!text) text = "";
    if (!heads_) {
        size_t bytes = IW_NAMEBUCKETS * sizeof(Entry*);
        heads_ = static_cast<Entry**>(iwballoc(Idatamem, bytes));
        tails_ = static_cast<Entry**>(iwballoc(Idatamem, bytes));
        recent_ = static_cast<Entry**>(iwballoc(Idatamem, kRecent * sizeof(Entry*)));
        // A tail is read only where there is a head, and set with it: the
        // tails are left as they come, untouched until used.
        std::memset(heads_, 0, bytes);
        std::memset(recent_, 0, kRecent * sizeof(Entry*));
    }
    // The hash and, for a text of usual length, the text in capitals, in
    // one pass; the capitals are then compared with strcmp. Nearly every
    // call finds its name at once, so this pass is most of the cost.
    char folded[256];
    uint32_t h = 0;
    size_t n = 0;
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    for (; n < sizeof folded - 1 && p[n]; ++n) {
        const char u = kUpper[p[n]];
        h = h * 10 + static_cast<uint32_t>(static_cast<signed char>(u));
        folded[n] = u;
    }
    const bool short_ = !p[n];
    if (short_)
        folded[n] = '\0';
    else
        for (; p[n]; ++n) h = h * 10 + static_cast<uint32_t>(static_cast<signed char>(kUpper[p[n]]));
    auto compare = [&](const char* stored) {
        return short_ ? std::strcmp(folded, stored) : compareFolded(text, stored);
    };
    Entry*& recent = recent_[(h * 2654435761u) >> (32 - kRecentBits)];
    if (recent && compare(recent->text) == 0) return recent->text;
    return (recent = find(h % IW_NAMEBUCKETS, text, compare))->text;
}

uint32_t iwhash(const char* text, uint32_t count) {
    return count ? hashOf(text) % count : 0;
}

void iwdelnames() {
    heads_ = tails_ = recent_ = nullptr;
}

int iwsysatt(const char* name) {
    if (!name) return 0;
    for (const char* s : {"@DATETIME", "@NAME", "@SHEET", "@XYCOORD"})
        if (std::strcmp(name, s) == 0) return 1;
    return 0;
}
