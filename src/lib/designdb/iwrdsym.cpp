// The symbol reader. A record is a line whose first byte is its letter and
// whose second byte is white space; any other line is passed over without
// a trace, which is what keeps the editor's graphic and comment lines
// harmless. A "+" record continues the L, A or U record before it, so the
// reader remembers what the last record made. The passes after reading
// (duplicate pins, ordering) use tables keyed by name, so that their cost
// grows with the pins and not with their square.
#include "iwrdsym.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "iwmem.h"
#include "iwmsg.h"
#include "iwname.h"
#include "iwobj.h"
#include "iwsession.h"
#include "kspath.h"
#include "ktbus.h"
#include "ktdufs.h"
#include "ktmem.h"
#include "ktstr.h"
#include "larkmoor_msg.h"
#include "rdb_api.h"
#include "rdb_ref.h"

namespace {

constexpr int kLine = 16384;  // a line, a joined text, the pin order list
constexpr int kName = 256;    // an expanded name, a SIGNAL value
constexpr int kPage = 1;      // the page of a symbol's drawing, in reports

char* pinorder_ = nullptr;  // kLine bytes once used
vecrec* expansion_ = nullptr;

// The lines of a symbol file as ktDufsFgets gives them (at most size - 1
// bytes, through the line feed; CR LF read as LF), taken from a buffer
// that the stream fills a block at a time: a line costs a search and a
// copy, not a pass of the stream's own reader.
struct Lines {
    FILE* stream;
    char* buf;  // kBlock bytes
    size_t pos = 0, end = 0;
    bool eof = false;

    static constexpr size_t kBlock = 2 * kLine;

    // At least `want` bytes behind pos, or all the stream has.
    void fill(size_t want) {
        if (eof || end - pos >= want) return;
        std::memmove(buf, buf + pos, end - pos);
        end -= pos;
        pos = 0;
        while (!eof && end < kBlock) {
            // The stream reads straight into the block until it is full or
            // the file ends: less than asked is the end (or an error).
            const size_t want = kBlock - end;
            const size_t got = std::fread(buf + end, 1, want, stream);
            end += got;
            if (got < want) eof = true;
        }
    }

    // The next line in `line`, and the length of its text in `*length`.
    bool next(char* line, int size, size_t* length) {
        const size_t most = static_cast<size_t>(size) - 1;
        fill(most);
        if (pos == end) return false;
        const size_t avail = std::min(end - pos, most);
        const char* from = buf + pos;
        const void* feed = std::memchr(from, '\n', avail);
        const size_t len =
            feed ? static_cast<size_t>(static_cast<const char*>(feed) - from) + 1 : avail;
        std::memcpy(line, from, len);
        line[len] = '\0';
        pos += len;
        // As ktDufsFgets: the text ends at its first zero byte.
        const size_t n = std::strlen(line);
        *length = n;
        if (n >= 2 && line[n - 2] == '\r' && line[n - 1] == '\n') {
            line[n - 2] = '\n';
            line[n - 1] = '\0';
            *length = n - 1;
        } else if (n > 0 && n == most && line[n - 1] == '\r') {
            // The line was cut between CR and what follows it.
            fill(1);
            if (pos < end && buf[pos] == '\n') {
                line[n - 1] = '\n';
                ++pos;
            }
        }
        return true;
    }
};

// White space as the C locale has it, which the program never leaves;
// tested inline, as it is for every byte of every line.
constexpr bool isWhite(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// The kind of each byte, for the walks over fields: the end of the text,
// white space, or a byte of a field.
enum : unsigned char { kEnd, kWhite, kField };
constexpr auto kKinds = [] {
    std::array<unsigned char, 256> k{};
    for (int c = 0; c < 256; ++c)
        k[static_cast<size_t>(c)] = c == 0 ? kEnd : isWhite(static_cast<char>(c)) ? kWhite : kField;
    return k;
}();

unsigned char kindOf(const char* p) {
    return kKinds[static_cast<unsigned char>(*p)];
}

// Skips `n` fields: non-white bytes, then white space, each. Fields of one
// byte with one blank behind each, as the editor writes them, are stepped
// over two bytes at a time.
const char* skipFields(const char* p, int n) {
    int i = 0;
    for (; i < n && kindOf(p) == kField && p[1] == ' ' && kindOf(p + 2) != kWhite; ++i) p += 2;
    for (; i < n; ++i) {
        while (kindOf(p) == kField) ++p;
        while (kindOf(p) == kWhite) ++p;
    }
    return p;
}

// An attribute text split in place into its name and value. `eq` is flag
// 1 (an "=" was seen), `trailing` flag 2 (white space was cut off the end).
struct Split {
    char* name;
    char* value;
    int eq = 0;
    int trailing = 0;
};

Split split(char* text) {
    static char empty[] = "";
    Split s;
    char* p = text;
    while (kindOf(p) == kWhite) ++p;
    s.name = p;
    while (kindOf(p) == kField && *p != '=') ++p;
    char* nameEnd = p;
    // White space and one "=": a second "=" begins the value.
    while (isWhite(*p) || (*p == '=' && !s.eq)) {
        if (*p == '=') s.eq = 1;
        ++p;
    }
    char* value = p;
    char* end = value + std::strlen(value);
    while (end > value && isWhite(end[-1])) --end;
    s.trailing = s.eq && *end != '\0';
    *end = '\0';
    *nameEnd = '\0';
    s.value = s.eq ? value : empty;
    return s;
}

// What a "+" record continues.
enum class State { None, Label, Attribute, PinOrder };

struct Reader {
    const char* file;  // the name as given, for reports
    iwsym* sym;
    iwgroup* group;
    int line = 0;
    iwspin* pin = nullptr;  // the current pin
    iwatt* att = nullptr;   // the attribute a continuation extends
    State state = State::None;
    int eq = 0, trailing = 0;  // flags of the last split
    bool pinorder = false;     // a PINORDER record was read
    size_t pinorderLength = 0;
    char* join = nullptr;  // kLine bytes
};

void report(Reader& r, int number) {
    iwmsghndlr(IW_ERROR, number, r.line, r.group->name, kPage);
}

// `a` and `b` joined in r.join, or false after message 301.
bool joinInto(Reader& r, std::initializer_list<std::string_view> pieces) {
    size_t n = 0;
    for (std::string_view p : pieces) n += p.size();
    if (n >= static_cast<size_t>(kLine)) {
        report(r, IWM_CONTLONG);
        return false;
    }
    char* at = r.join;
    for (std::string_view p : pieces) at = std::copy(p.begin(), p.end(), at);
    *at = '\0';
    return true;
}

void readType(Reader& r, const char* line) {
    std::string text = skipFields(line, 1);
    while (!text.empty() && isWhite(text.back())) text.pop_back();
    char* end = nullptr;
    long n = std::strtol(text.c_str(), &end, 10);
    bool number = !text.empty() && *end == '\0';
    switch (number ? n : -1000) {
        case 0:
            r.sym->type = IW_TCOMPOSITE;
            return;
        case 1:
            r.sym->type = IW_TMODULE;
            return;
        case 2:
        case 3:
            return;
        case 4:
            r.sym->type = IW_TPIN;
            return;
        default:
            iwmsghndlr(IW_ERROR, IWM_BADTYPE, text.c_str(), r.file);
    }
}

void readPin(Reader& r) {
    r.state = State::None;
    if (r.sym->pincount >= IW_MAXPINS) {
        report(r, IWM_PINLIMIT);
        r.pin = nullptr;
        return;
    }
    r.pin = iwalcspin();
    r.pin->next = r.sym->pins;
    r.sym->pins = r.pin;
    ++r.sym->pincount;
}

void readLabel(Reader& r, const char* line) {
    r.state = State::None;
    const char* flag = skipFields(line, 8);
    const char* label = skipFields(flag, 1);
    if (!*flag || !*label) return report(r, IWM_LABELFIELDS);
    if (!r.pin) return;
    bool negated = std::atoi(flag) != 0;
    if (!joinInto(r, {negated ? "~" : "", label})) return;
    r.pin->name = iwmkname(r.join);
    r.state = State::Label;
}

void readPinAttribute(Reader& r, char* line) {
    r.state = State::None;
    char* text = const_cast<char*>(skipFields(line, 7));
    if (!*text) return report(r, IWM_PINATTFIELDS);
    if (!r.pin) return;
    Split s = split(text);
    r.att = iwmkatt(s.name, s.value);
    r.pin->attributes = iwaddatt(r.pin->attributes, r.att);
    r.eq = s.eq;
    r.trailing = s.trailing;
    r.state = State::Attribute;
}

// SIGNAL=net;pins: one SIGNAL attribute net;pin on the group's first symbol
// for each member of the pins' bus text.
void readSignal(Reader& r, const char* value) {
    if (std::strlen(value) >= static_cast<size_t>(kName)) {
        iwmsghndlr(IW_ERROR, IWM_SIGNALLONG, r.group->name);
        return;
    }
    const char* semi = std::strchr(value, ';');
    if (!semi) {
        iwmsghndlr(IW_ERROR, IWM_SIGNALNOSEMI, "symbol", r.group->name);
        return;
    }
    std::string net(value, static_cast<size_t>(semi + 1 - value));
    iwsym* first = r.group->symbols;
    char pin[kName];
    for (int start = 1; iwexpstr(semi + 1, pin, 1, start); start = 0) {
        std::string pair = net + pin;
        ktStrUpc(pair.data());
        if (!iwdupatt(first->attributes, "SIGNAL", pair.c_str()))
            first->attributes = iwaddatt(first->attributes, iwmkatt("SIGNAL", pair.c_str()));
    }
}

// Stores a symbol attribute unless an equal pair is there; true when stored.
bool addSymbolAttribute(Reader& r, const char* name, const char* value) {
    std::string upper = name;
    ktStrUpc(upper.data());
    if (iwdupatt(r.sym->attributes, upper.c_str(), value)) return false;
    r.att = iwmkatt(upper.c_str(), value);
    r.sym->attributes = iwaddatt(r.sym->attributes, r.att);
    return true;
}

void readSymbolAttribute(Reader& r, char* line) {
    char* text = const_cast<char*>(skipFields(line, 7));
    if (!*text) {
        r.state = State::None;
        return report(r, IWM_SYMATTFIELDS);
    }
    Split s = split(text);
    // The lead word is compared as written: only capitals are recognised.
    if (std::strcmp(s.name, "PINORDER") == 0) {
        if (!pinorder_) pinorder_ = static_cast<char*>(ktMemMalloc(kLine, "Lark:pinorder"));
        ktStrncpyNullTerm(pinorder_, s.value, kLine);
        r.pinorderLength = std::strlen(pinorder_);
        r.pinorder = true;
        r.eq = s.eq;
        r.trailing = s.trailing;
        r.state = State::PinOrder;
        return;
    }
    if (std::strcmp(s.name, "SIGNAL") == 0) return readSignal(r, s.value);
    bool stored;
    if (std::strcmp(s.name, "GND_PIN") == 0 || std::strcmp(s.name, "VDD_PIN") == 0) {
        std::string pair = std::string(s.name[0] == 'G' ? "GND;" : "VDD;") + s.value;
        stored = addSymbolAttribute(r, "SIGNAL", pair.c_str());
    } else {
        stored = addSymbolAttribute(r, s.name, s.value);
    }
    if (!stored) return;
    r.eq = s.eq;
    r.trailing = s.trailing;
    r.state = State::Attribute;
}

// `line` without its line feed; `early` when the line ended before its
// third byte.
void readContinuation(Reader& r, const char* line, bool early) {
    if (early) return report(r, IWM_EMPTYPLUS);
    std::string_view text = line + 2;
    switch (r.state) {
        case State::None:
            return;
        case State::Label:
            if (joinInto(r, {r.pin->name, text})) r.pin->name = iwmkname(r.join);
            return;
        case State::Attribute: {
            if (!joinInto(
                    r, {r.att->name, r.eq ? "=" : "", r.att->value, r.trailing ? " " : "", text}))
                return;
            Split s = split(r.join);
            // The attribute keeps its place in the sorted list.
            r.att->name = iwmkname(s.name);
            r.att->value = iwmkname(s.value);
            r.eq = s.eq;
            r.trailing = s.trailing;
            return;
        }
        case State::PinOrder: {
            std::string_view blank = r.trailing ? " " : "";
            if (r.pinorderLength + blank.size() + text.size() >= static_cast<size_t>(kLine))
                return report(r, IWM_CONTLONG);
            char* at = pinorder_ + r.pinorderLength;
            at = std::copy(blank.begin(), blank.end(), at);
            at = std::copy(text.begin(), text.end(), at);
            *at = '\0';
            r.pinorderLength = static_cast<size_t>(at - pinorder_);
            return;
        }
    }
}

// Reads the records behind the first line, `n` bytes long; false at an E
// record.
bool readRecord(Reader& r, char* line, size_t n) {
    // A line's second byte must be white space; any other line is passed over.
    if (!line[0] || !isWhite(line[1])) return true;
    char letter = line[0];
    bool early = line[2] == '\0';
    if (line[n - 1] == '\n') line[n - 1] = '\0';
    switch (letter) {
        case 'Y':
            readType(r, line);
            break;
        case 'U':
            readSymbolAttribute(r, line);
            break;
        case 'P':
            readPin(r);
            break;
        case 'L':
            readLabel(r, line);
            break;
        case 'A':
            readPinAttribute(r, line);
            break;
        case '+':
            readContinuation(r, line, early);
            break;
        case 'E':
            return false;
        default:
            r.state = State::None;
            break;
    }
    return true;
}

// The pins' names, each kept once: of equal labels the pin nearest the end
// of the file stays, which is the first in the list.
void removeDuplicates(iwsym* sym) {
    std::unordered_set<std::string_view> seen;
    for (iwspin** at = &sym->pins; *at;) {
        iwspin* p = *at;
        if (!p->name) p->name = iwmkname("");
        if (seen.insert(p->name).second) {
            at = &p->next;
        } else {
            *at = p->next;
            --sym->pincount;
        }
    }
}

// The names of a pin order list, one by one.
struct ListNames {
    const char* at;
    bool next(std::string_view* name) {
        while (*at && isWhite(*at)) ++at;
        if (!*at) return false;
        const char* b = at;
        while (*at && !isWhite(*at)) ++at;
        *name = std::string_view(b, static_cast<size_t>(at - b));
        return true;
    }
};

void orderPins(Reader& r, const char* list) {
    iwsym* sym = r.sym;
    int count = sym->pincount;
    if (list) {
        int names = iwpinwidth(list, 0);
        if (names != count) {
            iwmsghndlr(IW_ERROR, IWM_ORDERCOUNT, count, r.group->name);
            iwmsghndlr(IW_ERRORCONT, IWM_ORDERNAMES, names);
            return;
        }
    }
    std::vector<iwspin*> remaining;
    for (iwspin* p = sym->pins; p; p = p->next) remaining.push_back(p);
    std::vector<iwspin*> ordered;
    if (!list) {
        // The smallest name first, and of equal names the first in the list.
        std::stable_sort(remaining.begin(), remaining.end(),
                         [](iwspin* a, iwspin* b) { return std::strcmp(a->name, b->name) < 0; });
        remaining.resize(std::min(remaining.size(), static_cast<size_t>(std::max(count, 0))));
        ordered = std::move(remaining);
    } else {
        std::unordered_map<std::string_view, iwspin*> byName;
        for (iwspin* p : remaining) byName.emplace(p->name, p);
        ListNames names{list};
        std::string_view name;
        for (int i = 0; i < count && names.next(&name); ++i) {
            auto hit = byName.find(name);
            if (hit == byName.end()) {
                std::string wanted(name);
                iwmsghndlr(IW_ERROR, IWM_ORDERNOPIN, wanted.c_str());
                iwmsghndlr(IW_ERRORCONT, IWM_ORDERSKIP, r.group->name, kPage);
                continue;
            }
            ordered.push_back(hit->second);
            byName.erase(hit);
        }
    }
    iwspin** at = &sym->pins;
    for (iwspin* p : ordered) {
        *at = p;
        at = &p->next;
    }
    *at = nullptr;
    sym->pincount = static_cast<int16_t>(ordered.size());
}

// The text of the group's ".pin" file, its lines joined by blanks, or null.
const char* readPinFile(Reader& r) {
    std::string name = std::string(r.group->name) + ".pin";
    ktStrLoc(name.data());
    rdbObject* obj = iwvfopen(name.c_str(), "sym");
    if (!obj) return nullptr;
    FILE* f = static_cast<FILE*>(rdbObjGetUserData(obj));
    rdbCloseObj(obj, 0);
    if (!f) return nullptr;
    std::string text;
    char chunk[1024];
    bool cut = false;
    while (!cut && ktDufsFgets(chunk, sizeof chunk, f)) {
        for (char* c = chunk; *c; ++c)
            if (*c == '\n') *c = ' ';
        text += chunk;
        if (text.size() > static_cast<size_t>(kLine - 1)) {
            text.resize(kLine - 1);
            cut = true;
        }
    }
    std::fclose(f);
    if (cut) iwmsghndlr(IW_ERROR, IWM_PINFILELONG);
    char* kept = r.join;
    std::memcpy(kept, text.c_str(), text.size() + 1);
    return kept;
}

void copyAttributes(iwspin* to, const iwspin* from) {
    for (const iwatt* a = from->attributes; a; a = a->next)
        to->attributes = iwaddatt(to->attributes, iwmkatt(a->name, a->value));
}

// Each bus pin becomes one pin per member, right behind each other.
void expandPins(Reader& r) {
    iwsym* sym = r.sym;
    int total = 0;
    for (iwspin* p = sym->pins; p;) {
        iwspin* last = p;
        int width = ktBusExpandWidth(p->name);
        if (width == 0) {
            iwchkexp(p->name);
        } else if (width > 1 && total + width > IW_MAXPINS) {
            iwmsghndlr(IW_ERROR, IWM_BUSLIMIT, p->name, r.group->name);
        } else if (width > 1) {
            const char* bus = p->name;  // interned: it outlives the renaming
            char member[kName];
            for (int first = 1; iwexpstr(bus, member, 1, first); first = 0) {
                if (first) {
                    p->name = iwmkname(member);
                    continue;
                }
                iwspin* n = iwmkspin(member);
                copyAttributes(n, p);
                n->next = last->next;
                last->next = n;
                last = n;
                ++total;
            }
        }
        ++total;
        p = last->next;
    }
    sym->pincount = static_cast<int16_t>(total);
}

// Everything a read holds, given back however it ends.
struct Held {
    rdbObject* obj = nullptr;
    FILE* stream = nullptr;
    char* line = nullptr;
    char* join = nullptr;
    char* block = nullptr;
    char* streamBlock = nullptr;  // the stream's buffer: freed after the stream
    void close() {
        if (obj) rdbCloseObj(obj, 0);
        if (stream) std::fclose(stream);
        obj = nullptr;
        stream = nullptr;
    }
    ~Held() {
        close();
        if (line) iwqkfree(line);
        if (join) iwqkfree(join);
        if (block) iwqkfree(block);
        if (streamBlock) iwqkfree(streamBlock);
    }
};

// The version behind the last dot; 0 without a dot, -1 when it is refused.
int versionOf(char* copy) {
    char* dot = std::strrchr(copy, '.');
    if (!dot) return 0;
    *dot = '\0';
    long v = std::strtol(dot + 1, nullptr, 10);
    return v >= 1 && v <= 32767 ? static_cast<int>(v) : -1;
}

}  // namespace

iwsym* iwrdsym(char* name) {
    if (!name) return nullptr;
    return iwreadsym(name);
}

iwsym* iwreadsym(char* name) {
    Held held;
    held.line = static_cast<char*>(iwqkalloc(kLine));
    held.join = static_cast<char*>(iwqkalloc(kLine));
    char* copy = held.line;
    ktStrncpyNullTerm(copy, name, kLine);
    int version = versionOf(copy);
    if (version < 0) {
        iwmsghndlr(IW_ERROR, IWM_BADVERSION, name);
        return nullptr;
    }
    iwgroup* group = iwgrpref(copy);
    if (!group) {
        group = iwmkgroup(copy);
        group->nextref = Ireftop;
        Ireftop = group;
        Igrp_table = store_grp(Igrp_table, group);
    }
    iwsym* sym = ifsymsym(version, group->symbols);
    if (!sym) {
        sym = iwmksym(group);
        sym->version = static_cast<int16_t>(version);
        iagrpsym(group, sym);
    }
    sym->pincount = 0;

    held.obj = iwvfopen(ktStrLoc(name), "sym");
    held.stream = held.obj ? static_cast<FILE*>(rdbObjGetUserData(held.obj)) : nullptr;
    if (!held.stream) return nullptr;
    char* line = held.line;
    held.block = static_cast<char*>(iwqkalloc(Lines::kBlock));
    // The stream gets a block as large as the reader's before its first
    // read: it never asks the system for a block size, and a symbol file
    // comes in one read and the read that finds its end.
    held.streamBlock = static_cast<char*>(iwqkalloc(Lines::kBlock));
    std::setvbuf(held.stream, held.streamBlock, _IOFBF, Lines::kBlock);
    Lines lines{held.stream, held.block};
    size_t length = 0;
    if (!lines.next(line, kLine, &length) || (line[0] != 'V' && line[0] != 'v') ||
        line[1] != ' ') {
        held.close();
        iwmsghndlr(IW_ERROR, IWM_NOTSYMBOL, name);
        return nullptr;
    }
    Reader r{name, sym, group};
    r.line = 1;
    r.join = held.join;
    while (lines.next(line, kLine, &length)) {
        ++r.line;
        if (!readRecord(r, line, length)) break;
    }
    held.close();

    removeDuplicates(sym);
    const char* list = r.pinorder ? pinorder_ : readPinFile(r);
    orderPins(r, list);
    if (Iexpand) expandPins(r);
    return sym;
}

bool iwsplitfile(const char* name, std::string* alias, ksPathBuf& base, ksPathBuf& ext) {
    if (!name || !*name) return false;
    std::string copy = name;
    ktStrLoc(copy.data());
    alias->clear();
    const char* rest = copy.c_str();
    if (const char* colon = std::strchr(rest, ':')) {
        alias->assign(ktStrBlk(rest), colon);
        rest = colon + 1;
    }
    return std::strlen(rest) < sizeof base && ksParse(rest, nullptr, nullptr, base, ext) == KS_OK;
}

rdbObject* iwvfopen(const char* name, const char* klass) {
    std::string alias;
    ksPathBuf base, ext;
    if (!iwsplitfile(name, &alias, base, ext)) return nullptr;
    int status = 0;
    rdbObject* obj = rdbiOpenTmObject(alias.c_str(), klass, base, ext, rdbModeREAD, &status);
    if (!obj) return nullptr;
    if (status == rdbStatOPEN) rdbReopenObj(obj, rdbModeREAD);
    if (FILE* f = rdbObjGetFilePtr(obj, 0, &status)) rdbObjSetUserData(obj, f);
    return obj;
}

const char* iwparsename(const char* name) {
    if (!name) return "";
    if (const char* colon = std::strchr(name, ':')) return colon + 1;
    return ktStrBlk(name);
}

int iwchkexp(const char* name) {
    int status = ktBusExpandStatus();
    switch (status) {
        case KT_BUS_OK:
            break;
        case KT_BUS_NULLARG:
            iwmsghndlr(IW_ERROR, IWM_BUSNULL);
            break;
        case KT_BUS_NOROOM:
            iwmsghndlr(IW_ERROR, IWM_BUSNOROOM);
            break;
        default:
            iwmsghndlr(IW_ERROR, IWM_BUSUNBALANCED + status - KT_BUS_UNBALANCED, name);
            break;
    }
    return status;
}

int iwexpstr(const char* text, char* out, int expand, int first) {
    static bool single = false;
    if (first) {
        ktBusExpandFree(expansion_);
        expansion_ = nullptr;
        single = !expand;
        if (single) {
            ktStrncpyNullTerm(out, text, kName);
            return text != nullptr;
        }
        expansion_ = ktBusExpand(nullptr, text, out, kName);
    } else if (single) {
        return 0;
    } else {
        if (!expansion_) return 0;
        expansion_ = ktBusExpand(expansion_, text, out, kName);
    }
    if (expansion_) return 1;
    iwchkexp(text);
    return 0;
}

int iwpinwidth(const char* text, int) {
    if (!text) return 0;
    ListNames names{text};
    std::string_view name;
    int n = 0;
    while (names.next(&name)) ++n;
    return n;
}

void iwfreepinorder() {
    if (pinorder_) ktMemFree(pinorder_);
    pinorder_ = nullptr;
    ktBusExpandFree(expansion_);
    expansion_ = nullptr;
}
