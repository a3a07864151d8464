// Port information. A pin's record hangs on it through the pin's tag word,
// which holds the number of the record in a table of all records made in
// the run; the table also names the pin, so that a tag left on a pin of an
// earlier pool finds nothing.
//
// Two pins of one symbol with the same translated base name cannot share a
// port. Finding the other pin, and the names already given, would mean a
// walk over all pins for each pin; an index of the symbol's pins, built
// when the walk over a symbol starts, answers both at once, so a symbol
// costs time in proportion to its pins. The index is built by translating
// every pin's base name in list order, the order in which the walk over
// the first pin would translate them.
#include "voportinfo.h"

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "entgen_msg.h"
#include "iwobj.h"
#include "ktbus.h"
#include "kterr.h"
#include "ktmem.h"
#include "ktstr.h"
#include "ktsym.h"
#include "vgstruct.h"
#include "voeval.h"
#include "voinisec.h"
#include "vomain.h"
#include "votr.h"

int vogenid = 0;

namespace {
constexpr const char* kTag = "vgstruct";

const char* pinName(const iwspin* pin) {
    return pin && pin->name ? pin->name : "";
}

// Releases a string of a record, an empty one too.
void dropText(char*& text) {
    if (text) vofree(text, std::strlen(text) + 1);
    text = nullptr;
}

// ---- records and the pins they hang on ---------------------------------------

struct Hung {
    voPort* port;
    const iwspin* pin;  // null until the record is hung
};

Hung* hung_ = nullptr;
uint32_t hungCount_ = 0, hungRoom_ = 0;

// voGetPortInfo makes a record and its texts in one block. The bytes of
// texts behind such a record, for each entry of hung_; 0 for a record of
// the usual kind. A text changed later
// is a copy of its own again, and goes as such.
uint32_t* packed_ = nullptr;

bool inBlock(uint32_t i, const voPort* r, const char* text) {
    const char* from = reinterpret_cast<const char*>(r + 1);
    return packed_[i] != 0 && text >= from && text < from + packed_[i];
}

// A zeroed record with room for `bytes` of texts behind it. Records are
// kept to the end of a run, one per pin: they come from the size-class
// lists, without a heap header each; voPortFreeAll gives the size back.
voPort* newPort(size_t bytes) {
    void* p = ktMemFlAlloc(sizeof(voPort) + bytes, kTag);
    std::memset(p, 0, sizeof(voPort) + bytes);
    return static_cast<voPort*>(p);
}

// The texts of entry i that are copies of their own.
void dropTexts(uint32_t i) {
    voPort* r = hung_[i].port;
    for (char** s : {&r->type, &r->range, &r->name, &r->value, &r->mode, &r->brf})
        if (inBlock(i, r, *s))
            *s = nullptr;
        else
            dropText(*s);
}

// ---- the index of one symbol's pins --------------------------------------------

// A table of names folded to capitals (as far as a translation buffer
// holds them), open addressed, kept from symbol to symbol so that a new
// symbol costs no allocation once the largest one has been seen.
class FoldedTable {
public:
    struct Slot {
        uint32_t hash = 0;
        uint32_t at = 0;   // the key's offset in keys_
        uint32_t len = 0;  // 0: a free slot (a key of no characters is stored as 1 byte)
        const iwspin* first = nullptr;
        const iwspin* second = nullptr;
        intptr_t count = 0;
    };

    void clear(size_t expected) {
        size_t n = 16;
        while (n < 2 * expected + 2) n *= 2;
        slots_.assign(n, Slot{});
        keys_.clear();
        used_ = 0;
    }

    // The slot of `name`, or null; with `add`, made when missing. A slot
    // stays where it is until the table grows.
    Slot* find(const char* name, bool add) {
        char key[VOTR_BUFSIZE];
        size_t n = 0;
        uint32_t h = 2166136261u;
        for (const char* p = name ? name : ""; *p && n < VOTR_BUFSIZE - 1; ++p, ++n) {
            key[n] = ktCharUpc(*p);
            h = (h ^ static_cast<unsigned char>(key[n])) * 16777619u;
        }
        key[n] = '\0';
        const uint32_t len = static_cast<uint32_t>(n) + 1;  // the terminator counts
        const size_t mask = slots_.size() - 1;
        for (size_t i = h & mask;; i = (i + 1) & mask) {
            Slot& s = slots_[i];
            if (s.len == 0) {
                if (!add) return nullptr;
                if (2 * (used_ + 1) > slots_.size()) {
                    grow();
                    return find(name, add);
                }
                s.hash = h;
                s.at = static_cast<uint32_t>(keys_.size());
                s.len = len;
                keys_.append(key, len);
                ++used_;
                return &s;
            }
            if (s.hash == h && s.len == len && std::memcmp(keys_.data() + s.at, key, len) == 0)
                return &s;
        }
    }

    Slot& at(size_t i) { return slots_[i]; }
    size_t indexOf(const Slot* s) const { return static_cast<size_t>(s - slots_.data()); }
    size_t grown = 0;  // how often the table grew

private:
    void grow() {
        ++grown;
        std::vector<Slot> old;
        old.swap(slots_);
        slots_.assign(old.size() * 2, Slot{});
        const size_t mask = slots_.size() - 1;
        for (const Slot& s : old) {
            if (s.len == 0) continue;
            size_t i = s.hash & mask;
            while (slots_[i].len != 0) i = (i + 1) & mask;
            slots_[i] = s;
        }
    }

    std::vector<Slot> slots_;
    std::string keys_;
    size_t used_ = 0;
};

struct PinIndex {
    const iwsym* symbol = nullptr;
    const iwspin* first = nullptr;  // the symbol's pin list when it was built
    int pincount = 0;
    FoldedTable bases;  // translated base name -> first and second pin of it
    FoldedTable names;  // port name -> how many pins have it
    // Each pin's translated base name, in list order, as the index found it;
    // `next` is the entry the walk over the pins comes to next.
    std::vector<const iwspin*> pins;
    std::vector<uint32_t> baseAt;
    std::vector<size_t> baseSlot;  // the slot of each pin's base name in `bases`
    std::string baseTexts;
    size_t next = 0;
    uint32_t generation = 0;  // votrgeneration when the index was built
};

PinIndex index_;

void dropIndex() {
    index_.symbol = nullptr;
    index_.first = nullptr;
    index_.pincount = 0;
    index_.pins.clear();
    index_.next = 0;
}

void countName(const char* name, intptr_t by) {
    if (!name) return;
    index_.names.find(name, true)->count += by;
}

void buildIndex(const iwsym* symbol) {
    dropIndex();
    index_.symbol = symbol;
    index_.first = symbol->pins;
    index_.pincount = symbol->pincount;
    const size_t expected = symbol->pincount > 0 ? static_cast<size_t>(symbol->pincount) : 0;
    index_.bases.clear(expected);
    index_.names.clear(expected);
    index_.baseAt.clear();
    index_.baseSlot.clear();
    index_.baseTexts.clear();
    const size_t grown = index_.bases.grown;
    for (const iwspin* p = symbol->pins; p; p = p->next) {
        char base[VOTR_BUFSIZE];
        voGetScrivetName(pinName(p), base);
        // Kept for the pin's turn: what the translation gives from then on.
        const char* again = votrstored();
        index_.pins.push_back(p);
        index_.baseAt.push_back(static_cast<uint32_t>(index_.baseTexts.size()));
        index_.baseTexts.append(again, strnlen(again, VOTR_BUFSIZE - 1)).push_back('\0');
        FoldedTable::Slot* s = index_.bases.find(base, true);
        index_.baseSlot.push_back(index_.bases.indexOf(s));
        if (!s->first)
            s->first = p;
        else if (!s->second)
            s->second = p;
        if (const voPort* r = voPinPort(p)) countName(r->name, 1);
    }
    // A table that grew has moved its slots.
    if (index_.bases.grown != grown)
        for (size_t i = 0; i < index_.pins.size(); ++i)
            index_.baseSlot[i] = index_.bases.indexOf(
                index_.bases.find(index_.baseTexts.data() + index_.baseAt[i], false));
    index_.generation = votrgeneration;
}

// Whether the index must be made anew for `pin` of `symbol`: when the walk
// over its pins starts at the first pin or when the symbol is not the one
// indexed.
bool staleFor(const iwsym* symbol, const iwspin* pin) {
    return symbol != index_.symbol || pin == symbol->pins || symbol->pins != index_.first ||
           symbol->pincount != index_.pincount || index_.generation != votrgeneration;
}

// The translated base name of `pin` in `out`, and its slot in the table
// of base names or null. The pin's name is translated first, then the
// index made when it must be; a pin the walk comes to in the index's order
// takes the index's translation, which is what translating again gives.
const FoldedTable::Slot* baseOf(const iwsym* symbol, const iwspin* pin, char* out) {
    if (staleFor(symbol, pin)) {
        voGetScrivetName(pinName(pin), out);
        buildIndex(symbol);
        if (index_.pins.empty() || index_.pins[0] != pin) return nullptr;
        index_.next = 1;
        return &index_.bases.at(index_.baseSlot[0]);
    }
    if (index_.next < index_.pins.size() && index_.pins[index_.next] == pin) {
        const size_t i = index_.next++;
        const char* text = index_.baseTexts.data() + index_.baseAt[i];
        std::memcpy(out, text, std::strlen(text) + 1);
        return &index_.bases.at(index_.baseSlot[i]);
    }
    voGetScrivetName(pinName(pin), out);
    return nullptr;
}

// The first pin other than `pin`, in list order, of the base name `base`,
// whose slot `s` may already be known.
const iwspin* otherOfBase(const iwspin* pin, const char* base, const FoldedTable::Slot* s) {
    if (!s) s = index_.bases.find(base, false);
    if (!s) return nullptr;
    return s->first != pin ? s->first : s->second;
}

// Whether a pin other than `pin` has a port called `name`.
bool nameTaken(const iwspin* pin, const char* name) {
    const FoldedTable::Slot* s = index_.names.find(name, false);
    intptr_t n = s ? s->count : 0;
    if (const voPort* own = voPinPort(pin); own && own->name && ktStrIcmp(own->name, name) == 0)
        --n;
    return n > 0;
}

// The port name made from the whole label: brackets and colons of the
// subscripts become underscores, A[3:0] gives A_3_0.
std::string labelOf(const char* name) {
    std::string label;
    for (const char* p = name; *p; ++p)
        if (*p != ']') label += *p == '[' || *p == ':' ? '_' : *p;
    return label;
}

// The text from the first "(" on of a name's translation, in `out`.
void rangePart(const char* name, char* out) {
    const char* t = votr(name);
    const char* open = std::strchr(t, '(');
    voCopyName(out, open ? open : "", VOTR_BUFSIZE);
}

// A number as "%d" reads it, held within the range of an int.
int readInt(const char* text) {
    long v = std::strtol(text, nullptr, 10);
    return v > INT_MAX ? INT_MAX : v < INT_MIN ? INT_MIN : static_cast<int>(v);
}

const char* typeFor(const char* translated) {
    const char* open = std::strchr(translated, '(');
    if (!open) return vosigtype();
    return std::strchr(open, ',') ? vo2DimVecType() : vo1DimVecType();
}
}  // namespace

voPort* voPortBlock() {
    auto* r = newPort(0);
    if (hungCount_ == hungRoom_) {
        hungRoom_ = hungRoom_ ? hungRoom_ * 2 : 64;
        hung_ = static_cast<Hung*>(ktMemRealloc(hung_, hungRoom_ * sizeof(Hung), kTag));
        packed_ =
            static_cast<uint32_t*>(ktMemRealloc(packed_, hungRoom_ * sizeof(uint32_t), kTag));
    }
    packed_[hungCount_] = 0;
    hung_[hungCount_++] = Hung{r, nullptr};
    return r;
}

void voHangPort(iwspin* pin, voPort* port) {
    if (!pin || !port) return;
    // The record being hung is nearly always the newest.
    uint32_t i = hungCount_;
    while (i > 0 && hung_[i - 1].port != port) --i;
    if (i == 0) return;
    hung_[i - 1].pin = pin;
    iwsettag(pin, IW_KSPIN, i);
}

voPort* voPinPort(const iwspin* pin) {
    int ok = 0;
    const uint32_t n = iwgettag(pin, IW_KSPIN, &ok);
    if (!ok || n == 0 || n > hungCount_ || hung_[n - 1].pin != pin) return nullptr;
    return hung_[n - 1].port;
}

void voPortSetText(const iwspin* pin, char** field, const char* text) {
    int ok = 0;
    const uint32_t n = iwgettag(pin, IW_KSPIN, &ok);
    const voPort* r = voPinPort(pin);
    if (r && inBlock(n - 1, r, *field))
        *field = nullptr;
    else
        dropText(*field);
    *field = vostcpy(text);
}

void voPortFreeAll() {
    for (uint32_t i = 0; i < hungCount_; ++i) {
        dropTexts(i);
        ktMemFlFree(hung_[i].port, sizeof(voPort) + packed_[i]);
    }
    if (hung_) ktMemFree(hung_);
    if (packed_) ktMemFree(packed_);
    hung_ = nullptr;
    packed_ = nullptr;
    hungCount_ = hungRoom_ = 0;
    dropIndex();
}

namespace {
// strcmp of an attribute's name and a key, the first bytes compared in line.
int compareName(const char* name, const char* key) {
    const auto a = static_cast<unsigned char>(name[0]), b = static_cast<unsigned char>(key[0]);
    if (a != b) return a < b ? -1 : 1;
    return std::strcmp(name, key);
}

// Several attributes of a list sorted by name, in one walk: `keys` are in
// capitals and in rising order, and out[k] is what ifattatt(keys[k], list)
// gives, the first attribute of that name unless a name that sorts after
// it stands in front.
template <size_t N>
void findEach(iwatt* list, const char* const (&keys)[N], iwatt* (&out)[N]) {
    size_t k = 0;
    for (iwatt*& o : out) o = nullptr;
    for (iwatt* a = list; a && a->name && k < N; a = a->next) {
        while (k < N) {
            const int c = compareName(a->name, keys[k]);
            if (c < 0) break;
            if (c == 0) {
                out[k++] = a;
                break;
            }
            ++k;
        }
    }
}

// The direction code of a pin whose type attribute is `a` (null: none).
int portDir(iwspin* pin, const iwatt* a) {
    if (!a) return VOPORT_UNKNOWN;
    if (const vopint* e = vofind_pintype(a->value)) return e->dir;
    if (vo->cmdl && vo->cmdl->warnpintype) {
        vomsg(2);
        std::snprintf(ViewLocation, sizeof ViewLocation, "- spn %s.%s", "", pinName(pin));
        ktErrReportBuild(nullptr, ViewLocation, msgFp, VOM_NOPINTYPE, a->value);
    }
    // Learned: later pins of this type, in this symbol and the next, are INOUT.
    if (vo->ini) voaddpintype(a->value, VOPORT_INOUT, &vo->ini->autopins);
    return VOPORT_UNKNOWN;
}

// The range of a port from the translation of its pin's name: the text
// from the first "(" on, with a direction; empty for a scalar port (false).
bool rangeFrom(const char* translated, std::string* out) {
    const char* open = std::strchr(translated, '(');
    if (!open) return false;
    // A blank means a direction is there already: (3 downto 0).
    if (std::strchr(open, ' ')) {
        out->assign(open);
        return true;
    }
    // A single index names a range of one: (3) gives (3 to 3). A subscript
    // left open counts as closed at the end of the name.
    const char* close = std::strchr(open, ')');
    std::string index(open + 1, close ? close : open + std::strlen(open));
    *out = "(" + index + " to " + index + ")" + (close ? close + 1 : "");
    return true;
}

// The port name of `pin` in `out`.
void portName(iwsym* symbol, iwspin* pin, std::string* out) {
    char base[VOTR_BUFSIZE];
    const iwspin* q = nullptr;
    if (symbol && pin) {
        q = otherOfBase(pin, base, baseOf(symbol, pin, base));
    } else {
        voGetScrivetName(pinName(pin), base);
    }
    if (!q) {
        out->assign(base);
        return;
    }
    std::string label = labelOf(pinName(pin));
    if (nameTaken(pin, label.c_str())) label += "_" + std::to_string(vogenid++);
    vorangecheck(pinName(pin), pinName(q), const_cast<iwspin*>(q), symbol);
    *out = std::move(label);
}

// A finished record: the record and its texts in one block, hung in the
// table as the newest entry. A port's texts are few and short; each in a
// block of its own would cost the heap more in headers and rounding than
// the texts hold, for every pin of every symbol of a run.
voPort* packedPort(const char* const (&texts)[6]) {
    size_t bytes = 0;
    for (const char* t : texts)
        if (t) bytes += std::strlen(t) + 1;
    voPort* p = newPort(bytes);
    char** to[] = {&p->type, &p->range, &p->name, &p->value, &p->mode, &p->brf};
    char* at = reinterpret_cast<char*>(p + 1);
    for (size_t k = 0; k < 6; ++k) {
        if (!texts[k]) continue;
        const size_t n = std::strlen(texts[k]) + 1;
        std::memcpy(at, texts[k], n);
        *to[k] = at;
        at += n;
    }
    if (hungCount_ == hungRoom_) {
        hungRoom_ = hungRoom_ ? hungRoom_ * 2 : 64;
        hung_ = static_cast<Hung*>(ktMemRealloc(hung_, hungRoom_ * sizeof(Hung), kTag));
        packed_ =
            static_cast<uint32_t*>(ktMemRealloc(packed_, hungRoom_ * sizeof(uint32_t), kTag));
    }
    packed_[hungCount_] = static_cast<uint32_t>(bytes);
    hung_[hungCount_++] = Hung{p, nullptr};
    return p;
}
}  // namespace

void voGetPortInfo(iwsym* symbol, iwspin* pin, vogroup*) {
    if (!pin) return;
    // The pin's attributes that make its port, found in one walk.
    static constexpr const char* kKeys[] = {"FLOATVAL",     "PINTYPE",        "VHDL_BRF",
                                            "VHDL_DEFAULT", "VHDL_PORT_MODE", "VHDL_TYPE"};
    iwatt* found[6];
    findEach(pin->attributes, kKeys, found);
    const char* mode = voport_dir_string(portDir(pin, found[1] ? found[1] : found[4]));
    // A pin of no known type is an input; the unknown word never reaches the model.
    if (std::strcmp(mode, "UnKnownPORT") == 0) mode = "IN";
    // The default: the pin's own, else the symbol's.
    const iwatt* d = found[0] ? found[0] : found[3];
    if (!d && symbol) {
        static constexpr const char* kDefaults[] = {"FLOATVAL", "VHDL_DEFAULT"};
        iwatt* fallback[2];
        findEach(symbol->attributes, kDefaults, fallback);
        d = fallback[0] ? fallback[0] : fallback[1];
    }
    std::string name;
    portName(symbol, pin, &name);

    char type[VO_BUFSIZE];
    voCopyName(type, found[5] && found[5]->value ? found[5]->value : "", sizeof type);
    // The pin's name is translated once for its type and its range; the
    // range reads the translation as a call for the range would give it,
    // which after the call for the type is the stored one.
    char translated[VOTR_BUFSIZE];
    voCopyName(translated, votr(pinName(pin)), sizeof translated);
    if (!*type) {
        voCopyName(type, typeFor(translated), sizeof type);
        voCopyName(translated, votrstored(), sizeof translated);
    }

    std::string range;
    const bool ranged = rangeFrom(translated, &range);
    const iwatt* brf = found[2];
    const char* value = d ? voeval(d->value, type) : nullptr;

    voPort* r = packedPort({type, ranged ? range.c_str() : nullptr, name.c_str(), value, mode,
                            brf ? (brf->value ? brf->value : "") : nullptr});
    if (symbol && index_.symbol == symbol) {
        if (const voPort* old = voPinPort(pin)) countName(old->name, -1);
        countName(r->name, 1);
    }
    voHangPort(pin, r);
}

int voport_dir(iwspin* pin) {
    const iwatt* a = ifattatt("PINTYPE", pin ? pin->attributes : nullptr);
    if (!a) a = ifattatt("VHDL_PORT_MODE", pin ? pin->attributes : nullptr);
    return portDir(pin, a);
}

namespace {
struct Direction {
    int code;
    const char* word;
};
constexpr Direction kDirections[] = {
    {VOPORT_IN, "IN"},         {VOPORT_OUT, "OUT"},         {VOPORT_INOUT, "INOUT"},
    {VOPORT_BUFFER, "BUFFER"}, {VOPORT_LINKAGE, "LINKAGE"},
};
}  // namespace

const char* voport_dir_string(int code) {
    for (const Direction& d : kDirections)
        if (d.code == code) return d.word;
    return "UnKnownPORT";
}

vopint* vofind_pintype(const char* name) {
    if (!name || !vo || !vo->ini) return nullptr;
    // A type of another first letter is passed over at once.
    const char lead = ktCharUpc(name[0]);
    for (vopint* list : {vo->ini->pintypes, vo->ini->autopins})
        for (vopint* p = list; p; p = p->next)
            if (p->name && ktCharUpc(p->name[0]) == lead && ktStrIcmp(p->name, name) == 0) return p;
    return nullptr;
}

void voaddpintype(const char* name, int dir, vopint** list) {
    if (!name || !list) return;
    vopint** at = list;
    for (; *at; at = &(*at)->next)
        if ((*at)->name && ktStrIcmp((*at)->name, name) == 0) return;
    // The list owns its names (vopintfree releases them): a copy, since a
    // name may come from a design object that goes before the list does.
    *at = vopintbloc();
    (*at)->name = vostcpy(name);
    (*at)->dir = dir;
}

void voGetPortName(iwsym* symbol, iwspin* pin, char** out) {
    std::string name;
    portName(symbol, pin, &name);
    *out = vostcpy(name.c_str());
}

void voGetPortRange(const char* name, char** out) {
    std::string range;
    *out = rangeFrom(votr(name), &range) ? vostcpy(range.c_str()) : nullptr;
}

void voGetPortType(iwspin* pin, char* out) {
    const iwatt* a = ifattatt("VHDL_TYPE", pin ? pin->attributes : nullptr);
    voCopyName(out, a && a->value ? a->value : "", VO_BUFSIZE);
}

void voGetPortBRF(iwspin* pin, char** out) {
    const iwatt* a = ifattatt("VHDL_BRF", pin ? pin->attributes : nullptr);
    *out = a ? vostcpy(a->value ? a->value : "") : nullptr;
}

iwatt* vodefaultatt(iwsym* symbol, iwspin* pin) {
    for (iwatt* list : {pin ? pin->attributes : nullptr, symbol ? symbol->attributes : nullptr})
        for (const char* name : {"FLOATVAL", "VHDL_DEFAULT"})
            if (iwatt* a = ifattatt(name, list)) return a;
    return nullptr;
}

void vorangecheck(const char* a, const char* b, iwspin* q, iwsym* symbol) {
    // Each translation in a buffer of its own: votr reuses its result buffer.
    char ra[VOTR_BUFSIZE], rb[VOTR_BUFSIZE];
    rangePart(a, ra);
    rangePart(b, rb);
    bool clash;
    if (*ra && *rb) {
        int l1, r1, l2, r2;
        voGetLeftRightBound(ra, &l1, &r1);
        voGetLeftRightBound(rb, &l2, &r2);
        if (l1 == l2 && r1 == r2) return;
        const int lo = l1 <= r1 ? l1 : r1, hi = l1 <= r1 ? r1 : l1;
        clash = (l2 >= lo && l2 <= hi) || (r2 >= lo && r2 <= hi);
    } else {
        // A scalar pin beside a bus: they clash unless the bus covers it.
        clash = ktBusExpandSubset(a + (*a == '~'), b + (*b == '~')) == 0;
    }
    if (!clash) return;
    vomsg(3);
    std::snprintf(ViewLocation, sizeof ViewLocation, "- spn %s.%s",
                  iggrpnam(symbol ? symbol->group : nullptr), pinName(q));
    ktErrReportBuild(nullptr, ViewLocation, msgFp, VOM_OVERLAP);
}

void voGetLeftRightBound(const char* text, int* left, int* right) {
    *left = *right = 0;
    const char* open = text ? std::strchr(text, '(') : nullptr;
    if (!open) return;
    *left = readInt(open + 1);
    const char* blank = std::strchr(open, ' ');
    if (!blank) {
        *right = *left;
        return;
    }
    while (*blank && (*blank < '0' || *blank > '9')) ++blank;
    *right = readInt(blank);
}
