// Formatted output: the directive parser, the formatter on top of it, and
// the conversions of numbers and times to text. The parser recognises a
// directive in one pass over its characters and checks the rules a format
// must keep; the formatter chooses arguments, handles strings and
// characters itself and hands each numeric conversion, rebuilt without its
// position, to the platform's snprintf, writing straight into the caller's
// buffer so that nothing lands past its end.
#include "ktfmt.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "kterr.h"
#include "ktex.h"
#include "ktlib_msg.h"
#include "ktmem.h"
#include "ktmsg.h"
#include "ktregexp.h"

namespace {

// The parts of a directive that matchDirective finds.
enum { kPosition = 2, kFlags = 3, kWidth = 4, kPoint = 5, kPrecision = 6, kConversion = 7 };

constexpr int kMaxPosition = 128;
// A width, or a precision that adds characters (any but that of `s`, which
// only cuts), beyond this many is refused as the platform refuses one beyond
// its own limit: the text would cost time and memory in proportion, and no
// text of the system needs such a field.
constexpr int kMaxAmount = 4096;
constexpr int kStarBits = KT_SPFMT_STARWIDTH | KT_SPFMT_STARPREC;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isOneOf(char c, const char* set) {
    return c != '\0' && std::strchr(set, c) != nullptr;
}

// An amount that starts with `*`: `*` alone or `*n$` (n of one or two
// digits, not starting with 0). Returns its end, or null if `*` is followed
// by a digit that does not make a position.
const char* starAmount(const char* s) {
    if (s[1] < '1' || s[1] > '9') return s + 1;
    if (isDigit(s[2]) && s[3] == '$') return s + 4;
    if (s[2] == '$') return s + 3;
    return nullptr;
}

// The end of a width or precision at `s`: a star amount, or digits (none
// too); null for a star amount of a form the pattern refuses.
const char* amountEnd(const char* s) {
    if (*s == '*') return starAmount(s);
    while (isDigit(*s)) ++s;
    return s;
}

void setGroup(ktRegexpMatch* m, int g, const char* from, const char* to) {
    m->startp[g] = from;
    m->endp[g] = to;
}

// Recognises the directive at `p` (which starts with `%`) as the pattern
//   %(([1-9][0-9]?)$)?([-+ #0]*)?([0-9]*|*|*[1-9][0-9]?$)?
//    (.([0-9]*|*|*[1-9][0-9]?$))?([hlL]?[diouxX]|[hl]n|l?[eEfgG]|[csp])
// would under a first-match backtracking matcher, filling the groups the
// same way: 2 position, 3 flags, 4 width, 5 precision with its point,
// 6 precision, 7 conversion; an absent group is null. Every choice in the
// pattern is decided by the next one or three characters, so one pass
// without backtracking finds what the matcher finds.
bool matchDirective(const char* p, ktRegexpMatch* m) {
    for (int i = 0; i < KT_REGEXP_NSUB; ++i) m->startp[i] = m->endp[i] = nullptr;
    const char* s = p + 1;
    if (*s >= '1' && *s <= '9') {
        if (isDigit(s[1]) && s[2] == '$') {
            setGroup(m, kPosition - 1, s, s + 3);
            setGroup(m, kPosition, s, s + 2);
            s += 3;
        } else if (s[1] == '$') {
            setGroup(m, kPosition - 1, s, s + 2);
            setGroup(m, kPosition, s, s + 1);
            s += 2;
        }
    }
    const char* from = s;
    while (isOneOf(*s, "-+ #0")) ++s;
    setGroup(m, kFlags, from, s);
    from = s;
    if (!(s = amountEnd(s))) return false;
    setGroup(m, kWidth, from, s);
    if (*s == '.') {
        from = s++;
        const char* amount = s;
        if (!(s = amountEnd(s))) return false;
        setGroup(m, kPoint, from, s);
        setGroup(m, kPrecision, amount, s);
    }
    const char* c = s;
    if ((isOneOf(c[0], "hlL") && isOneOf(c[1], "diouxX")) || (isOneOf(c[0], "hl") && c[1] == 'n') ||
        (c[0] == 'l' && isOneOf(c[1], "eEfgG")))
        s += 2;
    else if (isOneOf(c[0], "diouxXeEfgGcsp"))
        s += 1;
    else
        return false;
    setGroup(m, kConversion, c, s);
    setGroup(m, 0, p, s);
    return true;
}

// Decimal digits from..to; a number too large for an int stays at INT_MAX.
int decimal(const char* from, const char* to) {
    long long n = 0;
    for (; from < to && *from >= '0' && *from <= '9'; ++from) {
        n = n * 10 + (*from - '0');
        if (n > INT_MAX) return INT_MAX;
    }
    return static_cast<int>(n);
}

int typeOfConversion(const std::string& conv) {
    char c = conv.back();
    char size = conv.size() > 1 ? conv[0] : '\0';
    switch (c) {
        case 'e':
        case 'E':
        case 'f':
        case 'g':
        case 'G':
            return KT_SPFMT_DOUBLE;
        case 'c':
            return KT_SPFMT_CHAR;
        case 's':
            return KT_SPFMT_STRING;
        case 'p':
            return KT_SPFMT_POINTER;
        case 'n':
            return size == 'h' ? KT_SPFMT_PSHORT : size == 'l' ? KT_SPFMT_PLONG : KT_SPFMT_PINT;
        default:
            return size == 'h'   ? KT_SPFMT_SHORT
                   : size == 'l' ? KT_SPFMT_LONG
                   : size == 'L' ? KT_SPFMT_INT64
                                 : KT_SPFMT_INT;
    }
}

// A width or precision of a directive: absent, a number, `*` or `*n$`.
struct Amount {
    int value = -1;     // the number or the position; -1 if neither
    bool star = false;  // taken from an argument
    bool positional() const { return star && value > 0; }
};

Amount amountOf(const char* from, const char* to) {
    Amount a;
    if (!from || from == to) return a;
    if (*from == '*') {
        a.star = true;
        if (to - from > 1) a.value = decimal(from + 1, to);
    } else {
        a.value = decimal(from, to);
    }
    return a;
}

std::string groupText(const ktRegexpMatch& m, int g) {
    if (!m.startp[g] || !m.endp[g]) return {};
    return std::string(m.startp[g], m.endp[g]);
}

// The state of one parse: which kind of directives the format uses and
// which positions it has named.
struct Parse {
    const char* format;
    ktSpFmtFunc callback;
    void* data;
    int mode = 0;  // 0 none yet, 1 plain directives, 2 positional
    int highest = 0;
    bool used[kMaxPosition + 1] = {};

    int invalid(const char* at) {
        ktSpFmtDesc d{format, at, nullptr, nullptr, nullptr, KT_SPFMT_INVALID, -1, -1, -1, -1};
        return callback(&d, data);
    }

    int text(const char* t) {
        ktSpFmtDesc d{format, nullptr, t, nullptr, nullptr, KT_SPFMT_TEXT, -1, -1, -1, -1};
        return callback(&d, data);
    }

    bool usePosition(int pos) {
        if (pos < 1 || pos > kMaxPosition) return false;
        used[pos] = true;
        if (pos > highest) highest = pos;
        return true;
    }

    // Checks the directive matched at `at` and hands it on, leaving the
    // callback's answer in `result`. False for a directive that breaks a rule.
    bool directive(const char* at, const ktRegexpMatch& m, int* result);
};

bool Parse::directive(const char* at, const ktRegexpMatch& m, int* result) {
    std::string text(at, m.endp[0]);
    std::string flags = groupText(m, kFlags);
    std::string conv = groupText(m, kConversion);
    int position = m.startp[kPosition] ? decimal(m.startp[kPosition], m.endp[kPosition]) : -1;
    Amount width = amountOf(m.startp[kWidth], m.endp[kWidth]);
    bool hasPrecision = m.startp[kPoint] != nullptr;
    Amount precision;
    if (hasPrecision) {
        precision = amountOf(m.startp[kPrecision], m.endp[kPrecision]);
        if (!precision.star && precision.value < 0) precision.value = 0;  // "." alone
    }

    // A format numbers every argument, or none; a `*` is an argument too.
    bool numbered = position > 0 || width.positional() || precision.positional();
    bool plain = position < 0 || (width.star && !width.positional()) ||
                 (precision.star && !precision.positional());
    if (numbered && plain) return false;
    int kind = numbered ? 2 : 1;
    if (mode && mode != kind) return false;
    mode = kind;
    if (numbered) {
        if (!usePosition(position)) return false;
        if (width.star && !usePosition(width.value)) return false;
        if (precision.star && !usePosition(precision.value)) return false;
    }

    char c = conv.back();
    if (flags.find('#') != std::string::npos && !std::strchr("oxXeEfgG", c)) return false;
    if (hasPrecision && !std::strchr("diouxXeEfgGs", c)) return false;

    int type = typeOfConversion(conv);
    if (width.star) type |= KT_SPFMT_STARWIDTH;
    if (precision.star) type |= KT_SPFMT_STARPREC;
    int prec = precision.value;
    if (!precision.star && prec == 0 && (c == 'g' || c == 'G')) prec = 1;

    ktSpFmtDesc d{format,       nullptr,
                  text.c_str(), flags.empty() ? nullptr : flags.c_str(),
                  conv.c_str(), KT_SPFMT_DIRECTIVE,
                  position,     width.value,
                  prec,         type};
    *result = callback(&d, data);
    return true;
}

}  // namespace

int ktSpFmtParse(const char* format, ktSpFmtFunc callback, void* data) {
    if (!format || !callback) return 0;
    Parse parse{format, callback, data};
    if (*format == '\0') return parse.text(format);

    std::string pending;       // literal text that needed copying ("%%" collapsed)
    const char* run = format;  // literal text not yet in `pending`
    const char* p = format;
    int result = 0;
    while (*p != '\0') {
        if (*p != '%') {
            ++p;
            continue;
        }
        if (p[1] == '%') {
            pending.append(run, p + 1);
            p += 2;
            run = p;
            continue;
        }
        if (!pending.empty() || p > run) {
            pending.append(run, p);
            result = parse.text(pending.c_str());
            if (result == 0) return 0;
            pending.clear();
        }
        ktRegexpMatch m;
        if (!matchDirective(p, &m)) return parse.invalid(p);
        if (!parse.directive(p, m, &result)) return parse.invalid(p);
        if (result == 0) return 0;
        p = m.endp[0];
        run = p;
    }

    for (int pos = 1; pos <= parse.highest; ++pos)
        if (!parse.used[pos]) return parse.invalid(p);
    if (!pending.empty()) {
        pending.append(run, p);
        return parse.text(pending.c_str());
    }
    // A tail of the format is already terminated: hand it on uncopied.
    if (p > run) return parse.text(run);
    return result;
}

// A compiled format is one block: this head, the pieces, then their texts
// and a copy of the format, to which the pieces point.
struct ktSpFmtProg {
    int count;
    ktSpFmtDesc* pieces;
    // Nearly every message is literal text with plain %s and %d directives
    // (no position, flags, width or precision): such a format is written
    // by a loop of its own, with the lengths of its texts measured once.
    bool plain;
    size_t* lengths;  // of each piece's text; 0 for a directive
};

namespace {
struct Recorded {
    ktSpFmtDesc desc;
    std::string text, flags, conv;
    size_t rest;  // offset of `rest` in the format, for an invalid piece
};

int recordPiece(const ktSpFmtDesc* d, void* data) {
    auto* pieces = static_cast<std::vector<Recorded>*>(data);
    Recorded r{*d, d->text ? d->text : "", d->flags ? d->flags : "", d->conv ? d->conv : "",
               d->rest ? static_cast<size_t>(d->rest - d->orig) : 0};
    pieces->push_back(std::move(r));
    return 1;
}

// A directive the plain loop writes: %s, %d or %i as they stand.
bool plainDirective(const ktSpFmtDesc& d) {
    if (d.position != -1 || d.flags || d.width != -1 || d.precision != -1 || !d.conv) return false;
    if (d.type == KT_SPFMT_STRING) return std::strcmp(d.conv, "s") == 0;
    if (d.type == KT_SPFMT_INT)
        return std::strcmp(d.conv, "d") == 0 || std::strcmp(d.conv, "i") == 0;
    return false;
}

char* place(char*& at, const std::string& text) {
    char* s = static_cast<char*>(std::memcpy(at, text.c_str(), text.size() + 1));
    at += text.size() + 1;
    return s;
}
}  // namespace

ktSpFmtProg* ktSpFmtCompile(const char* format) {
    if (!format) return nullptr;
    std::vector<Recorded> pieces;
    pieces.reserve(16);  // a message has seldom more pieces: no moves while it is parsed
    ktSpFmtParse(format, recordPiece, &pieces);
    const size_t length = std::strlen(format);
    size_t chars = length + 1;
    for (const Recorded& r : pieces) chars += r.text.size() + r.flags.size() + r.conv.size() + 3;
    const size_t head =
        sizeof(ktSpFmtProg) + pieces.size() * sizeof(ktSpFmtDesc) + pieces.size() * sizeof(size_t);
    auto* prog = static_cast<ktSpFmtProg*>(ktMemMalloc(head + chars, "ktSpFmtProg"));
    prog->count = static_cast<int>(pieces.size());
    prog->pieces = reinterpret_cast<ktSpFmtDesc*>(prog + 1);
    prog->lengths = reinterpret_cast<size_t*>(prog->pieces + pieces.size());
    prog->plain = true;
    char* at = reinterpret_cast<char*>(prog) + head;
    const char* orig = place(at, format);
    for (size_t i = 0; i < pieces.size(); ++i) {
        const Recorded& r = pieces[i];
        ktSpFmtDesc& d = prog->pieces[i];
        d = r.desc;
        d.orig = orig;
        d.rest = r.desc.rest ? orig + r.rest : nullptr;
        d.text = r.desc.text ? place(at, r.text) : nullptr;
        d.flags = r.desc.flags ? place(at, r.flags) : nullptr;
        d.conv = r.desc.conv ? place(at, r.conv) : nullptr;
        prog->lengths[i] = d.kind == KT_SPFMT_TEXT ? r.text.size() : 0;
        if (d.kind != KT_SPFMT_TEXT && !(d.kind == KT_SPFMT_DIRECTIVE && plainDirective(d)))
            prog->plain = false;
    }
    return prog;
}

void ktSpFmtProgFree(ktSpFmtProg* prog) {
    if (prog) ktMemFree(prog);
}

int ktSpFmtProgRun(const ktSpFmtProg* prog, ktSpFmtFunc callback, void* data) {
    if (!prog || !callback) return 0;
    int result = 0;
    for (int i = 0; i < prog->count; ++i)
        if ((result = callback(&prog->pieces[i], data)) == 0) return 0;
    return result;
}

const char* ktSpFmtOrigStr(const ktSpFmtDesc* desc) {
    return desc ? desc->orig : nullptr;
}

const char* ktSpFmtDescStr(const ktSpFmtDesc* desc) {
    if (!desc) return nullptr;
    return desc->kind == KT_SPFMT_INVALID ? desc->rest : desc->text;
}

int ktSpFmtDescIs(const ktSpFmtDesc* desc) {
    return desc ? desc->kind & 3 : 0;
}

namespace {
bool isDirective(const ktSpFmtDesc* desc) {
    return desc && desc->kind == KT_SPFMT_DIRECTIVE;
}
}  // namespace

const char* ktSpFmtArgFlags(const ktSpFmtDesc* desc) {
    return isDirective(desc) ? desc->flags : nullptr;
}
const char* ktSpFmtArgConv(const ktSpFmtDesc* desc) {
    return isDirective(desc) ? desc->conv : nullptr;
}
int ktSpFmtArgPosition(const ktSpFmtDesc* desc) {
    return isDirective(desc) ? desc->position : -1;
}
int ktSpFmtArgWidth(const ktSpFmtDesc* desc) {
    return isDirective(desc) ? desc->width : -1;
}
int ktSpFmtArgPrecision(const ktSpFmtDesc* desc) {
    return isDirective(desc) ? desc->precision : -1;
}
int ktSpFmtArgIs(const ktSpFmtDesc* desc) {
    return isDirective(desc) ? desc->type : -1;
}

namespace {

[[noreturn]] void throwBadFormat(const char* format) {
    ktExThrowBuild(KT_EX_FAIL, ktErrLocationRoutine("ktSprintf"), ktMsgFile(), KTM_FMT_BADFORMAT,
                   format);
}

// The caller's buffer. Text beyond its last byte is counted, not written.
struct Output {
    char* buf = nullptr;
    size_t size = 0;
    size_t count = 0;     // characters of the whole text so far
    bool failed = false;  // a conversion the platform refused

    size_t room() const { return count < size - 1 ? size - 1 - count : 0; }

    void append(const char* s, size_t n) {
        if (size_t r = room()) std::memcpy(buf + count, s, n < r ? n : r);
        count += n;
    }

    void fill(char c, size_t n) {
        if (n == 0) return;  // the padding of nearly every directive
        if (size_t r = room()) std::memset(buf + count, c, n < r ? n : r);
        count += n;
    }
};

// One argument, as fetched from the list.
struct Arg {
    int type;  // 0 while no directive has named the position
    long long i;
    double d;
    const void* p;
};

// Arguments fetched with different C types would read the list wrongly.
int fetchClass(int type) {
    switch (type) {
        case KT_SPFMT_SHORT:
        case KT_SPFMT_CHAR:
            return KT_SPFMT_INT;  // promoted to int
        case KT_SPFMT_POINTER:
            return KT_SPFMT_STRING;
        default:
            return type;
    }
}

struct VaList {
    va_list ap;
    ~VaList() { va_end(ap); }
};

// One formatting call. A format without positions is written in one pass
// that takes the arguments as they come. At the first positional directive
// the pass turns to noting types and fetching the arguments in position
// order; a second pass then writes from the table.
struct Formatter {
    enum Stage { kWrite, kNote, kFromTable };

    Output out;
    VaList args;
    Stage stage = kWrite;
    int fetched = 0;              // positions taken from the list so far
    Arg table[kMaxPosition + 1];  // left unset until a positional directive

    Arg fetch(int type);
    void note(int pos, int type, const char* format);
    void directive(const ktSpFmtDesc* d);
    void emit(const ktSpFmtDesc* d, int width, int precision, const Arg& v);
    void padded(const char* s, size_t n, int width, bool left);
    void platform(const ktSpFmtDesc* d, int width, int precision, const Arg& v);
    void int64(const ktSpFmtDesc* d, int width, int precision, const Arg& v);
};

Arg Formatter::fetch(int type) {
    Arg a{};
    a.type = type;
    switch (fetchClass(type)) {
        case KT_SPFMT_LONG:
            a.i = va_arg(args.ap, long);
            break;
        case KT_SPFMT_INT64:
            a.i = va_arg(args.ap, int64_t);
            break;
        case KT_SPFMT_DOUBLE:
            a.d = va_arg(args.ap, double);
            break;
        case KT_SPFMT_STRING:
            a.p = va_arg(args.ap, const char*);
            break;
        case KT_SPFMT_PINT:
            a.p = va_arg(args.ap, int*);
            break;
        case KT_SPFMT_PSHORT:
            a.p = va_arg(args.ap, short*);
            break;
        case KT_SPFMT_PLONG:
            a.p = va_arg(args.ap, long*);
            break;
        default:
            a.i = va_arg(args.ap, int);
            break;
    }
    return a;
}

void Formatter::note(int pos, int type, const char* format) {
    Arg& slot = table[pos];
    if (slot.type == 0)
        slot.type = type;
    else if (fetchClass(slot.type) != fetchClass(type))
        throwBadFormat(format);
}

void Formatter::directive(const ktSpFmtDesc* d) {
    int type = d->type;
    int base = type & ~kStarBits;
    if (stage == kWrite && d->position > 0) {
        // What the plain pass wrote so far is written again from the table.
        stage = kNote;
        for (Arg& a : table) a = Arg{};
    }
    if (stage == kNote) {
        if (type & KT_SPFMT_STARWIDTH) note(d->width, KT_SPFMT_INT, d->orig);
        if (type & KT_SPFMT_STARPREC) note(d->precision, KT_SPFMT_INT, d->orig);
        note(d->position, base, d->orig);
        while (fetched < kMaxPosition && table[fetched + 1].type != 0) {
            ++fetched;
            table[fetched] = fetch(table[fetched].type);
        }
        return;
    }

    int width = d->width;
    int precision = d->precision;
    Arg value{};
    if (stage == kWrite) {
        if (type & KT_SPFMT_STARWIDTH) width = va_arg(args.ap, int);
        if (type & KT_SPFMT_STARPREC) precision = va_arg(args.ap, int);
        value = fetch(base);
    } else {
        if (type & KT_SPFMT_STARWIDTH) width = static_cast<int>(table[d->width].i);
        if (type & KT_SPFMT_STARPREC) precision = static_cast<int>(table[d->precision].i);
        value = table[d->position];
    }
    // A negative amount from an argument is no amount, not a left adjustment.
    if ((type & KT_SPFMT_STARWIDTH) && width < 0) width = 0;
    if ((type & KT_SPFMT_STARPREC) && precision < 0) precision = 0;
    bool cuts = base == KT_SPFMT_STRING && std::strchr(d->conv, 's');
    if (width > kMaxAmount || (precision > kMaxAmount && !cuts)) {
        out.failed = true;
        return;
    }
    emit(d, width, precision, value);
}

void Formatter::emit(const ktSpFmtDesc* d, int width, int precision, const Arg& v) {
    bool left = d->flags && std::strchr(d->flags, '-');
    switch (fetchClass(d->type & ~kStarBits)) {
        case KT_SPFMT_PINT:
            if (v.p) *static_cast<int*>(const_cast<void*>(v.p)) = static_cast<int>(out.count);
            return;
        case KT_SPFMT_PSHORT:
            if (v.p) *static_cast<short*>(const_cast<void*>(v.p)) = static_cast<short>(out.count);
            return;
        case KT_SPFMT_PLONG:
            if (v.p) *static_cast<long*>(const_cast<void*>(v.p)) = static_cast<long>(out.count);
            return;
        case KT_SPFMT_INT64:
            int64(d, width, precision, v);
            return;
        default:
            break;
    }
    char c = d->conv[std::strlen(d->conv) - 1];
    if (c == 's') {
        const char* s = v.p ? static_cast<const char*>(v.p) : "";
        size_t n = precision >= 0 ? strnlen(s, static_cast<size_t>(precision)) : std::strlen(s);
        padded(s, n, width, left);
    } else if (c == 'c') {
        char ch = static_cast<char>(v.i);
        padded(&ch, 1, width, left);
    } else {
        platform(d, width, precision, v);
    }
}

void Formatter::padded(const char* s, size_t n, int width, bool left) {
    size_t blanks = width > 0 && static_cast<size_t>(width) > n ? width - n : 0;
    if (!left) out.fill(' ', blanks);
    out.append(s, n);
    if (left) out.fill(' ', blanks);
}

// The directive rebuilt without its position and with the actual amounts,
// converted by snprintf directly into the remaining room.
void Formatter::platform(const ktSpFmtDesc* d, int width, int precision, const Arg& v) {
    std::string rebuilt = "%";
    if (d->flags) rebuilt += d->flags;
    std::string conv = d->conv;
    if (conv == "p") {
        rebuilt += '#';  // a pointer shows as 0x and hexadecimal digits
        conv = "lx";
    } else if (conv[0] == 'l' && std::strchr("eEfgG", conv[1])) {
        conv.erase(0, 1);
    }
    if (width > 0) rebuilt += std::to_string(width);
    if (precision >= 0) {
        rebuilt += '.';
        rebuilt += std::to_string(precision);
    }
    rebuilt += conv;

    size_t room = out.room() ? out.size - out.count : 0;
    char* dst = room ? out.buf + out.count : nullptr;
    int n;
    switch (d->type & ~kStarBits) {
        case KT_SPFMT_LONG:
            n = std::snprintf(dst, room, rebuilt.c_str(), static_cast<long>(v.i));
            break;
        case KT_SPFMT_DOUBLE:
            n = std::snprintf(dst, room, rebuilt.c_str(), v.d);
            break;
        case KT_SPFMT_POINTER:
            n = std::snprintf(dst, room, rebuilt.c_str(),
                              static_cast<unsigned long>(reinterpret_cast<uintptr_t>(v.p)));
            break;
        default:
            n = std::snprintf(dst, room, rebuilt.c_str(), static_cast<int>(v.i));
            break;
    }
    if (n < 0) {
        out.failed = true;
        return;
    }
    out.count += static_cast<size_t>(n);
}

void Formatter::int64(const ktSpFmtDesc* d, int width, int precision, const Arg& v) {
    const char* flags = d->flags ? d->flags : "";
    char c = d->conv[1];
    int bits = 0;
    if (std::strchr(flags, '-')) bits |= KT_INT64_LEFT;
    // As with the other integers, a precision or left adjustment outranks 0.
    else if (std::strchr(flags, '0') && precision < 0)
        bits |= KT_INT64_ZEROFILL;
    if (std::strchr(flags, '+')) bits |= KT_INT64_PLUS;
    if (std::strchr(flags, ' ')) bits |= KT_INT64_BLANK;
    if (std::strchr(flags, '#')) bits |= KT_INT64_ALT;
    if (c != 'd' && c != 'i') bits |= KT_INT64_UNSIGNED;
    if (c == 'X') bits |= KT_INT64_UPPER;
    int base = c == 'o' ? 8 : (c == 'x' || c == 'X') ? 16 : 10;
    auto u = static_cast<unsigned long long>(v.i);
    const char* text =
        ktInt64CvtToStrEx(static_cast<uint32_t>(u >> 32), static_cast<uint32_t>(u & 0xffffffffu),
                          base, width, precision, bits);
    out.append(text, std::strlen(text));
}

int formatPiece(const ktSpFmtDesc* d, void* data) {
    auto* f = static_cast<Formatter*>(data);
    if (d->kind == KT_SPFMT_INVALID) throwBadFormat(d->orig);
    if (d->kind == KT_SPFMT_TEXT) {
        if (f->stage != Formatter::kNote) f->out.append(d->text, std::strlen(d->text));
        return 1;
    }
    f->directive(d);
    return 1;
}

// The buffers of ktSprintfStatic: the text is made in the work buffer and
// copied to the result buffer, so an argument may be the previous result.
char* workV = nullptr;
size_t workSizeV = 0;
char* resultV = nullptr;
size_t resultSizeV = 0;
constexpr size_t kWorkStart = 512;

// The debug allocator takes a null release for a fault: free only what exists.
void freeIf(char* block) {
    if (block) ktMemFree(block);
}

void releaseStaticBuffers(void*) {
    freeIf(workV);
    freeIf(resultV);
    workV = resultV = nullptr;
    workSizeV = resultSizeV = 0;
}

}  // namespace

namespace {
// A plain compiled format (see ktSpFmtProg): the same text as the formatter
// makes of it, in one pass over its pieces.
void formatPlain(Output& out, const ktSpFmtProg* prog, va_list args) {
    VaList a;
    va_copy(a.ap, args);
    for (int i = 0; i < prog->count; ++i) {
        const ktSpFmtDesc& d = prog->pieces[i];
        if (d.kind == KT_SPFMT_TEXT) {
            out.append(d.text, prog->lengths[i]);
        } else if (d.type == KT_SPFMT_STRING) {
            const char* s = va_arg(a.ap, const char*);
            if (!s) s = "";
            out.append(s, std::strlen(s));
        } else {
            const int v = va_arg(a.ap, int);
            char digits[16];
            char* end = digits + sizeof digits;
            char* p = end;
            unsigned u = v < 0 ? 0u - static_cast<unsigned>(v) : static_cast<unsigned>(v);
            do {
                *--p = static_cast<char>('0' + u % 10);
                u /= 10;
            } while (u);
            if (v < 0) *--p = '-';
            out.append(p, static_cast<size_t>(end - p));
        }
    }
}

// A format as text, parsed at each pass, or compiled.
struct Source {
    const char* format;
    const ktSpFmtProg* prog;
    void run(Formatter* f) const {
        if (prog)
            ktSpFmtProgRun(prog, formatPiece, f);
        else
            ktSpFmtParse(format, formatPiece, f);
    }
};

int formatVa2(char* buf, size_t size, size_t* needed, const Source& src, va_list args) {
    if (src.prog && src.prog->plain) {
        Output out;
        out.buf = buf;
        out.size = size;
        formatPlain(out, src.prog, args);
        buf[out.count < size ? out.count : size - 1] = '\0';
        if (needed) *needed = out.count + 1;
        return out.count >= size ? -1 : 0;
    }
    Formatter f;
    f.out.buf = buf;
    f.out.size = size;
    va_copy(f.args.ap, args);
    src.run(&f);
    if (f.stage == Formatter::kNote) {
        f.out.count = 0;
        f.stage = Formatter::kFromTable;
        src.run(&f);
    }
    buf[f.out.count < size ? f.out.count : size - 1] = '\0';
    if (needed) *needed = f.out.count + 1;
    return f.out.failed || f.out.count >= size ? -1 : 0;
}
}  // namespace

int ktSprintfVa2(char* buf, size_t size, size_t* needed, const char* format, va_list args) {
    if (!buf || !format || size < 1) return -1;
    return formatVa2(buf, size, needed, Source{format, nullptr}, args);
}

int ktSprintfProgVa2(char* buf, size_t size, size_t* needed, const ktSpFmtProg* prog,
                     va_list args) {
    if (!buf || !prog || size < 1) return -1;
    return formatVa2(buf, size, needed, Source{nullptr, prog}, args);
}

int ktSprintf(char* buf, size_t size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    int r = ktSprintfVa2(buf, size, nullptr, format, args);
    va_end(args);
    return r;
}

namespace {
char* formatStatic(const Source& src, va_list args) {
    if (!workV) {
        workV = static_cast<char*>(ktMemMalloc(kWorkStart, "ktStaticBuffer"));
        workSizeV = kWorkStart;
        ktOnExitAdd(releaseStaticBuffers, nullptr);
    }
    size_t needed = 0;
    int r;
    for (size_t k = 1;;) {
        VaList copy;
        va_copy(copy.ap, args);
        r = formatVa2(workV, workSizeV, &needed, src, copy.ap);
        // A text cut with room to spare had a conversion refused: keep it.
        if (r == 0 || needed <= workSizeV) break;
        if (needed * k > workSizeV) {
            freeIf(workV);
            workSizeV = needed * (k + 1);
            workV = static_cast<char*>(ktMemMalloc(workSizeV, "ktStaticBuffer"));
            k += 2;
        } else {
            k += 1;
        }
    }
    if (resultSizeV < workSizeV) {
        freeIf(resultV);
        resultV = static_cast<char*>(ktMemMalloc(workSizeV, "ktStaticBuffer"));
        resultSizeV = workSizeV;
    }
    // The text may hold a zero from %c, so copy by its count.
    std::memcpy(resultV, workV, r == 0 ? needed : std::strlen(workV) + 1);
    return resultV;
}
}  // namespace

char* ktSprintfStaticVa(const char* format, va_list args) {
    if (!format) return nullptr;
    return formatStatic(Source{format, nullptr}, args);
}

char* ktSprintfStaticProgVa(const ktSpFmtProg* prog, va_list args) {
    if (!prog) return nullptr;
    return formatStatic(Source{nullptr, prog}, args);
}

char* ktSprintfStatic(const char* format, ...) {
    va_list args;
    va_start(args, format);
    char* r = ktSprintfStaticVa(format, args);
    va_end(args);
    return r;
}

char* ktCvtIntStr(int value) {
    static char text[16];
    std::snprintf(text, sizeof text, "%d", value);
    return text;
}

namespace {
bool leapYear(long y) {
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}
long daysOfYear(long y) {
    return leapYear(y) ? 366 : 365;
}
}  // namespace

int ktCvtTime(long seconds, int* month, int* day, int* year, int* hour, int* minute, int* second) {
    long days = seconds / 86400;
    long rest = seconds % 86400;
    if (rest < 0) {
        rest += 86400;
        --days;
    }
    // Whole Gregorian cycles of 400 years first, then single years.
    constexpr long kCycleDays = 146097;
    long y = 1970 + 400 * (days / kCycleDays);
    days %= kCycleDays;
    while (days < 0) days += daysOfYear(--y);
    while (days >= daysOfYear(y)) days -= daysOfYear(y++);

    int lengths[12] = {31, leapYear(y) ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int m = 0;
    while (days >= lengths[m]) days -= lengths[m++];

    if (month) *month = m + 1;
    if (day) *day = static_cast<int>(days) + 1;
    if (year) *year = static_cast<int>(y);
    if (hour) *hour = static_cast<int>(rest / 3600);
    if (minute) *minute = static_cast<int>(rest / 60 % 60);
    if (second) *second = static_cast<int>(rest % 60);
    return 1;
}

namespace {
char* int64TextV = nullptr;
size_t int64SizeV = 0;

void releaseInt64Text(void*) {
    freeIf(int64TextV);
    int64TextV = nullptr;
    int64SizeV = 0;
}
}  // namespace

char* ktInt64CvtToStrEx(uint32_t high, uint32_t low, int base, int width, int precision,
                        int flags) {
    if (base < 2 || base > 16)
        ktExThrow2(KT_EX_PRECOND, "ktInt64CvtToStrEx", 0, "base must be 2 to 16");
    if (width < 0) width = 0;
    if (precision < 0) precision = 1;
    // Digits of a 64-bit number in base 2, a sign and a prefix fit in 75.
    size_t cap = 75;
    if (static_cast<size_t>(width) + 2 > cap) cap = static_cast<size_t>(width) + 2;
    if (static_cast<size_t>(precision) + 4 > cap) cap = static_cast<size_t>(precision) + 4;
    if (cap > int64SizeV) {
        if (!int64TextV) ktOnExitAdd(releaseInt64Text, nullptr);
        freeIf(int64TextV);
        int64TextV = static_cast<char*>(ktMemMalloc(cap, "ktStaticBuffer"));
        int64SizeV = cap;
    }

    uint64_t value = (static_cast<uint64_t>(high) << 32) | low;
    bool negative = !(flags & KT_INT64_UNSIGNED) && static_cast<int64_t>(value) < 0;
    uint64_t mag = negative ? ~value + 1 : value;
    const char* digits = (flags & KT_INT64_UPPER) ? "0123456789ABCDEF" : "0123456789abcdef";

    char* end = int64TextV + int64SizeV - 1;
    *end = '\0';
    char* p = end;
    for (; mag; mag /= static_cast<unsigned>(base))
        *--p = digits[mag % static_cast<unsigned>(base)];
    while (end - p < precision) *--p = '0';

    // As in C, a zero gets no 0x, and an octal text already led by 0 no more.
    const char* prefix = "";
    if (flags & KT_INT64_ALT) {
        if (base == 8 && (p == end || *p != '0')) prefix = "0";
        if (base == 16 && value != 0) prefix = (flags & KT_INT64_UPPER) ? "0X" : "0x";
    }
    char sign = '\0';
    if (!(flags & KT_INT64_UNSIGNED)) {
        if (negative)
            sign = '-';
        else if (flags & KT_INT64_PLUS)
            sign = '+';
        else if (flags & KT_INT64_BLANK)
            sign = ' ';
    }
    long extra = static_cast<long>(std::strlen(prefix)) + (sign ? 1 : 0);
    bool left = flags & KT_INT64_LEFT;
    if ((flags & KT_INT64_ZEROFILL) && !left)
        while (end - p + extra < width) *--p = '0';
    for (size_t i = std::strlen(prefix); i > 0; --i) *--p = prefix[i - 1];
    if (sign) *--p = sign;
    if (!left && !(flags & KT_INT64_ZEROFILL))
        while (end - p < width) *--p = ' ';
    if (left && end - p < width) {
        size_t len = static_cast<size_t>(end - p);
        std::memmove(int64TextV, p, len);
        std::memset(int64TextV + len, ' ', static_cast<size_t>(width) - len);
        int64TextV[width] = '\0';
        p = int64TextV;
    }
    return p;
}
