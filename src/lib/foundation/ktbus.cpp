// Bus expansion. An item is parsed into nodes only when the iteration
// reaches it, and a node keeps just its series (first, last, step, current),
// so the cost of a bus is its number of items and segments, never its
// width. Texts are scanned in place: an item is a stretch [begin, end) of
// the caller's text or of a group's body, and a node's `rest` points into
// the same storage, which therefore must not move while the node lives.
#include "ktbus.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <unordered_set>

#include "ktmem.h"
#include "ktstr.h"

namespace {

int status_ = KT_BUS_OK;
char separators_[20] = ",";

constexpr int kMaxPart = 18;       // characters of first, last or step
constexpr int32_t kLimit = 32768;  // numbers stay below it

bool isSeparator(char c) {
    return c != '\0' && std::strchr(separators_, c) != nullptr;
}

// A stretch of text ends at `end`, or at its terminator when `end` is null.
bool atEnd(const char* p, const char* end) {
    return end ? p >= end : *p == '\0';
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

int radixOf(char c) {
    switch (c | 0x20) {  // ASCII lower case
        case 'b':
            return 2;
        case 'o':
            return 8;
        case 'd':
            return 10;
        case 'h':
            return 16;
        default:
            return 0;
    }
}

// The characters that may stand in first, last or step.
bool isPartChar(char c) {
    if (c == '-' || isDigit(c)) return true;
    char l = static_cast<char>(c | 0x20);
    return (l >= 'a' && l <= 'f') || l == 'h' || l == 'o';
}

// Takes the next item off [p, end): separators are skipped, a group runs to
// the first separator outside all braces, anything else to the first
// separator. False when only separators are left.
bool nextItem(const char*& p, const char* end, const char*& b, const char*& e) {
    while (!atEnd(p, end) && isSeparator(*p)) ++p;
    if (atEnd(p, end)) return false;
    b = p;
    if (*p == '{') {
        int depth = 0;
        for (; !atEnd(p, end); ++p) {
            if (*p == '{')
                ++depth;
            else if (*p == '}' && depth > 0)
                --depth;
            else if (depth == 0 && isSeparator(*p))
                break;
        }
    } else {
        while (!atEnd(p, end) && !isSeparator(*p)) ++p;
    }
    e = p;
    return true;
}

// ---- ranges -----------------------------------------------------------------

struct Range {
    int32_t first, last, step, radix, width;
    int32_t members() const {
        return (first > last ? first - last : last - first) / (step < 0 ? -step : step) + 1;
    }
};

// Whether the bracket whose content starts at `p` holds a range. `stop`
// caches the first "]" or ":" at or behind a position: brackets are tested
// left to right, so one scan serves every bracket of an item.
bool holdsRange(const char* p, const char* e, const char*& stop) {
    if (!stop || stop < p) {
        stop = p;
        while (stop < e && *stop != ']' && *stop != ':') ++stop;
    }
    if (stop < e && *stop == ':') return true;
    // "/H]": a radix mark right in front of the closing bracket.
    if (stop < e && stop - p >= 2 && (stop[-2] == '/' || stop[-2] == '\\') && radixOf(stop[-1]))
        return true;
    const char* q = p;
    if (q < stop && *q == '-') ++q;
    if (q == stop) return false;
    for (; q < stop; ++q)
        if (!isDigit(*q)) return false;
    return true;
}

int readNumber(std::string_view part, int radix, int32_t* out) {
    static constexpr const char* kDigits[] = {"01", "01234567", "0123456789",
                                              "0123456789ABCDEFabcdef"};
    const char* digits = kDigits[radix == 2 ? 0 : radix == 8 ? 1 : radix == 10 ? 2 : 3];
    size_t i = part[0] == '-' ? 1 : 0;
    if (i == part.size()) return KT_BUS_MALFORMED;
    int32_t value = 0;
    bool big = false;
    for (; i < part.size(); ++i) {
        const char* d = std::strchr(digits, part[i]);
        if (!d) return KT_BUS_RADIX;
        int v = static_cast<int>(d - digits);
        if (v > 15) v -= 6;  // a to f
        if (!big) value = value * radix + v;
        if (value >= kLimit) big = true;
    }
    if (big) return KT_BUS_TOOLARGE;
    *out = part[0] == '-' ? -value : value;
    return KT_BUS_OK;
}

// A part that begins with "0" behind its sign and has more digits asks for
// zero padding.
bool padded(std::string_view part) {
    if (!part.empty() && part[0] == '-') part.remove_prefix(1);
    return part.size() > 1 && part[0] == '0';
}

// Reads a range whose content starts at `p`, up to and past its "]".
int readRange(const char*& p, const char* e, Range* r) {
    std::string_view parts[3];
    int count = 0, radix = 10;
    const char* start = p;
    const char* partEnd = nullptr;  // set by a radix mark
    for (;; ++p) {
        if (p >= e) return KT_BUS_UNBALANCED;
        char c = *p;
        if (c == ']') break;
        if (partEnd) {  // only "]" may follow the radix letter
            if (c == '[') return KT_BUS_UNBALANCED;
            return (c == '/' || c == '\\' || c == ':') ? KT_BUS_MALFORMED : KT_BUS_BADCHAR;
        }
        if (c == ':') {
            if (count == 2) return KT_BUS_MALFORMED;
            parts[count++] = std::string_view(start, static_cast<size_t>(p - start));
            start = p + 1;
        } else if (c == '/' || c == '\\') {
            if (p + 1 >= e) return KT_BUS_UNBALANCED;
            radix = radixOf(p[1]);
            if (!radix) return KT_BUS_BADCHAR;
            partEnd = p++;
        } else if (c == '[') {
            return KT_BUS_UNBALANCED;
        } else if (!isPartChar(c)) {
            return KT_BUS_BADCHAR;
        }
    }
    parts[count++] = std::string_view(start, static_cast<size_t>((partEnd ? partEnd : p) - start));
    ++p;

    int32_t values[3] = {0, 0, 1};
    for (int i = 0; i < count; ++i) {
        if (parts[i].empty()) return KT_BUS_MALFORMED;
        if (parts[i].size() > kMaxPart) return KT_BUS_TOOLARGE;
        if (int st = readNumber(parts[i], radix, &values[i])) return st;
    }
    if (count < 2) values[1] = values[0];
    if (count == 3 && values[2] == 0) return KT_BUS_ZEROSTEP;
    int32_t step = values[2] < 0 ? -values[2] : values[2];
    std::string_view lastText = count > 1 ? parts[1] : parts[0];
    r->first = values[0];
    r->last = values[1];
    r->step = r->first <= r->last ? step : -step;
    r->radix = radix;
    r->width = padded(parts[0]) || padded(lastText)
                   ? static_cast<int32_t>(std::max(parts[0].size(), lastText.size()))
                   : 0;
    return KT_BUS_OK;
}

// Splits the name [b, e) into segments and hands each to `segment(literal
// begin, literal end, textfirst, range or null)`, which returns a status.
// A segment holds at most one range, with its literal text in front of it,
// or behind it when the segment begins with the range; a range behind
// literal text ends its segment.
template <typename Segment>
int splitName(const char* b, const char* e, Segment segment) {
    const char* stop = nullptr;
    auto rangeAt = [&](const char* p) { return *p == '[' && holdsRange(p + 1, e, stop); };
    const char* p = b;
    while (p < e) {
        const char* lit = p;
        while (p < e && !rangeAt(p)) ++p;
        if (p == e) return segment(lit, p, false, nullptr);
        bool textfirst = p > lit;
        const char* litEnd = p;
        Range r;
        ++p;
        if (int st = readRange(p, e, &r)) return st;
        if (!textfirst) {
            lit = p;
            while (p < e && !rangeAt(p)) ++p;
            litEnd = p;
        }
        if (int st = segment(lit, litEnd, textfirst, &r)) return st;
    }
    return KT_BUS_OK;
}

// The body and count of the group [b, e), which begins with "{".
int readGroup(const char* b, const char* e, const char** bodyEnd, int32_t* count) {
    int depth = 0;
    const char* p = b;
    for (; p < e; ++p) {
        if (*p == '{')
            ++depth;
        else if (*p == '}' && --depth == 0)
            break;
    }
    if (p >= e) return KT_BUS_UNBALANCED;
    *bodyEnd = p++;
    if (p == e) return KT_BUS_MALFORMED;
    int64_t n = 0;
    for (; p < e; ++p) {
        if (!isDigit(*p)) return KT_BUS_MALFORMED;
        n = n * 10 + (*p - '0');
        if (n > INT32_MAX) return KT_BUS_MALFORMED;
    }
    if (n < 1) return KT_BUS_MALFORMED;
    *count = static_cast<int32_t>(n);
    return KT_BUS_OK;
}

// ---- nodes --------------------------------------------------------------------

const char* textOf(const vecrec* n) {
    return n->longtext ? n->longtext : n->text;
}

vecrec* makeNode(const char* b, const char* e) {
    auto* n = static_cast<vecrec*>(ktMemCalloc(1, sizeof(vecrec), "vecrec"));
    size_t len = static_cast<size_t>(e - b);
    char* to = n->text;
    if (len >= sizeof n->text) to = n->longtext = ktStrAlloc(len + 1);
    std::memcpy(to, b, len);
    to[len] = '\0';
    return n;
}

// Frees a node with its further segments and, for a group, its whole body.
void freeNode(vecrec* n) {
    while (n) {
        vecrec* next = n->nextseg;
        if (n->group)
            for (vecrec* b = n->head; b;) {
                vecrec* after = b->nextitem;
                freeNode(b);
                b = after;
            }
        if (n->longtext) ktStrFree(n->longtext);
        ktMemFree(n);
        n = next;
    }
}

vecrec* fail(vecrec* n, int status) {
    freeNode(n);
    status_ = status;
    return nullptr;
}

vecrec* parseItem(const char* from, const char* end);

vecrec* makeName(const char* b, const char* e) {
    vecrec* head = nullptr;
    vecrec** link = &head;
    int st = splitName(b, e, [&](const char* lb, const char* le, bool textfirst, const Range* r) {
        vecrec* seg = makeNode(lb, le);
        *link = seg;
        link = &seg->nextseg;
        seg->textfirst = textfirst;
        seg->radix = 10;
        if (r) {
            seg->first = seg->current = r->first;
            seg->last = r->last;
            seg->step = r->step;
            seg->radix = r->radix;
            seg->width = r->width;
        }
        return KT_BUS_OK;
    });
    return st ? fail(head, st) : head;
}

vecrec* makeGroup(const char* b, const char* e) {
    const char* bodyEnd;
    int32_t count;
    if (int st = readGroup(b, e, &bodyEnd, &count)) return fail(nullptr, st);
    vecrec* g = makeNode(b + 1, bodyEnd);
    g->group = 1;
    g->repeat = g->count = count;
    // The body's nodes point into the group's own copy of it.
    g->head = g->cursor = parseItem(textOf(g), nullptr);
    if (!g->head) return fail(g, status_);
    g->head->owned = 1;
    return g;
}

// The first item of the text from `from`, or null (status 0 when there is
// none). `rest` is set only when another item follows.
vecrec* parseItem(const char* from, const char* end) {
    const char *b, *e;
    if (!nextItem(from, end, b, e)) return nullptr;
    vecrec* n = *b == '{' ? makeGroup(b, e) : makeName(b, e);
    if (!n) return nullptr;
    const char* after = e;
    while (!atEnd(after, end) && isSeparator(*after)) ++after;
    n->rest = atEnd(after, end) ? nullptr : after;
    return n;
}

// ---- writing ------------------------------------------------------------------

struct Out {
    char* text;
    int size;
    size_t length;
};

void append(Out& o, const char* piece, size_t n) {
    if (o.size <= 0 || o.length + n >= static_cast<size_t>(o.size)) {
        status_ = KT_BUS_NOROOM;
        return;
    }
    std::memcpy(o.text + o.length, piece, n);
    o.length += n;
    o.text[o.length] = '\0';
}

void appendNumber(Out& o, const vecrec* s) {
    char buf[48];
    int n = 0;
    int w = s->width;
    unsigned u = static_cast<unsigned>(s->current);
    switch (s->radix) {
        case 2: {
            uint32_t v = u & 0x7fffffffu;
            int digits = w;
            if (digits == 0)
                for (digits = 1; digits < 31 && (v >> digits); ++digits) {
                }
            for (int i = 0; i < digits; ++i)
                buf[n++] = (i >= digits - 31 && (v >> (digits - 1 - i)) & 1) ? '1' : '0';
            break;
        }
        case 8:
            n = std::snprintf(buf, sizeof buf, "%0*o", w, u);
            break;
        case 16:
            n = std::snprintf(buf, sizeof buf, "%0*X", w, u);
            break;
        default:
            n = std::snprintf(buf, sizeof buf, "%0*d", w, s->current);
            break;
    }
    append(o, buf, static_cast<size_t>(n));
}

// Writes one segment and those behind it; returns the carry that moves the
// segment in front. The last range runs fastest.
int writeSegment(Out& o, vecrec* s) {
    s->done = 0;
    const char* text = textOf(s);
    if (s->textfirst) append(o, text, std::strlen(text));
    if (s->step != 0) appendNumber(o, s);
    if (!s->textfirst) append(o, text, std::strlen(text));
    int carry = s->nextseg ? writeSegment(o, s->nextseg) : 1;
    int32_t next = carry ? s->current + s->step : s->current;
    bool finished =
        s->step == 0 || (s->step > 0 && next > s->last) || (s->step < 0 && next < s->last);
    if (!finished) {
        s->current = next;
        return 0;
    }
    s->done = 1;
    s->current = s->first;
    return 1;
}

vecrec* step(vecrec* it, const char* text, Out& o) {
    vecrec* node;
    if (!it) {
        node = parseItem(text, nullptr);
    } else if (!it->done) {
        node = it;
    } else if (it->nextitem) {
        node = it->nextitem;
        node->done = 0;
    } else if (it->rest) {
        node = parseItem(it->rest, nullptr);
        if (!it->owned)
            freeNode(it);
        else if (node) {
            it->nextitem = node;
            node->owned = 1;
        }
    } else {
        if (!it->owned) freeNode(it);
        return nullptr;
    }
    if (!node) return nullptr;

    if (node->group) {
        vecrec* r = step(node->cursor, nullptr, o);
        if (!r) {
            if (!node->owned) freeNode(node);
            return nullptr;
        }
        node->cursor = r;
        if (r->done && !r->rest && !r->nextitem) {  // the body made one pass
            node->cursor = node->head;
            node->head->done = 0;
            if (--node->repeat == 0) {
                node->done = 1;
                node->repeat = node->count;
            }
        }
        return node;
    }
    writeSegment(o, node);
    if (status_ != KT_BUS_OK) {
        if (!node->owned) freeNode(node);
        return nullptr;
    }
    return node;
}

// ---- width ----------------------------------------------------------------------

int64_t widthOf(const char* p, const char* end);

int64_t itemWidth(const char* b, const char* e) {
    if (*b == '{') {
        const char* bodyEnd;
        int32_t count;
        if ((status_ = readGroup(b, e, &bodyEnd, &count))) return 0;
        int64_t w = widthOf(b + 1, bodyEnd) * count;
        if (w > KT_BUS_MAXWIDTH) status_ = KT_BUS_TOOLARGE;
        return status_ ? 0 : w;
    }
    int64_t w = 1;
    status_ = splitName(b, e, [&](const char*, const char*, bool, const Range* r) {
        if (r) w *= r->members();
        return w > KT_BUS_MAXWIDTH ? KT_BUS_TOOLARGE : KT_BUS_OK;
    });
    return status_ ? 0 : w;
}

int64_t widthOf(const char* p, const char* end) {
    int64_t total = 0;
    const char *b, *e;
    while (nextItem(p, end, b, e)) {
        int64_t w = itemWidth(b, e);
        if (w == 0) return 0;
        total += w;
        if (total > KT_BUS_MAXWIDTH) {
            status_ = KT_BUS_TOOLARGE;
            return 0;
        }
    }
    return total;
}

bool holdsSeparator(const char* text) {
    for (; *text; ++text)
        if (isSeparator(*text)) return true;
    return false;
}

}  // namespace

vecrec* ktBusExpand(vecrec* iterator, const char* text, char* out, int size) {
    if (!text || !out) {
        status_ = KT_BUS_NULLARG;
        return nullptr;
    }
    status_ = KT_BUS_OK;
    if (size > 0) out[0] = '\0';
    Out o{out, size, 0};
    return step(iterator, text, o);
}

void ktBusExpandFree(vecrec* iterator) {
    if (iterator && !iterator->owned) freeNode(iterator);
}

int ktBusExpandWidth(const char* text) {
    if (!text) {
        status_ = KT_BUS_NULLARG;
        return 0;
    }
    status_ = KT_BUS_OK;
    return static_cast<int>(widthOf(text, nullptr));
}

int ktBusExpandSubset(const char* a, const char* b) {
    if (!a || !b) {
        status_ = KT_BUS_NULLARG;
        return 0;
    }
    status_ = KT_BUS_OK;
    if (std::strcmp(a, b) == 0) return 1;
    if (!holdsSeparator(a) && !holdsSeparator(b) && *a != '{' && *b != '{')
        for (size_t i = 0; a[i] && b[i] && a[i] != '[' && b[i] != '['; ++i)
            if (a[i] != b[i]) return 0;

    // The list of `a` is bounded as its width is: a few bytes of text can
    // name more members than any run could list, and such a bus is too large.
    if (ktBusExpandWidth(a) == 0 && status_ == KT_BUS_TOOLARGE) return 0;
    status_ = KT_BUS_OK;
    int size = static_cast<int>(std::max(std::strlen(a), std::strlen(b)) + 1);
    std::string name(static_cast<size_t>(size), '\0');
    std::unordered_set<std::string> members;
    for (vecrec* it = ktBusExpand(nullptr, a, name.data(), size); it;
         it = ktBusExpand(it, a, name.data(), size))
        members.emplace(name.c_str());
    if (members.empty() || status_ != KT_BUS_OK) return 0;

    bool any = false;
    for (vecrec* it = ktBusExpand(nullptr, b, name.data(), size); it;
         it = ktBusExpand(it, b, name.data(), size)) {
        if (!members.count(name.c_str())) {
            ktBusExpandFree(it);
            return 0;
        }
        any = true;
    }
    return any && status_ == KT_BUS_OK ? 1 : 0;
}

void ktBusExpandRepsep(const char* separators) {
    if (!separators) {
        status_ = KT_BUS_NULLARG;
        return;
    }
    status_ = KT_BUS_OK;
    ktStrncpyNullTerm(separators_, separators, sizeof separators_);
}

int ktBusExpandStatus() {
    return status_;
}
