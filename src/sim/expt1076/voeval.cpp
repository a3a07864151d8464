// Value evaluation. The result is built in vodata.buf, which holds 2048
// bytes: a value is cut to fit there with its quotes. A reference to an
// attribute, @NAME, becomes the name that votr gives the attribute's
// generic, so that a value reads the same as the generic it refers to.
#include "voeval.h"

#include <cstring>

#include "entgen_msg.h"
#include "ipprep.h"
#include "ktstr.h"
#include "vgstruct.h"
#include "vomain.h"
#include "votr.h"

namespace {
struct Quoting {
    const char* type;
    char quote;
};
// Types whose literals stand in quotes; any other type takes its value bare.
constexpr Quoting kQuoting[] = {
    {"string", '"'},   {"bit_vector", '"'},       {"ktbit_1d", '"'},
    {"ktbit_2d", '"'}, {"std_logic_vector", '"'}, {"char", '\''},
    {"bit", '\''},     {"ktbit", '\''},           {"std_logic", '\''},
};

char quoteFor(const char* type) {
    if (!type) return '\0';
    // The types all begin with a lower-case letter: a first letter that
    // differs in any case is passed over without a comparison.
    const char first = static_cast<char>(type[0] | 0x20);
    for (const Quoting& q : kQuoting)
        if (q.type[0] == first && ktStrIcmp(type, q.type) == 0) return q.quote;
    return '\0';
}

// Letters and digits are ASCII ones, whatever the locale.
bool nameChar(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

// A reference whose translation does not fit ends the run.
[[noreturn]] void tooLong() {
    voreport(4, VOM_NAMETOOLONG);
    voexit(4);
}

// `value` with each @NAME replaced by its translation, into `out`
// (VO_BUFSIZE bytes). Every "@" starts a reference here, one inside quotes
// too.
void translateReferences(const char* value, char* out) {
    size_t n = 0;
    const char* p = value;
    while (*p && n < VO_BUFSIZE - 1) {
        if (*p != '@') {
            out[n++] = *p++;
            continue;
        }
        const char* end = p + 1;
        while (nameChar(static_cast<unsigned char>(*end))) ++end;
        const size_t len = static_cast<size_t>(end - p);
        // A translation is never shorter than its name.
        if (len >= VO_BUFSIZE - n) tooLong();
        char name[VO_BUFSIZE];
        std::memcpy(name, p, len);
        name[len] = '\0';
        const char* t = votr(name);
        const size_t tlen = std::strlen(t);
        if (tlen >= VO_BUFSIZE - n) tooLong();
        std::memcpy(out + n, t, tlen);
        n += tlen;
        p = end;
    }
    out[n] = '\0';
}
}  // namespace

char* voeval(const char* value, const char* type) {
    char* buf = vo->buf;
    const char quote = quoteFor(type);
    if (!value) return std::strcpy(buf, "OPEN");

    char translated[VO_BUFSIZE];
    const char* text = value;
    if (ipvarref(value) == IP_VARREF) {
        translateReferences(value, translated);
        text = translated;
    }
    // The value may be the buffer's own text.
    size_t n = strnlen(text, VO_BUFSIZE - 2);
    std::memmove(buf, text, n);
    buf[n] = '\0';

    // A pair of double quotes around the whole value, and no others, goes.
    if (n >= 2 && buf[0] == '"' && std::strchr(buf + 1, '"') == buf + n - 1) {
        std::memmove(buf, buf + 1, n - 2);
        n -= 2;
        buf[n] = '\0';
    }
    if (quote && n) {
        // Each end is tested on its own: a value with one quote gets the other.
        const bool front = buf[0] != quote, back = buf[n - 1] != quote;
        const size_t room = VO_BUFSIZE - 1 - (front ? 1 : 0) - (back ? 1 : 0);
        if (n > room) n = room;
        if (front) {
            std::memmove(buf + 1, buf, n);
            buf[0] = quote;
            ++n;
        }
        if (back) buf[n++] = quote;
        buf[n] = '\0';
    }
    if (n == 0) std::strcpy(buf, "\"\"");
    return buf;
}
