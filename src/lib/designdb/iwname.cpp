// The name table. Each name is stored once, in capitals, in the pool, and
// found again through an open hash table of the stored names that doubles
// when it is half full, so that a look-up costs the same whether a run has
// read ten symbols or ten thousand (a fixed array of sorted buckets grows
// its walks with every name a library adds). The text is compared in
// capitals, as it is stored: a text given in lower case (a comment, a
// type) finds the name it was stored as.
#include "iwname.h"

#include <array>
#include <cstring>
#include <initializer_list>

#include "iwmem.h"
#include "ktmem.h"
#include "ktstr.h"

namespace {

// A slot keeps the hash beside the stored name, so that a look-up reads
// only the names whose hash matches.
struct Slot {
    char* text;  // in capitals, in the pool
    uint32_t hash;
};
Slot* slots_ = nullptr;  // a power of two of them, half full at most
uint32_t mask_ = 0;
uint32_t count_ = 0;
constexpr uint32_t kFirstSlots = 1u << 10;  // a one-symbol run needs no more

// The entry last found for each of kRecent values of the hash: the names a
// library repeats in every symbol (attribute names, pin types and numbers)
// are then found in a small table that stays in the cache.
constexpr int kRecentBits = 10;
constexpr uint32_t kRecent = 1u << kRecentBits;
Slot recent_[kRecent];

// ktCharUpc of every byte.
constexpr auto kUpper = [] {
    std::array<char, 256> t{};
    for (int c = 0; c < 256; ++c) t[c] = ktCharUpc(static_cast<char>(c));
    return t;
}();

uint32_t hashOf(const char* text) {
    uint32_t h = 0;
    for (; text && *text; ++text)
        h = h * 10 + static_cast<uint32_t>(static_cast<signed char>(ktCharUpc(*text)));
    return h;
}

// strcmp of `text` folded to capitals against a stored name.
int compareFolded(const char* text, const char* stored) {
    for (;; ++text, ++stored) {
        const auto a = static_cast<unsigned char>(ktCharUpc(*text));
        const auto b = static_cast<unsigned char>(*stored);
        if (a != b || a == 0) return a - b;
    }
}

char* newName(const char* text, size_t n) {
    auto* name = static_cast<char*>(iwballoc(Idatamem, n + 1));
    for (size_t i = 0; i <= n; ++i) name[i] = ktCharUpc(text[i]);
    return name;
}

Slot* makeSlots(uint32_t n) {
    return static_cast<Slot*>(ktMemCalloc(n, sizeof(Slot), "iwname"));
}

void grow() {
    const uint32_t n = (mask_ + 1) * 2;
    Slot* slots = makeSlots(n);
    for (uint32_t i = 0; i <= mask_; ++i)
        if (slots_[i].text) {
            uint32_t at = slots_[i].hash & (n - 1);
            while (slots[at].text) at = (at + 1) & (n - 1);
            slots[at] = slots_[i];
        }
    ktMemFree(slots_);
    slots_ = slots;
    mask_ = n - 1;
}

// Spreads the name hash, whose low bits hang on the last few bytes only.
uint32_t mix(uint32_t h) {
    h ^= h >> 16;
    h *= 0x7feb352du;
    h ^= h >> 15;
    return h;
}
}  // namespace

char* iwmkname(const char* text) {
    if (!text) text = "";
    if (!slots_) {
        slots_ = makeSlots(kFirstSlots);
        mask_ = kFirstSlots - 1;
        count_ = 0;
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
    auto same = [&](const Slot& s) {
        return s.text && s.hash == h &&
               (short_ ? std::strcmp(folded, s.text) : compareFolded(text, s.text)) == 0;
    };
    h = mix(h);
    Slot& recent = recent_[h >> (32 - kRecentBits)];
    if (same(recent)) return recent.text;
    uint32_t at = h & mask_;
    for (; slots_[at].text; at = (at + 1) & mask_)
        if (same(slots_[at])) return (recent = slots_[at]).text;
    slots_[at] = {newName(text, n), h};
    recent = slots_[at];
    if (++count_ * 2 > mask_ + 1) grow();
    return recent.text;
}

uint32_t iwhash(const char* text, uint32_t count) {
    return count ? hashOf(text) % count : 0;
}

void iwdelnames() {
    ktMemFree(slots_);
    slots_ = nullptr;
    mask_ = count_ = 0;
    std::memset(recent_, 0, sizeof recent_);
}

int iwsysatt(const char* name) {
    if (!name) return 0;
    for (const char* s : {"@DATETIME", "@NAME", "@SHEET", "@XYCOORD"})
        if (std::strcmp(name, s) == 0) return 1;
    return 0;
}
