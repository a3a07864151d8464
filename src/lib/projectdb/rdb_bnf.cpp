// The table-driven parser: the compiler of grammar notation into tables,
// the scanner, the parse over the tables with an explicit stack, and the
// object table with its accessors.
#include "rdb_bnf.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "kterr.h"
#include "ktex.h"
#include "ktmem.h"
#include "ktstr.h"

namespace {

constexpr int kMaxLine = 4095;    // characters of a line
constexpr int kMaxString = 4095;  // bytes of a string; one more is refused
constexpr int kMaxStack = 4095;   // entries of the parse stack
constexpr int kMaxErrors = 25;    // after these the parse gives up

// ---- Compiling the notation ------------------------------------------------------

struct Builder {
    std::vector<bnfKeyword> keywords;
    std::vector<bnfGrammar> grammar;
    const char* rule;  // for faults
};

[[noreturn]] void notationFault(const Builder& b, const char* what) {
    std::string text = std::string("Grammar rule ") + b.rule + ": " + what;
    ktExThrow2(KT_EX_PRECOND, "bnf", KT_ERR_ERROR, text.c_str());
}

int addKeyword(Builder& b, const char* name, int kind, int used) {
    bnfKeyword k{};
    if (std::strlen(name) >= sizeof k.name) notationFault(b, "a keyword longer than 31 characters");
    ktStrncpyNullTerm(k.name, name, sizeof k.name);
    k.used = used;
    k.kind = kind;
    b.keywords.push_back(k);
    return static_cast<int>(b.keywords.size()) - 1;
}

int keywordOf(const std::vector<bnfKeyword>& keywords, std::string_view name) {
    for (size_t i = 1; i < keywords.size(); ++i)
        if (keywords[i].kind != BNF_LITERAL && name == keywords[i].name) return static_cast<int>(i);
    return 0;
}

int literalOf(Builder& b, const std::string& word) {
    for (size_t i = 1; i < b.keywords.size(); ++i)
        if (b.keywords[i].kind == BNF_LITERAL && ktStrIcmp(b.keywords[i].name, word.c_str()) == 0)
            return static_cast<int>(i);
    return addKeyword(b, word.c_str(), BNF_LITERAL, 1);
}

// The words of a rule's contents: names, 'literals', brackets, |, ; and (1).
std::vector<std::string> tokensOf(const char* text) {
    std::vector<std::string> out;
    std::string_view s(text);
    size_t i = 0;
    while (i < s.size()) {
        if (s[i] == ' ') {
            ++i;
            continue;
        }
        if (s.substr(i, 3) == "(1)") {
            out.emplace_back("(1)");
            i += 3;
            continue;
        }
        if (std::strchr("[](){}|;", s[i])) {
            out.emplace_back(1, s[i++]);
            continue;
        }
        size_t end = s.find_first_of(" [](){}|;", i + 1);
        if (end == std::string_view::npos) end = s.size();
        out.emplace_back(s.substr(i, end - i));
        i = end;
    }
    return out;
}

// One alternative: its keyword and whether it is a literal word.
struct Alt {
    int keyword;
    int flags;
};

Alt alternative(Builder& b, const std::string& word) {
    if (word.size() > 2 && word.front() == '\'' && word.back() == '\'')
        return {literalOf(b, word.substr(1, word.size() - 2)), BNF_ISLITERAL};
    int k = keywordOf(b.keywords, word);
    if (!k) notationFault(b, ("unknown name " + word).c_str());
    return {k, 0};
}

// Compiles the items of one rule and returns its first entry.
int compileContents(Builder& b, const char* contents) {
    std::vector<std::string> t = tokensOf(contents);
    std::vector<int> items;  // first entry of each item
    size_t i = 0;
    while (i < t.size()) {
        int groupFlags = 0;
        std::string close;
        if (t[i] == "[") groupFlags = BNF_GROUPOPT, close = "]";
        if (t[i] == "(") groupFlags = BNF_ONEOF, close = ")";
        if (t[i] == "{") groupFlags = BNF_REPEAT, close = "}";
        int first = static_cast<int>(b.grammar.size());
        if (!groupFlags) {
            Alt a = alternative(b, t[i++]);
            b.grammar.push_back({a.keyword, BNF_REQUIRED | a.flags, 0, 0, 0});
        } else {
            ++i;
            int previous = 0;
            for (;;) {
                if (i >= t.size()) notationFault(b, "an unclosed group");
                Alt a = alternative(b, t[i++]);
                int flags = groupFlags | a.flags | (previous ? 0 : BNF_FIRST);
                if (i < t.size() && t[i] == "(1)") flags |= BNF_ONCE, ++i;
                int at = static_cast<int>(b.grammar.size());
                b.grammar.push_back({a.keyword, flags, 0, 0, 0});
                if (previous) b.grammar[previous].alt = at;
                previous = at;
                if (i < t.size() && t[i] == "|") {
                    ++i;
                    continue;
                }
                if (i < t.size() && t[i] == close) {
                    ++i;
                    break;
                }
                notationFault(b, "a group that is neither continued nor closed");
            }
        }
        items.push_back(first);
        if (i < t.size()) {
            if (t[i] != ";") notationFault(b, "items not parted by ;");
            ++i;
        }
    }
    // Every alternative of an item leads on to the next item.
    for (size_t k = 0; k + 1 < items.size(); ++k)
        for (int e = items[k]; e; e = b.grammar[e].alt) b.grammar[e].next = items[k + 1];
    return items.empty() ? 0 : items.front();
}

// ---- The scanner -----------------------------------------------------------------

enum TokenKind { T_EOF, T_OPEN, T_CLOSE, T_STRING, T_INTEGER, T_IDENT };

struct Token {
    TokenKind kind = T_EOF;
    std::string text;  // a word, a string, or the keyword behind "("
    int keyword = 0;   // T_OPEN: the form's keyword, 0 for none
    int line = 0;
};

bnfParseErrFn parseErrFn = nullptr;
bnfWriteMsgFn writeMsgFn = nullptr;

// The state of one read: scanner and parse.
struct Reader {
    bnfParser* p;
    char line[kMaxLine + 2];
    size_t length = 0;  // of the line in `line`
    size_t pos = 0;
    bool atEnd = false;  // the stream has no more lines
    bool stopped = false;
    Token tok;

    void report(int code, const char* a = nullptr, const char* b = nullptr) {
        if (code == BNF_WARN_EARLYEND || code == BNF_WARN_SEMANTIC)
            ++p->warnings;
        else if (code != BNF_NOTE_SKIP)
            ++p->errors;
        (parseErrFn ? parseErrFn : bnfParseErr)(p, code, a, b);
        if (p->errors >= kMaxErrors && !stopped) {
            (parseErrFn ? parseErrFn : bnfParseErr)(p, BNF_ERR_TOOMANY, nullptr, nullptr);
            stopped = true;
        }
    }

    // Reads the next line; false at the end of the file or on a fault.
    bool nextLine() {
        length = pos = 0;
        if (atEnd || stopped) return false;
        int c;
        while ((c = std::getc(p->stream)) != EOF) {
            if (c == '\n') break;
            if (c == '\0') {
                ++p->line;
                report(BNF_ERR_SYNTAX);
                stopped = true;
                return false;
            }
            if (length == kMaxLine) {
                ++p->line;
                report(BNF_ERR_BUFFER);
                stopped = true;
                return false;
            }
            line[length++] = static_cast<char>(c);
        }
        if (c == EOF && length == 0) {
            atEnd = true;
            return false;
        }
        if (c == EOF) atEnd = true;
        // A line that ends in CR LF reads as one that ends in LF.
        if (c == '\n' && length > 0 && line[length - 1] == '\r') --length;
        line[length++] = '\n';
        line[length] = '\0';
        ++p->line;
        return true;
    }

    // Skips white space and comments, across lines; false at the end.
    bool skipBlank() {
        for (;;) {
            while (pos < length && (line[pos] == ' ' || line[pos] == '\t' || line[pos] == '\n'))
                ++pos;
            if (pos < length && line[pos] == ';') pos = length;
            if (pos < length) return true;
            if (!nextLine()) return false;
        }
    }

    // The form of that name; literal words of the same spelling don't count.
    int formKeyword(const char* name) const {
        const bnfDescriptor* d = p->desc;
        for (int i = 1; i < d->keywordSize; ++i)
            if (d->keywords[i].kind == BNF_FORM && ktStrIcmp(d->keywords[i].name, name) == 0)
                return i;
        return 0;
    }

    static bool endsWord(char c) {
        return c == ' ' || c == '\t' || c == '\n' || c == '(' || c == ')';
    }

    std::string word() {
        size_t start = pos;
        while (pos < length && !endsWord(line[pos])) ++pos;
        return std::string(line + start, pos - start);
    }

    static bool isInteger(const std::string& w) {
        if (w.empty() || !(w[0] == '-' || (w[0] >= '0' && w[0] <= '9'))) return false;
        for (size_t i = 1; i < w.size(); ++i)
            if (w[i] < '0' || w[i] > '9') return false;
        return true;
    }

    static bool isIdentifier(const std::string& w) {
        if (w.empty()) return false;
        for (char c : w)
            if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                  c == '_'))
                return false;
        return true;
    }

    bool readString(Token& t) {
        ++pos;  // the opening quote
        for (;;) {
            while (pos < length && line[pos] != '"') {
                if (t.text.size() == kMaxString) {
                    report(BNF_ERR_BUFFER);
                    stopped = true;
                    return false;
                }
                t.text += line[pos++];
            }
            if (pos < length) {
                ++pos;
                return true;
            }
            if (!nextLine()) {
                if (!stopped) {
                    p->line = t.line;
                    report(BNF_ERR_QUOTES);
                    stopped = true;
                }
                return false;
            }
        }
    }

    // The next token in `tok`; at the end, or after a fault of the text,
    // an end-of-file token (and `stopped` after a fault).
    void next() {
        tok = Token{};
        if (stopped || !skipBlank()) {
            tok.line = p->line;
            return;
        }
        tok.line = p->line;
        char c = line[pos];
        if (c == ')') {
            ++pos;
            tok.kind = T_CLOSE;
            tok.text = ")";
            return;
        }
        if (c == '(') {
            ++pos;
            tok.kind = T_OPEN;
            // The keyword may stand on a later line; a form without one
            // is reported where it is matched.
            if (skipBlank() && line[pos] != '(' && line[pos] != ')' && line[pos] != '"' &&
                line[pos] != ';') {
                tok.text = word();
                tok.keyword = formKeyword(tok.text.c_str());
            }
            return;
        }
        if (c == '"') {
            tok.kind = T_STRING;
            if (!readString(tok)) tok.kind = T_EOF;
            return;
        }
        std::string w = word();
        if (isInteger(w)) {
            tok.kind = T_INTEGER;
            tok.text = w;
            return;
        }
        std::string ident = (!w.empty() && w[0] == '&') ? w.substr(1) : w;
        if (!isIdentifier(ident)) {
            report(BNF_ERR_SYNTAX);
            stopped = true;
            tok.kind = T_EOF;
            return;
        }
        tok.kind = T_IDENT;
        tok.text = ident;
    }
};

// ---- The object table ------------------------------------------------------------

}  // namespace

struct bnfPage {
    bnfPage* next;
    int used;
    bnfObject entries[1];  // pageSize of them
};

namespace {

bnfObject* newObject(bnfParser* p, int type, int line) {
    bnfPage* page = p->pages;
    if (!page || page->used == p->desc->pageSize) {
        size_t size =
            sizeof(bnfPage) + sizeof(bnfObject) * static_cast<size_t>(p->desc->pageSize - 1);
        page = static_cast<bnfPage*>(ktMemCalloc(1, size, "bnfPage"));
        page->next = p->pages;
        p->pages = page;
    }
    bnfObject* o = &page->entries[page->used++];
    o->type = type;
    o->line = line;
    return o;
}

int kindOf(const bnfParser* p, int keyword) {
    return p->desc->keywords[keyword].kind;
}

// Hangs `child` behind the last child of `parent`; a form keeps its last
// child in its value word.
void addChild(bnfObject* parent, bnfObject* child) {
    auto* last = reinterpret_cast<bnfObject*>(parent->value);
    if (last) {
        last->next = child;
        child->prev = last;
    } else {
        parent->link = child;
    }
    parent->value = reinterpret_cast<intptr_t>(child);
}

void freeTexts(bnfParser* p) {
    for (bnfPage* page = p->pages; page; page = page->next)
        for (int i = 0; i < page->used; ++i) {
            bnfObject& o = page->entries[i];
            int kind = kindOf(p, o.type);
            if ((kind == BNF_STRING || kind == BNF_IDENT) && o.value)
                ktStrFree(reinterpret_cast<char*>(o.value));
        }
}

void freePages(bnfParser* p) {
    freeTexts(p);
    while (bnfPage* page = p->pages) {
        p->pages = page->next;
        ktMemFree(page);
    }
    p->root = nullptr;
}

// ---- The parse -------------------------------------------------------------------

struct Frame {
    int item;               // first entry of the item to match next; 0 at the end
    bnfObject* node;        // where matched objects go
    int form;               // keyword of the form this frame reads; 0 for a group
    int group;              // keyword of the group this frame reads; 0 for a form
    std::vector<int> seen;  // entries of at-most-once alternatives met
};

struct Parse {
    Reader& r;
    bnfParser* p;
    const bnfDescriptor* d;
    std::vector<Frame> stack;

    const bnfGrammar& entry(int i) const { return d->grammar[i]; }
    const char* name(int keyword) const { return d->keywords[keyword].name; }

    // Whether the token begins `keyword`.
    bool begins(int keyword, const Token& t, int depth = 0) const {
        const bnfKeyword& k = d->keywords[keyword];
        switch (k.kind) {
            case BNF_FORM:
                return t.kind == T_OPEN && t.keyword == keyword;
            case BNF_INTEGER:
                return t.kind == T_INTEGER;
            case BNF_STRING:
                return t.kind == T_STRING;
            case BNF_IDENT:
                return t.kind == T_IDENT;
            case BNF_LITERAL:
                return t.kind == T_IDENT && ktStrIcmp(t.text.c_str(), k.name) == 0;
            case BNF_GROUP:
                if (depth > 32) return false;  // no grammar of ours nests groups so deep
                for (int item = k.first; item; item = entry(item).next) {
                    for (int a = item; a; a = entry(a).alt)
                        if (begins(entry(a).keyword, t, depth + 1)) return true;
                    if (entry(item).flags & (BNF_REQUIRED | BNF_ONEOF)) return false;
                }
                return false;
            default:
                return false;
        }
    }

    int match(int item, const Token& t) const {
        for (int a = item; a; a = entry(a).alt)
            if (begins(entry(a).keyword, t)) return a;
        return 0;
    }

    bool push(Frame f) {
        if (static_cast<int>(stack.size()) >= kMaxStack) {
            r.report(BNF_ERR_SYNTAX);
            r.stopped = true;
            return false;
        }
        stack.push_back(std::move(f));
        return true;
    }

    // Reads up to and past the ")" that closes a form whose "(" lies
    // behind; false at the end of the file.
    bool skipToClose() {
        int depth = 0;
        for (;;) {
            if (r.stopped) return false;
            if (r.tok.kind == T_EOF) {
                r.report(BNF_ERR_EOF);
                r.stopped = true;
                return false;
            }
            if (r.tok.kind == T_OPEN) ++depth;
            if (r.tok.kind == T_CLOSE && depth-- == 0) {
                r.next();
                return true;
            }
            r.next();
        }
    }

    // Passes over a whole form: the current token is its "(".
    bool skipForm() {
        r.next();
        return skipToClose();
    }

    // After a fault inside a form: the rest of it goes, and its frames.
    void skipRest() {
        while (!stack.empty() && !stack.back().form) stack.pop_back();
        if (stack.empty()) return;
        r.report(BNF_NOTE_SKIP, name(stack.back().form));
        stack.pop_back();
        skipToClose();
    }

    bool inForm() const {
        for (const Frame& f : stack)
            if (f.form) return true;
        return false;
    }

    // Takes the matched alternative `a` into `f`'s node.
    void take(int a, Frame& f) {
        int keyword = entry(a).keyword;
        const bnfKeyword& k = d->keywords[keyword];
        switch (k.kind) {
            case BNF_FORM: {
                if (!k.used) {
                    if (entry(a).flags & BNF_REQUIRED) {
                        std::string text =
                            std::string("Warning: attempt to ignore a required form: ") + k.name +
                            "\n";
                        bnfWriteMsg(text.c_str());
                    }
                    skipForm();
                    return;
                }
                bnfObject* o = newObject(p, keyword, r.tok.line);
                addChild(f.node, o);
                r.next();
                push(Frame{k.first, o, keyword, 0, {}});
                return;
            }
            case BNF_GROUP:
                push(Frame{k.first, f.node, 0, keyword, {}});
                return;
            case BNF_INTEGER: {
                bnfObject* o = newObject(p, keyword, r.tok.line);
                errno = 0;
                long long v = std::strtoll(r.tok.text.c_str(), nullptr, 10);
                // A "-" alone reads as 0; a number out of range is cut to it.
                if (errno == ERANGE || v > INT_MAX || v < INT_MIN) {
                    r.report(BNF_WARN_SEMANTIC, r.tok.text.c_str(), k.name);
                    v = v < 0 ? INT_MIN : INT_MAX;
                }
                o->value = static_cast<intptr_t>(v);
                addChild(f.node, o);
                r.next();
                return;
            }
            case BNF_STRING:
            case BNF_IDENT: {
                bnfObject* o = newObject(p, keyword, r.tok.line);
                o->value = reinterpret_cast<intptr_t>(ktStrCpy(r.tok.text.c_str()));
                addChild(f.node, o);
                r.next();
                return;
            }
            case BNF_LITERAL: {
                bnfObject* o = newObject(p, keyword, r.tok.line);
                addChild(f.node, o);
                r.next();
                return;
            }
            default:
                return;
        }
    }

    // One step at the top of the stack.
    void step() {
        Frame& f = stack.back();
        if (r.tok.kind == T_OPEN && !r.tok.keyword) {
            // A form this grammar doesn't know is reported and passed over.
            r.report(BNF_ERR_FORM, r.tok.text.c_str());
            skipForm();
            return;
        }
        if (!f.item) {
            if (!f.form) {
                stack.pop_back();
                return;
            }
            if (r.tok.kind == T_CLOSE) {
                r.next();
                stack.pop_back();
                return;
            }
            if (r.tok.kind == T_EOF) {
                r.report(BNF_ERR_EOF);
                r.stopped = true;
                return;
            }
            r.report(BNF_ERR_EXPECTEND, r.tok.text.c_str());
            skipRest();
            return;
        }
        const int item = f.item;
        const int flags = entry(item).flags;
        if (int a = match(item, r.tok)) {
            if (entry(a).flags & BNF_ONCE) {
                bool again = false;
                for (int s : f.seen) again |= s == a;
                if (again) {
                    r.report(BNF_ERR_ONCE, name(entry(a).keyword));
                    if (r.tok.kind == T_OPEN)
                        skipForm();
                    else
                        r.next();
                    if (!(flags & BNF_REPEAT)) f.item = entry(item).next;
                    return;
                }
                f.seen.push_back(a);
            }
            if (!(flags & BNF_REPEAT)) f.item = entry(item).next;
            take(a, f);  // may push: `f` is not used after this
            return;
        }
        if (flags & (BNF_OPTIONAL | BNF_GROUPOPT | BNF_REPEAT)) {
            f.item = entry(item).next;
            return;
        }
        if (!inForm()) {
            r.report(r.tok.kind == T_CLOSE ? BNF_ERR_ENDFORM : BNF_ERR_GOAL, r.tok.text.c_str());
            r.stopped = true;
            return;
        }
        if (r.tok.kind == T_EOF) {
            r.report(BNF_ERR_EOF);
            r.stopped = true;
            return;
        }
        // A choice of words is named by the form or group that offers it.
        int construct = entry(item).keyword;
        if (flags & BNF_ONEOF) construct = f.form ? f.form : f.group;
        r.report(BNF_ERR_REQUIRED, name(construct), r.tok.text.c_str());
        skipRest();
    }

    void run() {
        stack.push_back(Frame{d->keywords[BNF_KW_GOAL].first, p->root, 0, BNF_KW_GOAL, {}});
        while (!stack.empty() && !r.stopped) step();
        if (!r.stopped && r.tok.kind != T_EOF) r.report(BNF_WARN_EARLYEND);
    }
};

const char* levelOf(int code) {
    switch (code) {
        case BNF_NOTE_SKIP:
            return "Note";
        case BNF_WARN_EARLYEND:
        case BNF_WARN_SEMANTIC:
            return "Warning";
        case BNF_ERR_TOOMANY:
            return nullptr;
        default:
            return "Error";
    }
}

std::string messageOf(int code, const char* a, const char* b) {
    auto s = [](const char* t) { return std::string(t ? t : ""); };
    switch (code) {
        case BNF_ERR_BUFFER:
            return "Input buffer length exceeded.";
        case BNF_ERR_ENDFORM:
            return "Unexpected end of form \")\".";
        case BNF_ERR_QUOTES:
            return "Unmatched quotes.";
        case BNF_ERR_EOF:
            return "Unexpected end of file.";
        case BNF_NOTE_SKIP:
            return "Skipping rest of form: \"" + s(a) + "\"\n";
        case BNF_ERR_REQUIRED:
            return "Required construct missing: \"" + s(a) + "\" (Token=\"" + s(b) + "\").";
        case BNF_WARN_EARLYEND:
            return "Parsing ended before end of file.";
        case BNF_ERR_EXPECTEND:
            return "Expecting end of form \")\" (Token=\"" + s(a) + "\").";
        case BNF_WARN_SEMANTIC:
            return "Token \"" + s(a) +
                   "\" does not satisfy semantic requirements of construct: \"" + s(b) + "\".";
        case BNF_ERR_ONCE:
            return "Keyword \"" + s(a) + "\" can occur only once within the current form. ";
        case BNF_ERR_FORM:
            return "Unrecognized form \"" + s(a) + "\".";
        case BNF_ERR_GOAL:
            return "Missing $GOAL form: " + s(a) + ".";
        case BNF_ERR_TOOMANY:
            return "Too many errors.";
        default:
            return "Unidentified syntax error.";
    }
}

}  // namespace

// ---- Tables ----------------------------------------------------------------------

int bnfBuildTables(const bnfRule* rules, int count, bnfDescriptor* out) {
    Builder b{{}, {}, "(fixed keywords)"};
    addKeyword(b, "", 0, 0);
    addKeyword(b, "xendofformx", BNF_ENDFORM, 1);
    addKeyword(b, "integertoken", BNF_INTEGER, 1);
    addKeyword(b, "stringtoken", BNF_STRING, 1);
    addKeyword(b, "identifier", BNF_IDENT, 1);
    for (int i = 0; i < count; ++i) {
        b.rule = rules[i].name;
        if (keywordOf(b.keywords, rules[i].name)) notationFault(b, "a second rule of this name");
        addKeyword(b, rules[i].name, rules[i].kind, rules[i].used);
    }
    b.grammar.push_back(bnfGrammar{});  // entry 0: no entry
    for (int i = 0; i < count; ++i) {
        b.rule = rules[i].name;
        b.keywords[BNF_KW_GOAL + i].first = compileContents(b, rules[i].contents);
    }
    auto* keywords =
        static_cast<bnfKeyword*>(ktMem_FastMalloc(sizeof(bnfKeyword) * b.keywords.size()));
    std::memcpy(keywords, b.keywords.data(), sizeof(bnfKeyword) * b.keywords.size());
    auto* grammar =
        static_cast<bnfGrammar*>(ktMem_FastMalloc(sizeof(bnfGrammar) * b.grammar.size()));
    std::memcpy(grammar, b.grammar.data(), sizeof(bnfGrammar) * b.grammar.size());
    *out = bnfDescriptor{grammar, static_cast<int>(b.grammar.size()), keywords,
                         static_cast<int>(b.keywords.size()), 255};
    return 0;
}

int bnfFindKeyword(const bnfDescriptor* d, const char* name) {
    if (!name) return 0;
    for (int i = 1; i < d->keywordSize; ++i)
        if (ktStrIcmp(d->keywords[i].name, name) == 0) return i;
    return 0;
}

// ---- The parser --------------------------------------------------------------------

bnfParser* bnfNewParser(const bnfDescriptor* desc) {
    if (!desc || desc->keywordSize <= BNF_KW_GOAL || desc->pageSize < 1) return nullptr;
    auto* p = static_cast<bnfParser*>(ktMemCalloc(1, sizeof(bnfParser), "bnfParser"));
    p->desc = desc;
    return p;
}

void bnfReinitParser(bnfParser* p) {
    if (p->stream) std::fclose(p->stream);
    p->stream = nullptr;
    freePages(p);
    p->errors = p->warnings = p->line = 0;
}

int bnfReadFile(bnfParser* p) {
    bnfReinitParser(p);
    struct stat st;
    // Only a plain file is read: a device or a pipe could give no end.
    if (!p->file || stat(p->file, &st) != 0 || !S_ISREG(st.st_mode) ||
        !(p->stream = std::fopen(p->file, "r"))) {
        p->errors = 1;
        return 1;
    }
    p->root = newObject(p, BNF_KW_GOAL, 0);
    Reader r{p, {}, 0, 0, false, false, {}};
    Parse parse{r, p, p->desc, {}};
    r.next();
    parse.run();
    std::fclose(p->stream);
    p->stream = nullptr;
    return p->errors;
}

void bnfExitParser(bnfParser* p) {
    if (!p) return;
    if (p->stream) std::fclose(p->stream);
    freePages(p);
    if (p->file) ktStrFree(p->file);
    ktMemFree(p);
}

void bnfParseErr(bnfParser* p, int code, const char* a, const char* b) {
    std::string text = messageOf(code, a, b);
    if (const char* level = levelOf(code))
        text = std::string(level) + ": " + (p->file ? p->file : "") + ", line " +
               std::to_string(p->line) + ": " + text;
    if (text.empty() || text.back() != '\n') text += '\n';
    bnfWriteMsg(text.c_str());
}

void bnfRegisterParseErr(bnfParseErrFn fn) {
    parseErrFn = fn;
}

void bnfWriteMsg(const char* text) {
    if (writeMsgFn) {
        writeMsgFn(text);
        return;
    }
    std::fputs(text, stdout);
    std::fflush(stdout);
}

void bnfRegisterWriteMsg(bnfWriteMsgFn fn) {
    writeMsgFn = fn;
}

// ---- The tree ----------------------------------------------------------------------

namespace {
bnfObject* childrenOf(bnfParser* p, bnfObject* o) {
    return (o ? o : p->root) ? (o ? o : p->root)->link : nullptr;
}

// The first object from `o` on (siblings) whose keyword is of `kind`.
bnfObject* firstOfKind(bnfParser* p, bnfObject* o, int kind) {
    for (; o; o = o->next)
        if (kindOf(p, o->type) == kind) return o;
    return nullptr;
}
}  // namespace

bnfObject* bnfFindFirst(bnfParser* p, bnfObject* object, int keyword) {
    for (bnfObject* c = childrenOf(p, object); c; c = c->next)
        if (c->type == keyword) return c;
    return nullptr;
}

bnfObject* bnfFindNext(bnfParser*, bnfObject* object) {
    if (!object) return nullptr;
    for (bnfObject* c = object->next; c; c = c->next)
        if (c->type == object->type) return c;
    return nullptr;
}

bnfObject* bnfGetOid(bnfParser* p, bnfObject* object, int keyword, int* status) {
    bnfObject* o = bnfFindFirst(p, object, keyword);
    *status = o ? 0 : 13;
    return o;
}

bnfObject* bnfGetFirstobj(bnfParser* p, bnfObject* object, int* type, int* status) {
    bnfObject* o = childrenOf(p, object);
    *status = o ? 0 : 13;
    *type = o ? o->type : 0;
    return o;
}

bnfObject* bnfGetObjIdent(bnfParser* p, bnfObject* object, const char** out) {
    bnfObject* o = firstOfKind(p, childrenOf(p, object), BNF_IDENT);
    *out = o ? reinterpret_cast<const char*>(o->value) : nullptr;
    return o;
}

bnfObject* bnfGetFirstStrtok(bnfParser* p, bnfObject* object, const char** out) {
    bnfObject* o = firstOfKind(p, childrenOf(p, object), BNF_STRING);
    *out = o ? reinterpret_cast<const char*>(o->value) : nullptr;
    return o;
}

bnfObject* bnfGetNextStrtok(bnfParser* p, bnfObject* place, const char** out) {
    bnfObject* o = place ? firstOfKind(p, place->next, BNF_STRING) : nullptr;
    *out = o ? reinterpret_cast<const char*>(o->value) : nullptr;
    return o;
}

const char* bnfGetStrtok(bnfParser* p, bnfObject* object) {
    if (!object) return nullptr;
    int kind = kindOf(p, object->type);
    return (kind == BNF_STRING || kind == BNF_IDENT) ? reinterpret_cast<const char*>(object->value)
                                                     : nullptr;
}

bnfObject* bnfGetFirstInttok(bnfParser* p, bnfObject* object, int* out) {
    bnfObject* o = firstOfKind(p, childrenOf(p, object), BNF_INTEGER);
    *out = o ? static_cast<int>(o->value) : 0;
    return o;
}

bnfObject* bnfGetNextInttok(bnfParser* p, bnfObject* place, int* out) {
    bnfObject* o = place ? firstOfKind(p, place->next, BNF_INTEGER) : nullptr;
    *out = o ? static_cast<int>(o->value) : 0;
    return o;
}

bnfObject* bnfGetFirstLitval(bnfParser* p, bnfObject* object, int* keyword) {
    bnfObject* o = firstOfKind(p, childrenOf(p, object), BNF_LITERAL);
    *keyword = o ? o->type : 0;
    return o;
}

bnfObject* bnfGetNextLitval(bnfParser* p, bnfObject* place, int* keyword) {
    bnfObject* o = place ? firstOfKind(p, place->next, BNF_LITERAL) : nullptr;
    *keyword = o ? o->type : 0;
    return o;
}

const char* bnfKeywordName(const bnfParser* p, int keyword) {
    if (keyword < 0 || keyword >= p->desc->keywordSize) return "";
    return p->desc->keywords[keyword].name;
}
