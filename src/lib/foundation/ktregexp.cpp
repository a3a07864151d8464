// Regular expressions: a two-pass compiler to a program of linked nodes and
// a recursive backtracking matcher. The first pass only measures, so the
// program is one block of exactly its size; every syntax error is found in
// that pass, before anything is allocated. Compile and match state live on
// the caller's stack, never in the program.
#include "ktregexp.h"

#include <cstring>
#include <memory>

#include "ktex.h"
#include "ktmem.h"

namespace {

enum Op : unsigned char {
    END = 0,      // end of the program: a match
    BOL = 1,      // start of the text
    EOL = 2,      // end of the text
    ANY = 3,      // any one character
    ANYOF = 4,    // operand: the characters of a set
    ANYBUT = 5,   // operand: the characters a set excludes
    BRANCH = 6,   // operand: one alternative; the next node is the following one
    BACK = 7,     // like NOTHING, but its offset points backward
    EXACTLY = 8,  // operand: literal text
    NOTHING = 9,  // matches the empty text
    STAR = 10,    // operand: a one-character node, repeated 0 or more times
    PLUS = 11,    // operand: a one-character node, repeated 1 or more times
    OPEN = 20,    // OPEN + n: group n begins here (n from 1)
    CLOSE = 30,   // CLOSE + n: group n ends here
};

constexpr size_t kHead = 3;            // opcode and 16-bit offset
constexpr size_t kMaxProgram = 32767;  // offsets must fit 15 bits
// Recursion of the matcher grows with the text under a repeated group; past
// this depth the expression is refused for the text rather than risking the
// stack.
constexpr int kMaxDepth = 10000;
// Backtracking can take time exponential in the text (a repeated group
// whose body repeats as well, such as `(a+)+b`). One execution may take this
// many steps, counting each node visited, each character a literal compares
// and each character a repetition scans; past it the expression is refused
// for the text. The library's patterns take some hundred steps on their
// texts; the limit keeps the worst text to a fraction of a second.
constexpr long kMaxSteps = 1000000;

// What a parsed piece is known to be.
enum : int {
    WORST = 0,
    HASWIDTH = 1,  // never matches the empty text
    SIMPLE = 2,    // exactly one character: fit for STAR and PLUS
    SPSTART = 4,   // starts with * or +
};

constexpr const char kMeta[] = "^$.[()|?+*\\";
constexpr size_t kNone = static_cast<size_t>(-1);

[[noreturn]] void fail(const char* text) {
    ktExThrow2(KT_EX_FAIL, "ktRegexp", 0, text);
}

bool isRepeat(char c) {
    return c == '*' || c == '+' || c == '?';
}

unsigned char opOf(const unsigned char* p) {
    return p[0];
}

const unsigned char* nextOf(const unsigned char* p) {
    unsigned off = (static_cast<unsigned>(p[1]) << 8) | p[2];
    if (off == 0) return nullptr;
    return opOf(p) == BACK ? p - off : p + off;
}

const char* operandOf(const unsigned char* p) {
    return reinterpret_cast<const char*>(p + kHead);
}

// The compiler. With `code` null it only counts bytes (the first pass).
struct Compiler {
    const char* parse;    // next character of the expression
    int npar;             // next group number
    unsigned char* code;  // the nodes, or null while measuring
    size_t size;          // bytes emitted or counted so far

    void emit(unsigned char b) {
        if (code) code[size] = b;
        ++size;
    }

    size_t node(unsigned char op) {
        size_t at = size;
        emit(op);
        emit(0);
        emit(0);
        return at;
    }

    // Puts a node in front of the operand that starts at `at`.
    void insert(unsigned char op, size_t at) {
        if (code) {
            std::memmove(code + at + kHead, code + at, size - at);
            code[at] = op;
            code[at + 1] = 0;
            code[at + 2] = 0;
        }
        size += kHead;
    }

    // Links the last node of the chain from `p` to `target`.
    void tail(size_t p, size_t target) {
        if (!code) return;
        unsigned char* scan = code + p;
        while (const unsigned char* n = nextOf(scan)) scan = const_cast<unsigned char*>(n);
        size_t at = static_cast<size_t>(scan - code);
        size_t off = opOf(scan) == BACK ? at - target : target - at;
        scan[1] = static_cast<unsigned char>(off >> 8);
        scan[2] = static_cast<unsigned char>(off & 0xff);
    }

    // tail() on the operand of a branch; anything else is left alone.
    void optail(size_t p, size_t target) {
        if (!code || opOf(code + p) != BRANCH) return;
        tail(p + kHead, target);
    }

    size_t next(size_t p) const {
        const unsigned char* n = nextOf(code + p);
        return n ? static_cast<size_t>(n - code) : kNone;
    }

    size_t reg(bool paren, int* flagp);
    size_t branch(int* flagp);
    size_t piece(int* flagp);
    size_t atom(int* flagp);
    size_t set();
    size_t literal(int* flagp);
};

// An expression, or the inside of a group: branches joined by bars.
size_t Compiler::reg(bool paren, int* flagp) {
    *flagp = HASWIDTH;
    int parno = 0;
    size_t ret = kNone;
    if (paren) {
        if (npar >= KT_REGEXP_NSUB) fail("too many ()");
        parno = npar++;
        ret = node(static_cast<unsigned char>(OPEN + parno));
    }
    for (;;) {
        int flags;
        size_t br = branch(&flags);
        if (ret == kNone)
            ret = br;
        else
            tail(ret, br);
        if (!(flags & HASWIDTH)) *flagp &= ~HASWIDTH;
        *flagp |= flags & SPSTART;
        if (*parse != '|') break;
        ++parse;
    }
    size_t ender = node(static_cast<unsigned char>(paren ? CLOSE + parno : END));
    tail(ret, ender);
    // Each branch's own chain ends at the close as well.
    if (code)
        for (size_t br = ret; br != kNone; br = next(br)) optail(br, ender);

    if (paren) {
        if (*parse != ')') fail("unmatched ()");
        ++parse;
    } else if (*parse != '\0') {
        fail(*parse == ')' ? "unmatched ()" : "junk on end");
    }
    return ret;
}

// One alternative: a branch node whose operand is a chain of pieces.
size_t Compiler::branch(int* flagp) {
    *flagp = WORST;
    size_t ret = node(BRANCH);
    size_t chain = kNone;
    while (*parse != '\0' && *parse != '|' && *parse != ')') {
        int flags;
        size_t latest = piece(&flags);
        *flagp |= flags & HASWIDTH;
        if (chain == kNone)
            *flagp |= flags & SPSTART;
        else
            tail(chain, latest);
        chain = latest;
    }
    if (chain == kNone) node(NOTHING);
    return ret;
}

// An atom and the repetition that may follow it. A one-character atom
// repeats through STAR or PLUS; anything else is built from branches and a
// loop back: x* as (x&|), x+ as x(&|), x? as (x|), where & is the loop.
size_t Compiler::piece(int* flagp) {
    int flags;
    size_t ret = atom(&flags);
    char op = *parse;
    if (!isRepeat(op)) {
        *flagp = flags;
        return ret;
    }
    if (!(flags & HASWIDTH) && op != '?') fail("*+ operand could be empty");
    *flagp = op != '+' ? (WORST | SPSTART) : (WORST | HASWIDTH);

    if (op == '*' && (flags & SIMPLE)) {
        insert(STAR, ret);
    } else if (op == '*') {
        insert(BRANCH, ret);
        optail(ret, node(BACK));
        optail(ret, ret);
        tail(ret, node(BRANCH));
        tail(ret, node(NOTHING));
    } else if (op == '+' && (flags & SIMPLE)) {
        insert(PLUS, ret);
    } else if (op == '+') {
        size_t loop = node(BRANCH);
        tail(ret, loop);
        tail(node(BACK), ret);
        tail(loop, node(BRANCH));
        tail(ret, node(NOTHING));
    } else {
        insert(BRANCH, ret);
        tail(ret, node(BRANCH));
        size_t empty = node(NOTHING);
        tail(ret, empty);
        optail(ret, empty);
    }
    ++parse;
    if (isRepeat(*parse)) fail("nested *?+");
    return ret;
}

size_t Compiler::atom(int* flagp) {
    *flagp = WORST;
    char c = *parse++;
    switch (c) {
        case '^':
            return node(BOL);
        case '$':
            return node(EOL);
        case '.':
            *flagp |= HASWIDTH | SIMPLE;
            return node(ANY);
        case '[':
            *flagp |= HASWIDTH | SIMPLE;
            return set();
        case '(': {
            int flags;
            size_t ret = reg(true, &flags);
            *flagp |= flags & (HASWIDTH | SPSTART);
            return ret;
        }
        case '\0':
        case '|':
        case ')':
            // The branch loop stops at these; reaching them here is a bug.
            fail("internal urp");
        case '?':
        case '+':
        case '*':
            fail("?+* follows nothing");
        case '\\': {
            if (*parse == '\0') fail("trailing \\");
            size_t ret = node(EXACTLY);
            emit(static_cast<unsigned char>(*parse++));
            emit(0);
            *flagp |= HASWIDTH | SIMPLE;
            return ret;
        }
        default:
            --parse;
            return literal(flagp);
    }
}

// The characters of a set, ranges spelled out, as a terminated operand.
size_t Compiler::set() {
    size_t ret;
    if (*parse == '^') {
        ret = node(ANYBUT);
        ++parse;
    } else {
        ret = node(ANYOF);
    }
    if (*parse == ']' || *parse == '-') emit(static_cast<unsigned char>(*parse++));
    while (*parse != '\0' && *parse != ']') {
        if (*parse != '-') {
            emit(static_cast<unsigned char>(*parse++));
            continue;
        }
        ++parse;
        if (*parse == ']' || *parse == '\0') {
            emit('-');
            continue;
        }
        // The range's first character is already in; add the rest of it.
        int from = static_cast<unsigned char>(parse[-2]) + 1;
        int to = static_cast<unsigned char>(*parse);
        if (from > to + 1) fail("invalid [] range");
        for (; from <= to; ++from) emit(static_cast<unsigned char>(from));
        ++parse;
    }
    emit(0);
    if (*parse != ']') fail("unmatched []");
    ++parse;
    return ret;
}

// A run of ordinary characters. A repetition after the run applies to its
// last character only, which then becomes an atom of its own.
size_t Compiler::literal(int* flagp) {
    size_t len = std::strcspn(parse, kMeta);
    if (len == 0) fail("internal disaster");
    if (len > 1 && isRepeat(parse[len])) --len;
    *flagp |= HASWIDTH;
    if (len == 1) *flagp |= SIMPLE;
    size_t ret = node(EXACTLY);
    while (len--) emit(static_cast<unsigned char>(*parse++));
    emit(0);
    return ret;
}

// Start character, anchor and must text, when the expression has one
// top-level branch.
void optimise(ktRegexp* prog) {
    const unsigned char* first = prog->nodes;
    const unsigned char* after = nextOf(first);
    if (!after || opOf(after) != END) return;
    const unsigned char* scan = first + kHead;
    if (opOf(scan) == EXACTLY)
        prog->start = *operandOf(scan);
    else if (opOf(scan) == BOL)
        prog->anchored = 1;

    // Every literal on the branch's own chain is part of any match.
    const char* longest = nullptr;
    size_t len = 0;
    for (; scan; scan = nextOf(scan)) {
        if (opOf(scan) != EXACTLY) continue;
        size_t n = std::strlen(operandOf(scan));
        if (n > len) {
            longest = operandOf(scan);
            len = n;
        }
    }
    prog->must = longest;
    prog->mustlen = static_cast<uint32_t>(len);
}

// The matcher. Group positions are set on the way back from a successful
// match, so an alternative that failed leaves nothing behind, and a
// repeated group keeps its last iteration.
struct Matcher {
    const char* input;  // where the next node looks
    const char* bol;    // the text's start
    const char** startp;
    const char** endp;
    int depth;
    long steps;  // spent so far in this execution, against kMaxSteps

    void spend(size_t n);
    int match(const unsigned char* scan);
    int step(const unsigned char* scan);
    size_t repeat(const unsigned char* p);
    int attempt(const unsigned char* nodes, const char* at);
};

void Matcher::spend(size_t n) {
    steps += static_cast<long>(n);
    if (steps > kMaxSteps) fail("too many steps for text");
}

// A throw ends the whole execution, so the depth needs no undoing then.
int Matcher::match(const unsigned char* scan) {
    if (++depth > kMaxDepth) fail("recursion too deep for text");
    int found = step(scan);
    --depth;
    return found;
}

int Matcher::step(const unsigned char* scan) {
    while (scan) {
        spend(1);
        const unsigned char* next = nextOf(scan);
        unsigned char op = opOf(scan);
        switch (op) {
            case BOL:
                if (input != bol) return 0;
                break;
            case EOL:
                if (*input != '\0') return 0;
                break;
            case ANY:
                if (*input == '\0') return 0;
                ++input;
                break;
            case EXACTLY: {
                const char* text = operandOf(scan);
                if (*text != *input) return 0;
                size_t len = std::strlen(text);
                spend(len);
                if (len > 1 && std::strncmp(text, input, len) != 0) return 0;
                input += len;
                break;
            }
            case ANYOF:
                if (*input == '\0' || !std::strchr(operandOf(scan), *input)) return 0;
                ++input;
                break;
            case ANYBUT:
                if (*input == '\0' || std::strchr(operandOf(scan), *input)) return 0;
                ++input;
                break;
            case NOTHING:
            case BACK:
                break;
            case BRANCH: {
                if (!next || opOf(next) != BRANCH) {
                    next = scan + kHead;  // one alternative: no choice to undo
                    break;
                }
                do {
                    const char* save = input;
                    if (match(scan + kHead)) return 1;
                    input = save;
                    scan = nextOf(scan);
                } while (scan && opOf(scan) == BRANCH);
                return 0;
            }
            case STAR:
            case PLUS: {
                // Take as many as possible, then give back one at a time.
                char follow = (next && opOf(next) == EXACTLY) ? *operandOf(next) : '\0';
                size_t least = op == STAR ? 0 : 1;
                const char* save = input;
                size_t count = repeat(scan + kHead);
                spend(count);
                for (;;) {
                    spend(1);
                    input = save + count;
                    if (count < least) return 0;
                    if ((follow == '\0' || *input == follow) && match(next)) return 1;
                    if (count == 0) return 0;
                    --count;
                }
            }
            case END:
                return 1;
            default:
                if (op > OPEN && op < OPEN + KT_REGEXP_NSUB) {
                    const char* save = input;
                    if (!match(next)) return 0;
                    if (!startp[op - OPEN]) startp[op - OPEN] = save;
                    return 1;
                }
                if (op > CLOSE && op < CLOSE + KT_REGEXP_NSUB) {
                    const char* save = input;
                    if (!match(next)) return 0;
                    if (!endp[op - CLOSE]) endp[op - CLOSE] = save;
                    return 1;
                }
                fail("internal foulup");
        }
        scan = next;
    }
    fail("memory corruption");
}

// How many characters from `input` on the one-character node `p` takes.
size_t Matcher::repeat(const unsigned char* p) {
    const char* s = input;
    const char* set = operandOf(p);
    switch (opOf(p)) {
        case ANY:
            return std::strlen(s);
        case EXACTLY:
            while (*s == *set) ++s;
            break;
        case ANYOF:
            while (*s != '\0' && std::strchr(set, *s)) ++s;
            break;
        case ANYBUT:
            while (*s != '\0' && !std::strchr(set, *s)) ++s;
            break;
        default:
            fail("corrupted pointers");
    }
    return static_cast<size_t>(s - input);
}

int Matcher::attempt(const unsigned char* nodes, const char* at) {
    for (int i = 0; i < KT_REGEXP_NSUB; ++i) startp[i] = endp[i] = nullptr;
    input = at;
    if (!match(nodes)) return 0;
    startp[0] = at;
    endp[0] = input;
    return 1;
}

}  // namespace

ktRegexp* ktRegexpCompile(const char* expression) {
    if (!expression) fail("NULL argument");

    Compiler measure{expression, 1, nullptr, 0};
    int flags;
    measure.reg(false, &flags);
    if (measure.size >= kMaxProgram) fail("regexp too big");

    void* block = ktMemCalloc(1, sizeof(ktRegexp) + measure.size, "ktRegexpT");
    std::unique_ptr<void, void (*)(void*)> guard{block, ktMemFree};
    auto* prog = static_cast<ktRegexp*>(block);
    prog->magic = KT_REGEXP_MAGIC;
    prog->nodes = static_cast<unsigned char*>(block) + sizeof(ktRegexp);

    Compiler emit{expression, 1, prog->nodes, 0};
    emit.reg(false, &flags);
    optimise(prog);
    guard.release();
    return prog;
}

void ktRegexpDestroy(ktRegexp* prog) {
    if (prog) ktMemFree(prog);
}

int ktRegexpExec(const ktRegexp* prog, ktRegexpMatch* match, const char* text) {
    if (!prog || !text) fail("NULL parameter");
    if (prog->magic != KT_REGEXP_MAGIC) fail("corrupted program");
    ktRegexpMatch scratch;
    if (!match) match = &scratch;
    *match = ktRegexpMatch{};
    if (prog->must && !std::strstr(text, prog->must)) return 0;

    Matcher m{text, text, match->startp, match->endp, 0, 0};
    if (prog->anchored) return m.attempt(prog->nodes, text);
    if (prog->start != '\0') {
        for (const char* s = text; (s = std::strchr(s, prog->start)) != nullptr; ++s)
            if (m.attempt(prog->nodes, s)) return 1;
        return 0;
    }
    // The end of the text is a place too: an empty match can lie there.
    const char* s = text;
    do {
        if (m.attempt(prog->nodes, s)) return 1;
    } while (*s++ != '\0');
    return 0;
}

int ktRegexpGetMatch(const ktRegexpMatch* match, int entry, char* out, size_t size) {
    if (out && size > 0) *out = '\0';
    if (!match || entry < 0 || entry >= KT_REGEXP_NSUB) return 0;
    const char* from = match->startp[entry];
    const char* to = match->endp[entry];
    if (!from || !to || to <= from) return 0;
    size_t len = static_cast<size_t>(to - from);
    if (!out || size == 0) return -1;
    size_t n = len < size - 1 ? len : size - 1;
    std::memcpy(out, from, n);
    out[n] = '\0';
    return n < len ? -1 : 1;
}
