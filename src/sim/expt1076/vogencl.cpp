// Generic clause. Every generic the pass gathered is written in list order,
// except those the model must not have (the reference designator and the
// like). An attribute given twice on a symbol makes two generics; the
// repeats carry the prefix once for each earlier one, so their names stay
// apart, and are warned of in the run and in the model. A default comes
// from the symbol's attribute through voeval; a TIME default becomes a VHDL
// time: a number counts ticks of the tick size, a number with a time unit
// keeps its own size, and min:typ:max gives the value DELAY picks.
#include "vogencl.h"

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "entgen_msg.h"
#include "iwobj.h"
#include "kterr.h"
#include "ktmsg.h"
#include "ktstr.h"
#include "vgstruct.h"
#include "voeval.h"
#include "vomain.h"
#include "votok.h"

namespace {
// A generic's name, prefixes included, holds at most this many bytes with
// its terminator; a longer one is cut.
constexpr size_t kMaxGenericName = 256;

// Names the model never has as generics: they belong to the schematic.
bool leftOut(const vogen* g) {
    static constexpr const char* kLeftOut[] = {"REFDES", "SIMMODEL", "DEVICE", "VHDL"};
    if (!g || !g->vhdlname) return true;
    for (const char* name : kLeftOut)
        if (std::strcmp(g->vhdlname, name) == 0) return true;
    return false;
}

// Names compare without regard to case: they are keyed in upper case.
std::string key(const char* name) {
    std::string k = name ? name : "";
    ktStrUpc(k.data());
    return k;
}

// Whether two names are the same key.
bool sameKey(const char* a, const char* b) {
    if (!a) a = "";
    if (!b) b = "";
    for (;; ++a, ++b) {
        const char x = ktCharUpc(*a), y = ktCharUpc(*b);
        if (x != y) return false;
        if (!x) return true;
    }
}

// A list of up to this many entries is searched along: for the few
// attributes and generics of a usual symbol, cheaper than building a map.
constexpr size_t kWalked = 32;

// The attributes of a symbol by position, and where each name first
// stands, so that a generic finds its attribute without a walk of a long
// list.
struct SymbolAttributes {
    iwatt* head = nullptr;
    bool walked = true;
    std::vector<iwatt*> list;
    std::unordered_map<std::string, size_t> first;

    explicit SymbolAttributes(iwatt* from) : head(from) {
        size_t n = 0;
        for (iwatt* a = head; a && n <= kWalked; a = a->next) ++n;
        if (n <= kWalked) return;
        walked = false;
        for (iwatt* a = head; a; a = a->next) {
            first.emplace(key(a->name), list.size());
            list.push_back(a);
        }
    }
    // The attribute `steps` places behind the first one named `name`; the
    // list is sorted, so these are the further attributes of that name.
    iwatt* find(const char* name, int steps) const {
        if (walked) {
            iwatt* a = head;
            while (a && !sameKey(a->name, name)) a = a->next;
            for (int i = 0; a && i < steps; ++i) a = a->next;
            return a;
        }
        auto it = first.find(key(name));
        if (it == first.end()) return nullptr;
        const size_t at = it->second + static_cast<size_t>(steps);
        return at < list.size() ? list[at] : nullptr;
    }
};

// How often each generic's name stood earlier in the list, left-out
// generics too.
struct Repeats {
    const voglist* head;
    bool walked = true;
    std::unordered_map<std::string, int> seen;

    explicit Repeats(const voglist* from) : head(from) {
        size_t n = 0;
        for (const voglist* l = head; l && n <= kWalked; l = l->next) ++n;
        walked = n <= kWalked;
    }
    // Called for each node in list order.
    int next(const voglist* node) {
        const vogen* g = node->gen;
        if (!g) return 0;
        if (!walked) return seen[key(g->name)]++;
        int dups = 0;
        for (const voglist* l = head; l != node; l = l->next)
            if (l->gen && sameKey(l->gen->name, g->name)) ++dups;
        return dups;
    }
};

// The text of a report without its severity designator, for a comment.
const char* withoutDesignator(const char* text) {
    const char* p = text;
    if (*p != '[') return text;
    ++p;
    while (*p == ' ') ++p;
    if (!*p || p[1] != ']') return text;
    p += 2;
    while (*p == ' ') ++p;
    return p;
}

void warnRepeated(const vogroup* group, const vogen* g) {
    vomsg(2);
    std::snprintf(ViewLocation, sizeof ViewLocation, "- sym %s", iggrpnam(group->grp));
    ktErrReportBuild(nullptr, ViewLocation, msgFp, VOM_DUPGENERIC, g->name);
}

// The name of the generic, with `dups` prefixes in front.
void prefixedName(const vogen* g, int dups, char* out) {
    const char* prefix = vo->ini && vo->ini->prefix ? vo->ini->prefix : "v";
    std::string name;
    for (int i = 0; i < dups && name.size() < kMaxGenericName; ++i) name += prefix;
    name += g->vhdlname;
    ktStrncpyNullTerm(out, name.c_str(), kMaxGenericName);
}

// Writes the default of one generic, if it has one; `a` is its attribute.
void writeDefault(const vogen* g, const iwatt* a) {
    const char* text = voeval(g->value ? g->value : a->value, g->type);
    const bool emptyLiteral = std::strcmp(text, "\"\"") == 0;
    if (g->type && ktStrIcmp(g->type, "TIME") == 0) {
        // An empty value is no time: the generic has no default.
        if (emptyLiteral) return;
        char* time = votimeval(text);
        if (*time) votokmsg(0, VOM_DEFAULT, time);
        ktStrFree(time);
        return;
    }
    if (g->type && ktStrIcmp(g->type, "string") == 0 && emptyLiteral) return;
    if (*text) votokmsg(0, VOM_DEFAULT, text);
}

// ---- Time values

struct TimeUnit {
    const char* name;
    double factor;  // in femtoseconds
};
constexpr TimeUnit kUnits[] = {{"fs", 1}, {"ps", 1e3}, {"ns", 1e6}, {"us", 1e9}};
// The tick of a time without a unit, when no TICKSIZE gives one.
constexpr double kDefaultTick = 0.1;
constexpr const char* kDefaultTickUnit = "ns";

// One field of a time value: a number, with the time unit behind it or
// none (-1), when it counts ticks.
struct TimeField {
    double number = 0;
    int unit = -1;
    bool word = false;  // a word stands behind the number, a unit or not
};

int unitOf(std::string_view word) {
    for (int i = 0; i < 4; ++i)
        if (word.size() == 2 && ktStrNicmp(word.data(), kUnits[i].name, 2) == 0) return i;
    return -1;
}

// A number read as strtod reads it, then the first blank-separated word.
TimeField readField(const std::string& text) {
    TimeField f;
    const char* begin = text.c_str();
    char* end = nullptr;
    f.number = std::strtod(begin, &end);
    const char* p = end;
    while (*p == ' ' || *p == '\t') ++p;
    const char* w = p;
    while (*p && *p != ' ' && *p != '\t') ++p;
    f.word = p > w;
    if (f.word) f.unit = unitOf(std::string_view(w, static_cast<size_t>(p - w)));
    return f;
}

char* formatTime(double value, const char* unit) {
    char text[400 + 16];  // the widest double in %.2f, a blank and a short unit
    const int n = std::snprintf(text, sizeof text, "%.2f %s", value, unit);
    if (n >= 0 && static_cast<size_t>(n) < sizeof text) return ktStrCpy(text);
    // A unit of TICKSIZE may be any length.
    std::snprintf(text, sizeof text, "%.2f", value);
    return ktStrCpy((std::string(text) + " " + unit).c_str());
}

// The typical value of a time given as min:max: their mean when both are
// counted alike, else the minimum.
TimeField middleOf(const TimeField& a, const TimeField& b) {
    if (a.unit != b.unit) return a;
    TimeField m = a;
    m.number = (a.number + b.number) / 2;
    return m;
}

// Rounds a tick count to single precision, as a count of ticks is kept.
double singlePrecision(double n) {
    return std::fabs(n) > FLT_MAX ? n : static_cast<double>(static_cast<float>(n));
}
}  // namespace

void vogen_clause(vogroup* group) {
    if (!group || !group->gens) return;
    bool any = false;
    for (const voglist* n = group->gens; n && !any; n = n->next) any = !leftOut(n->gen);
    if (!any) return;

    const iwsym* symbol = group->grp ? group->grp->symbols : nullptr;
    const SymbolAttributes attributes(symbol ? symbol->attributes : nullptr);
    Repeats repeats(group->gens);
    int count = 0;
    for (const voglist* n = group->gens; n; n = n->next) {
        const vogen* g = n->gen;
        const int dups = repeats.next(n);
        if (leftOut(g)) continue;
        if (dups > 0) warnRepeated(group, g);
        const iwatt* a = attributes.find(g->name, dups);
        char name[kMaxGenericName];
        prefixedName(g, dups, name);

        if (count == 0)
            votokmsg(VOTOK_HANG, VOM_GENERICS);
        else
            votok(VOTOK_NLAFTER, ";");
        ++count;
        if (dups > 0)
            votok(VOTOK_WARNING | VOTOK_NLAFTER,
                  withoutDesignator(ktMsgStatic(msgFp, VOM_DUPGENERIC, g->vhdlname)));
        votokmsg(0, VOM_GENERIC, name, g->type);
        if (a) writeDefault(g, a);
    }
    votok(VOTOK_NLAFTER | VOTOK_UNHANG, ");");
}

int votimeunit(const char* text) {
    if (!text) return 0;
    if (std::strchr(text, ':')) return 1;
    const TimeField f = readField(text);
    if (!f.word) return 1;
    // fs, and a word that is no time unit, leave the text as it stands.
    return f.unit > 0 ? 1 : 0;
}

char* votimeval(const char* text) {
    if (!text) text = "";
    if (ktStrIcmp(text, "OPEN") == 0) return formatTime(0, "ns");
    if (!votimeunit(text)) return ktStrCpy(text);

    std::vector<TimeField> fields;
    for (std::string_view rest = text;;) {
        const size_t colon = rest.find(':');
        fields.push_back(readField(std::string(rest.substr(0, colon))));
        if (colon == std::string_view::npos) break;
        rest.remove_prefix(colon + 1);
    }
    // More than min:typ:max, or a number no double holds, is no time we
    // can read: it goes to the model as written, for the compiler to judge.
    if (fields.size() > 3) return ktStrCpy(text);
    for (const TimeField& f : fields)
        if (!std::isfinite(f.number)) return ktStrCpy(text);

    TimeField v[3];
    if (fields.size() == 1)
        v[0] = v[1] = v[2] = fields[0];
    else if (fields.size() == 2)
        v[0] = fields[0], v[1] = middleOf(fields[0], fields[1]), v[2] = fields[1];
    else
        v[0] = fields[0], v[1] = fields[1], v[2] = fields[2];

    const voDelay* delay = vo->ini ? vo->ini->delay : nullptr;
    const int kind = delay && delay->kind >= 1 && delay->kind <= 3 ? delay->kind : 2;
    const TimeField& t = v[kind - 1];
    // A time with a unit of its own keeps its size and unit.
    if (t.unit >= 0) return formatTime(t.number, kUnits[t.unit].name);
    if (!delay) return formatTime(t.number * kDefaultTick, kDefaultTickUnit);
    const voTicksize* tick = vo->ini->ticksize;
    if (!tick || !tick->unit)
        return formatTime(singlePrecision(t.number) * kDefaultTick, kDefaultTickUnit);
    return formatTime(singlePrecision(t.number) * tick->value, tick->unit);
}
