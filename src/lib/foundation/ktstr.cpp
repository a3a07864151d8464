// Strings. Stand-in: copies come from the general heap rather than the
// pooled allocator, and only the functions the translator calls so far exist.
#include "ktstr.h"

#include <cstring>

#include "ktmem.h"

namespace {
int upper(int c) { return (c >= 'a' && c <= 'z') ? c - 'a' + 'A' : c; }
int lower(int c) { return (c >= 'A' && c <= 'Z') ? c - 'A' + 'a' : c; }
}  // namespace

char* ktStrCpy(const char* text) {
    if (!text) return nullptr;
    size_t n = std::strlen(text) + 1;
    char* p = static_cast<char*>(ktMemMalloc(n, "ktString"));
    std::memcpy(p, text, n);
    return p;
}

char* ktStrAlloc(size_t size) { return static_cast<char*>(ktMemMalloc(size ? size : 1, "ktString")); }

void ktStrFree(char* text) { ktMemFree(text); }

char* ktStrCatAlloc(const char* a, const char* b) {
    size_t la = std::strlen(a), lb = std::strlen(b);
    char* p = ktStrAlloc(la + lb + 1);
    std::memcpy(p, a, la);
    std::memcpy(p + la, b, lb + 1);
    return p;
}

char* ktStrTrimAlloc(const char* text) {
    if (!text) return nullptr;
    auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; };
    const char* b = text;
    while (*b && blank(*b)) ++b;
    const char* e = b + std::strlen(b);
    while (e > b && blank(e[-1])) --e;
    char* p = ktStrAlloc(static_cast<size_t>(e - b) + 1);
    std::memcpy(p, b, static_cast<size_t>(e - b));
    p[e - b] = '\0';
    return p;
}

char* ktStrOldCopy(const char* text) {
    if (!text) return nullptr;
    size_t n = std::strlen(text) + 1;
    char* p = static_cast<char*>(ktMemMalloc(n, "ktStrCpy"));
    std::memcpy(p, text, n);
    return p;
}

void ktStrTerminate() {}

int ktStrEqu(const char* a, const char* b) {
    if (a == b) return 1;
    if (!a || !b) return 0;
    return std::strcmp(a, b) == 0;
}

int ktStrIcmp(const char* a, const char* b) {
    if (a == b) return 0;
    if (!a) return -1;
    if (!b) return 1;
    for (;; ++a, ++b) {
        int ca = upper(static_cast<unsigned char>(*a));
        int cb = upper(static_cast<unsigned char>(*b));
        if (ca != cb || ca == 0) return ca - cb;
    }
}

int ktStrNicmp(const char* a, const char* b, int count) {
    if (a == b) return 0;
    if (!a) return -1;
    if (!b) return 1;
    for (int i = 0; i < count; ++i) {
        int ca = upper(static_cast<unsigned char>(a[i]));
        int cb = upper(static_cast<unsigned char>(b[i]));
        if (ca == 0 && cb == 0) return 0;
        if (ca == 0) return -1;
        if (cb == 0) return 1;
        if (ca != cb) return ca - cb;
    }
    return 0;
}

char* ktStrLoc(char* text) {
    for (char* p = text; p && *p; ++p) *p = static_cast<char>(lower(static_cast<unsigned char>(*p)));
    return text;
}

char* ktStrUpc(char* text) {
    for (char* p = text; p && *p; ++p) *p = static_cast<char>(upper(static_cast<unsigned char>(*p)));
    return text;
}

int ktStrIsnum(const char* text) {
    if (!text || !*text) return 0;
    for (const char* p = text; *p; ++p)
        if (*p < '0' || *p > '9') return 0;
    return 1;
}

char* ktStrncpyNullTerm(char* out, const char* text, size_t size) {
    if (size == 0) return out;
    if (!text) text = "";
    std::strncpy(out, text, size);
    out[size - 1] = '\0';
    return out;
}

int ktStrMat(const char* pattern, const char* text) {
    if (!pattern || !text) return pattern == text;
    const char* p = pattern;
    const char* t = text;
    for (; *p != '*'; ++p, ++t) {
        if (!*p) return !*t;
        if (!*t || (*p != '?' && *p != *t)) return 0;
    }
    while (*p == '*') ++p;
    if (!*p) return 1;
    // Try the rest of the pattern behind each place where its first character fits.
    for (; *t; ++t)
        if ((*p == '?' || *p == *t) && ktStrMat(p + 1, t + 1)) return 1;
    return 0;
}

const char* ktStrTok(const char* text, char* token, size_t size, const char* delimiters) {
    if (token && size) *token = '\0';
    if (!text) return nullptr;
    if (!delimiters) delimiters = "";
    auto isDelim = [delimiters](char c) { return c && std::strchr(delimiters, c); };
    while (isDelim(*text)) ++text;
    if (!*text) return nullptr;
    size_t n = 0;
    for (; *text && !isDelim(*text); ++text)
        if (token && n + 1 < size) token[n++] = *text;
    if (token && size) token[n] = '\0';
    return text;
}

namespace {
// The character a backslash sequence at `p` (behind the backslash) stands
// for, or -1 for a joined line; `p` moves behind the sequence.
int escaped(const char*& p) {
    char c = *p++;
    switch (c) {
        case '\n': return -1;
        case 'n': return '\n';
        case 't': return '\t';
        case 'v': return '\v';
        case 'b': return '\b';
        case 'r': return '\r';
        case 'f': return '\f';
        default: break;
    }
    if (c < '0' || c > '7') return static_cast<unsigned char>(c);
    int value = c - '0';
    for (int digits = 1; digits < 3 && *p >= '0' && *p <= '7'; ++digits) {
        int next = value * 8 + (*p - '0');
        if (next > 255) break;
        value = next;
        ++p;
    }
    return value;
}
}  // namespace

const char* ktStrCvtFromLiteral(const char* text, char* out, int size, int open, int close) {
    if (!text || !out || size <= 0) return nullptr;
    const char* p = text;
    int closing = 0;
    if (open) {
        p = std::strchr(text, open);
        if (!p) return nullptr;
        closing = open;
        ++p;
    } else if (close) {
        closing = close;
    } else if (*p == '"' || *p == '\'') {
        closing = *p++;
    }
    int n = 0;
    for (;;) {
        if (*p == '\0') {
            out[n] = '\0';
            return closing ? nullptr : p;
        }
        int c = static_cast<unsigned char>(*p++);
        if (c == '\\' && *p != '\0') {
            c = escaped(p);
            if (c < 0) continue;
        } else if (c == closing) {
            out[n] = '\0';
            return p;
        }
        if (n < size - 1) out[n++] = static_cast<char>(c);
    }
}
