// The expression evaluator. A text node is split at its weakest operator
// into a left part, the operator and a right part (none for a unary
// operator); both parts are resolved the same way until they are
// constants, and the operators are applied on the way back. Each split
// makes the texts strictly shorter, so the depth of the recursion never
// exceeds the IX_TEXTMAX - 1 bytes a node's text may hold, and each level
// scans its text a fixed number of times.
#include "ixeval.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ktmem.h"
#include "ktstr.h"

namespace {

constexpr size_t kMaxInput = IX_TEXTMAX - 1;

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// A node of kind 0 holding the `len` bytes at `text`; len is never above
// what the caller's own text held.
ixnode* textNode(const char* text, size_t len) {
    ixnode* n = ixalloc();
    n->kind = IX_TEXT;
    std::memcpy(n->value.text, text, len);
    n->value.text[len] = '\0';
    return n;
}

ixnode* codeNode(int32_t code) {
    ixnode* n = ixalloc();
    n->kind = code;
    return n;
}

// ---- Finding the operator ---------------------------------------------------

struct Split {
    int32_t code = 0;  // 0, or the error the text gives
    size_t start = 0;  // first byte behind the leading blanks
    size_t pos = 0;    // of the operator
    size_t len = 0;    // of the operator; 0 when the text has none
};

// Moves `i` from a `(` to its matching `)`, passing over quoted bytes, and
// returns 0; or returns the code of what went wrong.
int32_t skipGroup(const char* t, size_t& i) {
    int depth = 0;
    for (; t[i]; ++i) {
        if (t[i] == '"') {
            const char* q = std::strchr(t + i + 1, '"');
            if (!q) return IX_QUOTES;
            i = static_cast<size_t>(q - t);
        } else if (t[i] == '(') {
            ++depth;
        } else if (t[i] == ')' && --depth == 0) {
            return 0;
        }
    }
    return IX_PARENS;
}

// A byte that may follow `*`, `/`, `#` and a binary `+` or `-`: a sign, a
// group, a blank, or no operator at all (the end of the text included).
bool mayFollow(const char* next) {
    return *next == '-' || *next == '+' || *next == '(' || isBlank(*next) || ixepriority(next) < 0;
}

// Checks the chosen operator and settles its length.
void checkOperator(const char* t, Split& s) {
    char c = t[s.pos];
    s.len = 1;
    switch (c) {
        case '!':
        case '<':
        case '>':
            if (t[s.pos + 1] == '=') s.len = 2;
            return;
        case '&':
        case '|':
        case '=':
            if (t[s.pos + 1] != c) s.code = IX_OPERATOR;
            s.len = 2;
            return;
        case '+':
        case '-':
            // A sign behind `*` or `/` belongs to the right operand.
            if (s.pos > 0 && (t[s.pos - 1] == '*' || t[s.pos - 1] == '/')) {
                --s.pos;
                return;
            }
            [[fallthrough]];
        case '*':
        case '/':
        case '#':
            if (!mayFollow(t + s.pos + 1)) s.code = IX_OPERATOR;
            return;
        default:  // `(`
            return;
    }
}

// The weakest operator of `t`. Among equal operators of priority above 500
// the last one wins, so they group from the left; among those of 500 and
// below the first one stays, so they group from the right.
Split findOperator(const char* t) {
    Split s;
    while (isBlank(t[s.start])) ++s.start;
    int chosen = -1;
    for (size_t i = s.start; t[i]; ++i) {
        if (t[i] == '"') {
            const char* q = std::strchr(t + i + 1, '"');
            if (!q) return Split{IX_QUOTES};
            i = static_cast<size_t>(q - t);
            continue;
        }
        int p = ixepriority(t + i);
        if (p < 0) continue;
        // The sign of an exponent, as in 1e-3.
        if ((t[i] == '+' || t[i] == '-') && i > 0 && (t[i - 1] == 'E' || t[i - 1] == 'e')) continue;
        if (chosen < 0 || (p > 500 ? p <= chosen : p < chosen)) {
            s.pos = i;
            s.len = 1;
            chosen = p;
        }
        if (t[i] == '(') {
            if (int32_t code = skipGroup(t, i)) return Split{code};
        }
    }
    if (s.len) checkOperator(t, s);
    return s;
}

// ---- Constants --------------------------------------------------------------

enum class St { S, I, I2, R, R2, Q, C, N };

St step(St st, char c) {
    if (isBlank(c)) return st == St::I ? St::I2 : st == St::R ? St::R2 : st;
    if (isDigit(c)) {
        if (st == St::S) return St::I;
        return st == St::C || st == St::I2 || st == St::R2 ? St::N : st;
    }
    switch (c) {
        case ')':
            return st == St::I ? St::I2 : st == St::R ? St::R2 : st == St::S ? St::N : st;
        case '"':
            return st == St::S ? St::Q : st == St::Q ? St::C : St::N;
        case '.':
            if (st == St::S || st == St::I) return St::R;
            return st == St::R || st == St::C || st == St::I2 ? St::N : st;
        case 'E':
        case 'e':
            if (st == St::I) return St::R;
            return st == St::R || st == St::Q ? st : St::N;
        case '+':
        case '-':
            return st == St::R ? st : St::N;
        default:
            return st == St::Q ? st : St::N;
    }
}

ixnode* stringNode(const char* text, size_t len) {
    ixnode* n = textNode(text, len);
    n->kind = IX_STRING;
    return n;
}

// A text without an operator: a number, a quoted string, or a plain string.
ixnode* constant(const char* t) {
    St st = *t ? St::S : St::Q;
    for (const char* p = t; *p; ++p) st = step(st, *p);
    if (st == St::N || st == St::Q || st == St::S) return stringNode(t, std::strlen(t));

    const char* p = t;
    while (isBlank(*p)) ++p;
    if (*p == '"') {
        const char* close = std::strchr(p + 1, '"');
        return stringNode(p + 1, static_cast<size_t>(close - p - 1));
    }

    double d = std::strtod(t, nullptr);
    // Integers are 32 bits: a longer one differs from its real value and
    // so is taken as a real number.
    long n = std::clamp(std::strtol(t, nullptr, 10), long{INT32_MIN}, long{INT32_MAX});
    while (isDigit(*p)) ++p;
    if (d != static_cast<double>(n) || *p == '.' || *p == 'E' || *p == 'e') {
        ixnode* r = ixalloc();
        r->kind = std::strpbrk(t, "Ee") ? IX_SCIENTIFIC : IX_REAL;
        r->value.real = d;
        return r;
    }
    for (p = t; *p; ++p)
        if (!isDigit(*p) && !isBlank(*p) && *p != '.' && *p != ')') return codeNode(IX_OPERATOR);
    ixnode* r = ixalloc();
    r->kind = IX_INTEGER;
    r->value.integer = static_cast<int32_t>(n);
    return r;
}

// ---- Resolving --------------------------------------------------------------

ixnode* resolve(ixnode* node) {
    if (node->kind != IX_TEXT) return node;
    ixnode* left = ixclassify('1', node);
    if (left->kind != IX_TEXT) {
        ixfree(node);
        return left;
    }
    ixnode* op = ixclassify('o', node);
    if (!op) {
        ixfree(node);
        return left;
    }
    ixnode* right = ixclassify('2', node);
    ixfree(node);
    if (right) {
        left = resolve(left);
        return ixbinary(left, op, resolve(right));
    }
    return ixunary(op, resolve(left));
}

// ---- Operators --------------------------------------------------------------

double numberOf(const ixnode* n) {
    switch (n->kind) {
        case IX_CHARACTER:
            return static_cast<unsigned char>(n->value.character);
        case IX_REAL:
        case IX_SCIENTIFIC:
            return n->value.real;
        default:
            return n->value.integer;
    }
}

bool truthOf(const ixnode* n) {
    if (n->kind == IX_STRING) return n->value.text[0] != '\0';
    return numberOf(n) != 0;
}

// The text of a node as the join operator sees it.
std::string textOf(const ixnode* n) {
    char buf[64];
    switch (n->kind) {
        case IX_STRING:
            return n->value.text;
        case IX_INTEGER:
            std::snprintf(buf, sizeof buf, "%ld", static_cast<long>(n->value.integer));
            break;
        case IX_REAL:
            std::snprintf(buf, sizeof buf, "%lg", n->value.real);
            break;
        case IX_SCIENTIFIC:
            std::snprintf(buf, sizeof buf, "%le", n->value.real);
            break;
        case IX_BOOLEAN:
            std::snprintf(buf, sizeof buf, "%d", n->value.integer ? 1 : 0);
            break;
        case IX_CHARACTER:
            return std::string(1, n->value.character);
        default:
            return "";
    }
    return buf;
}

void setString(ixnode* n, const std::string& text) {
    std::memcpy(n->value.text, text.c_str(), text.size() + 1);
    n->kind = IX_STRING;
}

void setBoolean(ixnode* n, bool value) {
    n->kind = IX_BOOLEAN;
    n->value.integer = value ? 1 : 0;
}

// An integer result drops its fraction; one beyond 32 bits stops at the
// nearest end of the range.
int32_t toInteger(double v) {
    if (v != v) return 0;
    if (v >= static_cast<double>(INT32_MAX)) return INT32_MAX;
    if (v <= static_cast<double>(INT32_MIN)) return INT32_MIN;
    return static_cast<int32_t>(v);
}

void setNumber(ixnode* n, int32_t kind, double v) {
    n->kind = kind;
    if (kind == IX_INTEGER)
        n->value.integer = toInteger(v);
    else
        n->value.real = v;
}

// Comparison of two operands. Numbers (booleans among them) compare in
// floating point; when either side is a string, both compare as the texts
// the join operator would make of them, without regard to case.
bool compare(const char* op, const ixnode* l, const ixnode* r) {
    double a, b;
    if (l->kind == IX_STRING || r->kind == IX_STRING) {
        a = ktStrIcmp(textOf(l).c_str(), textOf(r).c_str());
        b = 0;
    } else {
        a = numberOf(l);
        b = numberOf(r);
    }
    if (!std::strcmp(op, "<")) return a < b;
    if (!std::strcmp(op, "<=")) return a <= b;
    if (!std::strcmp(op, ">")) return a > b;
    if (!std::strcmp(op, ">=")) return a >= b;
    if (!std::strcmp(op, "==")) return a == b;
    return a != b;
}

bool isComparison(const char* op) {
    for (const char* c : {"<", "<=", ">", ">=", "==", "!="})
        if (!std::strcmp(op, c)) return true;
    return false;
}

// The result of a binary operator on two valid operands, left in `l`.
void applyBinary(ixnode* l, const char* op, const ixnode* r) {
    if (!std::strcmp(op, "&&")) return setBoolean(l, truthOf(l) && truthOf(r));
    if (!std::strcmp(op, "||")) return setBoolean(l, truthOf(l) || truthOf(r));
    if (isComparison(op)) return setBoolean(l, compare(op, l, r));
    if (!std::strcmp(op, "#")) {
        std::string a = textOf(l), b = textOf(r);
        if (a.size() + b.size() > IX_TEXTMAX) {
            l->kind = IX_TOOLONG;
            return;
        }
        return setString(l, a + b);
    }
    char c = op[1] ? '\0' : op[0];
    if (c != '+' && c != '-' && c != '*' && c != '/') {
        l->kind = IX_OPERATOR;
        return;
    }
    if (l->kind == IX_STRING || l->kind == IX_BOOLEAN || r->kind == IX_STRING ||
        r->kind == IX_BOOLEAN) {
        l->kind = IX_OPERANDS;
        return;
    }
    double a = numberOf(l), b = numberOf(r);
    if (c == '/' && b == 0) {
        l->kind = IX_OPERANDS;
        return;
    }
    double v = c == '+' ? a + b : c == '-' ? a - b : c == '*' ? a * b : a / b;
    setNumber(l, std::max({int32_t{IX_INTEGER}, l->kind, r->kind}), v);
}

}  // namespace

ixnode* ixalloc() {
    auto* n = static_cast<ixnode*>(ktMemMalloc(sizeof(ixnode), "ixnode"));
    n->kind = IX_FRESH;
    n->value.text[0] = '\0';
    return n;
}

void ixfree(ixnode* node) {
    if (node) ktMemFree(node);
}

const char* ixgetmsg(int code) {
    switch (code) {
        case IX_ILLEGALCONST:
            return "Illegal constant";
        case IX_QUOTES:
            return "Mismatched quotations";
        case IX_PARENS:
            return "Mismatched parenthesis";
        case IX_OPERANDS:
            return "Illegal operand types";
        case IX_OPERATOR:
            return "Undefined operator";
        case IX_TOOLONG:
            return "Expression too long";
        case IX_BOOLEAN:
            return "Boolean result";
        case IX_CHARACTER:
            return "Character result";
        case IX_INTEGER:
            return "Integer result";
        case IX_STRING:
            return "String result";
        case IX_REAL:
            return "Real number result";
        case IX_SCIENTIFIC:
            return "Scientific notation result";
        default:
            return "Error of undefined type";
    }
}

int ixepriority(const char* text) {
    if (!text) return -1;
    switch (*text) {
        case '&':
        case '|':
            return 400;
        case '!':
        case '<':
        case '>':
        case '=':
            return 500;
        case '#':
            return 550;
        case '+':
        case '-':
            return 600;
        case '*':
        case '/':
            return 700;
        case '(':
            return 1000;
        default:
            return -1;
    }
}

ixnode* ixclassify(int mode, ixnode* node) {
    if (!node || node->kind != IX_TEXT) return nullptr;
    const char* t = node->value.text;
    Split s = findOperator(t);
    if (s.code) return codeNode(s.code);
    if (!s.len) return mode == '1' ? constant(t) : nullptr;
    bool first = s.pos == s.start;
    switch (mode) {
        case 'o':
            return textNode(t + s.pos, s.len);
        case '1':
            // A unary operator: its operand is all of the text behind it.
            if (first) return textNode(t + s.start + 1, std::strlen(t + s.start + 1));
            return textNode(t + s.start, s.pos - s.start);
        case '2':
            if (first) return nullptr;
            return textNode(t + s.pos + s.len, std::strlen(t + s.pos + s.len));
        default:
            return nullptr;
    }
}

ixnode* ixunary(ixnode* op, ixnode* operand) {
    if (!operand) operand = ixalloc();
    const char* o = op && op->kind == IX_TEXT ? op->value.text : "";
    if (operand->kind < 1) {
        operand->kind = IX_OPERATOR;
    } else if (!std::strcmp(o, "!")) {
        setBoolean(operand, !truthOf(operand));
    } else if (!std::strcmp(o, "#")) {
        setString(operand, textOf(operand));
    } else if (!std::strcmp(o, "(") || !std::strcmp(o, "+")) {
        // the operand as it is
    } else if (!std::strcmp(o, "-")) {
        if (operand->kind == IX_INTEGER)
            operand->value.integer = toInteger(-static_cast<double>(operand->value.integer));
        else if (operand->kind == IX_REAL || operand->kind == IX_SCIENTIFIC)
            operand->value.real = -operand->value.real;
        else
            operand->kind = IX_OPERANDS;
    } else {
        operand->kind = IX_OPERATOR;
    }
    ixfree(op);
    return operand;
}

ixnode* ixbinary(ixnode* left, ixnode* op, ixnode* right) {
    if (!left) left = ixalloc();
    if (left->kind < 1 || !right || right->kind < 1 || !op || op->kind != IX_TEXT)
        left->kind = IX_OPERATOR;
    else
        applyBinary(left, op->value.text, right);
    ixfree(op);
    ixfree(right);
    return left;
}

int ixevaluate(char* out, const char* text, int size) {
    if (size <= 0) return IX_TOOLONG;
    if (!text) text = "";
    size_t room = static_cast<size_t>(size);

    // Brackets outside quotes must balance before anything is evaluated.
    int depth = 0;
    bool quoted = false;
    for (const char* p = text; *p && depth >= 0; ++p) {
        if (*p == '"') quoted = !quoted;
        if (quoted) continue;
        if (*p == '(') ++depth;
        if (*p == ')') --depth;
    }
    if (depth != 0) {
        if (out) out[room - 1] = '\0';
        return IX_PARENS;
    }

    size_t len = std::strlen(text);
    ixnode* node;
    if (len > kMaxInput) {
        node = codeNode(IX_TOOLONG);
    } else {
        node = textNode(text, len);
        node = resolve(node);
    }
    int32_t kind = node->kind;
    if (out) {
        auto copy = [&](const char* s) {
            size_t n = std::min(std::strlen(s), room - 1);
            std::memcpy(out, s, n);
            out[n] = '\0';
        };
        switch (kind) {
            case IX_BOOLEAN:
                std::snprintf(out, room, "%d", node->value.integer ? 1 : 0);
                break;
            case IX_CHARACTER:
                std::snprintf(out, room, "%c", node->value.character);
                break;
            case IX_INTEGER:
                std::snprintf(out, room, "%ld", static_cast<long>(node->value.integer));
                break;
            case IX_STRING:
                copy(node->value.text);
                break;
            case IX_REAL:
                std::snprintf(out, room, "%f", node->value.real);
                break;
            case IX_SCIENTIFIC:
                std::snprintf(out, room, "%e", node->value.real);
                break;
            default:
                copy(text);
                break;
        }
        out[room - 1] = '\0';
    }
    ixfree(node);
    return kind;
}
