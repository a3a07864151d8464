// The formatter: the input is a format. The directive parser runs over it
// with a callback that checks each descriptor; then, when its directives
// all take one kind of argument, the format is filled into buffers of a
// few sizes, each exactly as large as it claims, and in the static form.
#include <cstdarg>
#include <cstring>
#include <string>
#include <vector>

#include "fuzzsupport.h"
#include "ktfmt.h"

namespace {
struct Walk {
    const char* format;
    int pieces = 0;
    bool invalid = false;
};

int checkPiece(const ktSpFmtDesc* d, void* data) {
    auto* w = static_cast<Walk*>(data);
    FUZZ_CHECK(!w->invalid);  // an invalid piece ends the parse
    FUZZ_CHECK(ktSpFmtOrigStr(d) == w->format);
    const char* text = ktSpFmtDescStr(d);
    FUZZ_CHECK(text);
    ++w->pieces;
    switch (ktSpFmtDescIs(d)) {
        case KT_SPFMT_INVALID:
            w->invalid = true;
            // The rest of the format lies inside the format.
            FUZZ_CHECK(text >= w->format && text <= w->format + std::strlen(w->format));
            FUZZ_CHECK(ktSpFmtArgIs(d) == -1 && !ktSpFmtArgConv(d));
            return 0;
        case KT_SPFMT_TEXT:
            FUZZ_CHECK(ktSpFmtArgPosition(d) == -1);
            return 1;
        case KT_SPFMT_DIRECTIVE: {
            FUZZ_CHECK(text[0] == '%');
            const char* conv = ktSpFmtArgConv(d);
            FUZZ_CHECK(conv && *conv && std::strlen(conv) <= 2);
            int pos = ktSpFmtArgPosition(d);
            FUZZ_CHECK(pos == -1 || (pos >= 1 && pos <= 128));
            int base = ktSpFmtArgIs(d) & ~(KT_SPFMT_STARWIDTH | KT_SPFMT_STARPREC);
            FUZZ_CHECK(base >= KT_SPFMT_INT && base <= KT_SPFMT_PLONG);
            return 1;
        }
        default:
            FUZZ_CHECK(!"a descriptor of no kind");
    }
}

// Fills the format into a heap block of exactly `size` bytes, so that a
// write past it is seen, and checks what the call says it did.
void fillInto(const char* format, int cls, size_t size, size_t* needed) {
    std::vector<char> buf(size);
    size_t need = 0;
    int r = 0;
    fuzzWithArgs(cls, [&](auto... args) { r = ktSprintf(buf.data(), size, format, args...); });
    fuzzWithArgs(cls, [&](auto... args) {
        // ktSprintfVa2 through a variadic wrapper of our own, for `needed`.
        auto call = [](char* b, size_t n, size_t* nd, const char* f, ...) {
            va_list ap;
            va_start(ap, f);
            int res = ktSprintfVa2(b, n, nd, f, ap);
            va_end(ap);
            return res;
        };
        FUZZ_CHECK(call(buf.data(), size, &need, format, args...) == r);
    });
    FUZZ_CHECK(std::memchr(buf.data(), '\0', size));
    FUZZ_CHECK(need >= 1);
    if (need > size) FUZZ_CHECK(r == -1);
    if (*needed) FUZZ_CHECK(need == *needed);  // the room needed doesn't depend on the room given
    *needed = need;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzSetup();
    std::string format = fuzzText(data, size);
    Walk walk{format.c_str()};
    ktSpFmtParse(format.c_str(), checkPiece, &walk);
    FUZZ_CHECK(walk.pieces > 0);

    int cls = fuzzArgClass(format.c_str());
    if (!cls) return 0;
    size_t needed = 0;
    // A bad format is refused by a throw, from any of the calls alike.
    if (fuzzRefused([&] {
            for (size_t room : {1, 7, 80}) fillInto(format.c_str(), cls, room, &needed);
        }))
        return 0;
    fuzzRefused([&] {
        fuzzWithArgs(cls, [&](auto... args) {
            const char* whole = ktSprintfStatic(format.c_str(), args...);
            FUZZ_CHECK(whole);
        });
    });
    return 0;
}
