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

// A port's texts are few and short; each in a block of its own cost the
// heap more in headers and rounding than the texts hold, for every pin of
// every symbol of a run. So voGetPortInfo moves a finished record and its
// texts into one block. The bytes of texts behind such a record, for each
// entry of hung_; 0 for a record of the usual kind. A text changed later
// is a copy of its own again, and goes as such.
uint32_t* packed_ = nullptr;

bool inBlock(uint32_t i, const voPort* r, const char* text) {
    const char* from = reinterpret_cast<const char*>(r + 1);
    return packed_[i] != 0 && text >= from && text < from + packed_[i];
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

// Moves the newest record, `r`, and its texts into one block, which takes
// its place; the copies go.
voPort* pack(voPort* r) {
    if (hungCount_ == 0 || hung_[hungCount_ - 1].port != r) return r;
    char** from[] = {&r->type, &r->range, &r->name, &r->value, &r->mode, &r->brf};
    size_t bytes = 0;
    for (char** s : from)
        if (*s) bytes += std::strlen(*s) + 1;
    if (bytes == 0 || bytes > UINT32_MAX) return r;
    auto* p = static_cast<voPort*>(ktMemCalloc(1, sizeof(voPort) + bytes, kTag));
    char** to[] = {&p->type, &p->range, &p->name, &p->value, &p->mode, &p->brf};
    char* at = reinterpret_cast<char*>(p + 1);
    for (size_t k = 0; k < sizeof from / sizeof *from; ++k) {
        if (!*from[k]) continue;
        const size_t n = std::strlen(*from[k]) + 1;
        std::memcpy(at, *from[k], n);
        *to[k] = at;
        at += n;
        dropText(*from[k]);
    }
    ktMemFree(r);
    hung_[hungCount_ - 1].port = p;
    packed_[hungCount_ - 1] = static_cast<uint32_t>(bytes);
    return p;
}

// ---- the index of one symbol's pins --------------------------------------------

struct PinIndex {
    const iwsym* symbol = nullptr;
    const iwspin* first = nullptr;  // the symbol's pin list when it was built
    int pincount = 0;
    ktSym* firstByBase = nullptr;   // upper-case base name -> first pin of it
    ktSym* secondByBase = nullptr;  // -> second pin of it
    ktSym* names = nullptr;         // upper-case port name -> pins that have it
};

PinIndex index_;

void dropIndex() {
    for (ktSym* t : {index_.firstByBase, index_.secondByBase, index_.names})
        if (t) ktSymDestroy(t, [](void*) {});
    index_ = PinIndex{};
}

ktSym* newTable() {
    ktSym* t = ktSymCreate(64, ktSymStHash, ktStrEqu, ktSymStCpy, ktSymStFree);
    ktSymDynamic(t, 2.0, 2.0);
    return t;
}

// The key of a name: its upper-case form, since names compare without
// regard to case.
const char* keyOf(const char* name, char* key) {
    if (name != key) voCopyName(key, name ? name : "", VOTR_BUFSIZE);
    return ktStrUpc(key);
}

void countName(const char* name, intptr_t by) {
    if (!name) return;
    char key[VOTR_BUFSIZE];
    keyOf(name, key);
    auto n = reinterpret_cast<intptr_t>(ktSymFetch(index_.names, key)) + by;
    ktSymStore(index_.names, key, reinterpret_cast<void*>(n));
}

void buildIndex(const iwsym* symbol) {
    dropIndex();
    index_.symbol = symbol;
    index_.first = symbol->pins;
    index_.pincount = symbol->pincount;
    index_.firstByBase = newTable();
    index_.secondByBase = newTable();
    index_.names = newTable();
    for (const iwspin* p = symbol->pins; p; p = p->next) {
        char base[VOTR_BUFSIZE];
        keyOf(voGetScrivetName(pinName(p), base), base);
        if (!ktSymFetch(index_.firstByBase, base))
            ktSymStore(index_.firstByBase, base, const_cast<iwspin*>(p));
        else if (!ktSymFetch(index_.secondByBase, base))
            ktSymStore(index_.secondByBase, base, const_cast<iwspin*>(p));
        if (const voPort* r = voPinPort(p)) countName(r->name, 1);
    }
}

// The index of `symbol`, made anew when the walk over its pins starts at
// the first pin or when the symbol is not the one indexed.
void indexFor(const iwsym* symbol, const iwspin* pin) {
    if (symbol != index_.symbol || pin == symbol->pins || symbol->pins != index_.first ||
        symbol->pincount != index_.pincount)
        buildIndex(symbol);
}

// The first pin other than `pin`, in list order, of the base name `base`.
const iwspin* otherOfBase(const iwspin* pin, const char* base) {
    char key[VOTR_BUFSIZE];
    keyOf(base, key);
    auto* q = static_cast<const iwspin*>(ktSymFetch(index_.firstByBase, key));
    return q != pin ? q : static_cast<const iwspin*>(ktSymFetch(index_.secondByBase, key));
}

// Whether a pin other than `pin` has a port called `name`.
bool nameTaken(const iwspin* pin, const char* name) {
    char key[VOTR_BUFSIZE];
    auto n = reinterpret_cast<intptr_t>(ktSymFetch(index_.names, keyOf(name, key)));
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
    auto* r = static_cast<voPort*>(ktMemCalloc(1, sizeof(voPort), kTag));
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
        ktMemFree(hung_[i].port);
    }
    if (hung_) ktMemFree(hung_);
    if (packed_) ktMemFree(packed_);
    hung_ = nullptr;
    packed_ = nullptr;
    hungCount_ = hungRoom_ = 0;
    dropIndex();
}

void voGetPortInfo(iwsym* symbol, iwspin* pin, vogroup*) {
    if (!pin) return;
    voPort* r = voPortBlock();
    const char* mode = voport_dir_string(voport_dir(pin));
    // A pin of no known type is an input; the unknown word never reaches the model.
    r->mode = vostcpy(std::strcmp(mode, "UnKnownPORT") == 0 ? "IN" : mode);
    const iwatt* d = vodefaultatt(symbol, pin);
    voGetPortName(symbol, pin, &r->name);

    char type[VO_BUFSIZE];
    voGetPortType(pin, type);
    if (!*type) voCopyName(type, typeFor(votr(pinName(pin))), sizeof type);
    r->type = vostcpy(type);

    voGetPortRange(pinName(pin), &r->range);
    voGetPortBRF(pin, &r->brf);
    if (d) r->value = vostcpy(voeval(d->value, r->type));

    r = pack(r);
    if (symbol && index_.symbol == symbol) {
        if (const voPort* old = voPinPort(pin)) countName(old->name, -1);
        countName(r->name, 1);
    }
    voHangPort(pin, r);
}

int voport_dir(iwspin* pin) {
    const iwatt* a = ifattatt("PINTYPE", pin ? pin->attributes : nullptr);
    if (!a) a = ifattatt("VHDL_PORT_MODE", pin ? pin->attributes : nullptr);
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
    for (vopint* list : {vo->ini->pintypes, vo->ini->autopins})
        for (vopint* p = list; p; p = p->next)
            if (p->name && ktStrIcmp(p->name, name) == 0) return p;
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
    char base[VOTR_BUFSIZE];
    voGetScrivetName(pinName(pin), base);
    const iwspin* q = nullptr;
    if (symbol && pin) {
        indexFor(symbol, pin);
        q = otherOfBase(pin, base);
    }
    if (!q) {
        *out = vostcpy(base);
        return;
    }
    std::string label = labelOf(pinName(pin));
    if (nameTaken(pin, label.c_str())) label += "_" + std::to_string(vogenid++);
    vorangecheck(pinName(pin), pinName(q), const_cast<iwspin*>(q), symbol);
    *out = vostcpy(label.c_str());
}

void voGetPortRange(const char* name, char** out) {
    const char* t = votr(name);
    const char* open = std::strchr(t, '(');
    if (!open) {
        *out = nullptr;
        return;
    }
    // A blank means a direction is there already: (3 downto 0).
    if (std::strchr(open, ' ')) {
        *out = vostcpy(open);
        return;
    }
    // A single index names a range of one: (3) gives (3 to 3). A subscript
    // left open counts as closed at the end of the name.
    const char* close = std::strchr(open, ')');
    std::string index(open + 1, close ? close : open + std::strlen(open));
    std::string range = "(" + index + " to " + index + ")" + (close ? close + 1 : "");
    *out = vostcpy(range.c_str());
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
